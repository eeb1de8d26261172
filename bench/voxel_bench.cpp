// Voxelisation and hollowing against OpenVDB in the same run, on a noisy torus
// of 1M triangles about 100 units across:
//   voxelize: ours voxelizeMesh (to voxels) then exportVoxel (to a mesh) at
//             voxel size 0.25; OpenVDB meshToVolume (bands of 3 voxels each
//             side) then volumeToMesh at iso-value 0, same voxel size;
//   hollow:   ours hollowMesh with a wall of 2 (its own voxel size from the
//             volume, export, clean-up, reduction); OpenVDB meshToVolume at
//             the same voxel size with an interior band reaching past the
//             wall, then volumeToMesh at iso-value -2 (the cavity's surface).
// Both sides get the same welded mesh, built outside the timers; each case
// runs with one thread and with two (OpenMP for ours, TBB for OpenVDB), the
// sides alternating. Peak memory per side comes from one untimed run: the
// growth of the process's resident set (its high-water mark reset first, the
// heap trimmed), the same measure for both sides, and our heap peak.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "design/hollowing.h"
#include "design/voxel_grid.h"
#include "design/voxel_mesh_cleanup.h"
#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

#ifdef VEKMESH_HAVE_OPENVDB
#include "bench/voxel_openvdb_peer.h"
#endif

