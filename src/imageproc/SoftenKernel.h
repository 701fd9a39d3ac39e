#pragma once
// The 3 x 3 kernel that softens a seam (Stack) or a step in depth (Make3D). The window's lower-left
// corner is the pixel written, not its centre: K[i + 3j] weighs column offset i and row offset j.

#include <array>
#include <cstdint>

#include "base/Numbers.h"

namespace qv {

inline constexpr std::array<float, 9> kSoftenKernel = {0.075f, 0.1f, 0.075f, 0.1f, 0.3f,
                                                       0.1f,   0.075f, 0.1f, 0.075f};

// round(sum over j, i of sample(i, j) x K[i + 3j]), summed in single precision, as a byte.
template <typename Sample>
uint8_t Softened(Sample sample) {
  float sum = 0.0f;
  for (int32_t j = 0; j < 3; ++j) {
    for (int32_t i = 0; i < 3; ++i) {
      sum += static_cast<float>(sample(i, j)) * kSoftenKernel[static_cast<size_t>(i + 3 * j)];
    }
  }
  return ToByteChecked(static_cast<double>(sum));
}

}  // namespace qv
