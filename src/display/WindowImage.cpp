#include "display/WindowImage.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "base/CpuFeatures.h"

#ifdef QV_X86
#include <tmmintrin.h>
#endif

namespace qv {

namespace {

using ConvertRow = void (*)(const uint8_t* source, uint32_t* dest, int32_t width);

void PlainRow(const uint8_t* source, uint32_t* dest, int32_t width) {
  int32_t x = 0;
  if constexpr (std::endian::native == std::endian::little) {
    // Blue, green, red in memory order read as one little-endian word are 0x??RRGGBB already;
    // the fourth byte read belongs to the next pixel, so the row's last pixel is done apart.
    for (; x + 1 < width; ++x) {
      uint32_t v;
      std::memcpy(&v, source + 3 * x, 4);
      dest[x] = v | 0xFF000000u;
    }
  }
  for (; x < width; ++x) {
    dest[x] = 0xFF000000u | uint32_t{source[3 * x + 2]} << 16 | uint32_t{source[3 * x + 1]} << 8 | source[3 * x];
  }
}

#ifdef QV_X86
// Four pixels a step: 16 bytes loaded (12 of them the step's), each pixel's three bytes shuffled
// into a 32-bit word whose top byte the OR sets.
QV_TARGET("ssse3") void ShuffledRow(const uint8_t* source, uint32_t* dest, int32_t width) {
  const __m128i spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i opaque = _mm_set1_epi32(static_cast<int32_t>(0xFF000000u));
  int32_t x = 0;
  for (; 3 * x + 16 <= 3 * width; x += 4) {  // the 16 bytes read stay inside the row
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + 3 * x));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dest + x), _mm_or_si128(_mm_shuffle_epi8(bytes, spread), opaque));
  }
  PlainRow(source + 3 * x, dest + x, width - x);
}
#endif

ConvertRow ChooseRow() {
#ifdef QV_X86
  if (CpuFeatures().ssse3) return ShuffledRow;
#endif
  return PlainRow;
}

}  // namespace

void ToOpaqueRow(const uint8_t* source, uint32_t* dest, int32_t width) {
  ChooseRow()(source, dest, width);
}

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
  const ConvertRow convert = ChooseRow();
  for (int32_t y = 0; y < grid.height; ++y) {
    convert(grid.DeviceRow(y), reinterpret_cast<uint32_t*>(image.scanLine(y)), grid.width);
  }
}

}  // namespace qv
