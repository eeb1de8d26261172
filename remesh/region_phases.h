// Running the greedy collapse loop to the target face count: on large meshes
// first in parallel over independent slabs of the model, in rising cost
// phases, then serially over everything the slabs left.
#pragma once

#include "remesh/greedy_reduction.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// Collapses until settings.target_faces live faces remain or nothing within
// the bounds is left; updates s.live_faces and s.collapses.
void reduceToTarget(ReducerState& s, const ReduceSettings& settings);

}  // namespace vekmesh::reducer
