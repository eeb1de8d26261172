// Plane sections and the plane cut against CGAL in the same run: the sweep
// cutting a UV sphere of 1M triangles at 1,000 heights beside CGAL's
// Polygon_mesh_slicer, and the cut with capping of that sphere at z = 0
// beside Polygon_mesh_processing::clip with clip_volume(true); 100k spheres
// check the cases quickly. Both sides start from the same welded mesh, built
// outside the timers, and build their search structures inside them (our
// face buckets, CGAL's AABB tree of edges). Everything runs on one thread.
// Peak heap per side comes from one untimed run.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "mesh/plane_cut.h"
#include "mesh/plane_section.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

#ifdef VEKMESH_HAVE_CGAL
#include "bench/section_cgal_peer.h"
#endif

namespace vekmesh {
namespace bench {
namespace {

constexpr int kIterations = 5;
constexpr size_t kHeights = 1000;
constexpr double kSweepRatioBudget = 0.5;  // at least twice as fast as CGAL's slicer
constexpr double kCutBudgetMs = 300.0;     // the 1M sphere on one thread

constexpr const char* kSidesNote =
    "  sweep: ours sweepSections (faces bucketed by the first height they reach, pieces\n"
    "         chained by edge into closed loops); CGAL Polygon_mesh_slicer (AABB tree of edges\n"
    "         built in the timer) called once per height; each side counts and drops its loops\n"
    "  cut:   ours cutByPlane keeping the part below z = 0 as a new mesh (split faces, caps);\n"
    "         CGAL clip(plane, clip_volume(true)) on a copy of its mesh made outside the timer\n";

struct Row {
  std::string name;
  size_t triangles = 0;
  double ours_ms = 0.0, peer_ms = 0.0, ratio = 0.0;
  double ours_mb = 0.0, peer_mb = 0.0;
  std::string check;
  bool budget_missed = false;
};
std::vector<Row> g_rows;
bool g_failed = false;

double megabytes(size_t bytes) {
  return double(bytes) / (1024.0 * 1024.0);
}

TriMesh sphere(size_t triangles, std::vector<float>& positions, std::vector<uint32_t>& indices) {
  const test::IndexedMesh m = test::uvSphereNear(triangles, 1.0f);
  const std::vector<float> soup = test::toSoup(m);
  TriMesh mesh;
  buildTriMesh(mesh, static_cast<uint32_t>(m.triangleCount()), soup.data(), nullptr, nullptr,
               nullptr);
  // The peer gets the welded mesh itself: same vertices, same faces.
  positions.clear();
  indices.clear();
  for (const Vertex& v : mesh.vertices)
    positions.insert(positions.end(), v.position.begin(), v.position.end());
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3; ++c) indices.push_back(static_cast<uint32_t>(f.v[c]));
  return mesh;
}

struct SweepTotals {
  size_t loops = 0, points = 0;
};

SweepTotals ourSweep(const SubMesh& mesh, const std::vector<double>& heights) {
  SweepTotals totals;
  sweepSections(mesh, heights, [&](size_t, SectionLoops&& s) {
    totals.loops += s.loops.size();
    for (const SectionPolygon& loop : s.loops) totals.points += loop.size();
  });
  return totals;
}

void benchSweep(benchmark::State& state, const std::string& name, size_t size) {
  std::vector<float> positions;
  std::vector<uint32_t> indices;
  const TriMesh mesh = sphere(size, positions, indices);
  std::vector<double> heights;
  for (size_t i = 0; i < kHeights; ++i) heights.push_back(-1.0 + (i + 0.5) * 2.0 / kHeights);

  Row row;
  row.name = name;
  row.triangles = mesh.faces.size();
  SweepTotals ours;
  {
    HeapMeter meter;
    ours = ourSweep(mesh, heights);
    row.ours_mb = megabytes(meter.peakBytes());
  }
  char check[160];
  std::snprintf(check, sizeof check, "ours %zu loops %zu points", ours.loops, ours.points);
  row.check = check;
  if (ours.loops != kHeights) g_failed = true;  // one closed loop per height

  const auto time_ours = [&] {
    SweepTotals t;
    const double s = timed([&] { t = ourSweep(mesh, heights); });
    if (t.loops != ours.loops || t.points != ours.points) g_failed = true;
    return s;
  };
#ifdef VEKMESH_HAVE_CGAL
  const CgalSurfacePtr peer = makeCgalSurface(positions, indices);
  CgalSliceTotals theirs;
  {
    HeapMeter meter;
    theirs = cgalSlice(*peer, heights);
    row.peer_mb = megabytes(meter.peakBytes());
  }
  std::snprintf(check, sizeof check, "; CGAL %zu polylines (%zu closed) %zu points",
                theirs.polylines, theirs.closed, theirs.points);
  row.check += check;
  if (theirs.closed != kHeights) g_failed = true;
  const PairedTimes times = runPaired(state, time_ours, [&] {
    CgalSliceTotals t;
    const double s = timed([&] { t = cgalSlice(*peer, heights); });
    if (t.points != theirs.points) g_failed = true;
    return s;
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  row.budget_missed = size >= kSize1M && row.ratio > kSweepRatioBudget;
  state.counters["cgal_ms"] = row.peer_ms;
  state.counters["ratio"] = row.ratio;
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif
  row.ours_ms = times.oursMs();
  state.counters["ours_ms"] = row.ours_ms;
  g_rows.push_back(row);
}

double signedVolume(const SubMesh& m) {
  double sum = 0.0;
  for (const Face& f : m.faces) {
    const auto& a = m.vertices[size_t(f.v[0])].position;
    const auto& b = m.vertices[size_t(f.v[1])].position;
    const auto& c = m.vertices[size_t(f.v[2])].position;
    sum += a[0] * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
           a[1] * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
           a[2] * (double(b[0]) * c[1] - double(b[1]) * c[0]);
  }
  return sum / 6.0;
}

void benchCut(benchmark::State& state, const std::string& name, size_t size) {
  std::vector<float> positions;
  std::vector<uint32_t> indices;
  const TriMesh mesh = sphere(size, positions, indices);
  Row row;
  row.name = name;
  row.triangles = mesh.faces.size();
  SubMesh below;
  {
    HeapMeter meter;
    cutByPlane(mesh, 0.0f, &below, nullptr);
    row.ours_mb = megabytes(meter.peakBytes());
  }
  const bool closed = test::edgeCensus(below).closedManifoldOriented();
  const double volume = signedVolume(below);
  char check[160];
  std::snprintf(check, sizeof check, "ours %zu faces, %s, volume %.5f", below.faces.size(),
                closed ? "closed" : "NOT CLOSED", volume);
  row.check = check;
  if (!closed || std::fabs(volume - signedVolume(mesh) / 2.0) > 1e-3) g_failed = true;

  const auto time_ours = [&] {
    SubMesh part;
    const double s = timed([&] { cutByPlane(mesh, 0.0f, &part, nullptr); });
    if (part.faces.size() != below.faces.size()) g_failed = true;
    return s;
  };
#ifdef VEKMESH_HAVE_CGAL
  const CgalSurfacePtr peer = makeCgalSurface(positions, indices);
  {
    CgalSurfacePtr copy = copyCgalSurface(*peer);
    HeapMeter meter;
    cgalClipBelow(*copy, 0.0);
    row.peer_mb = megabytes(meter.peakBytes());
    std::snprintf(check, sizeof check, "; CGAL %zu faces, %s, volume %.5f", cgalFaceCount(*copy),
                  cgalIsClosed(*copy) ? "closed" : "NOT CLOSED", cgalVolume(*copy));
    row.check += check;
  }
  const PairedTimes times = runPaired(state, time_ours, [&] {
    CgalSurfacePtr copy = copyCgalSurface(*peer);
    return timed([&] { cgalClipBelow(*copy, 0.0); });
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  state.counters["cgal_ms"] = row.peer_ms;
  state.counters["ratio"] = row.ratio;
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif
  row.ours_ms = times.oursMs();
  row.budget_missed = size >= kSize1M && row.ours_ms > kCutBudgetMs;
  state.counters["ours_ms"] = row.ours_ms;
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nPlane sections and cut (medians; ratio = median of paired ours / CGAL; MB = peak heap "
      "of one run)\n%s",
      kSidesNote);
  std::printf("%-40s %10s %9s %9s %7s %8s %8s\n", "case", "triangles", "ours ms", "CGAL ms",
              "ratio", "ours MB", "CGAL MB");
  bool missed = false;
  for (const Row& r : g_rows) {
    std::printf("%-40s %10zu %9.1f %9.1f %7.3f %8.1f %8.1f%s\n", r.name.c_str(), r.triangles,
                r.ours_ms, r.peer_ms, r.ratio, r.ours_mb, r.peer_mb,
                r.budget_missed ? "  BUDGET MISSED" : "");
    std::printf("%-40s %s\n", "", r.check.c_str());
    missed = missed || r.budget_missed;
  }
  std::printf(
      "targets at 1M: sweep ratio <= %.2f (twice as fast as CGAL), cut <= %.0f ms on one thread\n",
      kSweepRatioBudget, kCutBudgetMs);
  return !g_failed && !missed;
}

void registerCases() {
  omp_set_num_threads(1);
  for (const auto& [label, size] : {std::pair<const char*, size_t>{"1M", kSize1M},
                                    std::pair<const char*, size_t>{"100k", kSize100k}}) {
    const std::string sweep = std::string("SectionSweep/1000heights/sphere") + label;
    registerCase(sweep, kIterations,
                 [sweep, size = size](benchmark::State& state) { benchSweep(state, sweep, size); });
    const std::string cut = std::string("PlaneCut/z0/sphere") + label;
    registerCase(cut, kIterations,
                 [cut, size = size](benchmark::State& state) { benchCut(state, cut, size); });
  }
}

}  // namespace bench
}  // namespace vekmesh
