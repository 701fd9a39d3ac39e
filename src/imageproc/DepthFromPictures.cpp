// The depth members of ImageProcessor that work from pictures alone: block motion between two
// frames and the depth it gives, the sky border and region segmentation of a single picture, and
// the disparity between the two views of a stereo pair. The other picture is always SharedPixels.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "imageproc/Hls.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/KernelSupport.h"

namespace qv {

using kernels::Quotient;
using kernels::RequireCovers;

namespace {

// Sum of |picture byte - array element| over `columns` byte columns and `rows` rows, the picture
// block at (pictureColumn, row) and the array block at (arrayColumn, arrayRow).
int64_t BlockDifference(const PixelGrid& grid, int32_t pictureColumn, int32_t row, const PixelArray& p,
                        int32_t arrayColumn, int32_t arrayRow, int32_t columns, int32_t rows) {
  int64_t sum = 0;
  for (int32_t j = 0; j < rows; ++j) {
    const uint8_t* a = grid.MemoryRow(row + j) + pictureColumn;
    const int32_t* b = p.Row(arrayRow + j) + arrayColumn;
    for (int32_t i = 0; i < columns; ++i) sum += std::abs(static_cast<int64_t>(a[i]) - b[i]);
  }
  return sum;
}

// Channel-sum distance of two pixels given by their first bytes.
template <typename A, typename B>
int64_t Distance(const A* a, const B* b) {
  return std::abs(int64_t{a[0]} - int64_t{b[0]}) + std::abs(int64_t{a[1]} - int64_t{b[1]}) +
         std::abs(int64_t{a[2]} - int64_t{b[2]});
}

// The row at which a bright sky gives way to darker ground: passes with the fractions 2/4, 3/4
// and 4/4 of the top row's mean lightness, a running mean carried from row to row (and from pass to
// pass); the middle row when no pass finds a border above row 0.
int32_t SkyBorder(const PixelGrid& grid) {
  const int32_t W = grid.width, H = grid.height;
  std::vector<float> lightness(static_cast<size_t>(W) * H);
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < W; ++x) {
      float h, s, l;
      RGBToHLS(row[3 * x + 2], row[3 * x + 1], row[3 * x], h, s, l);
      lightness[static_cast<size_t>(y) * W + x] = l;
    }
  }
  double running = 0.0;
  int32_t border = 0;
  for (int32_t m = 2; m <= 4; ++m) {
    border = 0;
    double top = 0.0;
    for (int32_t y = H - 1; y >= 0; --y) {
      const float* l = lightness.data() + static_cast<size_t>(y) * W;
      for (int32_t x = 0; x < W; ++x) running += l[x];
      running = Quotient(running, W - 1);
      if (y == H - 1) top = running;
      if (m * top / 4.0 > running) {
        border = y;
        break;
      }
    }
    if (border > 0) return border;
  }
  return static_cast<int32_t>(RoundHalfEven((H - 1) / 2.0));
}

}  // namespace

// --- Motion depth ---------------------------------------------------------------------------------

