// What a shuffled triangle order costs each pass of loading and repairing, in
// one process: the same holed sphere soup in order and shuffled (triangles
// shuffled, corners rotated), each pass timed on both, the two sides
// alternated, and the ratio shuffled / in order taken per pair. Besides the
// wall clock it reads the process's user CPU time around each pass: the
// kernel's time for first touches of fresh pages (which on a virtual machine
// can swing by tens of milliseconds from run to run) is left out of that one,
// so it shows the cost of the order more steadily (OpenMP workers that spin
// while one thread works still count in it).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "broken_sphere.h"
#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"
#include "repair/mesh_census.h"
#include "repair/repair_pipeline.h"

namespace vekmesh {
namespace bench {
namespace {

// What the whole load and repair may cost on a shuffled soup, relative to the
// same soup in order.
constexpr double kOrderRatioBudget = 1.3;

struct Size {
  const char* label;
  size_t triangles;
  int iterations;
};
const Size kSizes[] = {{"1M", kSize1M, 7}, {"4M", kSize4M, 3}};

// The two soups of one size: the same triangles, the second shuffled after
// the holes are punched, from the same random stream (as make_soup makes them).
struct Soups {
  std::vector<float> in_order, shuffled;
};

Soups holedSphere(size_t triangles) {
  test::SplitMix rng{1};
  test::SphereWork sphere = test::intactSphere(triangles, 50.0f);
  test::punchHoles(sphere, rng);
  return {test::orderedSoup(sphere), test::shuffledSoup(sphere, rng)};
}

void load(SubMesh& mesh, const std::vector<float>& soup) {
  buildTriMesh(mesh, static_cast<uint32_t>(soup.size() / 9), soup.data(), nullptr, nullptr,
               nullptr);
}

// A pass: `prepare` brings a fresh mesh to the state the pass starts from,
// outside the timers; `pass` is timed.
struct Pass {
  const char* name;
  const char* holds;  // what the timed span includes
  std::function<void(SubMesh&, CornerAdjacency&, const std::vector<float>&)> prepare;
  std::function<void(SubMesh&, CornerAdjacency&, const std::vector<float>&)> pass;
};

const Pass kPasses[] = {
    {"load", "buildTriMesh: the weld, the faces and the incidence lists",
     [](SubMesh&, CornerAdjacency&, const std::vector<float>&) {},
     [](SubMesh& m, CornerAdjacency&, const std::vector<float>& soup) { load(m, soup); }},
    {"adjacency", "buildCornerAdjacency with the duplicate list",
     [](SubMesh& m, CornerAdjacency&, const std::vector<float>& soup) { load(m, soup); },
     [](SubMesh& m, CornerAdjacency& a, const std::vector<float>&) {
       a = buildCornerAdjacency(m, RemovedFaces::kSkip, true);
     }},
    {"shells", "buildShells from a finished adjacency",
     [](SubMesh& m, CornerAdjacency& a, const std::vector<float>& soup) {
       load(m, soup);
       a = buildCornerAdjacency(m, RemovedFaces::kSkip, true);
     },
     [](SubMesh& m, CornerAdjacency& a, const std::vector<float>&) { buildShells(m, a); }},
    {"census", "takeCensus: edge, shell, volume and area counts",
     [](SubMesh& m, CornerAdjacency& a, const std::vector<float>& soup) {
       load(m, soup);
       a = buildShellsWithAdjacency(m, true);
     },
     [](SubMesh& m, CornerAdjacency& a, const std::vector<float>&) {
       benchmark::DoNotOptimize(takeCensus(m, a, nullptr).faces);
     }},
    {"repair", "repairMesh, holes filled and duplicates removed at every size",
     [](SubMesh& m, CornerAdjacency&, const std::vector<float>& soup) { load(m, soup); },
     [](SubMesh& m, CornerAdjacency&, const std::vector<float>&) {
       repairMesh(m, {HoleFilling::kAlways, DuplicateRemoval::kAlways});
     }},
};

double userSeconds() {
  rusage use{};
  getrusage(RUSAGE_SELF, &use);
  return static_cast<double>(use.ru_utime.tv_sec) +
         1e-6 * static_cast<double>(use.ru_utime.tv_usec);
}

// One timed run of `pass` on a fresh mesh: wall seconds returned, user CPU
// seconds appended to `user`. The mesh is released outside both.
double timePass(const Pass& pass, const std::vector<float>& soup, std::vector<double>& user) {
  SubMesh mesh;
  CornerAdjacency adjacency;
  pass.prepare(mesh, adjacency, soup);
  const double user_start = userSeconds();
  const double seconds = timed([&] { pass.pass(mesh, adjacency, soup); });
  user.push_back(userSeconds() - user_start);
  benchmark::DoNotOptimize(mesh.faces.data());
  return seconds;
}

struct Row {
  std::string name;
  const char* holds;
  double in_order_ms = 0.0, shuffled_ms = 0.0;
  std::vector<double> wall_ratios, user_ratios;
};
std::vector<Row> g_rows;

void benchOrder(benchmark::State& state, const Pass& pass, const Size& size) {
  const Soups soups = holedSphere(size.triangles);
  std::vector<double> user_in_order, user_shuffled;
  const PairedTimes times = runPaired(
      state, [&] { return timePass(pass, soups.shuffled, user_shuffled); },
      [&] { return timePass(pass, soups.in_order, user_in_order); });
  Row row;
  row.name = std::string("Order/") + pass.name + "/" + size.label;
  row.holds = pass.holds;
  row.in_order_ms = times.theirsMs();
  row.shuffled_ms = times.oursMs();
  row.wall_ratios = times.ratios;
  for (size_t i = 0; i < user_shuffled.size() && i < user_in_order.size(); ++i)
    if (user_in_order[i] > 0.0) row.user_ratios.push_back(user_shuffled[i] / user_in_order[i]);
  state.counters["in_order_ms"] = row.in_order_ms;
  state.counters["shuffled_ms"] = row.shuffled_ms;
  state.counters["ratio"] = times.ratio();
  state.counters["user_cpu_ratio"] = median(row.user_ratios);
  g_rows.push_back(std::move(row));
}

std::string ratioText(const std::vector<double>& ratios) {
  if (ratios.empty()) return "-";
  const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
  char text[64];
  std::snprintf(text, sizeof text, "%.2f [%.2f..%.2f]", median(ratios), *low, *high);
  return text;
}

}  // namespace

void registerCases() {
  for (const Size& size : kSizes)
    for (const Pass& pass : kPasses)
      registerCase(std::string("Order/") + pass.name + "/" + size.label, size.iterations,
                   [&pass, &size](benchmark::State& state) { benchOrder(state, pass, size); });
}

// The repair rows hold the target; the passes show where the rest goes.
bool summarize() {
  if (g_rows.empty()) return true;
  std::printf(
      "\nOrder summary: the holed sphere soup shuffled (triangles shuffled, corners rotated)\n"
      "against the same soup in order, on every OpenMP thread; medians of the paired ratios\n"
      "shuffled / in order [min..max]. wall: the clock; user CPU: the process's user time\n"
      "(all threads), which leaves out the kernel's first touches of fresh pages. Each pass\n"
      "starts from a fresh mesh brought to its state outside the timers:\n");
  for (const Pass& pass : kPasses) std::printf("  %-10s %s\n", pass.name, pass.holds);
  std::printf("%-22s %12s %12s %22s %22s\n", "case", "in order ms", "shuffled ms", "wall ratio",
              "user CPU ratio");
  bool ok = true;
  for (const Row& row : g_rows) {
    std::printf("%-22s %12.1f %12.1f %22s %22s\n", row.name.c_str(), row.in_order_ms,
                row.shuffled_ms, ratioText(row.wall_ratios).c_str(),
                ratioText(row.user_ratios).c_str());
    if (row.name.rfind("Order/repair/", 0) == 0) {
      const bool met = median(row.wall_ratios) <= kOrderRatioBudget;
      std::printf("  shuffled / in order %.2f (target <= %.1f): %s\n", median(row.wall_ratios),
                  kOrderRatioBudget, met ? "ok" : "MISSED");
      ok = ok && met;
    }
  }
  return ok;
}

}  // namespace bench
}  // namespace vekmesh
