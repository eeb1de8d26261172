// Parallel greedy collapse over independent regions (the blocks less their
// borders), in phases of rising cost ceiling, then a serial pass over what is
// left; a region's worker never touches another's faces, rings or vertices.
#include "remesh/region_phases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace vekmesh::reducer {
namespace {

// Each phase may spend at most this share of what is still to be removed, so
// that blocks with cheap collapses take more of the total than dear ones.
constexpr double kPhaseShare = 0.5;
// The serial pass takes over when less than this share is left to remove.
constexpr double kSerialShare = 1.0 / 32.0;
// A block may remove up to this many times its faces' share of the total.
constexpr double kStretch = 2.0;

// Serial greedy collapse over `entries` to the target.
void finishSerially(ReducerState& s, const ReduceSettings& settings,
                    std::vector<QueueEntry>&& entries, uint32_t stamp) {
  CollapseQueue queue;
  queue.assign(std::move(entries));
  CollapseScratch scratch;
  scratch.stamp = stamp;
  const size_t budget =
      s.live_faces > settings.target_faces ? s.live_faces - settings.target_faces : 0;
  collapseGreedily(s, settings, queue, scratch, budget, std::numeric_limits<float>::infinity(),
                   nullptr);
  throwIfStopped(settings);
  s.live_faces -= scratch.removed_faces;
  s.collapses += scratch.collapses;
}

}  // namespace

std::vector<uint8_t> blockRegions(const ReducerState& s) {
  return s.region;
}

size_t priceBlock(const ReducerState& s, const ReduceSettings& settings,
                  const std::vector<uint8_t>& region, int r, std::vector<QueueEntry>& priced,
                  CollapseQueue& queue, std::vector<QueueEntry>& border) {
  priced.clear();
  appendCandidates(s, settings, s.block_faces[r], s.block_faces[r + 1], priced);
  queue.clear();
  for (const QueueEntry& e : priced) {
    if (region[e.a] == r && region[e.b] == r)
      queue.push(e);
    else
      border.push_back(e);
  }
  size_t live = 0;
  for (size_t f = s.block_faces[r]; f < s.block_faces[r + 1]; ++f)
    live += !s.faceDead(static_cast<uint32_t>(f));
  return live;
}

