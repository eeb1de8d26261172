// The main function of every benchmark binary (see bench_harness.h).
#include "bench/bench_harness.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  vekmesh::bench::registerCases();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return vekmesh::bench::summarize() ? 0 : 1;
}
