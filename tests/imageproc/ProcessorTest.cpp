// The processor's frame: array copies with their rounding and overflow, progress events, filter
// set-up errors; and the measuring members (correlation, brightness, centre of gravity, vertical
// gradient, crop search) on small pictures whose every byte is known.
#include <gtest/gtest.h>

#include <limits>

#include "imageproc/ImageProcessor.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

constexpr int32_t kMaxInt = std::numeric_limits<int32_t>::max();

using Processor = With<ImageProcessor>;

TEST_F(Processor, ArrayCopiesLayChannelBytesOutBottomRowFirst) {
  EventLog log(p);
  p.CopyToArray(*MakePicture(2, 1, [](int x, int) { return x ? Bgr{4, 5, 6} : Bgr{1, 2, 3}; }));
  const PixelArray& a = p.Arrays().SharedPixels;
  ASSERT_EQ(a.Rows(), 1);
  EXPECT_EQ(std::vector<int32_t>(a.Data(), a.Data() + a.Cols()),
            (std::vector<int32_t>{1, 2, 3, 4, 5, 6, 0}));  // a zero last column
  EXPECT_EQ(log.text, "init 1 0 3, done");

  // The OpenGL array: red, green, blue, the bottom row (memory row 0) first; no events.
  log.text.clear();
  p.CopyToArrayOPENGL(*MakePicture(2, 2, [](int x, int y) {
    return y ? Bgr{uint8_t(4 + x), 5, 6} : Bgr{uint8_t(1 + x), 2, 3};
  }));
  ASSERT_EQ(p.Arrays().GLPixels.size(), 13u);
  EXPECT_EQ(std::vector<uint8_t>(p.Arrays().GLPixels.begin(), p.Arrays().GLPixels.begin() + 12),
            (std::vector<uint8_t>{6, 5, 4, 6, 5, 5, 3, 2, 1, 3, 2, 2}));
  EXPECT_EQ(log.text, "");

  // A picture without rows cannot be copied in, and raises before any event.
  EXPECT_EQ(ErrorOf([&] { p.CopyToArray(Picture{}); }).Number(), err::kSubscriptOutOfRange);
  EXPECT_EQ(log.text, "");
}

TEST_F(Processor, ArrayRoundTripLeavesThePictureAndItsPaddingUnchanged) {
  auto picture = PatternPicture(5, 4);  // 15 bytes a row + 1 padding byte
  for (int y = 0; y < 4; ++y) picture->Bits()[y * 16 + 15] = 0x5A;
  auto original = picture->CopyOf();
  Array2D<uint8_t> bytes;
  p.CopyToSpecifiedArray(*picture, bytes);
  EXPECT_EQ(bytes.Cols(), 16);
  picture->RandomiseBits(true);
  p.CopyFromArray(*picture, bytes);
  EXPECT_TRUE(SamePicture(*picture, *original));
  for (int y = 0; y < 4; ++y) EXPECT_EQ(picture->Bits()[y * 16 + 15], 0x5A);
}

