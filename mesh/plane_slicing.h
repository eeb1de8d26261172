// What the plane sections and the plane cut share: the class of a vertex
// against a horizontal plane, the side vertices lying on the plane are
// counted on, the directed piece a plane cuts from one face, and the chaining
// of those pieces into loops. Chaining goes by mesh edges, never by
// coordinates, so it is exact whatever the geometry.
//
// Vertices on the plane are counted on one side, as if the plane were moved
// by an infinitesimal amount (simulation of simplicity): every face then lies
// wholly on one side or has exactly one edge going up through the plane and
// one going down, every loop of a closed mesh closes, and a piece that runs
// along an edge lying in the plane is made by at most one face per side. The
// side is chosen so that faces lying in the plane stay with the material
// they bound: when those facing up outweigh those facing down (by projected
// area), on-plane vertices count as below, else as above. The section is then
// the material that continues through the plane: a cube cut exactly at its
// top or bottom face has none.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Class of a vertex against z = h.
enum : uint8_t {
  kClassBelow = 0,
  kClassAbove = 1,
  kClassOn = 2,
  kClassUnusable = 3,  // a coordinate is NaN or infinite: its faces are left out
};

// The class of a finite z.
inline uint8_t heightClass(float z, double h) {
  return z < h ? kClassBelow : (z > h ? kClassAbove : kClassOn);
}

inline uint8_t vertexClass(const std::array<float, 3>& p, double h) {
  if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return kClassUnusable;
  return heightClass(p[2], h);
}

// The side on-plane vertices are counted on.
enum class OnPlaneSide : uint8_t { kAbove, kBelow };

// 0 (below) or 1 (above) for a usable class.
inline uint8_t sideOf(uint8_t cls, OnPlaneSide on) {
  if (cls == kClassOn) return on == OnPlaneSide::kBelow ? 0 : 1;
  return cls;
}

// Twice the projected signed area of a face: positive when it faces up.
inline double projectedArea2(const SubMesh& mesh, const Face& f) {
  const auto& a = mesh.vertices[size_t(f.v[0])].position;
  const auto& b = mesh.vertices[size_t(f.v[1])].position;
  const auto& c = mesh.vertices[size_t(f.v[2])].position;
  return (double(b[0]) - a[0]) * (double(c[1]) - a[1]) -
         (double(b[1]) - a[1]) * (double(c[0]) - a[0]);
}

// The side rule from the net projected area of the faces lying in the plane.
inline OnPlaneSide onPlaneSideFor(double on_face_area2) {
  return on_face_area2 > 0.0 ? OnPlaneSide::kBelow : OnPlaneSide::kAbove;
}

// A live face whose vertices are in range and distinct.
inline bool usableFace(const SubMesh& mesh, const Face& f) {
  const size_t n = mesh.vertices.size();
  return !f.removed && size_t(f.v[0]) < n && size_t(f.v[1]) < n && size_t(f.v[2]) < n &&
         f.v[0] != f.v[1] && f.v[1] != f.v[2] && f.v[0] != f.v[2];
}

// A crossing of the plane: the mesh edge from `low` (below) to `high` (above),
// as a 64-bit key: low in the high half. A key with low == high names a vertex
// lying on the plane (a point, never an edge).
inline uint64_t edgeKey(int32_t low, int32_t high) {
  return (uint64_t(uint32_t(low)) << 32) | uint32_t(high);
}
inline int32_t keyLow(uint64_t key) {
  return static_cast<int32_t>(key >> 32);
}
inline int32_t keyHigh(uint64_t key) {
  return static_cast<int32_t>(key & 0xFFFFFFFFu);
}

// The piece one face contributes: from the crossing where its winding goes
// down through the plane to the one where it goes up. For an outward mesh the
// loops then run counter-clockwise around the material, seen from above.
struct Segment {
  uint64_t from;
  uint64_t to;
};

