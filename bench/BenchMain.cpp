// Runs every benchmark, then prints each speed target as subject / baseline beside its limit.
// Exits 1 when a target is missed.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

#include "Ratios.h"

namespace qv::bench {

std::vector<RatioTarget>& RatioTargets() {
  static std::vector<RatioTarget> targets;
  return targets;
}

std::vector<CounterLimit>& CounterLimits() {
  static std::vector<CounterLimit> limits;
  return limits;
}

namespace {

// Console output as usual, and the real time per iteration of every run kept by name.
class CollectingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const double perIteration =
          run.GetAdjustedRealTime() * benchmark::GetTimeUnitMultiplier(run.time_unit);
      // With repetitions the median stands for the benchmark; without, its single run.
      std::string name;
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        name = run.run_name.function_name;
      } else if (run.run_type == Run::RT_Iteration && run.repetitions <= 1) {
        // Named without the iteration count and time kind that the run's full name carries.
        name = run.run_name.function_name;
        if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
      } else {
        continue;
      }
      seconds[name] = perIteration;
      for (const auto& [counter, value] : run.counters) counters[name][counter] = value.value;
    }
  }
  std::map<std::string, double> seconds;
  std::map<std::string, std::map<std::string, double>> counters;
};

}  // namespace
}  // namespace qv::bench

int main(int argc, char** argv) {
  using namespace qv::bench;
  benchmark::Initialize(&argc, argv);
#ifdef QUORVEX_BUILD_FLAGS
  std::printf("built as %s\n", QUORVEX_BUILD_FLAGS);
#endif
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  int missed = 0;
  std::printf("\n%-44s %-34s %8s %7s\n", "subject", "baseline", "ratio", "limit");
  for (const RatioTarget& t : RatioTargets()) {
    const auto s = reporter.seconds.find(t.subject);
    const auto b = reporter.seconds.find(t.baseline);
    if (s == reporter.seconds.end() || b == reporter.seconds.end()) continue;  // filtered out
    const double ratio = s->second / b->second;
    const bool ok = ratio <= t.limit;
    missed += !ok;
    std::printf("%-44s %-34s %8.3f %7.2f  %s %s\n", t.subject.c_str(), t.baseline.c_str(), ratio,
                t.limit, ok ? "ok" : "MISSED", t.note.c_str());
  }
  for (const CounterLimit& c : CounterLimits()) {
    const auto run = reporter.counters.find(c.benchmark);
    if (run == reporter.counters.end()) continue;  // filtered out
    const auto value = run->second.find(c.counter);
    const bool ok = value != run->second.end() && value->second <= c.limit;
    missed += !ok;
    std::printf("%-44s %-34s %8.3f %7.2f  %s %s\n", c.benchmark.c_str(), c.counter.c_str(),
                value != run->second.end() ? value->second : -1.0, c.limit, ok ? "ok" : "MISSED",
                c.note.c_str());
  }
  return missed == 0 ? 0 : 1;
}
