// Greedy quadric-error edge collapse: every edge's best collapse goes into the
// lazy priority queue, the cheapest current one that passes the topological
// and normal tests is made, and the merged vertex's edges are queued again.
#include "remesh/greedy_reduction.h"

#include <cfloat>
#include <cmath>

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/vertex_classes.h"

namespace vekmesh::reducer {
namespace {

// Errors below this share of the model's largest coordinate are rounding:
// single-precision positions cannot show them, so they count as zero error
// (a flat side made of many triangles stays exactly flat when reduced).
constexpr double kRoundingShare = 4.0 * FLT_EPSILON;

// Entries name the kept end first: with endpoint placement that is the whole
// plan, and the collapse can be rebuilt from the entry when it comes up.
QueueEntry entryFor(const ReducerState& s, const Collapse& c) {
  return {static_cast<float>(c.priority), c.keep, c.drop, s.version[c.keep] + s.version[c.drop]};
}

// Plans edges in the order they are added and hands those within the bounds
// to `take` in that order. Two pairable edges in a row are planned together
// (planPair); one left waiting when its successor is not pairable is planned
// alone first, so the order never changes. The caller flushes at the end (not
// a destructor: `take` may allocate, and so throw).
template <class Take>
class OrderedPlanner {
 public:
  OrderedPlanner(const ReducerState& s, const ReduceSettings& settings, Take take)
      : s_(s), settings_(settings), take_(take) {}

  void add(uint32_t a, uint32_t b) {
    if (pairable(s_, a, b, settings_.placement)) {
      if (!waiting_) {
        waiting_ = true;
        a_ = a;
        b_ = b;
        return;
      }
      waiting_ = false;
      Collapse c0, c1;
      const unsigned within =
          planPair(s_, a_, b_, a, b, settings_.bounds, settings_.zero_tolerance_sq, c0, c1);
      if (within & 1u) take_(c0);
      if (within & 2u) take_(c1);
      return;
    }
    flush();
    planOne(a, b);
  }

  // Plans an edge left waiting for a partner.
  void flush() {
    if (!waiting_) return;
    waiting_ = false;
    planOne(a_, b_);
  }

 private:
  void planOne(uint32_t a, uint32_t b) {
    Collapse c;
    if (planCollapse(s_, a, b, settings_.bounds, settings_.zero_tolerance_sq, settings_.placement,
                     c))
      take_(c);
  }

  const ReducerState& s_;
  const ReduceSettings& settings_;
  Take take_;
  bool waiting_ = false;
  uint32_t a_ = 0, b_ = 0;
};

// The collapse a current entry stands for. The entry's versions are those it
// was planned with, so the plan would come out the same: with endpoint
// placement it is rebuilt without pricing the edge again.
bool planFromEntry(const ReducerState& s, const ReduceSettings& settings, const QueueEntry& e,
                   Collapse& c) {
  if (settings.placement != Placement::kEndpoints)
    return planCollapse(s, e.a, e.b, settings.bounds, settings.zero_tolerance_sq,
                        settings.placement, c);
  c.keep = e.a;
  c.drop = e.b;
  c.t = 0.0;
  for (int i = 0; i < 3; ++i) c.p[i] = s.pos(e.a)[i];
  c.along_feature = s.vertex[e.a].vertex_class != kFree && s.vertex[e.b].vertex_class != kFree;
  return true;
}

// Walks the corner rings of the ends of the collapse likely to come next, a
// step at a time between other work, asking for each corner's line ahead of
// the step that reads it: a ring is a chain of dependent loads that would
// otherwise be waited for one by one when its collapse is tested. Only
// prefetches; a guess gone wrong costs a few loads.
class RingLookahead {
 public:
  void start(const ReducerState& s, uint32_t a, uint32_t b) {
    const uint32_t ends[2] = {a, b};
    for (int i = 0; i < 2; ++i) {
      head_[i] = at_[i] = s.vertex[ends[i]].head;
      if (at_[i] != kNone) __builtin_prefetch(&s.corner[at_[i]]);
    }
  }
  void step(const ReducerState& s) {
    for (int i = 0; i < 2; ++i) {
      if (at_[i] == kNone) continue;
      at_[i] = s.ringNext(at_[i]);
      if (at_[i] == head_[i] || at_[i] == kNone)
        at_[i] = kNone;
      else
        __builtin_prefetch(&s.corner[at_[i]]);
    }
  }

