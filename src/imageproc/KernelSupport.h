#pragma once
// Small helpers shared by the pixel kernels of ImageProcessor's .cpp files.

#include <cmath>
#include <cstdint>

#include "base/Error.h"
#include "base/Numbers.h"
#include "image/PixelArrays.h"

namespace qv::kernels {

// a / b in floating point as the program's arithmetic has it: a zero divisor raises division by
// zero, or the overflow error when the dividend is zero as well (0 / 0 gives no number).
inline double Quotient(double a, double b) {
  if (b == 0.0) throw a == 0.0 ? err::Overflow() : err::DivisionByZero();
  return a / b;
}
inline float QuotientSingle(float a, float b) {
  if (b == 0.0f) throw a == 0.0f ? err::Overflow() : err::DivisionByZero();
  return a / b;
}

// The subscript-range error unless `values` covers byte columns 0 ... lastCol and rows
// 0 ... lastRow. Nothing is needed when either last index is negative.
inline void RequireCovers(const PixelArray& values, int64_t lastCol, int64_t lastRow) {
  if (lastCol < 0 || lastRow < 0) return;
  if (!values.Covers(lastCol, lastRow)) throw err::SubscriptOutOfRange();
}

// A pixel byte from an array element: its low 8 bits.
inline uint8_t Low8(int32_t v) { return static_cast<uint8_t>(v & 0xFF); }

inline uint8_t ClampByte(int64_t v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

}  // namespace qv::kernels
