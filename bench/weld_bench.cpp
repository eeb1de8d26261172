// Cost of building a TriMesh from a triangle soup (welding included), set against
// an exact-duplicate vertex remap of the same soup by meshoptimizer when it is
// available, plus the peak heap the construction needs per input triangle.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"

#ifdef VEKMESH_HAVE_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif

namespace vekmesh {
namespace bench {
namespace {

struct Shape {
  const char* name;
  std::vector<float> (*soup)(size_t target_triangles);
};

std::vector<float> sphere(size_t target) {
  return test::toSoup(test::uvSphereNear(target, 1.0f));
}
std::vector<float> ring(size_t target) {
  return test::toSoup(test::torusNear(target, 1.0f, 0.3f));
}

const Shape kShapes[] = {{"sphere", sphere}, {"torus", ring}};

struct Size {
  const char* label;
  size_t triangles;
  int iterations;  // fixed so that the whole run stays at a couple of minutes
};

// Budgets of construction: heap at peak per input triangle (the soup itself not
// counted) and time against the remap at 1M triangles and more. Memory is
// deterministic and fails the run; time is only flagged, the machine may be busy.
constexpr double kPeakBytesPerTriangleBudget = 200.0;
constexpr double kRatioBudget = 1.5;

const Size kSizes[] = {{"100k", kSize100k, 30}, {"1M", kSize1M, 10}, {"4M", kSize4M, 5}};

// One row of the closing summary.
struct Row {
  std::string name;
  size_t triangles = 0;
  double ours_ms = 0.0;     // median
  double meshopt_ms = 0.0;  // median, 0 without meshoptimizer
  double ratio = 0.0;       // median of per-iteration ratios
  double peak_per_triangle = 0.0;
};
std::vector<Row> g_rows;
bool g_failed = false;

uint32_t triangleCount(const std::vector<float>& soup) {
  return static_cast<uint32_t>(soup.size() / 9);
}

double timeBuild(const std::vector<float>& soup) {
  SubMesh mesh;
  const double seconds = timed(
      [&] { buildTriMesh(mesh, triangleCount(soup), soup.data(), nullptr, nullptr, nullptr); });
  benchmark::DoNotOptimize(mesh.faces.data());
  return seconds;  // the mesh is released outside the timed span
}

#ifdef VEKMESH_HAVE_MESHOPTIMIZER
// Positions only, unindexed: every corner is its own 12-byte vertex. The remap
// table is the output, so it is allocated fresh each time as our mesh is.
double timeRemap(const std::vector<float>& soup) {
  const size_t corners = soup.size() / 3;
  std::unique_ptr<unsigned[]> remap(new unsigned[corners]);
  return timed([&] {
    benchmark::DoNotOptimize(
        meshopt_generateVertexRemap(remap.get(), nullptr, corners, soup.data(), corners, 12));
  });
}
#endif

// Both welds must agree before their times mean anything: every shape here has
// distinct points, so corner c of triangle t names the same first-seen vertex
// in our mesh as in the remap table, and nothing collapses.
bool checkWeld(benchmark::State& state, const std::vector<float>& soup) {
  SubMesh mesh;
  buildTriMesh(mesh, triangleCount(soup), soup.data(), nullptr, nullptr, nullptr);
  if (mesh.faces.size() != triangleCount(soup)) {
    skipCase(state, "triangles were dropped while welding");
    return false;
  }
#ifdef VEKMESH_HAVE_MESHOPTIMIZER
  const size_t corners = soup.size() / 3;
  std::vector<unsigned> remap(corners);
  const size_t unique =
      meshopt_generateVertexRemap(remap.data(), nullptr, corners, soup.data(), corners, 12);
  if (unique != mesh.vertices.size()) {
    skipCase(state, "vertex count differs from the reference remap");
    return false;
  }
  for (size_t t = 0; t < mesh.faces.size(); ++t)
    for (int c = 0; c < 3; ++c)
      if (static_cast<unsigned>(mesh.faces[t].v[c]) != remap[3 * t + c]) {
        skipCase(state, "corner assignment differs from the reference remap");
        return false;
      }
#endif
  state.counters["vertices"] = static_cast<double>(mesh.vertices.size());
  return true;
}

struct PeakUse {
  double peak_bytes = 0.0;
  double kept_bytes = 0.0;  // still held by the finished mesh
};

PeakUse measureBuild(const std::vector<float>& soup) {
  PeakUse use;
  SubMesh mesh;
  {
    HeapMeter meter;
    buildTriMesh(mesh, triangleCount(soup), soup.data(), nullptr, nullptr, nullptr);
    use.peak_bytes = static_cast<double>(meter.peakBytes());
    use.kept_bytes = static_cast<double>(meter.currentBytes());
  }
  return use;
}

#ifdef VEKMESH_HAVE_MESHOPTIMIZER
// Its scratch goes through operator new as well; the remap table is counted as
// the output it is.
double measureRemap(const std::vector<float>& soup) {
  const size_t corners = soup.size() / 3;
  HeapMeter meter;
  std::unique_ptr<unsigned[]> remap(new unsigned[corners]);
  meshopt_generateVertexRemap(remap.get(), nullptr, corners, soup.data(), corners, 12);
  return static_cast<double>(meter.peakBytes());
}
#endif

void benchWeld(benchmark::State& state, const std::string& name, const Shape& shape,
               const Size& size) {
  const std::vector<float> soup = shape.soup(size.triangles);
  const double triangles = static_cast<double>(triangleCount(soup));
  if (!checkWeld(state, soup)) {
    g_failed = true;
    return;
  }
#ifdef VEKMESH_HAVE_MESHOPTIMIZER
  const PairedTimes times = runPaired(
      state, [&] { return timeBuild(soup); }, [&] { return timeRemap(soup); });
#else
  const PairedTimes times = runPaired(state, [&] { return timeBuild(soup); });
#endif

  const PeakUse use = measureBuild(soup);
  Row row;
  row.name = name;
  row.triangles = triangleCount(soup);
  row.ours_ms = times.oursMs();
  row.peak_per_triangle = use.peak_bytes / triangles;
  state.counters["triangles"] = triangles;
  state.counters["ours_ms"] = row.ours_ms;
  state.counters["peak_bytes_per_triangle"] = row.peak_per_triangle;
  state.counters["mesh_bytes_per_triangle"] = use.kept_bytes / triangles;
#ifdef VEKMESH_HAVE_MESHOPTIMIZER
  row.meshopt_ms = times.theirsMs();
  row.ratio = times.ratio();
  state.counters["meshopt_ms"] = row.meshopt_ms;
  state.counters["ratio"] = row.ratio;
  state.counters["meshopt_peak_bytes_per_triangle"] = measureRemap(soup) / triangles;
#endif
  state.SetItemsProcessed(static_cast<int64_t>(times.iterations * triangleCount(soup)));
  g_rows.push_back(row);
}

}  // namespace

// Printed after the benchmark output on stdout; use --benchmark_out for a clean
// machine-readable file.
bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nWeld summary (medians; ratio = median of paired ours/meshopt times)\n"
      "both sides read the same soup in memory (9 floats per triangle), single-threaded; the\n"
      "results are released outside the timers\n"
      "  ours:    buildTriMesh: the exact weld plus the whole TriMesh (faces, vertices, each\n"
      "           vertex's incident corners; collapsed triangles dropped)\n"
      "  meshopt: meshopt_generateVertexRemap: the exact weld's remap table only (no vertex\n"
      "           or index buffer, no adjacency)\n"
      "peak B/tri: our heap at peak per input triangle, the soup not counted\n");
  std::printf("%-22s %10s %10s %11s %7s %14s\n", "case", "triangles", "ours ms", "meshopt ms",
              "ratio", "peak B/tri");
  for (const Row& row : g_rows) {
    const bool over_memory = row.peak_per_triangle > kPeakBytesPerTriangleBudget;
    const bool slow = row.triangles >= kSize1M && row.ratio > kRatioBudget;
    if (over_memory) g_failed = true;
    const char* flag = over_memory ? "  over memory budget" : slow ? "  slower than budget" : "";
    if (row.meshopt_ms > 0.0)
      std::printf("%-22s %10zu %10.1f %11.1f %7.2f %14.1f%s\n", row.name.c_str(), row.triangles,
                  row.ours_ms, row.meshopt_ms, row.ratio, row.peak_per_triangle, flag);
    else
      std::printf("%-22s %10zu %10.1f %11s %7s %14.1f%s\n", row.name.c_str(), row.triangles,
                  row.ours_ms, "-", "-", row.peak_per_triangle, flag);
  }
  std::printf("budgets: peak < %.0f B/triangle; ratio <= %.1f from 1M triangles\n",
              kPeakBytesPerTriangleBudget, kRatioBudget);
  return !g_failed;
}

void registerCases() {
  for (const Shape& shape : kShapes)
    for (const Size& size : kSizes) {
      const std::string name = std::string("Weld/") + shape.name + "/" + size.label;
      registerCase(name, size.iterations,
                   [=](benchmark::State& state) { benchWeld(state, name, shape, size); });
    }
}

}  // namespace bench
}  // namespace vekmesh
