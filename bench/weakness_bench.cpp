// weaknessDetect as a host calls it, through the shared library, on UV
// spheres and tori of 100k and 1M triangles about 100 units across: welding,
// the reduction its face count calls for, shells, the sectional analysis in
// 13 directions and the result arrays. No peer; one untimed run also times
// the steps on the core, so that the total can be read by its parts.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "analysis/sectional_analysis.h"
#include "analysis/weakness_reduction.h"
#include "bench/bench_harness.h"
#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace bench {
namespace {

struct Row {
  std::string name;
  size_t triangles = 0;
  double ms = 0.0;
  int32_t polygons = 0;
  double weld_ms = 0.0, reduce_ms = 0.0, topology_ms = 0.0, analysis_ms = 0.0;
  size_t analysed_faces = 0;
};
std::vector<Row> g_rows;

void benchWeakness(benchmark::State& state, const std::string& name,
                   const std::vector<float>& soup) {
  const uint32_t count = static_cast<uint32_t>(soup.size() / 9);
  Row row;
  row.name = name;
  row.triangles = count;
  const PairedTimes times = runPaired(state, [&] {
    float* points = nullptr;
    uint32_t* bits = nullptr;
    int32_t* counts = nullptr;
    const double s = timed([&] {
      weaknessDetect(soup.data(), count, &points, &bits, &counts, &row.polygons, nullptr);
    });
    freeAllArray();
    return s;
  });
  row.ms = times.oursMs();
  TriMesh mesh;
  row.weld_ms =
      1e3 * timed([&] { buildTriMesh(mesh, count, soup.data(), nullptr, nullptr, nullptr); });
  row.reduce_ms = 1e3 * timed([&] { reduceForWeakness(mesh); });
  row.topology_ms = 1e3 * timed([&] { rebuildTopology(mesh); });
  row.analysed_faces = mesh.faces.size();
  row.analysis_ms = 1e3 * timed([&] { sectionalAnalysis(mesh, 0.5f, 0); });
  state.counters["ms"] = row.ms;
  state.counters["polygons"] = row.polygons;
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return true;
  std::printf(
      "\nweaknessDetect through the shared library (median ms), and one run of its steps on the "
      "core\n");
  std::printf("%-28s %10s %9s %9s %8s %9s %9s %10s %11s\n", "case", "triangles", "ms", "polygons",
              "weld", "reduce", "shells", "analysed", "analysis");
  for (const Row& r : g_rows)
    std::printf("%-28s %10zu %9.1f %9d %8.1f %9.1f %9.1f %10zu %11.1f\n", r.name.c_str(),
                r.triangles, r.ms, r.polygons, r.weld_ms, r.reduce_ms, r.topology_ms,
                r.analysed_faces, r.analysis_ms);
  return true;
}

void registerCases() {
  for (const auto& [label, size, iterations] :
       {std::tuple<const char*, size_t, int>{"100k", kSize100k, 5},
        std::tuple<const char*, size_t, int>{"1M", kSize1M, 3}}) {
    const std::string sphere = std::string("WeaknessDetect/sphere") + label;
    registerCase(sphere, iterations, [sphere, size = size](benchmark::State& state) {
      benchWeakness(state, sphere, test::toSoup(test::uvSphereNear(size, 50.0f)));
    });
    const std::string torus = std::string("WeaknessDetect/torus") + label;
    registerCase(torus, iterations, [torus, size = size](benchmark::State& state) {
      benchWeakness(state, torus, test::toSoup(test::torusNear(size, 40.0f, 10.0f)));
    });
  }
}

}  // namespace bench
}  // namespace vekmesh