 private:
  uint32_t head_[2] = {kNone, kNone}, at_[2] = {kNone, kNone};
};

// Queues the edges around `u` again after u has absorbed a neighbour. The
// corners gathered by the collapse test are u's ring now, less the faces
// that died: walking them spares a second walk of the ring.
void requeueAround(ReducerState& s, const ReduceSettings& settings, CollapseQueue& queue,
                   CollapseScratch& sc, uint32_t u, RingLookahead& lookahead) {
  // Fresh marks for the de-duplication (the collapse test used the last).
  if (sc.stamp >= 0xFFFFFFF0u) return;
  const uint32_t stamp = ++sc.stamp;
  // The neighbours first, their records requested from memory at once; then
  // the candidates, by when the records have arrived.
  std::vector<uint32_t>& around = sc.neighbours;
  around.clear();
  for (const std::vector<uint32_t>* ring : {&sc.keep_corners, &sc.drop_corners})
    for (uint32_t k : *ring) {
      if (s.faceDead(k / 3)) continue;
      for (uint32_t nk : {ReducerState::nextInFace(k), ReducerState::prevInFace(k)}) {
        const uint32_t w = static_cast<uint32_t>(s.cornerVertex(nk));
        if (s.mark[w] == stamp) continue;
        s.mark[w] = stamp;
        around.push_back(w);
        prefetchRecord(s, w);
        __builtin_prefetch(&s.version[w]);  // read by the plan and the entry
      }
    }
  // The next collapse's rings are walked between the plans.
  OrderedPlanner planner(s, settings, [&](const Collapse& c) { queue.push(entryFor(s, c)); });
  for (uint32_t w : around) {
    planner.add(u, w);
    lookahead.step(s);
  }
  planner.flush();
}

}  // namespace

void checkpoint(const ReduceSettings& settings) {
  if (settings.watch) settings.watch->checkpoint();
}

void throwIfStopped(const ReduceSettings& settings) {
  if (settings.watch) settings.watch->throwIfStopped();
}

bool prepareReduction(SubMesh& mesh, double ratio, double max_error, double min_cosine,
                      Placement placement, int blocks_per_axis, ReducerState& s,
                      ReduceSettings& settings) {
  if (!(ratio < 1.0)) return false;
  if (!s.load(mesh, blocks_per_axis, settings.watch) || s.live_faces == 0) return false;
  classifyVertices(s, settings.watch);
  throwIfStopped(settings);

  double largest = 0.0;
  for (const Vertex& v : mesh.vertices)
    for (float x : v.position)
      if (std::isfinite(x)) largest = std::max(largest, static_cast<double>(std::fabs(x)));
  const double tolerance = kRoundingShare * largest;
  settings.zero_tolerance_sq = tolerance * tolerance;
  // A negative or NaN bound allows nothing; infinity allows everything.
  settings.bounds.max_error_sq = max_error >= 0.0 ? max_error * max_error : -1.0;
  settings.bounds.min_cosine = min_cosine;
  settings.placement = placement;
  settings.target_faces =
      ratio > 0.0 ? static_cast<size_t>(std::llround(ratio * static_cast<double>(s.live_faces)))
                  : 0;
  return settings.bounds.max_error_sq >= 0.0;
}

void appendCandidates(const ReducerState& s, const ReduceSettings& settings, size_t begin,
                      size_t end, std::vector<QueueEntry>& out) {
  // Faces a few ahead have their vertices' records requested: the edges'
  // ends are met at random within the block, and the pricing is short.
  constexpr size_t kAhead = 4;
  OrderedPlanner planner(s, settings, [&](const Collapse& c) { out.push_back(entryFor(s, c)); });
  for (size_t f = begin; f < end; ++f) {
    if (f + kAhead < end)
      for (uint32_t k = static_cast<uint32_t>(3 * (f + kAhead)); k < 3 * (f + kAhead) + 3; ++k) {
        const int32_t w = s.cornerVertex(k);
        if (w >= 0) prefetchRecord(s, static_cast<uint32_t>(w));
      }
    if (s.faceDead(static_cast<uint32_t>(f))) continue;
    for (uint32_t k = static_cast<uint32_t>(3 * f); k < 3 * f + 3; ++k) {
      const uint32_t a = static_cast<uint32_t>(s.cornerVertex(k));
      const uint32_t b = static_cast<uint32_t>(s.cornerVertex(ReducerState::nextInFace(k)));
      // Each inner edge once, from the face that runs low -> high; a boundary
      // edge from its only face (only boundary vertices can have one, so the
      // ring is walked only for them).
      if (a > b) {
        if (!s.vertex[a].on_boundary || !s.vertex[b].on_boundary) continue;
        uint32_t at_a[2];
        if (edgeCorners(s, a, b, at_a) != 1) continue;
      }
      planner.add(a, b);
    }
  }
  planner.flush();
}

std::vector<QueueEntry> initialCandidates(const ReducerState& s, const ReduceSettings& settings) {
  // Fixed chunks in face order, concatenated in order: the same list for any
  // thread count.
  constexpr size_t kChunks = 64;
  const size_t nf = s.faceCount();
  std::vector<std::vector<QueueEntry>> parts(kChunks);
#pragma omp parallel for schedule(static)
  for (int64_t i = 0; i < static_cast<int64_t>(kChunks); ++i) {
    if (settings.watch && settings.watch->stoppingNow()) continue;
    const size_t begin = nf * static_cast<size_t>(i) / kChunks;
    const size_t end = nf * static_cast<size_t>(i + 1) / kChunks;
    parts[static_cast<size_t>(i)].reserve((end - begin) * 3 / 2);
    appendCandidates(s, settings, begin, end, parts[static_cast<size_t>(i)]);
  }
  throwIfStopped(settings);
  size_t total = 0;
  for (const auto& p : parts) total += p.size();
  std::vector<QueueEntry> all;
  all.reserve(total);
  for (auto& p : parts) {
    all.insert(all.end(), p.begin(), p.end());
    std::vector<QueueEntry>().swap(p);
  }
  return all;
}

void collapseGreedily(ReducerState& s, const ReduceSettings& settings, CollapseQueue& queue,
                      CollapseScratch& sc, size_t budget, float cost_limit,
                      std::vector<QueueEntry>* deferred, Requeue requeue) {
  const bool lazy = requeue == Requeue::kLazy;
  QueueEntry e;
  Collapse c;
  const size_t start = sc.removed_faces;
  CancelWatch* watch = settings.watch;
  while (sc.removed_faces - start < budget && !(watch && watch->stopping()) && queue.pop(s, e)) {
    if (e.cost > cost_limit) {
      queue.push(e);
      break;
    }
    // The entry likely to come next: its ends' records are asked for now,
    // and its rings walked ahead while this one's edges are queued again.
    QueueEntry next;
    const bool ahead = queue.peekCurrent(s, next);
    if (ahead) {
      prefetchRecord(s, next.a);
      prefetchRecord(s, next.b);
    }
    if (lazy) {
      // An end may have absorbed neighbours since the pricing: price again
      // (the error bound included) and wait in line if it became dearer.
      if (!planCollapse(s, e.a, e.b, settings.bounds, settings.zero_tolerance_sq,
                        settings.placement, c))
        continue;
      const QueueEntry fresh = entryFor(s, c);
      if (fresh.cost > e.cost) {
        queue.push(fresh);
        continue;
      }
    } else if (!planFromEntry(s, settings, e, c)) {
      continue;
    }
    // By now the next entry's records have arrived: its rings' first corners
    // are asked for while this collapse is tested and made.
    RingLookahead lookahead;
    if (ahead) lookahead.start(s, next.a, next.b);
    const Verdict verdict = collapseAllowed(s, c, settings.bounds, sc);
    if (verdict == Verdict::kOutsideRegion && deferred) deferred->push_back(e);
    if (verdict != Verdict::kAllowed) continue;
    applyCollapse(s, c, sc, !lazy);
    if (requeue == Requeue::kAll) requeueAround(s, settings, queue, sc, c.keep, lookahead);
  }
}

void finishReduction(ReducerState& s, const ReduceSettings& settings) {
  if (s.collapses == 0) return;
  checkpoint(settings);
  s.store();
  if (s.mesh->shells.empty()) return;
  checkpoint(settings);
  buildShells(*s.mesh);
}

void runLoggedReduction(std::string_view name, ReductionBody body, SubMesh& mesh, double ratio,
                        double max_error, double min_cosine, const RunContext& run) {
  OperationLog log(run, name);
  log.parameter("ratio", ratio);
  log.parameter("max error", max_error);
  log.parameter("min cosine", min_cosine);
  log.parameter("faces in", liveFaceCount(mesh));
  CancelWatch watch(run);
  body(mesh, ratio, max_error, min_cosine, run.cancellable() ? &watch : nullptr);
  log.parameter("faces out", liveFaceCount(mesh));
  log.succeed();
}

}  // namespace vekmesh::reducer
