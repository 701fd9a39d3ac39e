// Depth from block motion, from the sky border and regions of one picture, and from the disparity
// of a stereo pair, on pictures whose motion, border or disparity is known.
#include <gtest/gtest.h>

#include <random>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


uint8_t BlueAt(const Picture& p, int x, int memoryRow) { return p.Grid().MemoryRow(memoryRow)[3 * x]; }

using Depth = With<ImageProcessor>;

TEST_F(Depth, StereoDisparityBecomesLevelsAroundTheMiddle) {
  struct Case {
    int shift;  // the other view holds the left view's content this many pixels further left
    uint8_t level;
  } cases[] = {{0, 128}, {10, 158}, {-10, 98}, {50, 255}, {-50, 0}};
  for (const Case& c : cases) {
    auto left = Texture(160, 32);
    p.CopyToArray(*Texture(160, 32, c.shift));
    p.CreateDepthMapFromStereo(*left);
    // An interior block, whose match lies inside the other view.
    EXPECT_EQ(BlueAt(*left, 64, 0), c.level) << "shift " << c.shift;
    EXPECT_EQ(BlueAt(*left, 64 + 15, 31), c.level);
  }
  // Pictures narrower than a block are left alone; the other view must cover the picture.
  auto narrow = SolidPicture(15, 40, Grey(3));
  p.CreateDepthMapFromStereo(*narrow);
  EXPECT_TRUE(SamePicture(*narrow, *SolidPicture(15, 40, Grey(3))));
  auto large = Texture(64, 32);
  p.CopyToArray(*Texture(32, 32));
  EXPECT_EQ(ErrorOf([&] { p.CreateDepthMapFromStereo(*large); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Depth, BlockMotionGivesDepthByMotionUnlikeTheFrame) {
  // A still picture: every block found at its own place, depth 0.
  auto frame = Texture(64, 48);
  p.CopyToArray(*frame);
  int32_t difference = -1;
  p.GetBlockMove(*frame, difference);
  EXPECT_EQ(difference, 0);
  EXPECT_EQ(p.Arrays().MotionField(3, 2, 0), 72);
  EXPECT_EQ(p.Arrays().MotionField(3, 2, 1), 16);
  auto depth = frame->CopyOf();
  p.GetMotionDepthMap(*depth, 0);
  EXPECT_TRUE(SamePicture(*depth, *SolidPicture(64, 48, Grey(0))));

  // One block moved 20 pixels, the others still: its level is round(20 x 255 / 23) = 222, shown
  // through the weight w = 300 / 21 as round(222 / w) = 16, or blended into the picture.
  p.Arrays().MotionField(2, 2, 0) += 60;
  auto levels = SolidPicture(64, 48, Grey(100));
  p.GetMotionDepthMap(*levels, 0);
  EXPECT_EQ(BlueAt(*levels, 16, 16), 16);
  EXPECT_EQ(BlueAt(*levels, 23, 23), 16);
  EXPECT_EQ(BlueAt(*levels, 24, 16), 0);
  auto blended = SolidPicture(64, 48, Grey(100));
  p.GetMotionDepthMap(*blended, 3);
  EXPECT_EQ(BlueAt(*blended, 16, 16), 108);  // (100 w + 222) / (w + 1)
  EXPECT_EQ(BlueAt(*blended, 40, 40), 93);   // 100 w / (w + 1)

  // A move of the first search step (7 pixels) is found at once.
  p.CopyToArray(*Texture(64, 48, 0, 5));
  p.GetBlockMove(*Texture(64, 48, 7, 5), difference);  // content 7 pixels further left now
  EXPECT_EQ(p.Arrays().MotionField(3, 2, 0), 72 + 21);
  EXPECT_EQ(p.Arrays().MotionField(3, 2, 1), 16);
  EXPECT_EQ(ErrorOf([&] { p.GetBlockMove(*SolidPicture(7, 20, Grey(0)), difference); }).Number(),
            err::kSubscriptOutOfRange);
}

TEST_F(Depth, SkyBorderAndRegionsOfAHalfLightPicture) {
  // White above, black below: the border is the first black row from the top in the first pass.
  auto picture = MakePicture(20, 10, [](int, int top) { return Grey(top < 5 ? 255 : 0); });
  p.CopyToArray(*picture);
  int32_t border = -1;
  auto sky = picture->CopyOf();
  p.FindSkyBorder(*sky, border, true);
  EXPECT_EQ(border, 4);
  for (int y = 0; y < 10; ++y) {
    const int expected = y <= 4 ? static_cast<int>(RoundHalfEven(255 - 255.0 / 4 * y)) : 0;
    EXPECT_EQ(BlueAt(*sky, 7, y), expected) << "row " << y;
  }

  auto uniform = SolidPicture(20, 9, Grey(80));
  p.CopyToArray(*uniform);
  p.FindSkyBorder(*uniform, border, false);
  EXPECT_EQ(border, 4);

  auto tiny = SolidPicture(5, 2, Grey(80));
  p.CopyToArray(*tiny);
  EXPECT_EQ(ErrorOf([&] { p.FindSkyBorder(*tiny, border, false); }).Number(), err::kDivisionByZero);

  bool workedWell = false;
  auto regions = picture->CopyOf();
  p.CopyToArray(*regions);
  p.FindRegions(*regions, workedWell, 1);
  EXPECT_TRUE(workedWell);
  EXPECT_EQ(BlueAt(*regions, 10, 0), 250);
  // Sky mean 213 (the border row counts as sky): 126 / (639 / 125) + 125 - 765 / (765 / 125).
  EXPECT_EQ(BlueAt(*regions, 10, 9), 25);
  auto none = picture->CopyOf();
  p.FindRegions(*none, workedWell, 3);
  EXPECT_TRUE(workedWell);
  EXPECT_TRUE(SamePicture(*none, *SolidPicture(20, 10, Grey(0))));
}

}  // namespace
}  // namespace qv::test
