// Reading scene files: the corpus's 1.3 MB X3D scene and 2.3 MB VRML scene
// (or, when ../shared/corpus is absent, generated scenes of the same sizes)
// through our reader beside assimp's importer (libassimp-dev), alternated.
// Both sides time reading the file, parsing and triangulating polygons into
// triangle lists, without welding; a side that cannot read a file says so.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "io/vrml.h"

#if defined(VEKMESH_HAVE_ASSIMP)
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#endif

namespace vekmesh {
namespace bench {
namespace {

struct Row {
  std::string name;
  size_t bytes = 0, ours_triangles = 0, peer_triangles = 0;
  bool peer_read = false;
  PairedTimes times;
};
std::vector<Row> g_rows;

// A scene of quads in one IndexedFaceSet, about `bytes` long.
std::string generatedScene(bool xml, size_t bytes) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> u(0.0, 100.0);
  std::string points, indices;
  size_t quads = 0;
  while (points.size() + indices.size() < bytes) {
    for (int k = 0; k < 4; ++k)
      points += std::to_string(u(random)) + " " + std::to_string(u(random)) + " " +
                std::to_string(u(random)) + ", ";
    const size_t b = 4 * quads++;
    indices += std::to_string(b) + " " + std::to_string(b + 1) + " " + std::to_string(b + 2) + " " +
               std::to_string(b + 3) + " -1 ";
  }
  if (xml)
    return "<?xml version='1.0'?><X3D><Scene><Shape><IndexedFaceSet coordIndex='" + indices +
           "'><Coordinate point='" + points + "'/></IndexedFaceSet></Shape></Scene></X3D>";
  return "#VRML V2.0 utf8\nShape { geometry IndexedFaceSet { coord Coordinate { point [ " + points +
         " ] } coordIndex [ " + indices + " ] } }";
}

std::string scenePath(const char* corpus_name, bool xml, size_t bytes) {
  const std::filesystem::path corpus = std::filesystem::path(VEKMESH_SOURCE_DIR) / ".." / "shared" /
                                       "corpus" / "scene" / corpus_name;
  if (std::filesystem::exists(corpus)) return corpus.string();
  const std::string path = (std::filesystem::temp_directory_path() /
                            (std::string("vekmesh-scene-bench") + (xml ? ".x3d" : ".wrl")))
                               .string();
  std::ofstream(path) << generatedScene(xml, bytes);
  return path;
}

void benchScene(benchmark::State& state, const std::string& name, const std::string& path) {
  Row row;
  row.name = name + (path.find("vekmesh-scene-bench") != std::string::npos ? " (generated)" : "");
  row.bytes = size_t(std::filesystem::file_size(path));
  std::function<double()> peer;
#if defined(VEKMESH_HAVE_ASSIMP)
  peer = [&] {
    Assimp::Importer importer;
    const aiScene* scene = nullptr;
    const double s = timed([&] { scene = importer.ReadFile(path, aiProcess_Triangulate); });
    row.peer_read = scene != nullptr;
    row.peer_triangles = 0;
    if (scene)
      for (unsigned m = 0; m < scene->mNumMeshes; ++m)
        row.peer_triangles += scene->mMeshes[m]->mNumFaces;
    return s;
  };
#endif
  row.times = runPaired(
      state,
      [&] {
        ByteSoup soup;
        std::vector<std::string> names, notes;
        const double s = timed([&] { readScene(path.c_str(), soup, names, notes); });
        row.ours_triangles = soup.triangleCount();
        return s;
      },
      peer);
  state.counters["ms"] = row.times.oursMs();
  g_rows.push_back(row);
}

}  // namespace

bool summarize() {
  if (g_rows.empty()) return true;
  std::printf("\nScene reading (median ms; ratio = median of paired ours / assimp)\n");
  std::printf("%-36s %9s %10s %9s %10s %9s %7s\n", "case", "bytes", "triangles", "ours",
              "assimp tr.", "assimp", "ratio");
  for (const Row& r : g_rows) {
    if (r.peer_read)
      std::printf("%-36s %9zu %10zu %9.1f %10zu %9.1f %7.3f\n", r.name.c_str(), r.bytes,
                  r.ours_triangles, r.times.oursMs(), r.peer_triangles, r.times.theirsMs(),
                  r.times.ratio());
    else
      std::printf("%-36s %9zu %10zu %9.1f %10s %9s %7s\n", r.name.c_str(), r.bytes,
                  r.ours_triangles, r.times.oursMs(), "-", r.times.paired() ? "fails" : "-", "-");
  }
  return true;
}

void registerCases() {
  registerCase("Scene/x3d-1.3MB", 9, [](benchmark::State& state) {
    benchScene(state, "Scene/x3d-1.3MB", scenePath("castle-teapot_and_monkey.x3d", true, 1302511));
  });
  registerCase("Scene/vrml-2.3MB", 9, [](benchmark::State& state) {
    benchScene(state, "Scene/vrml-2.3MB", scenePath("assimp-MotionCaptureROM.WRL", false, 2314611));
  });
}

}  // namespace bench
}  // namespace vekmesh
