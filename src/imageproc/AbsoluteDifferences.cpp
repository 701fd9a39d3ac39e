#include "imageproc/AbsoluteDifferences.h"

#include "base/CpuFeatures.h"

namespace qv {

namespace {

uint64_t PlainSum(const int32_t* values, const uint8_t* bytes, int32_t count) {
  int64_t sum = 0;
  for (int32_t k = 0; k < count; ++k) {
    const int64_t d = static_cast<int64_t>(values[k]) - bytes[k];
    sum += d < 0 ? -d : d;
  }
  return static_cast<uint64_t>(sum);
}

// |a - b| is below 2^32, so the larger minus the smaller is exact in unsigned 32-bit arithmetic:
// no 64-bit subtraction, and the loop vectorises.
[[gnu::always_inline]] inline uint64_t VectorSum(const int32_t* values, const uint8_t* bytes, int32_t count) {
  uint64_t sum = 0;
  for (int32_t k = 0; k < count; ++k) {
    const auto a = static_cast<uint32_t>(values[k]);
    const uint32_t b = bytes[k];
    sum += values[k] > static_cast<int32_t>(b) ? a - b : b - a;
  }
  return sum;
}

uint64_t BaselineSum(const int32_t* values, const uint8_t* bytes, int32_t count) {
  return VectorSum(values, bytes, count);
}

#ifdef QV_X86
QV_TARGET("avx2") uint64_t Avx2Sum(const int32_t* values, const uint8_t* bytes, int32_t count) {
  return VectorSum(values, bytes, count);
}
#endif

}  // namespace

uint64_t SumOfAbsoluteDifferences(const int32_t* values, const uint8_t* bytes, int32_t count) {
  const CpuFeatureSet& cpu = CpuFeatures();
#ifdef QV_X86
  if (cpu.avx2) return Avx2Sum(values, bytes, count);
#endif
  return cpu.vectors ? BaselineSum(values, bytes, count) : PlainSum(values, bytes, count);
}

}  // namespace qv
