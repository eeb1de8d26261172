// Which face continues which across each edge, for orienting: a face's
// partner across an edge of two live faces is the other face; at an edge of
// more faces the faces are sorted by their angle around the edge and paired
// with an angular neighbour, so that each pair bounds one wedge of space and
// the pairs form separate sheets. Of the two ways to pair neighbours, the one
// whose wedges the faces' normals call inside more often is taken (the first
// way on a tie); with an odd count the last face is left without a partner.
// Two solids touching along an edge thus stay two solids, and an orientation
// walk never runs from one into the other.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

struct SheetPartners {
  // Index 3 f + c: the partner across the edge of corner c of face f (from
  // v[c] to v[c + 1]), or -1.
  std::vector<int32_t> partner;
  // Index 3 f + c: 1 when that partner runs the edge the same way as f.
  std::vector<uint8_t> alike;
};

// The pairs chosen at edges of more than two faces, by edge (its two
// vertices, lower first), so that a later pairing of the same faces can
// follow the same sheets.
using SheetPairs =
    std::map<std::pair<int32_t, int32_t>, std::vector<std::pair<uint32_t, uint32_t>>>;

// `adjacency` was built with RemovedFaces::kSkip; faces removed since count as
// gone. Removed faces get -1 everywhere. With `earlier`, an edge paired there
// keeps those pairs (a face new to the edge stays without a partner); edges
// paired afresh are recorded in `chosen` when given. Vertex numbers must not
// have changed in between.
SheetPartners pairSheets(const SubMesh& mesh, const CornerAdjacency& adjacency,
                         const SheetPairs* earlier = nullptr, SheetPairs* chosen = nullptr);

}  // namespace vekmesh
