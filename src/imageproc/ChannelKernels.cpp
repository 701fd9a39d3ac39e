// The channel and anaglyph kernels of ImageProcessor: channel masks, grey conversions, the red
// and blue exchange, and the repair of pictures taken apart from a red/cyan anaglyph.
#include <cmath>
#include <cstdlib>
#include <utility>

#include "base/Numbers.h"
#include "imageproc/GreyDivision.h"
#include "imageproc/GreyLevels.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/Hls.h"

namespace qv {

namespace {

// Byte (i, y) of a picture's grid: byte column i, memory row y.
inline uint8_t& Byte(const PixelGrid& grid, int32_t i, int32_t y) { return grid.MemoryRow(y)[i]; }

// round((707 green + 71 blue) / 778), halves to even, as the anaglyph repair computes it.
inline int32_t GreenBlueLevel(int32_t green, int32_t blue) {
  return ToInt32Checked((707.0 * green + 71.0 * blue) / 778.0);
}

// The block grid of the anaglyph repair: 16 x 16 pixel blocks from the bottom-left corner, and the
// horizontal search that finds, for each block, the byte offset whose difference is smallest.
struct BlockSearch {
  int32_t W, H;
  int32_t lastBx, lastBy;  // the last block's byte column and row; negative when there is none
  int32_t reach;           // dMax, in pixels

  BlockSearch(int32_t width, int32_t height)
      : W(width), H(height), lastBx((width / 16 - 1) * 48), lastBy((height / 16 - 1) * 16),
        reach(ToInt32Checked(width / 4.0)) {}

  bool Empty() const { return lastBx < 0 || lastBy < 0; }

  // The offset o with the smallest difference(o), starting from `start`; candidates bx +- 3d for
  // d = 0 ... reach, ties keeping the earlier one, stopping after both signs of a d once the best
  // difference is below `goodEnough`.
  template <typename Difference>
  int32_t Best(int32_t bx, int32_t goodEnough, Difference difference) const {
    int64_t best = difference(bx);
    int32_t bestOffset = bx;
    for (int32_t d = 0; d <= reach; ++d) {
      for (int32_t sign = -1; sign <= 1; sign += 2) {
        const int32_t o = bx + 3 * sign * d;
        if (o > 0 && o < 3 * W - 48) {
          const int64_t value = difference(o);
          if (value < best) {
            best = value;
            bestOffset = o;
          }
        }
      }
      if (best < goodEnough) break;
    }
    return bestOffset;
  }
};

void RequireSameSize(const Picture& picture, int32_t W, int32_t H) {
  if (picture.Width() < W || picture.Height() < H || picture.Bits() == nullptr) {
    throw err::SubscriptOutOfRange();
  }
}

void RequireSharedPixels(const PixelArray& shared, int32_t W, int32_t H) {
  if (!shared.Covers(3 * int64_t{W} - 1, H - 1)) throw err::SubscriptOutOfRange();
}

}  // namespace

void ImageProcessor::ColourMask(Picture& picture, uint8_t blueMask, uint8_t greenMask,
                                  uint8_t redMask) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  // Every pixel on its own: the order of the walk does not show.
  for (int32_t y = 0; y < grid.height; ++y) {
    uint8_t* p = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x, p += 3) {
      p[0] = static_cast<uint8_t>(p[0] * blueMask);
      p[1] = static_cast<uint8_t>(p[1] * greenMask);
      p[2] = static_cast<uint8_t>(p[2] * redMask);
    }
  }
}

void ImageProcessor::GrayScale(Picture& picture, int32_t divisor) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  // A divisor of 0 gives no number: the first pixel fails, before anything is written.
  if (divisor == 0) throw err::DivisionByZero();

  const GreyDivision division(divisor);

  // The walk goes x outer and stops at the first failing pixel with the pixels before it grey.
  // Every pixel depends on itself only, so find that pixel first and convert the ones before it
  // row by row.
  int32_t stopX = grid.width;
  int32_t stopY = 0;
  if (division.LargestSum() < 765) {
    for (int32_t y = 0; y < grid.height; ++y) {
      const int32_t x = division.FirstFailing(grid.MemoryRow(y), stopX);
      if (x < stopX) {
        stopX = x;
        stopY = y;
      }
    }
  }
  for (int32_t y = 0; y < grid.height; ++y) {
    const int32_t end = (stopX < grid.width && y < stopY) ? stopX + 1 : stopX;
    division.GreyRow(grid.MemoryRow(y), end);
  }
  if (stopX < grid.width) throw err::Overflow();
}

void ImageProcessor::GrayScaleStand(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  for (int32_t y = 0; y < grid.height; ++y) {
    uint8_t* p = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x, p += 3) p[0] = p[1] = p[2] = StandardLevel(p[0], p[1], p[2]);
  }
}

