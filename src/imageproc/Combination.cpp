// The combining members of ImageProcessor: two pictures, or a picture and SharedPixels, pixel by
// pixel. Sizes are checked before anything is written: a picture that does not cover the area a
// member reads or writes raises the subscript-range error and leaves every picture as it was.

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "base/Numbers.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/SoftenKernel.h"

namespace qv {

namespace {

// Signed 32-bit arithmetic without overflow checks: results wrap as the machine's do.
inline int32_t Wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

inline uint8_t ClampByte(int32_t v) { return static_cast<uint8_t>(Clamp(v, 0, 255)); }

void RequireCovers(const Picture& picture, int64_t width, int64_t height) {
  if (picture.Width() < width || picture.Height() < height) throw err::SubscriptOutOfRange();
}

// Runs f(to pixel, from pixel) over every pixel of `to`; `from` must be at least as large.
template <typename F>
void EachPixelPair(const Picture& from, Picture& to, F f) {
  const int32_t W = to.Width();
  const int32_t H = to.Height();
  if (W <= 0 || H <= 0) return;
  RequireCovers(from, W, H);
  const PixelGrid source = from.ReadGrid();
  const PixelGrid target = to.Grid();
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* s = source.MemoryRow(y);
    uint8_t* t = target.MemoryRow(y);
    for (int32_t x = 0; x < W; ++x) f(t + 3 * x, s + 3 * x);
  }
}

inline int32_t Lum(const uint8_t* p) { return 929 * p[1] + 71 * p[0]; }

}  // namespace

void ImageProcessor::AddLightest(const Picture& from, Picture& to) {
  EachPixelPair(from, to, [](uint8_t* t, const uint8_t* f) {
    if (Lum(f) < Lum(t)) std::memcpy(t, f, 3);
  });
}

void ImageProcessor::AddDarkest(const Picture& from, Picture& to) {
  EachPixelPair(from, to, [](uint8_t* t, const uint8_t* f) {
    if (Lum(t) < Lum(f)) std::memcpy(t, f, 3);
  });
}

void ImageProcessor::AddImages(const Picture& from, Picture& to, int32_t fromMultiplier,
                               int32_t fromOffsetR, int32_t fromOffsetG, int32_t fromOffsetB,
                               int32_t toMultiplier, int32_t toOffsetR, int32_t toOffsetG,
                               int32_t toOffsetB) {
  const std::array<int32_t, 3> fromOffset = {fromOffsetR, fromOffsetG, fromOffsetB};
  const std::array<int32_t, 3> toOffset = {toOffsetR, toOffsetG, toOffsetB};
  EachPixelPair(from, to, [&](uint8_t* t, const uint8_t* f) {
    for (size_t c = 0; c < 3; ++c) {
      const int32_t a = Wrap(int64_t{Wrap(int64_t{f[c]} + fromOffset[c])} * fromMultiplier);
      const int32_t b = Wrap(int64_t{Wrap(int64_t{t[c]} + toOffset[c])} * toMultiplier);
      t[c] = ClampByte(Wrap(int64_t{a} + b));
    }
  });
}

void ImageProcessor::AddImagesChannel(const Picture& from, Picture& to, int32_t fromMultR,
                                      int32_t fromMultG, int32_t fromMultB, int32_t toMultR,
                                      int32_t toMultG, int32_t toMultB) {
  const std::array<int32_t, 3> fromMult = {fromMultR, fromMultG, fromMultB};
  const std::array<int32_t, 3> toMult = {toMultR, toMultG, toMultB};
  EachPixelPair(from, to, [&](uint8_t* t, const uint8_t* f) {
    for (size_t c = 0; c < 3; ++c) {
      t[c] = ClampByte(Wrap(int64_t{t[c]} * toMult[c] + int64_t{f[c]} * fromMult[c]));
    }
  });
}

void ImageProcessor::AddSmallImage(const Picture& from, Picture& to, int32_t, int32_t, int32_t,
                                   int32_t, int32_t, int32_t, int32_t, int32_t,
                                   int32_t verticalOffset) {
  const int32_t W = from.Width();
  const int32_t H = from.Height();
  if (W <= 0 || H <= 0) return;
  if (verticalOffset < 0) throw err::SubscriptOutOfRange();
  RequireCovers(to, W, int64_t{verticalOffset} + H);
  const PixelGrid source = from.ReadGrid();
  const PixelGrid target = to.Grid();
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* s = source.MemoryRow(y);
    uint8_t* t = target.MemoryRow(verticalOffset + y);
    for (int32_t k = 0; k < 3 * W; k += 3) {
      if (s[k] == 0 && s[k + 1] == 0 && s[k + 2] == 0) continue;
      t[k] = s[k];
      t[k + 1] = static_cast<uint8_t>(std::min(s[k + 1] + 1, 255));
      t[k + 2] = static_cast<uint8_t>(std::min(s[k + 2] + 2, 255));
    }
  }
}

void ImageProcessor::AddSmallImageEx(const Picture& from, Picture& to, int32_t fromMultiplier,
                                     int32_t toMultiplier, int32_t horizontalOffset,
                                     int32_t verticalOffset) {
  const int32_t W = from.Width();
  const int32_t H = from.Height();
  if (W <= 0 || H <= 0) return;
  if (horizontalOffset < 0 || verticalOffset < 0) throw err::SubscriptOutOfRange();
  RequireCovers(to, int64_t{horizontalOffset} + W, int64_t{verticalOffset} + H);
  const PixelGrid source = from.ReadGrid();
  const PixelGrid target = to.Grid();
  const uint8_t* key = source.MemoryRow(0);
  const double weight = static_cast<double>(fromMultiplier) + toMultiplier;
  // Column by column, each from the bottom row up, so that a failing pixel leaves exactly the
  // pixels before it blended.
  for (int32_t x = 0; x < W; ++x) {
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* s = source.MemoryRow(y) + 3 * x;
      if (std::memcmp(s, key, 3) == 0) continue;
      if (weight == 0.0) throw err::DivisionByZero();
      uint8_t* d = target.MemoryRow(verticalOffset + y) + 3 * (horizontalOffset + x);
      std::array<uint8_t, 3> blended{};
      for (size_t c = 0; c < 3; ++c) {
        const double v = (static_cast<double>(d[c]) * toMultiplier + static_cast<double>(s[c]) * fromMultiplier) / weight;
        blended[c] = ToByteChecked(std::min(RoundHalfEven(v), 255.0));
      }
      std::memcpy(d, blended.data(), 3);
    }
  }
}

