// The depth-map members of ImageProcessor: the two forms of a depth map (a byte array and a depth
// image), depth from block motion between two frames, and the clean-up of depth images.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

#include "base/Numbers.h"
#include "imageproc/ImageProcessor.h"

namespace qv {

namespace {

inline uint8_t Median3(uint8_t a, uint8_t b, uint8_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// The whole-number value of a depth-map element, 255 when larger; a negative value does not fit a
// byte and raises the overflow error.
template <typename T>
uint8_t DepthLevel(T value) {
  double v;
  if constexpr (std::is_floating_point_v<T>) {
    v = RoundHalfEven(static_cast<double>(value));
  } else {
    v = static_cast<double>(value);
  }
  if (v > 255.0) return 255;
  return ToByteChecked(v);
}

inline void SetPixel(uint8_t* pixel, uint8_t level) { pixel[0] = pixel[1] = pixel[2] = level; }

// Level of a motion vector of dx byte columns and dy rows.
inline int32_t VectorLength(int32_t dx, int32_t dy) {
  return static_cast<int32_t>(RoundHalfEven(std::sqrt(static_cast<double>(dx) * dx + static_cast<double>(dy) * dy)));
}

// Sum of |picture - previous| over a block of `columns` byte columns and `rows` rows whose corner
// is (bx, by) in the picture and (px, py) in the array.
template <typename T>
int32_t BlockDifference(const PixelGrid& grid, int32_t bx, int32_t by, const Array2D<T>& previous,
                        int32_t px, int32_t py, int32_t columns, int32_t rows) {
  if (!previous.Covers(int64_t{px} + columns - 1, int64_t{py} + rows - 1)) {
    throw err::SubscriptOutOfRange();
  }
  int32_t sum = 0;
  for (int32_t j = 0; j < rows; ++j) {
    const uint8_t* a = grid.MemoryRow(by + j) + bx;
    const T* b = previous.Row(py + j) + px;
    for (int32_t i = 0; i < columns; ++i) sum += std::abs(static_cast<int32_t>(a[i]) - static_cast<int32_t>(b[i]));
  }
  return sum;
}

}  // namespace

// --- The two forms -------------------------------------------------------------------------------

void ImageProcessor::CopyToDepthMap(const Picture& picture, DepthMap& depthMap) {
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  depthMap.ReDim(int64_t{W} + 1, int64_t{H} + 1);
  const PixelGrid grid = picture.ReadGrid();
  if (grid.Empty()) return;
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = grid.MemoryRow(y);
    uint8_t* out = depthMap.Row(y);
    for (int32_t x = 0; x < W; ++x) out[x] = row[3 * x];
  }
}

template <typename T>
void ImageProcessor::CopyFromDepthMap(Picture& picture, const Array2D<T>& depthMap) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    // Column by column, each from the bottom row up, so that a missing or negative element stops
    // the copy with exactly the pixels before it written.
    for (int32_t x = 0; x < W; ++x) {
      for (int32_t y = 0; y < H; ++y) {
        const uint8_t level = DepthLevel(depthMap.At(x, y));
        uint8_t* p = grid.MemoryRow(y) + 3 * x;
        p[0] = p[1] = level;
      }
      RaiseProgress(3 * x);
    }
  }
  RaiseComplete(start);
}

// --- Depth from block motion ---------------------------------------------------------------------