void ImageProcessor::SwapRedBlue(Picture& picture) {
  const uint32_t start = StartTick();
  const PixelGrid grid = picture.Grid();
  const int32_t W = picture.Width();
  RaiseInitProgress(W - 1);
  if (!grid.Empty()) {
    if (Events.Progress) {
      // A listener sees the picture column by column, as the walk goes.
      for (int32_t x = 0; x < W; ++x) {
        for (int32_t y = 0; y < grid.height; ++y) std::swap(Byte(grid, 3 * x, y), Byte(grid, 3 * x + 2, y));
        RaiseProgress(3 * x);
      }
    } else {
      for (int32_t y = 0; y < grid.height; ++y) {
        uint8_t* p = grid.MemoryRow(y);
        for (int32_t x = 0; x < W; ++x, p += 3) std::swap(p[0], p[2]);
      }
    }
  }
  RaiseComplete(start);
}

bool ImageProcessor::CheckForGreenBlue(const Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return false;
  for (int32_t y = 0; y < grid.height; ++y) {
    const uint8_t* p = grid.MemoryRow(y);
    for (int32_t x = 0; x < grid.width; ++x, p += 3) {
      if (p[0] > 0 || p[1] > 0) return true;
    }
  }
  return false;
}

void ImageProcessor::RemoveAnaglyphHues(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  const int32_t W = grid.width;
  const int32_t H = grid.height;
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* p = grid.MemoryRow(y);
    for (int32_t x = 0; x < W; ++x, p += 3) {
      float h, s, l;
      RGBToHLS(p[2], p[1], p[0], h, s, l);
      const bool reddish = h > -0.7f && h < 0.7f;
      const bool cyanish = h > 2.6f && h < 3.4f;
      if (reddish || cyanish) {
        p[0] = p[1] = p[2] = 0;
      } else {
        // No kept pixel has a blue byte of 0, so that 0 marks the holes.
        p[0] |= 1;
        p[1] |= 1;
        p[2] |= 1;
      }
    }
  }
  // Holes are filled from the five pixels to their right on three rows, right to left, so that
  // pixels filled earlier count with their new values.
  for (int32_t i = 3 * W - 18; i >= 3; i -= 3) {
    for (int32_t y = 1; y <= H - 2; ++y) {
      if (Byte(grid, i, y) != 0) continue;
      for (int32_t c = 0; c < 3; ++c) {
        int32_t sum = 0;
        for (int32_t row = y - 1; row <= y + 1; ++row) {
          for (int32_t k = 3; k <= 15; k += 3) sum += Byte(grid, i + k + c, row);
        }
        Byte(grid, i + c, y) = ToByteChecked(sum / 15.0);
      }
    }
  }
}

void ImageProcessor::ColourFromImage(Picture& picture) {
  const PixelGrid grid = picture.Grid();
  if (grid.Empty()) return;
  RequireSharedPixels(arrays_->SharedPixels, grid.width, grid.height);
  const PixelArray& shared = arrays_->SharedPixels;
  for (int32_t x = 0; x < grid.width; ++x) {
    const int32_t i = 3 * x;
    for (int32_t y = 0; y < grid.height; ++y) {
      float h, s, l, ignoredH, ignoredS, ignoredL;
      RGBToHLS(Byte(grid, i + 2, y), Byte(grid, i + 1, y), Byte(grid, i, y), ignoredH, ignoredS, l);
      RGBToHLS(shared(i + 2, y), shared(i + 1, y), shared(i, y), h, s, ignoredL);
      int32_t r, g, b;
      HLSToRGB(h, s, l, r, g, b);
      Byte(grid, i + 2, y) = StoreByte(r);
      Byte(grid, i + 1, y) = StoreByte(g);
      Byte(grid, i, y) = StoreByte(b);
    }
  }
}

