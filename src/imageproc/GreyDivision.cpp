#include "imageproc/GreyDivision.h"

#include "base/CpuFeatures.h"
#include "base/Numbers.h"
#include "image/PixelSteps.h"

namespace qv {

namespace {

inline int32_t SumAt(const uint8_t* p) { return p[0] + p[1] + p[2]; }

#ifdef QV_X86

struct Multiplication {
  __m256i add, reciprocal, twiceDivisor;
  __m128i shift;
};

// The levels of eight pixels' sums, as 32-bit values.
QV_TARGET("avx2") inline __m256i LevelsOf(__m256i sums, const Multiplication& m) {
  const __m256i n = _mm256_add_epi32(_mm256_slli_epi32(sums, 1), m.add);
  const __m256i q = _mm256_srl_epi32(_mm256_mullo_epi32(n, m.reciprocal), m.shift);
  const __m256i half = _mm256_cmpeq_epi32(_mm256_mullo_epi32(q, m.twiceDivisor), n);
  return _mm256_sub_epi32(q, _mm256_and_si256(half, _mm256_and_si256(q, _mm256_set1_epi32(1))));
}

// Returns the pixels done: whole steps of eight from the row's start.
QV_TARGET("avx2") int32_t MultipliedSteps(uint8_t* row, int32_t count, int32_t add, int32_t reciprocal,
                                          int32_t shift, int32_t twiceDivisor) {
  const Multiplication m{_mm256_set1_epi32(add), _mm256_set1_epi32(reciprocal),
                         _mm256_set1_epi32(twiceDivisor), _mm_cvtsi32_si128(shift)};
  int32_t x = 0;
  for (; x + steps::kReach <= count; x += 8) {
    const __m256i levels = LevelsOf(steps::ChannelSum(steps::Widen(steps::Load(row + 3 * x))), m);
    steps::Store(row + 3 * x, _mm256_mullo_epi32(levels, _mm256_set1_epi32(0x010101)));
  }
  return x;
}

// The first pixel in whole steps whose sum is above largestSum, or the pixels the steps cover.
QV_TARGET("avx2") int32_t FirstAboveInSteps(const uint8_t* row, int32_t count, int32_t largestSum) {
  const __m256i largest = _mm256_set1_epi32(largestSum);
  int32_t x = 0;
  for (; x + steps::kReach <= count; x += 8) {
    const __m256i sums = steps::ChannelSum(steps::Widen(steps::Load(row + 3 * x)));
    const int above = _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpgt_epi32(sums, largest)));
    if (above != 0) return x + __builtin_ctz(static_cast<unsigned>(above));
  }
  return x;
}

#endif  // QV_X86

}  // namespace

GreyDivision::GreyDivision(int32_t divisor) {
  for (int32_t sum = 0; sum <= 765; ++sum) {
    const double g = RoundHalfEven(sum / static_cast<double>(divisor));
    if (!(g >= 0.0 && g <= 255.0)) break;
    level_[static_cast<size_t>(sum)] = static_cast<uint8_t>(g);
    largestSum_ = sum;
  }
  if (largestSum_ < 0) return;

  // Divisors above 1530 and negative ones give level 0 to every sum that does not fail: q = 0.
  add_ = 1;
  if (divisor > 0 && divisor <= 1530) {
    add_ = divisor;
    twiceDivisor_ = 2 * divisor;
    // The finest reciprocal whose products stay below 2^32.
    const uint64_t largestN = 2 * static_cast<uint64_t>(largestSum_) + static_cast<uint64_t>(divisor);
    for (int32_t shift = 31; shift > 0; --shift) {
      const uint64_t reciprocal = ((uint64_t{1} << shift) + twiceDivisor_ - 1) / twiceDivisor_;
      if (largestN * reciprocal < (uint64_t{1} << 32)) {
        reciprocal_ = static_cast<int32_t>(reciprocal);
        shift_ = shift;
        break;
      }
    }
  }
  multiplies_ = true;
  for (int32_t sum = 0; sum <= largestSum_ && multiplies_; ++sum) {
    multiplies_ = LevelByMultiplication(sum) == level_[static_cast<size_t>(sum)];
  }
}

int32_t GreyDivision::LevelByMultiplication(int32_t sum) const {
  const uint32_t n = 2 * static_cast<uint32_t>(sum) + static_cast<uint32_t>(add_);
  uint32_t q = (n * static_cast<uint32_t>(reciprocal_)) >> shift_;
  if (q * static_cast<uint32_t>(twiceDivisor_) == n && (q & 1) != 0) --q;
  return static_cast<int32_t>(q);
}

int32_t GreyDivision::FirstFailing(const uint8_t* row, int32_t count) const {
  int32_t x = 0;
#ifdef QV_X86
  if (CpuFeatures().avx2) x = FirstAboveInSteps(row, count, largestSum_);
#endif
  for (; x < count; ++x) {
    if (SumAt(row + 3 * x) > largestSum_) return x;
  }
  return count;
}

void GreyDivision::GreyRow(uint8_t* row, int32_t count) const {
  int32_t x = 0;
#ifdef QV_X86
  if (multiplies_ && CpuFeatures().avx2) {
    x = MultipliedSteps(row, count, add_, reciprocal_, shift_, twiceDivisor_);
  }
#endif
  PlainRow(row + 3 * x, count - x);
}

void GreyDivision::PlainRow(uint8_t* row, int32_t count) const {
  for (int32_t x = 0; x < count; ++x, row += 3) {
    row[0] = row[1] = row[2] = level_[static_cast<size_t>(SumAt(row))];
  }
}

}  // namespace qv
