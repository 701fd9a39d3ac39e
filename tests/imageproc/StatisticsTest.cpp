// Correlation and the measuring members, on small pictures whose every byte is known.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "imageproc/cImageProcessDIB.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;
using test::MakePicture;
using test::SolidPicture;
using ::testing::ElementsAre;

struct EventLog {
  std::vector<int32_t> init, progress;
  int completes = 0;
  void Attach(cImageProcessDIB& p) {
    p.Events.InitProgress = [this](int32_t v) { init.push_back(v); };
    p.Events.Progress = [this](int32_t v) { progress.push_back(v); };
    p.Events.Complete = [this](int32_t) { ++completes; };
  }
};

TEST(Correlate, SumsEveryChannelByteOnceOntoTheCallersCount) {
  cImageProcessDIB p;
  const DibRef picture = test::PatternPicture(9, 7);
  p.CopyToArray(*picture);
  int32_t sum = 0;
  p.Correlate(*picture, gArrays.SharedPixels, sum);
  EXPECT_EQ(sum, 0);

  // A 2 x 1 picture whose six bytes each differ by 1 from the array; the count is not reset.
  const DibRef two = MakePicture(2, 1, [](int x, int) { return Bgr{uint8_t(10 + x), 20, 30}; });
  p.CopyToArray(*two);
  for (int k = 0; k < 6; ++k) gArrays.SharedPixels(k, 0) += (k % 2 ? 1 : -1);
  EventLog log;
  log.Attach(p);
  int32_t count = 100;
  p.Correlate(*two, gArrays.SharedPixels, count);
  EXPECT_EQ(count, 106);
  EXPECT_THAT(log.init, ElementsAre(1));
  EXPECT_THAT(log.progress, ElementsAre(0, 3));
  EXPECT_EQ(log.completes, 1);

  // Two different pictures: the sum of all absolute byte differences.
  const DibRef a = SolidPicture(5, 3, {10, 200, 30});
  const DibRef b = SolidPicture(5, 3, {40, 100, 30});
  p.CopyToArray(*a);
  sum = -7;
  p.Correlate(*b, gArrays.SharedPixels, sum);
  EXPECT_EQ(sum, -7 + 15 * (30 + 100));
}

TEST(Correlate, PassingTheLargest32BitValueRaisesOverflowAndKeepsTheCountReached) {
  cImageProcessDIB p;
  const DibRef white = SolidPicture(4, 3, {255, 255, 255});
  PixelArray zeros;
  zeros.ReDim(13, 3);
  int32_t count = std::numeric_limits<int32_t>::max() - 1000;
  try {
    p.Correlate(*white, zeros, count);
    FAIL() << "no overflow";
  } catch (const AppError& e) {
    EXPECT_EQ(e.Number(), err::kOverflow);
  }
  // Three additions of 255 fit (765 <= 1000), the fourth does not.
  EXPECT_EQ(count, std::numeric_limits<int32_t>::max() - 1000 + 765);

  int32_t justFits = std::numeric_limits<int32_t>::max() - 12 * 3 * 255;
  p.Correlate(*white, zeros, justFits);
  EXPECT_EQ(justFits, std::numeric_limits<int32_t>::max());
}

TEST(Correlate, FractionalArraysRoundTheSumAfterEveryAddition) {
  cImageProcessDIB p;
  const DibRef black = SolidPicture(2, 2, {0, 0, 0});
  Array2D<double> halves, oneAndAHalf;
  halves.ReDim(7, 2);
  oneAndAHalf.ReDim(7, 2);
  for (int y = 0; y < 2; ++y) {
    for (int k = 0; k < 7; ++k) halves(k, y) = 0.5, oneAndAHalf(k, y) = 1.5;
  }
  int32_t sum = 0;
  p.Correlate(*black, halves, sum);  // 0 + 0.5 rounds to 0, every time
  EXPECT_EQ(sum, 0);
  sum = 0;
  p.Correlate(*black, oneAndAHalf, sum);  // 1.5 -> 2, 3.5 -> 4, 5.5 -> 6, ...: 2 per addition
  EXPECT_EQ(sum, 24);

  PixelArray small;
  small.ReDim(6, 2);  // covers byte columns 0 ... 5, the picture needs 0 ... 5 and rows 0 ... 1
  EXPECT_NO_THROW(p.Correlate(*black, small, sum));
  small.ReDim(5, 2);
  EXPECT_THROW(p.Correlate(*black, small, sum), AppError);
}

