// Hole patch construction: Newell-plane projection, polygon-clipper simplicity
// check and inward offset, lattice points on the offset region by scanlines,
// constrained Delaunay triangulation, and a lift by quadric plus mean value
// coordinates (Hormann and Floater 2006) guarded by an ellipsoid test.
#include "repair/hole_patch.h"

#include <algorithm>
#include <cmath>

#include "geometry/polygon_clipping.h"
#include "geometry/polygon_triangulation.h"
#include "geometry/vectors.h"

namespace vekmesh {
namespace {

// The projected loop is scaled so that it spans +-2^28 integer units: well
// inside the exact range of the planar predicates and the clipper's exact range.
constexpr double kIntegerHalfSpan = double(int64_t(1) << 28);
// Lattice points keep this many lattice steps away from the rim.
constexpr double kRimClearance = 0.5;
// Rim faces this close to the patch plane (cosine) inform its curvature.
constexpr double kSupportCosine = 0.5;
// More lattice points than this and the step grows (only very uneven rims get
// here: a loop of 1000 equal edges encloses at most about 92000 points).
constexpr double kMaxLatticePoints = 250000.0;

struct Frame {
  Vec3d origin, u, v, n;
  Vec3d local(const Vec3d& p) const {
    const Vec3d d = sub(p, origin);
    return {dot(d, u), dot(d, v), dot(d, n)};
  }
  Vec3d world(double x, double y, double z) const {
    return add(origin, add(scaled(u, x), add(scaled(v, y), scaled(n, z))));
  }
};

// The plane of the loop's Newell normal through its mean point. False when
// the loop encloses no area seen from any direction.
bool newellFrame(const std::vector<Vec3d>& rim, Frame& f) {
  const size_t n = rim.size();
  Vec3d mean = {0.0, 0.0, 0.0};
  for (const Vec3d& p : rim) mean = add(mean, p);
  f.origin = scaled(mean, 1.0 / static_cast<double>(n));
  Vec3d normal = {0.0, 0.0, 0.0};
  double reach = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const Vec3d a = sub(rim[i], f.origin);
    const Vec3d b = sub(rim[i + 1 == n ? 0 : i + 1], f.origin);
    normal = add(normal, cross(a, b));
    reach = std::max(reach, dot(a, a));
  }
  const double len = length(normal);
  if (!(len > 1e-12 * reach) || !std::isfinite(len)) return false;
  f.n = scaled(normal, 1.0 / len);
  int axis = 0;
  for (int a = 1; a < 3; ++a)
    if (std::fabs(f.n[a]) < std::fabs(f.n[axis])) axis = a;
  Vec3d e = {0.0, 0.0, 0.0};
  e[axis] = 1.0;
  f.u = normalized(sub(e, scaled(f.n, dot(e, f.n))));
  f.v = cross(f.n, f.u);
  return true;
}

// Points of a triangular lattice with spacing `step`, anchored at `anchor`, that
// lie inside the polygon shrunk by kRimClearance * step; about `most` at most
// (the step grows when more would fit).
std::vector<IntPoint2> latticePoints(const IntRing& rim, double step,
                                     const std::array<double, 2>& anchor, double most) {
  std::vector<IntPoint2> points;
  const double area = ringArea(rim);
  const double expected = area / (step * step * 0.8660254037844386);
  if (expected > most) step *= std::sqrt(expected / most);
  const double row = step * 0.8660254037844386;

  const std::vector<IntRing> inner =
      offsetRings({rim}, -kRimClearance * step, JoinKind::kRound, std::max(0.25, 0.05 * step));
  if (inner.empty() || inner[0].empty()) return points;

  int64_t lo = inner[0][0].y, hi = lo;
  for (const auto& path : inner)
    for (const auto& p : path) {
      lo = std::min(lo, p.y);
      hi = std::max(hi, p.y);
    }
  std::vector<double> crossings;
  const int64_t first = static_cast<int64_t>(std::ceil((double(lo) - anchor[1]) / row));
  const int64_t last = static_cast<int64_t>(std::floor((double(hi) - anchor[1]) / row));
  for (int64_t j = first; j <= last; ++j) {
    const int64_t y = std::llround(anchor[1] + double(j) * row);
    // Even-odd crossings of the row with every offset path, half-open in y so
    // that a vertex on the row is crossed once.
    crossings.clear();
    for (const auto& path : inner)
      for (size_t i = 0; i < path.size(); ++i) {
        const auto& a = path[i];
        const auto& b = path[i + 1 == path.size() ? 0 : i + 1];
        if ((a.y <= y) == (b.y <= y)) continue;
        crossings.push_back(double(a.x) + double(y - a.y) * double(b.x - a.x) / double(b.y - a.y));
      }
    std::sort(crossings.begin(), crossings.end());
    const double shift = (j & 1) ? 0.5 : 0.0;
    for (size_t k = 0; k + 1 < crossings.size(); k += 2) {
      const double x0 = crossings[k], x1 = crossings[k + 1];
      const int64_t i0 = static_cast<int64_t>(std::ceil((x0 - anchor[0]) / step - shift));
      const int64_t i1 = static_cast<int64_t>(std::floor((x1 - anchor[0]) / step - shift));
      for (int64_t i = i0; i <= i1; ++i) {
        const double x = anchor[0] + (double(i) + shift) * step;
        if (x > x0 && x < x1) points.push_back({std::llround(x), y});
      }
    }
  }
  return points;
}

// Least-squares fit of z over (x, y) with the quadric terms x^2, xy, y^2, x,
// y, 1 (or only the last three), by normal equations and partial pivoting.
// Coordinates are divided by `reach` first for conditioning. False when the
// samples do not determine the terms.
struct HeightFit {
  double c[6] = {0, 0, 0, 0, 0, 0};
  double reach = 1.0;
  double at(double x, double y) const {
    x /= reach;
    y /= reach;
    return c[0] * x * x + c[1] * x * y + c[2] * y * y + c[3] * x + c[4] * y + c[5];
  }
};

bool fitHeights(const std::vector<Vec3d>& samples, int terms, HeightFit& fit) {
  if (samples.size() < static_cast<size_t>(terms) + 3) return false;
  double m[6][7] = {};
  for (const Vec3d& s : samples) {
    const double x = s[0] / fit.reach, y = s[1] / fit.reach;
    const double all[6] = {x * x, x * y, y * y, x, y, 1.0};
    const double* row = all + (6 - terms);
    for (int r = 0; r < terms; ++r) {
      for (int c = 0; c < terms; ++c) m[r][c] += row[r] * row[c];
      m[r][terms] += row[r] * s[2];
    }
  }
  double scale = 0.0;
  for (int r = 0; r < terms; ++r) scale = std::max(scale, std::fabs(m[r][r]));
  for (int col = 0; col < terms; ++col) {
    int pivot = col;
    for (int r = col + 1; r < terms; ++r)
      if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
    if (!(std::fabs(m[pivot][col]) > 1e-10 * scale)) return false;
    for (int c = 0; c <= terms; ++c) std::swap(m[col][c], m[pivot][c]);
    for (int r = 0; r < terms; ++r) {
      if (r == col) continue;
      const double f = m[r][col] / m[col][col];
      for (int c = col; c <= terms; ++c) m[r][c] -= f * m[col][c];
    }
  }
  for (int r = 0; r < terms; ++r) fit.c[6 - terms + r] = m[r][terms] / m[r][r];
  for (double c : fit.c)
    if (!std::isfinite(c)) return false;
  return true;
}

// Mean value interpolation at p of the values given at the polygon's vertices.
// The half-angle tangents use A / (r r' + D), which stays accurate for small
// angles; p is never on the rim here.
double meanValueInterpolate(const std::vector<std::array<double, 2>>& rim,
                            const std::vector<double>& values, double px, double py,
                            std::vector<double>& scratch) {
  const size_t n = rim.size();
  scratch.resize(2 * n);
  double* r = scratch.data();
  double* t = scratch.data() + n;
  for (size_t i = 0; i < n; ++i) {
    const double dx = rim[i][0] - px, dy = rim[i][1] - py;
    r[i] = std::sqrt(dx * dx + dy * dy);
    if (!(r[i] > 0.0)) return values[i];
  }
  for (size_t i = 0; i < n; ++i) {
    const size_t j = i + 1 == n ? 0 : i + 1;
    const double ax = rim[i][0] - px, ay = rim[i][1] - py;
    const double bx = rim[j][0] - px, by = rim[j][1] - py;
    const double area = ax * by - ay * bx;
    const double denominator = r[i] * r[j] + (ax * bx + ay * by);
    t[i] = denominator > 0.0 ? area / denominator : 0.0;
  }
  double sum = 0.0, weighted = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const double w = (t[i == 0 ? n - 1 : i - 1] + t[i]) / r[i];
    sum += w;
    weighted += w * values[i];
  }
  if (!(std::fabs(sum) > 0.0)) return 0.0;
  return weighted / sum;
}

