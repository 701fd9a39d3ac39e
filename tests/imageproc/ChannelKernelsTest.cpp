// The kernels that rewrite channels: masks, greys with their rounding and overflow, swaps, the
// anaglyph hue removal and repairs, and the hue/lightness/saturation conversions.
#include <gtest/gtest.h>

#include <cstdio>

#include "imageproc/ImageProcessor.h"
#include "imageproc/Hls.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


using ChannelKernels = With<ImageProcessor>;

TEST_F(ChannelKernels, ColourMaskMultipliesEachChannelWithWrapAround) {
  auto picture = SolidPicture(3, 2, {255, 255, 255});
  p.ColourMask(*picture, 0, 0, 1);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(3, 2, {0, 0, 255})));
  picture = SolidPicture(3, 2, {200, 200, 200});
  p.ColourMask(*picture, 2, 2, 2);  // 400 keeps its low 8 bits
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(3, 2, {144, 144, 144})));
}

TEST_F(ChannelKernels, GrayScaleRoundsHalvesToEvenAndStopsAtTheFirstOverflow) {
  // (0, 0, 1) -> 0, (1, 1, 0) -> 1, (0, 1, 2) -> 1, sum 8 -> 3, sum 7 -> 2.
  auto picture = Columns({{0, 0, 1}, {1, 1, 0}, {0, 1, 2}, {2, 3, 3}, {2, 2, 3}});
  p.GrayScale(*picture, 3);
  EXPECT_TRUE(SamePicture(*picture, *Columns({Grey(0), Grey(1), Grey(1), Grey(3), Grey(2)})));

  // Divisor 2: a sum of 510 gives 255, 511 rounds to 256 and fails. The walk goes column by column,
  // each from the bottom row up, and stops at the first failing pixel with the ones before it grey:
  // here (1, top row), which comes after (1, bottom row) and before (2, bottom row).
  auto failing = [](int x, int y) {
    return Bgr{255, 255, uint8_t((x == 1 && y == 0) || (x == 2 && y == 1) ? 1 : 0)};  // sum 511
  };
  picture = MakePicture(3, 2, failing);
  EXPECT_THROW(p.GrayScale(*picture, 2), AppError);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(3, 2, [&](int x, int y) {
    return x == 0 || (x == 1 && y == 1) ? Grey(255) : failing(x, y);
  })));

  // Divisor 1 on (100, 100, 100) fails at once; a divisor of 0 gives no number at all.
  picture = SolidPicture(2, 2, Grey(100));
  EXPECT_THROW(p.GrayScale(*picture, 1), AppError);
  EXPECT_THROW(p.GrayScale(*picture, 0), AppError);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(2, 2, Grey(100))));
  // A negative divisor: black stays black.
  picture = SolidPicture(2, 2, {});
  p.GrayScale(*picture, -3);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(2, 2, {})));
}

TEST_F(ChannelKernels, GrayScaleStandWeighsTheChannels) {
  auto picture = Columns({{0, 255, 0}, {0, 0, 255}, {255, 0, 0}, {255, 255, 255}});
  p.GrayScaleStand(*picture);
  EXPECT_TRUE(SamePicture(*picture, *Columns({Grey(180), Grey(57), Grey(18), Grey(255)})));
}

TEST_F(ChannelKernels, SwapRedBlueAndCheckForGreenBlue) {
  auto picture = PatternPicture(3, 2);
  const auto original = picture->CopyOf();
  p.SwapRedBlue(*picture);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(3, 2, [&](int x, int y) {
    const Bgr p = PixelAt(*original, x, y);
    return Bgr{p.r, p.g, p.b};
  })));

  auto red = SolidPicture(4, 3, {0, 0, 200});
  EXPECT_FALSE(p.CheckForGreenBlue(*red));
  red->Grid().MemoryRow(2)[3 * 3 + 1] = 1;
  EXPECT_TRUE(p.CheckForGreenBlue(*red));
}

TEST_F(ChannelKernels, RemoveAnaglyphHuesDropsRedAndCyanAndFillsFromTheRight) {
  // Red, cyan and grey pixels go; green (hue 2) stays with every byte's lowest bit set.
  auto picture = Columns({{0, 0, 255}, {255, 255, 0}, Grey(128), {0, 255, 0}});
  p.RemoveAnaglyphHues(*picture);
  EXPECT_TRUE(SamePicture(*picture, *Columns({{}, {}, {}, {1, 255, 1}})));

  // A green field with red dots: the dot at (2, 1) is filled from the 15 pixels of columns 3 ... 7
  // on its row and the rows beside it; the dots in column 0, the top and bottom rows and the five
  // rightmost columns stay black.
  auto isDot = [](int x, int y, bool filled) {
    return (filled && x == 2 && y == 1) || (x == 0 && y == 2) || (x == 9 && y == 0) ||
           (x == 10 && y == 2) || (x == 4 && y == 3);
  };
  auto field = MakePicture(12, 4, [&](int x, int y) {
    return isDot(x, y, true) ? Bgr{0, 0, 255} : Bgr{10, 200, 20};
  });
  p.RemoveAnaglyphHues(*field);
  EXPECT_TRUE(SamePicture(*field, *MakePicture(12, 4, [&](int x, int y) {
    return isDot(x, y, false) ? Bgr{} : Bgr{11, 201, 21};
  })));
}

