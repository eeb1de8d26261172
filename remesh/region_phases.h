// Running the greedy collapse loop to the target face count: on large meshes
// first in parallel over independent blocks of the model, in rising cost
// phases, then serially over everything the blocks left.
#pragma once

#include <cstdint>
#include <vector>

#include "remesh/greedy_reduction.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// Below this many live faces the blocks' frozen borders would be a large share
// of the mesh, and one thread is fast enough anyway.
constexpr size_t kParallelMinFaces = 100000;

// Region of every working vertex: its block, or kBorderRegion (see
// ReducerState::region).
std::vector<uint8_t> blockRegions(const ReducerState& s);

// Prices the edges of block r's faces: edges with both ends in region r go
// into `queue` (emptied first), the others are appended to `border`.
// `priced` is scratch. Returns the number of live faces in the block's range.
size_t priceBlock(const ReducerState& s, const ReduceSettings& settings,
                  const std::vector<uint8_t>& region, int r, std::vector<QueueEntry>& priced,
                  CollapseQueue& queue, std::vector<QueueEntry>& border);

// Collapses until settings.target_faces live faces remain or nothing within
// the bounds is left; updates s.live_faces and s.collapses.
void reduceToTarget(ReducerState& s, const ReduceSettings& settings);

}  // namespace vekmesh::reducer
