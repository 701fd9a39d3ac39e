#pragma once
// Brightness and contrast of whole rows as arithmetic on 16-bit lanes, which the compiler turns
// into vector multiplies: far faster than a byte table, whose look-ups cannot be vectorised. They
// give the same bytes as the members' value tables wherever they apply (amounts 0 ... 256, where
// every intermediate value fits 16 bits); elsewhere they return false and write nothing. The
// members use them only where CpuFeatures() has vectors, and their tables under PlainKernels.

#include <cstddef>
#include <cstdint>

namespace qv {

// Each byte v becomes min(255, v x amount / 100 rounded halves to even).
bool ScaleBytes(uint8_t* bytes, size_t count, int32_t amount);
// Each byte v becomes floor((v - 127) x amount / 100) + 127, clamped to 0 ... 255.
bool StretchBytes(uint8_t* bytes, size_t count, int32_t amount);

}  // namespace qv
