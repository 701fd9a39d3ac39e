#include "stereo/AnaglyphMerge.h"

#include "imageproc/GreyLevels.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define QV_HAVE_X86_VECTORS 1
#endif

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

#ifdef QV_HAVE_X86_VECTORS

// --- AVX2 rows -----------------------------------------------------------------------------------
// 32 pixels a step, as two independent groups of 16 (48 bytes) in the two 128-bit lanes, so that
// the in-lane byte shuffles need one set of masks for both.

#define QV_AVX2 __attribute__((target("avx2")))

// Shuffle masks for a group of 16 pixels held in three 16-byte registers, repeated for both lanes.
struct Masks {
  // pick[s][c]: the bytes of channel c that lie in register s, moved to pixel order.
  alignas(32) int8_t pick[3][3][32];
  // place[k][c]: the pixel-order bytes of channel c moved to their places in output register k.
  alignas(32) int8_t place[3][3][32];
  // placeOthers[k][c]: one value per pixel moved to both places of the channels other than c.
  alignas(32) int8_t placeOthers[3][3][32];
  // channel[k][c]: 0xFF on the bytes of channel c in register k.
  alignas(32) int8_t channel[3][3][32];
};

constexpr Masks MakeMasks() {
  Masks m{};
  for (int lane = 0; lane < 2; ++lane) {
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) {
        for (int j = 0; j < 16; ++j) {
          const int at = lane * 16 + j;
          const int inPosition = 3 * j + c;  // byte of channel c of pixel j
          m.pick[r][c][at] = static_cast<int8_t>(inPosition / 16 == r ? inPosition % 16 : -128);
          const int outPosition = 16 * r + j;  // byte j of register r
          const bool isC = outPosition % 3 == c;
          m.place[r][c][at] = static_cast<int8_t>(isC ? outPosition / 3 : -128);
          m.placeOthers[r][c][at] = static_cast<int8_t>(!isC ? outPosition / 3 : -128);
          m.channel[r][c][at] = static_cast<int8_t>(isC ? -1 : 0);
        }
      }
    }
  }
  return m;
}

constexpr Masks kMasks = MakeMasks();

QV_AVX2 inline __m256i Mask(const int8_t (&bytes)[32]) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(bytes));
}

// Three registers: bytes 0-47 of a step in the low lanes, bytes 48-95 in the high lanes.
struct Step {
  __m256i r[3];
};

QV_AVX2 inline Step Load(const uint8_t* p) {
  Step s;
  for (int k = 0; k < 3; ++k) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 48 + 16 * k));
    s.r[k] = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
  }
  return s;
}

QV_AVX2 inline void Store(uint8_t* p, const Step& s) {
  for (int k = 0; k < 3; ++k) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16 * k), _mm256_castsi256_si128(s.r[k]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 48 + 16 * k), _mm256_extracti128_si256(s.r[k], 1));
  }
}

// Channel c of the 32 pixels, in pixel order within each lane.
QV_AVX2 inline __m256i Channel(const Step& s, int c) {
  return _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(s.r[0], Mask(kMasks.pick[0][c])),
                                         _mm256_shuffle_epi8(s.r[1], Mask(kMasks.pick[1][c]))),
                         _mm256_shuffle_epi8(s.r[2], Mask(kMasks.pick[2][c])));
}

// round((b + g + r) / 3) = floor((sum + 1) / 3) = (sum + 1) * 21846 >> 16 for sums up to 765, on
// eight pixels a lane in 16-bit values.
QV_AVX2 inline __m256i MeanOfEight(__m256i b16, __m256i g16, __m256i r16) {
  const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(b16, g16), _mm256_add_epi16(r16, _mm256_set1_epi16(1)));
  return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(21846));
}

QV_AVX2 inline __m256i MeanOf(const Step& s) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i b = Channel(s, 0), g = Channel(s, 1), r = Channel(s, 2);
  const __m256i lo = MeanOfEight(_mm256_unpacklo_epi8(b, zero), _mm256_unpacklo_epi8(g, zero), _mm256_unpacklo_epi8(r, zero));
  const __m256i hi = MeanOfEight(_mm256_unpackhi_epi8(b, zero), _mm256_unpackhi_epi8(g, zero), _mm256_unpackhi_epi8(r, zero));
  return _mm256_packus_epi16(lo, hi);
}

