// The clean-up every voxel operation applies to an exported voxel mesh before
// reducing it: where voxels touch only along an edge or at a corner, the
// surface has edges of four faces and vertices pinched between two fans.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Pairs the four faces of every such edge and splits every vertex into one
// vertex per fan of faces around it, so that a closed voxel surface becomes a
// closed, two-manifold, outward mesh with the same vertices' positions (and
// so the same volume): copies of a split vertex lie on the same point. The
// four faces of an edge pair by voxel (the two faces of one voxel's quarter
// around the edge are neighbours), so voxels touching only along an edge or
// at a corner become separate solids that meet there, each with its own
// copies of the shared vertices. (Pairing across the empty quarters instead
// leaves one fan around each end of the edge that passes it twice, so the
// edge would keep its four faces.) Edges of any other count are left as
// they are. Afterwards incidentCorners is current and
// `shells` is empty. Made for voxel meshes: faces on the lattice's planes.
void separateVoxelContacts(SubMesh& mesh);

}  // namespace vekmesh
