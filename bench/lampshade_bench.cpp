// The lampshade build on vases of revolution 60 units high with about 100k
// and 1M triangles (their voxel size comes from the volume, so both make
// about the same grid; the larger one costs more in the stretch, the end-band
// sections and the final cut), and on the closed bust of the shared corpus
// (large/c3d-nefertiti.obj, read when ../shared/corpus is there). Wall 2.
// Timed whole, one and two threads; peak memory from one untimed run: the
// growth of the resident set (its high-water mark reset first) and the heap
// peak. Every shade is checked: closed, two-manifold and outward by the edge
// census and the strict flaw test, the log ending on the success line, and
// the wall measured from the inner wall's vertices to the model's surface.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "bench/mesh_distance.h"
#include "design/lampshade.h"
#include "io/file_dispatch.h"
#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace bench {
namespace {

constexpr float kWall = 2.0f;
constexpr float kHeight = 60.0f;

struct Row {
  std::string name;
  size_t triangles_in = 0, triangles_out = 0;
  double ms = 0.0, rss_mb = -1.0, heap_mb = 0.0;
  std::string check;
};
std::vector<Row> g_rows;
bool g_failed = false;

long long statusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind(field, 0) == 0) return std::atoll(line.c_str() + std::strlen(field));
  return -1;
}

// Growth of the resident set over `work`, in MB; -1 when the high-water mark
// cannot be reset here.
double residentGrowthMb(const std::function<void()>& work) {
  malloc_trim(0);
  { std::ofstream("/proc/self/clear_refs") << "5"; }
  const long long base = statusKb("VmRSS:");
  if (statusKb("VmHWM:") > base + 1024) return -1.0;
  work();
  return (statusKb("VmHWM:") - base) / 1024.0;
}

test::IndexedMesh indexed(const SubMesh& mesh) {
  test::IndexedMesh out;
  for (const Vertex& v : mesh.vertices)
    out.positions.insert(out.positions.end(), v.position.begin(), v.position.end());
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (int c = 0; c < 3; ++c) out.triangles.push_back(static_cast<uint32_t>(f.v[c]));
  return out;
}

// The shade's checks. The inner wall's vertices are those off the model's
// surface and more than three walls above the base (the cap between lies
// near both); their distance to the model's surface is the wall there.
std::string checkShade(const SubMesh& model, const SubMesh& shade, const LampshadeReport& report,
                       const std::string& log) {
  const test::EdgeCensus census = test::edgeCensus(shade);
  const bool strict_ok = !detectFlaws(shade, 0);
  const std::string success = "\n---{success} lampshade : ";
  const size_t last = log.rfind(success);
  const bool log_ok = last != std::string::npos &&
                      log.find("---", last + success.size()) == log.size() - std::strlen("---\n");
  float lowest = 1e30f;
  for (const Vertex& v : shade.vertices) lowest = std::min(lowest, v.position[2]);
  std::vector<std::array<double, 3>> points;
  for (const Vertex& v : shade.vertices)
    if (v.position[2] > lowest + 3.0f * kWall)
      points.push_back({v.position[0], v.position[1], v.position[2]});
  const std::vector<double> all = distancesToMesh(points, indexed(model));
  std::vector<double> wall;
  for (double d : all)
    if (d > 1e-3) wall.push_back(d);
  std::sort(wall.begin(), wall.end());
  double mean = 0.0;
  for (double d : wall) mean += d;
  mean = wall.empty() ? 0.0 : mean / static_cast<double>(wall.size());
  const double s = report.voxelSize;
  const bool wall_ok = !wall.empty() && std::fabs(mean - kWall) <= s;
  if (!census.closedManifoldOriented() || !strict_ok || !log_ok || !wall_ok || !report.built)
    g_failed = true;
  char text[400];
  std::snprintf(text, sizeof text,
                "%s, strict flaw test %s, log %s; voxel %.3f x %.3f, %d layers; wall from %zu "
                "inner vertices: mean %.3f (w %.1f, %s one voxel), p10 %.3f, p90 %.3f",
                census.closedManifoldOriented() ? "closed, two-manifold, outward" : "NOT CLOSED",
                strict_ok ? "passed" : "FAILED",
                log_ok ? "ends on success" : "DOES NOT END ON SUCCESS", report.voxelSize,
                report.voxelHeight, report.layers, wall.size(), mean, double{kWall},
                wall_ok ? "within" : "NOT WITHIN", wall.empty() ? 0.0 : wall[wall.size() / 10],
                wall.empty() ? 0.0 : wall[wall.size() * 9 / 10]);
  return text;
}

