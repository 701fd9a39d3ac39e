// The other eye's view from a picture and its depth image (Make3D), and the alignment of a depth
// image to the edges of its picture (MatchDepthMap, MatchAreas).

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/Numbers.h"
#include "imageproc/ImageProcessor.h"
#include "imageproc/SoftenKernel.h"

namespace qv {

namespace {

constexpr double kTiny = 1e-7;  // keeps every division defined: empty targets resolve to 0

// A frame-sized array of single-precision values, `perPixel` of them for each pixel.
struct FloatPlane {
  FloatPlane(int32_t width, int32_t height, int32_t perPixel)
      : stride(static_cast<size_t>(width) * perPixel), values(stride * height, 0.0f) {}
  float& operator()(int32_t i, int32_t y) { return values[i + stride * y]; }
  size_t stride;
  std::vector<float> values;
};

// (v1 + v2) in double precision, stored in single precision: the working arrays are single.
inline float Add(float sum, double v) { return static_cast<float>(static_cast<double>(sum) + v); }

}  // namespace

void ImageProcessor::Make3D(Picture& view, double shiftPerLevel, double perspective,
                            int16_t frameShift, int32_t xInterp) {
  const int32_t W = view.Width();
  const int32_t H = view.Height();
  const PixelGrid grid = view.Grid();
  if (grid.Empty()) return;
  const PixelArray& colours = arrays_->SharedPixels;
  const PixelArray& depths = arrays_->DepthPixels;
  if (!colours.Covers(3 * int64_t{W} - 1, H - 1) || !depths.Covers(3 * int64_t{W} - 1, H - 1)) {
    throw err::SubscriptOutOfRange();
  }

  // The weights are the same for the three channels of a pixel and are kept once a pixel.
  FloatPlane frontSum(W, H, 3), frontWeight(W, H, 1);  // what nearer pixels overwrite
  FloatPlane backSum(W, H, 3), backWeight(W, H, 1);    // the first arrival: the background
  FloatPlane distance(W, H, 1), distanceWeight(W, H, 1);
  FloatPlane outSum(W, H, 3), outWeight(W, H, 1);

  // 1. Forward mapping, left to right: a nearer pixel moves less to the right than a farther one
  // to its left, lands later on the same target and covers it in the front layer.
  for (int32_t x3 = 0; x3 <= 3 * W - 6; x3 += 3) {
    for (int32_t y = 0; y < H; ++y) {
      const double d = 255.0 - depths(x3, y);
      const double divisor = (x3 - d) * perspective + 1.0;
      if (divisor == 0.0) throw err::DivisionByZero();
      const int32_t t = ToInt32Checked((x3 - frameShift + d * shiftPerLevel) / divisor);
      const double xt = t / 3.0;
      if (!(xt > 0.0 && xt < W - 2.0)) continue;
      const auto xi = static_cast<int32_t>(std::floor(xt));
      const int32_t L = 3 * xi;
      const int32_t R = 3 * (xi + 1);
      const double f = xt - xi;
      const auto w0 = static_cast<float>(1.0 - f);
      const bool firstArrival = backWeight(xi, y) == 0.0f && backWeight(xi + 1, y) == 0.0f;
      for (int32_t c = 0; c < 3; ++c) {
        const int32_t odd = c == 2 ? 1 : 0;  // no red value that lands is 0
        const int32_t a = colours(x3 + c, y) | odd;
        const int32_t b = colours(x3 + 3 + c, y) | odd;
        frontSum(L + c, y) = static_cast<float>(a * static_cast<double>(w0));
        if (firstArrival) {
          backSum(L + c, y) = static_cast<float>(a * static_cast<double>(w0));
          backSum(R + c, y) = static_cast<float>(b * f);
        }
        if (xInterp != 0) {
          frontSum(R + c, y) = Add(frontSum(R + c, y), (colours(x3 + 3 + c, y) | 1) * f);
        } else {
          frontSum(R + c, y) = static_cast<float>(b * f);
        }
      }
      frontWeight(xi, y) = w0;
      if (firstArrival) {
        backWeight(xi, y) = w0;
        backWeight(xi + 1, y) = static_cast<float>(f);
        distance(xi, y) = static_cast<float>(w0 * d);
        distanceWeight(xi, y) = w0;
        distance(xi + 1, y) = static_cast<float>(f * d);
        distanceWeight(xi + 1, y) = static_cast<float>(f);
      }
      frontWeight(xi + 1, y) = xInterp != 0 ? Add(frontWeight(xi + 1, y), f) : static_cast<float>(f);
    }
  }

  // 2. Squared distance of the background layer (0 where nothing landed).
  for (size_t k = 0; k < distance.values.size(); ++k) {
    const double q = distance.values[k] / (distanceWeight.values[k] + kTiny);
    distance.values[k] = static_cast<float>(q * q);
  }

  // 3. Front colours, and holes filled from the background around them: farther background and
  // nearer samples count more. The sampling step grows with the hole's reach.
  for (int32_t x = 0; x < W; ++x) {
    for (int32_t y = 0; y < H; ++y) {
      if (xInterp == 0 || frontWeight(x, y) != 0.0f) {
        for (int32_t c = 0; c < 3; ++c) outSum(3 * x + c, y) = frontSum(3 * x + c, y);
        outWeight(x, y) = frontWeight(x, y);
        continue;
      }
      int32_t r = 0;
      bool leftSeen = false;
      for (; r <= W - 3 - x; ++r) {
        if (x - r < 0) {
          if (frontWeight(x + r, y) > 0.0f) break;
        } else {
          if (frontWeight(x - r, y) > 0.0f) leftSeen = true;
          if (leftSeen && frontWeight(x + r, y) > 0.0f) break;
        }
      }
      const int32_t step = r / 5 + 1;
      const int32_t reach = r + step;
      for (int32_t a = -reach + step, lastA = -reach; lastA <= reach; lastA = a, a += step) {
        for (int32_t b = -reach + step, lastB = -reach; lastB <= reach; lastB = b, b += step) {
          const int32_t sx = x + a;
          const int32_t sy = y + b;
          if (sx < 1 || sx >= W - 1 || sy < 1 || sy >= H - 1 || !(frontWeight(sx, sy) > 0.0f)) continue;
          const double w = std::pow(static_cast<double>(a) * a + static_cast<double>(b) * b + 0.1, -0.5) *
                           distance(sx, sy);
          for (int32_t c = 0; c < 3; ++c) {
            outSum(3 * x + c, y) =
                Add(outSum(3 * x + c, y), w * backSum(3 * sx + c, sy) / (backWeight(sx, sy) + kTiny));
          }
          outWeight(x, y) = Add(outWeight(x, y), w);
        }
      }
    }
  }

  // 4. Resolve; the last pixel's green and red bytes are not written.
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = grid.MemoryRow(y);
    for (int32_t k = 0; k <= 3 * (W - 1); ++k) {
      row[k] = ToByteChecked(outSum(k, y) / (outWeight(k / 3, y) + kTiny));
    }
  }

