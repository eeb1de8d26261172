// Subdivision, `level` rounds in one of two modes (the two passes the
// refinement exports chain): mode 1 smooths while keeping features (Loop
// subdivision with Hoppe et al.'s creases, remesh/loop_subdivision.h), mode 0
// refines along colour boundaries and texture seams without moving anything
// (Rivara's longest-edge bisection, remesh/colour_refinement.h).
// Log name: "subdivision".
#pragma once

#include <cstddef>
#include <cstdint>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// No round is started that would leave more faces than this; the mesh keeps
// the rounds made before.
constexpr size_t kSubdivisionFaceCap = 20000000;
// Rounds beyond this are not made: 48 bisections halve an edge about 24 times,
// as far as single-precision coordinates resolve (mode 1 reaches the face cap
// long before).
constexpr int32_t kSubdivisionMaxRounds = 48;

// Level 0 or below, or a mode other than 0 and 1, leaves the mesh as it is.
// Otherwise faces that cannot be subdivided (removed, naming a vertex out of
// range or one vertex twice) are dropped first, as compaction drops them, and
// the rounds run until `level` are made, the face cap stops them or (mode 0)
// nothing is left to split. Afterwards faces, vertices, texCoords and
// incidentCorners are current (unused vertices stay), and shells are rebuilt
// when they were filled. Logs the level, the mode and the faces before and
// after through `run`, with a caution when the face cap stopped a round;
// reports progress by rounds.
void subdivideMesh(SubMesh& mesh, int32_t level, int32_t mode, const RunContext& run = {});

}  // namespace vekmesh
