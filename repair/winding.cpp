// Winding repair per shell: the outward test at the topmost vertex, then a
// breadth-first propagation of the seed's winding across shared edges. Turns
// are first recorded as bits and applied to the faces and incidence lists in
// one pass at the end; the walk reads faces as if already turned, so every
// decision is the one an immediate turn would have led to. A mesh whose
// windings already agree everywhere is recognised by one pass on the team,
// and the walks, which would turn nothing, are left out.
#include "repair/winding.h"

#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "repair/shell_orientation.h"

namespace vekmesh {
namespace {

class OrientationWalk {
 public:
  OrientationWalk(SubMesh& mesh, CornerAdjacency& adjacency)
      : mesh_(mesh),
        adjacency_(adjacency),
        turned_(mesh.faces.size()),
        removed_(removedFaceBits(mesh)),
        visited_(mesh.faces.size()) {}

  size_t run() {
    // Which shell each face is in, for the seed search; with one shell every
    // live face is in it and no table is needed.
    std::vector<int32_t> shell_of;
    if (mesh_.shells.size() > 1) {
      shell_of.assign(mesh_.faces.size(), -1);
      for (size_t s = 0; s < mesh_.shells.size(); ++s)
        for (const int32_t f : mesh_.shells[s]) shell_of[f] = static_cast<int32_t>(s);
    }

    // Turning a whole shell keeps its faces' windings agreeing with one
    // another, and a walk only turns a face that disagrees with its
    // neighbour: where all agree now, no walk turns anything.
    const bool walks_needed = !everyEdgeAgrees();
    size_t walk_turns = 0;
    for (size_t s = 0; s < mesh_.shells.size(); ++s) {
      const std::vector<int32_t>& shell = mesh_.shells[s];
      // Turning swaps v[0] and v[1]: the same vertices, so the top vertex does
      // not depend on turns made so far.
      const int32_t top = shellTopVertex(mesh_, shell, true);
      if (top < 0) continue;
      if (upwardSum(top) < kInsideOutThreshold)
        for (const int32_t f : shell)
          if (!removed_.test(f)) {
            toggle(f);
            any_turned_ = true;
          }
      if (!walks_needed) continue;
      const int64_t seed = chooseSeed(top, shell_of, static_cast<int32_t>(s));
      if (seed >= 0) walk_turns += walk(static_cast<uint32_t>(seed));
    }
    apply();
    return walk_turns;
  }

 private:
  // The face's vertices as they stand with the recorded turns.
  std::array<int32_t, 3> current(uint32_t f) const {
    const Face& face = mesh_.faces[f];
    if (turned_.test(f)) return {face.v[1], face.v[0], face.v[2]};
    return {face.v[0], face.v[1], face.v[2]};
  }
  // Where corner k of the stored face sits in the current one.
  uint32_t currentCorner(uint32_t f, uint32_t k) const {
    if (!turned_.test(f) || k == 2) return k;
    return 1 - k;
  }
  void toggle(uint32_t f) {
    if (turned_.test(f))
      turned_.reset(f);
    else
      turned_.set(f);
  }

  Vec3d normal(uint32_t f) const {
    const auto v = current(f);
    return faceUnitNormal(mesh_.vertices[v[0]], mesh_.vertices[v[1]], mesh_.vertices[v[2]]);
  }

  double upwardSum(int32_t vertex) const { return upwardNormalSum(mesh_, vertex, true, &turned_); }

  // Whether every two live faces that share an edge run it in opposite
  // directions: then no walk can meet a neighbour to turn. (Three faces on an
  // edge never all agree: two of them run it the same way.) Read before any
  // turn is recorded.
  bool everyEdgeAgrees() const {
    const int64_t face_count = static_cast<int64_t>(mesh_.faces.size());
    bool agree = true;
#pragma omp parallel for schedule(static) reduction(&& : agree) if (face_count >= kParallelMinimum)
    for (int64_t f = 0; f < face_count; ++f) {
      if (removed_.test(f)) continue;
      for (uint32_t c = 0; c < 3; ++c) {
        const size_t slot = size_t(f) * 3 + c;
        const int32_t g = adjacency_.across[slot];
        if (g >= 0) {
          if (g != f && !removed_.test(g) && adjacency_.same_direction[slot] != 0) agree = false;
        } else if (g == CornerAdjacency::kSeveral && runsListedEdgeAlike(uint32_t(f), c)) {
          agree = false;
        }
      }
    }
    return agree;
  }

