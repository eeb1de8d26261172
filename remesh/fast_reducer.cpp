// The fast reduction routine for very large and voxel meshes: quadric error
// metrics with the merged vertex on one of the edge's ends, collapsed in
// passes over the blocks in parallel without queueing edges again.
#include <algorithm>
#include <limits>
#include <vector>

#include "remesh/greedy_reduction.h"
#include "remesh/mesh_reducer.h"
#include "remesh/region_phases.h"

namespace vekmesh {
namespace {

using namespace reducer;

constexpr int kMaxPasses = 64;

// A block's worker state. The lists keep their capacity from pass to pass:
// freed and taken again, blocks this large would come back from the system
// as fresh pages, each faulted in and cleared again.
struct BlockWork {
  CollapseQueue queue;
  CollapseScratch scratch;
  std::vector<QueueEntry> priced, border, deferred;
  size_t live = 0;  // live faces in the block's face range when priced
};

// Placing the merged vertex on an end needs no solve per candidate and keeps
// voxel lattices exact. Every edge is priced once per pass; the blocks collapse
// their cheapest edges in parallel without queueing anything again, and the
// block borders follow serially. A kept vertex does not move, so its other
// entries stay and are priced again only when they come up; the edges it
// gained from the vertex it absorbed wait for the next pass. On a sphere one
// pass reaches a fifth of the faces.
void reduceInPasses(ReducerState& s, const ReduceSettings& settings) {
  const std::vector<uint8_t> region = blockRegions(s);
  std::vector<BlockWork> work(static_cast<size_t>(s.block_count));
  for (int r = 0; r < s.block_count; ++r) {
    work[r].scratch.region = region.data();
    work[r].scratch.region_id = static_cast<uint8_t>(r);
  }
  CollapseScratch serial;
  for (int pass = 0; pass < kMaxPasses && s.live_faces > settings.target_faces; ++pass) {
    // A pass may go all the way; another follows when the edges gained by
    // merged vertices are needed to get there.
    const size_t budget = s.live_faces - settings.target_faces;
    const size_t live = s.live_faces;
    std::vector<size_t> before(static_cast<size_t>(s.block_count));
#pragma omp parallel for schedule(static)
    for (int r = 0; r < s.block_count; ++r) {
      if (settings.watch && settings.watch->stoppingNow()) continue;
      BlockWork& w = work[r];
      w.border.clear();
      w.deferred.clear();
      w.live = priceBlock(s, settings, region, r, w.priced, w.queue, w.border);
      const size_t quota = static_cast<size_t>(
          static_cast<double>(budget) * static_cast<double>(w.live) / static_cast<double>(live));
      before[r] = w.scratch.removed_faces;
      collapseGreedily(s, settings, w.queue, w.scratch, quota,
                       std::numeric_limits<float>::infinity(), &w.deferred, Requeue::kLazy);
    }
    throwIfStopped(settings);

    size_t removed = 0;
    std::vector<QueueEntry> rest;
    for (int r = 0; r < s.block_count; ++r) {
      BlockWork& w = work[r];
      removed += w.scratch.removed_faces - before[r];
      // The stamps go on rising across workers and passes, so that no old
      // mark reads as fresh.
      serial.stamp = std::max(serial.stamp, w.scratch.stamp);
      rest.insert(rest.end(), w.border.begin(), w.border.end());
      rest.insert(rest.end(), w.deferred.begin(), w.deferred.end());
    }
    CollapseQueue queue;
    queue.assign(std::move(rest));
    const size_t serial_before = serial.removed_faces;
    collapseGreedily(s, settings, queue, serial, budget > removed ? budget - removed : 0,
                     std::numeric_limits<float>::infinity(), nullptr, Requeue::kLazy);
    throwIfStopped(settings);
    removed += serial.removed_faces - serial_before;
    for (int r = 0; r < s.block_count; ++r) work[r].scratch.stamp = serial.stamp;

    s.live_faces -= removed;
    if (removed == 0) break;
  }
  s.collapses = serial.collapses;
  for (const BlockWork& w : work) s.collapses += w.scratch.collapses;
}

void reduceFast(SubMesh& mesh, double ratio, double maxError, double minCosine,
                CancelWatch* watch) {
  ReducerState s;
  ReduceSettings settings;
  settings.watch = watch;
  // 6 x 6 x 6 blocks: smaller blocks stay in cache, and their borders are
  // worked in every pass.
  if (!prepareReduction(mesh, ratio, maxError, minCosine, Placement::kEndpoints, kMaxBlocksPerAxis,
                        s, settings))
    return;
  // Small meshes take the queue with requeueing: passes gain nothing there.
  if (s.live_faces < kParallelMinFaces)
    reduceToTarget(s, settings);
  else
    reduceInPasses(s, settings);
  finishReduction(s, settings);
}
}  // namespace

void reduceMeshFast(SubMesh& mesh, double ratio, double maxError, double minCosine,
                    const RunContext& run) {
  runLoggedReduction("fast mesh reduction", reduceFast, mesh, ratio, maxError, minCosine, run);
}

}  // namespace vekmesh
