// The printability test walks each shell breadth-first from its lowest face,
// counting for every edge of every face the other faces that share it and
// whether one runs the same way; post-detection counts the same conditions per
// shell and turns inside-out shells outwards. Edges with one other face are
// read from the corner adjacency; only edges with several walk the lists.
#include "repair/flaw_detection.h"

#include <algorithm>
#include <cassert>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "mesh/used_vertices.h"
#include "repair/shell_orientation.h"

namespace vekmesh {
namespace {

// Other faces sharing the edge of corner c of face f, and whether one of them
// runs along it in the same direction. Every face in the list counts, visited
// or not; `visit` is called for each sharing face.
struct EdgeUse {
  uint32_t count = 0;
  bool same_direction = false;
};

template <class Visit>
EdgeUse edgeUse(const SubMesh& mesh, uint32_t f, uint32_t c, bool skip_removed, Visit&& visit) {
  const Face& face = mesh.faces[f];
  const int32_t x = face.v[c];
  const int32_t y = face.v[nextCorner(c)];
  EdgeUse use;
  for (const CornerRef& r : mesh.incidentCorners[x]) {
    if (r.face == f) continue;
    assert(r.face < mesh.faces.size());
    const Face& g = mesh.faces[r.face];
    if (skip_removed && g.removed) continue;
    if (g.v[prevCorner(r.corner)] == y) {
      // g runs y -> x: opposite winding.
    } else if (g.v[nextCorner(r.corner)] == y) {
      use.same_direction = true;
    } else {
      continue;
    }
    ++use.count;
    visit(r.face);
  }
  return use;
}

bool strictCornerFlaw(const EdgeUse& use, uint32_t mode) {
  if (mode == 0 && use.count == 1 && use.same_direction) return true;
  if (use.count == 0) return true;
  // An even count means the edge has an odd number of faces, three or more.
  // An odd count of three or more (four faces) is deliberately accepted.
  if (use.count % 2 == 0 && mode != 2) return true;
  return false;
}

// The three modes share one walk: the shells and the order of their faces do
// not depend on the mode, only the verdicts do. `flawed` holds the modes
// already decided (or not asked for) on entry and every mode's verdict on
// return; the walk stops once all three are flawed.
// Removed faces still listed in incidentCorners count as sharing edges, so
// `adjacency` is built with RemovedFaces::kCount (or kSkip when none is removed).
void walkFlaws(const SubMesh& mesh, const CornerAdjacency& adjacency, std::array<bool, 3>& flawed) {
  const size_t face_count = mesh.faces.size();
  FaceBits visited(face_count);
  for (size_t i = 0; i < face_count; ++i)
    if (mesh.faces[i].removed) visited.set(i);
  auto decided = [&] { return flawed[0] && flawed[1] && flawed[2]; };

  // The queue doubles as the shell's face list: faces leave it in the order
  // they were taken, and none is pushed twice.
  std::vector<int32_t> shell;
  auto visit = [&](uint32_t g) {
    if (!visited.test(g)) {
      visited.set(g);
      shell.push_back(static_cast<int32_t>(g));
    }
  };
  for (size_t seed = 0; seed < face_count && !decided(); ++seed) {
    if (visited.test(seed)) continue;
    shell.clear();
    visited.set(seed);
    shell.push_back(static_cast<int32_t>(seed));
    for (size_t head = 0; head < shell.size() && !decided(); ++head) {
      if (head + 8 < shell.size()) prefetchRead(&adjacency.across[size_t(shell[head + 8]) * 3]);
      const uint32_t f = static_cast<uint32_t>(shell[head]);
      EdgeUse uses[3];
      for (uint32_t c = 0; c < 3; ++c) {
        const size_t slot = size_t(f) * 3 + c;
        const int32_t across = adjacency.across[slot];
        if (across >= 0) {
          uses[c].count = 1;
          uses[c].same_direction = adjacency.same_direction[slot] != 0;
          visit(static_cast<uint32_t>(across));
        } else if (across == CornerAdjacency::kSeveral) {
          uses[c] = edgeUse(mesh, f, c, false, visit);
        }
      }
      for (uint32_t mode = 0; mode < 3; ++mode)
        for (uint32_t c = 0; c < 3 && !flawed[mode]; ++c)
          flawed[mode] = strictCornerFlaw(uses[c], mode);
    }
    if (decided()) break;
    if (shell.size() % 2 == 1) flawed[0] = flawed[1] = true;
    if (!flawed[0]) {
      const int32_t top = shellTopVertex(mesh, shell, false);
      if (top >= 0 && upwardNormalSum(mesh, top, false) < kInsideOutThreshold) flawed[0] = true;
    }
  }
}

// Modes other than 0, 1 and 2 behave like 1.
uint32_t knownMode(uint32_t mode) {
  return mode > 2 ? 1 : mode;
}

// The verdicts of the modes in `wanted`; an odd face count fails the strict
// modes without a walk, and an empty mesh passes.
std::array<bool, 3> findFlaws(const SubMesh& mesh, const CornerAdjacency* adjacency,
                              std::array<bool, 3> wanted) {
  const size_t face_count = mesh.faces.size();
  std::array<bool, 3> flawed{};
  if (face_count == 0) return flawed;
  for (uint32_t mode = 0; mode < 3; ++mode)
    flawed[mode] = !wanted[mode] || (face_count % 2 == 1 && mode != 2);
  if (!(flawed[0] && flawed[1] && flawed[2])) {
    if (adjacency) {
      walkFlaws(mesh, *adjacency, flawed);
    } else {
      walkFlaws(mesh, buildCornerAdjacency(mesh, RemovedFaces::kCount), flawed);
    }
  }
  for (uint32_t mode = 0; mode < 3; ++mode) flawed[mode] = wanted[mode] && flawed[mode];
  return flawed;
}

bool logFlawTest(const SubMesh& mesh, uint32_t mode, const RunContext& run, bool flawed) {
  OperationLog log(run, "flaw detection");
  log.parameter("mode", int64_t{mode});
  log.parameter("faces", mesh.faces.size());
  log.parameter("flawed", int64_t{flawed});
  log.succeed();
  return flawed;
}

bool hasRemovedFace(const SubMesh& mesh) {
  for (const Face& f : mesh.faces)
    if (f.removed) return true;
  return false;
}

}  // namespace

bool detectFlaws(const SubMesh& mesh, uint32_t mode, const RunContext& run) {
  std::array<bool, 3> wanted{};
  wanted[knownMode(mode)] = true;
  return logFlawTest(mesh, mode, run, findFlaws(mesh, nullptr, wanted)[knownMode(mode)]);
}

namespace {

// What a run of faces of one shell adds: post-detection's first three counts,
// the flaw verdicts of its edges, and its topmost vertex (the first of
// greatest z, above -1000000, as shellTopVertex finds it). `tied` tells that
// another vertex reaches that z too, where the order of the run decides.
struct FaceRunCounts {
  std::array<int64_t, 3> counters{};
  std::array<bool, 3> flawed{};
  double top_z = -1000000.0;
  int32_t top = -1;
  bool tied = false;
};

// The top vertex of a run as its corners come: `z` of vertex v is met next.
void meetHeight(double z, int32_t v, FaceRunCounts& out) {
  if (z > out.top_z) {
    out.top_z = z;
    out.top = v;
    out.tied = false;
  } else if (out.top >= 0 && z == out.top_z && v != out.top) {
    out.tied = true;
  }
}

// Counts faces face_at(0) .. face_at(n - 1). The top vertex is found only
// without `used`; with it, the vertices of live faces are marked there
// instead.
template <class FaceAt>
void countFaceRun(const SubMesh& mesh, const CornerAdjacency& adjacency, FaceAt face_at, size_t n,
                  bool verdicts, VertexMarksByThread* used, FaceRunCounts& out) {
  const int thread = threadIndex();
  for (size_t i = 0; i < n; ++i) {
    const uint32_t f = face_at(i);
    const Face& face = mesh.faces[f];
    if (face.v[0] == face.v[1] || face.v[1] == face.v[2] || face.v[2] == face.v[0])
      ++out.counters[0];
    for (uint32_t c = 0; c < 3; ++c) {
      const size_t slot = size_t(f) * 3 + c;
      const int32_t across = adjacency.across[slot];
      EdgeUse use;
      if (across == CornerAdjacency::kOpen) ++out.counters[1];
      if (across >= 0) {
        use.count = 1;
        use.same_direction = adjacency.same_direction[slot] != 0;
      } else if (across == CornerAdjacency::kSeveral) {
        // A non-manifold edge is counted by the lowest-numbered of its faces.
        bool lowest = true;
        use = edgeUse(mesh, f, c, true, [&](uint32_t g) { lowest &= g > f; });
        if (use.count >= 2 && lowest) ++out.counters[2];
      }
      if (verdicts)
        for (uint32_t mode = 0; mode < 3; ++mode)
          out.flawed[mode] = out.flawed[mode] || strictCornerFlaw(use, mode);
    }
    if (face.removed) continue;
    if (used) {
      used->mark(thread, face);
      continue;
    }
    for (int c = 0; c < 3; ++c) meetHeight(mesh.vertices[face.v[c]].position[2], face.v[c], out);
  }
}

// Large runs are counted in fixed pieces, two threads at a time; the pieces
// are merged in order, so the first top vertex found is the one a single pass
// finds, whatever the thread count.
constexpr size_t kFaceRun = 8192;

// Merges the top vertex of a later part into `all`.
void mergeTop(const FaceRunCounts& p, FaceRunCounts& all) {
  if (p.top < 0) return;
  if (p.top_z > all.top_z) {
    all.top_z = p.top_z;
    all.top = p.top;
    all.tied = p.tied;
  } else if (all.top >= 0 && p.top_z == all.top_z) {
    all.tied = all.tied || p.tied || p.top != all.top;
  }
}

template <class FaceAt>
FaceRunCounts countFaces(const SubMesh& mesh, const CornerAdjacency& adjacency, FaceAt face_at,
                         size_t n, bool verdicts, VertexMarksByThread* used = nullptr) {
  const int64_t runs = static_cast<int64_t>((n + kFaceRun - 1) / kFaceRun);
  if (runs <= 1) {
    FaceRunCounts all;
    countFaceRun(mesh, adjacency, face_at, n, verdicts, used, all);
    return all;
  }
  std::vector<FaceRunCounts> parts(static_cast<size_t>(runs));
#pragma omp parallel for schedule(static) if (int64_t(n) >= kParallelMinimum)
  for (int64_t r = 0; r < runs; ++r) {
    const size_t first = size_t(r) * kFaceRun;
    countFaceRun(
        mesh, adjacency, [&](size_t i) { return face_at(first + i); },
        std::min(kFaceRun, n - first), verdicts, used, parts[size_t(r)]);
  }
  FaceRunCounts all = parts[0];
  for (size_t r = 1; r < parts.size(); ++r) {
    const FaceRunCounts& p = parts[r];
    for (int k = 0; k < 3; ++k) {
      all.counters[k] += p.counters[k];
      all.flawed[k] = all.flawed[k] || p.flawed[k];
    }
    mergeTop(p, all);
  }
  return all;
}

// The top vertex of the vertices marked in `used`, as countFaceRun finds it
// over the live faces that use them: the highest, unless another reaches its
// height (`tied`), which does not depend on the order they are met in.
void findTopOfUsedVertices(const SubMesh& mesh, const VertexMarksByThread& used,
                           FaceRunCounts& out) {
  const size_t n = used.vertexCount();
  const int parts = loopParts(int64_t(n));
  std::vector<FaceRunCounts> tops(static_cast<size_t>(parts));
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
  for (int t = 0; t < parts; ++t)
    for (size_t v = partStart(n, t, parts), end = partStart(n, t + 1, parts); v < end; ++v)
      if (used.marked(v)) meetHeight(mesh.vertices[v].position[2], int32_t(v), tops[size_t(t)]);
  for (const FaceRunCounts& p : tops) mergeTop(p, out);
}

// A shell's counts. A shell holding every face (the usual single-shell
// model) is read in face order, which is what memory likes; everything but
// the top vertex is a sum or an "any", and the top vertex is the same in both
// orders unless another vertex reaches its height, when the shell's own order
// decides. Its top vertex comes from the used vertices in vertex order, so
// that the face pass reads no positions (met at random when the faces come
// in no spatial order).
FaceRunCounts countShell(const SubMesh& mesh, const CornerAdjacency& adjacency,
                         const std::vector<int32_t>& shell, bool verdicts) {
  if (shell.size() == mesh.faces.size()) {
    VertexMarksByThread used(mesh.vertices.size(), teamSize());
    FaceRunCounts all = countFaces(
        mesh, adjacency, [](size_t i) { return static_cast<uint32_t>(i); }, shell.size(), verdicts,
        &used);
    used.merge();
    findTopOfUsedVertices(mesh, used, all);
    if (all.tied) all.top = shellTopVertex(mesh, shell, true);
    return all;
  }
  return countFaces(
      mesh, adjacency, [&shell](size_t i) { return static_cast<uint32_t>(shell[i]); }, shell.size(),
      verdicts);
}

// Post-detection's counts, shell by shell. With `flawed`, the flaw test's
// verdicts come from the same pass: valid only while no face is removed (the
// shells are then exactly the walk's, in the walk's order), and `flawed` on
// entry holds the modes already decided.
void countPerShell(const SubMesh& mesh, const CornerAdjacency& adjacency,
                   std::array<int32_t, 4>& counters, FaceBits& turned,
                   std::array<bool, 3>* flawed = nullptr) {
  counters.fill(0);
  auto add = [](int32_t& counter, int64_t n) {
    // Saturate rather than wrap on absurd counts.
    const int64_t sum = int64_t(counter) + n;
    counter = sum > INT32_MAX ? INT32_MAX : static_cast<int32_t>(sum);
  };
  bool any_turned = false;
  // Shells are turned at the end; until then the normal sums read faces of
  // earlier shells (which may share a top vertex) as turned.
  for (const std::vector<int32_t>& shell : mesh.shells) {
    const FaceRunCounts counted = countShell(mesh, adjacency, shell, flawed != nullptr);
    for (int k = 0; k < 3; ++k) add(counters[k], counted.counters[k]);
    if (flawed) {
      for (int k = 0; k < 3; ++k) (*flawed)[k] = (*flawed)[k] || counted.flawed[k];
      if (shell.size() % 2 == 1) (*flawed)[0] = (*flawed)[1] = true;
    }
    const int32_t top = counted.top;
    if (top < 0) continue;
    const double sum = upwardNormalSum(mesh, top, true, &turned);
    // The flaw test takes no face as turned: its sum differs only once some
    // earlier shell has been.
    if (flawed && !(*flawed)[0])
      (*flawed)[0] = (any_turned ? upwardNormalSum(mesh, top, false) : sum) < kInsideOutThreshold;
    if (sum < kInsideOutThreshold) {
      for (const int32_t f : shell) turned.set(static_cast<size_t>(f));
      add(counters[3], static_cast<int64_t>(shell.size()));
      any_turned = true;
    }
  }
}

void logCounters(OperationLog& log, const std::array<int32_t, 4>& counters) {
  log.parameter("degenerate", int64_t{counters[0]});
  log.parameter("open edges", int64_t{counters[1]});
  log.parameter("nonmanifold", int64_t{counters[2]});
  log.parameter("faces turned", int64_t{counters[3]});
  log.succeed();
}

}  // namespace

TopologyInspection inspectTopology(const SubMesh& mesh, const CornerAdjacency& adjacency,
                                   const RunContext& run) {
  TopologyInspection r;
  FaceBits turned(mesh.faces.size());
  {
    // One pass gives both answers; the four log lines follow in the order
    // of four separate runs.
    if (hasRemovedFace(mesh)) {
      r.flawed = findFlaws(mesh, nullptr, {true, true, true});
      countPerShell(mesh, adjacency, r.counters, turned);
    } else {
      const size_t face_count = mesh.faces.size();
      const bool odd = face_count % 2 == 1;
      r.flawed = {odd, odd, false};
      countPerShell(mesh, adjacency, r.counters, turned, &r.flawed);
      if (face_count == 0) r.flawed = {false, false, false};
    }
  }
  for (uint32_t mode = 0; mode < 3; ++mode) logFlawTest(mesh, mode, run, r.flawed[mode]);
  OperationLog log(run, "post detection");
  logCounters(log, r.counters);
  return r;
}

bool postDetection(SubMesh& mesh, std::array<int32_t, 4>& counters, const RunContext& run) {
  OperationLog log(run, "post detection");
  const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
  FaceBits turned(mesh.faces.size());
  countPerShell(mesh, adjacency, counters, turned);
  applyTurns(mesh, turned);
  logCounters(log, counters);
  for (const int32_t c : counters)
    if (c > 0) return true;
  return false;
}

}  // namespace vekmesh
