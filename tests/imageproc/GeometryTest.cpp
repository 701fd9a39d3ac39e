// The members that move pixels, compared whole on pictures small enough to predict by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {


constexpr double kPi = 3.141592653589793;

using Geometry = With<ImageProcessor>;

TEST_F(Geometry, FlipAndMirrorReverseRowsAndColumnsLeavingPaddingAndMiddlesAlone) {
  struct Case {
    const char* name;
    std::vector<std::vector<int>> before, after;
    bool flip;
    const char* events;
  };
  const Case cases[] = {
      {"flip, odd height", {{1, 2}, {3, 4}, {5, 6}}, {{5, 6}, {3, 4}, {1, 2}}, true, ""},
      {"flip, even height", {{1}, {2}, {3}, {4}}, {{4}, {3}, {2}, {1}}, true, ""},
      {"flip, one row", {{1, 2, 3}}, {{1, 2, 3}}, true, ""},
      {"mirror, two columns", {{1, 2}, {3, 4}}, {{2, 1}, {4, 3}}, false, "init 1"},
      {"mirror, three columns", {{1, 2, 3}}, {{3, 2, 1}}, false, "init 2"},
      {"mirror, six columns", {{1, 2, 3, 4, 5, 6}}, {{6, 5, 4, 3, 2, 1}}, false, "init 5"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PictureRef picture = GreyRows(c.before);
    const int32_t stride = picture->BytesPerScanLine();
    for (int y = 0; y < picture->Height(); ++y) {
      for (int i = 3 * picture->Width(); i < stride; ++i) picture->Bits()[y * stride + i] = 0xA5;
    }
    EventLog log(p);
    c.flip ? p.Flip(*picture) : p.Mirror(*picture, true);
    EXPECT_TRUE(SamePicture(*picture, *GreyRows(c.after)));
    EXPECT_EQ(log.text, c.events);
    for (int y = 0; y < picture->Height(); ++y) {
      for (int i = 3 * picture->Width(); i < stride; ++i) EXPECT_EQ(picture->Bits()[y * stride + i], 0xA5);
    }
    c.flip ? p.Flip(*picture) : p.Mirror(*picture);
    EXPECT_TRUE(SamePicture(*picture, *GreyRows(c.before))) << "twice restores the picture";
  }
}

TEST_F(Geometry, RotateFNTurnsSquaresAQuarterEitherWay) {
  // 2 x 2 with T U over L R: clockwise gives L T over R U.
  PictureRef two = GreyRows({{'T', 'U'}, {'L', 'R'}});
  EventLog log(p);
  p.RotateFN(*two, 1);
  EXPECT_TRUE(SamePicture(*two, *GreyRows({{'L', 'T'}, {'R', 'U'}})));
  EXPECT_EQ(log.text, "init 1 0, done");
  p.RotateFN(*two, 2);
  EXPECT_TRUE(SamePicture(*two, *GreyRows({{'T', 'U'}, {'L', 'R'}})));

  const std::vector<std::vector<int>> square = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}};
  PictureRef four = GreyRows(square);
  log.text.clear();
  p.RotateFN(*four, 2);
  EXPECT_TRUE(SamePicture(*four, *GreyRows({{4, 8, 12, 16}, {3, 7, 11, 15}, {2, 6, 10, 14}, {1, 5, 9, 13}})));
  EXPECT_EQ(log.text, "init 3 0 3 6 3, done");  // ring 0 has three steps, ring 1 one
  p.RotateFN(*four, 0);  // any direction but 2 is clockwise
  EXPECT_TRUE(SamePicture(*four, *GreyRows(square)));

  // A wide picture reaches below its last row.
  PictureRef wide = GreyRows({{1, 2, 3, 4}, {5, 6, 7, 8}});
  EXPECT_EQ(ErrorOf([&] { p.RotateFN(*wide, 1); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Geometry, RotateACWAngAgreesWithTheQuarterTurnsAndBlendsAtTheBorder) {
  const PictureRef source = PatternPicture(5, 5);
  for (const double angle : {0.0, kPi / 2, -kPi / 2, kPi}) {
    SCOPED_TRACE(angle);
    PictureRef expected = source->CopyOf();
    if (angle == kPi / 2) p.RotateFN(*expected, 2);
    if (angle == -kPi / 2) p.RotateFN(*expected, 1);
    if (angle == kPi) {
      p.Flip(*expected);
      p.Mirror(*expected);
    }
    PictureRef turned = MakePicture(5, 5, [](int, int) { return Grey(77); });
    p.CopyToArray(*source);
    EventLog log(p);
    p.RotateACWAng(*turned, angle);
    EXPECT_TRUE(SamePicture(*turned, *expected));
    EXPECT_EQ(log.text, "init 4 0 3 6 9 12, done");
  }

  // White turned by 45 degrees: the corners fall partly outside and fade; at the middle of each
  // edge the four terms, rounded one by one, reach 256, which is held at 255 and not wrapped.
  PictureRef white = MakePicture(5, 5, [](int, int) { return Grey(255); });
  p.CopyToArray(*white);
  p.RotateACWAng(*white, kPi / 4);
  EXPECT_TRUE(SamePicture(*white, *GreyRows({{44, 224, 255, 224, 44},
                                            {224, 255, 255, 255, 224},
                                            {255, 255, 255, 255, 255},
                                            {224, 255, 255, 255, 224},
                                            {44, 224, 255, 224, 44}})));
  // 2 x 2 of 200 at 45 degrees: each pixel keeps two terms of 79.29, rounded to 79 then 158.
  PictureRef small = MakePicture(2, 2, [](int, int) { return Grey(200); });
  p.CopyToArray(*small);
  p.RotateACWAng(*small, kPi / 4);
  EXPECT_TRUE(SamePicture(*small, *MakePicture(2, 2, [](int, int) { return Grey(158); })));

  PictureRef bigger = MakePicture(6, 5, [](int, int) { return Grey(1); });
  EXPECT_EQ(ErrorOf([&] { p.RotateACWAng(*bigger, 0.1); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Geometry, ProjectiveTransformMapsBackNearestPixelWithBlackOutside) {
  const PictureRef source = PatternPicture(12, 2);
  const PictureRef shifted = MakePicture(12, 2, [&](int x, int y) {
    return x < 2 ? PixelAt(*source, x + 10, y) : Bgr{0, 0, 0};
  });
  struct Case {
    const char* name;
    double a, b, c, d, e, f, q;
    int16_t disable;
    PictureRef expected;
  };
  const PictureRef upsideDown = source->CopyOf();
  p.Flip(*upsideDown);
  const Case cases[] = {
      {"identity", 1, 0, 0, 0, 1, 0, 0, 0, source},
      {"shift right disabled", 1, 0, 10, 0, 1, 0, 0, 1, source},
      {"shift by 10", 1, 0, 10, 0, 1, 0, 0, 0, shifted},
      {"rows reversed", 1, 0, 0, 0, -1, 1, 0, 0, upsideDown},
      {"rows reversal disabled", 1, 0, 0, 0, -1, 1, 0, 2, source},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PictureRef out = MakePicture(12, 2, [](int, int) { return Grey(9); });
    p.CopyToArray(*source);
    EventLog log(p);
    p.ProjectiveTransform(*out, c.a, c.b, c.c, c.d, c.e, c.f, 0, c.q, c.disable);
    EXPECT_TRUE(SamePicture(*out, *c.expected));
    EXPECT_EQ(log.text, "init 11 0 1 2 3 4 5 6 7 8 9 10 11, done");
  }

  // D = 1 - x vanishes at column 1: column 0 is already written (x / (1 - x) = 0 there).
  PictureRef out = MakePicture(3, 1, [](int, int) { return Grey(9); });
  const PictureRef three = MakePicture(3, 1, [](int x, int) { return Grey(uint8_t(10 * (x + 1))); });
  p.CopyToArray(*three);
  EXPECT_EQ(ErrorOf([&] { p.ProjectiveTransform(*out, 1, 0, 0, 0, 1, 0, -1, 0, 0); }).Number(),
            err::kDivisionByZero);
  EXPECT_TRUE(SamePicture(*out, *MakePicture(3, 1, [](int x, int) { return Grey(x ? 9 : 10); })));
}

}  // namespace
}  // namespace qv::test
