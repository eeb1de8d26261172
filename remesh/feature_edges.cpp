// Sharp edges of a remeshing patch: the dihedral angle of each interior edge
// between its faces, then, for the edges it exceeds the feature angle at,
// between the side normals averaged over the faces near the edge, against the
// roughness of those sides; last, sharp edges in sets too small to be a line
// of the model are dropped (union-find over their vertices).
#include "remesh/feature_edges.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh::remeshing {
namespace {

// Faces visited around one vertex: enough for any sane fan, and a hostile
// fan of thousands of faces must not make the pass quadratic.
constexpr size_t kRingLimit = 64;

// Sharp edges joined into fewer than this many count as noise: a real edge
// of a model runs on (a cube's twelve edges meet in one set).
constexpr uint32_t kShortestLine = 4;

// A fold counts only when it is this many times as sharp as the roughest
// face beside it is tilted from its side's normal: on a surface with noise
// of a third of an edge, ridges of 35 degrees between sides tilted by 15
// are common and are not edges of the model.
constexpr double kRoughnessRatio = 3.0;

// Degrees of the angle whose cosine is c (clamped: a sum of unit vectors
// rounds past 1).
double angleOf(double c) {
  return std::acos(std::clamp(c, -1.0, 1.0)) * 180.0 / kPi;
}

uint32_t findRoot(std::vector<uint32_t>& parent, uint32_t v) {
  while (parent[v] != v) v = parent[v] = parent[parent[v]];
  return v;
}

// Marks the edges of `sharp` (one half-edge each) that belong to a connected
// set of at least kShortestLine sharp edges. Joined by the lower root, so
// the sets do not depend on the order edges are met in.
void keepLines(PatchMesh& p, const std::vector<uint32_t>& sharp) {
  std::vector<uint32_t> parent(p.vertexCount()), edges(p.vertexCount(), 0);
  for (uint32_t v = 0; v < parent.size(); ++v) parent[v] = v;
  for (uint32_t h : sharp) {
    const uint32_t a = findRoot(parent, p.origin[h]), b = findRoot(parent, p.target(h));
    if (a != b) parent[std::max(a, b)] = std::min(a, b);
  }
  for (uint32_t h : sharp) ++edges[findRoot(parent, p.origin[h])];
  for (uint32_t h : sharp)
    if (edges[findRoot(parent, p.origin[h])] >= kShortestLine)
      p.flags[h] = p.flags[p.twin[h]] = kConstrained;
}

}  // namespace

void markSharpEdges(PatchMesh& p, double feature_degrees) {
  const double cosine = std::cos(feature_degrees * kPi / 180.0);
  const size_t nf = p.faceCount();
  std::vector<Vec3d> normal(nf), unit(nf);
  for (uint32_t f = 0; f < nf; ++f) {
    normal[f] = p.faceNormal(3 * f);
    unit[f] = normalized(normal[f]);
  }
  // The edge a face was last counted for, so that a face on two rings
  // counts once.
  std::vector<uint32_t> counted(nf, kNoHalfedge);
  std::vector<uint32_t> ring, gathered;  // gathered: 2 face + side
  std::vector<uint32_t> sharp;
  for (uint32_t h = 0; h < p.origin.size(); ++h) {
    const uint32_t t = p.twin[h];
    if (t == kNoHalfedge || t < h) continue;
    const uint32_t f1 = h / 3, f2 = t / 3;
    const double l = length(normal[f1]) * length(normal[f2]);
    if (!(l > 0.0 && dot(normal[f1], normal[f2]) < cosine * l)) continue;
    Vec3d side[2] = {{0, 0, 0}, {0, 0, 0}};
    gathered.clear();
    for (uint32_t v :
         {p.origin[h], p.origin[t], p.origin[PatchMesh::prev(h)], p.origin[PatchMesh::prev(t)]}) {
      p.outgoing(v, ring, kRingLimit);
      for (uint32_t e : ring) {
        const uint32_t g = e / 3;
        if (counted[g] == h) continue;
        counted[g] = h;
        const double c1 = dot(unit[g], unit[f1]), c2 = dot(unit[g], unit[f2]);
        if (c1 >= c2 && c1 > cosine) {
          side[0] = add(side[0], normal[g]);
          gathered.push_back(2 * g);
        } else if (c2 > c1 && c2 > cosine) {
          side[1] = add(side[1], normal[g]);
          gathered.push_back(2 * g + 1);
        }
      }
    }
    const Vec3d s0 = normalized(side[0]), s1 = normalized(side[1]);
    const double fold = angleOf(dot(s0, s1));
    if (!(fold > feature_degrees)) continue;
    double rough = 0.0;
    for (uint32_t k : gathered) rough = std::max(rough, angleOf(dot(unit[k / 2], k & 1 ? s1 : s0)));
    if (fold > kRoughnessRatio * rough) sharp.push_back(h);
  }
  keepLines(p, sharp);
}

}  // namespace vekmesh::remeshing
