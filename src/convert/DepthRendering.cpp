// The engine's depth clean-up, alignment and view renderer. Each works on planes of one byte a
// pixel where the image processor works on pictures, and spreads rows over the threads; the
// results are the image processor's (see DepthEngine.h for the one place where they may differ).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/Numbers.h"
#include "convert/DepthEngine.h"
#include "image/Canvas.h"
#include "imageproc/SoftenKernel.h"

namespace qv {

namespace {

constexpr double kTiny = 1e-7;

// Integer division rounding down and up, for either sign (b > 0).
inline int32_t FloorDivide(int32_t a, int32_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }
inline int32_t CeilDivide(int32_t a, int32_t b) { return -FloorDivide(-a, b); }

inline uint8_t Median3(uint8_t a, uint8_t b, uint8_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// The blue bytes of a picture as a plane of W x H bytes.
void BluePlane(const uint8_t* pixels, int32_t W, int32_t H, uint8_t* plane, int32_t threads) {
  const ptrdiff_t stride = StrideFor(W);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = pixels + y * stride;
    uint8_t* out = plane + static_cast<ptrdiff_t>(y) * W;
    for (int32_t x = 0; x < W; ++x) out[x] = row[3 * x];
  }
}

// One Dilate of the blue channel: rows 1 ... H - 2, pixels 1 ... W - 2 take the largest of their
// 3 x 3 neighbourhood; the outer ring keeps its levels.
void DilatePlane(const uint8_t* in, uint8_t* out, int32_t W, int32_t H, int32_t threads) {
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
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
  BluePlane(depthImage, W, H, levels_.data(), threads);
  const uint8_t* plane = SmoothPlane(levels_.data(), levels_.data() + area, W, H, blockSize);
  const ptrdiff_t stride = StrideFor(W);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = depthImage + y * stride;
    const uint8_t* in = plane + static_cast<ptrdiff_t>(y) * W;
    for (int32_t x = 0; x < W; ++x) row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = in[x];
  }
}

void DepthEngine::SmoothDepthPlane(int32_t blockSize) {
  const int32_t W = planeWidth_;
  const int32_t H = planeHeight_;
  const size_t area = static_cast<size_t>(W) * H;
  if (W <= 0 || H <= 0 || depthPlane_.size() != area) return;
  levels_.resize(area);
  const uint8_t* result = SmoothPlane(depthPlane_.data(), levels_.data(), W, H, blockSize);
  if (result != depthPlane_.data()) std::memcpy(depthPlane_.data(), result, area);
}

uint8_t* DepthEngine::SmoothPlane(uint8_t* plane, uint8_t* next, int32_t width, int32_t height,
                                  int32_t blockSize) {
  const int32_t W = width;
  const int32_t H = height;
  const int32_t threads = Threads();
  std::vector<int32_t> partnerX(static_cast<size_t>(W));
  std::vector<int32_t> partnerY(static_cast<size_t>(H));
  std::vector<uint8_t> backward(static_cast<size_t>(W));  // 0xFF where the partner lies left
  int32_t s = blockSize;
  do {
    if (s == 0) throw err::DivisionByZero();
    const auto h = static_cast<int32_t>(RoundHalfEven(s / 2.0));
    auto partner = [&](int32_t at, int32_t count) {
      const int32_t p = at % s < h ? at - h : at + h;
      return p > count - 1 || p < 0 ? at : p;
    };
    for (int32_t x = 0; x < W; ++x) {
      partnerX[static_cast<size_t>(x)] = partner(x, W);
      backward[static_cast<size_t>(x)] = x % s < h ? 0xFF : 0;
    }
    for (int32_t y = 0; y < H; ++y) partnerY[static_cast<size_t>(y)] = partner(y, H);
    // Inside [|h|, W - |h|) the horizontal partner is x - h or x + h, picked by a mask, which the
    // compiler turns into vector selects and medians; the ends go by the partner table.
    const int32_t reach = std::abs(h);
    const int32_t inner0 = std::min(reach, W);
    const int32_t inner1 = std::max(W - reach, inner0);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* here = plane + static_cast<ptrdiff_t>(y) * W;
      const uint8_t* across = plane + static_cast<ptrdiff_t>(partnerY[static_cast<size_t>(y)]) * W;
      uint8_t* out = next + static_cast<ptrdiff_t>(y) * W;
      for (int32_t x = 0; x < inner0; ++x) out[x] = Median3(here[partnerX[static_cast<size_t>(x)]], across[x], here[x]);
      const uint8_t* left = here - h;
      const uint8_t* right = here + h;
      const uint8_t* mask = backward.data();
      for (int32_t x = inner0; x < inner1; ++x) {
        const auto side = static_cast<uint8_t>((left[x] & mask[x]) | (right[x] & static_cast<uint8_t>(~mask[x])));
        out[x] = Median3(side, across[x], here[x]);
      }
      for (int32_t x = inner1; x < W; ++x) out[x] = Median3(here[partnerX[static_cast<size_t>(x)]], across[x], here[x]);
    }
    std::swap(plane, next);
    s = static_cast<int32_t>(RoundHalfEven(s / 2.0));
  } while (s > 1);