void ImageProcessor::Fade(Picture& picture, int32_t amount) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    std::array<uint8_t, 256> faded{};
    for (int32_t v = 0; v < 256; ++v) faded[static_cast<size_t>(v)] = StoreByte(Wrap(int64_t{v} * amount) / 255);
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = 0; k < 3 * W; ++k) row[k] = faded[row[k]];
    }
  }
  for (int32_t x = 0; x < W; ++x) RaiseProgress(3 * x);
  RaiseComplete(start);
}

void ImageProcessor::Stack(Picture& picture, int32_t transparent, const PixelArray* mask) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const PixelArray& pasted = arrays_->SharedPixels;
  if (!pasted.Covers(3 * int64_t{W} - 1, H - 1)) throw err::SubscriptOutOfRange();
  if (transparent < 0) {
    if (mask == nullptr) throw err::InvalidArgument();
    if (!mask->Covers(3 * int64_t{W} - 3, H - 1)) throw err::SubscriptOutOfRange();
  }
  RaiseInitProgress(W - 1);

  // M(x, y): whether pixel (x, y) was pasted.
  std::vector<uint8_t> pastedHere(static_cast<size_t>(W) * H);
  auto M = [&](int32_t x, int32_t y) -> uint8_t& { return pastedHere[static_cast<size_t>(y) * W + x]; };
  for (int32_t y = 0; y < H; ++y) {
    const int32_t* s = pasted.Row(y);
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t i = 0; i < 3 * W; i += 3) {
      bool clear;
      if (transparent >= 0) {
        const int64_t sum = int64_t{s[i]} + s[i + 1] + s[i + 2];
        clear = sum == 0 || sum == transparent || sum == int64_t{transparent} + 1;
      } else {
        clear = (*mask)(i, y) <= 128;
      }
      M(i / 3, y) = clear ? 0 : 1;
      if (!clear) {
        for (int32_t c = 0; c < 3; ++c) row[i + c] = StoreByte(s[i + c]);
      }
    }
  }
  for (int32_t i = 0; i < 3 * W; i += 3) RaiseProgress(i);

  // The seam: where the mask changes within two pixels above or to the right. Each pixel reads
  // neighbours that come later in the walk, so they still hold the mask.
  for (int32_t x = 0; x <= W - 3; ++x) {
    for (int32_t y = 0; y <= H - 3; ++y) {
      M(x, y) = (M(x, y + 2) != M(x, y)) || (M(x + 2, y) != M(x, y)) ? 1 : 0;
    }
  }

  std::vector<float> copy(static_cast<size_t>(3) * W * H);
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = grid.MemoryRow(y);
    std::copy(row, row + 3 * W, copy.begin() + static_cast<ptrdiff_t>(3) * W * y);
  }
  for (int32_t x = 0; x <= W - 7; ++x) {
    for (int32_t y = 0; y <= H - 3; ++y) {
      if (M(x, y) != 1) continue;
      for (int32_t c = 0; c < 3; ++c) {
        grid.MemoryRow(y)[3 * x + c] = Softened([&](int32_t i, int32_t j) {
          return copy[static_cast<size_t>(3) * W * (y + j) + 3 * (x + i) + c];
        });
      }
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::StackAlpha(Picture& picture, int32_t transparent, int32_t yOffsetEnd,
                                int32_t sourceWidth, int32_t yOffsetStart, int32_t xOffsetStart,
                                const Picture& alpha, const Picture& from) {
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const int64_t xEnd = std::min<int64_t>(int64_t{sourceWidth} + xOffsetStart - 1, int64_t{W} - 1);
  const int64_t yEnd = int64_t{H} - 1 - yOffsetEnd;
  if (xEnd < xOffsetStart || yEnd < yOffsetStart) return;
  if (xOffsetStart < 0 || yOffsetStart < 0 || yEnd > int64_t{H} - 1) throw err::SubscriptOutOfRange();
  const int64_t columns = xEnd - xOffsetStart + 1;
  const int64_t rows = yEnd - yOffsetStart + 1;
  RequireCovers(from, columns, rows);
  RequireCovers(alpha, columns, rows);
  const PixelGrid target = picture.Grid();
  const PixelGrid source = from.ReadGrid();
  const PixelGrid weights = alpha.ReadGrid();
  for (int32_t y = 0; y < rows; ++y) {
    const uint8_t* s = source.MemoryRow(y);
    const uint8_t* a = weights.MemoryRow(y);
    uint8_t* d = target.MemoryRow(yOffsetStart + y) + 3 * int64_t{xOffsetStart};
    for (int32_t k = 0; k < 3 * columns; k += 3) {
      const int32_t sum = s[k] + s[k + 1] + s[k + 2];
      if (sum == 0 || sum == transparent) continue;
      const double share = a[k] / 255.0;
      for (int32_t c = 0; c < 3; ++c) {
        d[k + c] = ToByteChecked(s[k + c] * share + d[k + c] * (1.0 - share));
      }
    }
  }
}

}  // namespace qv
