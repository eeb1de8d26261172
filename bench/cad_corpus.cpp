// Times the import of CAD files: our converter through the library's own
// dispatch (the converter's read, sewing and parallel meshing, then the
// weld), and OpenCASCADE's default read-and-mesh welded the same way, file by
// file, the two sides alternating which runs first. Prints per file the time,
// the triangle count, whether the strict flaw test passes and the open and
// non-manifold edges of each side, and the ratio of the times.
// Usage: cad_corpus FILE...
#include <cstdio>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/cad_occt_peer.h"
#include "io/cad.h"
#include "io/file_dispatch.h"
#include "mesh/corner_adjacency.h"
#include "repair/flaw_detection.h"
#include "repair/mesh_census.h"

using namespace vekmesh;

namespace {

struct Side {
  double seconds = 0;
  size_t triangles = 0;
  bool passes = false;
  size_t open_edges = 0, non_manifold_edges = 0;
};

// Strict flaw test (mode 0) and the census of the welded mesh.
void judge(TriMesh& mesh, Side& side) {
  side.triangles = mesh.faces.size();
  side.passes = side.triangles > 0 && !detectFlaws(mesh, 0);
  const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
  const MeshCensus census = takeCensus(mesh, adjacency);
  side.open_edges = census.open_edges;
  side.non_manifold_edges = census.non_manifold_edges;
}

Side ours(const std::string& path) {
  Side side;
  TriMesh mesh;
  // Any case, as the tool reads: corpus files end in .STEP too.
  side.seconds = bench::timed(
      [&] { importByExtension(path.c_str(), mesh, nullptr, ExtensionMatch::kIgnoreCase); });
  judge(mesh, side);
  return side;
}

Side peer(const std::string& path) {
  Side side;
  TriMesh mesh;
  const bool iges = modelFormatOf(path, ExtensionMatch::kIgnoreCase) == ModelFormat::kIges;
  side.seconds = bench::timed([&] {
    const std::vector<float> soup = bench::occtDefaultSoup(path.c_str(), iges);
    buildTriMesh(mesh, uint32_t(soup.size() / 9), soup.data(), nullptr, nullptr, nullptr);
  });
  judge(mesh, side);
  return side;
}

std::string cell(const Side& s) {
  char text[128];
  std::snprintf(text, sizeof text, "%9.1f %9zu %-6s %6zu %6zu", 1e3 * s.seconds, s.triangles,
                s.passes ? "pass" : "fail", s.open_edges, s.non_manifold_edges);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE...\n", argv[0]);
    return 2;
  }
  if (!cadConverterAvailable()) {
    std::fprintf(stderr, "cad_corpus: the converter library does not load\n");
    return 1;
  }
  // The first call of each side pays for loading and initialising
  // OpenCASCADE; neither side's table row should.
  ours(argv[1]);
  peer(argv[1]);
  std::printf("%-40s | %-40s | %-40s | %s\n", "file", "ours: ms, triangles, strict, open, n-m",
              "default: ms, triangles, strict, open, n-m", "time ours/default");
  for (int i = 1; i < argc; ++i) {
    const std::string path = argv[i];
    Side a, b;
    if (i % 2) {
      a = ours(path);
      b = peer(path);
    } else {
      b = peer(path);
      a = ours(path);
    }
    const std::string name = path.substr(path.find_last_of('/') + 1);
    std::printf("%-40s | %s | %s | %.2f\n", name.c_str(), cell(a).c_str(), cell(b).c_str(),
                b.seconds > 0 ? a.seconds / b.seconds : 0.0);
  }
  return 0;
}