double triangleArea(const Vec3d& a, const Vec3d& b, const Vec3d& c) {
  return 0.5 * length(cross(sub(b, a), sub(c, a)));
}

HolePatch fanPatch(const std::vector<Vec3d>& rim) {
  HolePatch patch;
  patch.method = HolePatch::Method::kFan;
  Vec3d mean = {0.0, 0.0, 0.0};
  for (const Vec3d& p : rim) mean = add(mean, p);
  mean = scaled(mean, 1.0 / static_cast<double>(rim.size()));
  patch.points.push_back({float(mean[0]), float(mean[1]), float(mean[2])});
  const int32_t n = static_cast<int32_t>(rim.size());
  for (int32_t i = 0; i < n; ++i) patch.triangles.push_back({i, (i + 1) % n, n});
  return patch;
}

std::vector<Vec3d> rimFaceNormals(const std::vector<Vec3d>& rim, const std::vector<Vec3d>& apex) {
  const size_t n = rim.size();
  std::vector<Vec3d> normals(n);
  for (size_t i = 0; i < n; ++i) {
    // The face runs rim[i + 1] -> rim[i] -> apex[i].
    const Vec3d& x = rim[i + 1 == n ? 0 : i + 1];
    normals[i] = normalized(cross(sub(rim[i], x), sub(apex[i], rim[i])));
  }
  return normals;
}