template <typename T>
void ImageProcessor::CreateDepthMap(Picture& picture, const Array2D<T>& previous,
                                    double& totalDifference, int32_t action,
                                    const DepthMap& depthMap) {
  constexpr int32_t kColumns = 30;  // 10 pixels
  constexpr int32_t kRows = 10;
  static constexpr std::array<std::array<int32_t, 2>, 9> kLargeDiamond = {
      {{0, 0}, {-2, 0}, {2, 0}, {-1, 1}, {1, 1}, {0, 2}, {-1, -1}, {1, -1}, {0, -2}}};
  static constexpr std::array<std::array<int32_t, 2>, 4> kSmallDiamond = {
      {{-1, 0}, {1, 0}, {0, 1}, {0, -1}}};

  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  totalDifference = 0.0;
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;

  const int32_t lastColumn = (W / 10 - 1) * kColumns;
  const int32_t lastRow = (H / 10 - 1) * kRows;
  for (int32_t bx = 0; bx <= lastColumn; bx += kColumns) {
    for (int32_t by = 0; by <= lastRow; by += kRows) {
      int32_t best = kRows * kRows * 3 * 255;
      int32_t bestX = bx;
      int32_t bestY = by;
      int32_t sx = 0;  // the step that found the best position
      int32_t sy = 0;
      // Tries (cx + 3 ox, cy + oy); a strictly lower difference becomes the best.
      auto tryPosition = [&](int32_t cx, int32_t cy, int32_t ox, int32_t oy) {
        const int32_t px = cx + 3 * ox;
        const int32_t py = cy + oy;
        if (px < 1 || py < 1 || px >= 3 * W - kColumns || py >= H - kRows) return;
        const int32_t d = BlockDifference(grid, bx, by, previous, px, py, kColumns, kRows);
        if (d < best) {
          best = d;
          bestX = px;
          bestY = py;
          sx = ox;
          sy = oy;
        }
      };
      while (true) {
        const int32_t limit = (sx == 0 && sy == 0) ? 20 : std::max(std::abs(sx), std::abs(sy));
        const int32_t cx = bestX;
        const int32_t cy = bestY;
        for (const auto& [ox, oy] : kLargeDiamond) {
          if (std::abs(ox - sx) <= limit && std::abs(oy - sy) <= limit) tryPosition(cx, cy, ox, oy);
        }
        if (bestX != cx || bestY != cy) continue;
        for (const auto& [ox, oy] : kSmallDiamond) tryPosition(cx, cy, ox, oy);
        break;
      }
      totalDifference += best;

      const int32_t level = std::min(VectorLength(bestX - bx, bestY - by), 255);
      if (action < 0 || action > 2) continue;
      if (action == 0) {
        for (int32_t j = 0; j < kRows; ++j) std::memset(grid.MemoryRow(by + j) + bx, level, kColumns);
        continue;
      }
      // Actions 1 and 2 read the previous depth where the block came from. A map that lacks
      // those elements raises the subscript-range error at the first one, byte columns first.
      const uint8_t quarterLevel = ToByteChecked(0.25 * level);
      const bool covered = depthMap.Covers((bestX + kColumns - 1) / 3, bestY + kRows - 1);
      auto newLevel = [&](int32_t i, int32_t j) -> uint8_t {
        const uint8_t d = covered ? depthMap((bestX + i) / 3, bestY + j) : depthMap.At((bestX + i) / 3, bestY + j);
        return action == 2 ? d : static_cast<uint8_t>(ToByteChecked(0.75 * d) + quarterLevel);
      };
      if (covered) {
        for (int32_t j = 0; j < kRows; ++j) {
          uint8_t* row = grid.MemoryRow(by + j) + bx;
          for (int32_t i = 0; i < kColumns; ++i) row[i] = newLevel(i, j);
        }
      } else {
        for (int32_t i = 0; i < kColumns; ++i) {
          for (int32_t j = 0; j < kRows; ++j) grid.MemoryRow(by + j)[bx + i] = newLevel(i, j);
        }
      }
    }
  }

  // The right-hand column and the top row of blocks (and, in pictures narrower or lower than two
  // blocks, everything) are cleared; the last pixel's green and red bytes are not touched.
  const int32_t clearFrom = std::max(lastColumn, 0);
  const int32_t clearRowsFrom = std::max(lastRow, 0);
  const int32_t clearTo = 3 * W - 3;
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    const int32_t from = y >= clearRowsFrom ? 0 : clearFrom;
    if (from <= clearTo) std::memset(row + from, 0, static_cast<size_t>(clearTo - from + 1));
  }
}

