// A mesh's live faces as comparable values (corner positions and colour
// bytes, each face rotated to start at its smallest corner, the list sorted):
// two meshes with the same triangles give equal lists whatever the order of
// faces and vertices, which is what format round trips promise.
#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh::test {

using FaceValues = std::array<float, 18>;

inline std::vector<FaceValues> faceList(const SubMesh& m) {
  std::vector<FaceValues> out;
  for (const Face& f : m.faces) {
    if (f.removed) continue;
    std::array<std::array<float, 6>, 3> c;
    for (int k = 0; k < 3; ++k) {
      const auto& p = m.vertices[f.v[k]].position;
      c[k] = {
          p[0], p[1], p[2], float(f.colors[k][0]), float(f.colors[k][1]), float(f.colors[k][2])};
    }
    std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
    FaceValues flat;
    for (int k = 0; k < 18; ++k) flat[k] = c[k / 6][k % 6];
    out.push_back(flat);
  }
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace vekmesh::test
