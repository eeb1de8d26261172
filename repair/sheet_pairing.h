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
#include <unordered_map>
#include <utility>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Partners read from the adjacency they were paired on, with the edges of
// several faces paired apart (most models have none or few, so the pairs
// there live in a small table instead of a copy of the whole adjacency).
struct SheetPartners {
  SheetPartners(const CornerAdjacency& on, size_t face_count)
      : adjacency(&on), removed(face_count) {}

  // The partner across the edge of corner `slot` % 3 of face `slot` / 3
  // (from v[c] to v[c + 1]), or -1; `alike` tells whether it runs the edge
  // the same way.
  int32_t partnerOf(size_t slot, bool& alike) const {
    if (removed.test(slot / 3)) return -1;
    const int32_t across =
        slot < adjacency->across.size() ? adjacency->across[slot] : CornerAdjacency::kOpen;
    if (across >= 0) {
      if (removed.test(size_t(across))) return -1;
      alike = adjacency->same_direction[slot] != 0;
      return across;
    }
    if (across != CornerAdjacency::kSeveral) return -1;
    const auto it = paired.find(slot);
    if (it == paired.end()) return -1;
    alike = it->second.second;
    return it->second.first;
  }

  const CornerAdjacency* adjacency;
  FaceBits removed;  // faces removed since the adjacency was built, too
  // Corners on edges of several faces: partner (or -1) and whether alike.
  std::unordered_map<size_t, std::pair<int32_t, bool>> paired;
};

// The pairs chosen at edges of more than two faces, by edge (its two
// vertices, lower first), so that a later pairing of the same faces can
// follow the same sheets.
using SheetPairs =
    std::map<std::pair<int32_t, int32_t>, std::vector<std::pair<uint32_t, uint32_t>>>;

// `adjacency` was built with RemovedFaces::kSkip and must outlive the
// partners; faces removed since count as gone, and get -1 everywhere. With `earlier`, an edge
// paired there keeps those pairs (a face new to the edge stays without a partner); edges paired
// afresh are recorded in `chosen` when given. Vertex numbers must not have changed in between.
SheetPartners pairSheets(const SubMesh& mesh, const CornerAdjacency& adjacency,
                         const SheetPairs* earlier = nullptr, SheetPairs* chosen = nullptr);

}  // namespace vekmesh
