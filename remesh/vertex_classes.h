// Preparing the reducer's vertices: per vertex, in one parallel pass, the class
// that says how collapses may move it (free, sliding on a boundary or seam,
// fixed, locked) and its quadric of area-weighted face planes plus constraint
// planes along its boundary and seam edges.
#pragma once

#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// Fills s.quadric, s.vertex_class and s.on_boundary from the loaded mesh.
void classifyVertices(ReducerState& s);

}  // namespace vekmesh::reducer
