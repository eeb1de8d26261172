// Writes the seed corpus of the fuzz targets: the STL and OBJ files the tests
// use (tests/support/io_samples.h) and what the two writers make of coloured,
// textured and plain test meshes; with a third folder, the 3MF writer's
// package of a coloured mesh and its model part alone.
// Usage: make_fuzz_seeds STL_DIR OBJ_DIR [3MF_DIR]
#include <cstdio>
#include <string>

#include "io/obj.h"
#include "io/stl.h"
#include "io/threemf.h"
#include "io/zip_archive.h"
#include "io_samples.h"
#include "mesh_builders.h"

using namespace vekmesh;

namespace {

bool writeAll(const std::string& dir, const std::vector<test::SampleFile>& files) {
  for (const test::SampleFile& file : files) {
    const std::string path = dir + "/" + file.name;
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
      std::fprintf(stderr, "make_fuzz_seeds: cannot write %s\n", path.c_str());
      return false;
    }
    std::fwrite(file.bytes.data(), 1, file.bytes.size(), f);
    std::fclose(f);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::fprintf(stderr, "usage: %s STL_DIR OBJ_DIR [3MF_DIR]\n", argv[0]);
    return 2;
  }
  const std::string stl_dir = argv[1], obj_dir = argv[2];
  if (!writeAll(stl_dir, test::stlSamples()) || !writeAll(obj_dir, test::objSamples())) return 1;

  test::Soup coloured = test::torusSoup(1.0f, 0.3f, 8, 6);
  test::paint(coloured, {0.2f, 0.6f, 1.0f});
  coloured.colors[0] = 0.0f;  // one corner of another colour splits its vertex
  test::Soup textured = test::cubeSoup(0.5f, test::Winding::kOutward, {2, 0, 0});
  test::assignMaterial(textured, 3);
  textured.materials[0] = 0;
  const TriMesh mixed = test::buildMesh(test::concatenate(coloured, textured));
  writeObj((obj_dir + "/writer_mixed.obj").c_str(), mixed);
  writeObj((obj_dir + "/writer_plain.obj").c_str(), test::buildMesh(test::tetrahedronSoup()));
  writeStl((stl_dir + "/writer_mixed.stl").c_str(), mixed);
  if (argc == 4) {
    const std::string package = std::string(argv[3]) + "/writer_coloured.3mf";
    if (!write3mf(package.c_str(), test::buildMesh(coloured))) return 1;
    std::vector<uint8_t> bytes;
    for (const char c : test::readFileBytes(package)) bytes.push_back(static_cast<uint8_t>(c));
    ZipReader zip(std::move(bytes));
    std::string model;
    if (!zip.read("3D/3dmodel.model", model, 1 << 24)) return 1;
    if (!writeAll(argv[3], {{"model.xml", model}})) return 1;
  }
  return 0;
}