void ImageProcessor::CreateDepthMapEx(Picture& picture) {
  constexpr int32_t kColumns = 18;  // 6 pixels
  constexpr int32_t kRows = 6;
  constexpr int32_t kGoodEnough = kRows * kRows * 3;
  constexpr int32_t kRejected = kRows * kRows * 3 * 20;
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.Grid();
  const PixelArray& previous = arrays_->SharedPixels;
  if (!grid.Empty()) {
    const int32_t lastColumn = (W / 6 - 1) * kColumns;
    const int32_t lastRow = (H / 6 - 1) * kRows;
    for (int32_t bx = 0; bx <= lastColumn; bx += kColumns) {
      for (int32_t by = 0; by <= lastRow; by += kRows) {
        int32_t best = BlockDifference(grid, bx, by, previous, bx, by, kColumns, kRows);
        int32_t bestX = bx;
        int32_t bestY = by;
        auto tryOffset = [&](int32_t ox, int32_t oy) {
          const int32_t px = bx + 3 * ox;
          const int32_t py = by + oy;
          if (px < 1 || py < 1 || px >= 3 * W - kColumns || py >= H - kRows) return;
          const int32_t d = BlockDifference(grid, bx, by, previous, px, py, kColumns, kRows);
          if (d < best) {
            best = d;
            bestX = px;
            bestY = py;
          }
        };
        for (int32_t r = 0; r <= 50; ++r) {
          for (int32_t t = -r; t <= r; ++t) tryOffset(-r, t);
          for (int32_t t = -r; t <= r; ++t) tryOffset(r, t);
          for (int32_t t = -r; t <= r; ++t) tryOffset(t, -r);
          for (int32_t t = -r; t <= r; ++t) tryOffset(t, r);
          if (best < kGoodEnough) break;
        }
        const int32_t length = best >= kRejected ? 0 : VectorLength(bestX - bx, bestY - by);
        const auto level = static_cast<uint8_t>(RoundHalfEven(1.5 * length));
        for (int32_t j = 0; j < kRows; ++j) std::memset(grid.MemoryRow(by + j) + bx, level, kColumns);
      }
    }
  }
  RaiseComplete(start);
}

// --- Clean-up ------------------------------------------------------------------------------------

int16_t ImageProcessor::SmoothDMAP(Picture& picture, int32_t blockSize) {
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.Grid();
  std::vector<uint8_t> blue(grid.Empty() ? 0 : static_cast<size_t>(W) * H);
  std::vector<int32_t> partnerX(static_cast<size_t>(std::max(W, 0)));
  std::vector<int32_t> partnerY(static_cast<size_t>(std::max(H, 0)));
  int32_t s = blockSize;
  do {
    const auto h = static_cast<int32_t>(RoundHalfEven(s / 2.0));
    if (!grid.Empty()) {
      if (s == 0) throw err::DivisionByZero();
      for (int32_t y = 0; y < H; ++y) {
        const uint8_t* row = grid.MemoryRow(y);
        for (int32_t x = 0; x < W; ++x) blue[static_cast<size_t>(y) * W + x] = row[3 * x];
      }
      auto partner = [&](int32_t at, int32_t count) {
        const int32_t p = at % s < h ? at - h : at + h;
        return p > count - 1 || p < 0 ? at : p;
      };
      for (int32_t x = 0; x < W; ++x) partnerX[static_cast<size_t>(x)] = partner(x, W);
      for (int32_t y = 0; y < H; ++y) partnerY[static_cast<size_t>(y)] = partner(y, H);
      for (int32_t y = 0; y < H; ++y) {
        const uint8_t* here = blue.data() + static_cast<size_t>(y) * W;
        const uint8_t* across = blue.data() + static_cast<size_t>(partnerY[static_cast<size_t>(y)]) * W;
        uint8_t* row = grid.MemoryRow(y);
        for (int32_t x = 0; x < W; ++x) {
          SetPixel(row + 3 * x, Median3(here[partnerX[static_cast<size_t>(x)]], across[x], here[x]));
        }
      }
    }
    s = static_cast<int32_t>(RoundHalfEven(s / 2.0));
  } while (s > 1);
  return 0;
}

