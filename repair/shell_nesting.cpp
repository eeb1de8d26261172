// Winding numbers by vertical ray crossings. A face is tested only when its
// box holds the ray; the covering test and the above-or-below test are exact
// orientation predicates, and where one of them is zero the sign comes from
// the symbolic perturbation of the point instead.
#include "repair/shell_nesting.h"

#include <algorithm>
#include <cmath>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

using Point3 = std::array<double, 3>;

// Sign of orient2d(a, b, q) in the x-y plane, q = p + (e, e^2): the value is
// orient2d(a, b, p) - e (b.y - a.y) + e^2 (b.x - a.x), so a zero falls back on
// the edge's direction. The edge has distinct ends in x-y (its face covers an
// area there), so some term is non-zero.
int perturbedSide(const Point3& a, const Point3& b, const Point3& p) {
  const double a2[2] = {a[0], a[1]}, b2[2] = {b[0], b[1]}, p2[2] = {p[0], p[1]};
  const int side = exact::orient2d(a2, b2, p2);
  if (side != 0) return side;
  if (b[1] != a[1]) return b[1] < a[1] ? 1 : -1;
  return b[0] > a[0] ? 1 : -1;
}

// Sign of the normal component `axis` of the triangle a, b, c: the
// orientation of its projection onto the other two axes, in cyclic order.
int normalSign(const Point3& a, const Point3& b, const Point3& c, int axis) {
  const int u = (axis + 1) % 3, w = (axis + 2) % 3;
  const double a2[2] = {a[u], a[w]}, b2[2] = {b[u], b[w]}, c2[2] = {c[u], c[w]};
  return exact::orient2d(a2, b2, c2);
}

// +1 or -1 when the face a, b, c lies above the perturbed point and covers it
// in x-y (the sign is the face's facing: up or down), else 0.
int crossing(Point3 a, Point3 b, Point3 c, const Point3& p) {
  const double a2[2] = {a[0], a[1]}, b2[2] = {b[0], b[1]}, c2[2] = {c[0], c[1]};
  const int facing = exact::orient2d(a2, b2, c2);
  if (facing == 0) return 0;  // upright: the perturbed ray passes beside it
  // Counter-clockwise from above from here on, so "inside" is the left of
  // every edge and the normal points up.
  if (facing < 0) std::swap(b, c);
  if (perturbedSide(a, b, p) < 0 || perturbedSide(b, c, p) < 0 || perturbedSide(c, a, p) < 0)
    return 0;
  // Below the face when orient3d is negative. On its plane, the perturbed
  // point's offset (e, e^2, e^3) decides through the normal (nx, ny, nz),
  // nz > 0 here: above first by nx, then ny, then nz.
  int side = exact::orient3d(a.data(), b.data(), c.data(), p.data());
  for (int axis = 0; side == 0 && axis < 3; ++axis) side = normalSign(a, b, c, axis);
  return side < 0 ? facing : 0;
}

Point3 widened(const Vertex& v) {
  return {double(v.position[0]), double(v.position[1]), double(v.position[2])};
}

}  // namespace

int64_t windingNumber(const SubMesh& mesh, const std::vector<int32_t>& shell, const Vec3d& point) {
  const float px = static_cast<float>(point[0]), py = static_cast<float>(point[1]);
  const float pz = static_cast<float>(point[2]);
  const bool exact_float =
      double(px) == point[0] && double(py) == point[1] && double(pz) == point[2];
  int64_t winding = 0;
  for (const int32_t f : shell) {
    const Face& face = mesh.faces[size_t(f)];
    const auto& a = mesh.vertices[face.v[0]].position;
    const auto& b = mesh.vertices[face.v[1]].position;
    const auto& c = mesh.vertices[face.v[2]].position;
    // Box rejection in single precision; only a point that is itself a float
    // (every vertex is) may be compared there without rounding. A face wholly
    // below the point cannot be above it, perturbed or not.
    if (exact_float) {
      if (px < std::min({a[0], b[0], c[0]}) || px > std::max({a[0], b[0], c[0]}) ||
          py < std::min({a[1], b[1], c[1]}) || py > std::max({a[1], b[1], c[1]}) ||
          pz > std::max({a[2], b[2], c[2]}))
        continue;
    }
    const Point3 pa = widened(mesh.vertices[face.v[0]]);
    const Point3 pb = widened(mesh.vertices[face.v[1]]);
    const Point3 pc = widened(mesh.vertices[face.v[2]]);
    bool finite = true;
    for (int k = 0; k < 3; ++k)
      finite = finite && std::isfinite(pa[k]) && std::isfinite(pb[k]) && std::isfinite(pc[k]);
    if (!finite) continue;
    winding += crossing(pa, pb, pc, point);
  }
  return winding;
}

}  // namespace vekmesh
