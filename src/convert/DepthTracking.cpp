// The engine's depth trackers: the full diamond search, exactly as the image processor's, and the
// fast predictive search against the engine's own reference frame. Both spread rows of blocks over
// the threads; blocks are compared through the block metrics.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "base/Numbers.h"
#include "convert/DepthEngine.h"
#include "image/Canvas.h"

namespace qv {

namespace {

constexpr int32_t kWorstDifference = kBlockBytes * kBlockRows * 255;  // 76500

// Rows of the fast tracker's frames: 3W bytes and 32 more, a multiple of 32.
ptrdiff_t PaddedStride(int32_t width) { return (3 * static_cast<ptrdiff_t>(width) + 32 + 31) & ~ptrdiff_t{31}; }

int32_t VectorLevel(int32_t dx, int32_t dy) {
  const double length = std::sqrt(static_cast<double>(dx) * dx + static_cast<double>(dy) * dy);
  return std::min(static_cast<int32_t>(RoundHalfEven(length)), 255);
}

// The offsets of a diamond search, (pixels right, rows up).
constexpr std::array<std::array<int32_t, 2>, 9> kLargeDiamond = {
    {{0, 0}, {-2, 0}, {2, 0}, {-1, 1}, {1, 1}, {0, 2}, {-1, -1}, {1, -1}, {0, -2}}};
constexpr std::array<std::array<int32_t, 2>, 4> kSmallDiamond = {{{-1, 0}, {1, 0}, {0, 1}, {0, -1}}};

// Search effort of the fast tracker by speed level: rows compared (every one or every other),
// steps of the one-pixel diamond, and whether two-pixel diamond rounds come first.
// A block that no starting guess fits (a mean difference above kPoorFit a byte) may have started
// moving fast: a coarse cross of far offsets is tried first where the level allows.
struct Effort {
  int32_t rowStep;
  int32_t refineSteps;
  bool largeRounds;
  bool coarseCross;
};
constexpr std::array<Effort, 5> kEffort = {{{1, 16, true, true},
                                            {1, 8, false, true},
                                            {2, 8, false, true},
                                            {2, 4, false, false},
                                            {2, 2, false, false}}};
constexpr int32_t kPoorFit = 6;
// A block that a starting guess fits this well (mean difference a byte) needs no wide search.
constexpr int32_t kGoodFit = 3;

// The frame's motion counts the blocks that found their match (a mean difference of at most
// kTracked a byte); blocks whose content has just come into view know nothing of it. When no
// block is tracked, every block counts.
constexpr int32_t kTracked = 10;

struct MotionSum {
  int64_t tracked = 0, trackedCount = 0, all = 0, allCount = 0;
  void Add(int32_t dx, int32_t difference) {
    all += dx;
    ++allCount;
    if (difference <= kTracked * kBlockBytes * kBlockRows) {
      tracked += dx;
      ++trackedCount;
    }
  }
  double Mean() const {
    if (trackedCount > 0) return static_cast<double>(tracked) / static_cast<double>(trackedCount);
    return allCount > 0 ? static_cast<double>(all) / static_cast<double>(allCount) : 0.0;
  }
};

// The shift s (|s| <= maxShift) for which current[i] best matches reference[i + s]: the mean
// absolute difference of two profiles (sums of a frame's columns or rows) over their overlap.
// It is the whole picture's pan, a starting guess for every block.
int16_t ProfileShift(const std::vector<int64_t>& current, const std::vector<int64_t>& reference) {
  const auto n = static_cast<int32_t>(current.size());
  const int32_t maxShift = std::min(64, n / 4);
  int32_t bestShift = 0;
  double bestCost = -1.0;
  for (int32_t distance = 0; distance <= maxShift; ++distance) {
    for (int32_t s : {distance, -distance}) {
      int64_t cost = 0;
      const int32_t from = std::max(0, -s);
      const int32_t to = std::min(n, n - s);
      for (int32_t i = from; i < to; ++i) cost += std::llabs(current[static_cast<size_t>(i)] - reference[static_cast<size_t>(i + s)]);
      const double mean = static_cast<double>(cost) / std::max(to - from, 1);
      if (bestCost < 0.0 || mean < bestCost) {
        bestCost = mean;
        bestShift = s;
      }
      if (distance == 0) break;
    }
  }
  return static_cast<int16_t>(bestShift);
}

}  // namespace

DepthEngine::DepthEngine() : metrics_(&FastBlockMetrics()) {}

namespace {
constexpr int32_t kTrialFrames = 4;
constexpr int32_t kCycleFrames = 240;
}  // namespace

int32_t DepthEngine::Threads() const {
#ifdef _OPENMP
  if (threads_ > 0) return threads_;
  const bool one = cycleFrame_ < kTrialFrames ? false : cycleFrame_ < 2 * kTrialFrames ? true : oneIsFaster_;
  return one ? 1 : omp_get_max_threads();
#else
  return 1;
#endif
}

// Each trial counts its fastest frame, so that a frame slowed by something else (the first one's
// allocations, another program) does not decide.
void DepthEngine::ReportFrameTime(double seconds) {
  if (cycleFrame_ < 2 * kTrialFrames) {
    double& fastest = trialSeconds_[cycleFrame_ / kTrialFrames];
    if (cycleFrame_ % kTrialFrames == 0 || seconds < fastest) fastest = seconds;
  }
  if (++cycleFrame_ == 2 * kTrialFrames) oneIsFaster_ = trialSeconds_[1] < trialSeconds_[0];
  if (cycleFrame_ == kCycleFrames) cycleFrame_ = 0;
}

void DepthEngine::Reset(const uint8_t* frame, int32_t width, int32_t height) {
  referenceWidth_ = referenceHeight_ = 0;
  vectors_.clear();
  meanVector_ = {};
  if (frame == nullptr || width <= 0 || height <= 0) return;
  TakeFrame(frame, width, height, referenceRows_, referenceColumns_);
  reference_.swap(incoming_);
  referenceWidth_ = width;
  referenceHeight_ = height;
  vectors_.assign(static_cast<size_t>(width / 10) * (height / 10), Vector{});
}

void DepthEngine::TakeFrame(const uint8_t* frame, int32_t width, int32_t height,
                            std::vector<int64_t>& rowSums, std::vector<int64_t>& columnSums) {
  const int32_t W = width;
  const int32_t H = height;
  const ptrdiff_t stride = StrideFor(W);
  const ptrdiff_t padded = PaddedStride(W);
  if (incoming_.size() != static_cast<size_t>(padded * H)) incoming_.assign(static_cast<size_t>(padded * H), 0);
  // Row sums over every fourth pixel, column sums over every fourth row.
  rowSums.assign(static_cast<size_t>(H), 0);
  columnSums.assign(static_cast<size_t>(W), 0);
#pragma omp parallel for num_threads(Threads()) schedule(dynamic, 16)
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* row = frame + y * stride;
    std::memcpy(incoming_.data() + y * padded, row, static_cast<size_t>(3) * W);
    int64_t sum = 0;
    for (int32_t x = 0; x < W; x += 4) sum += row[3 * x] + row[3 * x + 1] + row[3 * x + 2];
    rowSums[static_cast<size_t>(y)] = sum;
  }
  for (int32_t y = 0; y < H; y += 4) {
    const uint8_t* row = frame + y * stride;
    for (int32_t x = 0; x < W; ++x) columnSums[static_cast<size_t>(x)] += row[3 * x] + row[3 * x + 1] + row[3 * x + 2];
  }
}