// The projected method; false when the projection is not simple.
bool planarPatch(const std::vector<Vec3d>& rim, const std::vector<Vec3d>& apex,
                 const std::vector<Vec3d>& rim_normals, const PatchLimits& limits,
                 HolePatch& patch) {
  Frame frame;
  if (!newellFrame(rim, frame)) return false;
  const size_t n = rim.size();
  std::vector<Vec3d> local(n);
  double reach = 0.0;
  for (size_t i = 0; i < n; ++i) {
    local[i] = frame.local(rim[i]);
    reach = std::max({reach, std::fabs(local[i][0]), std::fabs(local[i][1])});
  }
  if (!(reach > 0.0) || !std::isfinite(reach)) return false;
  const double to_int = kIntegerHalfSpan / reach;

  std::vector<IntPoint2> pts(n);
  for (size_t i = 0; i < n; ++i)
    pts[i] = {std::llround(local[i][0] * to_int), std::llround(local[i][1] * to_int)};
  if (!isSimpleCounterClockwise(pts)) return false;

  // Lattice step: the mean projected rim edge; anchored at the area centroid
  // so that a small round hole gets a point in its middle.
  double perimeter = 0.0, cx = 0.0, cy = 0.0, twice_area = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const IntPoint2& a = pts[i];
    const IntPoint2& b = pts[i + 1 == n ? 0 : i + 1];
    perimeter += std::hypot(double(b.x - a.x), double(b.y - a.y));
    const double c = double(a.x) * double(b.y) - double(b.x) * double(a.y);
    twice_area += c;
    cx += (double(a.x) + double(b.x)) * c;
    cy += (double(a.y) + double(b.y)) * c;
  }
  const std::array<double, 2> anchor = {cx / (3.0 * twice_area), cy / (3.0 * twice_area)};
  const double step = perimeter / static_cast<double>(n);
  if (step >= 1.0) {
    const double most =
        limits.interior_points_per_rim_vertex > 0.0
            ? std::min(kMaxLatticePoints, std::max(1.0, limits.interior_points_per_rim_vertex * n))
            : kMaxLatticePoints;
    const std::vector<IntPoint2> inside = latticePoints(pts, step, anchor, most);
    pts.insert(pts.end(), inside.begin(), inside.end());
  }

  std::vector<std::array<int32_t, 3>> tris;
  if (!triangulatePolygon(pts, n, tris)) return false;

  // Heights: a quadric fitted to the rim and to the far corners of rim faces
  // that continue the surface smoothly, plus the rim's residuals spread by mean
  // value interpolation, so the patch meets the rim exactly.
  std::vector<Vec3d> samples(local);
  for (size_t i = 0; i < n; ++i)
    if (dot(rim_normals[i], frame.n) >= kSupportCosine) samples.push_back(frame.local(apex[i]));
  std::vector<std::array<double, 2>> rim2(n);
  for (size_t i = 0; i < n; ++i) rim2[i] = {double(pts[i].x) / to_int, double(pts[i].y) / to_int};

  // Which lattice points the triangulation used, and their new numbers.
  std::vector<int32_t> renumber(pts.size(), -1);
  for (size_t i = 0; i < n; ++i) renumber[i] = static_cast<int32_t>(i);
  std::vector<size_t> used;
  for (auto& t : tris)
    for (int32_t& k : t) {
      if (renumber[k] < 0) {
        renumber[k] = static_cast<int32_t>(n + used.size());
        used.push_back(static_cast<size_t>(k));
      }
      k = renumber[k];
    }

  // The ellipsoid around the rim: in-plane semi-axes cover the rim's box, the
  // height semi-axis allows a bulge of half the hole's size. A lift that leaves
  // it has extrapolated wildly and is replaced by the flat membrane.
  double lo[3] = {local[0][0], local[0][1], local[0][2]};
  double hi[3] = {lo[0], lo[1], lo[2]};
  for (const Vec3d& p : local)
    for (int a = 0; a < 3; ++a) {
      lo[a] = std::min(lo[a], p[a]);
      hi[a] = std::max(hi[a], p[a]);
    }
  const double half_x = 0.5 * (hi[0] - lo[0]), half_y = 0.5 * (hi[1] - lo[1]);
  const double centre[3] = {0.5 * (lo[0] + hi[0]), 0.5 * (lo[1] + hi[1]), 0.5 * (lo[2] + hi[2])};
  const double axes[3] = {
      std::sqrt(3.0) * half_x, std::sqrt(3.0) * half_y,
      std::sqrt(3.0) * std::max(0.5 * (hi[2] - lo[2]), kRimClearance * std::max(half_x, half_y))};
  auto outsideEllipsoid = [&](double x, double y, double z) {
    const double p[3] = {x, y, z};
    double sum = 0.0;
    for (int a = 0; a < 3; ++a) {
      if (!(axes[a] > 0.0)) return true;
      const double d = (p[a] - centre[a]) / axes[a];
      sum += d * d;
    }
    return !(sum <= 1.0);
  };

  std::vector<double> heights(used.size());
  std::vector<double> scratch;
  auto lift = [&](const HeightFit& fit) {
    std::vector<double> residual(n);
    for (size_t i = 0; i < n; ++i) residual[i] = local[i][2] - fit.at(rim2[i][0], rim2[i][1]);
    for (size_t j = 0; j < used.size(); ++j) {
      const double x = double(pts[used[j]].x) / to_int, y = double(pts[used[j]].y) / to_int;
      heights[j] = fit.at(x, y) + meanValueInterpolate(rim2, residual, x, y, scratch);
      if (outsideEllipsoid(x, y, heights[j])) return false;
    }
    return true;
  };
  HeightFit curved;
  curved.reach = reach;
  if (!fitHeights(samples, 6, curved) || !lift(curved)) {
    HeightFit flat;  // all zero: the membrane through the rim
    lift(flat);
  }

  patch.method = HolePatch::Method::kPlanar;
  patch.triangles = std::move(tris);
  patch.points.resize(used.size());
  for (size_t j = 0; j < used.size(); ++j) {
    const double x = double(pts[used[j]].x) / to_int, y = double(pts[used[j]].y) / to_int;
    const Vec3d p = frame.world(x, y, heights[j]);
    patch.points[j] = {float(p[0]), float(p[1]), float(p[2])};
  }
  return true;
}

}  // namespace

