// Turning a TriMesh back into triangle-soup arrays for the caller: one model
// (live faces in order) or several pieces written one after another with a
// per-piece triangle count. Arrays come from malloc and are released with free.
// Only the arrays an export hands out are made: the others stay null.
#pragma once

#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

struct ModelArrays {
  uint32_t count = 0;            // triangles
  float* corners = nullptr;      // 9 per triangle
  float* colors = nullptr;       // 9 per triangle, byte / 255
  float* uvs = nullptr;          // 6 per triangle, (0, 0) where untextured
  int32_t* materials = nullptr;  // 1 per triangle, -1 = none
};

struct MultiModelArrays {
  uint32_t pieceCount = 0;
  uint32_t* pieceCounts = nullptr;  // triangles per piece
  ModelArrays model;                // all pieces, one after another
};

// The arrays a conversion makes, as bits.
enum ModelArraySet : unsigned {
  kCornerArray = 1u,
  kColorArray = 2u,
  kUvArray = 4u,
  kMaterialArray = 8u,
  kAllArrays = 15u,
};

// Live faces of `mesh` in order, into the arrays named in `arrays` (the others
// stay null). Arrays are allocated even for zero triangles. Throws
// std::out_of_range (after freeing what it allocated) when a face names a
// vertex, or for the texture array a texture coordinate, that does not exist.
ModelArrays convertSingleModel(const SubMesh& mesh, unsigned arrays = kAllArrays);

// Every face of every piece (removed or not), pieces in order.
MultiModelArrays convertMultiShell(const TriMesh& mesh);

void freeModelArrays(ModelArrays& arrays);

}  // namespace vekmesh
