// Needle collapse: short edges found face by face (the faces that have one
// picked out by the team first), each checked against the link condition and
// for turned faces through the incidence lists of its two ends. A collapse
// moves one end, which then takes part in no other; so the edges a later face
// may still collapse are as short as they were before the pass.
#include "repair/needle_collapse.h"

#include <algorithm>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

Vec3d at(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[size_t(v)].position;
  return {p[0], p[1], p[2]};
}

// The vertices joined to v by an edge of a live face, sorted, without v.
void neighbours(const SubMesh& mesh, int32_t v, std::vector<int32_t>& out) {
  out.clear();
  for (const CornerRef& r : mesh.incidentCorners[size_t(v)]) {
    const Face& f = mesh.faces[r.face];
    if (f.removed) continue;
    out.push_back(f.v[nextCorner(r.corner)]);
    out.push_back(f.v[prevCorner(r.corner)]);
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
}

// Whether moving b onto a keeps the surface as it was away from the edge.
bool collapsible(const SubMesh& mesh, int32_t a, int32_t b, std::vector<int32_t>& around_a,
                 std::vector<int32_t>& around_b, std::vector<int32_t>& opposite) {
  // The third vertices of the live faces on the edge.
  opposite.clear();
  for (const CornerRef& r : mesh.incidentCorners[size_t(a)]) {
    const Face& f = mesh.faces[r.face];
    if (f.removed) continue;
    const int32_t p = f.v[nextCorner(r.corner)], q = f.v[prevCorner(r.corner)];
    if (p == b) opposite.push_back(q);
    if (q == b) opposite.push_back(p);
  }
  if (opposite.empty() || opposite.size() > 2) return false;  // an edge of three faces stays
  std::sort(opposite.begin(), opposite.end());
  neighbours(mesh, a, around_a);
  neighbours(mesh, b, around_b);
  std::vector<int32_t> shared;
  std::set_intersection(around_a.begin(), around_a.end(), around_b.begin(), around_b.end(),
                        std::back_inserter(shared));
  if (shared != opposite) return false;
  // No face around b (other than those on the edge) may turn over when b
  // takes a's position.
  const Vec3d pa = at(mesh, a);
  for (const CornerRef& r : mesh.incidentCorners[size_t(b)]) {
    const Face& f = mesh.faces[r.face];
    if (f.removed || f.v[0] == a || f.v[1] == a || f.v[2] == a) continue;
    Vec3d p[3] = {at(mesh, f.v[0]), at(mesh, f.v[1]), at(mesh, f.v[2])};
    const Vec3d before = cross(sub(p[1], p[0]), sub(p[2], p[0]));
    p[r.corner] = pa;
    const Vec3d after = cross(sub(p[1], p[0]), sub(p[2], p[0]));
    if (!(dot(before, after) > 0.0)) return false;
  }
  return true;
}

}  // namespace

size_t collapseNeedles(SubMesh& mesh, double tolerance) {
  if (!(tolerance > 0.0)) return 0;
  const double tolerance2 = tolerance * tolerance;
  auto short_edge = [&](const Face& face, uint32_t c) {
    const int32_t x = face.v[c], y = face.v[nextCorner(c)];
    const Vec3d d = sub(at(mesh, x), at(mesh, y));
    return x != y && dot(d, d) < tolerance2;
  };
  // Only faces with a short edge can collapse one; the team finds them, and
  // they are visited in face order as a pass over all would.
  const std::vector<size_t> needles = elementsWhere(mesh.faces.size(), [&](size_t f) {
    const Face& face = mesh.faces[f];
    return !face.removed && (short_edge(face, 0) || short_edge(face, 1) || short_edge(face, 2));
  });
  std::vector<uint8_t> touched(mesh.vertices.size(), 0);
  std::vector<int32_t> around_a, around_b, opposite;
  size_t collapsed = 0;
  for (const size_t f : needles) {
    const Face& face = mesh.faces[f];
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t x = face.v[c], y = face.v[nextCorner(c)];
      if (touched[size_t(x)] || touched[size_t(y)] || !short_edge(face, c)) continue;
      const int32_t a = std::min(x, y), b = std::max(x, y);
      if (!collapsible(mesh, a, b, around_a, around_b, opposite)) continue;
      mesh.vertices[size_t(b)].position = mesh.vertices[size_t(a)].position;
      touched[size_t(a)] = touched[size_t(b)] = 1;
      ++collapsed;
      break;  // this face is gone
    }
  }
  return collapsed;
}

}  // namespace vekmesh
