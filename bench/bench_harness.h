// What every benchmark binary shares: wall-clock timing, medians, the paired
// comparison with a peer (the two sides alternate which runs first, and the
// ratio reported is the median of the per-iteration ratios, so a slow moment
// of the machine hits both sides of one pair), and the main function.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vekmesh::bench {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start);

// Seconds taken by `work`.
template <class Work>
double timed(Work&& work) {
  const Clock::time_point start = Clock::now();
  work();
  return secondsSince(start);
}

double median(std::vector<double> values);

// The sizes the benchmarks sweep.
constexpr size_t kSize10k = 10000;
constexpr size_t kSize100k = 100000;
constexpr size_t kSize1M = 1000000;
constexpr size_t kSize4M = 4000000;

// Per-iteration seconds of our side and, when a peer ran, of the peer and of
// ours / peer.
struct PairedTimes {
  std::vector<double> ours, theirs, ratios;
  size_t iterations = 0;
  bool paired() const { return !theirs.empty(); }
  double oursMs() const { return 1e3 * median(ours); }
  double theirsMs() const { return 1e3 * median(theirs); }
  double ratio() const { return median(ratios); }
};

// Runs the benchmark loop of `state`. Each side returns the seconds of its own
// timed span, so that setup and release stay outside it; the iteration time
// reported to the library is ours. Without `theirs`, ours runs alone.
PairedTimes runPaired(benchmark::State& state, const std::function<double()>& ours,
                      const std::function<double()>& theirs = nullptr);

// Fails a case before any timing (the library still wants its loop run).
void skipCase(benchmark::State& state, const char* why);

// Registers a case of `iterations` fixed runs (fixed so that a whole binary
// stays short), timed by the seconds each run reports, in milliseconds.
void registerCase(const std::string& name, int iterations,
                  std::function<void(benchmark::State&)> run);

// Each benchmark binary defines these two; bench_main.cpp registers the
// cases, runs those the command line selects, then prints the summary and
// exits non-zero when it says a budget was missed.
void registerCases();
bool summarize();

}  // namespace vekmesh::bench
