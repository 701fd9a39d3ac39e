// Copies between device contexts: clipping, raster operations, overlapping copies, and stretching
// with whole pixels or smoothing.
#include <gtest/gtest.h>

#include "image/DeviceContext.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::PixelAt;
using test::SamePicture;

TEST(BitBlt, CopiesInDeviceCoordinatesAndClipsToBothPictures) {
  auto src = test::PatternPicture(6, 5);
  auto dst = test::SolidPicture(4, 4, {1, 1, 1});
  // Source rectangle hanging off the left and top of the source, destination off the right.
  ASSERT_TRUE(BitBlt(dst->hDC(), 1, 1, 5, 5, src->hDC(), -1, -2, SRCCOPY));
  EXPECT_TRUE(SamePicture(*dst, *MakePicture(4, 4, [&](int x, int y) {
    const int sx = x - 1 - 1, sy = y - 1 - 2;
    if (x < 1 || y < 1 || sx < 0 || sy < 0) return Bgr{1, 1, 1};
    return PixelAt(*src, sx, sy);
  })));
  EXPECT_FALSE(BitBlt(dst->hDC(), 0, 0, 1, 1, nullptr, 0, 0, SRCCOPY));
  EXPECT_FALSE(BitBlt(dst->hDC(), 0, 0, 1, 1, src->hDC(), 0, 0, 0x12345678));
}

TEST(BitBlt, RasterOperationsCombineBytes) {
  auto src = test::SolidPicture(3, 3, {0x0F, 0xF0, 0x00});
  auto dst = test::SolidPicture(3, 3, {0x30, 0x03, 0x55});
  ASSERT_TRUE(BitBlt(dst->hDC(), 0, 0, 3, 3, src->hDC(), 0, 0, SRCPAINT));
  EXPECT_TRUE(SamePicture(*dst, *test::SolidPicture(3, 3, {0x3F, 0xF3, 0x55})));
  ASSERT_TRUE(BitBlt(dst->hDC(), 0, 0, 3, 3, src->hDC(), 0, 0, SRCAND));
  EXPECT_TRUE(SamePicture(*dst, *test::SolidPicture(3, 3, {0x0F, 0xF0, 0x00})));
}

TEST(BitBlt, OverlappingCopyWithinOnePictureReadsEveryRowBeforeOverwritingIt) {
  auto p = MakePicture(2, 6, [](int x, int y) { return Bgr{uint8_t(y), uint8_t(x), 0}; });
  ASSERT_TRUE(BitBlt(p->hDC(), 0, 2, 2, 4, p->hDC(), 0, 0, SRCCOPY));  // rows 0..3 down to 2..5
  EXPECT_TRUE(SamePicture(*p, *MakePicture(2, 6, [](int x, int y) {
    return Bgr{uint8_t(y < 2 ? y : y - 2), uint8_t(x), 0};
  })));
  ASSERT_TRUE(BitBlt(p->hDC(), 0, 0, 2, 4, p->hDC(), 0, 2, SRCCOPY));  // and back up
  EXPECT_TRUE(SamePicture(*p, *MakePicture(2, 6, [](int x, int y) {
    return Bgr{uint8_t(y < 4 ? y : y - 2), uint8_t(x), 0};
  })));
}

TEST(StretchBlt, ColorOnColorRepeatsAndDropsWholePixels) {
  auto src = test::PatternPicture(3, 2);
  auto big = test::SolidPicture(9, 4, {0, 0, 0});
  big->hDC()->SetStretchBltMode(COLORONCOLOR);
  ASSERT_TRUE(StretchBlt(big->hDC(), 0, 0, 9, 4, src->hDC(), 0, 0, 3, 2, SRCCOPY));
  EXPECT_TRUE(SamePicture(
      *big, *MakePicture(9, 4, [&](int x, int y) { return PixelAt(*src, x / 3, y / 2); })));

  auto small = test::SolidPicture(3, 2, {0, 0, 0});
  small->hDC()->SetStretchBltMode(COLORONCOLOR);
  ASSERT_TRUE(StretchBlt(small->hDC(), 0, 0, 3, 2, big->hDC(), 0, 0, 9, 4, SRCCOPY));
  EXPECT_TRUE(SamePicture(*small, *src));

  // Into part of the destination only; the rest stays.
  auto part = test::SolidPicture(6, 6, {5, 5, 5});
  part->hDC()->SetStretchBltMode(COLORONCOLOR);
  ASSERT_TRUE(StretchBlt(part->hDC(), 3, 2, 6, 4, src->hDC(), 0, 0, 3, 2, SRCCOPY));
  EXPECT_TRUE(SamePicture(*part, *MakePicture(6, 6, [&](int x, int y) {
    if (x < 3 || y < 2) return Bgr{5, 5, 5};
    return PixelAt(*src, (x - 3) / 2, (y - 2) / 2);
  })));
}

TEST(StretchBlt, HalftoneSmoothsButKeepsFlatAreasFlat) {
  auto flat = test::SolidPicture(7, 5, {40, 80, 120});
  auto out = test::SolidPicture(3, 11, {0, 0, 0});
  out->hDC()->SetStretchBltMode(HALFTONE);
  ASSERT_TRUE(StretchBlt(out->hDC(), 0, 0, 3, 11, flat->hDC(), 0, 0, 7, 5, SRCCOPY));
  EXPECT_TRUE(SamePicture(*out, *test::SolidPicture(3, 11, {40, 80, 120})));

  auto checker = MakePicture(4, 4, [](int x, int y) {
    const uint8_t v = (x + y) % 2 ? 200 : 0;
    return Bgr{v, v, v};
  });
  auto half = test::SolidPicture(2, 2, {0, 0, 0});
  half->hDC()->SetStretchBltMode(HALFTONE);
  ASSERT_TRUE(StretchBlt(half->hDC(), 0, 0, 2, 2, checker->hDC(), 0, 0, 4, 4, SRCCOPY));
  EXPECT_TRUE(SamePicture(*half, *test::SolidPicture(2, 2, {100, 100, 100})));

  auto edge = MakePicture(2, 1, [](int x, int) { return x ? Bgr{200, 200, 200} : Bgr{0, 0, 0}; });
  auto wide = test::SolidPicture(8, 1, {0, 0, 0});
  wide->hDC()->SetStretchBltMode(HALFTONE);
  ASSERT_TRUE(StretchBlt(wide->hDC(), 0, 0, 8, 1, edge->hDC(), 0, 0, 2, 1, SRCCOPY));
  int between = 0;
  for (int x = 1; x < 8; ++x) {
    EXPECT_GE(PixelAt(*wide, x, 0).g, PixelAt(*wide, x - 1, 0).g);
    between += PixelAt(*wide, x, 0).g > 0 && PixelAt(*wide, x, 0).g < 200;
  }
  EXPECT_GE(between, 2);
}

TEST(StretchBlt, RefusesMirroringAndMissingContexts) {
  auto a = test::PatternPicture(4, 4);
  auto b = test::PatternPicture(4, 4);
  EXPECT_FALSE(StretchBlt(b->hDC(), 0, 0, -4, 4, a->hDC(), 0, 0, 4, 4, SRCCOPY));
  EXPECT_FALSE(StretchBlt(b->hDC(), 0, 0, 4, 4, nullptr, 0, 0, 4, 4, SRCCOPY));
  EXPECT_EQ(b->hDC()->SetStretchBltMode(9), 0);
}

}  // namespace
}  // namespace qv
