// libFuzzer target of the STL loader: any bytes, binary or text, must load
// without a crash, a leak or an allocation beyond what the file holds, and
// what loads must write and load back to the same triangles.
#include <cstdlib>
#include <cstring>

#include "fuzz_file.h"
#include "io/stl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  TriMesh mesh;
  loadStl(fuzz::asFile(data, size, "stl"), mesh);
  fuzz::checkMesh(mesh);
  // The binary writer keeps every bit of a position, so the reload welds the
  // same way and keeps every face. (Only two distinct points whose weld keys
  // collide could merge on reload, in a cell they did not share before.)
  const char* path = fuzz::scratchPath("stl");
  writeStl(path, mesh);
  TriMesh again;
  loadStl(path, again);
  if (again.faces.size() != mesh.faces.size() || again.vertices.size() > mesh.vertices.size())
    std::abort();
  for (size_t f = 0; f < mesh.faces.size(); ++f)
    for (int c = 0; c < 3; ++c)
      if (std::memcmp(&mesh.vertices[mesh.faces[f].v[c]].position,
                      &again.vertices[again.faces[f].v[c]].position, 12) != 0)
        std::abort();
  return 0;
}
