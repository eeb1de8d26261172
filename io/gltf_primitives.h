// The glTF writer's view of a mesh: one primitive per material group, each
// with its own vertex arrays, where a welded vertex is split only for the
// corners that differ in colour or texture coordinate (a hash on the vertex,
// the colour bytes and the bits of the written coordinate).
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

struct GltfPrimitive {
  int16_t material = kNoMaterial;  // the face material of the group; -1: untextured faces
  // Whether TEXCOORD_0 is written: some face of the group has coordinates
  // (faces of the group without them get (0, 0)).
  bool textured = false;
  std::vector<float> positions;   // 3 per vertex
  std::vector<uint8_t> colors;    // 4 per vertex: R, G, B and an opaque alpha
  std::vector<float> uvs;         // 2 per vertex, v already flipped (1 - v); empty when untextured
  std::vector<uint32_t> indices;  // 3 per face, in the mesh's winding
  float min[3] = {0, 0, 0};
  float max[3] = {0, 0, 0};

  uint32_t vertexCount() const { return static_cast<uint32_t>(positions.size() / 3); }
};

struct GltfPrimitives {
  std::vector<GltfPrimitive> primitives;  // by ascending material, untextured first
  // Whether some written corner is not white: COLOR_0 is written only then.
  bool colored = false;
};

// Groups the live faces by material. Faces with a non-finite corner position
// are left out: glTF readers and validators cannot take NaN or infinite
// coordinates, and min/max would be undefined.
GltfPrimitives gatherGltfPrimitives(const SubMesh& mesh);

}  // namespace vekmesh