// Regions are the blocks the working state is stored in (reducer_state.h)
// less their borders: a vertex with a neighbour in another block belongs to no
// region. A region's worker makes only collapses whose whole neighbourhood
// lies in its region, so workers never touch the same face, corner ring or
// vertex. They run in phases with a rising cost ceiling (an octave at a time),
// so that cheap collapses anywhere come before dear ones elsewhere, as in one
// global queue; the serial pass then finishes with everything left, border
// included. The blocks are fixed in number, so the result does not depend on
// the thread count.
void reduceToTarget(ReducerState& s, const ReduceSettings& settings) {
  if (s.live_faces < kParallelMinFaces || s.live_faces <= settings.target_faces) {
    finishSerially(s, settings, initialCandidates(s, settings), 0);
    return;
  }

  // Each block prices its own faces' edges; an edge inside a region has all
  // its faces in that block's range.
  const std::vector<uint8_t> region = blockRegions(s);
  std::vector<CollapseQueue> queues(static_cast<size_t>(s.block_count));
  std::vector<CollapseScratch> scratch(static_cast<size_t>(s.block_count));
  std::vector<std::vector<QueueEntry>> deferred(static_cast<size_t>(s.block_count)),
      border(static_cast<size_t>(s.block_count));
  std::vector<double> share(static_cast<size_t>(s.block_count), 0.0);
#pragma omp parallel
  {
    // One list per worker, kept from block to block.
    std::vector<QueueEntry> priced;
#pragma omp for schedule(static)
    for (int r = 0; r < s.block_count; ++r) {
      if (settings.watch && settings.watch->stoppingNow()) continue;
      priceBlock(s, settings, region, r, priced, queues[r], border[r]);
      scratch[r].region = region.data();
      scratch[r].region_id = static_cast<uint8_t>(r);
      // Share of the mesh inside the region: the faces whose three vertices
      // belong to it.
      size_t inside = 0;
      for (size_t f = s.block_faces[r]; f < s.block_faces[r + 1]; ++f) {
        if (s.faceDead(static_cast<uint32_t>(f))) continue;
        const uint32_t k = static_cast<uint32_t>(3 * f);
        inside += region[s.cornerVertex(k)] == r && region[s.cornerVertex(k + 1)] == r &&
                  region[s.cornerVertex(k + 2)] == r;
      }
      share[r] = static_cast<double>(inside) / static_cast<double>(s.live_faces);
    }
  }
  throwIfStopped(settings);

  // The blocks remove their faces' share of what must go; the border's share
  // is left to the serial pass, or the blocks would thin out to make up for a
  // border that stays dense. A block whose collapses are cheap may take up to
  // kStretch times its share, one whose collapses are dear correspondingly less.
  const size_t needed = s.live_faces - settings.target_faces;
  double inner = 0.0;
  for (double x : share) inner += x;
  const double blocks_budget = static_cast<double>(needed) * inner;
  size_t removed = 0;
  float ceiling = 0.0f;  // the first phase makes the collapses that cost nothing
  for (int phase = 0;; ++phase) {
    const double remaining = blocks_budget - static_cast<double>(removed);
    if (remaining <= kSerialShare * blocks_budget) break;
    std::vector<size_t> quota(static_cast<size_t>(s.block_count)),
        before(static_cast<size_t>(s.block_count));
    bool any = false;
    for (int r = 0; r < s.block_count; ++r) {
      const double cap = kStretch * static_cast<double>(needed) * share[r] -
                         static_cast<double>(scratch[r].removed_faces);
      const double want = std::max(1.0, kPhaseShare * remaining * share[r] / inner);
      quota[r] = cap >= 1.0 ? static_cast<size_t>(std::min(cap, want)) : 0;
      any = any || quota[r] > 0;
      before[r] = scratch[r].removed_faces;
    }
    if (!any) break;
    // Every other phase visits the blocks backwards, so that the blocks a
    // phase ends with, still in cache, are the ones the next begins with.
    // The blocks never share faces, rings or vertices: their order does not
    // change the result, any more than the thread count does.
    const bool backwards = phase % 2 == 1;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < s.block_count; ++i) {
      const int r = backwards ? s.block_count - 1 - i : i;
      collapseGreedily(s, settings, queues[r], scratch[r], quota[r], ceiling, &deferred[r]);
    }
    throwIfStopped(settings);

    bool quota_met = false;
    for (int r = 0; r < s.block_count; ++r) {
      const size_t done = scratch[r].removed_faces - before[r];
      removed += done;
      quota_met = quota_met || (quota[r] > 0 && done >= quota[r]);
    }
    // With a block stopped by its quota the same ceiling runs again with fresh
    // quotas; otherwise every block is through the ceiling and it rises.
    if (!quota_met) {
      float next = std::numeric_limits<float>::infinity();
      for (auto& q : queues) next = std::min(next, q.peekCost());
      if (std::isinf(next)) break;  // the blocks have nothing left within bounds
      ceiling = std::max(ceiling, next) * 2.0f;
      if (ceiling == 0.0f) ceiling = std::numeric_limits<float>::min();
    }
  }

  uint32_t stamp = 0;
  size_t total = 0;
  for (int r = 0; r < s.block_count; ++r)
    total += border[r].size() + queues[r].size() + deferred[r].size();
  std::vector<QueueEntry> rest;
  rest.reserve(total);
  for (int r = 0; r < s.block_count; ++r) {
    s.live_faces -= scratch[r].removed_faces;
    s.collapses += scratch[r].collapses;
    stamp = std::max(stamp, scratch[r].stamp);
    rest.insert(rest.end(), border[r].begin(), border[r].end());
    std::vector<QueueEntry>().swap(border[r]);
    queues[r].releaseInto(rest);
    rest.insert(rest.end(), deferred[r].begin(), deferred[r].end());
    std::vector<QueueEntry>().swap(deferred[r]);
  }
  finishSerially(s, settings, std::move(rest), stamp);
}

}  // namespace vekmesh::reducer