  // 5. Where the background distance jumps by more than 10 between neighbours, soften.
  if (xInterp > 0) {
    const int32_t count = 3 * (W - 1) + 1;
    std::vector<uint8_t> copy(static_cast<size_t>(count) * H);
    for (int32_t y = 0; y < H; ++y) std::memcpy(&copy[static_cast<size_t>(count) * y], grid.MemoryRow(y), count);
    for (int32_t x = 0; x <= W - 7; ++x) {
      for (int32_t y = 0; y <= H - 3; ++y) {
        if (!(std::fabs(std::sqrt(static_cast<double>(distance(x + 1, y))) -
                        std::sqrt(static_cast<double>(distance(x, y)))) > 10.0)) {
          continue;
        }
        for (int32_t c = 0; c < 3; ++c) {
          grid.MemoryRow(y)[3 * x + c] = Softened([&](int32_t i, int32_t j) {
            return copy[static_cast<size_t>(count) * (y + j) + 3 * (x + i) + c];
          });
        }
      }
    }
  }
}

void ImageProcessor::MatchDepthMap(Picture& depth, const PixelArray& picture) {
  const uint32_t start = StartTick();
  const int32_t W = depth.Width();
  const int32_t H = depth.Height();
  const PixelGrid grid = depth.Grid();
  for (int32_t y = 2; y <= H - 3 && !grid.Empty(); ++y) {
    uint8_t* row = grid.MemoryRow(y);
    auto level = [&](int32_t x) { return static_cast<int32_t>(row[3 * x]); };
    int32_t x3 = 6;
    while (x3 <= 3 * W - 6) {
      const int32_t x = x3 / 3;
      if (std::abs(level(x) - level(x - 2)) <= 20) {
        x3 += 3;
        continue;
      }
      float bestScore = 0.0f;
      int32_t bestK = 0;
      for (int32_t k = -10; k <= 10; ++k) {
        const int32_t p = x3 + 3 * k;
        if (!(p - 3 > 0 && p < 3 * (W - 1))) continue;
        if (!picture.Covers(p + 2, y + 2)) throw err::SubscriptOutOfRange();
        int32_t strength = 0;
        for (int32_t r = y - 2; r <= y + 2; ++r) {
          const int32_t* colours = picture.Row(r);
          for (int32_t c = 0; c < 3; ++c) strength += std::abs(colours[p + c] - colours[p - 3 + c]);
        }
        const float score = k == 0 ? static_cast<float>(strength)
                                   : static_cast<float>(strength) / static_cast<float>(std::abs(k));
        if (score > bestScore) {
          bestScore = score;
          bestK = k;
        }
      }
      const auto right = static_cast<uint8_t>(level(x));
      const auto left = static_cast<uint8_t>(level(x - 2));
      if (bestK < 0) {
        for (int32_t m = 0; m >= bestK; --m) std::memset(row + 3 * (x + m), right, 3);
      } else if (bestK > 0) {
        if (left < right) bestK = std::max(bestK - 2, 0);
        for (int32_t m = 0; m <= bestK; ++m) std::memset(row + 3 * (x + m), left, 3);
        x3 += 3 * (bestK + 1) + 9;  // the moved step is not met again
        continue;
      }
      x3 += 3;
    }
  }
  RaiseComplete(start);
}

