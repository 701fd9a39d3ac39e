#pragma once
// Eight packed 24-bit pixels (blue, green, red) at a time in 256-bit registers, for the AVX2
// versions of the pixel kernels. A step loads 32 bytes and spreads them so that each 128-bit lane
// holds four whole pixels (bytes 0-11 and 12-23); a pixel then becomes one 32-bit value
// (blue, green, red, 0), which keeps per-pixel arithmetic in pixel order and the shuffles few.
// Callers check CpuFeatures().avx2 first.

#include "base/CpuFeatures.h"

#ifdef QV_X86
#include <immintrin.h>

#include <cstdint>

namespace qv::steps {

// Reads the 32 bytes at p (the step's 24 and 8 beyond, which the caller keeps inside its row).
QV_TARGET("avx2") inline __m256i Load(const uint8_t* p) {
  const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6));
}

// The loaded step as eight 32-bit (blue, green, red, 0) pixels, pixel i in 32-bit element i.
QV_TARGET("avx2") inline __m256i Widen(__m256i step) {
  const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,
                                          0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  return _mm256_shuffle_epi8(step, spread);
}

// Eight 32-bit (blue, green, red, ignored) pixels packed back to the 24 bytes at out.
QV_TARGET("avx2") inline void Store(uint8_t* out, __m256i pixels) {
  const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                                        0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(pixels, pack),
                                                     _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
}

// blue + green + red of each widened pixel, as 32-bit values.
QV_TARGET("avx2") inline __m256i ChannelSum(__m256i widened) {
  return _mm256_madd_epi16(_mm256_maddubs_epi16(widened, _mm256_set1_epi32(0x00010101)),
                           _mm256_set1_epi16(1));
}

// A step at pixel x of a row of count pixels stays inside the row while x + kReach <= count.
inline constexpr int32_t kReach = 11;

}  // namespace qv::steps

#endif  // QV_X86
