#include "base/CpuFeatures.h"

#include <atomic>

namespace qv {

namespace {

CpuFeatureSet Detect() {
  CpuFeatureSet features;
  features.vectors = true;
#ifdef QV_X86
  __builtin_cpu_init();  // the detection may run before the run-time library's own constructors
  features.ssse3 = __builtin_cpu_supports("ssse3");
  features.avx2 = __builtin_cpu_supports("avx2");
#endif
  return features;
}

const CpuFeatureSet kNone;
const CpuFeatureSet& Detected() {
  static const CpuFeatureSet detected = Detect();
  return detected;
}
// Read at start-up, so that the first frame does not pay for it.
[[maybe_unused]] const bool kDetectedAtStart = (Detected(), true);

std::atomic<bool> plainOnly{false};

}  // namespace

const CpuFeatureSet& CpuFeatures() {
  return plainOnly.load(std::memory_order_relaxed) ? kNone : Detected();
}

PlainKernels::PlainKernels() : wasPlain_(plainOnly.exchange(true)) {}
PlainKernels::~PlainKernels() { plainOnly.store(wasPlain_); }

}  // namespace qv
