// Orientation helpers shared by the flaw test, post-detection and the winding
// repair: a shell's topmost vertex, the upward component of the unit normals
// around it (the inside-out test), and turning one face over in place.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/face_bits.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// A shell is inside out when the upward normal sum at its top is below this;
// a sum of exactly 0 (normals cancelling in z) passes.
constexpr double kInsideOutThreshold = -0.0001;

// The vertex of greatest z over the corners of `shell_faces`, in list order and
// corner order 0, 1, 2; ties keep the first found. The search starts at
// -1000000, so a shell lying entirely below that (or made of NaN) has no top:
// -1. Removed faces are skipped when `skip_removed` is set.
int32_t shellTopVertex(const SubMesh& mesh, const std::vector<int32_t>& shell_faces,
                       bool skip_removed);

// x * 0 + y * 0 + z of the summed faceUnitNormal of the faces in the vertex's
// incidentCorners. Only the upward component decides; the zero weights stay
// in the expression so that a non-finite x or y still poisons the sum as it
// always has. Removed faces are skipped when `skip_removed` is set. Faces
// marked in `turned` (when given) are taken as if already turned over.
double upwardNormalSum(const SubMesh& mesh, int32_t vertex, bool skip_removed,
                       const FaceBits* turned = nullptr);

// Reverses the winding of face `f`: swaps v[0] and v[1], the first two colour
// triples and, for a face with a material, the first two uv references. The two
// affected incidentCorners entries are renumbered so that the topology stays
// current.
void turnFaceOver(SubMesh& mesh, uint32_t f);

// turnFaceOver for every face marked in `turned`, in one pass over the faces
// and one over the incidence lists.
void applyTurns(SubMesh& mesh, const FaceBits& turned);

}  // namespace vekmesh