void DepthEngine::CreateDepthMap(uint8_t* current, const uint8_t* previous, double& totalDifference,
                                 int32_t action, uint8_t* depthMap, int32_t width, int32_t height,
                                 double& motion) {
  totalDifference = 0.0;
  motion = 0.0;
  if (current == nullptr || width <= 0 || height <= 0) return;
  const int32_t W = width;
  const int32_t H = height;
  const ptrdiff_t stride = StrideFor(W);
  const int32_t columns = W / 10;
  const int32_t rows = H / 10;
  std::vector<Match> matches(static_cast<size_t>(std::max(columns, 0)) * std::max(rows, 0));
  if (!matches.empty() && previous == nullptr) throw err::ObjectNotSet();

  // Blocks are independent: each reads only its own part of the current frame before the depth is
  // written, the previous frame and the depth map. The search is the image processor's: its SADs
  // are taken four at a time, and the offsets are then tried in its order with its rules.
  auto valid = [&](int32_t px, int32_t py) { return px >= 1 && py >= 1 && px < 3 * W - 30 && py < H - 10; };
  const BlockMetrics& m = *metrics_;
  const auto count = static_cast<int32_t>(matches.size());
#pragma omp parallel for num_threads(Threads()) schedule(dynamic, 8)
  for (int32_t n = 0; n < count; ++n) {
    const int32_t bx = (n / rows) * kBlockBytes;
    const int32_t by = (n % rows) * kBlockRows;
    alignas(32) uint8_t block[kBlockRows * kBlockStride];
    MakeBlock(current + by * stride + bx, stride, block);
    // Readable for 10 rows of 32 bytes whenever a block exists; stands in for invalid positions.
    const uint8_t* safe = previous;
    auto at = [&](int32_t px, int32_t py) { return valid(px, py) ? previous + py * stride + px : safe; };

    int32_t best = kWorstDifference;
    int32_t bestX = bx;
    int32_t bestY = by;
    int32_t sx = 0;
    int32_t sy = 0;
    bool firstRound = true;
    while (true) {
      const int32_t limit = (sx == 0 && sy == 0) ? 20 : std::max(std::abs(sx), std::abs(sy));
      const int32_t cx = bestX;
      const int32_t cy = bestY;
      std::array<int32_t, 9> d{};
      // The centre has the best difference already, except in the first round.
      d[0] = firstRound && valid(cx, cy) ? m.sad(block, at(cx, cy), stride, 1) : kWorstDifference;
      for (int32_t group = 0; group < 2; ++group) {
        const uint8_t* positions[4];
        for (int32_t k = 0; k < 4; ++k) {
          const auto& [ox, oy] = kLargeDiamond[static_cast<size_t>(1 + 4 * group + k)];
          positions[k] = at(cx + 3 * ox, cy + oy);
        }
        m.sadX4(block, positions, stride, 1, &d[static_cast<size_t>(1 + 4 * group)]);
      }
      for (size_t k = 0; k < kLargeDiamond.size(); ++k) {
        const auto& [ox, oy] = kLargeDiamond[k];
        const int32_t px = cx + 3 * ox;
        const int32_t py = cy + oy;
        if (std::abs(ox - sx) > limit || std::abs(oy - sy) > limit || !valid(px, py)) continue;
        if (k == 0 && !firstRound) continue;
        if (d[k] < best) {
          best = d[k];
          bestX = px;
          bestY = py;
          sx = ox;
          sy = oy;
        }
      }
      firstRound = false;
      if (bestX != cx || bestY != cy) continue;
      const uint8_t* positions[4];
      for (size_t k = 0; k < 4; ++k) positions[k] = at(cx + 3 * kSmallDiamond[k][0], cy + kSmallDiamond[k][1]);
      std::array<int32_t, 4> small{};
      m.sadX4(block, positions, stride, 1, small.data());
      for (size_t k = 0; k < 4; ++k) {
        const int32_t px = cx + 3 * kSmallDiamond[k][0];
        const int32_t py = cy + kSmallDiamond[k][1];
        if (valid(px, py) && small[k] < best) {
          best = small[k];
          bestX = px;
          bestY = py;
        }
      }
      break;
    }
    matches[static_cast<size_t>(n)] = Match{bestX, bestY, best};
  }

  MotionSum shift;
  for (int32_t n = 0; n < count; ++n) {
    const Match& match = matches[static_cast<size_t>(n)];
    totalDifference += match.difference;
    shift.Add(match.x - (n / rows) * kBlockBytes, match.difference);
  }
  motion = shift.Mean() / 3.0;
  WriteDepth(current, W, H, action, depthMap, matches);
}

