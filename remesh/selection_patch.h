// The part of a mesh that remeshing works on: the faces a caller selects,
// copied into a half-edge patch with every constraint marked (the border to
// the rest of the model, open boundaries, sharp edges, non-manifold edges and
// vertices), and written back so that nothing outside the selection changes.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"
#include "remesh/patch_mesh.h"

namespace vekmesh::remeshing {

// Edges whose faces meet at a dihedral angle above this (degrees) are sharp
// features.
constexpr double kFeatureAngleDegrees = 30.0;

struct SelectionPatch {
  PatchMesh patch;
  // The mesh's selected faces, ascending; patch face i came from faces[i]
  // (PatchMesh::face_source numbers this list).
  std::vector<uint32_t> faces;
  // The selected faces' corners as they were, three per face: the surface
  // the remeshed patch stays on.
  std::vector<Vec3d> reference;
  double mean_edge = 0.0;  // over the patch's edges
};

// The faces `indices` names: out-of-range and repeated entries are skipped,
// as are faces that are removed, repeat a vertex or have a non-finite
// corner. When that leaves none (null, empty or all invalid), every such
// face of the mesh. Ascending.
std::vector<uint32_t> selectFaces(const SubMesh& mesh, const int32_t* indices, uint32_t count);

// Copies `faces` (from selectFaces) into `out`. The mesh's incidentCorners
// must list its faces (it tells which border edges other faces share).
void buildPatch(const SubMesh& mesh, std::vector<uint32_t> faces, SelectionPatch& out);

// Removes the selected faces (flagged, for compaction), appends the patch's
// faces and new vertices, moves the vertices only the selection used and
// rebuilds incidentCorners. New faces take the material and the first
// corner's colour of the face they came from, and no texture coordinates.
void writeBack(SubMesh& mesh, const SelectionPatch& selection);

}  // namespace vekmesh::remeshing
