// The convex hull beside qhull (libqhull-dev, qh_new_qhull with "Qt") on the
// same double-precision points: the vertices of a 1M-triangle UV sphere
// (every point extreme) and of a 1M-triangle noisy torus; both sides time the
// hull alone, from points in memory to hull vertices and triangles. And
// orientationOptimization as a host calls it (welding, hull, costs, turns),
// in modes 1 and 2, on 20k- and 1M-triangle models, against fixed budgets.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "geometry/convex_hull_3d.h"
#include "include/vekmesh.h"
#include "mesh_builders.h"

#if defined(VEKMESH_HAVE_QHULL)
extern "C" {
#include <libqhull_r/libqhull_r.h>
}
#endif

namespace vekmesh {
namespace bench {
namespace {

constexpr double kOrient20kBudgetMs = 55.0;
constexpr double kOrient1MBudgetMs = 1000.0;

struct HullRow {
  std::string name;
  size_t points = 0, vertices = 0, peer_vertices = 0;
  PairedTimes times;
};
struct OrientRow {
  std::string name;
  size_t triangles = 0;
  int mode = 0;
  double ms = 0.0, budget_ms = 0.0;
  double angles[3] = {0, 0, 0};
};
std::vector<HullRow> g_hulls;
std::vector<OrientRow> g_orients;

std::vector<Vec3d> pointsOf(const test::IndexedMesh& mesh) {
  std::vector<Vec3d> points(mesh.vertexCount());
  for (size_t i = 0; i < points.size(); ++i)
    points[i] = {mesh.positions[3 * i], mesh.positions[3 * i + 1], mesh.positions[3 * i + 2]};
  return points;
}

#if defined(VEKMESH_HAVE_QHULL)
// qhull's hull of the points: seconds, and its vertex count.
double qhullSeconds(std::vector<double>& coordinates, size_t& vertices) {
  qhT state;
  qhT* qh = &state;
  qh_zero(qh, stderr);
  char flags[] = "qhull Qt";
  const double s = timed([&] {
    const int code = qh_new_qhull(qh, 3, static_cast<int>(coordinates.size() / 3),
                                  coordinates.data(), False, flags, nullptr, stderr);
    vertices = code == 0 ? size_t(qh->num_vertices) : 0;
  });
  int still_long = 0, total_long = 0;
  qh_freeqhull(qh, !qh_ALL);
  qh_memfreeshort(qh, &still_long, &total_long);
  return s;
}
#endif

void benchHull(benchmark::State& state, const std::string& name, const test::IndexedMesh& mesh) {
  HullRow row;
  row.name = name;
  const std::vector<Vec3d> points = pointsOf(mesh);
  row.points = points.size();
  std::function<double()> peer;
#if defined(VEKMESH_HAVE_QHULL)
  std::vector<double> coordinates;
  for (const Vec3d& p : points) coordinates.insert(coordinates.end(), p.begin(), p.end());
  peer = [&] { return qhullSeconds(coordinates, row.peer_vertices); };
#endif
  row.times = runPaired(
      state,
      [&] {
        quickhull::Hull hull;
        const double s = timed([&] { hull = quickhull::computeHull(points); });
        row.vertices = hull.vertices.size();
        return s;
      },
      peer);
  state.counters["ms"] = row.times.oursMs();
  g_hulls.push_back(row);
}

void benchOrient(benchmark::State& state, const std::string& name, const std::vector<float>& soup,
                 int mode, double budget_ms) {
  OrientRow row;
  row.name = name;
  row.triangles = soup.size() / 9;
  row.mode = mode;
  row.budget_ms = budget_ms;
  const PairedTimes times = runPaired(state, [&] {
    return timed([&] {
      orientationOptimization(soup.data(), static_cast<uint32_t>(row.triangles), row.angles, mode);
    });
  });
  row.ms = times.oursMs();
  state.counters["ms"] = row.ms;
  g_orients.push_back(row);
}

}  // namespace

bool summarize() {
  bool within = true;
  if (!g_hulls.empty()) {
    std::printf("\nConvex hull (median ms; ratio = median of paired ours / qhull)\n");
    std::printf("%-24s %9s %9s %9s %9s %9s %7s\n", "case", "points", "vertices", "ours", "qhull",
                "qhull v.", "ratio");
    for (const HullRow& r : g_hulls)
      std::printf("%-24s %9zu %9zu %9.1f %9.1f %9zu %7.3f\n", r.name.c_str(), r.points, r.vertices,
                  r.times.oursMs(), r.times.paired() ? r.times.theirsMs() : 0.0, r.peer_vertices,
                  r.times.paired() ? r.times.ratio() : 0.0);
  }
  if (!g_orients.empty()) {
    std::printf("\norientationOptimization through the export (median ms)\n");
    std::printf("%-28s %10s %5s %9s %9s %24s\n", "case", "triangles", "mode", "ms", "budget",
                "Rx Ry Rz");
    for (const OrientRow& r : g_orients) {
      std::printf("%-28s %10zu %5d %9.1f %9.0f %8.2f %7.2f %7.2f%s\n", r.name.c_str(), r.triangles,
                  r.mode, r.ms, r.budget_ms, r.angles[0], r.angles[1], r.angles[2],
                  r.ms > r.budget_ms ? "  over budget" : "");
      within = within && r.ms <= r.budget_ms;
    }
  }
  return within;
}

void registerCases() {
  registerCase("Hull/sphere1M", 3, [](benchmark::State& state) {
    benchHull(state, "Hull/sphere1M", test::uvSphereNear(kSize1M, 50.0f));
  });
  registerCase("Hull/noisy-torus1M", 5, [](benchmark::State& state) {
    benchHull(state, "Hull/noisy-torus1M", test::noisyTorusNear(kSize1M, 40.0f, 10.0f));
  });
  struct Model {
    const char* label;
    size_t triangles;
    bool torus;
    double budget;
    int iterations;
  };
  for (const Model& m : {Model{"sphere20k", 20000, false, kOrient20kBudgetMs, 15},
                         Model{"noisy-torus20k", 20000, true, kOrient20kBudgetMs, 15},
                         Model{"sphere1M", kSize1M, false, kOrient1MBudgetMs, 3},
                         Model{"noisy-torus1M", kSize1M, true, kOrient1MBudgetMs, 3}})
    for (const int mode : {1, 2}) {
      const std::string name = "Orient/" + std::string(m.label) + "/mode" + std::to_string(mode);
      registerCase(name, m.iterations, [name, m, mode](benchmark::State& state) {
        const test::IndexedMesh mesh = m.torus ? test::noisyTorusNear(m.triangles, 40.0f, 10.0f)
                                               : test::uvSphereNear(m.triangles, 50.0f);
        benchOrient(state, name, test::toSoup(mesh), mode, m.budget);
      });
    }
}

}  // namespace bench
}  // namespace vekmesh
