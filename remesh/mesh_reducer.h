// The mesh reducer: lowers the face count of a mesh in place towards `ratio` of
// its live faces by quadric-error edge collapse (Garland and Heckbert 1997),
// within an error bound and a normal bound; two routines, quality and fast.
// Log names: "mesh reduction" (quality routine), "fast mesh reduction".
#pragma once

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// No collapse is made whose error exceeds `maxError` (model units: the mean
// distance of the merged vertex from the planes of the original faces it
// stands for) or that turns a face's normal to a cosine below `minCosine`
// (a face turned by 90 degrees or more counts as flipped whatever the bound).
// A ratio of 0 or below keeps only those two bounds: the reducer removes what
// it can within them. A NaN or negative maxError, or a NaN minCosine, allows
// nothing.
//
// Both routines keep what they are given sound: a collapse that would make an
// edge shared by more than two faces, pinch a vertex, flip or crush a face is
// refused, so a closed two-manifold stays one with the same orientation;
// collapses touching non-manifold edges are refused. Open boundaries and
// seams (where material, corner colour or texture coordinates change) stay in
// place or shorten along themselves, and colours, texture coordinates and
// materials travel with the corners. Afterwards `faces`, `vertices`,
// `texCoords` and incidentCorners are compacted and current; `shells` is
// rebuilt if it was filled. When no collapse is possible the mesh is untouched.
// Each routine logs its parameters and the live faces before and after
// through `run`; neither reports progress. Both ask run's cancel check every
// thousand or so collapses and between their passes (on the calling thread,
// while the team works on), and throw RunCancelled when it says stop: the
// mesh is then in no defined state.

// The quality routine: cheapest-first from a priority queue, merged vertices
// placed at the quadric minimiser; large meshes are worked block by block in
// parallel, in rising cost phases, before one global queue finishes (see
// region_phases.cpp).
void reduceMesh(SubMesh& mesh, double ratio, double maxError, double minCosine,
                const RunContext& run = {});

// The routine for very large and voxel meshes: the same bounds and guarantees,
// merged vertices placed on one of the two ends (keeps voxel lattices exact),
// and the work done in passes over blocks of the model in parallel (see
// fast_reducer.cpp).
void reduceMeshFast(SubMesh& mesh, double ratio, double maxError, double minCosine,
                    const RunContext& run = {});

}  // namespace vekmesh
