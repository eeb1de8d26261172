// Sampling the triangles once, and the support cost of a base plane over the
// samples.
#include "analysis/orientation_cost.h"

#include <algorithm>
#include <cmath>

#include "mesh/parallel_loops.h"

namespace vekmesh {

size_t samplingStride(size_t triangle_count) {
  if (triangle_count < 10000) return 1;
  return static_cast<size_t>(std::floor(0.0001 * double(triangle_count) + 0.5));
}

SampledTriangles sampleTriangles(const SubMesh& mesh) {
  SampledTriangles s;
  const size_t k = samplingStride(mesh.faces.size());
  const size_t count = mesh.faces.size() / k;
  for (auto* column : {&s.mx, &s.my, &s.mz, &s.area, &s.gx, &s.gy, &s.gz}) column->resize(count);
  for (auto& column : s.corner) column.resize(count);
  const int64_t n = static_cast<int64_t>(count);
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t i = 0; i < n; ++i) {
    const Face& f = mesh.faces[size_t(i) * k];
    Vec3d p[3];
    for (int c = 0; c < 3; ++c) {
      const auto& q = mesh.vertices[size_t(f.v[c])].position;
      p[c] = {q[0], q[1], q[2]};
      for (int a = 0; a < 3; ++a) s.corner[3 * c + a][size_t(i)] = p[c][size_t(a)];
    }
    const Vec3d normal = cross(sub(p[1], p[0]), sub(p[2], p[0]));
    const Vec3d m = normalized(normal);
    s.mx[size_t(i)] = m[0], s.my[size_t(i)] = m[1], s.mz[size_t(i)] = m[2];
    s.area[size_t(i)] = 0.5 * length(normal);
    s.gx[size_t(i)] = (p[0][0] + p[1][0] + p[2][0]) / 3.0;
    s.gy[size_t(i)] = (p[0][1] + p[1][1] + p[2][1]) / 3.0;
    s.gz[size_t(i)] = (p[0][2] + p[1][2] + p[2][2]) / 3.0;
  }
  return s;
}

namespace {

// The samples [begin, end) of one plane, summed lane by lane.
double costRun(const SampledTriangles& s, const CostTerms& terms, const BasePlane& plane,
               size_t begin, size_t end) {
  const double n0 = plane.n[0], n1 = plane.n[1], n2 = plane.n[2], d = plane.d;
  const double c = terms.cos_overhang, t = terms.rest_tolerance, w = terms.area_weight;
  const double *mx = s.mx.data(), *my = s.my.data(), *mz = s.mz.data(), *area = s.area.data();
  const double *gx = s.gx.data(), *gy = s.gy.data(), *gz = s.gz.data();
  const double *ax = s.corner[0].data(), *ay = s.corner[1].data(), *az = s.corner[2].data();
  const double *bx = s.corner[3].data(), *by = s.corner[4].data(), *bz = s.corner[5].data();
  const double *cx = s.corner[6].data(), *cy = s.corner[7].data(), *cz = s.corner[8].data();
  double sum = 0.0;
#pragma omp simd reduction(+ : sum)
  for (size_t i = begin; i < end; ++i) {
    const double facing = mx[i] * n0 + my[i] * n1 + mz[i] * n2;
    const double da = std::fabs(ax[i] * n0 + ay[i] * n1 + az[i] * n2 + d);
    const double db = std::fabs(bx[i] * n0 + by[i] * n1 + bz[i] * n2 + d);
    const double dc = std::fabs(cx[i] * n0 + cy[i] * n1 + cz[i] * n2 + d);
    const double h = std::fabs(gx[i] * n0 + gy[i] * n1 + gz[i] * n2 + d);
    const bool rests = da <= t && db <= t && dc <= t;
    // Projected area (area x facing) times height, plus the area term.
    const double term = area[i] * (facing * h + w);
    sum += (facing > c && !rests) ? term : 0.0;
  }
  return sum;
}

}  // namespace

double planeCost(const SampledTriangles& samples, const CostTerms& terms, const BasePlane& plane,
                 double give_up) {
  double weak = 0.0;
  for (size_t i = 0; i < terms.weak_weights.size(); ++i)
    weak += std::fabs(double(terms.weak_weights[i]) * dot(plane.n, terms.weak_directions[i])) * 0.1;
  // Every term is non-negative and rounding is monotone, so a running sum
  // that has reached `give_up` can only end at or above it.
  constexpr size_t kRun = 1024;
  double sum = 0.0;
  for (size_t begin = 0; begin < samples.size(); begin += kRun) {
    sum += costRun(samples, terms, plane, begin, std::min(samples.size(), begin + kRun));
    if (sum + weak >= give_up) break;
  }
  return sum + weak;
}

}  // namespace vekmesh