TEST_F(Processor, CopyFromArrayRoundsAndStopsAtTheFirstElementOutOfRange) {
  auto picture = SolidPicture(2, 2, {0, 0, 0});
  Array2D<double> values;
  values.ReDim(7, 2);
  for (int k = 0; k < 12; ++k) values(k % 6, k / 6) = 100;
  values(0, 0) = 254.5;
  values(4, 0) = 255.5;  // rounds to 256
  EXPECT_EQ(ErrorOf([&] { p.CopyFromArray(*picture, values); }).Number(), err::kOverflow);
  // Byte columns are walked one at a time, bottom row up: everything before (4, 0) is written.
  const uint8_t* bits = picture->Bits();
  EXPECT_EQ(std::vector<uint8_t>(bits, bits + 16),
            (std::vector<uint8_t>{254, 100, 100, 100, 0, 0, 0, 0, 100, 100, 100, 100, 0, 0, 0, 0}));

  PixelArray small;
  small.ReDim(3, 2);
  EXPECT_EQ(ErrorOf([&] { p.CopyFromArray(*picture, small); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Processor, FilterSetUpValidatesWithTheClassErrors) {
  const std::string odd = "Size must be an odd number",
                    range = "Invalid size.  Size should be an odd number from 3 to 9",
                    type = "Invalid filter types.";
  const int32_t kOdd = static_cast<int32_t>(0x80040519u),
                kInvalid = static_cast<int32_t>(0x8004051Au);
  const std::tuple<std::function<void()>, int32_t, std::string> bad[] = {
      {[&] { p.FilterArraySize(4); }, kOdd, odd},
      {[&] { p.FilterArraySize(0); }, kOdd, odd},
      {[&] { p.FilterArraySize(11); }, kInvalid, range},
      {[&] { p.FilterArraySize(-3); }, kInvalid, range},
      {[&] { p.Filtertype(0); }, kInvalid, type},
      {[&] { p.Filtertype(15); }, kInvalid, type}};
  for (const auto& [call, number, text] : bad) {
    const AppError e = ErrorOf(call);
    EXPECT_EQ(e.Number(), number) << text;
    EXPECT_EQ(e.Description(), text);
    EXPECT_EQ(e.Source(), "Quorvex.cImageProcess");
  }
  EXPECT_EQ(p.FilterArraySize(), 0);  // state unchanged

  p.FilterArraySize(1);
  p.Filtertype(5);
  EXPECT_EQ(std::tuple(p.FilterWeight(), p.FilterValue(0, 0), p.FilterValue(-2, 1)),
            std::tuple(1416, 100, 45));
  for (const auto& [type, weight] : {std::pair{4, 44}, {6, 7}}) {
    p.Filtertype(type);
    EXPECT_EQ(p.FilterWeight(), weight) << type;
  }

  p.FilterArraySize(3);
  p.FilterValue(1, -1, 42);
  p.FilterWeight(3);
  p.Filtertype(14);  // leaves a kernel set by hand
  EXPECT_EQ(std::pair(p.FilterValue(1, -1), p.FilterWeight()), std::pair(42, 3));
  EXPECT_EQ(ErrorOf([&] { p.FilterValue(2, 0); }).Number(), err::kSubscriptOutOfRange);
}

TEST_F(Processor, CorrelateAddsEveryChannelByteToTheCallersCountCheckingEachAddition) {
  // A 2 x 1 picture whose six bytes each differ by 1 from the array; the count is not reset.
  const PictureRef two = MakePicture(2, 1, [](int x, int) { return Bgr{uint8_t(10 + x), 20, 30}; });
  p.CopyToArray(*two);
  for (int k = 0; k < 6; ++k) p.Arrays().SharedPixels(k, 0) += (k % 2 ? 1 : -1);
  EventLog log(p);
  int32_t count = 100;
  p.Correlate(*two, p.Arrays().SharedPixels, count);
  EXPECT_EQ(std::pair(count, log.text), std::pair(106, std::string("init 1 0 3, done")));
  // Several rows: the sum of all absolute byte differences.
  p.CopyToArray(*SolidPicture(5, 3, {10, 200, 30}));
  count = -7;
  p.Correlate(*SolidPicture(5, 3, {40, 100, 30}), p.Arrays().SharedPixels, count);
  EXPECT_EQ(count, -7 + 15 * (30 + 100));

  // Past the largest 32-bit value: overflow, keeping the count reached (three additions of 255
  // fit, the fourth does not).
  const PictureRef white = SolidPicture(4, 3, Grey(255));
  PixelArray zeros;
  zeros.ReDim(13, 3);
  count = kMaxInt - 1000;
  EXPECT_EQ(ErrorOf([&] { p.Correlate(*white, zeros, count); }).Number(), err::kOverflow);
  EXPECT_EQ(count, kMaxInt - 1000 + 765);
  count = kMaxInt - 12 * 3 * 255;
  p.Correlate(*white, zeros, count);
  EXPECT_EQ(count, kMaxInt);

  // Fractional arrays: the sum is rounded after every addition, halves to even (0 + 0.5 stays 0;
  // 1.5 -> 2, 3.5 -> 4, ...: 2 per addition).
  const PictureRef black = SolidPicture(2, 2, {});
  for (const auto& [value, sum] : {std::pair{0.5, 0}, {1.5, 24}}) {
    Array2D<double> values;
    values.ReDim(7, 2);
    for (int k = 0; k < 14; ++k) values(k % 7, k / 7) = value;
    count = 0;
    p.Correlate(*black, values, count);
    EXPECT_EQ(count, sum) << value;
  }
  PixelArray small;
  small.ReDim(6, 2);  // covers byte columns 0 ... 5 and rows 0 ... 1, all the picture needs
  EXPECT_NO_THROW(p.Correlate(*black, small, count));
  small.ReDim(5, 2);
  EXPECT_THROW(p.Correlate(*black, small, count), AppError);
}

TEST_F(Processor, BrightnessDividesByThreeTimesWidthLessOneTimesHeightLessOne) {
  double amount = -1;
  EventLog log(p);
  p.AssessBright(*SolidPicture(2, 2, {255, 255, 255}), amount);
  EXPECT_DOUBLE_EQ(amount, 1020.0);
  EXPECT_EQ(log.text, "init 1 0 3, done");

  double r = -1, g = -1, b = -1;
  p.AssessRGB(*SolidPicture(3, 3, {0, 0, 255}), r, g, b);
  EXPECT_EQ(std::tuple(r, g, b), std::tuple(191.25, 0.0, 0.0));

  const PictureRef pattern = PatternPicture(6, 5, 3);
  p.AssessRGB(*pattern, r, g, b);
  p.AssessBright(*pattern, amount);
  EXPECT_DOUBLE_EQ(r + g + b, amount);
}

TEST_F(Processor, CentreOfGravityIsMarkedInRedWhereTheBlueWeighs) {
  const PictureRef black = SolidPicture(12, 12, {0, 0, 0});
  p.CentreGravity(*black, 99, 99);
  EXPECT_TRUE(SamePicture(*black, *SolidPicture(12, 12, {0, 0, 0})));

  // Only pixel (5, memory row 7) has blue (255): centre (round(1275 / 256), round(1785 / 256)) =
  // (5, 7); memory rows 6, 7 and 8 of column 5 get red 255, keeping blue and green.
  auto withBlue = [&](bool marked) {
    return MakePicture(12, 12, [&](int x, int top) {
      const int y = 11 - top;
      return Bgr{uint8_t(x == 5 && y == 7 ? 255 : 0), 40,
                 uint8_t(marked && x == 5 && y >= 6 && y <= 8 ? 255 : 0)};
    });
  };
  const PictureRef picture = withBlue(false);
  p.CentreGravity(*picture, 0, 0);
  EXPECT_TRUE(SamePicture(*picture, *withBlue(true)));

  // The weighted sums are 32-bit: a large bright picture overflows them.
  EXPECT_THROW(p.CentreGravity(*SolidPicture(400, 400, {255, 0, 0}), 0, 0), AppError);
}

TEST_F(Processor, VertGradIsWhiteWhereEveryChannelStandsApartFromItsNeighboursJudgedUpwards) {
  // One column, grey levels bottom-up 0, 100, 200, 50, 150, 250. Row 1: neighbours 0 (written),
  // 200, 50 all far from it -> white. Row 2: 255 (written), 50, 150 -> white. Row 3: 255 (row 2
  // as written) is within 25 of 250 two rows up -> black. Rows 0, 4 and 5 are always black.
  auto column = [](const std::vector<uint8_t>& bottomUp) {
    return MakePicture(1, 6, [=](int, int top) {
      const uint8_t v = bottomUp[static_cast<size_t>(5 - top)];
      return Bgr{v, v, v};
    });
  };
  const PictureRef picture = column({0, 100, 200, 50, 150, 250});
  p.Arrays().SharedPixels.ReDim(3, 3);
  p.Arrays().SharedPixels(0, 0) = 77;
  p.VertGrad(*picture);
  EXPECT_TRUE(SamePicture(*picture, *column({0, 255, 255, 0, 0, 0})));
  const PixelArray& shared = p.Arrays().SharedPixels;
  EXPECT_EQ(std::tuple(shared.Cols(), shared.Rows(), shared(0, 0)), std::tuple(4, 6, 0));

  // A channel alike its neighbours is enough to make a pixel black.
  const PictureRef rows = MakePicture(3, 8, [](int, int top) {
    return Bgr{static_cast<uint8_t>(top * 60), 7, static_cast<uint8_t>(top * 60)};
  });
  p.VertGrad(*rows);
  EXPECT_TRUE(SamePicture(*rows, *SolidPicture(3, 8, {0, 0, 0})));
}

TEST_F(Processor, FindCropRegionScansTheLinesOnePixelInsideEachEdge) {
  RecordingSink sink;  // the default screen has 15 twips a pixel
  const int W = 20, H = 16;
  // Content (grey) in columns 1 ... 12 and memory rows 1 ... 9; border dark blue elsewhere.
  const PictureRef picture = MakePicture(W, H, [&](int x, int top) {
    const int y = H - 1 - top;
    return (x >= 1 && x <= 12 && y >= 1 && y <= 9) ? Bgr{128, 128, 128} : Bgr{90, 10, 10};
  });
  EventLog log(p);
  int32_t left = -1, right = -1, top = -1, bottom = -1;
  // Sample point (17, 2) from the top-left corner, in twips.
  p.FindCropRegion(*picture, left, right, top, bottom, 17 * 15, 2 * 15);
  EXPECT_EQ(sink.prompts, std::vector<std::string>{
                              "Please enter tolerance (0-255). A higher tolerance will remove more "
                              "of the border but if it is set too high may remove too much of the "
                              "picture."});
  // Left scan (column 1): content from row 1, border again at row 10. Bottom scan (row 1):
  // content from column 1, border again at column 13. The right and top scans see only border.
  // The largest area is the fourth, |0 - 13| x |1 - 0| = 13.
  EXPECT_EQ(std::tuple(left, right, top, bottom), std::tuple(0, 13, 15, 14));
  EXPECT_EQ(log.text, "init 19, done");

  // A centre inside a border on every side never reaches the scan lines: every area is 0, the
  // largest is shared, and the outputs keep their values.
  const PictureRef framed = MakePicture(W, H, [&](int x, int y) {
    return (x >= 3 && x <= 15 && y >= 2 && y <= 10) ? Bgr{128, 128, 128} : Bgr{90, 10, 10};
  });
  left = right = top = bottom = -1;
  p.FindCropRegion(*framed, left, right, top, bottom, 0, 0);
  EXPECT_EQ(std::tuple(left, right, top, bottom), std::tuple(-1, -1, -1, -1));

  // A sample point outside the picture is the caller's error; so is an answer too large to be a
  // tolerance.
  EXPECT_THROW(p.FindCropRegion(*framed, left, right, top, bottom, 40 * 15, 0), AppError);
  sink.answers.push_back(std::string("3e10"));
  EXPECT_THROW(p.FindCropRegion(*framed, left, right, top, bottom, 0, 0), AppError);
}

}  // namespace
}  // namespace qv::test
