// Timing, medians and the paired runs of bench_harness.h.
#include "bench/bench_harness.h"

#include <algorithm>
#include <utility>

namespace vekmesh::bench {

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const size_t mid = values.size() / 2;
  return values.size() % 2 ? values[mid] : 0.5 * (values[mid - 1] + values[mid]);
}

PairedTimes runPaired(benchmark::State& state, const std::function<double()>& ours,
                      const std::function<double()>& theirs) {
  PairedTimes times;
  for (auto _ : state) {
    double ours_s = 0.0;
    if (theirs) {
      // Alternate the order so that neither side always runs on a cache (and
      // a heap) the other one just warmed or churned.
      double theirs_s = 0.0;
      if (times.iterations % 2 == 0) {
        ours_s = ours();
        theirs_s = theirs();
      } else {
        theirs_s = theirs();
        ours_s = ours();
      }
      times.theirs.push_back(theirs_s);
      times.ratios.push_back(ours_s / theirs_s);
    } else {
      ours_s = ours();
    }
    ++times.iterations;
    times.ours.push_back(ours_s);
    state.SetIterationTime(ours_s);
  }
  return times;
}

void skipCase(benchmark::State& state, const char* why) {
  state.SkipWithError(why);
  for (auto _ : state) {
  }
}

void registerCase(const std::string& name, int iterations,
                  std::function<void(benchmark::State&)> run) {
  benchmark::RegisterBenchmark(name.c_str(), std::move(run))
      ->Iterations(iterations)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

}  // namespace vekmesh::bench