void ImageProcessor::CorrectAnaglyph(Picture& picture, const PixelArray& values) {
  (void)values;  // accepted for the callers' sake; the other picture is the one in SharedPixels
  const PixelGrid grid = picture.Grid();
  const BlockSearch blocks(picture.Width(), picture.Height());
  if (grid.Empty() || blocks.Empty()) return;
  RequireSharedPixels(arrays_->SharedPixels, grid.width, grid.height);
  const PixelArray& shared = arrays_->SharedPixels;
  for (int32_t bx = 0; bx <= blocks.lastBx; bx += 48) {
    for (int32_t by = 0; by <= blocks.lastBy; by += 16) {
      const int32_t ob = blocks.Best(bx, 4000, [&](int32_t o) {
        int64_t total = 0;
        for (int32_t k = 0; k <= 45; k += 3) {
          for (int32_t j = 0; j < 16; ++j) {
            total += std::abs(Byte(grid, bx + k + 1, by + j) - shared(o + k + 1, by + j)) +
                     std::abs(Byte(grid, bx + k, by + j) - shared(o + k, by + j));
          }
        }
        return total;
      });
      for (int32_t k = 0; k <= 45; k += 3) {
        for (int32_t j = 0; j < 16; ++j) {
          const int32_t G = Byte(grid, bx + k + 1, by + j);
          const int32_t B = Byte(grid, bx + k, by + j);
          float h, s, l1, ignoredH, ignoredS, lg;
          RGBToHLS(shared(ob + k + 2, by + j), G, B, h, s, l1);
          const int32_t g = GreenBlueLevel(G, B);
          RGBToHLS(g, g, g, ignoredH, ignoredS, lg);
          float l = static_cast<float>(lg + std::pow(1.0 - lg, 6.0) * l1);
          if (l > l1) l = l1;
          int32_t r, gOut, bOut;
          HLSToRGB(h, s, l, r, gOut, bOut);
          Byte(grid, bx + k + 2, by + j) = StoreByte(r);
        }
      }
    }
  }
}

void ImageProcessor::CorrectAnaglyphGrad(const Picture& leftView, const Picture& rightView,
                                           Picture& leftImage, Picture& rightImage) {
  const BlockSearch blocks(leftView.Width(), leftView.Height());
  if (leftView.Bits() == nullptr || blocks.Empty()) return;
  for (const Picture* picture : {&rightView, static_cast<const Picture*>(&leftImage),
                                     static_cast<const Picture*>(&rightImage)}) {
    RequireSameSize(*picture, blocks.W, blocks.H);
  }
  const PixelGrid left = leftView.Grid();
  const PixelGrid right = rightView.Grid();
  const PixelGrid imgLeft = leftImage.Grid();
  const PixelGrid imgRight = rightImage.Grid();
  auto blueDifference = [](const PixelGrid& a, int32_t aOffset, const PixelGrid& b, int32_t bOffset,
                           int32_t by) {
    int64_t total = 0;
    for (int32_t k = 0; k <= 45; k += 3) {
      for (int32_t j = 0; j < 16; ++j) total += std::abs(Byte(a, aOffset + k, by + j) - Byte(b, bOffset + k, by + j));
    }
    return total;
  };

  // Pass 1: the red of the right view, from the left view's red where the blocks match.
  for (int32_t bx = 0; bx <= blocks.lastBx; bx += 48) {
    for (int32_t by = 0; by <= blocks.lastBy; by += 16) {
      const int32_t ob = blocks.Best(bx, 500, [&](int32_t o) { return blueDifference(left, o, right, bx, by); });
      for (int32_t k = 0; k <= 45; k += 3) {
        for (int32_t j = 0; j < 16; ++j) {
          const int32_t G = Byte(imgRight, bx + k + 1, by + j);
          const int32_t B = Byte(imgRight, bx + k, by + j);
          float h, s, l, ignoredH, ignoredS, lg;
          RGBToHLS(Byte(imgLeft, ob + k + 2, by + j), G, B, h, s, l);
          const int32_t g = GreenBlueLevel(G, B);
          RGBToHLS(g, g, g, ignoredH, ignoredS, lg);
          int32_t r, gOut, bOut;
          HLSToRGB(h, s, lg, r, gOut, bOut);
          Byte(imgRight, bx + k + 2, by + j) = StoreByte(r);
        }
      }
    }
  }
  // Pass 2: the green and blue of the left view, from the right view's where the blocks match.
  for (int32_t bx = 0; bx <= blocks.lastBx; bx += 48) {
    for (int32_t by = 0; by <= blocks.lastBy; by += 16) {
      const int32_t ob = blocks.Best(bx, 500, [&](int32_t o) { return blueDifference(left, bx, right, o, by); });
      for (int32_t k = 0; k <= 45; k += 3) {
        for (int32_t j = 0; j < 16; ++j) {
          const int32_t R = Byte(imgLeft, bx + k + 2, by + j);
          float h, s, l, ignoredH, ignoredS, lr;
          RGBToHLS(R, Byte(imgRight, ob + k + 1, by + j), Byte(imgRight, ob + k, by + j), h, s, l);
          RGBToHLS(R, R, R, ignoredH, ignoredS, lr);
          int32_t rOut, g, b;
          HLSToRGB(h, s, lr, rOut, g, b);
          Byte(imgLeft, bx + k + 1, by + j) = StoreByte(g);
          Byte(imgLeft, bx + k, by + j) = StoreByte(b);
        }
      }
    }
  }
}

}  // namespace qv
