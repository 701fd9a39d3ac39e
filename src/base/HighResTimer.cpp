#include "base/HighResTimer.h"

#include <ctime>

#include "base/Error.h"

namespace qv {

namespace {

bool ReadMonotonic(int64_t& count) {
  timespec ts{};
  if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0) return false;
  count = static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
  return true;
}

bool MonotonicFrequency(int64_t& frequency) {
  timespec resolution{};
  if (clock_getres(CLOCK_MONOTONIC, &resolution) != 0) return false;
  // Readings are in nanoseconds; a clock coarser than a millisecond is not high-resolution.
  if (resolution.tv_sec != 0 || resolution.tv_nsec > 1000000) return false;
  frequency = 1000000000;
  return true;
}

int32_t Low(int64_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(v));
}
int32_t High(int64_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v) >> 32));
}

}  // namespace

HighResTimer::HighResTimer() : HighResTimer(ReadMonotonic, MonotonicFrequency) {}

HighResTimer::HighResTimer(ClockReader clock, FrequencyReader frequency)
    : clock_(clock), frequencyReader_(frequency) {}

void HighResTimer::StartTimer() {
  lastResult_ = clock_(startCount_);
}

void HighResTimer::StopTimer() {
  lastResult_ = clock_(stopCount_);
}

double HighResTimer::Elapsed() {
  start_ = CountToDouble(Low(startCount_), High(startCount_));
  stop_ = CountToDouble(Low(stopCount_), High(stopCount_));
  return stop_ - start_;
}

double HighResTimer::Frequency() {
  lastResult_ = frequencyReader_(frequency_);
  if (!lastResult_) {
    throw AppError(kErrNoHighResolutionTimer, "Fast Timer Demo",
                   "The hardware does not support high resolution timing");
  }
  return CountToDouble(Low(frequency_), High(frequency_));
}

double HighResTimer::CountToDouble(int32_t low, int32_t high) {
  constexpr double kTwo32 = 4294967296.0;
  double lowPart = low;
  double highPart = high;
  if (lowPart < 0) lowPart += kTwo32;
  if (highPart < 0) highPart += kTwo32;
  return highPart * kTwo32 + lowPart;
}

Timing& ProcessTiming() {
  static Timing timing = [] {
    Timing t;
    try {
      t.PerfFrequency = t.PerfTimer.Frequency();
    } catch (const AppError&) {
      t.PerfFrequency = 0.0;  // reported by StartEngine; stage times then stay at 0
    }
    return t;
  }();
  return timing;
}

}  // namespace qv
