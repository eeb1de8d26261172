// Parallel greedy collapse over independent regions. The vertices are cut into
// slabs of equal count across the model's longest axis; a vertex with a
// neighbour in another slab belongs to none. A slab's worker makes only
// collapses whose whole neighbourhood lies in its slab, so workers never touch
// the same face, corner ring or vertex. They run in phases with a rising cost
// ceiling (an octave at a time), so that cheap collapses anywhere come before
// dear ones elsewhere, as in one global queue; the serial pass then finishes
// with everything left, border included. The slabs are fixed in number, so the
// result does not depend on the thread count.
#include "remesh/region_phases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace vekmesh::reducer {
namespace {

constexpr int kRegionCount = 8;
constexpr uint8_t kBorder = 0xFF;
// Below this many live faces the slabs' frozen borders would be a large share
// of the mesh, and one thread is fast enough anyway.
constexpr size_t kParallelMinFaces = 100000;
// Each phase may spend at most this share of what is still to be removed, so
// that slabs with cheap collapses take more of the total than dear ones.
constexpr double kPhaseShare = 0.5;
// The serial pass takes over when less than this share is left to remove.
constexpr double kSerialShare = 1.0 / 32.0;

// Slab of every vertex, kBorder for vertices next to another slab and for
// vertices without faces or position.
std::vector<uint8_t> slabRegions(const ReducerState& s) {
  const uint32_t nv = s.vertexCount();
  double lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
  for (uint32_t v = 0; v < nv; ++v) {
    if (s.vertex[v].head == kNone) continue;
    for (int k = 0; k < 3; ++k)
      if (std::isfinite(s.pos(v)[k])) {
        lo[k] = std::min(lo[k], s.pos(v)[k]);
        hi[k] = std::max(hi[k], s.pos(v)[k]);
      }
  }
  int axis = 0;
  for (int k = 1; k < 3; ++k)
    if (hi[k] - lo[k] > hi[axis] - lo[axis]) axis = k;

  std::vector<double> coordinate;
  coordinate.reserve(nv);
  for (uint32_t v = 0; v < nv; ++v)
    if (s.vertex[v].head != kNone && std::isfinite(s.pos(v)[axis]))
      coordinate.push_back(s.pos(v)[axis]);
  std::vector<double> cuts;
  for (int r = 1; r < kRegionCount && !coordinate.empty(); ++r) {
    auto at = coordinate.begin() + static_cast<ptrdiff_t>(coordinate.size() * r / kRegionCount);
    std::nth_element(coordinate.begin(), at, coordinate.end());
    cuts.push_back(*at);
  }
  std::sort(cuts.begin(), cuts.end());

  std::vector<uint8_t> slab(nv, kBorder);
  for (uint32_t v = 0; v < nv; ++v) {
    const double x = s.pos(v)[axis];
    if (s.vertex[v].head == kNone || !std::isfinite(x)) continue;
    slab[v] = static_cast<uint8_t>(std::upper_bound(cuts.begin(), cuts.end(), x) - cuts.begin());
  }
  std::vector<uint8_t> region(nv, kBorder);
#pragma omp parallel for schedule(static)
  for (int64_t i = 0; i < static_cast<int64_t>(nv); ++i) {
    const uint32_t v = static_cast<uint32_t>(i);
    if (slab[v] == kBorder) continue;
    bool inner = true;
    const uint32_t h = s.vertex[v].head;
    uint32_t k = h;
    do {
      inner = slab[s.cornerVertex(ReducerState::nextInFace(k))] == slab[v] &&
              slab[s.cornerVertex(ReducerState::prevInFace(k))] == slab[v];
      k = s.ringNext(k);
    } while (inner && k != h);
    if (inner) region[v] = slab[v];
  }
  return region;
}

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
  s.live_faces -= scratch.removed_faces;
  s.collapses += scratch.collapses;
}

}  // namespace

