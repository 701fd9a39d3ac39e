#pragma once
// The two headers of a BMP file and of a packed bitmap, and their little-endian byte forms.

#include <array>
#include <cstddef>
#include <cstdint>

namespace qv {

// The 40-byte bitmap info header.
struct BitmapInfoHeader {
  uint32_t biSize = 40;
  int32_t biWidth = 0;
  int32_t biHeight = 0;  // positive: rows bottom-up
  uint16_t biPlanes = 0;
  uint16_t biBitCount = 0;
  uint32_t biCompression = 0;  // 0: uncompressed RGB
  uint32_t biSizeImage = 0;
  int32_t biXPelsPerMeter = 0;
  int32_t biYPelsPerMeter = 0;
  uint32_t biClrUsed = 0;
  uint32_t biClrImportant = 0;

  static constexpr size_t kBytes = 40;
  std::array<uint8_t, kBytes> ToBytes() const;
  static BitmapInfoHeader FromBytes(const uint8_t* bytes);  // reads 40 bytes
  // The header of an uncompressed 24-bit bottom-up picture with rows padded to four bytes.
  static BitmapInfoHeader For24Bit(int32_t width, int32_t height);
};

// The 14-byte file header of a BMP file.
struct BitmapFileHeader {
  uint16_t bfType = 0;  // "BM" = 0x4D42
  uint32_t bfSize = 0;
  uint16_t bfReserved1 = 0;
  uint16_t bfReserved2 = 0;
  uint32_t bfOffBits = 0;

  static constexpr uint16_t kTypeBM = 0x4D42;
  static constexpr size_t kBytes = 14;
  std::array<uint8_t, kBytes> ToBytes() const;
  static BitmapFileHeader FromBytes(const uint8_t* bytes);  // reads 14 bytes
};

}  // namespace qv
