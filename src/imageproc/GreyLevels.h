#pragma once
// The two grey levels of the channel kernels, for code that computes them outside the kernels
// (the one-pass anaglyph composers) and must agree with them exactly.

#include <cstdint>

namespace qv {

// round((blue + green + red) / 3), halves to even: a sum of three bytes never lies half way
// between two thirds, so this is (sum + 1) / 3 in integers.
inline uint8_t MeanLevel(uint32_t sum) { return static_cast<uint8_t>((sum + 1) / 3); }

// round((222 red + 707 green + 71 blue) / 1000), halves to even. The weighted sum stays below 2^18,
// so the integer quotient and the test for an exact half are exact.
inline uint8_t StandardLevel(uint32_t blue, uint32_t green, uint32_t red) {
  const uint32_t n = 222 * red + 707 * green + 71 * blue + 500;
  uint32_t q = n / 1000;
  if (q * 1000 == n && (q & 1) != 0) --q;  // exactly half way: to the even neighbour
  return static_cast<uint8_t>(q);
}

}  // namespace qv
