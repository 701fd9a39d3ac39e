// The engine's depth clean-up, alignment and view renderer. Each works on planes of one byte a
// pixel where the image processor works on pictures, and spreads rows over the threads; the
// results are the image processor's (see DepthEngine.h for the one place where they may differ).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/Numbers.h"
#include "convert/DepthEngine.h"
#include "image/Canvas.h"
#include "imageproc/SoftenKernel.h"

namespace qv {

namespace {

constexpr double kTiny = 1e-7;

inline uint8_t Median3(uint8_t a, uint8_t b, uint8_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// The blue bytes of a picture as a plane of W x H bytes.
void BluePlane(const uint8_t* pixels, int32_t W, int32_t H, uint8_t* plane, int32_t threads) {
  const ptrdiff_t stride = StrideFor(W);
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = pixels + y * stride;
    uint8_t* out = plane + static_cast<ptrdiff_t>(y) * W;
    for (int32_t x = 0; x < W; ++x) out[x] = row[3 * x];
  }
}

// One Dilate of the blue channel: rows 1 ... H - 2, pixels 1 ... W - 2 take the largest of their
// 3 x 3 neighbourhood; the outer ring keeps its levels.
void DilatePlane(const uint8_t* in, uint8_t* out, int32_t W, int32_t H, int32_t threads) {
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = in + static_cast<ptrdiff_t>(y) * W;
    uint8_t* o = out + static_cast<ptrdiff_t>(y) * W;
    if (y == 0 || y == H - 1 || W < 3) {
      std::memcpy(o, row, static_cast<size_t>(W));
      continue;
    }
    const uint8_t* below = row - W;
    const uint8_t* above = row + W;
    o[0] = row[0];
    o[W - 1] = row[W - 1];
    for (int32_t x = 1; x < W - 1; ++x) {
      const uint8_t left = std::max({below[x - 1], row[x - 1], above[x - 1]});
      const uint8_t middle = std::max({below[x], row[x], above[x]});
      const uint8_t right = std::max({below[x + 1], row[x + 1], above[x + 1]});
      o[x] = std::max({left, middle, right});
    }
  }
}

}  // namespace

void DepthEngine::SmoothDepth(uint8_t* depthImage, int32_t width, int32_t height, int32_t blockSize) {
  const int32_t W = width;
  const int32_t H = height;
  if (depthImage == nullptr || W <= 0 || H <= 0) return;
  const int32_t threads = Threads();
  const size_t area = static_cast<size_t>(W) * H;
  levels_.resize(2 * area);
  uint8_t* plane = levels_.data();
  uint8_t* next = plane + area;
  BluePlane(depthImage, W, H, plane, threads);
  std::vector<int32_t> partnerX(static_cast<size_t>(W));
  std::vector<int32_t> partnerY(static_cast<size_t>(H));
  int32_t s = blockSize;
  do {
    if (s == 0) throw err::DivisionByZero();
    const auto h = static_cast<int32_t>(RoundHalfEven(s / 2.0));
    auto partner = [&](int32_t at, int32_t count) {
      const int32_t p = at % s < h ? at - h : at + h;
      return p > count - 1 || p < 0 ? at : p;
    };
    for (int32_t x = 0; x < W; ++x) partnerX[static_cast<size_t>(x)] = partner(x, W);
    for (int32_t y = 0; y < H; ++y) partnerY[static_cast<size_t>(y)] = partner(y, H);
#pragma omp parallel for num_threads(threads) schedule(static)
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* here = plane + static_cast<ptrdiff_t>(y) * W;
      const uint8_t* across = plane + static_cast<ptrdiff_t>(partnerY[static_cast<size_t>(y)]) * W;
      uint8_t* out = next + static_cast<ptrdiff_t>(y) * W;
      for (int32_t x = 0; x < W; ++x) out[x] = Median3(here[partnerX[static_cast<size_t>(x)]], across[x], here[x]);
    }
    std::swap(plane, next);
    s = static_cast<int32_t>(RoundHalfEven(s / 2.0));
  } while (s > 1);

  const ptrdiff_t stride = StrideFor(W);
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = depthImage + y * stride;
    const uint8_t* in = plane + static_cast<ptrdiff_t>(y) * W;
    for (int32_t x = 0; x < W; ++x) row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = in[x];
  }
}

