#pragma once
// One-pass anaglyph rows for the anaglyph composers.
//
// Each composer builds its anaglyph as a sequence of whole-picture steps (grey conversion, channel
// masks, a copy, a bitwise OR). Because every step works on each pixel alone and the masks leave
// disjoint channels, the result is a fixed function of one left and one right pixel, which these
// row kernels compute in a single pass (blue, green, red):
//
//   Gray    (gR, gR, gL)           g = round((blue + green + red) / 3) of each view
//   Colour  (B of right, G of right, lum of left)
//   Yellow  (lum of right, G of left, R of left)
//   lum = round((222 red + 707 green + 71 blue) / 1000); rounding is halves to even throughout.
//
// Where only the left view has pixels (beyond the right view's width or height), the right part
// contributes nothing: Gray (0, 0, gL), Colour (0, 0, lum), Yellow (0, G, R).

#include <cstdint>

namespace qv {

enum class AnaglyphKind { Gray, Colour, Yellow };

// Writes `both` pixels from `left` and `right`, then `leftOnly` pixels from the left row alone.
// Rows are packed blue, green, red; out must not overlap the inputs.
using AnaglyphRow = void (*)(uint8_t* out, const uint8_t* left, const uint8_t* right, int32_t both,
                             int32_t leftOnly);

// The plain version, one pixel at a time.
AnaglyphRow PlainAnaglyphRow(AnaglyphKind kind);
// The fastest version that CpuFeatures() allows; the plain one where it allows no vector version.
AnaglyphRow FastAnaglyphRow(AnaglyphKind kind);
// Whether FastAnaglyphRow is a vector version.
bool HasVectorAnaglyphRows();

}  // namespace qv
