// Members that move pixels: flips, mirror, quarter turns, rotation and projective mapping.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "base/Numbers.h"
#include "imageproc/ImageProcessor.h"

namespace qv {

namespace {

// The three bytes of pixel (x, memory row y).
inline uint8_t* PixelAt(const PixelGrid& grid, int32_t x, int32_t y) {
  return grid.MemoryRow(y) + 3 * static_cast<int64_t>(x);
}

inline void SwapPixels(uint8_t* a, uint8_t* b) {
  std::swap(a[0], b[0]);
  std::swap(a[1], b[1]);
  std::swap(a[2], b[2]);
}

void RequireSharedPixels(const PixelArray& shared, int32_t W, int32_t H) {
  if (!shared.Covers(3 * int64_t{W} - 1, H - 1)) throw err::SubscriptOutOfRange();
}

// Channel value of SharedPixels as the pixel routines read it: its low 8 bits.
inline int32_t SharedByte(const PixelArray& shared, int32_t i, int32_t y) {
  return shared(i, y) & 0xFF;
}

}  // namespace

void ImageProcessor::Flip(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const size_t rowBytes = 3 * static_cast<size_t>(grid.width);
  std::vector<uint8_t> row(rowBytes);
  for (int32_t r = 0, last = grid.height - 1; r < last - r; ++r) {
    uint8_t* bottom = grid.MemoryRow(r);
    uint8_t* top = grid.MemoryRow(last - r);
    std::memcpy(row.data(), bottom, rowBytes);
    std::memcpy(bottom, top, rowBytes);
    std::memcpy(top, row.data(), rowBytes);
  }
}

void ImageProcessor::Mirror(Picture& picture, bool mirrorFlag) {
  (void)mirrorFlag;
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (grid.Empty()) return;
  const int32_t lastColumn = 3 * (W - 1);
  const int32_t bound = ToInt32Checked(lastColumn / 2.0);
  for (int32_t i = 0; i <= bound; i += 3) {
    for (int32_t y = 0; y < grid.height; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      SwapPixels(row + i, row + lastColumn - i);
    }
  }
}

void ImageProcessor::RotateFN(Picture& picture, int32_t direction) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    const int32_t lastX = W - 1, lastY = H - 1;
    auto pixel = [&](int32_t x, int32_t y) {
      if (x < 0 || y < 0 || x > lastX || y > lastY) throw err::SubscriptOutOfRange();
      return PixelAt(grid, x, y);
    };
    const int32_t rings = ToInt32Checked(lastY / 2.0);
    for (int32_t i = 0; i <= rings; ++i) {
      for (int32_t j = i; j <= lastX - i - 1; ++j) {
        // Each of A, B, C, D is the one before turned anticlockwise about the centre.
        uint8_t* a = pixel(j, i);
        uint8_t* b = pixel(lastX - i, j);
        uint8_t* c = pixel(lastX - j, lastY - i);
        uint8_t* d = pixel(i, lastY - j);
        uint8_t held[3] = {a[0], a[1], a[2]};
        if (direction != 2) {  // A <- B <- C <- D <- A: clockwise as shown
          std::memcpy(a, b, 3);
          std::memcpy(b, c, 3);
          std::memcpy(c, d, 3);
          std::memcpy(d, held, 3);
        } else {  // A <- D <- C <- B <- A
          std::memcpy(a, d, 3);
          std::memcpy(d, c, 3);
          std::memcpy(c, b, 3);
          std::memcpy(b, held, 3);
        }
        RaiseProgress(3 * j);
      }
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::RotateACWAng(Picture& picture, double angle) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  if (!grid.Empty()) RequireSharedPixels(arrays_->SharedPixels, W, H);
  const PixelArray& shared = arrays_->SharedPixels;
  // The quarter turn is the routine's own approximation of pi / 2; it leaves cos at about
  // 1.3e-6 for angle 0, which never changes a rounded value.
  const double theta = 3.14159 / 2 - angle;
  const double sinT = std::sin(theta), cosT = std::cos(theta);
  const double cx = (W - 1) / 2.0, cy = (H - 1) / 2.0;
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) {
      const double x = i / 3;
      for (int32_t y = 0; y < H; ++y) {
        const double sx = (x - cx) * sinT + cx + (y - cy) * cosT;
        const double sy = (y - cy) * sinT + cy - (x - cx) * cosT;
        const bool inside = sx >= 0 && sx < W - 1 && sy >= 0 && sy < H - 1;
        const bool border = !inside && sx > -1 && sx < W && sy > -1 && sy < H;
        const bool t1 = inside || (border && sx >= 0 && sy >= 0);
        const bool t2 = inside || (border && sx >= 0 && sy < H - 1);
        const bool t3 = inside || (border && sx < W - 1 && sy >= 0);
        const bool t4 = inside || (border && sx < W - 1 && sy < H - 1);
        const int32_t ix = static_cast<int32_t>(std::floor(sx));
        const int32_t iy = static_cast<int32_t>(std::floor(sy));
        const double fx = sx - ix, fy = sy - iy, gx = 1 - fx, gy = 1 - fy;
        uint8_t* out = PixelAt(grid, i / 3, y);
        for (int32_t c = 0; c < 3; ++c) {
          double v = 0;
          if (inside || border) {
            if (t1) v = RoundHalfEven(SharedByte(shared, 3 * ix + c, iy) * gx * gy + v);
            if (t2) v = RoundHalfEven(SharedByte(shared, 3 * ix + c, iy + 1) * gx * fy + v);
            if (t3) v = RoundHalfEven(SharedByte(shared, 3 * (ix + 1) + c, iy) * fx * gy + v);
            if (t4) v = RoundHalfEven(SharedByte(shared, 3 * (ix + 1) + c, iy + 1) * fx * fy + v);
          }
          out[c] = static_cast<uint8_t>(std::min(v, 255.0));
        }
      }
      RaiseProgress(i);
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::ProjectiveTransform(Picture& picture, double a, double b, double c, double d,
                                         double e, double f, double p, double q, int16_t disable) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  if (!grid.Empty()) RequireSharedPixels(arrays_->SharedPixels, W, H);
  const PixelArray& shared = arrays_->SharedPixels;
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    for (int32_t x = 0; x < W; ++x) {
      for (int32_t y = 0; y < H; ++y) {
        const double denominator = p * x + q * y + 1;
        if (denominator == 0) throw err::DivisionByZero();
        int32_t xs = ToInt32Checked((a * x + b * y + c) / denominator);
        int32_t ys = ToInt32Checked((d * x + e * y + f) / denominator);
        if (disable == 1) xs = x;
        if (disable == 2) ys = y;
        uint8_t* out = PixelAt(grid, x, y);
        if (xs >= 0 && xs <= W - 1 && ys >= 0 && ys <= H - 1) {
          for (int32_t k = 0; k < 3; ++k) out[k] = static_cast<uint8_t>(SharedByte(shared, 3 * xs + k, ys));
        } else {
          out[0] = out[1] = out[2] = 0;
        }
      }
      RaiseProgress(x);
    }
  }
  RaiseComplete(start);
}

}  // namespace qv
