#include "image/BitmapFormat.h"

#include "image/Canvas.h"

namespace qv {

namespace {

template <typename T>
void Put(uint8_t*& p, T v) {
  const auto u = static_cast<uint32_t>(v);
  for (size_t i = 0; i < sizeof(T); ++i) *p++ = static_cast<uint8_t>(u >> (8 * i));
}

template <typename T>
T Get(const uint8_t*& p) {
  uint32_t u = 0;
  for (size_t i = 0; i < sizeof(T); ++i) u |= static_cast<uint32_t>(*p++) << (8 * i);
  return static_cast<T>(u);
}

}  // namespace

std::array<uint8_t, BitmapInfoHeader::kBytes> BitmapInfoHeader::ToBytes() const {
  std::array<uint8_t, kBytes> out{};
  uint8_t* p = out.data();
  Put(p, biSize);
  Put(p, biWidth);
  Put(p, biHeight);
  Put(p, biPlanes);
  Put(p, biBitCount);
  Put(p, biCompression);
  Put(p, biSizeImage);
  Put(p, biXPelsPerMeter);
  Put(p, biYPelsPerMeter);
  Put(p, biClrUsed);
  Put(p, biClrImportant);
  return out;
}

BitmapInfoHeader BitmapInfoHeader::FromBytes(const uint8_t* p) {
  BitmapInfoHeader h;
  h.biSize = Get<uint32_t>(p);
  h.biWidth = Get<int32_t>(p);
  h.biHeight = Get<int32_t>(p);
  h.biPlanes = Get<uint16_t>(p);
  h.biBitCount = Get<uint16_t>(p);
  h.biCompression = Get<uint32_t>(p);
  h.biSizeImage = Get<uint32_t>(p);
  h.biXPelsPerMeter = Get<int32_t>(p);
  h.biYPelsPerMeter = Get<int32_t>(p);
  h.biClrUsed = Get<uint32_t>(p);
  h.biClrImportant = Get<uint32_t>(p);
  return h;
}

BitmapInfoHeader BitmapInfoHeader::For24Bit(int32_t width, int32_t height) {
  BitmapInfoHeader h;
  h.biWidth = width;
  h.biHeight = height;
  h.biPlanes = 1;
  h.biBitCount = 24;
  // Only meaningful for sizes a picture can have; others wrap instead of overflowing.
  h.biSizeImage = static_cast<uint32_t>(static_cast<uint64_t>(StrideFor(width)) *
                                        static_cast<uint64_t>(static_cast<int64_t>(height)));
  return h;
}

std::array<uint8_t, BitmapFileHeader::kBytes> BitmapFileHeader::ToBytes() const {
  std::array<uint8_t, kBytes> out{};
  uint8_t* p = out.data();
  Put(p, bfType);
  Put(p, bfSize);
  Put(p, bfReserved1);
  Put(p, bfReserved2);
  Put(p, bfOffBits);
  return out;
}

BitmapFileHeader BitmapFileHeader::FromBytes(const uint8_t* p) {
  BitmapFileHeader h;
  h.bfType = Get<uint16_t>(p);
  h.bfSize = Get<uint32_t>(p);
  h.bfReserved1 = Get<uint16_t>(p);
  h.bfReserved2 = Get<uint16_t>(p);
  h.bfOffBits = Get<uint32_t>(p);
  return h;
}

}  // namespace qv
