// Copies between device contexts: clipping, raster operations, overlapping copies, and stretching
// with whole pixels or smoothing.
#include <gtest/gtest.h>

#include "image/Canvas.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


TEST(Blit, CopiesInDeviceCoordinatesAndClipsToBothPictures) {
  auto src = PatternPicture(6, 5);
  auto dst = SolidPicture(4, 4, {1, 1, 1});
  // Source rectangle hanging off the left and top of the source, destination off the right.
  ASSERT_TRUE(Blit(dst->DrawingCanvas(), 1, 1, 5, 5, src->DrawingCanvas(), -1, -2, SRCCOPY));
  EXPECT_TRUE(SamePicture(*dst, *MakePicture(4, 4, [&](int x, int y) {
    const int sx = x - 1 - 1, sy = y - 1 - 2;
    if (x < 1 || y < 1 || sx < 0 || sy < 0) return Bgr{1, 1, 1};
    return PixelAt(*src, sx, sy);
  })));
  EXPECT_FALSE(Blit(dst->DrawingCanvas(), 0, 0, 1, 1, nullptr, 0, 0, SRCCOPY));
  EXPECT_FALSE(Blit(dst->DrawingCanvas(), 0, 0, 1, 1, src->DrawingCanvas(), 0, 0, 0x12345678));
}

TEST(Blit, RasterOperationsCombineBytes) {
  auto src = SolidPicture(3, 3, {0x0F, 0xF0, 0x00});
  auto dst = SolidPicture(3, 3, {0x30, 0x03, 0x55});
  ASSERT_TRUE(Blit(dst->DrawingCanvas(), 0, 0, 3, 3, src->DrawingCanvas(), 0, 0, SRCPAINT));
  EXPECT_TRUE(SamePicture(*dst, *SolidPicture(3, 3, {0x3F, 0xF3, 0x55})));
  ASSERT_TRUE(Blit(dst->DrawingCanvas(), 0, 0, 3, 3, src->DrawingCanvas(), 0, 0, SRCAND));
  EXPECT_TRUE(SamePicture(*dst, *SolidPicture(3, 3, {0x0F, 0xF0, 0x00})));
}

TEST(Blit, OverlappingCopyWithinOnePictureReadsEveryRowBeforeOverwritingIt) {
  auto p = MakePicture(2, 6, [](int x, int y) { return Bgr{uint8_t(y), uint8_t(x), 0}; });
  ASSERT_TRUE(Blit(p->DrawingCanvas(), 0, 2, 2, 4, p->DrawingCanvas(), 0, 0, SRCCOPY));  // rows 0..3 down to 2..5
  EXPECT_TRUE(SamePicture(*p, *MakePicture(2, 6, [](int x, int y) {
    return Bgr{uint8_t(y < 2 ? y : y - 2), uint8_t(x), 0};
  })));
  ASSERT_TRUE(Blit(p->DrawingCanvas(), 0, 0, 2, 4, p->DrawingCanvas(), 0, 2, SRCCOPY));  // and back up
  EXPECT_TRUE(SamePicture(*p, *MakePicture(2, 6, [](int x, int y) {
    return Bgr{uint8_t(y < 4 ? y : y - 2), uint8_t(x), 0};
  })));
}

// A width x height picture of `fill` with all of `src` stretched into (x, y, w, h) in `mode`.
PictureRef Stretched(const PictureRef& src, int mode, int32_t width, int32_t height, Bgr fill = {},
                 int32_t x = 0, int32_t y = 0, int32_t w = -1, int32_t h = -1) {
  auto out = SolidPicture(width, height, fill);
  out->DrawingCanvas()->SetStretchMode(mode);
  EXPECT_TRUE(Stretch(out->DrawingCanvas(), x, y, w < 0 ? width : w, h < 0 ? height : h, src->DrawingCanvas(), 0, 0,
                         src->Width(), src->Height(), SRCCOPY));
  return out;
}

TEST(Stretch, ColorOnColorRepeatsAndDropsWholePixels) {
  auto src = PatternPicture(3, 2);
  auto big = Stretched(src, COLORONCOLOR, 9, 4);
  EXPECT_TRUE(SamePicture(
      *big, *MakePicture(9, 4, [&](int x, int y) { return PixelAt(*src, x / 3, y / 2); })));
  EXPECT_TRUE(SamePicture(*Stretched(big, COLORONCOLOR, 3, 2), *src));

  // Into part of the destination only; the rest stays.
  auto part = Stretched(src, COLORONCOLOR, 6, 6, {5, 5, 5}, 3, 2, 6, 4);
  EXPECT_TRUE(SamePicture(*part, *MakePicture(6, 6, [&](int x, int y) {
    return x < 3 || y < 2 ? Bgr{5, 5, 5} : PixelAt(*src, (x - 3) / 2, (y - 2) / 2);
  })));
}

TEST(Stretch, HalftoneSmoothsButKeepsFlatAreasFlat) {
  const Bgr flat{40, 80, 120};
  EXPECT_TRUE(SamePicture(*Stretched(SolidPicture(7, 5, flat), HALFTONE, 3, 11),
                          *SolidPicture(3, 11, flat)));
  auto checker = MakePicture(4, 4, [](int x, int y) { return Grey((x + y) % 2 ? 200 : 0); });
  EXPECT_TRUE(
      SamePicture(*Stretched(checker, HALFTONE, 2, 2), *SolidPicture(2, 2, Grey(100))));

  auto edge = Columns({Grey(0), Grey(200)});
  auto wide = Stretched(edge, HALFTONE, 8, 1);
  int between = 0;
  for (int x = 1; x < 8; ++x) {
    EXPECT_GE(PixelAt(*wide, x, 0).g, PixelAt(*wide, x - 1, 0).g);
    between += PixelAt(*wide, x, 0).g > 0 && PixelAt(*wide, x, 0).g < 200;
  }
  EXPECT_GE(between, 2);
}

TEST(Stretch, RefusesMirroringAndMissingContexts) {
  auto a = PatternPicture(4, 4);
  auto b = PatternPicture(4, 4);
  EXPECT_FALSE(Stretch(b->DrawingCanvas(), 0, 0, -4, 4, a->DrawingCanvas(), 0, 0, 4, 4, SRCCOPY));
  EXPECT_FALSE(Stretch(b->DrawingCanvas(), 0, 0, 4, 4, nullptr, 0, 0, 4, 4, SRCCOPY));
  EXPECT_EQ(b->DrawingCanvas()->SetStretchMode(9), 0);
}

}  // namespace
}  // namespace qv::test