DepthEngine::Match DepthEngine::FastSearch(const uint8_t* block, int32_t bx, int32_t by, int32_t width,
                                           int32_t height, const Vector* predictors,
                                           int32_t predictorCount, int32_t speedLevel) const {
  const Effort effort = kEffort[static_cast<size_t>(speedLevel - 1)];
  const ptrdiff_t stride = PaddedStride(width);
  const uint8_t* frame = reference_.data();
  const int32_t lastX = width - 10;  // pixels: every block position lies wholly inside the frame
  const int32_t lastY = height - 10;
  const int32_t x0 = bx / 3;
  auto valid = [&](int32_t dx, int32_t dy) {
    return x0 + dx >= 0 && x0 + dx <= lastX && by + dy >= 0 && by + dy <= lastY;
  };
  auto at = [&](int32_t dx, int32_t dy) {
    return valid(dx, dy) ? frame + (by + dy) * stride + 3 * (x0 + dx) : frame;
  };
  const BlockMetrics& m = *metrics_;

  int32_t bestX = 0, bestY = 0;
  int32_t best = m.sad(block, at(0, 0), stride, effort.rowStep);
  for (int32_t k = 0; k < predictorCount; ++k) {
    const Vector v = predictors[k];
    if ((v.dx == 0 && v.dy == 0) || !valid(v.dx, v.dy)) continue;
    bool seen = false;
    for (int32_t e = 0; e < k; ++e) seen = seen || (predictors[e].dx == v.dx && predictors[e].dy == v.dy);
    if (seen) continue;
    const int32_t d = m.sad(block, at(v.dx, v.dy), stride, effort.rowStep);
    if (d < best) {
      best = d;
      bestX = v.dx;
      bestY = v.dy;
    }
  }
  // Tries the offsets around the best vector, four at a time; true when one was better.
  auto around = [&](const auto& offsets) {
    const int32_t cx = bestX, cy = bestY;
    bool moved = false;
    for (size_t first = 0; first < offsets.size(); first += 4) {
      const uint8_t* positions[4];
      std::array<int32_t, 4> d{};
      for (size_t k = 0; k < 4; ++k) positions[k] = at(cx + offsets[first + k][0], cy + offsets[first + k][1]);
      m.sadX4(block, positions, stride, effort.rowStep, d.data());
      for (size_t k = 0; k < 4; ++k) {
        const int32_t dx = cx + offsets[first + k][0];
        const int32_t dy = cy + offsets[first + k][1];
        if (valid(dx, dy) && d[k] < best) {
          best = d[k];
          bestX = dx;
          bestY = dy;
          moved = true;
        }
      }
    }
    return moved;
  };
  static constexpr std::array<std::array<int32_t, 2>, 8> kRing = {
      {{-2, 0}, {2, 0}, {-1, 1}, {1, 1}, {0, 2}, {-1, -1}, {1, -1}, {0, -2}}};
  static constexpr std::array<std::array<int32_t, 2>, 12> kCross = {
      {{-4, 0}, {4, 0}, {-8, 0}, {8, 0}, {-16, 0}, {16, 0}, {-32, 0}, {32, 0},
       {0, -4}, {0, 4}, {0, -8}, {0, 8}}};
  const int32_t rowsCompared = (kBlockRows + effort.rowStep - 1) / effort.rowStep;
  if (effort.coarseCross && best > kPoorFit * kBlockBytes * rowsCompared) around(kCross);
  if (effort.largeRounds && best > kGoodFit * kBlockBytes * rowsCompared) {
    for (int32_t round = 0; round < 16 && around(kRing); ++round) {
    }
  }
  for (int32_t step = 0; step < effort.refineSteps && around(kSmallDiamond); ++step) {
  }
  if (effort.rowStep != 1) best = m.sad(block, at(bestX, bestY), stride, 1);
  return Match{bx + 3 * bestX, by + bestY, best};
}