// round((222 r + 707 g + 71 b) / 1000), halves to even. The weighted sum is exact as a float
// (below 2^24) and so is a quotient that lies exactly half way; any other quotient is at least
// 0.001 from a half, far more than the division's rounding error, so rounding the float quotient
// to the nearest even integer gives the exact result.
// Four pixels a lane: blue and green interleaved as 16-bit pairs, red paired with zeros.
QV_AVX2 inline __m256i StandardOfFour(__m256i blueGreen, __m256i redZero) {
  const __m256i n = _mm256_add_epi32(_mm256_madd_epi16(blueGreen, _mm256_set1_epi32((707 << 16) | 71)),
                                     _mm256_madd_epi16(redZero, _mm256_set1_epi32(222)));
  const __m256 q = _mm256_round_ps(_mm256_div_ps(_mm256_cvtepi32_ps(n), _mm256_set1_ps(1000.0f)),
                                   _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  return _mm256_cvttps_epi32(q);
}

// Eight pixels a lane in 16-bit values.
QV_AVX2 inline __m256i StandardOfEight(__m256i b16, __m256i g16, __m256i r16) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i lo = StandardOfFour(_mm256_unpacklo_epi16(b16, g16), _mm256_unpacklo_epi16(r16, zero));
  const __m256i hi = StandardOfFour(_mm256_unpackhi_epi16(b16, g16), _mm256_unpackhi_epi16(r16, zero));
  return _mm256_packus_epi32(lo, hi);
}

QV_AVX2 inline __m256i StandardOf(const Step& s) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i b = Channel(s, 0), g = Channel(s, 1), r = Channel(s, 2);
  const __m256i lo = StandardOfEight(_mm256_unpacklo_epi8(b, zero), _mm256_unpacklo_epi8(g, zero), _mm256_unpacklo_epi8(r, zero));
  const __m256i hi = StandardOfEight(_mm256_unpackhi_epi8(b, zero), _mm256_unpackhi_epi8(g, zero), _mm256_unpackhi_epi8(r, zero));
  return _mm256_packus_epi16(lo, hi);
}

template <AnaglyphKind kind>
QV_AVX2 void VectorRow(uint8_t* out, const uint8_t* left, const uint8_t* right, int32_t both, int32_t leftOnly) {
  int32_t x = 0;
  for (; x + 32 <= both; x += 32) {
    const Step l = Load(left + 3 * x);
    const Step r = Load(right + 3 * x);
    Step o;
    if constexpr (kind == AnaglyphKind::Gray) {
      const __m256i gl = MeanOf(l), gr = MeanOf(r);
      for (int k = 0; k < 3; ++k) {
        o.r[k] = _mm256_or_si256(_mm256_shuffle_epi8(gr, Mask(kMasks.placeOthers[k][2])),
                                 _mm256_shuffle_epi8(gl, Mask(kMasks.place[k][2])));
      }
    } else if constexpr (kind == AnaglyphKind::Colour) {
      const __m256i lum = StandardOf(l);
      for (int k = 0; k < 3; ++k) {
        o.r[k] = _mm256_or_si256(_mm256_andnot_si256(Mask(kMasks.channel[k][2]), r.r[k]),
                                 _mm256_shuffle_epi8(lum, Mask(kMasks.place[k][2])));
      }
    } else {
      const __m256i lum = StandardOf(r);
      for (int k = 0; k < 3; ++k) {
        o.r[k] = _mm256_or_si256(_mm256_andnot_si256(Mask(kMasks.channel[k][0]), l.r[k]),
                                 _mm256_shuffle_epi8(lum, Mask(kMasks.place[k][0])));
      }
    }
    Store(out + 3 * x, o);
  }
  PlainRow<kind>(out + 3 * x, left + 3 * x, right + 3 * x, both - x, leftOnly);
}

bool CpuHasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

const bool kVectorRows = CpuHasAvx2();

#else

const bool kVectorRows = false;

#endif  // QV_HAVE_X86_VECTORS

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
#ifdef QV_HAVE_X86_VECTORS
  if (kVectorRows) {
    switch (kind) {
      case AnaglyphKind::Gray: return VectorRow<AnaglyphKind::Gray>;
      case AnaglyphKind::Colour: return VectorRow<AnaglyphKind::Colour>;
      case AnaglyphKind::Yellow: return VectorRow<AnaglyphKind::Yellow>;
    }
  }
#endif
  return PlainAnaglyphRow(kind);
}

bool HasVectorAnaglyphRows() { return kVectorRows; }

}  // namespace qv
