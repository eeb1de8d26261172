// Preparing the reducer's vertices in one parallel pass: the class that says
// how collapses may move each (free, sliding, fixed, locked) and its quadric of
// face planes plus constraint planes along boundary and seam edges.
#pragma once

#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// Fills s.quadric, s.vertex_class, s.on_boundary and s.region from the loaded
// mesh. The workers stop early when `watch` says so (the caller throws).
void classifyVertices(ReducerState& s, CancelWatch* watch = nullptr);

}  // namespace vekmesh::reducer
