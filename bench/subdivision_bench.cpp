// One round of Loop subdivision against OpenMesh's uniform Loop subdivider
// (OpenMesh::Subdivider::Uniform::LoopT), side by side in one run, on a UV
// sphere and a vase (flat discs at both ends: creases along their rims) of
// 100k and 1M triangles, on one thread and on two (OpenMesh's subdivider is
// sequential either way).
//
// Both sides start from the same indexed mesh in memory (positions and three
// indices per triangle) and end with a mesh they can go on working with:
//   ours:     the TriMesh made from it (vertex and face records, the
//             incidence lists) and subdivideMesh(level 1, mode 1), which
//             leaves faces, vertices and incidence lists current;
//   OpenMesh: add_vertex / add_face into TriMesh_ArrayKernelT (its half-edge
//             structure, with room reserved) and LoopT attach, one round,
//             detach.
// The subdivision alone is timed too (ours: subdivideMesh; OpenMesh: the
// LoopT calls). Heap peaks come from one untimed run of each whole side under
// the heap meter; the input mesh is outside both. Every output is checked for
// open, over-used and same-direction edges; on the sphere, which has no
// crease, our moved vertices are compared with OpenMesh's (both keep the old
// vertices' numbers).
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/subdivision.h"

#ifdef VEKMESH_HAVE_OPENMESH
#include "bench/openmesh_loop_peer.h"
#endif

