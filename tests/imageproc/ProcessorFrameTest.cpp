#include <gtest/gtest.h>

#include "imageproc/cImageProcessDIB.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

using test::Bgr;

// Records the events of one processor.
struct EventLog {
  explicit EventLog(cImageProcessDIB& p) {
    p.Events.InitProgress = [this](int32_t v) { init.push_back(v); };
    p.Events.Progress = [this](int32_t v) { progress.push_back(v); };
    p.Events.Complete = [this](int32_t v) { complete.push_back(v); };
  }
  std::vector<int32_t> init, progress, complete;
};

int32_t NumberOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const AppError& e) {
    return e.Number();
  }
  return 0;
}

class ProcessorFrame : public ::testing::Test {
 protected:
  void TearDown() override { gArrays = ProcessorArrays{}; }
  cImageProcessDIB processor;
};

TEST_F(ProcessorFrame, CopyToArrayLaysChannelBytesOutWithAZeroLastColumn) {
  auto p = test::MakePicture(2, 1, [](int x, int) { return x ? Bgr{4, 5, 6} : Bgr{1, 2, 3}; });
  processor.CopyToArray(*p);
  const PixelArray& a = gArrays.SharedPixels;
  ASSERT_EQ(a.Cols(), 7);
  ASSERT_EQ(a.Rows(), 1);
  EXPECT_EQ(std::vector<int32_t>(a.Data(), a.Data() + 7), (std::vector<int32_t>{1, 2, 3, 4, 5, 6, 0}));
}

TEST_F(ProcessorFrame, CopyToArrayOpenGLPacksRedGreenBlueBottomRowFirst) {
  auto p = test::MakePicture(2, 1, [](int x, int) { return x ? Bgr{4, 5, 6} : Bgr{1, 2, 3}; });
  processor.CopyToArrayOPENGL(*p);
  ASSERT_EQ(gArrays.GLPixels.size(), 7u);
  EXPECT_EQ(std::vector<uint8_t>(gArrays.GLPixels.begin(), gArrays.GLPixels.begin() + 6),
            (std::vector<uint8_t>{3, 2, 1, 6, 5, 4}));

  auto tall = test::MakePicture(1, 2, [](int, int y) { return y ? Bgr{1, 1, 1} : Bgr{9, 9, 9}; });
  processor.CopyToArrayOPENGL(*tall);
  EXPECT_EQ(gArrays.GLPixels[0], 1);  // the bottom row (memory row 0) comes first
  EXPECT_EQ(gArrays.GLPixels[3], 9);
}

TEST_F(ProcessorFrame, ArrayRoundTripLeavesThePictureAndItsPaddingUnchanged) {
  auto p = test::PatternPicture(5, 4);  // 15 bytes a row + 1 padding byte
  for (int y = 0; y < 4; ++y) p->DIBSectionBitsPtr()[y * 16 + 15] = 0x5A;
  auto original = p->CopyOf();
  Array2D<uint8_t> bytes;
  processor.CopyToSpecifiedArray(*p, bytes);
  EXPECT_EQ(bytes.Cols(), 16);
  p->RandomiseBits(true);
  processor.CopyFromArray(*p, bytes);
  EXPECT_TRUE(test::SamePicture(*p, *original));
  for (int y = 0; y < 4; ++y) EXPECT_EQ(p->DIBSectionBitsPtr()[y * 16 + 15], 0x5A);
}

TEST_F(ProcessorFrame, CopyFromArrayRoundsAndStopsAtTheFirstElementOutOfRange) {
  auto p = test::SolidPicture(2, 2, {0, 0, 0});
  Array2D<double> values;
  values.ReDim(7, 2);
  for (int y = 0; y < 2; ++y) {
    for (int i = 0; i < 6; ++i) values(i, y) = 100;
  }
  values(0, 0) = 254.5;
  processor.CopyFromArray(*p, values);
  EXPECT_EQ(p->DIBSectionBitsPtr()[0], 254);

  p = test::SolidPicture(2, 2, {0, 0, 0});
  values(4, 0) = 255.5;  // rounds to 256
  EXPECT_EQ(NumberOf([&] { processor.CopyFromArray(*p, values); }), err::kOverflow);
  // Byte columns are walked one at a time, bottom row up: everything before (4, 0) is written.
  const uint8_t* bits = p->DIBSectionBitsPtr();
  EXPECT_EQ(bits[0], 254);
  EXPECT_EQ(bits[3], 100);
  EXPECT_EQ(bits[8 + 3], 100);  // byte column 3 of memory row 1
  EXPECT_EQ(bits[4], 0);
  EXPECT_EQ(bits[8 + 4], 0);

  PixelArray small;
  small.ReDim(3, 2);
  EXPECT_EQ(NumberOf([&] { processor.CopyFromArray(*p, small); }), err::kSubscriptOutOfRange);
}