namespace vekmesh {
namespace bench {
namespace {

constexpr int kIterations = 3;
constexpr float kVoxelSize = 0.25f;
constexpr float kWall = 2.0f;
constexpr double kNoise = 0.05;  // largest displacement of a vertex per axis

struct Row {
  std::string name;
  double ours_ms = 0.0, peer_ms = 0.0, ratio = 0.0;
  double ours_first_ms = 0.0, peer_first_ms = 0.0;  // to voxels / meshToVolume
  double ours_rss_mb = -1.0, peer_rss_mb = -1.0, ours_heap_mb = 0.0;
  std::string check;
  bool budget_missed = false;
};
std::vector<Row> g_rows;
bool g_failed = false;

double megabytes(long long bytes) {
  return double(bytes) / (1024.0 * 1024.0);
}

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

// The torus with every vertex moved by up to kNoise per axis (a fixed
// sequence), welded; also as points and indices for the peer.
struct Model {
  TriMesh mesh;
  std::vector<float> positions;
  std::vector<uint32_t> triangles;
};
const Model& noisyTorus() {
  static Model model = [] {
    Model m;
    test::IndexedMesh torus = test::torusNear(kSize1M, 37.5f, 12.5f);
    uint64_t state = 0x2545F4914F6CDD1Dull;
    for (float& x : torus.positions) {
      state = state * 6364136223846793005ull + 1442695040888963407ull;
      x += static_cast<float>(kNoise * (double(state >> 11) / double(1ull << 53) * 2.0 - 1.0));
    }
    const std::vector<float> soup = test::toSoup(torus);
    buildTriMesh(m.mesh, static_cast<uint32_t>(torus.triangleCount()), soup.data(), nullptr,
                 nullptr, nullptr);
    for (const Vertex& v : m.mesh.vertices)
      m.positions.insert(m.positions.end(), v.position.begin(), v.position.end());
    for (const Face& f : m.mesh.faces)
      for (int c = 0; c < 3; ++c) m.triangles.push_back(static_cast<uint32_t>(f.v[c]));
    return m;
  }();
  return model;
}

std::string census(const char* side, size_t triangles, const test::EdgeCensus& e) {
  char text[200];
  std::snprintf(text, sizeof text, "%s %zu triangles, %s (open %zu, non-manifold %zu)", side,
                triangles, e.closedManifoldOriented() ? "closed" : "NOT CLOSED", e.boundary,
                e.nonManifold);
  return text;
}

struct OurVoxels {
  double to_voxels = 0.0, to_mesh = 0.0;
  SubMesh mesh;
};
OurVoxels ourVoxelize(const SubMesh& model) {
  OurVoxels run;
  VoxelGrid grid(kVoxelSize);
  run.to_voxels = timed([&] { voxelizeMesh(grid, model, model.vertices); });
  run.to_mesh = timed([&] { exportVoxel(run.mesh, grid); });
  return run;
}

void benchVoxelize(benchmark::State& state, const std::string& name, int threads) {
  const Model& model = noisyTorus();
  omp_set_num_threads(threads);
  Row row;
  row.name = name;
  {
    HeapMeter meter;
    row.ours_rss_mb = residentGrowthMb([&] { ourVoxelize(model.mesh); });
    row.ours_heap_mb = megabytes(static_cast<long long>(meter.peakBytes()));
  }
  OurVoxels sample = ourVoxelize(model.mesh);
  separateVoxelContacts(sample.mesh);
  row.check =
      census("ours (after the clean-up)", sample.mesh.faces.size(), test::edgeCensus(sample.mesh));
  if (!test::edgeCensus(sample.mesh).closedManifoldOriented()) g_failed = true;
  std::vector<double> ours_first, peer_first;
  const auto time_ours = [&] {
    const OurVoxels run = ourVoxelize(model.mesh);
    ours_first.push_back(run.to_voxels);
    return run.to_voxels + run.to_mesh;
  };
#ifdef VEKMESH_HAVE_OPENVDB
  setVdbThreads(threads);
  row.peer_rss_mb = residentGrowthMb(
      [&] { vdbMeshToVolumeToMesh(model.positions, model.triangles, kVoxelSize, 3.0f, 0.0); });
  {
    const VdbRun run =
        vdbMeshToVolumeToMesh(model.positions, model.triangles, kVoxelSize, 3.0f, 0.0);
    row.check +=
        "; " + census("OpenVDB", run.triangles.size() / 3, test::edgeCensus(run.triangles));
  }
  const PairedTimes times = runPaired(state, time_ours, [&] {
    const VdbRun run =
        vdbMeshToVolumeToMesh(model.positions, model.triangles, kVoxelSize, 3.0f, 0.0);
    peer_first.push_back(run.toVolumeSeconds);
    return run.toVolumeSeconds + run.toMeshSeconds;
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  row.peer_first_ms = 1e3 * median(peer_first);
  state.counters["openvdb_ms"] = row.peer_ms;
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif
  row.ours_ms = times.oursMs();
  row.ours_first_ms = 1e3 * median(ours_first);
  // Our voxelisation must not be slower than OpenVDB's mesh-to-volume.
  row.budget_missed = !peer_first.empty() && row.ours_first_ms > row.peer_first_ms;
  state.counters["ours_ms"] = row.ours_ms;
  g_rows.push_back(row);
}

void benchHollow(benchmark::State& state, const std::string& name, int threads) {
  const Model& model = noisyTorus();
  omp_set_num_threads(threads);
  const float size = hollowVoxelSize(enclosedVolume(model.mesh));
  Row row;
  row.name = name;
  {
    HeapMeter meter;
    row.ours_rss_mb = residentGrowthMb([&] {
      SubMesh copy = model.mesh;
      hollowMesh(copy, kWall);
    });
    row.ours_heap_mb = megabytes(static_cast<long long>(meter.peakBytes()));
  }
  {
    SubMesh copy = model.mesh;
    HollowReport report;
    hollowMesh(copy, kWall, {}, &report);
    char text[120];
    std::snprintf(text, sizeof text, "voxel size %.4f, %d layers, share %.2f %%; ", size,
                  report.layers, 100.0 * report.coreVolume / report.modelVolume);
    row.check = text + census("ours core", copy.faces.size(), test::edgeCensus(copy));
    if (!test::edgeCensus(copy).closedManifoldOriented()) g_failed = true;
  }
  const auto time_ours = [&] {
    SubMesh copy = model.mesh;
    return timed([&] { hollowMesh(copy, kWall); });
  };
  std::vector<double> peer_first;
#ifdef VEKMESH_HAVE_OPENVDB
  setVdbThreads(threads);
  // The interior band reaches two voxels past the wall.
  const float band = std::ceil(kWall / size) + 2.0f;
  row.peer_rss_mb = residentGrowthMb(
      [&] { vdbMeshToVolumeToMesh(model.positions, model.triangles, size, band, -kWall); });
  {
    const VdbRun run = vdbMeshToVolumeToMesh(model.positions, model.triangles, size, band, -kWall);
    row.check +=
        "; " + census("OpenVDB cavity", run.triangles.size() / 3, test::edgeCensus(run.triangles));
  }
  const PairedTimes times = runPaired(state, time_ours, [&] {
    const VdbRun run = vdbMeshToVolumeToMesh(model.positions, model.triangles, size, band, -kWall);
    peer_first.push_back(run.toVolumeSeconds);
    return run.toVolumeSeconds + run.toMeshSeconds;
  });
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  row.peer_first_ms = 1e3 * median(peer_first);
  state.counters["openvdb_ms"] = row.peer_ms;
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
      "\nVoxels and hollowing on a noisy 1M torus (medians of %d; ratio = median of paired "
      "ours / OpenVDB;\nfirst = ours to voxels / OpenVDB meshToVolume; RSS MB = growth of the "
      "resident set in one run, heap MB = our heap peak)\n",
      kIterations);
  std::printf("%-42s %9s %9s %7s %9s %9s %8s %8s %8s\n", "case", "ours ms", "VDB ms", "ratio",
              "ours 1st", "VDB 1st", "ours RSS", "VDB RSS", "our heap");
  bool missed = false;
  for (const Row& r : g_rows) {
    // Hollowing is timed whole: it has no first step of its own to show.
    const std::string ours_first =
        r.ours_first_ms > 0.0 ? std::to_string(static_cast<long>(r.ours_first_ms)) : "-";
    std::printf("%-42s %9.0f %9.0f %7.3f %9s %9.0f %8.0f %8.0f %8.0f%s\n", r.name.c_str(),
                r.ours_ms, r.peer_ms, r.ratio, ours_first.c_str(), r.peer_first_ms, r.ours_rss_mb,
                r.peer_rss_mb, r.ours_heap_mb, r.budget_missed ? "  BUDGET MISSED" : "");
    std::printf("%-42s %s\n", "", r.check.c_str());
    missed = missed || r.budget_missed;
  }
  std::printf("target: our voxelisation (to voxels) no slower than OpenVDB's meshToVolume\n");
  return !g_failed && !missed;
}

void registerCases() {
  for (int threads : {1, 2}) {
    const std::string suffix = "/noisyTorus1M/threads" + std::to_string(threads);
    const std::string voxelize = "Voxelize/size0.25" + suffix;
    registerCase(voxelize, kIterations, [voxelize, threads](benchmark::State& state) {
      benchVoxelize(state, voxelize, threads);
    });
    const std::string hollow = "Hollow/wall2" + suffix;
    registerCase(hollow, kIterations, [hollow, threads](benchmark::State& state) {
      benchHollow(state, hollow, threads);
    });
  }
}

}  // namespace bench
}  // namespace vekmesh
