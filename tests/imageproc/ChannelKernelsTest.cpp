// The kernels that rewrite channels: masks, greys with their rounding and overflow, swaps, the
// anaglyph hue removal and repairs, and the hue/lightness/saturation conversions.
#include <gtest/gtest.h>

#include "imageproc/cImageProcessDIB.h"
#include "imageproc/mHLSRGB.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::SamePicture;
using test::SolidPicture;

Bgr Grey(uint8_t g) {
  return Bgr{g, g, g};
}

TEST(ChannelKernels, ColourMaskMultipliesEachChannelWithWrapAround) {
  cImageProcessDIB process;
  auto picture = SolidPicture(3, 2, {255, 255, 255});
  process.ColourMask(*picture, 0, 0, 1);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(3, 2, {0, 0, 255})));
  picture = SolidPicture(3, 2, {200, 200, 200});
  process.ColourMask(*picture, 2, 2, 2);  // 400 keeps its low 8 bits
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(3, 2, {144, 144, 144})));
}

TEST(ChannelKernels, GrayScaleRoundsHalvesToEvenAndStopsAtTheFirstOverflow) {
  cImageProcessDIB process;
  // (0, 0, 1) -> 0, (1, 1, 0) -> 1, (0, 1, 2) -> 1, sum 8 -> 3, sum 7 -> 2.
  const Bgr pixels[] = {{0, 0, 1}, {1, 1, 0}, {0, 1, 2}, {2, 3, 3}, {2, 2, 3}};
  const uint8_t levels[] = {0, 1, 1, 3, 2};
  auto picture = MakePicture(5, 1, [&](int x, int) { return pixels[x]; });
  process.GrayScale(*picture, 3);
  EXPECT_TRUE(
      SamePicture(*picture, *MakePicture(5, 1, [&](int x, int) { return Grey(levels[x]); })));

  // Divisor 2: a sum of 510 gives 255, 511 rounds to 256 and fails. The walk goes column by column,
  // each from the bottom row up, and stops at the first failing pixel with the ones before it grey:
  // here (1, top row), which comes after (1, bottom row) and before (2, bottom row).
  auto failing = [](int x, int y) {
    if ((x == 1 && y == 0) || (x == 2 && y == 1)) return Bgr{255, 255, 1};  // sum 511
    return Bgr{255, 255, 0};
  };
  picture = MakePicture(3, 2, failing);
  EXPECT_THROW(process.GrayScale(*picture, 2), AppError);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(3, 2, [&](int x, int y) {
    const bool before = x == 0 || (x == 1 && y == 1);
    return before ? Grey(255) : failing(x, y);
  })));

  // Divisor 1 on (100, 100, 100) fails at once; a divisor of 0 gives no number at all.
  picture = SolidPicture(2, 2, {100, 100, 100});
  EXPECT_THROW(process.GrayScale(*picture, 1), AppError);
  EXPECT_THROW(process.GrayScale(*picture, 0), AppError);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(2, 2, {100, 100, 100})));
  // A negative divisor: black stays black, anything else fails.
  picture = SolidPicture(2, 2, {});
  process.GrayScale(*picture, -3);
  EXPECT_TRUE(SamePicture(*picture, *SolidPicture(2, 2, {})));
}

TEST(ChannelKernels, GrayScaleStandWeighsTheChannels) {
  cImageProcessDIB process;
  const Bgr pixels[] = {{0, 255, 0}, {0, 0, 255}, {255, 0, 0}, {255, 255, 255}};
  const uint8_t levels[] = {180, 57, 18, 255};
  auto picture = MakePicture(4, 1, [&](int x, int) { return pixels[x]; });
  process.GrayScale_stand(*picture);
  EXPECT_TRUE(
      SamePicture(*picture, *MakePicture(4, 1, [&](int x, int) { return Grey(levels[x]); })));
}

TEST(ChannelKernels, SwapRedBlueAndCheckForGreenBlue) {
  cImageProcessDIB process;
  auto picture = test::PatternPicture(3, 2);
  const auto original = picture->CopyOf();
  process.SwapRedBlue(*picture);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(3, 2, [&](int x, int y) {
    const Bgr p = test::PixelAt(*original, x, y);
    return Bgr{p.r, p.g, p.b};
  })));

  auto red = SolidPicture(4, 3, {0, 0, 200});
  EXPECT_FALSE(process.CheckForGreenBlue(*red));
  red->Grid().MemoryRow(2)[3 * 3 + 1] = 1;
  EXPECT_TRUE(process.CheckForGreenBlue(*red));
}