void ImageProcessor::GetBlockMove(const Picture& picture, int32_t& diffTotal) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.ReadGrid();
  const int32_t W = picture.Width(), H = picture.Height();
  Array3D<int32_t>& field = arrays_->MotionField;
  field.ReDim(W / 8, H / 8, 2);
  diffTotal = 0;
  const PixelArray& p = arrays_->SharedPixels;
  RequireCovers(p, 3 * int64_t{W} - 1, H - 1);
  for (int32_t bx = 0; bx <= (W / 8 - 1) * 24; bx += 24) {
    for (int32_t by = 0; by <= (H / 8 - 1) * 8; by += 8) {
      int64_t best = BlockDifference(grid, bx, by, p, bx, by, 22, 8);
      int32_t bestColumn = bx, bestRow = by;
      for (int32_t s : {7, 5, 3, 1}) {
        if (best < 400) break;
        const int32_t centreColumn = bestColumn, centreRow = bestRow;
        for (int32_t sx = -1; sx <= 1; ++sx) {
          for (int32_t sy = -1; sy <= 1; ++sy) {
            const int32_t column = centreColumn + 3 * s * sx, row = centreRow + s * sy;
            if (column <= 0 || column >= 3 * W - 22 || row <= 0 || row >= H - 8) continue;
            const int64_t d = BlockDifference(grid, bx, by, p, column, row, 22, 8);
            if (d < best) {
              best = d;
              bestColumn = column;
              bestRow = row;
            }
          }
        }
      }
      field(bx / 24, by / 8, 0) = bestColumn;
      field(bx / 24, by / 8, 1) = bestRow;
      diffTotal = CheckedAdd(diffTotal, best);
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::UpdateDepth(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  const Array3D<int32_t>& field = arrays_->MotionField;
  const PixelArray& p = arrays_->SharedPixels;
  for (int32_t bx = 0; bx <= (W / 8 - 1) * 24; bx += 24) {
    for (int32_t by = 0; by <= (H / 8 - 1) * 8; by += 8) {
      const int32_t mx = field.At(bx / 24, by / 8, 0), my = field.At(bx / 24, by / 8, 1);
      for (int32_t i = 0; i <= 21; i += 3) {
        for (int32_t j = 0; j < 8; ++j) {
          for (int32_t c = 0; c < 3; ++c) {
            grid.MemoryRow(by + j)[bx + i + c] = kernels::Low8(p.At(mx + i + c, my + j));
          }
        }
      }
    }
  }
}

void ImageProcessor::GetMotionDepthMap(Picture& picture, int16_t refresh) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const int32_t W = grid.width, H = grid.height;
  const Array3D<int32_t>& field = arrays_->MotionField;
  std::vector<int32_t> length(static_cast<size_t>(W) * H, 0);
  std::array<int32_t, 64> histogram{};
  int32_t longest = 0;
  for (int32_t x = 0; x <= (W / 8 - 1) * 8; x += 8) {
    for (int32_t y = 0; y <= (H / 8 - 1) * 8; y += 8) {
      const int32_t px = ToInt32Checked(field.At(x / 8, y / 8, 0) / 3.0);
      const int32_t py = field.At(x / 8, y / 8, 1);
      const double dx = px - x, dy = py - y;
      const int32_t m = ToInt32Checked(std::sqrt(dx * dx + dy * dy));
      for (int32_t j = 0; j < 8; ++j) {
        std::fill_n(length.begin() + static_cast<ptrdiff_t>(y + j) * W + x, 8, m);
      }
      longest = std::max(longest, m);
      ++histogram[static_cast<size_t>(std::min(m, 63))];
    }
  }
  const int32_t dominant =
      static_cast<int32_t>(std::max_element(histogram.begin(), histogram.end()) - histogram.begin());
  const double scale = static_cast<float>(255.0 / 23.0);
  const double weight = static_cast<float>(300.0 / (longest + 1.0));
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t x = 0; x < W; ++x) {
      const int32_t away = std::abs(length[static_cast<size_t>(y) * W + x] - dominant);
      const double level = std::min(RoundHalfEven(away * scale), 255.0);
      for (int32_t c = 0; c < 3; ++c) {
        uint8_t& v = row[3 * x + c];
        v = refresh >= 3 ? ToByteChecked((v * weight + level) / (weight + 1.0))
                         : ToByteChecked(level / weight);
      }
    }
  }
}

// --- Sky border and regions -----------------------------------------------------------------------

