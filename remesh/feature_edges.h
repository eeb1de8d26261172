// Sharp edges of a remeshing patch, found by the dihedral angle between the
// two sides of the surface around each edge rather than between its two
// faces alone, so that noise does not pass for features.
#pragma once

#include "remesh/patch_mesh.h"

namespace vekmesh::remeshing {

// Marks kConstrained every interior edge of `p` (its half-edges with a twin)
// where the surface folds by more than `feature_degrees`: the edge's two
// faces part by more than the angle, and so do the normals of its two sides.
// A side's normal is the area-weighted sum of the faces on the rings of the
// edge's four vertices that lie within the angle of that side's face and
// nearer it than the other face. Beside a real edge (a box's) those faces
// are flat and the side normals are the faces' own; on a noisy surface a
// tilted face is outvoted by its neighbours, which agree with the surface,
// so random sharp pairs do not turn into a web of fixed feature lines. The
// fold must also be three times the largest tilt of those faces from their
// side's normal, and a sharp edge stays only in a connected set of at least
// four (a lone ridge of noise does not; a box's or a tetrahedron's edges do).
void markSharpEdges(PatchMesh& p, double feature_degrees);

}  // namespace vekmesh::remeshing
