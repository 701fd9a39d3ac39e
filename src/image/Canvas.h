#pragma once
// Device contexts and bit-block transfers over 24-bit pictures.
//
// A PixelGrid is 24-bit pixel memory: three bytes a pixel in the order blue, green, red, rows
// stored bottom-up (memory row 0 is the bottom row of the picture) and `stride` bytes apart.
// Transfers address it in device coordinates, which are top-down: device row 0 is the top row,
// i.e. memory row height - 1.
//
// Rectangles are clipped against both pictures: destination pixels whose source lies outside the
// source picture are left as they are.

#include <cstdint>

namespace qv {

// Raster operations (the values the program passes around as eRop).
inline constexpr uint32_t SRCCOPY = 0x00CC0020;    // destination = source
inline constexpr uint32_t SRCPAINT = 0x00EE0086;   // destination = destination OR source
inline constexpr uint32_t SRCAND = 0x008800C6;     // destination = destination AND source
inline constexpr uint32_t SRCINVERT = 0x00660046;  // destination = destination XOR source

// Stretch modes.
inline constexpr int BLACKONWHITE = 1;
inline constexpr int WHITEONBLACK = 2;
inline constexpr int COLORONCOLOR = 3;  // rows and columns are dropped or repeated, never blended
inline constexpr int HALFTONE = 4;      // smoothing: area average when shrinking, bilinear when enlarging

struct PixelGrid {
  uint8_t* bits = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int32_t stride = 0;

  bool Empty() const { return bits == nullptr || width <= 0 || height <= 0; }
  uint8_t* MemoryRow(int32_t row) const { return bits + static_cast<int64_t>(row) * stride; }
  uint8_t* DeviceRow(int32_t row) const { return MemoryRow(height - 1 - row); }
};

// Row stride of a 24-bit picture: 3 bytes a pixel, padded to a multiple of four bytes.
constexpr int64_t StrideFor(int64_t width) { return (3 * width + 3) & ~int64_t{3}; }

// A memory device context: one selected picture and a stretch mode.
class Canvas {
 public:
  // Selects grid and returns the previously selected one.
  PixelGrid Select(const PixelGrid& grid) {
    PixelGrid previous = grid_;
    grid_ = grid;
    return previous;
  }
  const PixelGrid& Grid() const { return grid_; }

  // Returns the previous mode, or 0 when mode is not one of the four modes.
  int SetStretchMode(int mode);
  int StretchMode() const { return stretchMode_; }

 private:
  PixelGrid grid_;
  int stretchMode_ = BLACKONWHITE;
};


// Copies the w x h rectangle at (sx, sy) of src to (x, y) of dst with the raster operation.
// Returns false for a missing context or an unknown raster operation.
bool Blit(Canvas* dst, int32_t x, int32_t y, int32_t w, int32_t h, Canvas* src, int32_t sx, int32_t sy,
            uint32_t rop);

// Scales the sw x sh rectangle at (sx, sy) of src onto the w x h rectangle at (x, y) of dst with
// the stretch mode of dst (COLORONCOLOR for modes 1 to 3, a smoothing filter for HALFTONE).
// Non-positive sizes (mirroring) are not supported and return false.
bool Stretch(Canvas* dst, int32_t x, int32_t y, int32_t w, int32_t h, Canvas* src, int32_t sx,
                int32_t sy, int32_t sw, int32_t sh, uint32_t rop);

}  // namespace qv
