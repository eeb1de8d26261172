// Appending one mesh to another: every index of the source is rebased by the
// sizes of the destination and its materials are moved above the destination's.
#include "mesh/mesh_utils.h"

namespace vekmesh {

void appendMesh(SubMesh& a, SubMesh&& b) {
  int16_t largest = 0;
  for (const Face& f : a.faces)
    if (f.material > largest) largest = f.material;
  const uint32_t vertex_base = static_cast<uint32_t>(a.vertices.size());
  const uint32_t face_base = static_cast<uint32_t>(a.faces.size());
  const uint32_t tex_base = static_cast<uint32_t>(a.texCoords.size());

  for (Vertex& v : b.vertices) v.index += static_cast<int32_t>(vertex_base);
  // b's lists must start at b's first vertex: a's lists cover all of a's
  // vertices first, even those a maker added without faces.
  a.incidentCorners.cover(vertex_base);
  a.incidentCorners.append(b.incidentCorners, face_base);
  a.incidentCorners.cover(vertex_base + b.vertices.size());
  for (Face& f : b.faces) {
    for (int i = 0; i < 3; ++i) {
      f.v[i] += static_cast<int32_t>(vertex_base);
      if (f.uv[i] != kNoTexCoord) f.uv[i] += tex_base;
    }
    // 16-bit arithmetic on purpose: materials are 16-bit everywhere.
    if (static_cast<uint16_t>(f.material) != 0xFFFFu)
      f.material = static_cast<int16_t>(static_cast<uint16_t>(f.material + largest + 1));
  }
  for (TexCoord& t : b.texCoords) t.index += tex_base;
  for (auto& shell : b.shells) {
    for (int32_t& face : shell) face += static_cast<int32_t>(face_base);
    a.shells.push_back(std::move(shell));
  }
  a.vertices.insert(a.vertices.end(), std::make_move_iterator(b.vertices.begin()),
                    std::make_move_iterator(b.vertices.end()));
  a.faces.insert(a.faces.end(), b.faces.begin(), b.faces.end());
  a.texCoords.insert(a.texCoords.end(), b.texCoords.begin(), b.texCoords.end());
  b = SubMesh{};
}

}  // namespace vekmesh