void ImageProcessor::FindSkyBorder(Picture& picture, int32_t& borderRow, bool enhanced) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (grid.Empty()) {
    RaiseComplete(start);
    return;
  }
  borderRow = SkyBorder(grid);
  const int32_t border = borderRow;
  for (int32_t y = H - 1; y >= 0; --y) {
    const uint8_t level =
        y <= border ? ToByteChecked(255.0 - Quotient(255.0, border) * y) : uint8_t{0};
    std::fill_n(grid.MemoryRow(y), 3 * W, level);
  }
  if (enhanced) {
    const PixelArray& p = arrays_->SharedPixels;
    RequireCovers(p, 3 * int64_t{W} - 1, H - 1);
    const int32_t last = 3 * (W - 1);
    // Colour step at byte column b >= 6 of row y: the change from the pixel two to the left.
    auto step = [&p](int32_t b, int32_t y) {
      const int32_t* r = p.Row(y);
      return std::abs(int64_t{r[b + 1]} - r[b - 5]) + std::abs(int64_t{r[b + 2]} - r[b - 4]) +
             std::abs(int64_t{r[b]} - r[b - 6]);
    };
    auto paint = [&](double left, double right, int32_t y) {
      uint8_t* row = grid.MemoryRow(y);
      for (int32_t k = static_cast<int32_t>(RoundHalfEven(left)); k <= RoundHalfEven(right) + 2; ++k) row[k] = 230;
    };
    auto bounds = [last](double left, double right, int32_t& lo, int32_t& hi) {
      lo = left - 12 > 6 ? static_cast<int32_t>(RoundHalfEven(left - 12)) : 6;
      hi = right + 12 < last ? static_cast<int32_t>(RoundHalfEven(right + 12)) : last;
    };

    // Objects crossing the top edge, followed down the picture.
    bool inside = false;
    double left = 0, right = 0;
    for (int32_t b = 6; b <= last; b += 3) {
      int64_t g = step(b, H - 1);
      if (g > 100 && !inside) {
        left = b;
        b += 9;
        inside = true;
        g = 0;
      }
      if (inside && b == last) g = 10000;
      if (!inside || g <= 100) continue;
      if (g != 10000) {
        right = b;
      } else if (last / 2.0 <= left) {
        right = last;
      } else {
        right = left;
        left = 0;
      }
      inside = false;
      for (int32_t y = H - 1; y >= 0; --y) {
        int32_t lo, hi;
        bounds(left, right, lo, hi);
        double newLeft = last, newRight = 0;
        for (int32_t k = lo; k <= hi; k += 3) {
          if (step(k, y) > 20) {
            newLeft = k;
            break;
          }
        }
        if (hi >= last) {
          newRight = last;
        } else {
          for (int32_t k = hi; k >= lo; k -= 3) {
            if (step(k, y) > 20) {
              newRight = k;
              break;
            }
          }
        }
        left = newLeft;
        right = newRight;
        if (right <= left) break;
        paint(left, right, y);
      }
    }

    // Objects crossing the bottom edge, followed up the picture.
    inside = false;
    for (int32_t b = 9; b <= last; b += 3) {
      int64_t g = step(b, 0);
      if (g > 60 && !inside) {
        left = b;
        b += 603;
        inside = true;
        g = 0;
      }
      if (inside && b == last) g = 10000;
      if (!inside || g <= 60) continue;
      right = g != 10000 ? b : last;
      inside = false;
      for (int32_t y = 0; y < H; ++y) {
        int32_t lo, hi;
        bounds(left, right, lo, hi);
        double newLeft = last, newRight = 0;
        const int32_t mid = static_cast<int32_t>(RoundHalfEven((hi + lo) / 2.0));
        int64_t best = 0;
        for (int32_t k = lo; k <= mid; k += 3) {
          const int64_t score = step(k, y) - std::abs(lo - k);
          if (score > 20 && score > best) {
            best = score;
            newLeft = k;
          }
        }
        if (hi < last) {
          best = 0;
          for (int32_t k = hi; k >= mid; k -= 3) {
            const int64_t score = step(k, y) - std::abs(hi - k);
            if (score > 20 && score > best) {
              best = score;
              newRight = k;
            }
          }
        } else {
          newRight = last;
        }
        left = newLeft;
        right = newRight;
        if (right <= left) break;
        paint(left, right, y);
      }
      b += 15;  // on with b + 18 after the closing position
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::FindRegions(Picture& picture, bool& workedWell, int16_t kind) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width(), H = picture.Height();
  RaiseInitProgress(W - 1);
  if (grid.Empty()) {
    RaiseComplete(start);
    return;
  }
  const int32_t border = SkyBorder(grid);
  const PixelArray& p = arrays_->SharedPixels;
  RequireCovers(p, 3 * int64_t{W} - 1, H - 1);
  auto pixel = [&grid](int32_t x, int32_t y) { return grid.MemoryRow(y) + 3 * x; };
  auto original = [&p](int32_t x, int32_t y) { return p.Row(y) + 3 * x; };
  auto halfRounded = [](int64_t d) { return static_cast<int64_t>(RoundHalfEven(d / 2.0)); };

  // Row flattening: distances from the picture as it came in, copies within the changing one.
  for (int32_t y = 0; y <= H - 3; ++y) {
    bool afterEdge = true;
    for (int32_t x = 0; 3 * x <= 3 * W - 12; ++x) {
      const int64_t d1 = Distance(original(x, y), original(x + 1, y));
      const int64_t d2 = halfRounded(Distance(original(x, y), original(x + 2, y)));
      if (d1 >= 50 && d2 >= 50) {
        afterEdge = true;
        continue;
      }
      int32_t source = y;
      if (y >= 2 && afterEdge) {
        const int64_t e1 = Distance(original(x + 1, y - 1), original(x + 1, y));
        const int64_t e2 = halfRounded(Distance(original(x + 1, y - 2), original(x + 1, y)));
        if (e1 < 70 || e2 < 70) source = y - 1;
      }
      if (source == y) {
        std::copy_n(pixel(x, y), 3, pixel(x + 1, y));
      } else {
        const uint8_t* below = pixel(x + 1, y - 1);
        std::copy_n(below, 3, pixel(x, y));
        std::copy_n(below, 3, pixel(x + 1, y));
      }
      afterEdge = false;
    }
  }
  // Vertical gaps of up to 19 rows, then horizontal ones of up to 3 pixels.
  for (int32_t x = 0; x < W; ++x) {
    for (int32_t y = 0; y <= H - 21; ++y) {
      if (Distance(pixel(x, y), pixel(x, y + 20)) < 70) {
        for (int32_t k = 1; k <= 19; ++k) std::copy_n(pixel(x, y), 3, pixel(x, y + k));
      }
    }
  }
  for (int32_t x = 0; 3 * x <= 3 * W - 15; ++x) {
    for (int32_t y = 0; y < H; ++y) {
      if (Distance(pixel(x, y), pixel(x + 4, y)) < 50) {
        for (int32_t k = 1; k <= 4; ++k) std::copy_n(pixel(x, y), 3, pixel(x + k, y));
      }
    }
  }
  // Mean colours of the ground (rows below the border) and the sky.
  std::array<int64_t, 3> groundSum{}, skySum{};
  int64_t groundCount = 0, skyCount = 0;
  for (int32_t y = 0; y < H; ++y) {
    for (int32_t x = 0; x < W; ++x) {
      const uint8_t* q = pixel(x, y);
      auto& sum = y < border ? groundSum : skySum;
      for (size_t c = 0; c < 3; ++c) sum[c] += q[c];
      ++(y < border ? groundCount : skyCount);
    }
  }
  std::array<int64_t, 3> ground{}, sky{};
  for (size_t c = 0; c < 3; ++c) {
    ground[c] = static_cast<int64_t>(RoundHalfEven(Quotient(static_cast<double>(groundSum[c]), groundCount)));
    sky[c] = static_cast<int64_t>(RoundHalfEven(Quotient(static_cast<double>(skySum[c]), skyCount)));
  }
  double groundScale = 0, skyScale = 0;
  for (int32_t y = 0; y < H; ++y) {
    for (int32_t x = 0; x < W; ++x) {
      groundScale = std::max(groundScale, static_cast<double>(Distance(pixel(x, y), ground.data())));
      skyScale = std::max(skyScale, static_cast<double>(Distance(pixel(x, y), sky.data())));
    }
  }
  groundScale /= 125.0;
  skyScale /= 125.0;
  int64_t widest = 0;
  for (int32_t y = 0; y < H; ++y) {
    int32_t v = 0;
    for (int32_t x = 0; x < W; ++x) {
      uint8_t* q = pixel(x, y);
      const double toSky = static_cast<double>(Distance(q, sky.data()));
      const double toGround = static_cast<double>(Distance(q, ground.data()));
      if (kind == 1) {
        v = ToInt32Checked(Quotient(toSky, skyScale) + 125.0 - Quotient(toGround, groundScale));
      } else if (kind == 2) {
        v = ToInt32Checked(2.0 * Quotient(toSky, skyScale));
      }
      q[0] = q[1] = q[2] = StoreByte(v);
      widest = std::max<int64_t>(widest, std::abs(int64_t{v} - 125));
    }
  }
  workedWell = widest >= 60;
  RaiseComplete(start);
}

// --- Depth from a stereo pair ---------------------------------------------------------------------

namespace {

// The block search of CreateDepthMapFromStereo over rows of the other view held as T (bytes when
// every element fits one, else the 32-bit elements themselves).
template <typename T>
void MatchBlocks(const PixelGrid& grid, const std::vector<const T*>& other, int32_t W, int32_t H) {
  constexpr int32_t kColumns = 48, kRows = 16;
  // Byte differences of one block row fit 32 bits, and sum into a SAD instruction.
  using Sum = std::conditional_t<std::is_same_v<T, uint8_t>, int32_t, int64_t>;
  const int32_t blockColumns = W / 16, blockRows = H / 16;
  const int32_t lastCandidate = 3 * W - kColumns - 1;  // candidates lie in 1 ... 3W - 49
#pragma omp parallel for schedule(dynamic)
  for (int32_t blockRow = 0; blockRow < blockRows; ++blockRow) {
    const int32_t by = blockRow * kRows;
    std::array<uint8_t, kColumns * kRows> block;
    for (int32_t blockColumn = 0; blockColumn < blockColumns; ++blockColumn) {
      const int32_t bx = blockColumn * kColumns;
      for (int32_t j = 0; j < kRows; ++j) {
        std::copy_n(grid.MemoryRow(by + j) + bx, kColumns, block.data() + j * kColumns);
      }
      // The sum at `column`, given up once it can no longer beat `best`.
      auto difference = [&](int32_t column, int64_t best) {
        int64_t sum = 0;
        for (int32_t j = 0; j < kRows && sum < best; ++j) {
          const uint8_t* a = block.data() + j * kColumns;
          const T* b = other[static_cast<size_t>(by + j)] + column;
          Sum rowSum = 0;
          for (int32_t i = 0; i < kColumns; ++i) rowSum += std::abs(Sum{a[i]} - static_cast<Sum>(b[i]));
          sum += rowSum;
        }
        return sum;
      };
      int64_t best = difference(bx, INT64_MAX);
      int32_t bestColumn = bx;
      // d from -W to W; the zero disparity, tried first, keeps ties, then the leftmost.
      for (int32_t d = std::max(-W, -(bx / 3)); d <= W; ++d) {
        const int32_t column = bx + 3 * d;
        if (column <= 0) continue;
        if (column > lastCandidate) break;
        const int64_t s = difference(column, best);
        if (s < best) {
          best = s;
          bestColumn = column;
        }
      }
      const uint8_t level = kernels::ClampByte(bx - bestColumn + 128);
      for (int32_t j = 0; j < kRows; ++j) std::fill_n(grid.MemoryRow(by + j) + bx, kColumns, level);
    }
  }
}

}  // namespace

void ImageProcessor::CreateDepthMapFromStereo(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const int32_t W = grid.width, H = grid.height;
  if (W < 16 || H < 16) return;
  const PixelArray& p = arrays_->SharedPixels;
  RequireCovers(p, 3 * int64_t{W} - 1, H - 1);
  const bool bytes = std::all_of(p.Data(), p.Data() + static_cast<size_t>(p.Cols()) * p.Rows(),
                                 [](int32_t v) { return v >= 0 && v <= 255; });
  if (bytes) {
    std::vector<uint8_t> copy(static_cast<size_t>(3) * W * H);
    std::vector<const uint8_t*> rows(static_cast<size_t>(H));
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* out = copy.data() + static_cast<size_t>(3) * W * y;
      std::copy_n(p.Row(y), 3 * W, out);
      rows[static_cast<size_t>(y)] = out;
    }
    MatchBlocks(grid, rows, W, H);
  } else {
    std::vector<const int32_t*> rows(static_cast<size_t>(H));
    for (int32_t y = 0; y < H; ++y) rows[static_cast<size_t>(y)] = p.Row(y);
    MatchBlocks(grid, rows, W, H);
  }
}

}  // namespace qv
