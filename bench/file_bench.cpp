// Cost of loading an STL file into a welded TriMesh (reading, unpacking and
// welding, as loadStl does), set against admesh's library doing the comparable
// work on the same file (stl_open, then stl_check_facets_exact, which matches
// facets by exact vertex equality), in the same run, alternating the order.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "io/stl.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"

#ifdef VEKMESH_HAVE_ADMESH
#include <admesh/stl.h>
#endif

namespace vekmesh {
namespace bench {
namespace {

// The model file, written once per case into the temporary directory (whose
// pages the first untimed load brings into the cache for both readers alike).
class ModelFile {
 public:
  ModelFile(const std::vector<float>& soup, bool ascii) {
    const char* dir = std::getenv("TMPDIR");
    path_ = std::string(dir && *dir ? dir : "/tmp") + "/vekmesh-file-bench-" +
            std::to_string(getpid()) + (ascii ? "-ascii.stl" : "-binary.stl");
    const uint32_t triangles = static_cast<uint32_t>(soup.size() / 9);
    if (!ascii) {
      SubMesh mesh;
      buildTriMesh(mesh, triangles, soup.data(), nullptr, nullptr, nullptr);
      writeStl(path_.c_str(), mesh);
    } else if (std::FILE* f = std::fopen(path_.c_str(), "w")) {
      std::fprintf(f, "solid bench\n");
      for (uint32_t t = 0; t < triangles; ++t) {
        std::fprintf(f, "  facet normal 0 0 0\n    outer loop\n");
        for (int c = 0; c < 3; ++c) {
          const float* p = soup.data() + 9 * t + 3 * c;
          std::fprintf(f, "      vertex %.9e %.9e %.9e\n", p[0], p[1], p[2]);
        }
        std::fprintf(f, "    endloop\n  endfacet\n");
      }
      std::fprintf(f, "endsolid bench\n");
      std::fclose(f);
    }
    if (std::FILE* f = std::fopen(path_.c_str(), "rb")) {
      std::fseek(f, 0, SEEK_END);
      bytes_ = static_cast<double>(std::ftell(f));
      std::fclose(f);
    }
  }
  ~ModelFile() { std::remove(path_.c_str()); }
  ModelFile(const ModelFile&) = delete;
  ModelFile& operator=(const ModelFile&) = delete;

  const char* path() const { return path_.c_str(); }
  double bytes() const { return bytes_; }

 private:
  std::string path_;
  double bytes_ = 0.0;
};

double timeOurs(const ModelFile& file, size_t& faces) {
  TriMesh mesh;
  const double seconds = timed([&] { loadStl(file.path(), mesh); });
  faces = mesh.faces.size();
  return seconds;  // the mesh is released outside the timed span
}

#ifdef VEKMESH_HAVE_ADMESH
double timeAdmesh(const ModelFile& file, int& facets) {
  stl_file stl;
  std::string path = file.path();
  const double seconds = timed([&] {
    stl_open(&stl, &path[0]);
    if (!stl_get_error(&stl)) stl_check_facets_exact(&stl);
  });
  facets = stl_get_error(&stl) ? -1 : stl.stats.number_of_facets;
  stl_close(&stl);
  return seconds;
}
#endif

struct Row {
  std::string name;
  size_t triangles = 0;
  double megabytes = 0.0;
  double ours_ms = 0.0, admesh_ms = 0.0, ratio = 0.0;
  double peak_per_triangle = 0.0;
};
std::vector<Row> g_rows;
bool g_failed = false;

struct Case {
  const char* name;
  size_t triangles;
  bool ascii;
  int iterations;  // fixed so that the whole run stays short
};

const Case kCases[] = {
    {"LoadStl/binary/1M", kSize1M, false, 9},
    {"LoadStl/binary/100k", kSize100k, false, 21},
    {"LoadStl/ascii/100k", kSize100k, true, 7},
};

void benchLoad(benchmark::State& state, const Case& which) {
  const std::vector<float> soup = test::toSoup(test::uvSphereNear(which.triangles, 1.0f));
  const ModelFile file(soup, which.ascii);
  Row row;
  row.name = which.name;
  row.triangles = soup.size() / 9;
  row.megabytes = file.bytes() / 1e6;

  // Both readers must see every triangle before their times mean anything.
  size_t faces = 0;
  timeOurs(file, faces);
  if (faces != row.triangles) {
    skipCase(state, "loadStl did not read every triangle");
    g_failed = true;
    return;
  }
#ifdef VEKMESH_HAVE_ADMESH
  int facets = 0;
  timeAdmesh(file, facets);
  if (facets != static_cast<int>(row.triangles)) {
    skipCase(state, "admesh did not read every triangle");
    g_failed = true;
    return;
  }
  const PairedTimes times = runPaired(
      state, [&] { return timeOurs(file, faces); }, [&] { return timeAdmesh(file, facets); });
#else
  const PairedTimes times = runPaired(state, [&] { return timeOurs(file, faces); });
#endif

  {
    TriMesh mesh;
    HeapMeter meter;
    loadStl(file.path(), mesh);
    row.peak_per_triangle = static_cast<double>(meter.peakBytes()) / row.triangles;
  }
  row.ours_ms = times.oursMs();
  state.counters["triangles"] = static_cast<double>(row.triangles);
  state.counters["ours_ms"] = row.ours_ms;
  state.counters["ours_MB_per_s"] = row.megabytes / (row.ours_ms / 1e3);
  state.counters["peak_bytes_per_triangle"] = row.peak_per_triangle;
#ifdef VEKMESH_HAVE_ADMESH
  row.admesh_ms = times.theirsMs();
  row.ratio = times.ratio();
  state.counters["admesh_ms"] = row.admesh_ms;
  state.counters["ratio"] = row.ratio;
#endif
  state.SetBytesProcessed(static_cast<int64_t>(times.iterations * file.bytes()));
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return !g_failed;
  std::printf(
      "\nSTL load summary (medians; ratio = median of paired ours/admesh times; admesh = "
      "stl_open + stl_check_facets_exact)\n");
  std::printf("%-22s %10s %8s %9s %9s %10s %10s %7s %11s\n", "case", "triangles", "MB", "ours ms",
              "ours MB/s", "admesh ms", "admesh MB/s", "ratio", "peak B/tri");
  for (const Row& row : g_rows) {
    const double ours_rate = row.megabytes / (row.ours_ms / 1e3);
    if (row.admesh_ms > 0.0) {
      const bool slower = row.ratio >= 1.0;
      if (slower && row.triangles >= kSize1M) g_failed = true;
      std::printf("%-22s %10zu %8.1f %9.1f %9.0f %10.1f %10.0f %7.2f %11.1f%s\n", row.name.c_str(),
                  row.triangles, row.megabytes, row.ours_ms, ours_rate, row.admesh_ms,
                  row.megabytes / (row.admesh_ms / 1e3), row.ratio, row.peak_per_triangle,
                  slower ? "  slower than admesh" : "");
    } else {
      std::printf("%-22s %10zu %8.1f %9.1f %9.0f %10s %10s %7s %11.1f\n", row.name.c_str(),
                  row.triangles, row.megabytes, row.ours_ms, ours_rate, "-", "-", "-",
                  row.peak_per_triangle);
    }
  }
  std::printf("target: ratio below 1 for the 1M-triangle binary file\n");
  return !g_failed;
}

void registerCases() {
  for (const Case& c : kCases)
    registerCase(c.name, c.iterations, [c](benchmark::State& state) { benchLoad(state, c); });
}

}  // namespace bench
}  // namespace vekmesh
