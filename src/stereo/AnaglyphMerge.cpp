#include "stereo/AnaglyphMerge.h"

#include "imageproc/GreyLevels.h"

#include "base/CpuFeatures.h"
#include "image/PixelSteps.h"

namespace qv {

namespace {

// --- Plain rows ----------------------------------------------------------------------------------

inline uint8_t Mean(const uint8_t* p) { return MeanLevel(uint32_t{p[0]} + p[1] + p[2]); }
inline uint8_t Standard(const uint8_t* p) { return StandardLevel(p[0], p[1], p[2]); }

template <AnaglyphKind kind>
void PlainLeftOnly(uint8_t* out, const uint8_t* left, int32_t count) {
  for (int32_t x = 0; x < count; ++x, out += 3, left += 3) {
    if constexpr (kind == AnaglyphKind::Gray) {
      out[0] = 0;
      out[1] = 0;
      out[2] = Mean(left);
    } else if constexpr (kind == AnaglyphKind::Colour) {
      out[0] = 0;
      out[1] = 0;
      out[2] = Standard(left);
    } else {
      out[0] = 0;
      out[1] = left[1];
      out[2] = left[2];
    }
  }
}

template <AnaglyphKind kind>
void PlainBoth(uint8_t* out, const uint8_t* left, const uint8_t* right, int32_t count) {
  for (int32_t x = 0; x < count; ++x, out += 3, left += 3, right += 3) {
    if constexpr (kind == AnaglyphKind::Gray) {
      const uint8_t g = Mean(right);
      out[0] = g;
      out[1] = g;
      out[2] = Mean(left);
    } else if constexpr (kind == AnaglyphKind::Colour) {
      out[0] = right[0];
      out[1] = right[1];
      out[2] = Standard(left);
    } else {
      out[0] = Standard(right);
      out[1] = left[1];
      out[2] = left[2];
    }
  }
}

template <AnaglyphKind kind>
void PlainRow(uint8_t* out, const uint8_t* left, const uint8_t* right, int32_t both, int32_t leftOnly) {
  PlainBoth<kind>(out, left, right, both);
  PlainLeftOnly<kind>(out + 3 * both, left + 3 * both, leftOnly);
}

#ifdef QV_X86

// --- AVX2 rows -----------------------------------------------------------------------------------
// Eight pixels a step (image/PixelSteps.h).

// round((b + g + r) / 3) = floor((sum + 1) / 3) = (sum + 1) * 21846 >> 16 for sums up to 765.
QV_TARGET("avx2") inline __m256i MeanOf(__m256i widened) {
  const __m256i sum = steps::ChannelSum(widened);
  return _mm256_srli_epi32(_mm256_madd_epi16(_mm256_add_epi32(sum, _mm256_set1_epi32(1)), _mm256_set1_epi32(21846)),
                           16);
}

// round((222 r + 707 g + 71 b) / 1000), halves to even, exactly: with u = n + 500 below 2^18,
// floor(u / 1000) = floor((u >> 3) / 125) = (u >> 3) * 33555 >> 22, and u is a multiple of 1000
// exactly when n lies half way, where an odd quotient steps down to the even one.
QV_TARGET("avx2") inline __m256i StandardOf(__m256i step) {
  const __m256i blueGreen = _mm256_shuffle_epi8(
      step, _mm256_setr_epi8(0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1,
                             0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1));
  const __m256i red = _mm256_shuffle_epi8(
      step, _mm256_setr_epi8(2, -1, -1, -1, 5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1,
                             2, -1, -1, -1, 5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1));
  const __m256i n = _mm256_add_epi32(_mm256_madd_epi16(blueGreen, _mm256_set1_epi32((707 << 16) | 71)),
                                     _mm256_madd_epi16(red, _mm256_set1_epi32(222)));
  const __m256i u = _mm256_add_epi32(n, _mm256_set1_epi32(500));
  const __m256i q = _mm256_srli_epi32(_mm256_mullo_epi32(_mm256_srli_epi32(u, 3), _mm256_set1_epi32(33555)), 22);
  const __m256i half = _mm256_cmpeq_epi32(_mm256_mullo_epi32(q, _mm256_set1_epi32(1000)), u);
  return _mm256_sub_epi32(q, _mm256_and_si256(half, _mm256_and_si256(q, _mm256_set1_epi32(1))));
}

template <AnaglyphKind kind>
QV_TARGET("avx2") void VectorRow(uint8_t* out, const uint8_t* left, const uint8_t* right, int32_t both, int32_t leftOnly) {
  int32_t x = 0;
  for (; x + steps::kReach <= both; x += 8) {
    const __m256i l = steps::Load(left + 3 * x);
    const __m256i r = steps::Load(right + 3 * x);
    __m256i pixels;
    if constexpr (kind == AnaglyphKind::Gray) {
      const __m256i gl = MeanOf(steps::Widen(l)), gr = MeanOf(steps::Widen(r));
      pixels = _mm256_or_si256(_mm256_or_si256(gr, _mm256_slli_epi32(gr, 8)), _mm256_slli_epi32(gl, 16));
    } else if constexpr (kind == AnaglyphKind::Colour) {
      pixels = _mm256_or_si256(_mm256_and_si256(steps::Widen(r), _mm256_set1_epi32(0x0000FFFF)),
                               _mm256_slli_epi32(StandardOf(l), 16));
    } else {
      pixels = _mm256_or_si256(_mm256_and_si256(steps::Widen(l), _mm256_set1_epi32(0x00FFFF00)), StandardOf(r));
    }
    steps::Store(out + 3 * x, pixels);
  }
  PlainRow<kind>(out + 3 * x, left + 3 * x, right + 3 * x, both - x, leftOnly);
}

#endif  // QV_X86

}  // namespace

AnaglyphRow PlainAnaglyphRow(AnaglyphKind kind) {
  switch (kind) {
    case AnaglyphKind::Gray: return PlainRow<AnaglyphKind::Gray>;
    case AnaglyphKind::Colour: return PlainRow<AnaglyphKind::Colour>;
    case AnaglyphKind::Yellow: return PlainRow<AnaglyphKind::Yellow>;
  }
  return PlainRow<AnaglyphKind::Gray>;
}

AnaglyphRow FastAnaglyphRow(AnaglyphKind kind) {
#ifdef QV_X86
  if (CpuFeatures().avx2) {
    switch (kind) {
      case AnaglyphKind::Gray: return VectorRow<AnaglyphKind::Gray>;
      case AnaglyphKind::Colour: return VectorRow<AnaglyphKind::Colour>;
      case AnaglyphKind::Yellow: return VectorRow<AnaglyphKind::Yellow>;
    }
  }
#endif
  return PlainAnaglyphRow(kind);
}

bool HasVectorAnaglyphRows() { return CpuFeatures().avx2; }

}  // namespace qv