TEST_F(ProcessorFrame, EventsReportColumnsAndElapsedTime) {
  EventLog log(processor);
  processor.CopyToArray(*test::PatternPicture(4, 3));
  EXPECT_EQ(log.init, std::vector<int32_t>{3});
  EXPECT_EQ(log.progress, (std::vector<int32_t>{0, 3, 6, 9}));
  ASSERT_EQ(log.complete.size(), 1u);
  EXPECT_GE(log.complete[0], 0);

  EventLog none(processor);
  processor.CopyToArrayOPENGL(*test::PatternPicture(4, 3));
  EXPECT_TRUE(none.init.empty() && none.progress.empty() && none.complete.empty());
}

TEST_F(ProcessorFrame, APictureWithoutRowsCannotBeCopiedIn) {
  EventLog log(processor);
  cDIBSection empty;
  EXPECT_EQ(NumberOf([&] { processor.CopyToArray(empty); }), err::kSubscriptOutOfRange);
  EXPECT_TRUE(log.init.empty());
}

TEST_F(ProcessorFrame, FilterSetUpValidatesWithTheClassErrors) {
  auto expectError = [&](const std::function<void()>& f, int32_t number, const std::string& text) {
    try {
      f();
      ADD_FAILURE() << "no error for " << text;
    } catch (const AppError& e) {
      EXPECT_EQ(e.Number(), number);
      EXPECT_EQ(e.Description(), text);
      EXPECT_EQ(e.Source(), "Quorvex.cImageProcess");
    }
  };
  expectError([&] { processor.FilterArraySize(4); }, static_cast<int32_t>(0x80040519u),
              "Size must be an odd number");
  expectError([&] { processor.FilterArraySize(0); }, static_cast<int32_t>(0x80040519u),
              "Size must be an odd number");
  expectError([&] { processor.FilterArraySize(11); }, static_cast<int32_t>(0x8004051Au),
              "Invalid size.  Size should be an odd number from 3 to 9");
  expectError([&] { processor.FilterArraySize(-3); }, static_cast<int32_t>(0x8004051Au),
              "Invalid size.  Size should be an odd number from 3 to 9");
  expectError([&] { processor.Filtertype(0); }, static_cast<int32_t>(0x8004051Au), "Invalid filter types.");
  expectError([&] { processor.Filtertype(15); }, static_cast<int32_t>(0x8004051Au), "Invalid filter types.");
  EXPECT_EQ(processor.FilterArraySize(), 0);  // state unchanged

  processor.FilterArraySize(1);
  EXPECT_EQ(processor.FilterArraySize(), 1);
  processor.Filtertype(5);
  EXPECT_EQ(processor.FilterWeight(), 1416);
  EXPECT_EQ(processor.FilterValue(0, 0), 100);
  EXPECT_EQ(processor.FilterValue(-2, 1), 45);
  processor.Filtertype(4);
  EXPECT_EQ(processor.FilterWeight(), 44);
  processor.Filtertype(6);
  EXPECT_EQ(processor.FilterWeight(), 7);

  processor.FilterArraySize(3);
  processor.FilterValue(1, -1, 42);
  processor.FilterWeight(3);
  processor.Filtertype(14);  // leaves a kernel set by hand
  EXPECT_EQ(processor.FilterValue(1, -1), 42);
  EXPECT_EQ(processor.FilterWeight(), 3);
  EXPECT_EQ(NumberOf([&] { processor.FilterValue(2, 0); }), err::kSubscriptOutOfRange);
}

}  // namespace
}  // namespace qv