TEST(Brightness, DividesByThreeTimesWidthLessOneTimesHeightLessOne) {
  cImageProcessDIB p;
  double amount = -1;
  EventLog log;
  log.Attach(p);
  p.AssessBright(*SolidPicture(2, 2, {255, 255, 255}), amount);
  EXPECT_DOUBLE_EQ(amount, 1020.0);
  EXPECT_THAT(log.init, ElementsAre(1));
  EXPECT_THAT(log.progress, ElementsAre(0, 3));

  double r = -1, g = -1, b = -1;
  p.AssessRGB(*SolidPicture(3, 3, {0, 0, 255}), r, g, b);
  EXPECT_DOUBLE_EQ(r, 191.25);
  EXPECT_EQ(g, 0.0);
  EXPECT_EQ(b, 0.0);

  const DibRef pattern = test::PatternPicture(6, 5, 3);
  p.AssessRGB(*pattern, r, g, b);
  p.AssessBright(*pattern, amount);
  EXPECT_DOUBLE_EQ(r + g + b, amount);
}

TEST(CentreGravity, MarksTheBlueWeightedCentreInRed) {
  cImageProcessDIB p;
  const DibRef black = SolidPicture(12, 12, {0, 0, 0});
  p.Centre_Gravity(*black, 99, 99);
  EXPECT_TRUE(test::SamePicture(*black, *SolidPicture(12, 12, {0, 0, 0})));

  // Only pixel (5, memory row 7) has blue (255): centre (round(1275 / 256), round(1785 / 256)) =
  // (5, 7); memory rows 6, 7 and 8 of column 5 get red 255, keeping blue and green.
  const int W = 12, H = 12;
  auto withBlue = [&](bool marked) {
    return MakePicture(W, H, [&](int x, int top) {
      const int y = H - 1 - top;
      Bgr c{0, 40, 0};
      if (x == 5 && y == 7) c.b = 255;
      if (marked && x == 5 && y >= 6 && y <= 8) c.r = 255;
      return c;
    });
  };
  const DibRef picture = withBlue(false);
  p.Centre_Gravity(*picture, 0, 0);
  EXPECT_TRUE(test::SamePicture(*picture, *withBlue(true)));

  // The weighted sums are 32-bit: a large bright picture overflows them.
  const DibRef bright = SolidPicture(400, 400, {255, 0, 0});
  EXPECT_THROW(p.Centre_Gravity(*bright, 0, 0), AppError);
}

