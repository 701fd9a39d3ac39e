// Depth maps: the array and picture forms, depth from block motion, and the clean-up passes,
// checked on pictures small enough to follow by hand.
#include <gtest/gtest.h>

#include <random>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


// The blue level of pixel x in memory row y (0 = bottom).
int LevelAt(const Picture& picture, int x, int y) { return picture.ReadGrid().MemoryRow(y)[3 * x]; }

using DepthMaps = With<ImageProcessor>;

TEST_F(DepthMaps, ArrayFormHoldsBlueWithAnEmptyExtraColumnAndRowAndComesBackClamped) {
  auto picture = MakePicture(4, 2, [](int x, int y) { return Bgr{uint8_t(10 * x + y + 1), 99, 98}; });
  DepthMap map;
  p.CopyToDepthMap(*picture, map);
  ASSERT_EQ(map.Cols(), 5);
  ASSERT_EQ(map.Rows(), 3);
  for (int x = 0; x < 5; ++x) {
    for (int y = 0; y < 3; ++y) {
      // Memory row 0 is the bottom row, device row 1.
      EXPECT_EQ(map(x, y), x < 4 && y < 2 ? 10 * x + (1 - y) + 1 : 0) << x << "," << y;
    }
  }

  // Back into a picture: blue and green take the level (300 is 255), red stays.
  Array2D<int32_t> levels;
  levels.ReDim(3, 2);
  levels(0, 0) = 300;
  levels(1, 1) = 7;
  auto target = SolidPicture(2, 2, {1, 2, 3});
  p.CopyFromDepthMap(*target, levels);
  EXPECT_TRUE(SamePicture(*target, *MakePicture(2, 2, [](int x, int y) {
    if (x == 0 && y == 1) return Bgr{255, 255, 3};
    if (x == 1 && y == 0) return Bgr{7, 7, 3};
    return Bgr{0, 0, 3};
  })));

  // A map that lacks a column stops at its first missing element, the columns before it written;
  // a negative level does not fit a byte.
  Array2D<int32_t> narrow;
  narrow.ReDim(1, 2);
  narrow(0, 0) = narrow(0, 1) = 50;
  target = SolidPicture(2, 2, {1, 2, 3});
  EXPECT_EQ(ErrorOf([&] { p.CopyFromDepthMap(*target, narrow); }).Number(),
            err::kSubscriptOutOfRange);
  EXPECT_TRUE(SamePicture(*target, *Columns({{50, 50, 3}, {1, 2, 3}}, 2)));
  levels(0, 0) = -1;
  EXPECT_EQ(ErrorOf([&] { p.CopyFromDepthMap(*target, levels); }).Number(), err::kOverflow);
}

TEST_F(DepthMaps, BlockMotionTotalsTheBestDifferenceOfEveryBlock) {
  struct Case {
    int width, height;
    uint8_t current, previous;
    double total;
  } cases[] = {
      // A single block has no position inside the search bounds: 76500, the starting difference.
      {10, 10, 10, 12, 76500.0},
      // Six blocks, each finding some position of difference 300 x 2.
      {30, 20, 10, 12, 3600.0},
      // Too small for a block.
      {9, 40, 10, 12, 0.0},
  };
  for (const Case& c : cases) {
    auto picture = SolidPicture(c.width, c.height, Grey(c.current));
    PixelArray previous;
    p.CopyToSpecifiedArray(*SolidPicture(c.width, c.height, Grey(c.previous)), previous);
    DepthMap map;
    p.CopyToDepthMap(*picture, map);
    double total = -1.0;
    p.CreateDepthMap(*picture, previous, total, 0, map);
    EXPECT_EQ(total, c.total) << c.width << "x" << c.height;
    // Every block shows a short vector or none, and the cleared margins take the rest.
    EXPECT_LE(LevelAt(*picture, 0, 0), 4);
    EXPECT_EQ(LevelAt(*picture, c.width - 1, c.height - 1), 0);
  }
}

