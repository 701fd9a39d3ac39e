#include "image/Canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "base/CpuFeatures.h"
#include "image/RowGather.h"

namespace qv {

int Canvas::SetStretchMode(int mode) {
  if (mode < BLACKONWHITE || mode > HALFTONE) return 0;
  const int previous = stretchMode_;
  stretchMode_ = mode;
  return previous;
}

namespace {

bool KnownRop(uint32_t rop) {
  return rop == SRCCOPY || rop == SRCPAINT || rop == SRCAND || rop == SRCINVERT;
}

void CombineBytes(uint8_t* dst, const uint8_t* src, size_t n, uint32_t rop) {
  switch (rop) {
    case SRCCOPY: std::memmove(dst, src, n); break;
    case SRCPAINT: for (size_t i = 0; i < n; ++i) dst[i] |= src[i]; break;
    case SRCAND: for (size_t i = 0; i < n; ++i) dst[i] &= src[i]; break;
    case SRCINVERT: for (size_t i = 0; i < n; ++i) dst[i] ^= src[i]; break;
  }
}

void CombinePixel(uint8_t* dst, const uint8_t* src, uint32_t rop) {
  if (rop == SRCCOPY) {
    dst[0] = src[0];
    dst[1] = src[1];
    dst[2] = src[2];
  } else {
    CombineBytes(dst, src, 3, rop);
  }
}

// Source index of destination index i when n source items map onto m destination items: the
// source item under the centre of the destination item.
inline int64_t NearestSource(int64_t i, int64_t n, int64_t m) { return ((2 * i + 1) * n) / (2 * m); }

}  // namespace

bool Blit(Canvas* dst, int32_t x, int32_t y, int32_t w, int32_t h, Canvas* src, int32_t sx, int32_t sy,
            uint32_t rop) {
  if (dst == nullptr || src == nullptr || !KnownRop(rop)) return false;
  const PixelGrid& d = dst->Grid();
  const PixelGrid& s = src->Grid();
  if (d.Empty() || s.Empty()) return false;
  if (w <= 0 || h <= 0) return true;

  int64_t X = x, Y = y, W = w, H = h, SX = sx, SY = sy;
  if (SX < 0) { X -= SX; W += SX; SX = 0; }
  if (SY < 0) { Y -= SY; H += SY; SY = 0; }
  if (X < 0) { SX -= X; W += X; X = 0; }
  if (Y < 0) { SY -= Y; H += Y; Y = 0; }
  W = std::min({W, int64_t{s.width} - SX, int64_t{d.width} - X});
  H = std::min({H, int64_t{s.height} - SY, int64_t{d.height} - Y});
  if (W <= 0 || H <= 0) return true;

  const size_t rowBytes = static_cast<size_t>(3 * W);
  const bool sameGrid = d.bits == s.bits;
  if (!sameGrid && rop == SRCCOPY && X == 0 && SX == 0 && W == d.width && W == s.width &&
      d.stride == s.stride && H == d.height && H == s.height) {
    std::memcpy(d.bits, s.bits, static_cast<size_t>(d.stride) * d.height);
    return true;
  }
  // Within one picture, a copy to lower rows must start from the bottom so that no source row is
  // overwritten before it has been read.
  const bool reverse = sameGrid && Y > SY;
  for (int64_t k = 0; k < H; ++k) {
    const int64_t r = reverse ? H - 1 - k : k;
    uint8_t* dRow = d.DeviceRow(static_cast<int32_t>(Y + r)) + 3 * X;
    const uint8_t* sRow = s.DeviceRow(static_cast<int32_t>(SY + r)) + 3 * SX;
    CombineBytes(dRow, sRow, rowBytes, rop);
  }
  return true;
}

namespace {

// For each destination index in [0, m) that lies inside [0, limitDst) after offset `first`, the
// nearest source index, or -1 when it lies outside the source.
std::vector<int32_t> NearestMap(int64_t first, int64_t m, int64_t srcFirst, int64_t n,
                                int64_t dstLimit, int64_t srcLimit) {
  std::vector<int32_t> map(static_cast<size_t>(m), -1);
  for (int64_t i = 0; i < m; ++i) {
    const int64_t di = first + i;
    if (di < 0 || di >= dstLimit) continue;
    const int64_t si = srcFirst + NearestSource(i, n, m);
    if (si >= 0 && si < srcLimit) map[static_cast<size_t>(i)] = static_cast<int32_t>(si);
  }
  return map;
}

// The plain version: pixel by pixel.
void StretchNearestPlain(const PixelGrid& d, int64_t x, int64_t y, int64_t w, int64_t h,
                         const PixelGrid& s, int64_t sx, int64_t sy, int64_t sw, int64_t sh,
                         uint32_t rop) {
  const std::vector<int32_t> cols = NearestMap(x, w, sx, sw, d.width, s.width);
  const std::vector<int32_t> rows = NearestMap(y, h, sy, sh, d.height, s.height);
  const bool allCols = std::none_of(cols.begin(), cols.end(), [](int32_t c) { return c < 0; });
  const uint8_t* previousSource = nullptr;
  uint8_t* previousDest = nullptr;
  for (int64_t j = 0; j < h; ++j) {
    const int32_t sr = rows[static_cast<size_t>(j)];
    if (sr < 0) continue;
    uint8_t* dRow = d.DeviceRow(static_cast<int32_t>(y + j));
    const uint8_t* sRow = s.DeviceRow(sr);
    if (rop == SRCCOPY && allCols && sRow == previousSource) {
      std::memcpy(dRow + 3 * x, previousDest + 3 * x, static_cast<size_t>(3 * w));
      continue;
    }
    for (int64_t i = 0; i < w; ++i) {
      const int32_t sc = cols[static_cast<size_t>(i)];
      if (sc >= 0) CombinePixel(dRow + 3 * (x + i), sRow + 3 * sc, rop);
    }
    previousSource = sRow;
    previousDest = dRow;
  }
}

// The fast version: row by row. The destination columns that have a source pixel are one run
// (both clippings cut an interval and the source column grows with the destination column), so
// each row is one gather of that run and, for the combining operations, one pass over its bytes.
void StretchNearestRows(const PixelGrid& d, int64_t x, int64_t y, int64_t w, int64_t h,
                        const PixelGrid& s, int64_t sx, int64_t sy, int64_t sw, int64_t sh,
                        uint32_t rop) {
  const std::vector<int32_t> cols = NearestMap(x, w, sx, sw, d.width, s.width);
  const std::vector<int32_t> rows = NearestMap(y, h, sy, sh, d.height, s.height);
  const auto inside = [](int32_t c) { return c >= 0; };
  const auto first = std::find_if(cols.begin(), cols.end(), inside);
  if (first == cols.end()) return;
  const std::vector<int32_t> run(first, std::find_if_not(first, cols.end(), inside));
  const size_t runBytes = 3 * run.size();
  const int64_t runX = x + (first - cols.begin());
  // An unscaled run (a stretch in height only) is a plain copy of source bytes.
  bool unscaled = true;
  for (size_t i = 0; i < run.size(); ++i) unscaled &= run[i] == run[0] + static_cast<int32_t>(i);
  const RowGatherPlan plan(unscaled ? std::vector<int32_t>{} : run, s.width, true);
  std::vector<uint8_t> line(rop == SRCCOPY || unscaled ? 0 : runBytes);

  const uint8_t* previousSource = nullptr;
  const uint8_t* previousDest = nullptr;
  for (int64_t j = 0; j < h; ++j) {
    const int32_t sr = rows[static_cast<size_t>(j)];
    if (sr < 0) continue;
    uint8_t* dest = d.DeviceRow(static_cast<int32_t>(y + j)) + 3 * runX;
    const uint8_t* sRow = s.DeviceRow(sr);
    if (rop == SRCCOPY && sRow == previousSource) {
      std::memcpy(dest, previousDest, runBytes);
    } else if (unscaled) {
      CombineBytes(dest, sRow + 3 * run[0], runBytes, rop);
    } else if (rop == SRCCOPY) {
      plan.Gather(sRow, dest);
    } else {
      plan.Gather(sRow, line.data());
      CombineBytes(dest, line.data(), runBytes, rop);
    }
    previousSource = sRow;
    previousDest = dest;
  }
}

struct Tap {
  int32_t index;
  float weight;
};

// Filter taps of destination index i for HALFTONE: the area average of the source items that its
// footprint covers when shrinking, linear interpolation between the two nearest when enlarging.
std::vector<std::vector<Tap>> SmoothTaps(int64_t m, int64_t srcFirst, int64_t n, int64_t srcLimit) {
  std::vector<std::vector<Tap>> taps(static_cast<size_t>(m));
  const double scale = static_cast<double>(n) / static_cast<double>(m);
  for (int64_t i = 0; i < m; ++i) {
    std::vector<Tap>& t = taps[static_cast<size_t>(i)];
    if (n >= m) {
      const double a = i * scale, b = (i + 1) * scale;
      for (int64_t k = static_cast<int64_t>(std::floor(a)); k < b; ++k) {
        const double cover = std::min<double>(b, k + 1) - std::max<double>(a, k);
        if (cover > 0) t.push_back({static_cast<int32_t>(srcFirst + k), static_cast<float>(cover / scale)});
      }
    } else {
      double p = (i + 0.5) * scale - 0.5;
      p = std::clamp(p, 0.0, static_cast<double>(n - 1));
      const int64_t k = static_cast<int64_t>(std::floor(p));
      const double f = p - k;
      t.push_back({static_cast<int32_t>(srcFirst + k), static_cast<float>(1.0 - f)});
      if (f > 0 && k + 1 < n) t.push_back({static_cast<int32_t>(srcFirst + k + 1), static_cast<float>(f)});
    }
    // Taps outside the source picture are dropped and the rest renormalised.
    float total = 0;
    std::vector<Tap> kept;
    for (const Tap& tap : t) {
      if (tap.index >= 0 && tap.index < srcLimit) {
        kept.push_back(tap);
        total += tap.weight;
      }
    }
    for (Tap& tap : kept) tap.weight /= total;
    t = std::move(kept);
  }
  return taps;
}

void StretchSmooth(const PixelGrid& d, int64_t x, int64_t y, int64_t w, int64_t h,
                   const PixelGrid& s, int64_t sx, int64_t sy, int64_t sw, int64_t sh,
                   uint32_t rop) {
  const auto colTaps = SmoothTaps(w, sx, sw, s.width);
  const auto rowTaps = SmoothTaps(h, sy, sh, s.height);
  std::vector<float> line(static_cast<size_t>(3 * w));
  uint8_t pixel[3];
  for (int64_t j = 0; j < h; ++j) {
    const int64_t dy = y + j;
    if (dy < 0 || dy >= d.height || rowTaps[static_cast<size_t>(j)].empty()) continue;
    std::fill(line.begin(), line.end(), 0.0f);
    for (const Tap& rt : rowTaps[static_cast<size_t>(j)]) {
      const uint8_t* sRow = s.DeviceRow(rt.index);
      for (int64_t i = 0; i < w; ++i) {
        float b = 0, g = 0, r = 0;
        for (const Tap& ct : colTaps[static_cast<size_t>(i)]) {
          const uint8_t* p = sRow + 3 * ct.index;
          b += ct.weight * p[0];
          g += ct.weight * p[1];
          r += ct.weight * p[2];
        }
        line[3 * i] += rt.weight * b;
        line[3 * i + 1] += rt.weight * g;
        line[3 * i + 2] += rt.weight * r;
      }
    }
    uint8_t* dRow = d.DeviceRow(static_cast<int32_t>(dy));
    for (int64_t i = 0; i < w; ++i) {
      const int64_t dx = x + i;
      if (dx < 0 || dx >= d.width || colTaps[static_cast<size_t>(i)].empty()) continue;
      for (int c = 0; c < 3; ++c) {
        pixel[c] = static_cast<uint8_t>(std::clamp(std::lround(line[3 * i + c]), 0L, 255L));
      }
      CombinePixel(dRow + 3 * dx, pixel, rop);
    }
  }
}

}  // namespace

bool Stretch(Canvas* dst, int32_t x, int32_t y, int32_t w, int32_t h, Canvas* src, int32_t sx,
                int32_t sy, int32_t sw, int32_t sh, uint32_t rop) {
  if (dst == nullptr || src == nullptr || !KnownRop(rop)) return false;
  const PixelGrid& d = dst->Grid();
  const PixelGrid& s = src->Grid();
  if (d.Empty() || s.Empty() || w <= 0 || h <= 0 || sw <= 0 || sh <= 0) return false;
  if (w == sw && h == sh) return Blit(dst, x, y, w, h, src, sx, sy, rop);
  if (d.bits == s.bits) return false;  // overlapping stretches within one picture are not supported
  if (dst->StretchMode() == HALFTONE) {
    StretchSmooth(d, x, y, w, h, s, sx, sy, sw, sh, rop);
  } else if (CpuFeatures().vectors) {
    StretchNearestRows(d, x, y, w, h, s, sx, sy, sw, sh, rop);
  } else {
    StretchNearestPlain(d, x, y, w, h, s, sx, sy, sw, sh, rop);
  }
  return true;
}

}  // namespace qv