void ImageProcessor::Dilate(Picture& picture) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  const int32_t first = 3;
  const int32_t last = 3 * W - 6;
  if (!grid.Empty() && H >= 3 && last >= first) {
    const int32_t count = last - first + 1;
    // Largest of each byte and its two horizontal neighbours of the same channel, by row.
    std::vector<uint8_t> across(static_cast<size_t>(count) * H);
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* row = grid.MemoryRow(y);
      uint8_t* out = across.data() + static_cast<size_t>(count) * y;
      for (int32_t b = first; b <= last; ++b) out[b - first] = std::max({row[b - 3], row[b], row[b + 3]});
    }
    for (int32_t y = 1; y <= H - 2; ++y) {
      const uint8_t* below = across.data() + static_cast<size_t>(count) * (y - 1);
      uint8_t* row = grid.MemoryRow(y) + first;
      for (int32_t k = 0; k < count; ++k) row[k] = std::max({below[k], below[k + count], below[k + 2 * count]});
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::DepthMapClean(Picture& picture) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t x = W - 4; x >= 0; --x) {
        const uint8_t* near = row + 3 * x;
        if (near[0] <= near[3]) continue;
        for (int32_t k = 1; k <= 3; ++k) {
          uint8_t* p = row + 3 * (x + k);
          if (p[0] < near[0]) std::memcpy(p, near, 3);
        }
      }
    }
  }
  for (int32_t x3 = 3 * W - 12; x3 >= 0; x3 -= 3) RaiseProgress(x3);
  RaiseComplete(start);
}

void ImageProcessor::TVSCL(Picture& picture) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    int64_t sum = 0;
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = 0; k < 3 * W; ++k) sum += row[k];
    }
    const double divisor = (static_cast<double>(W) - 1.0) * (static_cast<double>(H) - 1.0) * 3.0;
    if (divisor == 0.0) throw sum == 0 ? err::Overflow() : err::DivisionByZero();
    const double factor = 128.0 / (static_cast<double>(sum) / divisor + 1.0);
    std::array<uint8_t, 256> scaled{};
    for (int32_t v = 0; v < 256; ++v) {
      scaled[static_cast<size_t>(v)] = static_cast<uint8_t>(std::min(RoundHalfEven(v * factor), 255.0));
    }
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = 0; k < 3 * W; ++k) row[k] = scaled[row[k]];
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::PaintWhite(Picture& picture, uint8_t level) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    for (int32_t y = 0; y < H; ++y) std::memset(grid.MemoryRow(y), level, static_cast<size_t>(3) * W);
  }
  for (int32_t x = 0; x < W; ++x) RaiseProgress(3 * x);
  RaiseComplete(start);
}

template <typename T>
void ImageProcessor::CreateMask(Picture& picture, const Array2D<T>& image) {
  const uint32_t start = StartTick();
  const int32_t W = picture.Width();
  const int32_t H = picture.Height();
  RaiseInitProgress(W - 1);
  const PixelGrid grid = picture.Grid();
  if (!grid.Empty()) {
    for (int32_t x = 0; x < W; ++x) {
      for (int32_t y = 0; y < H; ++y) {
        uint8_t* p = grid.MemoryRow(y) + 3 * x;
        const int32_t onPicture = p[0] + p[1] + p[2];
        const double onImage = static_cast<double>(image.At(3 * x, y)) + image.At(3 * x + 1, y) +
                               image.At(3 * x + 2, y);
        SetPixel(p, onPicture == 765 && onImage != 765.0 ? 0 : 255);
      }
      RaiseProgress(3 * x);
    }
  }
  RaiseComplete(start);
}

template void ImageProcessor::CopyFromDepthMap(Picture&, const Array2D<uint8_t>&);
template void ImageProcessor::CopyFromDepthMap(Picture&, const Array2D<int32_t>&);
template void ImageProcessor::CopyFromDepthMap(Picture&, const Array2D<double>&);
template void ImageProcessor::CreateDepthMap(Picture&, const Array2D<uint8_t>&, double&, int32_t,
                                             const DepthMap&);
template void ImageProcessor::CreateDepthMap(Picture&, const Array2D<int32_t>&, double&, int32_t,
                                             const DepthMap&);
template void ImageProcessor::CreateMask(Picture&, const Array2D<uint8_t>&);
template void ImageProcessor::CreateMask(Picture&, const Array2D<int32_t>&);

}  // namespace qv