// The piece of the face with vertices v and sides s, when it straddles.
inline bool faceSegment(const int32_t v[3], const uint8_t s[3], Segment& segment) {
  if (s[0] == s[1] && s[1] == s[2]) return false;
  for (int c = 0; c < 3; ++c) {
    const int n = c == 2 ? 0 : c + 1;
    if (s[c] == s[n]) continue;
    if (s[c] == 0)
      segment.to = edgeKey(v[c], v[n]);  // up: below to above
    else
      segment.from = edgeKey(v[n], v[c]);  // down: the lower end comes second
  }
  return true;
}

// The point a crossing stands for: the vertex itself when an end lies on the
// plane, else the edge. Equal keys are the same point.
inline uint64_t pointKey(const SubMesh& mesh, uint64_t crossing, double h) {
  const int32_t low = keyLow(crossing), high = keyHigh(crossing);
  if (mesh.vertices[size_t(high)].position[2] == h) return edgeKey(high, high);
  if (mesh.vertices[size_t(low)].position[2] == h) return edgeKey(low, low);
  return crossing;
}

// Where the edge from low to high meets z = h, as a fraction from low: 0 or
// 1 exactly when an end lies on the plane.
inline double crossingFraction(float z_low, float z_high, double h) {
  if (z_high == h) return 1.0;
  if (z_low == h) return 0.0;
  return (h - z_low) / (double(z_high) - z_low);
}

// The position of a point key: the vertex, or the edge's crossing computed
// from its lower end, so that both faces of an edge get the same bits.
inline std::array<float, 3> pointPosition(const SubMesh& mesh, uint64_t point, double h) {
  const auto& a = mesh.vertices[size_t(keyLow(point))].position;
  const auto& b = mesh.vertices[size_t(keyHigh(point))].position;
  if (keyLow(point) == keyHigh(point)) return a;
  const double t = crossingFraction(a[2], b[2], h);
  return {static_cast<float>(a[0] + t * (double(b[0]) - a[0])),
          static_cast<float>(a[1] + t * (double(b[1]) - a[1])), static_cast<float>(h)};
}

// A chain of crossings: closed when its last piece ends where the first
// begins, open when the mesh has a border or more than two faces on an edge
// there.
struct CrossingLoop {
  std::vector<uint64_t> crossings;
  bool closed = false;
};

// Chains the pieces (reordered) into loops: the open chains from their
// starts first, then the closed loops. Each piece is used once, so it ends.
void chainSegments(std::vector<Segment>& segments, std::vector<CrossingLoop>& loops);

// Removes repeats in a row and back-and-forth spikes (a, b, a becomes a),
// around the end too when `closed`: what a plane through vertices and edges
// lying in it leaves of a loop, by point key, and what crossings that round
// to one position leave, by position.
template <class Point>
void tidyLoop(std::vector<Point>& points, bool closed) {
  size_t kept = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    if (kept > 0 && points[kept - 1] == points[i]) continue;
    if (kept > 1 && points[kept - 2] == points[i]) {  // a, b, a: back at a
      --kept;
      continue;
    }
    points[kept++] = points[i];
  }
  points.resize(kept);
  if (!closed) return;
  // Around the end: a repeat of the first point, or a spike either side of it.
  size_t first = 0;
  for (;;) {
    const size_t n = points.size() - first;
    if (n >= 2 && points[first] == points.back()) {
      points.pop_back();
    } else if (n >= 3 && points[points.size() - 2] == points[first]) {
      points.pop_back();
    } else if (n >= 3 && points[first + 1] == points.back()) {
      ++first;
    } else {
      break;
    }
  }
  points.erase(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(first));
}

// Drops pairs of closed loops that run through the same points in opposite
// directions: what a plane leaves where it touches a ring of edges from one
// side only (the top ring of a torus cut at its top), a band of no width that
// bounds nothing. `closed` flags the loops that may be paired.
void dropOppositeLoops(std::vector<std::vector<uint64_t>>& loops,
                       const std::vector<uint8_t>& closed);

}  // namespace vekmesh
