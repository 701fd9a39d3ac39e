#pragma once
// The number conventions of the whole program:
// - a floating-point value becomes an integer by rounding to the nearest, halves to the even
//   neighbour (2.5 -> 2, 3.5 -> 4); a result outside the target type raises the overflow error;
// - Floor(x) is the largest integer not above x;
// - storing an integer into a pixel byte keeps its low 8 bits (StoreByte) unless a routine says it
//   clamps; converting to a byte with ToByteChecked raises the overflow error outside 0 ... 255.

#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "base/Error.h"

namespace qv {

// Nearest integer, halves to even, as a double (no range check).
inline double RoundHalfEven(double v) {
  double r = std::round(v);  // halves away from zero
  if (std::fabs(v - std::trunc(v)) == 0.5) r = 2.0 * std::round(v / 2.0);
  return r;
}

// Largest integer not above v.
inline double Floor(double v) { return std::floor(v); }

namespace detail {
template <typename T>
T CheckedRound(double v) {
  const double r = RoundHalfEven(v);
  if (!(r >= static_cast<double>(std::numeric_limits<T>::min()) &&
        r <= static_cast<double>(std::numeric_limits<T>::max()))) {
    throw err::Overflow();  // also NaN
  }
  return static_cast<T>(r);
}
}  // namespace detail

// Rounded, range-checked conversions to 32-bit, 16-bit and byte integers.
inline int32_t ToInt32Checked(double v) { return detail::CheckedRound<int32_t>(v); }
inline int16_t ToInt16Checked(double v) { return detail::CheckedRound<int16_t>(v); }
inline uint8_t ToByteChecked(double v) { return detail::CheckedRound<uint8_t>(v); }
inline uint8_t ToByteChecked(int64_t v) {
  if (v < 0 || v > 255) throw err::Overflow();
  return static_cast<uint8_t>(v);
}
inline uint8_t ToByteChecked(int32_t v) { return ToByteChecked(static_cast<int64_t>(v)); }

// Integer-to-byte store: keeps the low 8 bits, no check.
inline uint8_t StoreByte(int32_t v) { return static_cast<uint8_t>(v & 0xFF); }

// A signed 32-bit running sum that raises the overflow error instead of wrapping.
inline int32_t CheckedAdd(int32_t sum, int64_t add) {
  const int64_t r = static_cast<int64_t>(sum) + add;
  if (r > std::numeric_limits<int32_t>::max() || r < std::numeric_limits<int32_t>::min()) {
    throw err::Overflow();
  }
  return static_cast<int32_t>(r);
}

inline int32_t Clamp(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : (v > hi ? hi : v); }

// The numeric value of the leading decimal number of a text ("32 bit" -> 32, "  -4.5x" -> -4.5);
// a text without a leading number gives 0.
double LeadingNumber(std::string_view text);

// A text converted to a 16-bit integer as a whole ("7", " 4.5 " -> 4): raises the type-mismatch
// error when the text is not a number and the overflow error when it does not fit.
int16_t ToInt16FromText(std::string_view text);

}  // namespace qv