  // Whether another live face runs the edge of corner c of f, an edge of
  // several faces, the way f does (from the list walkList reads).
  bool runsListedEdgeAlike(uint32_t f, uint32_t c) const {
    const Face& face = mesh_.faces[f];
    const int32_t x = face.v[c], y = face.v[nextCorner(c)];
    for (const CornerRef& r : mesh_.incidentCorners[x])
      if (r.face != f && !removed_.test(r.face) && mesh_.faces[r.face].v[nextCorner(r.corner)] == y)
        return true;
    return false;
  }

  // The upward-facing face of this shell around `top` whose single-precision
  // centroid lies highest; the first found on ties.
  int64_t chooseSeed(int32_t top, const std::vector<int32_t>& shell_of, int32_t shell) const {
    int64_t seed = -1;
    float best = 0.0f;
    for (const CornerRef& r : mesh_.incidentCorners[top]) {
      if (removed_.test(r.face) || (!shell_of.empty() && shell_of[r.face] != shell)) continue;
      if (normal(r.face)[2] < kInsideOutThreshold) continue;
      const auto v = current(r.face);
      const float z = (mesh_.vertices[v[0]].position[2] + mesh_.vertices[v[1]].position[2] +
                       mesh_.vertices[v[2]].position[2]) /
                      3.0f;
      if (seed < 0 || z > best) {
        seed = r.face;
        best = z;
      }
    }
    return seed;
  }

  // Breadth-first from the seed; a neighbour running a shared edge the same
  // way as the current face is turned. Corners are taken in the order of the
  // face as it currently stands: a turned face's edges 1 and 2 trade places.
  size_t walk(uint32_t seed) {
    size_t turns = 0;
    queue_.clear();
    queue_.push_back(seed);
    visited_.set(seed);
    for (size_t head = 0; head < queue_.size(); ++head) {
      if (head + 8 < queue_.size()) prefetchRead(&adjacency_.across[size_t(queue_[head + 8]) * 3]);
      const uint32_t f = queue_[head];
      const bool f_turned = turned_.test(f);
      for (uint32_t c = 0; c < 3; ++c) {
        // Stored corner whose edge is the current corner c's edge.
        const uint32_t stored = f_turned && c != 0 ? 3 - c : c;
        const int32_t g = adjacency_.across[size_t(f) * 3 + stored];
        if (g >= 0) {
          if (static_cast<uint32_t>(g) == f || visited_.test(g) || removed_.test(g)) continue;
          const bool same = (adjacency_.same_direction[size_t(f) * 3 + stored] != 0) !=
                            (f_turned != turned_.test(g));
          if (same) {
            toggle(g);
            ++turns;
            any_turned_ = true;
          }
          visited_.set(g);
          queue_.push_back(static_cast<uint32_t>(g));
        } else if (g == CornerAdjacency::kSeveral) {
          turns += walkList(f, c);
        }
      }
    }
    return turns;
  }

  // The edge of current corner c of f has several other faces: walk the list.
  size_t walkList(uint32_t f, uint32_t c) {
    size_t turns = 0;
    const auto v = current(f);
    const int32_t x = v[c], y = v[nextCorner(c)];
    for (const CornerRef& r : mesh_.incidentCorners[x]) {
      if (r.face == f || visited_.test(r.face) || removed_.test(r.face)) continue;
      const auto g = current(r.face);
      const uint32_t k = currentCorner(r.face, r.corner);
      const bool opposite = g[prevCorner(k)] == y;
      const bool same = !opposite && g[nextCorner(k)] == y;
      if (!opposite && !same) continue;
      if (same) {
        toggle(r.face);
        ++turns;
        any_turned_ = true;
      }
      visited_.set(r.face);
      queue_.push_back(r.face);
    }
    return turns;
  }

  // Turns the marked faces, then moves their adjacency slots with their
  // corners (a turned face's edges 1 and 2 trade places) and flips the
  // direction bit of every pair in which exactly one face was turned.
  void apply() {
    // A toggle can undo another, so "some face was toggled" is only a hint
    // that work may be left; with none, faces and adjacency are as they were.
    if (!any_turned_) return;
    applyTurns(mesh_, turned_);
    turnFacesInAdjacency(adjacency_, turned_);
  }

  SubMesh& mesh_;
  CornerAdjacency& adjacency_;
  FaceBits turned_, removed_, visited_;
  bool any_turned_ = false;
  std::vector<uint32_t> queue_;
};

}  // namespace

size_t unifyOrientation(SubMesh& mesh) {
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  return unifyOrientation(mesh, adjacency);
}

size_t unifyOrientation(SubMesh& mesh, CornerAdjacency& adjacency) {
  return OrientationWalk(mesh, adjacency).run();
}

}  // namespace vekmesh