namespace vekmesh {
namespace bench {
namespace {

using test::IndexedMesh;

constexpr int kIterations = 5;

struct Row {
  std::string name;
  size_t triangles = 0;
  double ours_ms = 0, peer_ms = 0, ratio = 0;
  double ours_subdivide_ms = 0, peer_subdivide_ms = 0;
  double ours_heap_mb = 0, peer_heap_mb = -1;
  std::string check;
  bool headline = false;  // one thread: the budget applies
  bool missed = false;
};
std::vector<Row> g_rows;
bool g_failed = false;

double megabytes(size_t bytes) {
  return double(bytes) / (1024.0 * 1024.0);
}

// The TriMesh of an indexed mesh: white corners, no material, incidence lists.
TriMesh fromIndexed(const IndexedMesh& m) {
  TriMesh mesh;
  mesh.vertices.resize(m.vertexCount());
  for (size_t v = 0; v < m.vertexCount(); ++v)
    mesh.vertices[v] = Vertex{{m.positions[3 * v], m.positions[3 * v + 1], m.positions[3 * v + 2]},
                              static_cast<int32_t>(v)};
  mesh.faces.resize(m.triangleCount());
  for (size_t t = 0; t < m.triangleCount(); ++t) {
    Face& f = mesh.faces[t];
    std::memset(f.colors, 255, sizeof f.colors);
    f.removed = 0;
    f.material = kNoMaterial;
    for (int c = 0; c < 3; ++c) {
      f.v[c] = static_cast<int32_t>(m.triangles[3 * t + c]);
      f.uv[c] = kNoTexCoord;
    }
  }
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
  return mesh;
}

// At most the corners at a vertex plus one (an open fan).
size_t maxValence(const IndexedMesh& m) {
  std::vector<size_t> corners(m.vertexCount(), 0);
  for (uint32_t v : m.triangles) ++corners[v];
  return corners.empty() ? 0 : *std::max_element(corners.begin(), corners.end()) + 1;
}

struct OurRun {
  double total = 0, subdivide = 0;
  TriMesh mesh;
};
OurRun ourLoop(const IndexedMesh& input) {
  OurRun run;
  const Clock::time_point start = Clock::now();
  run.mesh = fromIndexed(input);
  run.subdivide = timed([&] { subdivideMesh(run.mesh, 1, 1); });
  run.total = secondsSince(start);
  return run;
}

std::string census(const char* side, size_t faces, const test::EdgeCensus& e) {
  char text[160];
  std::snprintf(text, sizeof text, "%s %zu faces %s (open %zu, non-manifold %zu, misoriented %zu)",
                side, faces, e.closedManifoldOriented() ? "closed" : "NOT CLOSED", e.boundary,
                e.nonManifold, e.misoriented);
  return text;
}

const IndexedMesh& model(const std::string& shape, size_t size) {
  static IndexedMesh cache[4];
  const int slot = (shape == "vase" ? 2 : 0) + (size == kSize1M ? 1 : 0);
  IndexedMesh& m = cache[slot];
  if (m.triangles.empty())
    m = shape == "vase" ? test::vaseNear(size, 10.0f) : test::uvSphereNear(size, 1.0f);
  return m;
}

void benchLoop(benchmark::State& state, const std::string& name, const std::string& shape,
               size_t size, int threads) {
  const IndexedMesh& input = model(shape, size);
  omp_set_num_threads(threads);
  Row row;
  row.name = name;
  row.triangles = input.triangleCount();
  row.headline = threads == 1;
  {
    HeapMeter meter;
    ourLoop(input);
    row.ours_heap_mb = megabytes(meter.peakBytes());
  }
  const OurRun sample = ourLoop(input);
  const test::EdgeCensus ours_census = test::edgeCensus(sample.mesh);
  row.check = census("ours", sample.mesh.faces.size(), ours_census);
  if (!ours_census.closedManifoldOriented() || sample.mesh.faces.size() != 4 * row.triangles)
    g_failed = true;
  std::vector<double> ours_subdivide, peer_subdivide;
  const auto time_ours = [&] {
    const OurRun run = ourLoop(input);
    ours_subdivide.push_back(run.subdivide);
    return run.total;
  };
#ifdef VEKMESH_HAVE_OPENMESH
  const size_t valence = maxValence(input);
  {
    HeapMeter meter;
    openMeshLoop(input, 1, valence, false);
    row.peer_heap_mb = megabytes(meter.peakBytes());
  }
  {
    const OpenMeshLoopRun peer = openMeshLoop(input, 1, valence, true);
    row.check += "; " + census("OpenMesh", peer.faces, test::edgeCensus(peer.result.triangles));
    if (shape == "sphere") {
      double largest = 0;
      size_t worst = 0;
      for (size_t i = 0; i < 3 * input.vertexCount(); ++i) {
        const double d = std::abs(double(peer.result.positions[i]) -
                                  sample.mesh.vertices[i / 3].position[i % 3]);
        if (d > largest) largest = d, worst = i / 3;
      }
      char text[120];
      std::snprintf(text, sizeof text,
                    "; old vertices differ from OpenMesh's by at most %.2g (at vertex %zu)",
                    largest, worst);
      row.check += text;
    }
  }
  const PairedTimes times = runPaired(state, time_ours, [&] {
    const OpenMeshLoopRun peer = openMeshLoop(input, 1, valence, false);
    peer_subdivide.push_back(peer.subdivide_seconds);
    return peer.build_seconds + peer.subdivide_seconds;
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  row.peer_subdivide_ms = 1e3 * median(peer_subdivide);
  state.counters["openmesh_ms"] = row.peer_ms;
  row.missed = row.headline && (row.ratio > 1.0 || row.ours_heap_mb >= row.peer_heap_mb);
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif
  row.ours_ms = times.oursMs();
  row.ours_subdivide_ms = 1e3 * median(ours_subdivide);
  state.counters["ours_ms"] = row.ours_ms;
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nOne round of Loop subdivision (medians of %d; ratio = median of paired ours / OpenMesh; "
      "total = from the indexed mesh to a working mesh, subdivide = the round alone; heap = peak "
      "growth of one run)\n",
      kIterations);
  std::printf("%-30s %9s %9s %7s %11s %11s %9s %9s\n", "case", "ours ms", "OM ms", "ratio",
              "ours subdiv", "OM subdiv", "ours MB", "OM MB");
  bool missed = false;
  for (const Row& r : g_rows) {
    std::printf("%-30s %9.1f %9.1f %7.3f %11.1f %11.1f %9.0f %9.0f%s\n", r.name.c_str(), r.ours_ms,
                r.peer_ms, r.ratio, r.ours_subdivide_ms, r.peer_subdivide_ms, r.ours_heap_mb,
                r.peer_heap_mb, r.missed ? "  BUDGET MISSED" : "");
    std::printf("%-30s %s\n", "", r.check.c_str());
    missed = missed || r.missed;
  }
  std::printf("target: on one thread no slower than OpenMesh's LoopT, in less memory\n");
  return !g_failed && !missed;
}

void registerCases() {
  for (const char* shape : {"sphere", "vase"})
    for (size_t size : {kSize100k, kSize1M})
      for (int threads : {1, 2}) {
        const std::string name = std::string("Loop/") + shape + (size == kSize1M ? "1M" : "100k") +
                                 "/threads" + std::to_string(threads);
        registerCase(name, kIterations, [=](benchmark::State& state) {
          benchLoop(state, name, shape, size, threads);
        });
      }
}

}  // namespace bench
}  // namespace vekmesh