TEST_F(ChannelKernels, ColourFromImageTakesHueAndSaturationFromSharedPixels) {
  p.CopyToArray(*SolidPicture(2, 2, {0, 0, 255}));  // pure red
  auto picture = Columns({Grey(128), Grey(0)}, 2);
  p.ColourFromImage(*picture);
  // Lightness 128 / 255 with hue 0 and saturation 1: (1, 1, 255); black stays black.
  EXPECT_TRUE(SamePicture(*picture, *Columns({{1, 1, 255}, {}}, 2)));
  auto larger = SolidPicture(3, 2, {});
  EXPECT_THROW(p.ColourFromImage(*larger), AppError);  // SharedPixels holds a smaller picture
}

TEST_F(ChannelKernels, AnaglyphRepairsRestoreTheMissingChannelsOfAGreyPicture) {
  // A grey picture taken apart: the red-only and the blue-green halves. Matching blocks sit at the
  // same place, and the colours of grey are grey, so whole 16 x 16 blocks come back grey; the
  // columns and rows beyond the last whole block are not touched. Device row 0 is the top row,
  // which lies beyond the last whole block (memory rows 0 ... 15).
  auto picture = [](bool red, bool blueGreen, bool greyBlocks) {
    return MakePicture(20, 17, [=](int x, int y) {
      const auto v = static_cast<uint8_t>(x * 11 + y * 5);
      if (greyBlocks && x < 16 && y >= 1) return Grey(v);
      return Bgr{uint8_t(blueGreen ? v : 0), uint8_t(blueGreen ? v : 0), uint8_t(red ? v : 0)};
    });
  };
  const auto grey = picture(true, true, false);
  auto repaired = picture(false, true, false);
  p.CopyToArray(*grey);
  p.CorrectAnaglyph(*repaired, p.Arrays().SharedPixels);
  EXPECT_TRUE(SamePicture(*repaired, *picture(false, true, true)));

  auto left = picture(true, false, false);
  auto right = picture(false, true, false);
  p.CorrectAnaglyphGrad(*grey, *grey, *left, *right);
  EXPECT_TRUE(SamePicture(*left, *picture(true, false, true)));
  EXPECT_TRUE(SamePicture(*right, *picture(false, true, true)));

  // Fewer than 16 columns: no blocks, nothing changes.
  auto narrow = SolidPicture(15, 20, {9, 9, 0});
  p.CopyToArray(*SolidPicture(15, 20, Grey(9)));
  p.CorrectAnaglyph(*narrow, p.Arrays().SharedPixels);
  EXPECT_TRUE(SamePicture(*narrow, *SolidPicture(15, 20, {9, 9, 0})));
}

// RGBToHLS's hue, saturation and lightness to five decimals.
std::string Hls(int32_t r, int32_t g, int32_t b) {
  float h, s, l;
  RGBToHLS(r, g, b, h, s, l);
  char text[64];
  std::snprintf(text, sizeof text, "%.5f %.5f %.5f", h + 0.0f, s + 0.0f, l + 0.0f);
  return text;
}

TEST(HlsConversions, KnownColoursAndRoundTrips) {
  EXPECT_EQ(Hls(255, 0, 0), "0.00000 1.00000 0.50000");
  EXPECT_EQ(Hls(0, 255, 0), "2.00000 1.00000 0.50000");
  EXPECT_EQ(Hls(0, 0, 255), "4.00000 1.00000 0.50000");
  EXPECT_EQ(Hls(255, 0, 128), "-0.50196 1.00000 0.50000");
  EXPECT_EQ(Hls(128, 128, 128), "0.00000 0.00000 0.50196");

  int worst = 0;
  float h, s, l;
  int32_t r2, g2, b2;
  for (int r = 0; r < 256; r += 3) {
    for (int g = 0; g < 256; g += 5) {
      for (int b = 0; b < 256; b += 7) {
        RGBToHLS(r, g, b, h, s, l);
        HLSToRGB(h, s, l, r2, g2, b2);
        worst = std::max({worst, std::abs(r2 - r), std::abs(g2 - g), std::abs(b2 - b)});
      }
    }
  }
  EXPECT_LE(worst, 1);
  EXPECT_THROW(HLSToRGB(std::nanf(""), 1.0f, 0.5f, r2, g2, b2), AppError);
}

}  // namespace
}  // namespace qv::test
