// The tone and colour operations of ImageProcessor: brightness, contrast and gamma through one
// table per channel, lightness, saturation and the two-colour threshold through the HLS
// conversions, two contrast stretches and the black-and-white dither.
//
// A member that stops on an error leaves written exactly the bytes that its column walk (x outer,
// y inner) wrote before the failing one. The fast paths run row by row and are taken only when
// nothing can fail, or compute every result first and then write the share that the walk had
// reached.

#include <algorithm>
#include <cmath>
#include <exception>
#include <vector>

#include "base/CpuFeatures.h"
#include "imageproc/Hls.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/KernelSupport.h"
#include "imageproc/ToneArithmetic.h"

namespace qv {

using kernels::ClampByte;

namespace {

// A value table for one channel. Entries 0 ... 255 are results; the two negative codes stand for
// the error that computing that value raises.
constexpr int32_t kFailsWithOverflow = -1;
constexpr int32_t kFailsWithDivisionByZero = -2;
using ChannelTable = std::array<int32_t, 256>;

// Every byte of every row through `rowKernel`, when it applies to all of them.
template <typename RowKernel>
bool MapRows(const PixelGrid& grid, RowKernel rowKernel) {
  if (grid.Empty()) return true;
  const size_t bytes = static_cast<size_t>(3) * static_cast<size_t>(grid.width);
  for (int32_t y = 0; y < grid.height; ++y) {
    if (!rowKernel(grid.MemoryRow(y), bytes)) return false;  // refused at once, so by every row
  }
  return true;
}

[[noreturn]] void RaiseFor(int32_t code) {
  if (code == kFailsWithDivisionByZero) throw err::DivisionByZero();
  throw err::Overflow();
}

// Maps every byte of channel c through tables[c] (a null table leaves the channel). Channels of a
// pixel are taken in `channelOrder`.
void ApplyTables(const PixelGrid& grid, const std::array<const ChannelTable*, 3>& tables,
                 const std::array<int, 3>& channelOrder) {
  if (grid.Empty()) return;
  bool mayFail = false;
  for (const ChannelTable* t : tables) {
    if (t != nullptr && std::any_of(t->begin(), t->end(), [](int32_t v) { return v < 0; })) mayFail = true;
  }
  if (!mayFail) {
    // Byte tables, one pass along each row.
    std::array<std::array<uint8_t, 256>, 3> bytes;
    for (size_t c = 0; c < 3; ++c) {
      for (int32_t v = 0; v < 256; ++v) {
        bytes[c][static_cast<size_t>(v)] =
            tables[c] != nullptr ? static_cast<uint8_t>((*tables[c])[static_cast<size_t>(v)]) : static_cast<uint8_t>(v);
      }
    }
    const bool same = tables[0] == tables[1] && tables[1] == tables[2];
    for (int32_t y = 0; y < grid.height; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      if (same) {
        const uint8_t* t = bytes[0].data();
        for (int32_t k = 0; k < 3 * grid.width; ++k) row[k] = t[row[k]];
      } else {
        for (int32_t x = 0; x < grid.width; ++x) {
          uint8_t* p = row + 3 * x;
          p[0] = bytes[0][p[0]];
          p[1] = bytes[1][p[1]];
          p[2] = bytes[2][p[2]];
        }
      }
    }
    return;
  }
  for (int32_t x = 0; x < grid.width; ++x) {
    for (int32_t y = 0; y < grid.height; ++y) {
      uint8_t* p = grid.MemoryRow(y) + 3 * x;
      for (int c : channelOrder) {
        const ChannelTable* t = tables[static_cast<size_t>(c)];
        if (t == nullptr) continue;
        const int32_t v = (*t)[p[c]];
        if (v < 0) RaiseFor(v);
        p[c] = static_cast<uint8_t>(v);
      }
    }
  }
}

constexpr std::array<int, 3> kByteOrder = {0, 1, 2};

// round(v x amount / 100), at most 255, stored as its low 8 bits.
ChannelTable ScaleTable(int32_t amount) {
  ChannelTable t{};
  for (int32_t v = 0; v < 256; ++v) {
    double r = RoundHalfEven(static_cast<double>(v) * amount / 100.0);
    if (r > 255.0) r = 255.0;
    t[static_cast<size_t>(v)] = r < -2147483648.0 ? kFailsWithOverflow : (static_cast<int32_t>(r) & 0xFF);
  }
  return t;
}

// Every pixel through f(blue, green, red) -> its new three bytes, which may raise. The results are
// computed row by row first; on an error only the pixels before the failing one in the column walk
// are written, and the error is raised again.
template <typename PixelFunction>
void MapPixels(const PixelGrid& grid, PixelFunction f) {
  if (grid.Empty()) return;
  const int32_t W = grid.width, H = grid.height;
  std::vector<uint8_t> results(static_cast<size_t>(3) * W * H);
  int64_t firstFailure = -1;  // x * H + y of the earliest failing pixel in the column walk
  std::exception_ptr failure;
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = grid.MemoryRow(y);
    uint8_t* out = results.data() + static_cast<size_t>(3) * W * y;
    for (int32_t x = 0; x < W; ++x) {
      try {
        f(row + 3 * x, out + 3 * x);
      } catch (...) {
        const int64_t position = int64_t{x} * H + y;
        if (firstFailure < 0 || position < firstFailure) {
          firstFailure = position;
          failure = std::current_exception();
        }
      }
    }
  }
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    const uint8_t* in = results.data() + static_cast<size_t>(3) * W * y;
    for (int32_t x = 0; x < W; ++x) {
      if (firstFailure >= 0 && int64_t{x} * H + y >= firstFailure) break;
      std::copy(in + 3 * x, in + 3 * x + 3, row + 3 * x);
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

void ImageProcessor::Brightness(Picture& picture, int32_t amount) {
  if (CpuFeatures().vectors &&
      MapRows(picture.Grid(), [amount](uint8_t* row, size_t n) { return ScaleBytes(row, n, amount); })) {
    return;
  }
  const ChannelTable t = ScaleTable(amount);
  ApplyTables(picture.Grid(), {&t, &t, &t}, kByteOrder);
}

void ImageProcessor::ColourAdj(Picture& picture, int32_t amount, int16_t channel) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  if (channel < 0 || channel > 2) throw err::InvalidArgument();
  RaiseInitProgress(W - 1);
  const ChannelTable t = ScaleTable(amount);
  std::array<const ChannelTable*, 3> tables = {nullptr, nullptr, nullptr};
  tables[static_cast<size_t>(channel)] = &t;
  ApplyTables(picture.Grid(), tables, kByteOrder);
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

void ImageProcessor::Contrast(Picture& picture, int32_t amount) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (!CpuFeatures().vectors ||
      !MapRows(picture.Grid(),
               [amount](uint8_t* row, size_t n) { return StretchBytes(row, n, amount); })) {
    ChannelTable t{};
    for (int32_t v = 0; v < 256; ++v) {
      const double r = std::floor(static_cast<double>(v - 127) * amount / 100.0) + 127.0;
      t[static_cast<size_t>(v)] = r < 0.0 ? 0 : (r > 255.0 ? 255 : static_cast<int32_t>(r));
    }
    ApplyTables(picture.Grid(), {&t, &t, &t}, kByteOrder);
  }
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

void ImageProcessor::GammaCorrect(Picture& picture, int32_t redAmount, int32_t greenAmount,
                                  int32_t blueAmount) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  auto table = [](int32_t amount) {
    ChannelTable t{};
    for (int32_t v = 0; v < 256; ++v) {
      if (amount == 0) {
        t[static_cast<size_t>(v)] = kFailsWithDivisionByZero;
        continue;
      }
      const double r = std::floor(std::pow(v / 255.0, 100.0 / amount) * 255.99);
      if (!(r >= -2147483648.0 && r <= 2147483647.0)) {
        t[static_cast<size_t>(v)] = kFailsWithOverflow;
      } else {
        t[static_cast<size_t>(v)] = r < 0.0 ? 0 : (r > 255.0 ? 255 : static_cast<int32_t>(r));
      }
    }
    return t;
  };
  const ChannelTable red = table(redAmount), green = table(greenAmount), blue = table(blueAmount);
  ApplyTables(picture.Grid(), {&blue, &green, &red}, {2, 1, 0});
  for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

namespace {

// Lightness (which = 0) or saturation (which = 1) scaled by amount / 100, at most 1.
void ScaleHls(const PixelGrid& grid, int32_t amount, int which) {
  MapPixels(grid, [amount, which](const uint8_t* p, uint8_t* out) {
    float h, s, l;
    RGBToHLS(p[2], p[1], p[0], h, s, l);
    float& scaled = which == 0 ? l : s;
    scaled = static_cast<float>(static_cast<double>(scaled) * amount / 100.0);
    if (scaled > 1.0f) scaled = 1.0f;
    int32_t r, g, b;
    HLSToRGB(h, s, l, r, g, b);
    out[0] = StoreByte(b);
    out[1] = StoreByte(g);
    out[2] = StoreByte(r);
  });
}

}  // namespace

void ImageProcessor::Luminosity(Picture& picture, int32_t amount) {
  const uint32_t start = StartTick();
  RaiseInitProgress(picture.Width() - 1);
  ScaleHls(picture.Grid(), amount, 0);
  for (int32_t i = 0; i <= 3 * (picture.Width() - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

void ImageProcessor::ColourSat(Picture& picture, int32_t amount) {
  const uint32_t start = StartTick();
  RaiseInitProgress(picture.Width() - 1);
  ScaleHls(picture.Grid(), amount, 1);
  for (int32_t i = 0; i <= 3 * (picture.Width() - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

void ImageProcessor::Posterise(Picture& picture, double amount) {
  const uint32_t start = StartTick();
  RaiseInitProgress(picture.Width() - 1);
  MapPixels(picture.Grid(), [amount](const uint8_t* p, uint8_t* out) {
    float h, s, l;
    RGBToHLS(p[2], p[1], p[0], h, s, l);
    const bool blue = amount >= l;
    out[0] = 255;
    out[1] = out[2] = blue ? 0 : 255;
  });
  for (int32_t i = 0; i <= 3 * (picture.Width() - 1); i += 3) RaiseProgress(i);
  RaiseComplete(start);
}

void ImageProcessor::HistEqual(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  int32_t lo = 255, hi = 0;
  if (!grid.Empty()) {
    for (int32_t y = 0; y < grid.height; ++y) {
      const uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = 0; k < 3 * W; ++k) {
        lo = std::min<int32_t>(lo, row[k]);
        hi = std::max<int32_t>(hi, row[k]);
      }
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  if (hi - lo < 255 && !grid.Empty()) {
    const double factor = kernels::Quotient(255.0, hi - lo);
    ChannelTable t{};
    for (int32_t v = lo; v <= hi; ++v) {
      t[static_cast<size_t>(v)] = static_cast<int32_t>(RoundHalfEven((v - lo) * factor));
    }
    ApplyTables(grid, {&t, &t, &t}, kByteOrder);
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::HistEqualGray(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  int32_t lo = 255, hi = 0;
  if (!grid.Empty()) {
    // The blue bytes of pixels 6 ... W - 17 in rows 16 ... H - 17 (byte i + 2 for i = 16, 19, ...).
    for (int32_t i = 16; i <= 3 * (W - 1) - 48; i += 3) {
      for (int32_t y = 16; y <= H - 17; ++y) {
        const int32_t v = grid.MemoryRow(y)[i + 2];
        lo = std::min(lo, v);
        hi = std::max(hi, v);
      }
      RaiseProgress(i);
    }
  }
  if (hi - lo < 255 && !grid.Empty()) {
    const double factor = kernels::Quotient(255.0, hi - lo);
    std::array<uint8_t, 256> level{};
    for (int32_t v = 0; v < 256; ++v) {
      level[static_cast<size_t>(v)] = ClampByte(static_cast<int64_t>(RoundHalfEven((v - lo) * factor)));
    }
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t x = 0; x < W; ++x) {
        uint8_t* p = row + 3 * x;
        p[0] = p[1] = p[2] = level[p[2]];
      }
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::BlackAndWhite(Picture& from, Picture& to) {
  const uint32_t start = StartTick();
  const int32_t W = from.Width(), H = from.Height();
  if (W > 0 && H > 0 && (to.Width() < W || to.Height() < H)) throw err::SubscriptOutOfRange();
  GrayScale(from, 3);
  RaiseInitProgress(3 * W - 3);
  const PixelGrid work = from.Grid();
  const PixelGrid out = to.Grid();
  if (!work.Empty()) {
    auto spread = [](uint8_t* p, int32_t add) {
      p[0] = p[1] = p[2] = ClampByte(p[0] + add);
    };
    // Column by column: the error sent up and to the left lands on a pixel already decided.
    for (int32_t x = 0; x < W; ++x) {
      for (int32_t y = 0; y < H; ++y) {
        const int32_t g = work.MemoryRow(y)[3 * x];
        int32_t e;
        uint8_t* o = out.MemoryRow(y) + 3 * x;
        if (g < 129) {
          o[0] = o[1] = o[2] = 0;
          e = g < 17 ? 0 : g;
        } else {
          o[0] = o[1] = o[2] = 255;
          e = 127 - g;
        }
        if (x < W - 2) spread(work.MemoryRow(y) + 3 * x + 3, 7 * e / 16);
        if (y < H - 1) {
          uint8_t* above = work.MemoryRow(y + 1);
          const int32_t weights[3] = {3, 5, 1};
          for (int32_t d = -1; d <= 1; ++d) {
            const int32_t column = x + d;
            if (column >= 1 && column < W - 1) spread(above + 3 * column, weights[d + 1] * e / 16);
          }
        }
      }
      RaiseProgress(3 * x);
    }
  }
  RaiseComplete(start);
}

}  // namespace qv
