// Vertex classes and quadrics, vertex by vertex in a static OpenMP loop: ring
// edges sorted by neighbour give boundary, seam and non-manifold edges, faces
// joined across inner edges give pinches; planes are summed per vertex. Most
// vertices sit in one closed fan, recognised without sorting.
#include "remesh/vertex_classes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "remesh/corner_attributes.h"
#include "remesh/quadric.h"

namespace vekmesh::reducer {
namespace {

// One use of an edge at the vertex: the neighbour, the corner at the vertex in
// the face using it, and whether the face runs vertex -> neighbour.
struct RingEdge {
  int32_t neighbour;
  uint32_t corner;
  uint32_t slot;  // position of the corner in the ring, for the fan test
  bool outgoing;
};

struct Plane {
  double n[3];
  double d;
  double area;
  bool valid;
};

Plane facePlane(const ReducerState& s, uint32_t f) {
  const double* a = s.pos(static_cast<uint32_t>(s.cornerVertex(3 * f)));
  const double* b = s.pos(static_cast<uint32_t>(s.cornerVertex(3 * f + 1)));
  const double* c = s.pos(static_cast<uint32_t>(s.cornerVertex(3 * f + 2)));
  const double e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const double e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  Plane p;
  p.n[0] = e1[1] * e2[2] - e1[2] * e2[1];
  p.n[1] = e1[2] * e2[0] - e1[0] * e2[2];
  p.n[2] = e1[0] * e2[1] - e1[1] * e2[0];
  const double len = std::sqrt(p.n[0] * p.n[0] + p.n[1] * p.n[1] + p.n[2] * p.n[2]);
  p.valid = len > 0.0 && std::isfinite(len);
  if (!p.valid) return p;
  for (double& x : p.n) x /= len;
  p.d = -(p.n[0] * a[0] + p.n[1] * a[1] + p.n[2] * a[2]);
  p.area = 0.5 * len;
  return p;
}

// The plane through edge (a, b) standing upright on the face with normal n:
// moving off it moves the boundary or seam sideways. Weighted by the edge's
// squared length, it counts in the quadric like a face of that size but adds
// no area, so a point off the line reads as further from the surface.
void addEdgeConstraint(Quadric& q, const double* a, const double* b, const double n[3]) {
  const double e[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  double m[3] = {e[1] * n[2] - e[2] * n[1], e[2] * n[0] - e[0] * n[2], e[0] * n[1] - e[1] * n[0]};
  const double len = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
  if (!(len > 0.0) || !std::isfinite(len)) return;
  for (double& x : m) x /= len;
  const double d = -(m[0] * a[0] + m[1] * a[1] + m[2] * a[2]);
  q += planeQuadric(m, d, e[0] * e[0] + e[1] * e[1] + e[2] * e[2], 0.0);
}

// A corner of the vertex's ring and the two other vertices of its face.
struct RingCorner {
  uint32_t corner;
  int32_t next, prev;
};

// The plane quadrics of recently met faces. Every face is met once from each
// of its vertices, and neighbouring vertices are mostly near one another in
// the working order, so most quadrics are found here rather than made again
// (a square root, three divisions and the products of the form). A worker's
// own, so no sharing.
class FaceQuadricCache {
 public:
  FaceQuadricCache() : slots_(kSlots) {}
  // The quadric of face f's plane weighted by its area, or null for a face
  // without a plane (no area, or not finite).
  const Quadric* quadric(const ReducerState& s, uint32_t f) {
    Slot& slot = slots_[f & (kSlots - 1)];
    if (slot.face != f) {
      slot.face = f;
      const Plane pl = facePlane(s, f);
      slot.valid = pl.valid;
      if (pl.valid) slot.quadric = planeQuadric(pl.n, pl.d, pl.area, pl.area);
    }
    return slot.valid ? &slot.quadric : nullptr;
  }

 private:
  static constexpr size_t kSlots = 4096;
  struct Slot {
    Quadric quadric;
    uint32_t face = kNone;
    bool valid = false;
  };
  std::vector<Slot> slots_;
};

// Scratch of one worker.
struct ClassifyScratch {
  std::vector<RingCorner> ring;
  std::vector<RingEdge> edges;
  std::vector<uint32_t> parent;
  FaceQuadricCache face_quadrics;
};

// True when the faces around v form one closed fan of inner edges, each with
// one face either way, no face naming a vertex twice and (with attributes)
// no seam: the common case, where the sorted edges below would find nothing
// to add to the quadric and the vertex free. Face i's edge to its next vertex
// must be the edge from its previous vertex of exactly one face j, and
// following i -> j from the first face must come back only after all n.
bool closedFan(const ReducerState& s, uint32_t v, const std::vector<RingCorner>& ring) {
  const uint32_t n = static_cast<uint32_t>(ring.size());
  for (const RingCorner& r : ring)
    if (r.next == static_cast<int32_t>(v) || r.prev == static_cast<int32_t>(v) || r.next == r.prev)
      return false;
  uint32_t i = 0;
  for (uint32_t step = 1;; ++step) {
    uint32_t matches = 0, j = 0;
    for (uint32_t c = 0; c < n; ++c) {
      const bool match = ring[c].prev == ring[i].next;
      matches += match;
      j = match ? c : j;
    }
    if (matches != 1) return false;
    if (!s.uniform_attributes && (!sameAttributes(s, ring[i].corner, ring[j].corner) ||
                                  !sameAttributes(s, ReducerState::nextInFace(ring[i].corner),
                                                  ReducerState::prevInFace(ring[j].corner))))
      return false;
    i = j;
    if (i == 0) return step == n;
    if (step == n) return false;
  }
}

uint32_t findRoot(std::vector<uint32_t>& parent, uint32_t i) {
  while (parent[i] != i) i = parent[i] = parent[parent[i]];
  return i;
}

// The vertex's block when every neighbour lies in it (ReducerState::region).
uint8_t regionOf(const ReducerState& s, uint32_t v) {
  const uint8_t mine = s.block[v];
  const uint32_t h = s.vertex[v].head;
  uint32_t k = h;
  do {
    if (s.block[s.cornerVertex(ReducerState::nextInFace(k))] != mine ||
        s.block[s.cornerVertex(ReducerState::prevInFace(k))] != mine)
      return kBorderRegion;
    k = s.ringNext(k);
  } while (k != h);
  return mine;
}

void classifyOne(ReducerState& s, uint32_t v, ClassifyScratch& scratch) {
  Quadric q;
  const uint32_t h = s.vertex[v].head;
  const double* pv = s.pos(v);
  const bool finite = std::isfinite(pv[0]) && std::isfinite(pv[1]) && std::isfinite(pv[2]);
  if (h == kNone || s.vertex[v].valence > kMaxValence) {
    s.vertex[v].vertex_class = kLocked;
    if (h != kNone && finite) s.region[v] = regionOf(s, v);
    return;
  }
  bool locked = !finite;

  std::vector<RingCorner>& ring = scratch.ring;
  ring.clear();
  const uint8_t mine = s.block[v];
  bool inner = finite;
  uint32_t k = h;
  do {
    const int32_t next = s.cornerVertex(ReducerState::nextInFace(k));
    const int32_t prev = s.cornerVertex(ReducerState::prevInFace(k));
    ring.push_back({k, next, prev});
    inner = inner && s.block[next] == mine && s.block[prev] == mine;
    if (const Quadric* fq = scratch.face_quadrics.quadric(s, k / 3)) q += *fq;
    k = s.ringNext(k);
  } while (k != h);
  if (inner) s.region[v] = mine;

  if (closedFan(s, v, ring)) {
    s.vertex[v].quadric = q;
    s.vertex[v].on_boundary = 0;
    s.vertex[v].vertex_class = locked ? kLocked : kFree;
    return;
  }

  std::vector<RingEdge>& edges = scratch.edges;
  std::vector<uint32_t>& parent = scratch.parent;
  edges.clear();
  const uint32_t slot = static_cast<uint32_t>(ring.size());
  for (uint32_t i = 0; i < slot; ++i) {
    const RingCorner& r = ring[i];
    // A face naming a vertex twice: nothing around it can be reasoned about.
    if (r.next == static_cast<int32_t>(v) || r.prev == static_cast<int32_t>(v) || r.next == r.prev)
      locked = true;
    edges.push_back({r.next, r.corner, i, true});
    edges.push_back({r.prev, r.corner, i, false});
  }

  std::sort(edges.begin(), edges.end(), [](const RingEdge& a, const RingEdge& b) {
    return a.neighbour != b.neighbour ? a.neighbour < b.neighbour : a.corner < b.corner;
  });
  parent.resize(slot);
  for (uint32_t i = 0; i < slot; ++i) parent[i] = i;

  int boundary_edges = 0, seam_edges = 0;
  for (size_t i = 0; i < edges.size();) {
    size_t j = i + 1;
    while (j < edges.size() && edges[j].neighbour == edges[i].neighbour) ++j;
    const RingEdge& e = edges[i];
    const double* pn = s.pos(static_cast<uint32_t>(e.neighbour));
    if (j - i == 1) {
      ++boundary_edges;
      const Plane pl = facePlane(s, e.corner / 3);
      if (pl.valid) addEdgeConstraint(q, pv, pn, pl.n);
    } else if (j - i == 2 && edges[i].outgoing != edges[i + 1].outgoing) {
      const RingEdge& f = edges[i];
      const RingEdge& g = edges[i + 1];
      parent[findRoot(parent, f.slot)] = findRoot(parent, g.slot);
      // The neighbour's corner in each face: after v in the face running
      // v -> neighbour, before it in the other.
      const uint32_t fn =
          f.outgoing ? ReducerState::nextInFace(f.corner) : ReducerState::prevInFace(f.corner);
      const uint32_t gn =
          g.outgoing ? ReducerState::nextInFace(g.corner) : ReducerState::prevInFace(g.corner);
      if (!s.uniform_attributes &&
          (!sameAttributes(s, f.corner, g.corner) || !sameAttributes(s, fn, gn))) {
        ++seam_edges;
        for (const RingEdge* r : {&f, &g}) {
          const Plane pl = facePlane(s, r->corner / 3);
          if (pl.valid) addEdgeConstraint(q, pv, pn, pl.n);
        }
      }
    } else {
      locked = true;  // three or more faces, or two running the same way
    }
    i = j;
  }
  // All faces around the vertex must form one fan; two fans meeting at a
  // point are a pinch that collapses must not touch.
  const uint32_t root = findRoot(parent, 0);
  for (uint32_t i = 1; i < slot && !locked; ++i)
    if (findRoot(parent, i) != root) locked = true;

  s.vertex[v].quadric = q;
  s.vertex[v].on_boundary = boundary_edges > 0;
  if (locked) {
    s.vertex[v].vertex_class = kLocked;
  } else if (boundary_edges + seam_edges == 0) {
    s.vertex[v].vertex_class = kFree;
  } else if (boundary_edges == 2 && seam_edges == 0) {
    s.vertex[v].vertex_class = kBoundarySlide;
  } else if (seam_edges == 2 && boundary_edges == 0) {
    s.vertex[v].vertex_class = kSeamSlide;
  } else {
    s.vertex[v].vertex_class = kFixed;
  }
}

}  // namespace

void classifyVertices(ReducerState& s, CancelWatch* watch) {
  const int64_t n = static_cast<int64_t>(s.vertexCount());
  s.region.assign(static_cast<size_t>(n), kBorderRegion);
#pragma omp parallel
  {
    ClassifyScratch scratch;
    scratch.ring.reserve(kMaxValence + 1);
    scratch.edges.reserve(2 * (kMaxValence + 1));
    scratch.parent.reserve(kMaxValence + 1);
#pragma omp for schedule(static)
    for (int64_t v = 0; v < n; ++v)
      if (!(watch && watch->stopping())) classifyOne(s, static_cast<uint32_t>(v), scratch);
  }
}

}  // namespace vekmesh::reducer