double triangleAspectRatio(const Vec3d& a, const Vec3d& b, const Vec3d& c) {
  const double ab = dot(sub(b, a), sub(b, a));
  const double bc = dot(sub(c, b), sub(c, b));
  const double ca = dot(sub(a, c), sub(a, c));
  const double longest = std::max({ab, bc, ca});
  const double area = triangleArea(a, b, c);
  if (!(area > 0.0)) return HUGE_VAL;
  return longest * std::sqrt(3.0) / (4.0 * area);
}

HolePatch buildHolePatch(const std::vector<Vec3d>& rim, const std::vector<Vec3d>& apex,
                         const PatchLimits& limits) {
  HolePatch patch;
  const size_t n = rim.size();
  if (n < 3 || apex.size() != n) return patch;
  if (n == 3) {
    patch.method = HolePatch::Method::kSingleTriangle;
    patch.triangles.push_back({0, 1, 2});
    return patch;
  }
  const std::vector<Vec3d> normals = rimFaceNormals(rim, apex);
  // A loop that cannot be projected as a simple polygon is triangulated in
  // space instead.
  if (planarPatch(rim, apex, normals, limits, patch)) return patch;
  patch = HolePatch{};
  if (triangulateLoopMinimumWeight(rim, normals, patch.triangles)) {
    patch.method = HolePatch::Method::kMinimumWeight;
    return patch;
  }
  return fanPatch(rim);
}

}  // namespace vekmesh
