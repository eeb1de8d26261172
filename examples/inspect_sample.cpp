// Loads a binary STL, welds it into a TriMesh with the library's core and
// prints what it found: triangles, welded vertices, dropped triangles, shells,
// volume and bounds. A first look at a model until the command-line tool lands.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"

namespace {

// Minimal binary STL reading: 80-byte header, count, 50-byte records. Reads only
// the records that are actually in the file, whatever the header claims.
bool readBinaryStl(const char* path, std::vector<float>& corners) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  char header[80];
  uint32_t claimed = 0;
  if (!in.read(header, 80) || !in.read(reinterpret_cast<char*>(&claimed), 4)) return false;
  char record[50];
  for (uint32_t t = 0; t < claimed && in.read(record, 50); ++t) {
    float xyz[9];
    std::memcpy(xyz, record + 12, sizeof xyz);
    corners.insert(corners.end(), xyz, xyz + 9);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s model.stl (binary STL)\n", argv[0]);
    return 2;
  }
  std::vector<float> corners;
  if (!readBinaryStl(argv[1], corners)) {
    std::fprintf(stderr, "cannot read %s as binary STL\n", argv[1]);
    return 1;
  }
  const uint32_t triangles = static_cast<uint32_t>(corners.size() / 9);
  vekmesh::TriMesh mesh;
  vekmesh::buildTriMesh(mesh, triangles, corners.data(), nullptr, nullptr, nullptr);
  vekmesh::buildShells(mesh);
  float lo[3] = {1e30f, 1e30f, 1e30f}, hi[3] = {-1e30f, -1e30f, -1e30f};
  for (const auto& v : mesh.vertices)
    for (int a = 0; a < 3; ++a) {
      lo[a] = std::min(lo[a], v.position[a]);
      hi[a] = std::max(hi[a], v.position[a]);
    }

  std::printf("model            : %s\n", argv[1]);
  std::printf("triangles in file: %u\n", triangles);
  std::printf("welded vertices  : %zu\n", mesh.vertices.size());
  std::printf("faces            : %zu (%zu collapsed triangles dropped)\n", mesh.faces.size(),
              triangles - mesh.faces.size());
  std::printf("shells           : %zu\n", mesh.shells.size());
  for (size_t i = 0; i < mesh.shells.size(); ++i)
    std::printf("  shell %zu        : %zu faces\n", i, mesh.shells[i].size());
  std::printf("enclosed volume  : %.3f\n", vekmesh::enclosedVolume(mesh));
  std::printf("bounds           : (%.3f %.3f %.3f) .. (%.3f %.3f %.3f)\n", lo[0], lo[1], lo[2],
              hi[0], hi[1], hi[2]);
  return 0;
}
