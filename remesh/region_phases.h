// Running the greedy collapse loop to the target face count: on large meshes
// first in parallel over independent slabs of the model, in rising cost
// phases, then serially over everything the slabs left.
#pragma once

#include <cstdint>
#include <vector>

#include "remesh/greedy_reduction.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// Region of a vertex next to another slab, or without faces or position.
constexpr uint8_t kBorderRegion = 0xFF;

// Below this many live faces the slabs' frozen borders would be a large share
// of the mesh, and one thread is fast enough anyway.
constexpr size_t kParallelMinFaces = 100000;

// Region of every working vertex: its slab, or kBorderRegion.
std::vector<uint8_t> slabRegions(const ReducerState& s);

// Collapses until settings.target_faces live faces remain or nothing within
// the bounds is left; updates s.live_faces and s.collapses.
void reduceToTarget(ReducerState& s, const ReduceSettings& settings);

}  // namespace vekmesh::reducer
