// The interlace kernels of ImageProcessor: rows and columns woven from a packed pair held in
// SharedPixels, sorted back into a packed pair, and views laid out under a lenticular sheet.
// Every output byte depends only on the source array, so the loops run row by row; events report
// the byte columns in the order of the column walk.

#include <cmath>

#include "imageproc/ImageProcessor.h"
#include "imageproc/KernelSupport.h"

namespace qv {

using kernels::Low8;
using kernels::RequireCovers;

void ImageProcessor::CreateInterlace(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty() || grid.height < 3) return;
  const int32_t W = grid.width, H = grid.height;
  const int32_t half = (H - 1) / 2;
  const int32_t lastY = H - 3 - ((H - 3) % 2);  // the last even row with y <= H - 3
  const PixelArray& s = arrays_->SharedPixels;
  RequireCovers(s, 3 * int64_t{W} - 1, half + lastY / 2);
  for (int32_t y = 0; y <= lastY; y += 2) {
    const int32_t* lower = s.Row(y / 2);
    const int32_t* upper = s.Row(half + y / 2);
    uint8_t* even = grid.MemoryRow(y);
    uint8_t* odd = grid.MemoryRow(y + 1);
    for (int32_t k = 0; k < 3 * W; ++k) {
      even[k] = Low8(lower[k]);
      odd[k] = Low8(upper[k]);
    }
  }
}

void ImageProcessor::CreateInterlaceVert(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  const int32_t lastI = 3 * (W - 1) - 6;  // two output pixels a step while i <= lastI
  if (!grid.Empty() && lastI >= 0) {
    const int32_t half = (W - 1) / 2;
    const int32_t pairs = lastI / 6 + 1;
    const PixelArray& s = arrays_->SharedPixels;
    RequireCovers(s, 3 * int64_t{half} + 3 * (pairs - 1) + 2, H - 1);
    for (int32_t y = 0; y < H; ++y) {
      const int32_t* in = s.Row(y);
      uint8_t* out = grid.MemoryRow(y);
      for (int32_t p = 0; p < pairs; ++p) {
        for (int32_t c = 0; c < 3; ++c) {
          out[6 * p + c] = Low8(in[3 * p + c]);
          out[6 * p + 3 + c] = Low8(in[3 * half + 3 * p + c]);
        }
      }
    }
    for (int32_t i = 0; i <= lastI; i += 6) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::DeInterleave(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    const int32_t half = (H - 1) / 2;
    const PixelArray& s = arrays_->SharedPixels;
    RequireCovers(s, 3 * int64_t{W} - 1, 2 * int64_t{half} + 1);
    // Row `half` is written twice in every column, last from the even rows.
    for (int32_t r = 0; r <= half; ++r) {
      const int32_t* in = s.Row(2 * r + 1);
      uint8_t* out = grid.MemoryRow(half + r);
      for (int32_t k = 0; k < 3 * W; ++k) out[k] = Low8(in[k]);
    }
    for (int32_t r = 0; r <= half; ++r) {
      const int32_t* in = s.Row(2 * r);
      uint8_t* out = grid.MemoryRow(r);
      for (int32_t k = 0; k < 3 * W; ++k) out[k] = Low8(in[k]);
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::DeVertInterleave(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    const int32_t half = (W - 1) / 2;
    const PixelArray& s = arrays_->SharedPixels;
    RequireCovers(s, 6 * int64_t{half} + 5, H - 1);
    for (int32_t y = 0; y < H; ++y) {
      const int32_t* in = s.Row(y);
      uint8_t* out = grid.MemoryRow(y);
      // Pixel `half` is written twice, last from the even columns.
      for (int32_t p = 0; p <= half; ++p) {
        for (int32_t c = 0; c < 3; ++c) out[3 * half + 3 * p + c] = Low8(in[6 * p + 3 + c]);
      }
      for (int32_t p = 0; p <= half; ++p) {
        for (int32_t c = 0; c < 3; ++c) out[3 * p + c] = Low8(in[6 * p + c]);
      }
    }
    for (int32_t i = 0; i <= 3 * half; i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::InterlaceLenticular(Picture& picture, float lpi, float printSize,
                                         int32_t views, const Array3D<uint8_t>& images) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  if (!grid.Empty()) {
    // Output pixels under one lens, single precision throughout.
    const float step = kernels::QuotientSingle(static_cast<float>(W - 1), lpi * printSize);
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* out = grid.MemoryRow(y);
      for (int32_t x = 0; x < W; ++x) {
        const float t = kernels::QuotientSingle(static_cast<float>(x), step);
        const float lens = std::floor(t);
        const double view = std::floor(static_cast<double>(t - lens) * views);
        if (!(std::fabs(lens) < 1e9f) || !(std::fabs(view) < 1e9)) throw err::Overflow();
        const int32_t q = static_cast<int32_t>(lens), k = static_cast<int32_t>(view);
        for (int32_t c = 0; c < 3; ++c) out[3 * x + c] = images.At(k, 3 * q + c, y);
      }
    }
  }
  RaiseComplete(start);
}

}  // namespace qv
