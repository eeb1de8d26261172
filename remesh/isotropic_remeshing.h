// Isotropic remeshing of a patch (Botsch and Kobbelt 2004): rounds of
// splitting long edges, collapsing short ones, flipping edges towards
// valence 6 and tangential smoothing with projection onto the surface the
// patch had before.
#pragma once

#include <cstddef>

#include "mesh/run_context.h"
#include "remesh/patch_mesh.h"
#include "remesh/surface_projector.h"

namespace vekmesh::remeshing {

struct IsotropicOptions {
  double target_length = 0.0;  // edges longer than 4/3 of it split, shorter than 4/5 collapse
  int iterations = 5;
  size_t max_faces = 0;  // live faces the splits may not go beyond
};

struct IsotropicCounts {
  size_t splits = 0, collapses = 0, flips = 0;
  bool capped = false;  // a split was refused for the face limit
};

// Remeshes `patch` in place; `surface` holds the patch's triangles as they
// were. A target that is not a positive finite number changes nothing.
// `run` is asked for a cancel between the steps of each round (checkpoints
// only: the caller reports the progress).
IsotropicCounts remeshIsotropic(PatchMesh& patch, const SurfaceProjector& surface,
                                const IsotropicOptions& options, const RunContext& run = {});

}  // namespace vekmesh::remeshing
