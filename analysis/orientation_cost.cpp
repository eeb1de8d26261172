// Sampling the triangles once, grouped by normal direction, and the support
// cost of a base plane over the samples.
#include "analysis/orientation_cost.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

// Normals are grouped by an octahedral map onto a kSide x kSide grid: cells
// of similar solid angle, about 10 degrees across.
constexpr int kSide = 16;

int directionCell(const Vec3d& m) {
  const double sum = std::fabs(m[0]) + std::fabs(m[1]) + std::fabs(m[2]);
  double u = m[0] / sum, v = m[1] / sum;
  if (m[2] < 0.0) {
    const double fu = (1.0 - std::fabs(v)) * (u < 0.0 ? -1.0 : 1.0);
    const double fv = (1.0 - std::fabs(u)) * (v < 0.0 ? -1.0 : 1.0);
    u = fu, v = fv;
  }
  const int i = std::clamp(int((u + 1.0) * 0.5 * kSide), 0, kSide - 1);
  const int j = std::clamp(int((v + 1.0) * 0.5 * kSide), 0, kSide - 1);
  return j * kSide + i;
}

}  // namespace

size_t samplingStride(size_t triangle_count) {
  if (triangle_count < 10000) return 1;
  return static_cast<size_t>(std::floor(0.0001 * double(triangle_count) + 0.5));
}

SampledTriangles sampleTriangles(const SubMesh& mesh) {
  SampledTriangles s;
  const size_t k = samplingStride(mesh.faces.size());
  s.taken = mesh.faces.size() / k;

  // Cross products and cells of the sampled faces of some area.
  std::vector<Vec3d> cross_half(s.taken);
  std::vector<int> cell(s.taken, -1);
  const int64_t n = static_cast<int64_t>(s.taken);
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t i = 0; i < n; ++i) {
    const Face& f = mesh.faces[size_t(i) * k];
    if (f.removed) continue;
    Vec3d p[3];
    for (int c = 0; c < 3; ++c) {
      const auto& q = mesh.vertices[size_t(f.v[c])].position;
      p[c] = {q[0], q[1], q[2]};
    }
    cross_half[size_t(i)] = scaled(cross(sub(p[1], p[0]), sub(p[2], p[0])), 0.5);
    const double a = length(cross_half[size_t(i)]);
    if (a > 0.0 && std::isfinite(a))
      cell[size_t(i)] = directionCell(scaled(cross_half[size_t(i)], 1.0 / a));
  }
  std::vector<uint32_t> order;
  for (size_t i = 0; i < s.taken; ++i)
    if (cell[i] >= 0) order.push_back(static_cast<uint32_t>(i));
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return cell[a] < cell[b]; });

  for (auto* column : {&s.ax, &s.ay, &s.az, &s.area, &s.gx, &s.gy, &s.gz})
    column->resize(order.size());
  for (auto& column : s.corner) column.resize(order.size());
  for (size_t r = 0; r < order.size(); ++r) {
    const size_t i = order[r];
    const Face& f = mesh.faces[i * k];
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a)
        s.corner[3 * c + a][r] = mesh.vertices[size_t(f.v[c])].position[size_t(a)];
    s.ax[r] = cross_half[i][0], s.ay[r] = cross_half[i][1];
    s.az[r] = cross_half[i][2], s.area[r] = length(cross_half[i]);
    const auto centroid = [&](int a) {
      return (double(s.corner[a][r]) + double(s.corner[3 + a][r]) + double(s.corner[6 + a][r])) /
             3.0;
    };
    s.gx[r] = centroid(0), s.gy[r] = centroid(1), s.gz[r] = centroid(2);
  }

  // Each cell's cone: the mean direction and the widest member's angle.
  for (size_t begin = 0; begin < order.size();) {
    size_t end = begin;
    Vec3d axis = {0.0, 0.0, 0.0};
    while (end < order.size() && cell[order[end]] == cell[order[begin]])
      axis = add(axis, normalized(cross_half[order[end++]]));
    axis = normalized(axis);
    double cos_spread = 1.0;
    for (size_t r = begin; r < end; ++r)
      cos_spread = std::min(cos_spread, dot(axis, normalized(cross_half[order[r]])));
    cos_spread = std::max(-1.0, cos_spread - 1e-6);
    SampledTriangles::Group g{};
    g.begin = uint32_t(begin), g.end = uint32_t(end), g.axis = axis;
    g.cos_spread = cos_spread;
    g.sin_spread = std::sqrt(std::max(0.0, 1.0 - cos_spread * cos_spread));
    Vec3d lo = {s.gx[begin], s.gy[begin], s.gz[begin]}, hi = lo;
    for (size_t r = begin; r < end; ++r) {
      const Vec3d c = {s.gx[r], s.gy[r], s.gz[r]};
      for (size_t a = 0; a < 3; ++a) lo[a] = std::min(lo[a], c[a]), hi[a] = std::max(hi[a], c[a]);
    }
    g.centre = scaled(add(lo, hi), 0.5);
    g.low = sub(lo, g.centre), g.high = sub(hi, g.centre);
    for (size_t r = begin; r < end; ++r) {
      const Vec3d a = {s.ax[r], s.ay[r], s.az[r]};
      const Vec3d offset = sub({s.gx[r], s.gy[r], s.gz[r]}, g.centre);
      g.area_sum = add(g.area_sum, a);
      g.area_total += s.area[r];
      for (size_t j = 0; j < 3; ++j) g.moment[j] = add(g.moment[j], scaled(offset, a[j]));
    }
    s.groups.push_back(g);
    begin = end;
  }
  return s;
}