const TriMesh& vaseModel(size_t triangles) {
  static std::vector<std::pair<size_t, TriMesh>> models;
  for (const auto& [count, mesh] : models)
    if (count == triangles) return mesh;
  const test::IndexedMesh vase = test::vaseNear(triangles, kHeight);
  const std::vector<float> soup = test::toSoup(vase);
  models.emplace_back(triangles, TriMesh{});
  buildTriMesh(models.back().second, static_cast<uint32_t>(vase.triangleCount()), soup.data(),
               nullptr, nullptr, nullptr);
  return models.back().second;
}

void benchShade(benchmark::State& state, const std::string& name, const SubMesh& model,
                int threads) {
  omp_set_num_threads(threads);
  Row row;
  row.name = name;
  row.triangles_in = model.faces.size();
  {
    HeapMeter meter;
    row.rss_mb = residentGrowthMb([&] {
      SubMesh copy = model;
      buildLampshade(copy, kWall);
    });
    row.heap_mb = double(meter.peakBytes()) / (1024.0 * 1024.0);
  }
  {
    SubMesh shade = model;
    test::RunRecorder recorder;
    LampshadeReport report;
    buildLampshade(shade, kWall, recorder.context(), &report);
    row.triangles_out = liveFaceCount(shade);
    row.check = checkShade(model, shade, report, recorder.log);
  }
  const PairedTimes times = runPaired(state, [&] {
    SubMesh copy = model;
    return timed([&] { buildLampshade(copy, kWall); });
  });
  row.ms = times.oursMs();
  state.counters["ours_ms"] = row.ms;
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nLampshade, wall %.1f (medians; RSS MB = growth of the resident set in one run, "
      "heap MB = heap peak)\n",
      double{kWall});
  std::printf("%-40s %10s %10s %9s %9s %9s\n", "case", "tri in", "tri out", "ms", "RSS MB",
              "heap MB");
  for (const Row& r : g_rows) {
    std::printf("%-40s %10zu %10zu %9.0f %9.0f %9.0f\n", r.name.c_str(), r.triangles_in,
                r.triangles_out, r.ms, r.rss_mb, r.heap_mb);
    std::printf("%-40s %s\n", "", r.check.c_str());
  }
  return !g_failed;
}

void registerCases() {
  static TriMesh bust;
  const std::string bust_path =
      std::string(VEKMESH_SOURCE_DIR) + "/../shared/corpus/large/c3d-nefertiti.obj";
  const bool have_bust =
      std::ifstream(bust_path).good() && importByExtension(bust_path.c_str(), bust) > 0;
  for (int threads : {1, 2}) {
    const std::string suffix = "/threads" + std::to_string(threads);
    for (size_t size : {kSize100k, kSize1M}) {
      const std::string name =
          "Lampshade/vase" + std::string(size == kSize1M ? "1M" : "100k") + suffix;
      registerCase(name, 3, [=](benchmark::State& state) {
        benchShade(state, name, vaseModel(size), threads);
      });
    }
    if (have_bust) {
      const std::string name = "Lampshade/nefertiti" + suffix;
      registerCase(name, 3,
                   [=](benchmark::State& state) { benchShade(state, name, bust, threads); });
    }
  }
}

}  // namespace bench
}  // namespace vekmesh