TEST_F(DepthMaps, BlockMotionCarriesDepthAlongTheVectorByAction) {
  // The current frame is the previous one moved two pixels left: every block that can reach its
  // match finds a vector of 6 byte columns, length 6. Blocks of the bottom row cannot (their rows
  // must start above row 0) and are not checked; the right-hand column (from pixel 50) and the top
  // row of blocks (from row 30) are cleared.
  const int W = 60, H = 40;
  Array2D<uint8_t> previous;
  p.CopyToSpecifiedArray(*Texture(W, H, 0), previous);
  DepthMap map;
  map.ReDim(W + 1, H + 1);
  for (int x = 0; x <= W; ++x) {
    for (int y = 0; y <= H; ++y) map(x, y) = static_cast<uint8_t>(x * 4 + 2);
  }
  struct Case {
    int action;
    std::function<int(int x)> level;  // at pixel x of a tracked block
  } cases[] = {
      {0, [](int) { return 6; }},
      {2, [&](int x) { return map(x + 2, 0); }},
      // round(0.75 D) + round(0.25 x 6): halves go to the even neighbour (1.5 -> 2; D = 10 gives
      // 7.5 -> 8, D = 14 gives 10.5 -> 10).
      {1, [&](int x) { return static_cast<int>(RoundHalfEven(0.75 * map(x + 2, 0))) + 2; }},
      // Unknown actions leave the tracked blocks as they were.
      {7, [](int x) { return -1; }},
  };
  for (const Case& c : cases) {
    auto picture = Texture(W, H, 2);
    const auto before = picture->CopyOf();
    double total = 0;
    p.CreateDepthMap(*picture, previous, total, c.action, map);
    for (int y = 0; y < H; ++y) {
      for (int x = 0; x < W; ++x) {
        const uint8_t* p = picture->ReadGrid().MemoryRow(y) + 3 * x;
        if (x >= 50 || y >= 30) {
          EXPECT_EQ(p[0], 0) << "margin " << x << "," << y;
        } else if (y >= 10) {
          const int expected = c.level(x) >= 0 ? c.level(x) : before->ReadGrid().MemoryRow(y)[3 * x];
          ASSERT_EQ(p[0], expected) << "action " << c.action << " at " << x << "," << y;
          if (c.level(x) >= 0) { ASSERT_TRUE(p[1] == p[0] && p[2] == p[0]); }
        }
      }
    }
  }

  // Actions 1 and 2 read the previous map where the blocks came from: a map too small for that
  // raises the subscript-range error.
  DepthMap tiny;
  tiny.ReDim(2, 2);
  auto picture = Texture(W, H, 2);
  double total = 0;
  EXPECT_EQ(ErrorOf([&] { p.CreateDepthMap(*picture, previous, total, 2, tiny); }).Number(),
            err::kSubscriptOutOfRange);
  EXPECT_NO_THROW(p.CreateDepthMap(*picture, previous, total, 0, tiny));
}

TEST_F(DepthMaps, RingSearchScalesTheVectorLengthAndRejectsPoorMatches) {
  const int W = 36, H = 24;
  struct Case {
    PictureRef previous;
    int level;
  } cases[] = {
      {Texture(W, H, 0), 9},           // two pixels: round(1.5 x 6)
      {Texture(W, H, 2), 0},           // still
      {SolidPicture(W, H, Grey(255)), 0},  // nothing alike: rejected
  };
  for (const Case& c : cases) {
    p.CopyToArray(*c.previous);
    auto picture = Texture(W, H, 2);
    p.CreateDepthMapEx(*picture);
    // The bottom and top rows of blocks and the right-hand column cannot reach their match
    // inside the search bounds.
    for (int y = 6; y < 18; ++y) {
      for (int x = 0; x < 30; ++x) ASSERT_EQ(LevelAt(*picture, x, y), c.level) << x << "," << y;
    }
  }
}

