// Number conversions: rounding halves to even, overflow edges, leading-number parsing, whole-text
// conversion, and the numbers and texts of system errors.
#include <gtest/gtest.h>

#include <cerrno>

#include "base/Numbers.h"
#include "support/TestSupport.h"

namespace qv {
namespace {

int32_t ErrorNumberOf(const std::function<void()>& f) {
  return test::ErrorOf(f).Number();
}

TEST(Numbers, RoundsHalvesToEven) {
  EXPECT_EQ(RoundHalfEven(2.5), 2);
  EXPECT_EQ(RoundHalfEven(3.5), 4);
  EXPECT_EQ(RoundHalfEven(-2.5), -2);
  EXPECT_EQ(RoundHalfEven(-3.5), -4);
  EXPECT_EQ(RoundHalfEven(0.49999999), 0);
  EXPECT_EQ(RoundHalfEven(180.285), 180);
  EXPECT_EQ(ToInt32Checked(641 / 2.0), 320);
  EXPECT_EQ(ToInt32Checked(643 / 2.0), 322);
  EXPECT_EQ(Floor(-0.5), -1);
  EXPECT_EQ(Floor(2.999), 2);
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
  EXPECT_EQ(LeadingNumber("32 bit"), 32);
  EXPECT_EQ(LeadingNumber("640 "), 640);
  EXPECT_EQ(LeadingNumber("x480"), 0);
  EXPECT_EQ(LeadingNumber("  -4.5x"), -4.5);
  EXPECT_EQ(LeadingNumber(""), 0);
  EXPECT_EQ(LeadingNumber("1e3"), 1000);
  EXPECT_EQ(LeadingNumber("."), 0);
}

TEST(Numbers, WholeTextToIntegerFollowsTheConversionRules) {
  EXPECT_EQ(ToInt16FromText(" 7 "), 7);
  EXPECT_EQ(ToInt16FromText("4.5"), 4);
  EXPECT_EQ(ToInt16FromText("5.5"), 6);
  EXPECT_EQ(ErrorNumberOf([] { ToInt16FromText("abc"); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumberOf([] { ToInt16FromText("5 glasses"); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumberOf([] { ToInt16FromText(""); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumberOf([] { ToInt16FromText("99999"); }), err::kOverflow);
}

TEST(Errors, SystemErrorsKeepTheirTextAndCommonNumbers) {
  EXPECT_EQ(err::FromErrno(ENOENT).Number(), err::kFileNotFound);
  EXPECT_EQ(err::FromErrno(EACCES).Number(), err::kPermissionDenied);
  EXPECT_EQ(err::FromErrno(EACCES).Description(), "Permission denied");
  EXPECT_EQ(DescribeError(err::DivisionByZero()), "Division by zero");
}

}  // namespace
}  // namespace qv