void reduceToTarget(ReducerState& s, const ReduceSettings& settings) {
  std::vector<QueueEntry> all = initialCandidates(s, settings);
  if (s.live_faces < kParallelMinFaces || s.live_faces <= settings.target_faces) {
    finishSerially(s, settings, std::move(all), 0);
    return;
  }

  const std::vector<uint8_t> region = slabRegions(s);
  std::vector<std::vector<QueueEntry>> per_region(kRegionCount);
  std::vector<QueueEntry> rest;
  for (const QueueEntry& e : all) {
    const uint8_t r = region[e.a];
    if (r != kBorder && region[e.b] == r)
      per_region[r].push_back(e);
    else
      rest.push_back(e);
  }
  std::vector<QueueEntry>().swap(all);

  std::vector<double> share(kRegionCount, 0.0);
  for (size_t f = 0; f < s.face.size(); ++f) {
    if (s.faceDead(f)) continue;
    const uint8_t r = region[s.cornerVertex(3 * f)];
    if (r != kBorder && region[s.cornerVertex(3 * f + 1)] == r &&
        region[s.cornerVertex(3 * f + 2)] == r)
      share[r] += 1.0;
  }
  for (double& x : share) x /= static_cast<double>(s.live_faces);

  std::vector<CollapseQueue> queues(kRegionCount);
  std::vector<CollapseScratch> scratch(kRegionCount);
  std::vector<std::vector<QueueEntry>> deferred(kRegionCount);
  for (int r = 0; r < kRegionCount; ++r) {
    queues[r].assign(std::move(per_region[r]));
    scratch[r].region = region.data();
    scratch[r].region_id = static_cast<uint8_t>(r);
  }

  const size_t needed = s.live_faces - settings.target_faces;
  size_t removed = 0;
  float ceiling = 0.0f;  // the first phase makes the collapses that cost nothing
  for (;;) {
    const size_t remaining = needed - removed;
    if (static_cast<double>(remaining) <= kSerialShare * static_cast<double>(needed)) break;
    std::vector<size_t> quota(kRegionCount), before(kRegionCount);
    for (int r = 0; r < kRegionCount; ++r) {
      quota[r] = std::max<size_t>(
          1, static_cast<size_t>(kPhaseShare * static_cast<double>(remaining) * share[r]));
      before[r] = scratch[r].removed_faces;
    }
#pragma omp parallel for schedule(static)
    for (int r = 0; r < kRegionCount; ++r)
      collapseGreedily(s, settings, queues[r], scratch[r], quota[r], ceiling, &deferred[r]);

    bool quota_met = false;
    for (int r = 0; r < kRegionCount; ++r) {
      const size_t done = scratch[r].removed_faces - before[r];
      removed += done;
      quota_met = quota_met || done >= quota[r];
    }
    // With a slab stopped by its quota the same ceiling runs again with fresh
    // quotas; otherwise every slab is through the ceiling and it rises.
    if (!quota_met) {
      float next = std::numeric_limits<float>::infinity();
      for (auto& q : queues) next = std::min(next, q.peekCost());
      if (std::isinf(next)) break;  // the slabs have nothing left within bounds
      ceiling = std::max(ceiling, next) * 2.0f;
      if (ceiling == 0.0f) ceiling = std::numeric_limits<float>::min();
    }
  }

  uint32_t stamp = 0;
  for (int r = 0; r < kRegionCount; ++r) {
    s.live_faces -= scratch[r].removed_faces;
    s.collapses += scratch[r].collapses;
    stamp = std::max(stamp, scratch[r].stamp);
    std::vector<QueueEntry> left = queues[r].release();
    rest.insert(rest.end(), left.begin(), left.end());
    rest.insert(rest.end(), deferred[r].begin(), deferred[r].end());
  }
  finishSerially(s, settings, std::move(rest), stamp);
}

}  // namespace vekmesh::reducer