namespace {

// The samples [begin, end) of one plane. Most triangles are far from the
// plane, which their centroid alone shows (a triangle rests only when all
// its corners, and so its centroid, lie within t of the plane): those are
// summed by a branch-free loop that vectorises; the few whose centroid lies
// within t then have their corners tested one by one.
double costRun(const SampledTriangles& s, const CostTerms& terms, const BasePlane& plane,
               size_t begin, size_t end) {
  const double n0 = plane.n[0], n1 = plane.n[1], n2 = plane.n[2], d = plane.d;
  const double c = terms.cos_overhang, t = terms.rest_tolerance, w = terms.area_weight;
  const double *ax = s.ax.data(), *ay = s.ay.data(), *az = s.az.data(), *area = s.area.data();
  const double *gx = s.gx.data(), *gy = s.gy.data(), *gz = s.gz.data();
  // A triangle whose centroid lies beyond t cannot have all corners within t.
  const double far = t;
  double sum = 0.0, near = 0.0;
#pragma omp simd reduction(+ : sum, near)
  for (size_t i = begin; i < end; ++i) {
    // Area times the cosine between the normals: the projected area.
    const double projected = ax[i] * n0 + ay[i] * n1 + az[i] * n2;
    const double h = std::fabs(gx[i] * n0 + gy[i] * n1 + gz[i] * n2 + d);
    const double a = area[i];
    const bool takes_part = projected > c * a;
    sum += takes_part & (h > far) ? projected * h + a * w : 0.0;
    near += takes_part & (h <= far) ? 1.0 : 0.0;
  }
  if (near == 0.0) return sum;
  for (size_t i = begin; i < end; ++i) {
    const double projected = ax[i] * n0 + ay[i] * n1 + az[i] * n2;
    const double h = std::fabs(gx[i] * n0 + gy[i] * n1 + gz[i] * n2 + d);
    const double a = area[i];
    if (!(projected > c * a) || h > far) continue;
    bool rests = true;
    for (int k = 0; k < 3 && rests; ++k)
      rests = std::fabs(double(s.corner[3 * k][i]) * n0 + double(s.corner[3 * k + 1][i]) * n1 +
                        double(s.corner[3 * k + 2][i]) * n2 + d) <= t;
    if (!rests) sum += projected * h + a * w;
  }
  return sum;
}

// Whether some normal in the group's cone can face the plane within the
// overhang angle: the cone's nearest direction to n, cos(angle - spread).
bool groupMayFace(const SampledTriangles::Group& g, const Vec3d& n, double cos_overhang) {
  const double cos_angle = dot(n, g.axis);
  if (cos_angle >= g.cos_spread) return true;  // n inside the cone
  const double sin_angle = std::sqrt(std::max(0.0, 1.0 - cos_angle * cos_angle));
  return cos_angle * g.cos_spread + sin_angle * g.sin_spread > cos_overhang - 1e-6;
}

// The group's cost in one step when every member faces the plane well within
// the overhang angle and every centroid lies beyond t from it (then no member
// can rest on the plate); NaN when that cannot be shown.
double wholeGroupCost(const SampledTriangles::Group& g, const CostTerms& terms,
                      const BasePlane& plane) {
  const Vec3d& n = plane.n;
  const double cos_angle = dot(n, g.axis);
  if (cos_angle < 0.0 || g.cos_spread < 0.0) return NAN;
  // The member direction farthest from n: cos(angle + spread), both angles
  // below a right angle here, so the formula holds.
  const double sin_angle = std::sqrt(std::max(0.0, 1.0 - cos_angle * cos_angle));
  const double widest = cos_angle * g.cos_spread - sin_angle * g.sin_spread;
  if (!(widest > std::max(terms.cos_overhang, 0.0) + 1e-9)) return NAN;
  // Every hull plane has the model on its inner side, where n . p + d < 0.
  const double centre_side = dot(n, g.centre) + plane.d;
  double reach = 0.0;
  for (size_t a = 0; a < 3; ++a) reach += std::max(n[a] * g.low[a], n[a] * g.high[a]);
  const double nearest = -(centre_side + reach);
  const double slack = 1e-9 * (std::fabs(centre_side) + std::fabs(reach) + terms.rest_tolerance);
  if (!(nearest > terms.rest_tolerance + slack)) return NAN;
  const Vec3d moment_n = {dot(g.moment[0], n), dot(g.moment[1], n), dot(g.moment[2], n)};
  return -centre_side * dot(g.area_sum, n) - dot(n, moment_n) + g.area_total * terms.area_weight;
}

}  // namespace

double planeCost(const SampledTriangles& samples, const CostTerms& terms, const BasePlane& plane,
                 double give_up) {
  double weak = 0.0;
  for (size_t i = 0; i < terms.weak_weights.size(); ++i)
    weak += std::fabs(double(terms.weak_weights[i]) * dot(plane.n, terms.weak_directions[i])) * 0.1;
  // Every term is non-negative and rounding is monotone, so a running sum
  // that has reached `give_up` can only end at or above it.
  double sum = 0.0;
  for (const SampledTriangles::Group& g : samples.groups) {
    if (!groupMayFace(g, plane.n, terms.cos_overhang)) continue;
    const double whole = wholeGroupCost(g, terms, plane);
    sum += std::isnan(whole) ? costRun(samples, terms, plane, g.begin, g.end) : whole;
    if (sum + weak >= give_up) break;
  }
  return sum + weak;
}

}  // namespace vekmesh
