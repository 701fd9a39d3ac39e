// The drawing members of ImageProcessor: the calibration sheet for finding the pitch of a
// lenticular sheet, and one pixel.

#include <cmath>

#include "imageproc/ImageProcessor.h"
#include "imageproc/KernelSupport.h"

namespace qv {

void ImageProcessor::CalibrationSheet(Picture& picture, float lpi, int16_t printSize,
                                      float lpiIncrement) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    // A remainder as the program's Mod takes it: of the rounded value, with the dividend's sign.
    auto remainder = [](double v) { return ToInt32Checked(v) % 255; };
    for (int32_t y = 0; y < H; ++y) {
      // Stripe width in pixels: half a lens pitch at this row's lens count (single precision).
      const float stripe = static_cast<float>(
          kernels::Quotient(static_cast<double>(W - 1), static_cast<float>(2 * printSize) * lpi));
      // The tick area's colour depends on the row only.
      const double rowStep = static_cast<double>(y) * static_cast<double>(lpiIncrement);
      const int32_t a = remainder(RoundHalfEven(rowStep * 2550.0));
      const int32_t b = remainder(RoundHalfEven(rowStep * 512.0));
      const int32_t c = remainder(RoundHalfEven(rowStep * 255.0));
      const bool tickBlack = a == 0 || a > 254 || b < 2 || b >= 254 || c < 4 || c >= 252;
      uint8_t* row = grid.MemoryRow(y);
      uint8_t colour = 255;  // every row starts white
      for (int32_t x = 0; x < W; ++x) {
        row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = colour;
        // The colour of the next pixel, chosen at this one.
        if (2.5 * (W - 1) > 3.0 * x) {
          const int16_t k = ToInt16Checked(kernels::QuotientSingle(static_cast<float>(x), stripe));
          colour = (k % 2 == 0) ? 255 : 0;
        } else {
          colour = tickBlack ? 0 : 255;
        }
      }
      lpi += lpiIncrement;
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::DrawPixel(Picture& picture, int32_t x, int32_t y, uint8_t red, uint8_t green,
                               uint8_t blue) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty() || x < 0 || int64_t{x} + 2 >= picture.BytesPerScanLine() || y < 0 || y >= grid.height) {
    throw err::SubscriptOutOfRange();
  }
  uint8_t* p = grid.MemoryRow(y) + x;
  p[0] = blue;
  p[1] = green;
  p[2] = red;
}

}  // namespace qv
