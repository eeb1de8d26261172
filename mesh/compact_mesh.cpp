// Compaction after two-phase deletion: the live faces, with their colours,
// materials and texture coordinates, are copied out and welded again, which
// also merges vertices that operations moved onto one another.
#include "mesh/mesh_utils.h"

namespace vekmesh {

void compactMesh(SubMesh& mesh) {
  size_t live = 0;
  for (const Face& f : mesh.faces) live += f.removed == 0;
  if (live == 0) return;

  ByteSoup soup;
  soup.corners.reserve(9 * live);
  soup.colors.reserve(9 * live);
  soup.uvs.reserve(6 * live);
  soup.materials.reserve(live);
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c) {
      const auto& p = mesh.vertices[f.v[c]].position;
      soup.corners.insert(soup.corners.end(), p.begin(), p.end());
      soup.colors.insert(soup.colors.end(), f.colors[c], f.colors[c] + 3);
    }
    for (int c = 0; c < 3; ++c) {
      const bool textured = f.material >= 0 && f.uv[c] < mesh.texCoords.size();
      soup.uvs.push_back(textured ? mesh.texCoords[f.uv[c]].u : 0.0);
      soup.uvs.push_back(textured ? mesh.texCoords[f.uv[c]].v : 0.0);
    }
    soup.materials.push_back(f.material);
  }
  buildTriMesh(mesh, soup);
}

void rebuildTopology(SubMesh& mesh) {
  compactMesh(mesh);
  buildShells(mesh);
}

}  // namespace vekmesh
