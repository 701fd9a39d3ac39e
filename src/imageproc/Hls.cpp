#include "imageproc/Hls.h"

#include "base/Numbers.h"

namespace qv {

float Maximum(float a, float b, float c) {
  const float ab = a > b ? a : b;
  return ab > c ? ab : c;
}

float Minimum(float a, float b, float c) {
  const float ab = a < b ? a : b;
  return ab < c ? ab : c;
}

void RGBToHLS(int32_t r, int32_t g, int32_t b, float& h, float& s, float& l) {
  const float R = static_cast<float>(r) / 255.0f;
  const float G = static_cast<float>(g) / 255.0f;
  const float B = static_cast<float>(b) / 255.0f;
  const float max = Maximum(R, G, B);
  const float min = Minimum(R, G, B);
  l = (max + min) / 2.0f;
  if (max == min) {
    s = 0.0f;
    h = 0.0f;
    return;
  }
  const float delta = max - min;
  s = l <= 0.5f ? delta / (max + min) : delta / (2.0f - max - min);
  if (R == max) {
    h = (G - B) / delta;
  } else if (G == max) {
    h = 2.0f + (B - R) / delta;
  } else {
    h = 4.0f + (R - G) / delta;
  }
}

void HLSToRGB(float h, float s, float l, int32_t& r, int32_t& g, int32_t& b) {
  float R, G, B;
  if (s == 0.0f) {
    R = G = B = l;
  } else {
    const float lo = l <= 0.5f ? l * (1.0f - s) : l - (1.0f - l) * s;
    const float hi = 2.0f * l - lo;
    const float span = hi - lo;
    if (h < 1.0f) {
      R = hi;
      if (h < 0.0f) {
        G = lo;
        B = lo - h * span;
      } else {
        B = lo;
        G = lo + h * span;
      }
    } else if (h < 3.0f) {
      G = hi;
      if (h < 2.0f) {
        B = lo;
        R = lo - (h - 2.0f) * span;
      } else {
        R = lo;
        B = lo + (h - 2.0f) * span;
      }
    } else {
      B = hi;
      if (h < 4.0f) {
        R = lo;
        G = lo - (h - 4.0f) * span;
      } else {
        G = lo;
        R = lo + (h - 4.0f) * span;
      }
    }
  }
  r = ToInt32Checked(static_cast<float>(R * 255.0f));
  g = ToInt32Checked(static_cast<float>(G * 255.0f));
  b = ToInt32Checked(static_cast<float>(B * 255.0f));
}

}  // namespace qv