void DepthEngine::CreateDepthMapFast(uint8_t* current, const uint8_t* /*previous*/,
                                     double& totalDifference, int32_t action, uint8_t* depthMap,
                                     int32_t width, int32_t height, double& motion,
                                     int32_t speedLevel) {
  totalDifference = 0.0;
  motion = 0.0;
  if (current == nullptr || width <= 0 || height <= 0) return;
  const std::vector<Match> matches = TrackFast(current, width, height, speedLevel, totalDifference, motion);
  WriteDepth(current, width, height, action, depthMap, matches);
}

void DepthEngine::CreateDepthPlaneFast(const uint8_t* frame, double& totalDifference, int32_t action,
                                       uint8_t* depthMap, int32_t width, int32_t height,
                                       double& motion, int32_t speedLevel) {
  totalDifference = 0.0;
  motion = 0.0;
  if (frame == nullptr || width <= 0 || height <= 0) return;
  const std::vector<Match> matches = TrackFast(frame, width, height, speedLevel, totalDifference, motion);
  WritePlane(frame, width, height, action, depthMap, matches);
}

void DepthEngine::ClearDepthPlane() { std::fill(depthPlane_.begin(), depthPlane_.end(), uint8_t{0}); }

std::vector<DepthEngine::Match> DepthEngine::TrackFast(const uint8_t* frame, int32_t width,
                                                       int32_t height, int32_t speedLevel,
                                                       double& totalDifference, double& motion) {
  const int32_t W = width;
  const int32_t H = height;
  speedLevel = Clamp(speedLevel, 1, 5);
  const ptrdiff_t padded = PaddedStride(W);
  const int32_t threads = Threads();

  std::vector<int64_t> rowSums, columnSums;
  TakeFrame(frame, W, H, rowSums, columnSums);
  const int32_t columns = W / 10;
  const int32_t rows = H / 10;
  const size_t count = static_cast<size_t>(std::max(columns, 0)) * std::max(rows, 0);
  if (referenceWidth_ != W || referenceHeight_ != H) {
    // No reference yet: the frame is its own, every vector 0.
    reference_ = incoming_;
    referenceWidth_ = W;
    referenceHeight_ = H;
    vectors_.assign(count, Vector{});
    meanVector_ = {};
    referenceRows_ = rowSums;
    referenceColumns_ = columnSums;
  }
  const Vector pan{ProfileShift(columnSums, referenceColumns_), ProfileShift(rowSums, referenceRows_)};
  referenceRows_ = std::move(rowSums);
  referenceColumns_ = std::move(columnSums);

  std::vector<Match> matches(count);
  std::vector<Vector> found(count);
  const Vector mean = meanVector_;
  // Rows of blocks in parallel; along a row each block can start from its left neighbour's vector.
#pragma omp parallel for num_threads(threads) schedule(dynamic, 2)
  for (int32_t j = 0; j < rows; ++j) {
    alignas(32) uint8_t block[kBlockRows * kBlockStride];
    for (int32_t i = 0; i < columns; ++i) {
      const size_t n = static_cast<size_t>(i) * rows + j;
      const int32_t bx = i * kBlockBytes;
      const int32_t by = j * kBlockRows;
      MakeBlock(incoming_.data() + by * padded + bx, padded, block);
      std::array<Vector, 6> predictors = {vectors_[n], i > 0 ? found[n - rows] : Vector{}, pan, mean,
                                          j > 0 ? vectors_[n - 1] : Vector{},
                                          j + 1 < rows ? vectors_[n + 1] : Vector{}};
      const Match match = FastSearch(block, bx, by, W, H, predictors.data(),
                                     speedLevel >= 4 ? 3 : 6, speedLevel);
      matches[n] = match;
      found[n] = Vector{static_cast<int16_t>((match.x - bx) / 3), static_cast<int16_t>(match.y - by)};
    }
  }

  MotionSum shiftX, shiftY;
  for (size_t n = 0; n < count; ++n) {
    totalDifference += matches[n].difference;
    shiftX.Add(found[n].dx, matches[n].difference);
    shiftY.Add(found[n].dy, matches[n].difference);
  }
  motion = shiftX.Mean();
  meanVector_ = Vector{static_cast<int16_t>(RoundHalfEven(motion)), static_cast<int16_t>(RoundHalfEven(shiftY.Mean()))};
  vectors_ = std::move(found);
  reference_.swap(incoming_);
  return matches;
}

