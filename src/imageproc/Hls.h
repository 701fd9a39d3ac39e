#pragma once
// Hls: conversions between red-green-blue bytes and hue, lightness and saturation.
//
// Hue is counted in sextants from -1 to 5 (0 red, 1 yellow, 2 green, 3 cyan, 4 blue, 5 and -1
// magenta) and is not wrapped: reds with more blue than green have a hue between -1 and 0.
// Lightness and saturation run from 0 to 1. Greys (and black and white) have hue 0 and
// saturation 0. All values are single precision, computed in single precision as written below,
// so that the hue bounds of the anaglyph kernels compare exactly as the program always has.

#include <cstdint>

namespace qv {

float Maximum(float a, float b, float c);
float Minimum(float a, float b, float c);

// r, g, b are 0 ... 255.
void RGBToHLS(int32_t r, int32_t g, int32_t b, float& h, float& s, float& l);
// r, g, b receive round(channel x 255), halves to even; a hue or lightness that gives no number
// raises the overflow error.
void HLSToRGB(float h, float s, float l, int32_t& r, int32_t& g, int32_t& b);

}  // namespace qv