void DepthEngine::MatchDepthMap(uint8_t* depthImage, const uint8_t* picture, int32_t width,
                                int32_t height) {
  const int32_t W = width;
  const int32_t H = height;
  if (depthImage == nullptr || picture == nullptr || W <= 0 || H <= 0) return;
  const ptrdiff_t stride = StrideFor(W);
  // Rows are independent: each moves steps within itself, reading colours of rows y - 2 ... y + 2.
#pragma omp parallel for num_threads(Threads()) schedule(dynamic, 16)
  for (int32_t y = 2; y <= H - 3; ++y) {
    uint8_t* row = depthImage + y * stride;
    int32_t x3 = 6;
    while (x3 <= 3 * W - 6) {
      const int32_t x = x3 / 3;
      if (std::abs(row[3 * x] - row[3 * x - 6]) <= 20) {
        x3 += 3;
        continue;
      }
      float bestScore = 0.0f;
      int32_t bestK = 0;
      for (int32_t k = -10; k <= 10; ++k) {
        const int32_t p = x3 + 3 * k;
        if (!(p - 3 > 0 && p < 3 * (W - 1))) continue;
        int32_t strength = 0;
        for (int32_t r = y - 2; r <= y + 2; ++r) {
          const uint8_t* c = picture + r * stride + p;
          strength += std::abs(c[0] - c[-3]) + std::abs(c[1] - c[-2]) + std::abs(c[2] - c[-1]);
        }
        const float score = k == 0 ? static_cast<float>(strength)
                                   : static_cast<float>(strength) / static_cast<float>(std::abs(k));
        if (score > bestScore) {
          bestScore = score;
          bestK = k;
        }
      }
      const uint8_t right = row[3 * x];
      const uint8_t left = row[3 * x - 6];
      if (bestK < 0) {
        std::memset(row + 3 * (x + bestK), right, static_cast<size_t>(3) * (1 - bestK));
      } else if (bestK > 0) {
        if (left < right) bestK = std::max(bestK - 2, 0);
        std::memset(row + 3 * x, left, static_cast<size_t>(3) * (bestK + 1));
        x3 += 3 * (bestK + 1) + 9;
        continue;
      }
      x3 += 3;
    }
  }
}

