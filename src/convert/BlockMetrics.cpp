#include "convert/BlockMetrics.h"

#include <cstdlib>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define QV_X86 1
#endif

namespace qv {

void MakeBlock(const uint8_t* pixels, ptrdiff_t stride, uint8_t* block) {
  for (int32_t j = 0; j < kBlockRows; ++j) {
    std::memcpy(block + j * kBlockStride, pixels + j * stride, kBlockBytes);
    block[j * kBlockStride + 30] = block[j * kBlockStride + 31] = 0;
  }
}

namespace {

int32_t PlainSad(const uint8_t* block, const uint8_t* reference, ptrdiff_t stride, int32_t rowStep) {
  int32_t sum = 0;
  for (int32_t j = 0; j < kBlockRows; j += rowStep) {
    const uint8_t* a = block + j * kBlockStride;
    const uint8_t* b = reference + j * stride;
    for (int32_t i = 0; i < kBlockBytes; ++i) sum += std::abs(a[i] - b[i]);
  }
  return sum;
}

void PlainSadX4(const uint8_t* block, const uint8_t* const reference[4], ptrdiff_t stride,
                int32_t rowStep, int32_t sums[4]) {
  for (int k = 0; k < 4; ++k) sums[k] = PlainSad(block, reference[k], stride, rowStep);
}

#ifdef QV_X86
// SSE2 is part of every x86-64 processor: two 16-byte halves a row, the second half's last two
// bytes masked off.
__m128i HalfMask() { return _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, 0); }

int32_t Sse2Sad(const uint8_t* block, const uint8_t* reference, ptrdiff_t stride, int32_t rowStep) {
  const __m128i mask = HalfMask();
  __m128i acc = _mm_setzero_si128();
  for (int32_t j = 0; j < kBlockRows; j += rowStep) {
    const uint8_t* a = block + j * kBlockStride;
    const uint8_t* b = reference + j * stride;
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
    const __m128i hi = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 16)), mask);
    acc = _mm_add_epi64(acc, _mm_sad_epu8(_mm_load_si128(reinterpret_cast<const __m128i*>(a)), lo));
    acc = _mm_add_epi64(acc, _mm_sad_epu8(_mm_load_si128(reinterpret_cast<const __m128i*>(a + 16)), hi));
  }
  return _mm_cvtsi128_si32(acc) + _mm_cvtsi128_si32(_mm_unpackhi_epi64(acc, acc));
}

void Sse2SadX4(const uint8_t* block, const uint8_t* const reference[4], ptrdiff_t stride,
               int32_t rowStep, int32_t sums[4]) {
  for (int k = 0; k < 4; ++k) sums[k] = Sse2Sad(block, reference[k], stride, rowStep);
}

// AVX2: one 32-byte load a row, its last two bytes masked off.
__attribute__((target("avx2"))) inline __m256i RowMask() {
  return _mm256_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                          -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, 0);
}

__attribute__((target("avx2"))) inline int32_t Total(__m256i acc) {
  const __m128i sum = _mm_add_epi64(_mm256_castsi256_si128(acc), _mm256_extracti128_si256(acc, 1));
  return _mm_cvtsi128_si32(sum) + _mm_cvtsi128_si32(_mm_unpackhi_epi64(sum, sum));
}

__attribute__((target("avx2"))) int32_t Avx2Sad(const uint8_t* block, const uint8_t* reference,
                                                 ptrdiff_t stride, int32_t rowStep) {
  const __m256i mask = RowMask();
  __m256i acc = _mm256_setzero_si256();
  for (int32_t j = 0; j < kBlockRows; j += rowStep) {
    const __m256i a = _mm256_load_si256(reinterpret_cast<const __m256i*>(block + j * kBlockStride));
    const __m256i b = _mm256_and_si256(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reference + j * stride)), mask);
    acc = _mm256_add_epi64(acc, _mm256_sad_epu8(a, b));
  }
  return Total(acc);
}

__attribute__((target("avx2"))) void Avx2SadX4(const uint8_t* block, const uint8_t* const reference[4],
                                                ptrdiff_t stride, int32_t rowStep, int32_t sums[4]) {
  const __m256i mask = RowMask();
  __m256i acc0 = _mm256_setzero_si256(), acc1 = acc0, acc2 = acc0, acc3 = acc0;
  for (int32_t j = 0; j < kBlockRows; j += rowStep) {
    const __m256i a = _mm256_load_si256(reinterpret_cast<const __m256i*>(block + j * kBlockStride));
    const ptrdiff_t offset = j * stride;
    const __m256i b0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reference[0] + offset));
    const __m256i b1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reference[1] + offset));
    const __m256i b2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reference[2] + offset));
    const __m256i b3 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(reference[3] + offset));
    acc0 = _mm256_add_epi64(acc0, _mm256_sad_epu8(a, _mm256_and_si256(b0, mask)));
    acc1 = _mm256_add_epi64(acc1, _mm256_sad_epu8(a, _mm256_and_si256(b1, mask)));
    acc2 = _mm256_add_epi64(acc2, _mm256_sad_epu8(a, _mm256_and_si256(b2, mask)));
    acc3 = _mm256_add_epi64(acc3, _mm256_sad_epu8(a, _mm256_and_si256(b3, mask)));
  }
  sums[0] = Total(acc0);
  sums[1] = Total(acc1);
  sums[2] = Total(acc2);
  sums[3] = Total(acc3);
}
#endif

}  // namespace

const BlockMetrics& PlainBlockMetrics() {
  static const BlockMetrics metrics{PlainSad, PlainSadX4, "plain"};
  return metrics;
}

const BlockMetrics& FastBlockMetrics() {
#ifdef QV_X86
  static const BlockMetrics metrics = [] {
    if (__builtin_cpu_supports("avx2")) return BlockMetrics{Avx2Sad, Avx2SadX4, "avx2"};
    return BlockMetrics{Sse2Sad, Sse2SadX4, "sse2"};
  }();
  return metrics;
#else
  return PlainBlockMetrics();
#endif
}

}  // namespace qv
