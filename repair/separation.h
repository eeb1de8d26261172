// Shell separation: every shell becomes a part of its own, except that shells
// passing through one another stay together in one part.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Replaces `mesh.pieces` with the parts, in the order of their lowest shell.
// An empty mesh yields no parts.
void separateShells(TriMesh& mesh);

}  // namespace vekmesh