void DepthEngine::WriteDepth(uint8_t* current, int32_t width, int32_t height, int32_t action,
                             uint8_t* depthMap, const std::vector<Match>& matches) {
  const int32_t W = width;
  const int32_t H = height;
  const ptrdiff_t stride = StrideFor(W);
  const ptrdiff_t mapStride = static_cast<ptrdiff_t>(W) + 1;
  const int32_t columns = W / 10;
  const int32_t rows = H / 10;
  const int32_t threads = Threads();
  std::array<uint8_t, 256> threeQuarters{};
  for (int32_t v = 0; v < 256; ++v) threeQuarters[static_cast<size_t>(v)] = ToByteChecked(0.75 * v);

  // Blocks: reads the old depth map, writes the frame.
  if (action >= 0 && action <= 2) {
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
    for (int32_t j = 0; j < rows; ++j) {
      for (int32_t i = 0; i < columns; ++i) {
        const Match& match = matches[static_cast<size_t>(i) * rows + j];
        const int32_t bx = i * kBlockBytes;
        const int32_t by = j * kBlockRows;
        const int32_t level = VectorLevel(match.x - bx, match.y - by);
        const uint8_t quarter = ToByteChecked(0.25 * level);
        for (int32_t r = 0; r < kBlockRows; ++r) {
          uint8_t* out = current + (by + r) * stride + bx;
          const uint8_t* previous = depthMap + (match.y + r) * mapStride + match.x / 3;
          for (int32_t k = 0; k < 10; ++k) {
            const uint8_t v = action == 0   ? static_cast<uint8_t>(level)
                              : action == 2 ? previous[k]
                                            : static_cast<uint8_t>(threeQuarters[previous[k]] + quarter);
            out[3 * k] = out[3 * k + 1] = out[3 * k + 2] = v;
          }
        }
      }
    }
  }

  // Margins as the image processor clears them, then the new levels into the depth map.
  const int32_t clearFrom = std::max((columns - 1) * kBlockBytes, 0);
  const int32_t clearRowsFrom = std::max((rows - 1) * kBlockRows, 0);
  const int32_t clearTo = 3 * W - 3;
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = current + y * stride;
    const int32_t from = y >= clearRowsFrom ? 0 : clearFrom;
    if (from <= clearTo) std::memset(row + from, 0, static_cast<size_t>(clearTo - from + 1));
    uint8_t* map = depthMap + y * mapStride;
    for (int32_t x = 0; x < W; ++x) map[x] = row[3 * x];
  }
}