  return plane;
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

// The renderer works a row at a time: the forward mapping of a row lands only in that row. It
// keeps, a pixel at a time for the later steps, whether something landed in front, the distance
// of the background, the background colour and the resolved front colour. Holes then sample the
// rows around them, and the edge filter reads the two rows above.
//
// A target byte column t lies f = (t mod 3) / 3 of a pixel right of pixel floor(t / 3), so every
// weight is a whole number of thirds: the engine sums colours times thirds in integers, where
// the class renderer sums them in single precision, and divides out with halves going down (the
// class adds 1e-7 to every divisor). The background layer keeps what its sums come to: the first
// pixel to land on a target puts its colour and distance there with a weight of 1 - f or f, so
// its sum divided by its weight is that colour and distance. Its squared distance, which weighs
// hole samples and decides the edge filter, is taken from a table of what the class's single-
// precision arithmetic makes of each distance and weight (at steps of exactly 10 its noise
// decides).
void DepthEngine::Make3D(uint8_t* view, const uint8_t* source, uint8_t* depthMap, int32_t width,
                         int32_t height, float shiftPerLevel, int32_t frameShift, int32_t xInterp) {
  if (view == nullptr || source == nullptr || width <= 0 || height <= 0) return;
  // The depth is the view's blue bytes.
  const size_t area = static_cast<size_t>(width) * height;
  levels_.resize(3 * area);
  BluePlane(view, width, height, levels_.data() + 2 * area, Threads());
  RenderFromPlane(view, source, depthMap, levels_.data() + 2 * area, width, height, shiftPerLevel,
                  frameShift, xInterp);
}

void DepthEngine::Make3DFromPlane(uint8_t* view, const uint8_t* source, uint8_t* depthMap,
                                  int32_t width, int32_t height, float shiftPerLevel,
                                  int32_t frameShift, int32_t xInterp) {
  if (width != planeWidth_ || height != planeHeight_ || depthPlane_.empty()) return;
  levels_.resize(3 * depthPlane_.size());
  RenderFromPlane(view, source, depthMap, depthPlane_.data(), width, height, shiftPerLevel, frameShift,
                  xInterp);
}

// levelsIn: the levels the view is rendered from; they are kept in the depth map and dilated
// twice into the first two thirds of levels_ (which must not hold them).
void DepthEngine::RenderFromPlane(uint8_t* view, const uint8_t* source, uint8_t* depthMap,
                                  const uint8_t* levelsIn, int32_t width, int32_t height,
                                  float shiftPerLevel, int32_t frameShift, int32_t xInterp) {
  const int32_t W = width;
  const int32_t H = height;
  if (view == nullptr || source == nullptr || W <= 0 || H <= 0) return;
  const int32_t threads = Threads();
  const ptrdiff_t stride = StrideFor(W);
  const size_t area = static_cast<size_t>(W) * H;
  const ptrdiff_t mapStride = static_cast<ptrdiff_t>(W) + 1;
  uint8_t* depth = levels_.data();
  uint8_t* dilated = depth + area;
  if (depthMap != nullptr) {
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
    for (int32_t y = 0; y < H; ++y) std::memcpy(depthMap + y * mapStride, levelsIn + static_cast<ptrdiff_t>(y) * W, static_cast<size_t>(W));
  }
  DilatePlane(levelsIn, dilated, W, H, threads);
  DilatePlane(dilated, depth, W, H, threads);

  landed_.resize(area);
  distance_.resize(area);
  resolved_.resize(3 * area);
  background_.resize(xInterp != 0 ? 3 * area : 0);

  // The target byte column of a pixel of distance d is round(3x - frameShift + d x shift): the
  // whole part of 3x - frameShift added to the rounded shift, except where the shift ends in a
  // half exactly and the parity of the sum decides (halves go to the even neighbour).
  std::array<int32_t, 256> shiftFloor{};
  std::array<int32_t, 256> shiftRounded{};
  std::array<bool, 256> shiftHalf{};
  for (int32_t d = 0; d < 256; ++d) {
    const double shift = d * static_cast<double>(shiftPerLevel);
    const double whole = std::floor(shift);
    shiftFloor[static_cast<size_t>(d)] = static_cast<int32_t>(std::max(std::min(whole, 1e9), -1e9));
    shiftHalf[static_cast<size_t>(d)] = shift - whole == 0.5;
    shiftRounded[static_cast<size_t>(d)] = static_cast<int32_t>(std::max(std::min(RoundHalfEven(shift), 1e9), -1e9));
  }
  // The background's squared distance and its root by how a target was landed on (a `Landing`)
  // and the distance d, computed as the class renderer computes them.
  std::array<std::array<float, 256>, 6> squaredDistance{};
  std::array<std::array<double, 256>, 6> rootDistance{};
  for (int32_t kind = 1; kind < 6; ++kind) {
    const bool leftSide = kind <= 3;
    const double f = leftSide ? (kind - 1) / 3.0 : (kind - 3) / 3.0;
    const auto w0 = static_cast<float>(1.0 - f);
    for (int32_t d = 0; d < 256; ++d) {
      const float sum = leftSide ? static_cast<float>(w0 * static_cast<double>(d)) : static_cast<float>(f * d);
      const float weight = leftSide ? w0 : static_cast<float>(f);
      const double q = sum / (weight + kTiny);
      squaredDistance[static_cast<size_t>(kind)][static_cast<size_t>(d)] = static_cast<float>(q * q);
      rootDistance[static_cast<size_t>(kind)][static_cast<size_t>(d)] =
          std::sqrt(static_cast<double>(static_cast<float>(q * q)));
    }
  }
  // 1 / sqrt(n + 0.1) for the hole filling's sample weights, n = a^2 + b^2.
  static const std::vector<float> kInverseDistance = [] {
    std::vector<float> table(4096);
    for (size_t n = 0; n < table.size(); ++n) table[n] = static_cast<float>(1.0 / std::sqrt(n + 0.1));
    return table;
  }();
  auto inverseDistance = [](int32_t n) {
    return n < 4096 ? kInverseDistance[static_cast<size_t>(n)] : static_cast<float>(1.0 / std::sqrt(n + 0.1));
  };
  // floor(n / (2w)) by multiplication for the small weights w (in thirds) that are the rule.
  static const std::array<uint64_t, 64> kHalfReciprocal = [] {
    std::array<uint64_t, 64> table{};
    for (uint64_t w = 1; w < 64; ++w) table[w] = ((uint64_t{1} << 32) + 2 * w - 1) / (2 * w);
    return table;
  }();
  // sum / weight to the nearest byte, halves down.
  auto divide = [](uint32_t sum, uint32_t weight) -> uint8_t {
    const uint32_t n = 2 * sum + weight - 1;
    const uint32_t q = weight < 64 ? static_cast<uint32_t>((uint64_t{n} * kHalfReciprocal[weight]) >> 32)
                                   : n / (2 * weight);
    return static_cast<uint8_t>(q > 255 ? 255 : q);
  };
  // Nearest byte of a weighted mean, halves to the even neighbour, at most 255.
  auto toByte = [](float v) {
    const float r = (v + 12582912.0f) - 12582912.0f;  // 1.5 x 2^23
    return static_cast<uint8_t>(r >= 255.0f ? 255.0f : (r <= 0.0f ? 0.0f : r));
  };
  uint8_t* const landed = landed_.data();
  // A target's background distance: (kind << 8) | d, kind 0 nothing landed, 1 ... 3 the left
  // pixel of a landing r = 0, 1, 2 thirds right, 4 and 5 the right pixel of r = 1, 2.
  uint16_t* const distance = distance_.data();
  uint8_t* const resolved = resolved_.data();
  uint8_t* const background = background_.data();

#pragma omp parallel num_threads(threads)
  {
    // The front layer of a row. A target that only one pixel landed on keeps that pixel's colour
    // (its sum over its weight); one that also took right-hand shares keeps colour sums in
    // thirds (`mixed`), divided out at the end.
    std::vector<uint8_t> frontColour(3 * static_cast<size_t>(W) + 3);
    std::vector<uint16_t> frontSum(3 * static_cast<size_t>(W) + 3);
    std::vector<uint8_t> frontWeight(static_cast<size_t>(W) + 1);  // thirds
    std::vector<uint8_t> mixed(static_cast<size_t>(W) + 1);
    std::vector<uint8_t> taken(static_cast<size_t>(W) + 1);  // the background is set here
#pragma omp for schedule(dynamic, 16)
    for (int32_t y = 0; y < H; ++y) {
      const size_t base = static_cast<size_t>(y) * W;
      std::fill(frontWeight.begin(), frontWeight.end(), uint8_t{0});
      std::fill(mixed.begin(), mixed.end(), uint8_t{0});
      std::fill(taken.begin(), taken.end(), uint8_t{0});
      std::fill(distance + base, distance + base + W, uint16_t{0});
      if (xInterp != 0) std::memset(background + 3 * base, 0, 3 * static_cast<size_t>(W));
      const uint8_t* colours = source + y * stride;
      const uint8_t* levels = depth + base;
      // The right-hand share of the last pixel, put in place only when the next pixel does not
      // land on that target itself (which overwrites it): along a run of one depth it never is.
      size_t pendingAt = SIZE_MAX;
      uint8_t pendingColour[3] = {0, 0, 0};
      uint32_t pendingWeight = 0;
      auto settle = [&] {
        if (pendingAt == SIZE_MAX) return;
        const size_t at = pendingAt;
        pendingAt = SIZE_MAX;
        uint8_t& weight = frontWeight[at];
        uint8_t* colour = &frontColour[3 * at];
        if (xInterp == 0 || weight == 0) {  // (the share assigns, or adds to nothing)
          std::memcpy(colour, pendingColour, 3);
          weight = static_cast<uint8_t>(pendingWeight);
          mixed[at] = 0;
          return;
        }
        if (weight + pendingWeight > 255) return;  // past 255 thirds a target takes no more
        uint16_t* sum = &frontSum[3 * at];
        if (!mixed[at]) {
          for (size_t c = 0; c < 3; ++c) sum[c] = static_cast<uint16_t>(colour[c] * weight);
          mixed[at] = 1;
        }
        for (size_t c = 0; c < 3; ++c) sum[c] = static_cast<uint16_t>(sum[c] + pendingColour[c] * pendingWeight);
        weight = static_cast<uint8_t>(weight + pendingWeight);
      };
      // One pixel's landing: the background where the target is still free.
      auto putBackground = [&](size_t xi, uint32_t right, const uint8_t* a, size_t d) {
        if (taken[xi] || taken[xi + 1]) return;
        taken[xi] = 1;
        distance[base + xi] = static_cast<uint16_t>(((1 + right) << 8) | d);
        uint8_t* back = background + 3 * (base + xi);
        if (xInterp != 0) back[0] = a[0], back[1] = a[1], back[2] = a[2] | 1;
        if (right != 0) {
          taken[xi + 1] = 1;
          distance[base + xi + 1] = static_cast<uint16_t>(((3 + right) << 8) | d);
          if (xInterp != 0) back[3] = a[3], back[4] = a[4], back[5] = a[5] | 1;
        }
      };
      // Left to right: nearer pixels land later and cover farther ones in the front layer.
      for (int32_t x = 0; x <= W - 2; ++x) {
        const auto d = static_cast<size_t>(255 - levels[x]);
        // A run of one depth lands as one piece, each pixel 3 byte columns right of the last:
        // every pixel's right-hand share is overwritten by the next pixel but for the last.
        int32_t end = x + 1;
        while (end <= W - 2 && levels[end] == levels[x]) ++end;
        if (end - x >= 4 && !shiftHalf[d]) {
          const int32_t offset = shiftRounded[d] - frameShift;  // target = 3x + offset
          // Pixels whose target lies outside 0 < target < 3(W - 2) are dropped.
          const int32_t first = std::max(x, offset > 0 ? 0 : (-offset) / 3 + 1);
          const int64_t lastTarget = 3 * int64_t{W} - 7;
          const int32_t last = static_cast<int32_t>(std::min<int64_t>(end - 1, lastTarget - offset < 0 ? -1 : (lastTarget - offset) / 3));
          if (first <= last) {
            const int32_t t0 = 3 * first + offset;
            const auto xi0 = static_cast<size_t>(t0 / 3);
            const auto right = static_cast<uint32_t>(t0 - 3 * static_cast<int32_t>(xi0));
            if (pendingAt == xi0) {
              pendingAt = SIZE_MAX;
            } else {
              settle();
            }
            const auto count = static_cast<size_t>(last - first + 1);
            const uint8_t* a = colours + 3 * first;
            std::memcpy(&frontColour[3 * xi0], a, 3 * count);
            for (size_t i = 0; i < count; ++i) frontColour[3 * (xi0 + i) + 2] |= 1;
            std::memset(&frontWeight[xi0], static_cast<int>(3 - right), count);
            std::memset(&mixed[xi0], 0, count);
            // Where the run's targets are all free, the background is the run's colours one to a
            // target: each pixel takes its own target, or with a share right every other pixel
            // takes two (its own colour and the next pixel's).
            const size_t span = count + 1;
            if (std::memchr(&taken[xi0], 1, span) == nullptr) {
              const size_t filled = right == 0 || count % 2 == 0 ? count : count + 1;
              std::memset(&taken[xi0], 1, filled);
              uint16_t* far = distance + base + xi0;
              for (size_t i = 0; i < filled; ++i) {
                far[i] = static_cast<uint16_t>(((right == 0 ? 1 : (i % 2 == 0 ? 1 + right : 3 + right)) << 8) | d);
              }
              if (xInterp != 0) {
                uint8_t* back = background + 3 * (base + xi0);
                std::memcpy(back, a, 3 * filled);
                for (size_t i = 0; i < filled; ++i) back[3 * i + 2] |= 1;
              }
            } else {
              for (size_t i = 0; i < count; ++i) putBackground(xi0 + i, right, a + 3 * i, d);
            }
            if (xInterp == 0 || right != 0) {
              const uint8_t* b = a + 3 * count;
              const uint8_t odd = xInterp != 0 ? 1 : 0;
              pendingAt = xi0 + count;
              pendingColour[0] = b[0] | odd;
              pendingColour[1] = b[1] | odd;
              pendingColour[2] = b[2] | 1;
              pendingWeight = right;
            }
          }
          x = end - 1;
          continue;
        }
        int32_t target = 3 * x - frameShift;
        if (shiftHalf[d]) {
          target += shiftFloor[d];
          target += target & 1;
        } else {
          target += shiftRounded[d];
        }
        if (target <= 0 || target >= 3 * (W - 2)) continue;  // 0 < target / 3 < W - 2
        const auto xi = static_cast<size_t>(static_cast<uint32_t>(target) / 3);
        const uint32_t right = static_cast<uint32_t>(target) - 3 * static_cast<uint32_t>(xi);  // thirds
        const uint8_t* a = colours + 3 * x;
        const uint8_t* b = a + 3;
        if (pendingAt == xi) {
          pendingAt = SIZE_MAX;
        } else {
          settle();
        }
        uint8_t* colour = &frontColour[3 * xi];
        colour[0] = a[0];
        colour[1] = a[1];
        colour[2] = a[2] | 1;
        frontWeight[xi] = static_cast<uint8_t>(3 - right);
        mixed[xi] = 0;
        putBackground(xi, right, a, d);
        // The right-hand share: with xInterp every channel made odd and added; without, red
        // alone made odd and put in place (a share of 0 thirds then clears the target).
        if (xInterp == 0 || right != 0) {
          pendingAt = xi + 1;
          const uint8_t odd = xInterp != 0 ? 1 : 0;
          pendingColour[0] = b[0] | odd;
          pendingColour[1] = b[1] | odd;
          pendingColour[2] = b[2] | 1;
          pendingWeight = right;
        }
      }
      settle();
      for (int32_t x = 0; x < W; ++x) {
        const size_t k = static_cast<size_t>(x);
        const uint32_t weight = frontWeight[k];
        landed[base + k] = weight != 0;
        uint8_t* out = &resolved[3 * (base + k)];
        if (weight == 0) {
          out[0] = out[1] = out[2] = 0;  // nothing landed; with xInterp a hole filled below
        } else if (!mixed[k]) {
          std::memcpy(out, &frontColour[3 * k], 3);
        } else {
          const uint16_t* sum = &frontSum[3 * k];
          out[0] = divide(sum[0], weight);
          out[1] = divide(sum[1], weight);
          out[2] = divide(sum[2], weight);
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
          // Offsets from -r on in steps of `step` up to the first beyond the reach; only those
          // inside the inner rectangle (1 ... W - 2, 1 ... H - 2) can count.
          const int32_t count = (2 * reach) / step + 1;
          // The offset k (0 ... count - 1) is -reach + step (k + 1); the first and last k that put
          // position p + offset inside 1 ... limit.
          auto firstInside = [&](int32_t p) { return std::max(0, CeilDivide(1 - p + reach, step) - 1); };
          auto lastInside = [&](int32_t p, int32_t limit) {
            return std::min(count - 1, FloorDivide(limit - p + reach, step) - 1);
          };
          const int32_t a0 = firstInside(x), a1 = lastInside(x, W - 2);
          const int32_t b0 = firstInside(y), b1 = lastInside(y, H - 2);
          float sum[3] = {0.0f, 0.0f, 0.0f};
          float weight = 0.0f;
          for (int32_t ib = b0; ib <= b1; ++ib) {
            const int32_t b = -reach + step * (ib + 1);
            const size_t row = static_cast<size_t>(y + b) * W;
            for (int32_t ia = a0; ia <= a1; ++ia) {
              const int32_t a = -reach + step * (ia + 1);
              const size_t at = row + static_cast<size_t>(x + a);
              if (!landed[at]) continue;
              const float squared = squaredDistance[distance[at] >> 8][distance[at] & 0xFF];
              const float w = squared * inverseDistance(a * a + b * b);
              const uint8_t* colour = &background[3 * at];
              sum[0] += w * colour[0];
              sum[1] += w * colour[1];
              sum[2] += w * colour[2];
              weight += w;
            }
          }
          uint8_t* out = &resolved[3 * (static_cast<size_t>(y) * W + static_cast<size_t>(x))];
          const float inverse = 1.0f / (weight + 1e-7f);
          for (int32_t c = 0; c < 3; ++c) out[c] = toByte(sum[c] * inverse);
        }
      }
    }

    // Into the view, softened where the background distance jumps by more than 10.
#pragma omp for schedule(dynamic, 16)
    for (int32_t y = 0; y < H; ++y) {
      uint8_t* out = view + y * stride;
      const uint8_t* in = &resolved[3 * static_cast<size_t>(y) * W];
      std::memcpy(out, in, static_cast<size_t>(3) * W - 2);
      out[3 * W - 2] = out[3 * W - 1] = 0;
      if (xInterp <= 0 || y > H - 3) continue;
      const uint16_t* far = &distance[static_cast<size_t>(y) * W];
      for (int32_t x = 0; x <= W - 7; ++x) {
        // Only steps of 10 and more can pass 10 (the table's roots lie within 1e-4 of d).
        if (std::abs((far[x + 1] & 0xFF) - (far[x] & 0xFF)) < 10) continue;
        if (!(std::fabs(rootDistance[far[x + 1] >> 8][far[x + 1] & 0xFF] -
                        rootDistance[far[x] >> 8][far[x] & 0xFF]) > 10.0)) {
          continue;
        }
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
