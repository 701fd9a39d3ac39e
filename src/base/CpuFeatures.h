#pragma once
// The processor features that the pixel kernels' fast versions use, read once when the program
// starts.
//
// Every kernel with a fast version keeps a plain version beside it that gives the same bytes and
// the same errors, and asks CpuFeatures() which one to run. While a PlainKernels object exists,
// CpuFeatures() reports nothing and every kernel runs its plain version: the tests compare the two,
// the benchmarks time both.
//
// A fast version that needs more than the processors' common instruction set is compiled for it
// with QV_TARGET("ssse3") or QV_TARGET("avx2") (x86 only) and is called only when CpuFeatures()
// has that feature.

#if defined(__x86_64__) || defined(__i386__)
#define QV_X86 1
#define QV_TARGET(features) __attribute__((target(features)))
#endif

namespace qv {

struct CpuFeatureSet {
  bool vectors = false;  // the fast versions that every processor of the architecture runs
  bool ssse3 = false;    // byte shuffles on 16 bytes
  bool avx2 = false;     // integer arithmetic and byte shuffles on 32 bytes
};

// The features the kernels may use: the processor's, or none while a PlainKernels exists.
const CpuFeatureSet& CpuFeatures();

// Makes every kernel run its plain version for the object's lifetime. Meant for tests and
// benchmarks, while no other thread runs kernels.
class PlainKernels {
 public:
  PlainKernels();
  ~PlainKernels();
  PlainKernels(const PlainKernels&) = delete;
  PlainKernels& operator=(const PlainKernels&) = delete;

 private:
  bool wasPlain_;
};

}  // namespace qv
