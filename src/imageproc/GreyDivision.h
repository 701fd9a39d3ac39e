#pragma once
// The row kernels of GrayScale: the grey level of a pixel is its channel sum divided by a divisor,
// rounded halves to even, and the conversion to a byte fails (overflow) for the sums whose level
// lies outside 0 ... 255. The level never falls as the sum grows for a positive divisor and never
// rises for a negative one, so the failing sums are exactly those above LargestSum().

#include <array>
#include <cstdint>

namespace qv {

class GreyDivision {
 public:
  // divisor must not be 0.
  explicit GreyDivision(int32_t divisor);

  // The largest channel sum whose level is a byte; -1 when there is none.
  int32_t LargestSum() const { return largestSum_; }
  // The first of the first `count` pixels of row whose sum is above LargestSum(); count if none.
  int32_t FirstFailing(const uint8_t* row, int32_t count) const;
  // Sets blue, green and red of the first `count` pixels of row to their level; none may fail.
  void GreyRow(uint8_t* row, int32_t count) const;

 private:
  void PlainRow(uint8_t* row, int32_t count) const;

  std::array<uint8_t, 766> level_{};  // the level of every sum up to LargestSum()
  int32_t largestSum_ = -1;
  // The level by multiplication, where it gives the table's for every sum that does not fail:
  // with n = 2 sum + add, q = n * reciprocal >> shift is floor(n / twiceDivisor), and a q that is
  // odd where n / twiceDivisor is whole (a half way sum / divisor) steps down to the even one.
  bool multiplies_ = false;
  int32_t add_ = 0, reciprocal_ = 0, shift_ = 0, twiceDivisor_ = 0;
  int32_t LevelByMultiplication(int32_t sum) const;
};

}  // namespace qv
