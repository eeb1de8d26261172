// Whole-model isotropic remeshing against CGAL's
// Polygon_mesh_processing::isotropic_remeshing in the same run, on a UV
// sphere and a noisy torus of about 100k triangles, at the same target edge
// length (the mean edge length of the input, which is what remeshMesh
// targets) and 5 rounds. Both sides start from the same welded indexed mesh
// in memory, built outside the timers. Ours times remeshMesh and the
// compaction after it (rebuildTopology: re-weld, shells), the export's
// chain; CGAL's timer holds the isotropic_remeshing call alone (building its
// Surface_mesh and collecting its garbage are outside). Quality: the smallest
// angle of all faces and the mean over faces of each face's smallest angle.
// Threads follow OMP_NUM_THREADS (only our smoothing runs on a team).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "geometry/vectors.h"
#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/remesher.h"

#ifdef VEKMESH_HAVE_CGAL
#include "bench/remeshing_cgal_peer.h"
#endif

namespace vekmesh {
namespace bench {
namespace {

constexpr int kIterations = 3;
constexpr int kRounds = 5;

struct Quality {
  size_t faces = 0;
  double smallest = 180.0, mean_smallest = 0.0;
  bool closed = false;
};

Quality measure(const std::vector<double>& positions, const std::vector<uint32_t>& triangles) {
  Quality q;
  q.faces = triangles.size() / 3;
  double sum = 0.0;
  for (size_t t = 0; t < q.faces; ++t) {
    double face_smallest = 180.0;
    for (int k = 0; k < 3; ++k) {
      const size_t a = triangles[3 * t + k], b = triangles[3 * t + (k + 1) % 3],
                   c = triangles[3 * t + (k + 2) % 3];
      Vec3d u, w;
      for (int i = 0; i < 3; ++i) {
        u[i] = positions[3 * b + i] - positions[3 * a + i];
        w[i] = positions[3 * c + i] - positions[3 * a + i];
      }
      const double cosine = std::clamp(dot(u, w) / (length(u) * length(w)), -1.0, 1.0);
      face_smallest = std::min(face_smallest, std::acos(cosine) * 180.0 / kPi);
    }
    q.smallest = std::min(q.smallest, face_smallest);
    sum += face_smallest;
  }
  q.mean_smallest = q.faces ? sum / double(q.faces) : 0.0;
  q.closed = test::edgeCensus(triangles).closedManifoldOriented();
  return q;
}

Quality measure(const SubMesh& mesh) {
  std::vector<double> positions;
  std::vector<uint32_t> triangles;
  for (const Vertex& v : mesh.vertices)
    positions.insert(positions.end(), v.position.begin(), v.position.end());
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (int c = 0; c < 3; ++c) triangles.push_back(static_cast<uint32_t>(f.v[c]));
  return measure(positions, triangles);
}

std::string describe(const char* who, const Quality& q) {
  char text[200];
  std::snprintf(text, sizeof text, "%s %zu faces, %s, smallest angle %.1f, mean smallest %.1f", who,
                q.faces, q.closed ? "closed" : "NOT CLOSED", q.smallest, q.mean_smallest);
  return text;
}

struct Row {
  std::string name;
  double ours_ms = 0.0, peer_ms = 0.0, ratio = 0.0;
  std::vector<std::string> checks;
};
std::vector<Row> g_rows;
bool g_failed = false;

void benchRemesh(benchmark::State& state, const std::string& name, const test::IndexedMesh& shape) {
  const std::vector<float> soup = test::toSoup(shape);
  TriMesh input;
  buildTriMesh(input, static_cast<uint32_t>(shape.triangleCount()), soup.data(), nullptr, nullptr,
               nullptr);
  std::vector<float> positions;
  std::vector<uint32_t> triangles;
  for (const Vertex& v : input.vertices)
    positions.insert(positions.end(), v.position.begin(), v.position.end());
  for (const Face& f : input.faces)
    for (int c = 0; c < 3; ++c) triangles.push_back(static_cast<uint32_t>(f.v[c]));

  Row row;
  row.name = name;
  row.checks.push_back(describe("input", measure(input)));
  TriMesh ours_result = input;
  const RemeshReport report = remeshMesh(ours_result, nullptr, 0);
  rebuildTopology(ours_result);
  const Quality ours = measure(ours_result);
  row.checks.push_back(describe("ours ", ours) + ", target " +
                       std::to_string(report.target_length));
  g_failed = g_failed || !ours.closed;

  const auto time_ours = [&] {
    TriMesh copy = input;
    return timed([&] {
      remeshMesh(copy, nullptr, 0);
      rebuildTopology(copy);
    });
  };
#ifdef VEKMESH_HAVE_CGAL
  std::vector<double> peer_positions;
  std::vector<uint32_t> peer_triangles;
  cgalIsotropicRemesh(positions, triangles, report.target_length, kRounds, peer_positions,
                      peer_triangles);
  row.checks.push_back(describe("CGAL ", measure(peer_positions, peer_triangles)));
  const PairedTimes times = runPaired(state, time_ours, [&] {
    std::vector<double> p;
    std::vector<uint32_t> t;
    return cgalIsotropicRemesh(positions, triangles, report.target_length, kRounds, p, t);
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  state.counters["cgal_ms"] = row.peer_ms;
  state.counters["ratio"] = row.ratio;
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif
  row.ours_ms = times.oursMs();
  state.counters["ours_ms"] = row.ours_ms;
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nIsotropic remeshing, whole model, %d rounds, target = mean input edge (medians; ratio = "
      "median of paired ours / CGAL)\n"
      "  ours: remeshMesh + rebuildTopology; CGAL: isotropic_remeshing call only\n",
      kRounds);
  std::printf("%-32s %9s %9s %7s\n", "case", "ours ms", "CGAL ms", "ratio");
  for (const Row& r : g_rows) {
    std::printf("%-32s %9.1f %9.1f %7.3f\n", r.name.c_str(), r.ours_ms, r.peer_ms, r.ratio);
    for (const std::string& check : r.checks) std::printf("%-32s %s\n", "", check.c_str());
  }
  return !g_failed;
}

void registerCases() {
  registerCase("Remesh/whole/uvSphere100k", kIterations, [](benchmark::State& state) {
    benchRemesh(state, "Remesh/whole/uvSphere100k", test::uvSphereNear(kSize100k, 1.0f));
  });
  registerCase("Remesh/whole/noisyTorus100k", kIterations, [](benchmark::State& state) {
    benchRemesh(state, "Remesh/whole/noisyTorus100k", test::noisyTorusNear(kSize100k, 2.0f, 0.7f));
  });
}

}  // namespace bench
}  // namespace vekmesh
