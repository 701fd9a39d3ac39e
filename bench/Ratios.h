#pragma once
// Speed targets as ratios: a subject benchmark must take at most `limit` times the time of a
// baseline benchmark measured in the same run. Benchmark files declare their targets next to the
// benchmarks; the runner prints every ratio after the run.

#include <string>
#include <vector>

namespace qv::bench {

struct RatioTarget {
  std::string subject;   // benchmark name
  std::string baseline;  // benchmark name
  double limit;          // subject time / baseline time must not exceed this
  std::string note;
};

std::vector<RatioTarget>& RatioTargets();

struct DeclareRatio {
  DeclareRatio(std::string subject, std::string baseline, double limit, std::string note = {}) {
    RatioTargets().push_back({std::move(subject), std::move(baseline), limit, std::move(note)});
  }
};

// A figure a benchmark reports as a counter (frames skipped, say) that must not exceed `limit`.
struct CounterLimit {
  std::string benchmark;
  std::string counter;
  double limit;
  std::string note;
};

std::vector<CounterLimit>& CounterLimits();

struct DeclareCounterLimit {
  DeclareCounterLimit(std::string benchmark, std::string counter, double limit,
                      std::string note = {}) {
    CounterLimits().push_back({std::move(benchmark), std::move(counter), limit, std::move(note)});
  }
};

}  // namespace qv::bench