// The depth plane of WriteDepth's image: the levels its blue bytes get.
void DepthEngine::WritePlane(const uint8_t* frame, int32_t width, int32_t height, int32_t action,
                             uint8_t* depthMap, const std::vector<Match>& matches) {
  const int32_t W = width;
  const int32_t H = height;
  const ptrdiff_t stride = StrideFor(W);
  const ptrdiff_t mapStride = static_cast<ptrdiff_t>(W) + 1;
  const int32_t columns = W / 10;
  const int32_t rows = H / 10;
  const int32_t threads = Threads();
  depthPlane_.resize(static_cast<size_t>(W) * H);
  planeWidth_ = W;
  planeHeight_ = H;
  uint8_t* plane = depthPlane_.data();
  std::array<uint8_t, 256> threeQuarters{};
  for (int32_t v = 0; v < 256; ++v) threeQuarters[static_cast<size_t>(v)] = ToByteChecked(0.75 * v);

  if (action >= 0 && action <= 2) {
#pragma omp parallel for num_threads(threads) schedule(dynamic, 2)
    for (int32_t j = 0; j < rows; ++j) {
      for (int32_t i = 0; i < columns; ++i) {
        const Match& match = matches[static_cast<size_t>(i) * rows + j];
        const int32_t bx = i * kBlockBytes;
        const int32_t by = j * kBlockRows;
        const int32_t level = VectorLevel(match.x - bx, match.y - by);
        const uint8_t quarter = ToByteChecked(0.25 * level);
        for (int32_t r = 0; r < kBlockRows; ++r) {
          uint8_t* out = plane + static_cast<ptrdiff_t>(by + r) * W + bx / 3;
          const uint8_t* previous = depthMap + (match.y + r) * mapStride + match.x / 3;
          if (action == 0) {
            std::memset(out, level, 10);
          } else if (action == 2) {
            std::memcpy(out, previous, 10);
          } else {
            for (int32_t k = 0; k < 10; ++k) out[k] = static_cast<uint8_t>(threeQuarters[previous[k]] + quarter);
          }
        }
      }
    }
  } else {
    // Blocks left as they are: their levels are the frame's blue bytes.
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
    for (int32_t y = 0; y < H; ++y) {
      const uint8_t* row = frame + y * stride;
      for (int32_t x = 0; x < W; ++x) plane[static_cast<ptrdiff_t>(y) * W + x] = row[3 * x];
    }
  }

  const int32_t clearFrom = std::max(columns - 1, 0) * 10;  // pixels
  const int32_t clearRowsFrom = std::max((rows - 1) * kBlockRows, 0);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 16)
  for (int32_t y = 0; y < H; ++y) {
    uint8_t* row = plane + static_cast<ptrdiff_t>(y) * W;
    const int32_t from = y >= clearRowsFrom ? 0 : clearFrom;
    std::memset(row + from, 0, static_cast<size_t>(W - from));
    std::memcpy(depthMap + y * mapStride, row, static_cast<size_t>(W));
  }
}

}  // namespace qv
