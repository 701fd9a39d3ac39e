// The convolution and noise filters of ImageProcessor: ProcessImage with the kernel set up by
// Filtertype, and the stand-alone edge, despeckle, median, fleck and noise filters.
//
// Where a filter reads only a copy of the picture, or reads neighbours that the member's column
// walk has not yet written, it runs row by row (which gives the same bytes) so that its inner
// loops go along memory; RemoveFlecs and the despeckle passes keep the walk they depend on.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "base/CpuFeatures.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/KernelSupport.h"

namespace qv {

using kernels::ClampByte;

namespace {

// Copies the pixel bytes of `from` into `to` (same size), as a full-size bit-block transfer does.
void CopyPixels(const Picture& from, Picture& to) {
  const PixelGrid in = from.ReadGrid();
  const PixelGrid out = to.Grid();
  for (int32_t y = 0; y < in.height; ++y) {
    std::memcpy(out.MemoryRow(y), in.MemoryRow(y), static_cast<size_t>(3) * in.width);
  }
}

// Copies what a pass with half-size h leaves unwritten: the h-pixel border (all of a picture too
// small for the pass). The interior that the pass writes need not be copied first.
void CopyBorder(const Picture& from, Picture& to, int32_t h) {
  const PixelGrid in = from.ReadGrid();
  const PixelGrid out = to.Grid();
  const int32_t W = in.width, H = in.height;
  if (W - 2 * h <= 0 || H - 2 * h <= 0) {
    CopyPixels(from, to);
    return;
  }
  for (int32_t y = 0; y < H; ++y) {
    const size_t edge = static_cast<size_t>(3) * h;
    if (y < h || y >= H - h) {
      std::memcpy(out.MemoryRow(y), in.MemoryRow(y), static_cast<size_t>(3) * W);
    } else {
      std::memcpy(out.MemoryRow(y), in.MemoryRow(y), edge);
      std::memcpy(out.MemoryRow(y) + 3 * W - edge, in.MemoryRow(y) + 3 * W - edge, edge);
    }
  }
}

void RequireSameSize(const Picture& a, const Picture& b) {
  if (a.Width() != b.Width() || a.Height() != b.Height()) throw err::InvalidArgument();
}

// round(sum / 2), halves to even, for a sum of two bytes.
inline uint8_t HalfSumToEven(int32_t sum) {
  int32_t q = sum >> 1;
  if ((sum & 1) != 0 && (q & 1) != 0) ++q;
  return static_cast<uint8_t>(q);
}

// sum \ weight (truncating), clamped to a byte, for a row of sums. Single precision is exact while
// every |sum| stays below 2^24 (a non-integer quotient then lies further from the next integer
// than the rounding error), double precision for any 32-bit sum.
void DivideRow(const int32_t* sums, int32_t count, int32_t weight, bool sumsBelow24Bits,
               uint8_t* out) {
  if (sumsBelow24Bits) {
    const float w = static_cast<float>(weight);
    for (int32_t j = 0; j < count; ++j) {
      float q = std::trunc(static_cast<float>(sums[j]) / w);
      q = q < 0.0f ? 0.0f : (q > 255.0f ? 255.0f : q);
      out[j] = static_cast<uint8_t>(q);
    }
  } else {
    const double w = static_cast<double>(weight);
    for (int32_t j = 0; j < count; ++j) {
      double q = std::trunc(static_cast<double>(sums[j]) / w);
      q = q < 0.0 ? 0.0 : (q > 255.0 ? 255.0 : q);
      out[j] = static_cast<uint8_t>(q);
    }
  }
}

// One uniform 32-bit value for a counter: a counter-based generator, so that rows can be filled in
// any order and the loops vectorise.
inline uint32_t NoiseBits(uint32_t key, uint32_t counter) {
  uint32_t x = counter * 0x9E3779B9u + key;
  x ^= x >> 16;
  x *= 0x7FEB352Du;
  x ^= x >> 15;
  x *= 0x846CA68Bu;
  x ^= x >> 16;
  return x;
}

// One row of AddNoise with an amplitude of 0 ... 128: r = u / 2^22 for a 22-bit u, a uniform
// value in [0, 1), a fresh one for every byte. Every term of round(r x amp + (v - half)) fits 32
// bits scaled by 2^22, and the halves go to even exactly.
inline void NoisyRow(const uint8_t* row, uint8_t* out, int32_t count, uint32_t key, uint32_t base,
                     int32_t amp, int32_t half) {
  for (int32_t k = 0; k < count; ++k) {
    const int32_t u = static_cast<int32_t>(NoiseBits(key, base + static_cast<uint32_t>(k)) >> 10);
    const int32_t scaled = u * amp + (row[k] - half) * (1 << 22);
    int32_t q = (scaled + (1 << 21)) >> 22;
    q -= ((scaled & ((1 << 22) - 1)) == (1 << 21)) & q & 1;  // half way: to the even one
    out[k] = static_cast<uint8_t>(q < 0 ? 0 : (q > 255 ? 255 : q));
  }
}

// One output row of a kernel of one value k and `size` columns: each row's bytes summed down the
// kernel's rows into `columns`, then across, wrapping as 32-bit integers would.
template <int Size>
inline void BoxSums(const uint16_t* columns, int32_t* sums, int32_t count, int32_t size, uint32_t k) {
  for (int32_t j = 0; j < count; ++j) {
    uint32_t box = 0;
    for (int32_t kx = 0; kx < (Size > 0 ? Size : size); ++kx) box += columns[j + 3 * kx];
    sums[j] = static_cast<int32_t>(box * k);
  }
}

inline void BoxRow(const PixelGrid& in, int32_t y, int32_t h, uint16_t* columns, int32_t* sums,
                   int32_t count, int32_t size, uint32_t k) {
  const int32_t bytes = 3 * in.width;
  const uint8_t* first = in.MemoryRow(y - h);
  for (int32_t j = 0; j < bytes; ++j) columns[j] = first[j];
  for (int32_t ky = 1 - h; ky <= h; ++ky) {
    const uint8_t* row = in.MemoryRow(y + ky);
    for (int32_t j = 0; j < bytes; ++j) columns[j] = static_cast<uint16_t>(columns[j] + row[j]);
  }
  if (size == 3) {
    BoxSums<3>(columns, sums, count, size, k);
  } else if (size == 5) {
    BoxSums<5>(columns, sums, count, size, k);
  } else {
    BoxSums<0>(columns, sums, count, size, k);
  }
}

#ifdef QV_X86
QV_TARGET("avx2")
void BoxRowWide(const PixelGrid& in, int32_t y, int32_t h, uint16_t* columns, int32_t* sums,
                int32_t count, int32_t size, uint32_t k) {
  BoxRow(in, y, h, columns, sums, count, size, k);
}

// The same row on 32-byte vectors, whose 32-bit multiplies the hash needs.
QV_TARGET("avx2")
void NoisyRowWide(const uint8_t* row, uint8_t* out, int32_t count, uint32_t key, uint32_t base,
                  int32_t amp, int32_t half) {
  NoisyRow(row, out, count, key, base, amp, half);
}
#endif

}  // namespace

// --- ProcessImage and its two passes --------------------------------------------------------------

bool ImageProcessor::ProcessImage(Picture& image, Picture& buffer) {
  RequireSameSize(image, buffer);
  auto convolve = [&] {
    CopyBorder(image, buffer, kernelHalf_);
    ApplyKernel(image, buffer);
  };
  switch (filterType_) {
    case 1: case 2: case 3: case 4: case 5: case 6: case 7: case 14:
      convolve();
      CopyPixels(buffer, image);
      return true;
    case 8:  // unsharp mask: twice the picture less its 3 x 3 mean
      Filtertype(1);
      convolve();
      AddImages(buffer, image, -1, 0, 0, 0, 2, 0, 0, 0);
      Filtertype(8);
      return true;
    case 9:  // emboss: the filtered picture lifted to the middle grey
      convolve();
      AddImages(buffer, image, 1, 127, 127, 127, 0, 0, 0, 0);
      return true;
    case 10: case 11: case 12:
      CopyPixels(image, buffer);
      ApplyRankFilter(image, buffer);
      CopyPixels(buffer, image);
      return true;
    default:
      return false;
  }
}

bool ImageProcessor::ApplyKernel(const Picture& source, Picture& destination) {
  const uint32_t start = StartTick();
  const int32_t W = source.Width(), H = source.Height();
  const int32_t h = kernelHalf_;
  const int32_t firstI = 3 * h, lastI = 3 * W - 3 * h - 3;
  RaiseInitProgress(lastI);
  const PixelGrid in = source.ReadGrid();
  const PixelGrid out = destination.Grid();
  if (!in.Empty() && lastI >= firstI && H - h - 1 >= h) {
    if (kernel_.empty()) throw err::SubscriptOutOfRange();
    if (kernelWeight_ == 0) throw err::DivisionByZero();
    // Sums wrap as 32-bit integers would; they are kept exact (and in single precision) when the
    // kernel is small enough.
    int64_t reach = 0;
    for (int32_t k : kernel_) reach += 255 * static_cast<int64_t>(k < 0 ? -int64_t{k} : k);
    const bool below24Bits = reach < (int64_t{1} << 24);
    const int32_t count = lastI - firstI + 3;
    std::vector<int32_t> sums(static_cast<size_t>(count));
    std::vector<uint32_t> acc(static_cast<size_t>(count));
    const int32_t size = kernelSize_;
    // A kernel of one value (the box filters) sums its square through column sums of the rows.
    const bool uniform = std::all_of(kernel_.begin(), kernel_.end(), [&](int32_t k) { return k == kernel_[0]; });
    std::vector<uint16_t> columns(uniform ? static_cast<size_t>(3) * W : 0);
#ifdef QV_X86
    const bool wide = CpuFeatures().avx2;
#else
    const bool wide = false;
#endif
    for (int32_t y = h; y <= H - h - 1; ++y) {
      if (uniform) {
        const uint32_t k = static_cast<uint32_t>(kernel_[0]);
#ifdef QV_X86
        if (wide) BoxRowWide(in, y, h, columns.data(), sums.data(), count, size, k);
#endif
        if (!wide) BoxRow(in, y, h, columns.data(), sums.data(), count, size, k);
      } else {
        std::fill(acc.begin(), acc.end(), 0u);
        for (int32_t ky = -h; ky <= h; ++ky) {
          const uint8_t* row = in.MemoryRow(y + ky) + firstI;
          for (int32_t kx = -h; kx <= h; ++kx) {
            const uint32_t k = static_cast<uint32_t>(kernel_[static_cast<size_t>((ky + h) * size + kx + h)]);
            if (k == 0) continue;
            const uint8_t* s = row + 3 * kx;
            uint32_t* a = acc.data();
            for (int32_t j = 0; j < count; ++j) a[j] += k * s[j];
          }
        }
        for (int32_t j = 0; j < count; ++j) sums[static_cast<size_t>(j)] = static_cast<int32_t>(acc[static_cast<size_t>(j)]);
      }
      DivideRow(sums.data(), count, kernelWeight_, below24Bits, out.MemoryRow(y) + firstI);
    }
    for (int32_t i = firstI; i <= lastI; i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
  return true;
}

bool ImageProcessor::ApplyRankFilter(const Picture& source, Picture& destination) {
  const uint32_t start = StartTick();
  const int32_t W = source.Width(), H = source.Height();
  RaiseInitProgress(3 * W - 6);
  const PixelGrid in = source.ReadGrid();
  const PixelGrid out = destination.Grid();
  if (!in.Empty() && W >= 3 && H >= 3) {
    const int32_t count = 3 * W - 6;
    std::vector<uint16_t> column(static_cast<size_t>(3 * W));
    for (int32_t y = 1; y <= H - 2; ++y) {
      const uint8_t* a = in.MemoryRow(y - 1);
      const uint8_t* b = in.MemoryRow(y);
      const uint8_t* c = in.MemoryRow(y + 1);
      uint8_t* o = out.MemoryRow(y) + 3;
      uint16_t* v = column.data();
      switch (filterType_) {
        case 10:
          for (int32_t j = 0; j < 3 * W; ++j) v[j] = static_cast<uint16_t>(a[j] + b[j] + c[j]);
          for (int32_t j = 0; j < count; ++j) o[j] = static_cast<uint8_t>((v[j] + v[j + 3] + v[j + 6]) / 9);
          break;
        case 11:
          for (int32_t j = 0; j < 3 * W; ++j) v[j] = std::min({a[j], b[j], c[j]});
          for (int32_t j = 0; j < count; ++j) o[j] = static_cast<uint8_t>(std::min({v[j], v[j + 3], v[j + 6]}));
          break;
        default:
          for (int32_t j = 0; j < 3 * W; ++j) v[j] = std::max({a[j], b[j], c[j]});
          for (int32_t j = 0; j < count; ++j) o[j] = static_cast<uint8_t>(std::max({v[j], v[j + 3], v[j + 6]}));
          break;
      }
    }
    for (int32_t i = 3; i <= 3 * W - 6; i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
  return true;
}

// --- The stand-alone filters ----------------------------------------------------------------------

void ImageProcessor::EdgeDetect(Picture& picture) {
  RaiseInitProgress(picture.Width() - 1);
  const PixelGrid grid = picture.Grid();
  if (grid.Empty() || grid.width < 2 || grid.height < 2) return;
  // round(sqrt(n) x 0.7) for every n = gx^2 + gy^2 that can occur (gx, gy <= 256).
  static const std::vector<uint8_t> strength = [] {
    std::vector<uint8_t> t(2 * 256 * 256 + 1);
    for (size_t n = 0; n < t.size(); ++n) {
      t[n] = static_cast<uint8_t>(static_cast<int32_t>(RoundHalfEven(std::sqrt(double(n)) * 0.7)) & 0xFF);
    }
    return t;
  }();
  auto step = [](const uint8_t* p, const uint8_t* q) {
    const int32_t sum = std::abs(p[0] - 1 - q[0]) + std::abs(p[1] - 1 - q[1]) + std::abs(p[2] - 1 - q[2]);
    return (sum + 1) / 3;  // round(sum / 3): a third never ends in a half
  };
  // Bottom row up and left to right: the right and upper neighbours still hold their old values.
  for (int32_t y = 0; y < grid.height - 1; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    const uint8_t* above = grid.MemoryRow(y + 1);
    for (int32_t x = 0; x < grid.width - 1; ++x) {
      uint8_t* p = row + 3 * x;
      const int32_t gx = step(p, p + 3);
      const int32_t gy = step(p, above + 3 * x);
      p[0] = p[1] = p[2] = strength[static_cast<size_t>(gx * gx + gy * gy)];
    }
  }
}

void ImageProcessor::DespeckleB(Picture& picture, int32_t absDifference) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  auto distance = [](const uint8_t* a, const uint8_t* b) {
    return std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
  };
  auto settle = [&](uint8_t* p, const uint8_t* before, const uint8_t* after) {
    if (distance(before, p) > absDifference && distance(after, p) > absDifference) {
      for (int32_t c = 0; c < 3; ++c) p[c] = HalfSumToEven(before[c] + after[c]);
    }
  };
  // Each pass reads the neighbour before a pixel after that neighbour was settled, and the one
  // after it before: rows (and pixels within a row) in order give the column walk's bytes.
  auto horizontal = [&] {
    RaiseInitProgress(W - 1);
    if (grid.Empty()) return;
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t x = 1; x <= W - 2; ++x) settle(row + 3 * x, row + 3 * x - 3, row + 3 * x + 3);
    }
    for (int32_t x = 1; x <= W - 2; ++x) RaiseProgress(3 * x);
  };
  horizontal();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    for (int32_t y = 1; y <= H - 2; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      const uint8_t* below = grid.MemoryRow(y - 1);
      const uint8_t* above = grid.MemoryRow(y + 1);
      for (int32_t x = 0; x < W; ++x) settle(row + 3 * x, below + 3 * x, above + 3 * x);
    }
    for (int32_t x = 0; x < W; ++x) RaiseProgress(3 * x);
  }
  horizontal();
  RaiseComplete(start);
}

namespace {

// The picture's bytes in a work copy with a black margin of `margin` pixels and rows on every side.
struct PaddedCopy {
  int32_t margin, stride;
  std::vector<uint8_t> bytes;
  PaddedCopy(const PixelGrid& grid, int32_t marginPixels)
      : margin(marginPixels), stride(3 * (grid.width + 2 * marginPixels)),
        bytes(static_cast<size_t>(stride) * (grid.height + 2 * marginPixels)) {
    for (int32_t y = 0; y < grid.height; ++y) {
      std::memcpy(Row(y) + 3 * margin, grid.MemoryRow(y), static_cast<size_t>(3) * grid.width);
    }
  }
  // Memory row y of the picture (y may reach `margin` rows beyond it); byte 0 is the margin's.
  uint8_t* Row(int32_t y) { return bytes.data() + static_cast<ptrdiff_t>(y + margin) * stride; }
};

// The m-th smallest of the n x n samples at pixel offsets o - 1 ... o - n, through histograms
// that slide along each row.
void RankByHistogram(const PixelGrid& grid, PaddedCopy& copy, int32_t n, int32_t o, int32_t m) {
  const int32_t W = grid.width;
  for (int32_t y = 0; y < grid.height; ++y) {
    std::array<std::array<int32_t, 256>, 3> histogram{};
    auto addColumn = [&](int32_t px, int32_t sign) {  // pixel column px of the window, all n rows
      for (int32_t b = 1; b <= n; ++b) {
        const uint8_t* s = copy.Row(y + o - b) + 3 * (px + copy.margin);
        for (int32_t c = 0; c < 3; ++c) histogram[static_cast<size_t>(c)][s[c]] += sign;
      }
    };
    for (int32_t a = 1; a <= n; ++a) addColumn(o - a, 1);
    uint8_t* out = grid.MemoryRow(y);
    for (int32_t x = 0; x < W; ++x) {
      if (x > 0) {
        addColumn(x - 1 + o - n, -1);
        addColumn(x + o - 1, 1);
      }
      for (int32_t c = 0; c < 3; ++c) {
        int32_t count = 0, v = 0;
        while ((count += histogram[static_cast<size_t>(c)][static_cast<size_t>(v)]) < m) ++v;
        out[3 * x + c] = static_cast<uint8_t>(v);
      }
    }
  }
}

// MedianFilter for n = 3: every byte's 4th smallest of its 3 x 3 samples, through a 25-exchange
// network that sorts nine values (only the exchanges that reach the 4th place survive
// compilation). Local values and byte minima and maxima let the row loop vectorise.
void FourthOfNine(PaddedCopy& copy, const PixelGrid& grid) {
  const int32_t count = 3 * grid.width;
  for (int32_t y = 0; y < grid.height; ++y) {
    const uint8_t* r0 = copy.Row(y - 1) + 3 * copy.margin;
    const uint8_t* r1 = copy.Row(y) + 3 * copy.margin;
    const uint8_t* r2 = copy.Row(y + 1) + 3 * copy.margin;
    uint8_t* out = grid.MemoryRow(y);
    for (int32_t j = 0; j < count; ++j) {
      uint8_t v0 = r0[j - 3], v1 = r0[j], v2 = r0[j + 3], v3 = r1[j - 3], v4 = r1[j], v5 = r1[j + 3],
              v6 = r2[j - 3], v7 = r2[j], v8 = r2[j + 3];
#define QV_EXCHANGE(a, b) { const uint8_t lo = std::min(a, b); b = std::max(a, b); a = lo; }
      QV_EXCHANGE(v0, v3) QV_EXCHANGE(v1, v7) QV_EXCHANGE(v2, v5) QV_EXCHANGE(v4, v8)
      QV_EXCHANGE(v0, v7) QV_EXCHANGE(v2, v4) QV_EXCHANGE(v3, v8) QV_EXCHANGE(v5, v6)
      QV_EXCHANGE(v0, v2) QV_EXCHANGE(v1, v3) QV_EXCHANGE(v4, v5) QV_EXCHANGE(v7, v8)
      QV_EXCHANGE(v1, v4) QV_EXCHANGE(v3, v6) QV_EXCHANGE(v5, v7)
      QV_EXCHANGE(v0, v1) QV_EXCHANGE(v2, v4) QV_EXCHANGE(v3, v5) QV_EXCHANGE(v6, v8)
      QV_EXCHANGE(v2, v3) QV_EXCHANGE(v4, v5) QV_EXCHANGE(v6, v7)
      QV_EXCHANGE(v1, v2) QV_EXCHANGE(v3, v4) QV_EXCHANGE(v5, v6)
#undef QV_EXCHANGE
      out[j] = v3;
    }
  }
}

}  // namespace

void ImageProcessor::MedianFilter(Picture& picture, int16_t length) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    const int32_t n = length;
    if (n < 0) throw err::SubscriptOutOfRange();  // no count of samples ever reaches the rank
    const int32_t m = static_cast<int32_t>(RoundHalfEven(n * n / 2.0));
    const int32_t o = static_cast<int32_t>(RoundHalfEven((n - 1) / 2.0)) + 1;
    if (n == 0 || m == 0) {
      for (int32_t y = 0; y < grid.height; ++y) std::memset(grid.MemoryRow(y), 0, static_cast<size_t>(3) * W);
    } else {
      const int32_t margin = std::max(std::abs(o - 1), std::abs(o - n));
      PaddedCopy copy(grid, margin);
      if (n == 3) {
        FourthOfNine(copy, grid);
      } else {
        RankByHistogram(grid, copy, n, o, m);
      }
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

void ImageProcessor::RemoveFlecs(Picture& picture, int32_t total) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const int32_t W = grid.width, H = grid.height;
  auto sumOf = [](const uint8_t* p) { return p[0] + p[1] + p[2]; };
  // Column by column: pixels filled earlier in this walk count with their new values.
  for (int32_t x = 2; x <= W - 3; ++x) {
    for (int32_t y = 2; y <= H - 3; ++y) {
      uint8_t* p = grid.MemoryRow(y) + 3 * x;
      const int32_t s = sumOf(p);
      if (s != total && s != 0) continue;
      int32_t found = 0;
      int32_t channel[3] = {0, 0, 0};
      for (int32_t dy = -2; dy <= 2; ++dy) {
        const uint8_t* row = grid.MemoryRow(y + dy);
        for (int32_t dx = -2; dx <= 2; ++dx) {
          const uint8_t* q = row + 3 * (x + dx);
          const int32_t t = sumOf(q);
          if (t == total || t == 0) continue;
          ++found;
          for (int32_t c = 0; c < 3; ++c) channel[c] += q[c];
        }
      }
      if (found > 12) {
        for (int32_t c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(RoundHalfEven(double(channel[c]) / found));
      }
    }
  }
}

void ImageProcessor::AddNoise(Picture& picture, int32_t percent, bool random) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    const int32_t amp = static_cast<int32_t>(static_cast<int64_t>(percent) * 128 / 100);
    const int32_t half = amp / 2;
    const uint32_t key = static_cast<uint32_t>(noiseState_ ^ (noiseState_ >> 32));
    const uint32_t perPicture = static_cast<uint32_t>(3 * int64_t{W} * H);
    noiseState_ += perPicture + 1;
    const bool smallAmp = amp >= 0 && amp <= 128;
#ifdef QV_X86
    const bool wide = CpuFeatures().avx2;
#else
    const bool wide = false;
#endif
    std::vector<uint8_t> noisy(static_cast<size_t>(3) * W);
    const uint32_t selectKey = key ^ 0x5BD1E995u;
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      const uint32_t base = static_cast<uint32_t>(3 * int64_t{W} * y);
      uint8_t* out = noisy.data();
      if (smallAmp && wide) {
#ifdef QV_X86
        NoisyRowWide(row, out, 3 * W, key, base, amp, half);
#endif
      } else if (smallAmp) {
        NoisyRow(row, out, 3 * W, key, base, amp, half);
      } else {
        for (int32_t k = 0; k < 3 * W; ++k) {
          const double r = static_cast<double>(NoiseBits(key, base + static_cast<uint32_t>(k)) >> 10) / (1 << 22);
          out[k] = ClampByte(static_cast<int64_t>(RoundHalfEven(r * amp + (row[k] - half))));
        }
      }
      if (!random) {
        std::memcpy(row, out, static_cast<size_t>(3) * W);
        continue;
      }
      for (int32_t x = 0; x < W; ++x) {  // changed only when percent < r x 100
        const uint32_t u = NoiseBits(selectKey, base / 3 + static_cast<uint32_t>(x)) >> 10;
        if (static_cast<int64_t>(percent) * (int64_t{1} << 22) < int64_t{u} * 100) {
          std::memcpy(row + 3 * x, out + 3 * x, 3);
        }
      }
    }
    for (int32_t i = 0; i <= 3 * (W - 1); i += 3) RaiseProgress(i);
  }
  RaiseComplete(start);
}

}  // namespace qv
