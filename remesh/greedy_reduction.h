// The steps both reduction routines share: loading and classifying the mesh,
// the bounds in the working units, the initial candidate of every edge (found
// in parallel), the greedy cheapest-first collapse loop and the write-back.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "mesh/cancel_watch.h"
#include "mesh/run_context.h"
#include "remesh/collapse_candidate.h"
#include "remesh/collapse_queue.h"
#include "remesh/link_condition.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

struct ReduceSettings {
  CollapseBounds bounds;
  double zero_tolerance_sq = 0;
  Placement placement = Placement::kOptimal;
  size_t target_faces = 0;
  // The run's cancel watch: the loops ask it as they go and stop when it
  // says so, and the passes between them throw RunCancelled. Null: no watch.
  CancelWatch* watch = nullptr;
};

// Between two passes: throws RunCancelled when the watch has heard a cancel
// (asking it first).
void checkpoint(const ReduceSettings& settings);

// After a loop that asked the watch (a team's, or a serial one): throws
// RunCancelled when it stopped for a cancel.
void throwIfStopped(const ReduceSettings& settings);

// Loads `mesh` into `s` in blocks_per_axis^3 blocks, classifies it and fills
// `settings` (all but its watch, which the caller sets first and the load
// asks between its passes). False when there is nothing to do: a ratio of 1
// or more (or NaN), no live face, or a face naming a vertex that does not
// exist.
bool prepareReduction(SubMesh& mesh, double ratio, double max_error, double min_cosine,
                      Placement placement, int blocks_per_axis, ReducerState& s,
                      ReduceSettings& settings);

// Appends a candidate for every edge of the live faces begin .. end - 1 whose
// collapse the classes and the error bound allow, each edge once.
void appendCandidates(const ReducerState& s, const ReduceSettings& settings, size_t begin,
                      size_t end, std::vector<QueueEntry>& out);

// The candidates of all edges, found in parallel; the list does not depend on
// the thread count.
std::vector<QueueEntry> initialCandidates(const ReducerState& s, const ReduceSettings& settings);

// What happens to the entries around a vertex that has absorbed a neighbour.
enum class Requeue {
  kAll,   // they go stale and the vertex's edges are priced and queued again
  kLazy,  // (endpoint placement only: the kept vertex does not move) they stay,
          // and each is priced again when it comes up, going back into the
          // queue if it has become dearer; edges it gained wait for a new pass
};

// Collapses cheapest-first until `budget` faces are gone, the queue runs dry,
// the cheapest entry costs more than `cost_limit` (that entry is put back)
// or the settings' watch says stop (the caller then throws). The work is
// counted in `scratch`. Entries refused only because they reach outside the
// scratch's region go to `deferred`.
void collapseGreedily(ReducerState& s, const ReduceSettings& settings, CollapseQueue& queue,
                      CollapseScratch& scratch, size_t budget, float cost_limit,
                      std::vector<QueueEntry>* deferred, Requeue requeue = Requeue::kAll);

// Writes the mesh back when anything was collapsed; shells, if the mesh had
// them, are rebuilt for the new face numbers. A cancel is heard before
// either.
void finishReduction(ReducerState& s, const ReduceSettings& settings);

// Runs one routine's `body` inside its log frame: the start line of `name`,
// the ratio and the two bounds, the live faces before and after, the success
// line. The body's watch asks the run's cancel check (null: the run has none).
using ReductionBody = void (*)(SubMesh& mesh, double ratio, double max_error, double min_cosine,
                               CancelWatch* watch);
void runLoggedReduction(std::string_view name, ReductionBody body, SubMesh& mesh, double ratio,
                        double max_error, double min_cosine, const RunContext& run);

}  // namespace vekmesh::reducer
