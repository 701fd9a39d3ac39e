// Number conversions: rounding halves to even, overflow edges, leading-number parsing, whole-text
// conversion, and the numbers and texts of system errors.
#include <gtest/gtest.h>

#include <cerrno>

#include "base/Numbers.h"
#include "support/TestSupport.h"

namespace qv::test {
namespace {

int32_t ErrorNumberOf(const std::function<void()>& f) {
  return ErrorOf(f).Number();
}

TEST(Numbers, RoundsHalvesToEven) {
  const std::pair<double, int> cases[] = {{2.5, 2},        {3.5, 4},       {-2.5, -2},
                                          {-3.5, -4},      {0.49999999, 0}, {180.285, 180},
                                          {641 / 2.0, 320}, {643 / 2.0, 322}};
  for (const auto& [value, rounded] : cases) {
    EXPECT_EQ(RoundHalfEven(value), rounded) << value;
    EXPECT_EQ(ToInt32Checked(value), rounded) << value;
  }
  EXPECT_EQ(std::pair(Floor(-0.5), Floor(2.999)), std::pair(-1.0, 2.0));
}

TEST(Numbers, ByteConversionRaisesOverflowOutsideTheByteRange) {
  EXPECT_EQ(ToByteChecked(254.5), 254);
  EXPECT_EQ(ToByteChecked(-0.5), 0);  // rounds to 0
  EXPECT_EQ(ErrorNumberOf([] { ToByteChecked(255.5); }), err::kOverflow);
  EXPECT_EQ(ErrorNumberOf([] { ToByteChecked(-0.51); }), err::kOverflow);
  EXPECT_EQ(ErrorNumberOf([] { ToByteChecked(int64_t{256}); }), err::kOverflow);
  EXPECT_EQ(ErrorNumberOf([] { ToInt32Checked(2147483647.5); }), err::kOverflow);
  EXPECT_EQ(ErrorNumberOf([] { ToInt16Checked(std::nan("")); }), err::kOverflow);
  EXPECT_EQ(StoreByte(300), 44);
  EXPECT_EQ(StoreByte(-1), 255);
}

TEST(Numbers, CheckedAddStopsPastTheSigned32BitRange) {
  EXPECT_EQ(CheckedAdd(2147483640, 7), 2147483647);
  EXPECT_EQ(ErrorNumberOf([] { CheckedAdd(2147483640, 8); }), err::kOverflow);
}

TEST(Numbers, ValTakesTheLeadingNumber) {
  for (const auto& [text, number] : {std::pair{"32 bit", 32.0}, {"640 ", 640.0}, {"x480", 0.0},
                                     {"  -4.5x", -4.5}, {"", 0.0}, {"1e3", 1000.0}, {".", 0.0}})
    EXPECT_EQ(LeadingNumber(text), number) << text;
}

TEST(Numbers, WholeTextToIntegerFollowsTheConversionRules) {
  EXPECT_EQ(std::tuple(ToInt16FromText(" 7 "), ToInt16FromText("4.5"), ToInt16FromText("5.5")),
            std::tuple(7, 4, 6));
  for (const auto& [text, error] :
       {std::pair{"abc", err::kTypeMismatch}, {"5 glasses", err::kTypeMismatch},
        {"", err::kTypeMismatch}, {"99999", err::kOverflow}})
    EXPECT_EQ(ErrorNumberOf([&] { ToInt16FromText(text); }), error) << text;
}

TEST(Errors, SystemErrorsKeepTheirTextAndCommonNumbers) {
  EXPECT_EQ(err::FromErrno(ENOENT).Number(), err::kFileNotFound);
  EXPECT_EQ(err::FromErrno(EACCES).Number(), err::kPermissionDenied);
  EXPECT_EQ(err::FromErrno(EACCES).Description(), "Permission denied");
  EXPECT_EQ(DescribeError(err::DivisionByZero()), "Division by zero");
}

}  // namespace
}  // namespace qv::test