void ImageProcessor::MatchAreas(Picture& depth) {
  const uint32_t start = StartTick();
  const int32_t W = depth.Width();
  const int32_t H = depth.Height();
  const PixelGrid grid = depth.Grid();
  const PixelArray& colours = arrays_->SharedPixels;
  const int32_t lastColumn = ((W - 1) / 8 - 1) * 8 - 1;
  const int32_t lastRow = ((H - 1) / 8 - 1) * 8;
  for (int32_t bx = 0; bx <= lastColumn && !grid.Empty(); bx += 8) {
    for (int32_t by = 0; by <= lastRow; by += 8) {
      if (!colours.Covers(3 * (bx + 8) + 2, by + 7)) throw err::SubscriptOutOfRange();
      for (int32_t j = 0; j < 8; ++j) {
        const int32_t* c = colours.Row(by + j) + 3 * bx;
        int32_t split = 0;
        int32_t strongest = 0;
        for (int32_t i = 0; i < 8; ++i) {
          const int32_t* p = c + 3 * i;
          const int32_t gradient = std::abs(p[3] - p[0]) + std::abs(p[4] - p[1]) + std::abs(p[5] - p[2]);
          if (gradient >= strongest) {
            strongest = gradient;
            split = i;
          }
        }
        uint8_t* row = grid.MemoryRow(by + j) + 3 * bx;
        int32_t leftSum = 0, rightSum = 0;
        for (int32_t i = 0; i < 8; ++i) (i <= split ? leftSum : rightSum) += row[3 * i];
        const int32_t leftCount = split + 1;
        const int32_t rightCount = std::max(7 - split, 1);
        const uint8_t leftMean = ToByteChecked(static_cast<double>(leftSum) / leftCount);
        const uint8_t rightMean = ToByteChecked(static_cast<double>(rightSum) / rightCount);
        for (int32_t i = 0; i < 8; ++i) row[3 * i] = i <= split ? leftMean : rightMean;
      }
    }
  }
  RaiseComplete(start);
}

}  // namespace qv