TEST_F(DepthMaps, SmoothingTakesMediansWithPartnersHalfABlockAway) {
  // Size 2: one pass at distance 1. Pixel x pairs with x - 1 when x is even, x + 1 when odd, and
  // with itself where the partner falls outside; rows alike. Memory row 0 (the bottom, listed
  // last) has no partner row, so it keeps its levels.
  auto picture = GreyRows({{80, 0, 5, 100}, {30, 40, 60, 70}, {10, 50, 20, 90}});
  EXPECT_EQ(p.SmoothDMAP(*picture, 2), 0);
  EXPECT_TRUE(SamePicture(*picture, *GreyRows({{80, 5, 5, 100}, {30, 40, 40, 70}, {10, 50, 20, 90}})));

  // Size 8: a split on a block edge stays; a lone near pixel goes; only blue is read.
  auto halves = MakePicture(32, 16, [](int x, int) { return x < 16 ? Bgr{0, 9, 9} : Bgr{200, 1, 1}; });
  p.SmoothDMAP(*halves, 8);
  EXPECT_TRUE(SamePicture(*halves, *MakePicture(32, 16, [](int x, int) { return Grey(x < 16 ? 0 : 200); })));
  auto dot = MakePicture(16, 16, [](int x, int y) { return Grey(x == 5 && y == 6 ? 200 : 0); });
  p.SmoothDMAP(*dot, 8);
  EXPECT_TRUE(SamePicture(*dot, *SolidPicture(16, 16, Grey(0))));

  // Size 1 is one pass of every pixel with itself; size 0 has no halves to take.
  auto same = Texture(5, 4);
  const auto before = same->CopyOf();
  p.SmoothDMAP(*same, 1);
  EXPECT_TRUE(SamePicture(*same, *MakePicture(5, 4, [&](int x, int y) {
    return Grey(PixelAt(*before, x, y).b);
  })));
  EXPECT_EQ(ErrorOf([&] { p.SmoothDMAP(*same, 0); }).Number(), err::kDivisionByZero);
}

TEST_F(DepthMaps, DilateSpreadsEachChannelInsideTheOuterRing) {
  // A near pixel inside spreads to a 3 x 3 square; one in the bottom row only into the row above
  // (the outer ring is never written); the last pixel but one keeps its green and red.
  auto picture = MakePicture(8, 6, [](int x, int y) {
    if ((x == 3 && y == 2) || (x == 1 && y == 5)) return Grey(90);
    if (x == 7) return Bgr{0, 50, 60};
    return Bgr{};
  });
  p.Dilate(*picture);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(8, 6, [](int x, int y) {
    if (x == 7) return Bgr{0, 50, 60};  // and pixel 6 does not take its green and red
    if ((x >= 2 && x <= 4 && y >= 1 && y <= 3) || (x == 1 && y == 5) || (x <= 2 && x >= 1 && y == 4)) {
      return Grey(90);
    }
    return Bgr{};
  })));
}

TEST_F(DepthMaps, CleanSpreadsNearLevelsRightAndScalingNormalisesTheMean) {
  auto row = GreyRows({{0, 0, 0, 200, 50, 50, 50, 50}});
  p.DepthMapClean(*row);
  EXPECT_TRUE(SamePicture(*row, *GreyRows({{0, 0, 0, 200, 200, 200, 200, 50}})));

  // Bytes summing to 63 x (W - 1)(H - 1) x 3 are doubled, at most 255.
  auto picture = MakePicture(3, 2, [](int x, int y) {
    if (x == 0 && y == 0) return Bgr{130, 8, 15};
    return Grey(15);
  });
  p.TVSCL(*picture);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(3, 2, [](int x, int y) {
    if (x == 0 && y == 0) return Bgr{255, 16, 30};
    return Grey(30);
  })));
  auto column = SolidPicture(1, 4, Grey(3));
  EXPECT_EQ(ErrorOf([&] { p.TVSCL(*column); }).Number(), err::kDivisionByZero);
}

TEST_F(DepthMaps, MaskIsBlackWhereOnlyThePictureIsWhite) {
  struct Case {
    Bgr picture, image;
    uint8_t mask;
  } cases[] = {
      {Grey(255), Grey(255), 255},
      {Grey(255), Grey(0), 0},
      {Grey(254), Grey(0), 255},
  };
  for (const Case& c : cases) {
    auto picture = SolidPicture(3, 2, c.picture);
    PixelArray image;
    p.CopyToSpecifiedArray(*SolidPicture(3, 2, c.image), image);
    p.CreateMask(*picture, image);
    EXPECT_TRUE(SamePicture(*picture, *SolidPicture(3, 2, Grey(c.mask))));
  }
}

}  // namespace
}  // namespace qv::test