TEST(ChannelKernels, RemoveAnaglyphHuesDropsRedAndCyanAndFillsFromTheRight) {
  cImageProcessDIB process;
  // Red, cyan and grey pixels go; green (hue 2) stays with every byte's lowest bit set.
  auto picture = MakePicture(4, 1, [](int x, int) {
    const Bgr p[] = {{0, 0, 255}, {255, 255, 0}, {128, 128, 128}, {0, 255, 0}};
    return p[x];
  });
  process.RemoveAnaglyphHues(*picture);
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(4, 1, [](int x, int) {
    return x == 3 ? Bgr{1, 255, 1} : Bgr{};
  })));

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
  process.RemoveAnaglyphHues(*field);
  EXPECT_TRUE(SamePicture(*field, *MakePicture(12, 4, [&](int x, int y) {
    return isDot(x, y, false) ? Bgr{} : Bgr{11, 201, 21};
  })));
}

TEST(ChannelKernels, ColourFromImageTakesHueAndSaturationFromSharedPixels) {
  cImageProcessDIB process;
  process.CopyToArray(*SolidPicture(2, 2, {0, 0, 255}));  // pure red
  auto picture = MakePicture(2, 2, [](int x, int) { return x == 0 ? Grey(128) : Grey(0); });
  process.ColourFromImage(*picture);
  // Lightness 128 / 255 with hue 0 and saturation 1: (1, 1, 255); black stays black.
  EXPECT_TRUE(SamePicture(*picture, *MakePicture(2, 2, [](int x, int) {
    return x == 0 ? Bgr{1, 1, 255} : Bgr{};
  })));
  auto larger = SolidPicture(3, 2, {});
  EXPECT_THROW(process.ColourFromImage(*larger), AppError);  // SharedPixels holds a smaller picture
}

TEST(ChannelKernels, AnaglyphRepairsRestoreTheMissingChannelsOfAGreyPicture) {
  // A grey picture taken apart: the red-only and the blue-green halves. Matching blocks sit at the
  // same place, and the colours of grey are grey, so whole 16 x 16 blocks come back grey; the
  // columns and rows beyond the last whole block are not touched.
  auto level = [](int x, int y) { return static_cast<uint8_t>(x * 11 + y * 5); };
  const int W = 20, H = 17;
  auto grey = MakePicture(W, H, [&](int x, int y) { return Grey(level(x, y)); });
  auto redOnly = MakePicture(W, H, [&](int x, int y) { return Bgr{0, 0, level(x, y)}; });
  auto blueGreen = MakePicture(W, H, [&](int x, int y) {
    return Bgr{level(x, y), level(x, y), 0};
  });
  // Device row 0 is the top row, which lies beyond the last whole block (memory rows 0 ... 15).
  auto inBlock = [](int x, int y) { return x < 16 && y >= 1; };

  cImageProcessDIB process;
  auto repaired = blueGreen->CopyOf();
  process.CopyToArray(*grey);
  process.CorrectAnaglyph(*repaired, gArrays.SharedPixels);
  EXPECT_TRUE(SamePicture(*repaired, *MakePicture(W, H, [&](int x, int y) {
    return inBlock(x, y) ? Grey(level(x, y)) : Bgr{level(x, y), level(x, y), 0};
  })));

  auto left = redOnly->CopyOf();
  auto right = blueGreen->CopyOf();
  process.CorrectAnaglyphGrad(*grey, *grey, *left, *right);
  EXPECT_TRUE(SamePicture(*left, *MakePicture(W, H, [&](int x, int y) {
    return inBlock(x, y) ? Grey(level(x, y)) : Bgr{0, 0, level(x, y)};
  })));
  EXPECT_TRUE(SamePicture(*right, *MakePicture(W, H, [&](int x, int y) {
    return inBlock(x, y) ? Grey(level(x, y)) : Bgr{level(x, y), level(x, y), 0};
  })));

  // Fewer than 16 columns: no blocks, nothing changes.
  auto narrow = SolidPicture(15, 20, {9, 9, 0});
  process.CopyToArray(*SolidPicture(15, 20, Grey(9)));
  process.CorrectAnaglyph(*narrow, gArrays.SharedPixels);
  EXPECT_TRUE(SamePicture(*narrow, *SolidPicture(15, 20, {9, 9, 0})));
}

TEST(HlsConversions, KnownColoursAndRoundTrips) {
  struct Known {
    int32_t r, g, b;
    float h, s, l;
  };
  const Known known[] = {{255, 0, 0, 0, 1, 0.5f},
                         {0, 255, 0, 2, 1, 0.5f},
                         {0, 0, 255, 4, 1, 0.5f},
                         {255, 0, 128, -0.50196f, 1, 0.5f},
                         {128, 128, 128, 0, 0, 0.50196f}};
  float h, s, l;
  for (const Known& k : known) {
    RGBToHLS(k.r, k.g, k.b, h, s, l);
    EXPECT_NEAR(h, k.h, 1e-5) << k.r << "," << k.g << "," << k.b;
    EXPECT_NEAR(s, k.s, 1e-5) << k.r << "," << k.g << "," << k.b;
    EXPECT_NEAR(l, k.l, 1e-5) << k.r << "," << k.g << "," << k.b;
  }
  int worst = 0;
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
}  // namespace qv
