// Per-corner edge adjacency: for each face corner, the one other face that
// shares the corner's edge (and whether it runs the edge the same way), or a
// mark for none or several. Built by one sweep over the vertices' incident
// corners, so that later face walks read three integers per face instead of
// walking incidence lists.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/face_bits.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Which faces count as sharing an edge.
enum class RemovedFaces {
  kSkip,   // only live faces share edges (shells, repair)
  kCount,  // every face still listed in incidentCorners shares edges (flaw test)
};

struct CornerAdjacency {
  static constexpr int32_t kOpen = -1;     // no other face shares the edge
  static constexpr int32_t kSeveral = -2;  // two or more: walk incidentCorners

  // Index 3 f + c: the face across the edge of corner c of face f (from v[c]
  // to v[c + 1]) when exactly one other entry of v[c]'s incidentCorners
  // shares that edge, else kOpen or kSeveral. A face listed twice (with a
  // repeated vertex) counts once per listing, as a walk of the list would.
  std::vector<int32_t> across;
  // Index 3 f + c: 1 when that single face runs the edge in the same direction.
  std::vector<uint8_t> same_direction;

  // Only when asked for (live faces only): every live face whose three
  // vertices are those of a lower-numbered live face, ascending. Meaningful
  // only while no live face repeats a vertex, which `repeated_vertex_face`
  // tells.
  bool duplicates_listed = false;
  bool repeated_vertex_face = false;
  std::vector<uint32_t> duplicate_faces;
};

// Needs current incidentCorners. Corners of faces that are not listed (or
// removed faces, with kSkip) get kOpen. With `list_duplicates` (and kSkip),
// the duplicate faces are listed too, by a pass over the faces that reads
// the finished adjacency: a face that shares all three edges with one other
// face and nothing else is decided by the two numbers, and only faces with
// an edge of several faces look in a list.
CornerAdjacency buildCornerAdjacency(const SubMesh& mesh, RemovedFaces removed,
                                     bool list_duplicates = false);

// The adjacency of `mesh` from one built with RemovedFaces::kSkip (duplicates
// listed or not) before the faces in `removed` were marked removed and faces
// first_new_face.. were appended and listed in incidentCorners: the removed
// faces' slots are opened, slots are added for the new faces, and the
// sharers of the changed faces' vertices' edges are counted again. `removed`
// must hold every face removed since (faces removed before may be in it
// too); no face may have been renumbered, and turns since must have been
// made in the adjacency too (turnFacesInAdjacency), before or after the
// removals. The result is what
// buildCornerAdjacency(mesh, RemovedFaces::kSkip) would build now, without the
// duplicate list.
void refreshCornerAdjacency(const SubMesh& mesh, CornerAdjacency& adjacency,
                            const std::vector<size_t>& removed, size_t first_new_face);

// Keeps an adjacency current through turns of the faces in `turned` (each
// trading corners 0 and 1, as applyTurns does): a turned face's edges 1 and
// 2 trade places, and a pair in which one face turned and not the other now
// runs its edge the other way. On the team.
void turnFacesInAdjacency(CornerAdjacency& adjacency, const FaceBits& turned);

// buildShells (mesh_utils.h) with an adjacency built with RemovedFaces::kSkip
// on the mesh as it is now.
void buildShells(SubMesh& mesh, const CornerAdjacency& adjacency);

// buildShells, handing back the adjacency the shells came from, so that a
// caller that goes on to read the topology of this mesh state (flaw tests,
// post-detection counts) does not build it again.
CornerAdjacency buildShellsWithAdjacency(SubMesh& mesh, bool list_duplicates = false);

// rebuildTopology (mesh_utils.h), handing back the adjacency of the compacted
// mesh in the same way.
CornerAdjacency rebuildTopologyWithAdjacency(SubMesh& mesh);

}  // namespace vekmesh
