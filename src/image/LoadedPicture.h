#pragma once
// A picture as picture loaders and the toolkit hand it over: 32-bit pixels 0xAARRGGBB (alpha
// ignored), rows top-down, no padding. Picture::CreateFromPicture turns it into 24 bits.

#include <cstdint>
#include <vector>

namespace qv {

struct LoadedPicture {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;  // width * height, row 0 at the top

  bool Empty() const { return width <= 0 || height <= 0 || pixels.size() < static_cast<size_t>(width) * height; }
  uint32_t At(int32_t x, int32_t y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

}  // namespace qv
