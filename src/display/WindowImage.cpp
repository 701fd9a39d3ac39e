#include "display/WindowImage.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace qv {

void ToWindowImage(const PixelGrid& grid, QImage& image) {
  if (grid.Empty()) {
    image = QImage();
    return;
  }
  if (image.width() != grid.width || image.height() != grid.height ||
      image.format() != QImage::Format_RGB32) {
    image = QImage(grid.width, grid.height, QImage::Format_RGB32);
    if (image.isNull()) return;
  }
  const int32_t w = grid.width;
  for (int32_t y = 0; y < grid.height; ++y) {
    const uint8_t* s = grid.DeviceRow(y);
    auto* d = reinterpret_cast<uint32_t*>(image.scanLine(y));
    int32_t x = 0;
    if constexpr (std::endian::native == std::endian::little) {
      // Blue, green, red in memory order read as one little-endian word are 0x??RRGGBB already;
      // the fourth byte read belongs to the next pixel, so the row's last pixel is done apart.
      for (; x + 1 < w; ++x) {
        uint32_t v;
        std::memcpy(&v, s + 3 * x, 4);
        d[x] = v | 0xFF000000u;
      }
    }
    for (; x < w; ++x) {
      d[x] = 0xFF000000u | uint32_t{s[3 * x + 2]} << 16 | uint32_t{s[3 * x + 1]} << 8 | s[3 * x];
    }
  }
}

}  // namespace qv
