#pragma once
// HighResTimer: a stopwatch over the monotonic clock, counting in ticks of Frequency() per second.
// Elapsed() is the difference of the last StopTimer and StartTimer readings in ticks; it does not
// read the clock itself. Seconds are Elapsed() / Frequency().

#include <cstdint>

namespace qv {

class HighResTimer {
 public:
  // Reads the clock into count; false when the clock cannot be read.
  using ClockReader = bool (*)(int64_t& count);
  // Reads the clock's ticks per second; false when it has no high-resolution clock.
  using FrequencyReader = bool (*)(int64_t& frequency);

  HighResTimer();
  // For tests: a clock of one's own.
  HighResTimer(ClockReader clock, FrequencyReader frequency);

  void StartTimer();
  void StopTimer();
  double Elapsed();
  // Ticks per second. Raises error 0x800403E8 (source "Fast Timer Demo") when the hardware has no
  // high-resolution clock.
  double Frequency();

 private:
  // A counter value given as two 32-bit halves, both read as unsigned.
  static double CountToDouble(int32_t low, int32_t high);

  ClockReader clock_;
  FrequencyReader frequencyReader_;
  int64_t startCount_ = 0;
  int64_t stopCount_ = 0;
  int64_t frequency_ = 0;
  bool lastResult_ = false;
  double start_ = 0.0;
  double stop_ = 0.0;
};

inline constexpr int32_t kErrNoHighResolutionTimer = static_cast<int32_t>(0x800403E8u);

// The stage timer of the frame loop and its ticks per second. The program has one (ProcessTiming),
// set up once at start-up; the conversion restarts it at its own start, so the loop's stage
// figures and the conversion's share it. User-interface thread only.
struct Timing {
  HighResTimer PerfTimer;
  double PerfFrequency = 0.0;
};

// The program's stage timer. Its frequency is read on first use (StartEngine reads it again, so
// that a machine without a high-resolution clock is reported at start-up).
Timing& ProcessTiming();

}  // namespace qv
