// Shell separation: every shell becomes a part of its own, except that shells
// passing through one another stay together in one part. Log name:
// "separation".
#pragma once

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Rebuilds `shells`, finds the shells that intersect (findIntersectingShells)
// and replaces `mesh.pieces` with one welded part per group, parts in the
// order of their lowest shell. An empty mesh yields no parts; the faces of a
// part keep their colours, materials and texture coordinates. Logs
// "separation" (shells and parts) through `run`.
void separateShells(TriMesh& mesh, const RunContext& run = {});

}  // namespace vekmesh
