// Cost of the tool's exchange formats on a coloured, textured sphere of about
// 100k and 1M triangles: the glTF writer (GLB and JSON with its buffer file),
// PLY and 3MF writing and reading back, each with the file's size. No peer:
// these set the baseline later changes are compared with.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_harness.h"
#include "io/gltf.h"
#include "io/ply.h"
#include "io/threemf.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace bench {
namespace {

std::string scratch(const char* name) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir && *dir ? dir : "/tmp") + "/vekmesh-format-bench-" +
         std::to_string(getpid()) + "-" + name;
}

double fileBytes(const std::string& path) {
  double bytes = 0.0;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    std::fseek(f, 0, SEEK_END);
    bytes = static_cast<double>(std::ftell(f));
    std::fclose(f);
  }
  return bytes;
}

// A sphere whose northern half is material 0 with coordinates from the
// position and whose every fifth triangle has a darker corner.
const TriMesh& model(size_t triangles) {
  static std::vector<std::pair<size_t, TriMesh>> made;
  for (const auto& [n, m] : made)
    if (n == triangles) return m;
  test::Soup s;
  s.corners = test::toSoup(test::uvSphereNear(triangles, 1.0f));
  s.colors.assign(s.corners.size(), 1.0f);
  s.uvs.assign(s.corners.size() / 9 * 6, 0.0f);
  s.materials.assign(s.corners.size() / 9, -1);
  for (uint32_t t = 0; t < s.triangleCount(); ++t) {
    if (t % 5 == 0) s.colors[9 * t] = 0.5f;
    if (s.corners[9 * t + 2] > 0.0f) {
      s.materials[t] = 0;
      for (int k = 0; k < 3; ++k) {
        s.uvs[6 * t + 2 * k] = 0.5f + 0.5f * s.corners[9 * t + 3 * k];
        s.uvs[6 * t + 2 * k + 1] = 0.5f + 0.5f * s.corners[9 * t + 3 * k + 1];
      }
    }
  }
  made.emplace_back(triangles, test::buildMesh(s));
  return made.back().second;
}

struct Format {
  const char* name;
  const char* extension;
  bool (*write)(const SubMesh&, const std::string&);
  size_t (*read)(const std::string&, SubMesh&);  // null: written only
};

const Format kFormats[] = {
    {"glb", "glb",
     [](const SubMesh& m, const std::string& p) { return writeGltf(m, p.c_str(), {"a.png"}); },
     nullptr},
    {"gltf", "gltf",
     [](const SubMesh& m, const std::string& p) { return writeGltf(m, p.c_str(), {"a.png"}); },
     nullptr},
    {"ply", "ply", [](const SubMesh& m, const std::string& p) { return writePly(p.c_str(), m); },
     [](const std::string& p, SubMesh& m) { return readPly(p.c_str(), m); }},
    {"3mf", "3mf", [](const SubMesh& m, const std::string& p) { return write3mf(p.c_str(), m); },
     [](const std::string& p, SubMesh& m) { return read3mf(p.c_str(), m); }},
};

void registerFormat(const Format& f, const char* label, size_t triangles, int iterations) {
  registerCase(std::string("Write/") + f.name + "/" + label, iterations,
               [=](benchmark::State& state) {
                 const TriMesh& m = model(triangles);
                 const std::string path = scratch((std::string("w.") + f.extension).c_str());
                 runPaired(state, [&] { return timed([&] { f.write(m, path); }); });
                 state.counters["MB"] = fileBytes(path) / 1e6;
                 std::remove(path.c_str());
                 std::remove(scratch("w.bin").c_str());
               });
  if (!f.read) return;
  registerCase(std::string("Read/") + f.name + "/" + label, iterations,
               [=](benchmark::State& state) {
                 const std::string path = scratch((std::string("r.") + f.extension).c_str());
                 f.write(model(triangles), path);
                 runPaired(state, [&] {
                   TriMesh back;
                   return timed([&] { f.read(path, back); });
                 });
                 std::remove(path.c_str());
               });
}

}  // namespace

void registerCases() {
  for (const Format& f : kFormats) {
    registerFormat(f, "100k", kSize100k, 10);
    registerFormat(f, "1M", kSize1M, 5);
  }
}

bool summarize() {
  return true;
}

}  // namespace bench
}  // namespace vekmesh
