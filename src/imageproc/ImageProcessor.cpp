#include "imageproc/ImageProcessor.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <chrono>
#include <cstdlib>

namespace qv {

AppError ImageProcessError(int32_t number, const char* description) {
  return AppError(number, std::string(kAppName) + ".cImageProcess", description);
}

uint32_t TickCountMs() {
  using namespace std::chrono;
  return static_cast<uint32_t>(
      duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

uint64_t FreshNoiseSeed() {
  static std::atomic<uint64_t> counter{0};
  const uint64_t now = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return std::random_device{}() ^ (now << 20) ^ (counter.fetch_add(0x9E3779B97F4A7C15ull));
}

uint32_t ImageProcessor::StartTick() { return TickCountMs(); }

void ImageProcessor::RaiseInitProgress(int32_t maximum) const {
  if (Events.InitProgress) Events.InitProgress(maximum);
}

void ImageProcessor::RaiseProgress(int32_t position) const {
  if (Events.Progress) Events.Progress(position);
}

void ImageProcessor::RaiseComplete(uint32_t startTick) const {
  if (Events.Complete) Events.Complete(static_cast<int32_t>(TickCountMs() - startTick));
}

// --- Filter set-up -------------------------------------------------------------------------------

void ImageProcessor::FilterArraySize(int32_t size) {
  if (size % 2 == 0) throw ImageProcessError(kErrSizeMustBeOdd, "Size must be an odd number");
  if (size < 0 || size > 9) {
    throw ImageProcessError(kErrInvalidSetting,
                            "Invalid size.  Size should be an odd number from 3 to 9");
  }
  kernelSize_ = size;
  kernelHalf_ = size / 2;
  kernel_.assign(static_cast<size_t>(size) * size, 0);
}

int32_t ImageProcessor::FilterValue(int32_t x, int32_t y) const {
  if (kernel_.empty() || x < -kernelHalf_ || x > kernelHalf_ || y < -kernelHalf_ ||
      y > kernelHalf_) {
    throw err::SubscriptOutOfRange();
  }
  return kernel_[static_cast<size_t>((y + kernelHalf_) * kernelSize_ + x + kernelHalf_)];
}

void ImageProcessor::FilterValue(int32_t x, int32_t y, int32_t value) {
  (void)FilterValue(x, y);  // bounds check
  kernel_[static_cast<size_t>((y + kernelHalf_) * kernelSize_ + x + kernelHalf_)] = value;
}

void ImageProcessor::Filtertype(int32_t type) {
  if (type < 1 || type > 14) throw ImageProcessError(kErrInvalidSetting, "Invalid filter types.");
  filterType_ = type;
  if (type != 14) SetupKernel();
}

void ImageProcessor::SetupKernel() {
  static constexpr int32_t kGaussian[5][5] = {{28, 45, 53, 45, 28},
                                              {45, 73, 85, 73, 45},
                                              {53, 85, 100, 85, 53},
                                              {45, 73, 85, 73, 45},
                                              {28, 45, 53, 45, 28}};
  kernelWeight_ = 0;
  auto fill = [this](int32_t size, auto value) {
    FilterArraySize(size);
    const int32_t h = size / 2;
    for (int32_t y = -h; y <= h; ++y) {
      for (int32_t x = -h; x <= h; ++x) FilterValue(x, y, value(x, y));
    }
    kernelWeight_ = 0;
    for (int32_t v : kernel_) kernelWeight_ += v;
  };
  auto ring = [](int32_t x, int32_t y) { return std::max(std::abs(x), std::abs(y)); };
  switch (filterType_) {
    case 1: fill(3, [](int32_t, int32_t) { return 1; }); break;
    case 2: fill(5, [](int32_t, int32_t) { return 1; }); break;
    case 3: fill(3, [&](int32_t x, int32_t y) { return ring(x, y) == 0 ? 4 : 1; }); break;
    case 4: fill(5, [&](int32_t x, int32_t y) {
      static constexpr int32_t kByRing[3] = {12, 2, 1};
      return kByRing[ring(x, y)];
    }); break;
    case 5: fill(5, [](int32_t x, int32_t y) { return kGaussian[y + 2][x + 2]; }); break;
    case 6: fill(3, [&](int32_t x, int32_t y) { return ring(x, y) == 0 ? 15 : -1; }); break;
    case 7: fill(3, [](int32_t x, int32_t y) {
      if (x == 0 && y == 0) return 5;
      return (x == 0 || y == 0) ? -1 : 0;
    }); break;
    case 9:
      fill(3, [](int32_t x, int32_t y) { return (x == y && x != 0) ? x : 0; });
      // The emboss kernel sums to 0; its weight is 1 so that the pass divides by something.
      kernelWeight_ = 1;
      break;
    default: break;  // 8, 10 ... 13: no kernel
  }
}

// --- Array conversions ---------------------------------------------------------------------------

void ImageProcessor::CopyToArray(const Picture& picture) {
  CopyToSpecifiedArray(picture, arrays_->SharedPixels);
}

void ImageProcessor::CopyToArrayOPENGL(const Picture& picture) {
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const size_t rowBytes = static_cast<size_t>(3) * (W > 0 ? W : 0);
  std::vector<uint8_t>& out = arrays_->GLPixels;
  out.resize(rowBytes * (H > 0 ? H : 0) + 1);
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* in = grid.MemoryRow(y);
    uint8_t* o = out.data() + rowBytes * y;
    for (int32_t x = 0; x < W; ++x) {
      o[3 * x] = in[3 * x + 2];
      o[3 * x + 1] = in[3 * x + 1];
      o[3 * x + 2] = in[3 * x];
    }
  }
}

}  // namespace qv
