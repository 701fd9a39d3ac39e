#include "imageproc/ToneArithmetic.h"

#include "base/CpuFeatures.h"

namespace qv {

namespace {

inline void ScaleLoop(uint8_t* bytes, size_t count, uint16_t a) {
  for (size_t k = 0; k < count; ++k) {
    const auto t = static_cast<uint16_t>(bytes[k] * a + 50);  // at most 255 x 256 + 50
    auto q = static_cast<uint16_t>(t / 100);
    const auto back = static_cast<uint16_t>(q * 100);
    // t a multiple of 100 is a product half way between two results: the even one is kept.
    q = static_cast<uint16_t>(q - (static_cast<uint16_t>(t == back) & q & 1));
    bytes[k] = static_cast<uint8_t>(q > 255 ? 255 : q);
  }
}

inline void StretchLoop(uint8_t* bytes, size_t count, uint16_t a, uint16_t lift, uint16_t lifts) {
  for (size_t k = 0; k < count; ++k) {
    const auto t = static_cast<uint16_t>(bytes[k] * a + lift);
    const auto q = static_cast<int16_t>(t / 100 + 127 - lifts);
    bytes[k] = static_cast<uint8_t>(q < 0 ? 0 : (q > 255 ? 255 : q));
  }
}

#ifdef QV_X86
// The same loops compiled for 32-byte vectors.
QV_TARGET("avx2") void ScaleLoopWide(uint8_t* bytes, size_t count, uint16_t a) {
  ScaleLoop(bytes, count, a);
}
QV_TARGET("avx2")
void StretchLoopWide(uint8_t* bytes, size_t count, uint16_t a, uint16_t lift, uint16_t lifts) {
  StretchLoop(bytes, count, a, lift, lifts);
}
#endif

}  // namespace

bool ScaleBytes(uint8_t* bytes, size_t count, int32_t amount) {
  if (amount < 0 || amount > 256) return false;
  const auto a = static_cast<uint16_t>(amount);
#ifdef QV_X86
  if (CpuFeatures().avx2) {
    ScaleLoopWide(bytes, count, a);
    return true;
  }
#endif
  ScaleLoop(bytes, count, a);
  return true;
}

bool StretchBytes(uint8_t* bytes, size_t count, int32_t amount) {
  if (amount < 0 || amount > 256) return false;
  // (v - 127) x amount is lifted by whole hundreds so that it is never negative and the division
  // floors: by 100 x ceil(127 x amount / 100), which keeps the sum at most 65,268.
  const auto lifts = static_cast<uint16_t>((127 * amount + 99) / 100);
  const auto lift = static_cast<uint16_t>(100 * lifts - 127 * amount);
  const auto a = static_cast<uint16_t>(amount);
#ifdef QV_X86
  if (CpuFeatures().avx2) {
    StretchLoopWide(bytes, count, a, lift, lifts);
    return true;
  }
#endif
  StretchLoop(bytes, count, a, lift, lifts);
  return true;
}

}  // namespace qv