void DepthEngine::Make3D(uint8_t* view, const uint8_t* source, uint8_t* depthMap, int32_t width,
                         int32_t height, float shiftPerLevel, int32_t frameShift, int32_t xInterp) {
  const int32_t W = width;
  const int32_t H = height;
  if (view == nullptr || source == nullptr || W <= 0 || H <= 0) return;
  const int32_t threads = Threads();
  const ptrdiff_t stride = StrideFor(W);
  const size_t area = static_cast<size_t>(W) * H;
  const ptrdiff_t mapStride = static_cast<ptrdiff_t>(W) + 1;

  // Depth: the view's blue bytes, kept in the depth map, then dilated twice.
  levels_.resize(2 * area);
  uint8_t* depth = levels_.data();
  uint8_t* dilated = depth + area;
  BluePlane(view, W, H, depth, threads);
  if (depthMap != nullptr) {
#pragma omp parallel for num_threads(threads) schedule(static)
    for (int32_t y = 0; y < H; ++y) std::memcpy(depthMap + y * mapStride, depth + static_cast<ptrdiff_t>(y) * W, static_cast<size_t>(W));
  }
  DilatePlane(depth, dilated, W, H, threads);
  DilatePlane(dilated, depth, W, H, threads);

  // Per pixel after the forward mapping: whether something landed in front, the squared distance
  // of the background, the background colour, and the resolved front colour.
  std::vector<uint8_t> landed(area);
  std::vector<float> distance(area);
  std::vector<uint8_t> background(xInterp != 0 ? 3 * area : 0);
  std::vector<uint8_t> resolved(3 * area);
  std::array<double, 256> shiftOf{};
  for (int32_t d = 0; d < 256; ++d) shiftOf[static_cast<size_t>(d)] = d * static_cast<double>(shiftPerLevel);

#pragma omp parallel num_threads(threads)
  {
    std::vector<float> frontSum(3 * static_cast<size_t>(W)), backSum(3 * static_cast<size_t>(W));
    std::vector<float> frontWeight(static_cast<size_t>(W)), backWeight(static_cast<size_t>(W));
    std::vector<float> dist(static_cast<size_t>(W)), distWeight(static_cast<size_t>(W));
#pragma omp for schedule(static)
    for (int32_t y = 0; y < H; ++y) {
      std::fill(frontSum.begin(), frontSum.end(), 0.0f);
      std::fill(backSum.begin(), backSum.end(), 0.0f);
      std::fill(frontWeight.begin(), frontWeight.end(), 0.0f);
      std::fill(backWeight.begin(), backWeight.end(), 0.0f);
      std::fill(dist.begin(), dist.end(), 0.0f);
      std::fill(distWeight.begin(), distWeight.end(), 0.0f);
      const uint8_t* colours = source + y * stride;
      const uint8_t* levels = depth + static_cast<ptrdiff_t>(y) * W;
      // Left to right: nearer pixels land later and cover farther ones in the front layer.
      for (int32_t x = 0; x <= W - 2; ++x) {
        const int32_t x3 = 3 * x;
        const int32_t d = 255 - levels[x];
        const double target = std::nearbyint(x3 - frameShift + shiftOf[static_cast<size_t>(d)]);
        const double xt = target / 3.0;
        if (!(xt > 0.0 && xt < W - 2.0)) continue;
        const auto xi = static_cast<int32_t>(std::floor(xt));
        const double f = xt - xi;
        const auto w0 = static_cast<float>(1.0 - f);
        const size_t L = 3 * static_cast<size_t>(xi);
        const size_t R = L + 3;
        const bool firstArrival = backWeight[static_cast<size_t>(xi)] == 0.0f && backWeight[static_cast<size_t>(xi) + 1] == 0.0f;
        for (size_t c = 0; c < 3; ++c) {
          const int32_t odd = c == 2 ? 1 : 0;
          const int32_t a = colours[x3 + c] | odd;
          const int32_t b = colours[x3 + 3 + c] | odd;
          frontSum[L + c] = static_cast<float>(a * static_cast<double>(w0));
          if (firstArrival) {
            backSum[L + c] = static_cast<float>(a * static_cast<double>(w0));
            backSum[R + c] = static_cast<float>(b * f);
          }
          frontSum[R + c] = xInterp != 0 ? static_cast<float>(frontSum[R + c] + (colours[x3 + 3 + c] | 1) * f)
                                         : static_cast<float>(b * f);
        }
        frontWeight[static_cast<size_t>(xi)] = w0;
        if (firstArrival) {
          backWeight[static_cast<size_t>(xi)] = w0;
          backWeight[static_cast<size_t>(xi) + 1] = static_cast<float>(f);
          dist[static_cast<size_t>(xi)] = static_cast<float>(w0 * static_cast<double>(d));
          distWeight[static_cast<size_t>(xi)] = w0;
          dist[static_cast<size_t>(xi) + 1] = static_cast<float>(f * d);
          distWeight[static_cast<size_t>(xi) + 1] = static_cast<float>(f);
        }
        float& right = frontWeight[static_cast<size_t>(xi) + 1];
        right = xInterp != 0 ? static_cast<float>(right + f) : static_cast<float>(f);
      }
      const size_t base = static_cast<size_t>(y) * W;
      for (int32_t x = 0; x < W; ++x) {
        const size_t k = static_cast<size_t>(x);
        const double q = dist[k] / (distWeight[k] + kTiny);
        distance[base + k] = static_cast<float>(q * q);
        landed[base + k] = frontWeight[k] > 0.0f;
        uint8_t* out = &resolved[3 * (base + k)];
        const bool hole = xInterp != 0 && frontWeight[k] == 0.0f;
        for (size_t c = 0; c < 3; ++c) {
          out[c] = hole ? 0 : static_cast<uint8_t>(std::nearbyint(frontSum[3 * k + c] / (frontWeight[k] + kTiny)));
          if (xInterp != 0) {
            background[3 * (base + k) + c] = static_cast<uint8_t>(
                std::min(std::nearbyint(backSum[3 * k + c] / (backWeight[k] + kTiny)), 255.0));
          }
        }
      }
    }

    // Holes, filled from the background around them (needs every row's forward mapping).
    if (xInterp != 0) {
#pragma omp for schedule(dynamic, 8)
      for (int32_t y = 0; y < H; ++y) {
        const uint8_t* front = &landed[static_cast<size_t>(y) * W];
        for (int32_t x = 0; x < W; ++x) {
          if (front[x]) continue;
          int32_t r = 0;
          bool leftSeen = false;
          for (; r <= W - 3 - x; ++r) {
            if (x - r < 0) {
              if (front[x + r]) break;
            } else {
              if (front[x - r]) leftSeen = true;
              if (leftSeen && front[x + r]) break;
            }
          }
          const int32_t step = r / 5 + 1;
          const int32_t reach = r + step;
          double sum[3] = {0.0, 0.0, 0.0};
          double weight = 0.0;
          // Offsets from -r on in steps of `step`, up to the first beyond the reach; only those
          // inside the inner rectangle can count, so the runs start and stop there.
          const int32_t count = (2 * reach) / step + 1;  // -reach + step ... the first above reach
          for (int32_t ia = 0; ia < count; ++ia) {
            const int32_t a = -reach + step * (ia + 1);
            const int32_t sx = x + a;
            if (sx < 1 || sx >= W - 1) continue;
            for (int32_t ib = 0; ib < count; ++ib) {
              const int32_t b = -reach + step * (ib + 1);
              const int32_t sy = y + b;
              if (sy < 1 || sy >= H - 1) continue;
              const size_t at = static_cast<size_t>(sy) * W + static_cast<size_t>(sx);
              if (!landed[at]) continue;
              const double w = distance[at] / std::sqrt(static_cast<double>(a) * a + static_cast<double>(b) * b + 0.1);
              const uint8_t* colour = &background[3 * at];
              sum[0] += w * colour[0];
              sum[1] += w * colour[1];
              sum[2] += w * colour[2];
              weight += w;
            }
          }
          uint8_t* out = &resolved[3 * (static_cast<size_t>(y) * W + static_cast<size_t>(x))];
          for (int32_t c = 0; c < 3; ++c) out[c] = static_cast<uint8_t>(std::min(std::nearbyint(sum[c] / (weight + kTiny)), 255.0));
        }
      }
    }

    // Into the view, softened where the background distance jumps by more than 10.
#pragma omp for schedule(static)
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* out = view + y * stride;
      const uint8_t* in = &resolved[3 * static_cast<size_t>(y) * W];
      std::memcpy(out, in, static_cast<size_t>(3) * W - 2);
      out[3 * W - 2] = out[3 * W - 1] = 0;
      if (xInterp <= 0 || y > H - 3) continue;
      const float* q = &distance[static_cast<size_t>(y) * W];
      for (int32_t x = 0; x <= W - 7; ++x) {
        if (!(std::fabs(std::sqrt(static_cast<double>(q[x + 1])) - std::sqrt(static_cast<double>(q[x]))) > 10.0)) continue;
        for (int32_t c = 0; c < 3; ++c) {
          out[3 * x + c] = Softened([&](int32_t i, int32_t j) {
            return resolved[3 * (static_cast<size_t>(y + j) * W + static_cast<size_t>(x + i)) + static_cast<size_t>(c)];
          });
        }
      }
    }
  }
}

}  // namespace qv