TEST(VertGrad, WhiteWhereEveryChannelStandsApartFromItsNeighboursJudgedUpwards) {
  // One column, grey levels bottom-up 0, 100, 200, 50, 150, 250. Row 1: neighbours 0 (written),
  // 200, 50 all far from it -> white. Row 2: 255 (written), 50, 150 -> white. Row 3: 255 (row 2
  // as written) is within 25 of 250 two rows up -> black. Rows 0, 4 and 5 are always black.
  const int levels[6] = {0, 100, 200, 50, 150, 250};
  const DibRef picture = MakePicture(1, 6, [&](int, int top) {
    const uint8_t v = static_cast<uint8_t>(levels[5 - top]);
    return Bgr{v, v, v};
  });
  gArrays.SharedPixels.ReDim(3, 3);
  gArrays.SharedPixels(0, 0) = 77;
  cImageProcessDIB p;
  p.VertGrad(*picture);
  const int expected[6] = {0, 255, 255, 0, 0, 0};
  EXPECT_TRUE(test::SamePicture(*picture, *MakePicture(1, 6, [&](int, int top) {
    const uint8_t v = static_cast<uint8_t>(expected[5 - top]);
    return Bgr{v, v, v};
  })));
  EXPECT_EQ(gArrays.SharedPixels.Cols(), 4);
  EXPECT_EQ(gArrays.SharedPixels.Rows(), 6);
  EXPECT_EQ(gArrays.SharedPixels(0, 0), 0);

  // A channel alike its neighbours is enough to make a pixel black.
  const DibRef rows = MakePicture(3, 8, [](int, int top) {
    return Bgr{static_cast<uint8_t>(top * 60), 7, static_cast<uint8_t>(top * 60)};
  });
  p.VertGrad(*rows);
  EXPECT_TRUE(test::SamePicture(*rows, *SolidPicture(3, 8, {0, 0, 0})));
}

TEST(FindCropRegion, ScansTheLinesOnePixelInsideEachEdge) {
  test::RecordingSink sink;
  FixedScreen screen(1024, 768, 15.0, 15.0);
  SetScreenInfo(&screen);
  const int W = 20, H = 16;
  // Content (grey) in columns 1 ... 12 and memory rows 1 ... 9; border dark blue elsewhere.
  const DibRef picture = MakePicture(W, H, [&](int x, int top) {
    const int y = H - 1 - top;
    return (x >= 1 && x <= 12 && y >= 1 && y <= 9) ? Bgr{128, 128, 128} : Bgr{90, 10, 10};
  });
  cImageProcessDIB p;
  EventLog log;
  log.Attach(p);
  int32_t left = -1, right = -1, top = -1, bottom = -1;
  // Sample point (17, 2) from the top-left corner, in twips.
  p.FindCropRegion(*picture, left, right, top, bottom, 17 * 15, 2 * 15);
  ASSERT_EQ(sink.prompts.size(), 1u);
  EXPECT_EQ(sink.prompts[0],
            "Please enter tolerance (0-255). A higher tolerance will remove more of the border but "
            "if it is set too high may remove too much of the picture.");
  // Left scan (column 1): content from row 1, border again at row 10. Bottom scan (row 1):
  // content from column 1, border again at column 13. The right and top scans see only border.
  // The largest area is the fourth, |0 - 13| x |1 - 0| = 13.
  EXPECT_EQ(left, 0);
  EXPECT_EQ(right, 13);
  EXPECT_EQ(top, 15);
  EXPECT_EQ(bottom, 14);
  EXPECT_THAT(log.init, ElementsAre(W - 1));
  EXPECT_TRUE(log.progress.empty());
  EXPECT_EQ(log.completes, 1);

  // A centre inside a border on every side never reaches the scan lines: every area is 0, the
  // largest is shared, and the outputs keep their values.
  const DibRef framed = MakePicture(W, H, [&](int x, int y) {
    return (x >= 3 && x <= 15 && y >= 2 && y <= 10) ? Bgr{128, 128, 128} : Bgr{90, 10, 10};
  });
  left = right = top = bottom = -1;
  p.FindCropRegion(*framed, left, right, top, bottom, 0, 0);
  EXPECT_EQ(left, -1);
  EXPECT_EQ(bottom, -1);

  // A sample point outside the picture is the caller's error; so is an answer too large to be a
  // tolerance.
  EXPECT_THROW(p.FindCropRegion(*framed, left, right, top, bottom, 40 * 15, 0), AppError);
  sink.answers.push_back(std::string("3e10"));
  EXPECT_THROW(p.FindCropRegion(*framed, left, right, top, bottom, 0, 0), AppError);
  SetScreenInfo(nullptr);
}

}  // namespace
}  // namespace qv
