// Orientation optimisation: the present attitude and the largest faces of the
// convex hull are costed as base planes, the model is turned onto the
// cheapest (when it beats the present attitude by 0.01), then turned about
// the vertical so that its footprint is narrowest along y, and set on z = 0.
//
// Beyond the cost rules themselves:
//   - Hull faces of equal area are tried in the hull's own face order.
//   - The candidates are costed on all threads at once; each cost is summed
//     in sample order and a candidate stops as soon as its running sum shows
//     it cannot beat the cheapest so far (ties go to the larger face), so the
//     choice is the one a plain walk in order makes, on any thread count.
//   - The turn about the vertical is the angle the footprint's points were
//     turned by when measured, -phi; Rz is the tilt matrix's own z angle plus
//     that turn, so Rx, Ry and Rz describe the whole rotation applied as
//     Rz(Rz) Ry(Ry) Rx(Rx).
//   - A mesh with a coordinate that is not finite is not turned or moved, and
//     gets the angles (0, 0, 0).
#include "analysis/print_orientation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <mutex>

#include "analysis/orientation_cost.h"
#include "analysis/sectional_analysis.h"
#include "geometry/convex_hull_2d.h"
#include "geometry/convex_hull_3d.h"
#include "geometry/rotation.h"
#include "mesh/corner_adjacency.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

constexpr double kRestTolerance = 0.1;
constexpr double kAreaWeight = 60.0;
constexpr double kKeepMargin = 0.01;
constexpr double kDegrees = 57.29577951308232;
constexpr size_t kSectionTriangleLimit = 500000;
constexpr float kSectionChangeRatio = 0.5f;

bool allFinite(const SubMesh& mesh) {
  for (const Vertex& v : mesh.vertices)
    for (const float c : v.position)
      if (!std::isfinite(c)) return false;
  return true;
}

std::vector<Vec3d> vertexPoints(const SubMesh& mesh) {
  std::vector<Vec3d> points(mesh.vertices.size());
  const int64_t n = static_cast<int64_t>(points.size());
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t i = 0; i < n; ++i) {
    const auto& p = mesh.vertices[size_t(i)].position;
    points[size_t(i)] = {p[0], p[1], p[2]};
  }
  return points;
}

void rotateVertices(SubMesh& mesh, const Rotation& m) {
  const int64_t n = static_cast<int64_t>(mesh.vertices.size());
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t i = 0; i < n; ++i) {
    auto& p = mesh.vertices[size_t(i)].position;
    p = turned(m, p);
  }
}

float lowestZ(const SubMesh& mesh) {
  float low = std::numeric_limits<float>::infinity();
  for (const Vertex& v : mesh.vertices) low = std::min(low, v.position[2]);
  return low;
}

void restOnPlate(SubMesh& mesh) {
  if (mesh.vertices.empty()) return;
  const float low = lowestZ(mesh);
  const int64_t n = static_cast<int64_t>(mesh.vertices.size());
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t i = 0; i < n; ++i) mesh.vertices[size_t(i)].position[2] -= low;
}

// The smaller horizontal extent of `points` turned by -phi about z.
double narrowerExtent(const std::vector<Point2d>& points, double phi) {
  const double c = std::cos(phi), s = std::sin(phi);
  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
  for (const Point2d& p : points) {
    const double x = p[0] * c + p[1] * s, y = -p[0] * s + p[1] * c;
    lo[0] = std::min(lo[0], x), hi[0] = std::max(hi[0], x);
    lo[1] = std::min(lo[1], y), hi[1] = std::max(hi[1], y);
  }
  return std::min(hi[0] - lo[0], hi[1] - lo[1]);
}

CostTerms costTerms(SubMesh& mesh, int32_t mode, double overhang_angle, const quickhull::Hull& hull,
                    const RunContext& run) {
  CostTerms terms;
  terms.cos_overhang = std::cos(overhang_angle);
  terms.rest_tolerance = kRestTolerance;
  if (mode == 1 && !hull.vertices.empty()) {
    Vec3d lo = hull.vertices[0], hi = hull.vertices[0];
    for (const Vec3d& p : hull.vertices)
      for (size_t a = 0; a < 3; ++a) lo[a] = std::min(lo[a], p[a]), hi[a] = std::max(hi[a], p[a]);
    const double s = ((hi[0] - lo[0]) + (hi[1] - lo[1]) + (hi[2] - lo[2])) / 3.0 / 100.0;
    terms.area_weight = kAreaWeight * s;
  } else if (mode == 2 && mesh.faces.size() < kSectionTriangleLimit) {
    buildShells(mesh, buildCornerAdjacency(mesh, RemovedFaces::kSkip));
    if (mesh.shells.size() == 1) {
      const size_t before = mesh.analysisRecords.size();
      sectionalAnalysis(mesh, kSectionChangeRatio, 0, run);
      for (size_t i = before; i < mesh.analysisRecords.size(); ++i) {
        terms.weak_weights.push_back(mesh.analysisRecords[i].score);
        terms.weak_directions.push_back(mesh.analysisRecords[i].direction);
      }
    }
  }
  return terms;
}

// The cheapest of the first `count` candidates in `order` (ties: the earlier),
// or -1 when there is none.
int64_t cheapestCandidate(const SampledTriangles& samples, const CostTerms& terms,
                          const std::vector<BasePlane>& planes, double& best_cost) {
  std::mutex guard;
  int64_t best = -1;
  best_cost = std::numeric_limits<double>::infinity();
  const int64_t count = static_cast<int64_t>(planes.size());
  const bool parallel = double(count) * double(samples.size()) >= 1e6;
#pragma omp parallel for schedule(dynamic, 1) if (parallel)
  for (int64_t r = 0; r < count; ++r) {
    double bar;
    int64_t holder;
    {
      std::lock_guard<std::mutex> lock(guard);
      bar = best_cost, holder = best;
    }
    // Against an earlier candidate an equal cost loses; against a later one
    // only a higher cost does.
    const double give_up = holder >= 0 && holder > r
                               ? std::nextafter(bar, std::numeric_limits<double>::infinity())
                               : bar;
    const double cost = planeCost(samples, terms, planes[size_t(r)], give_up);
    if (cost >= give_up) continue;
    std::lock_guard<std::mutex> lock(guard);
    if (cost < best_cost || (cost == best_cost && r < best)) best_cost = cost, best = r;
  }
  return best;
}

std::vector<BasePlane> candidatePlanes(const quickhull::Hull& hull) {
  const size_t faces = hull.triangles.size();
  std::vector<std::pair<double, uint32_t>> by_area(faces);  // (-area, face)
  const int64_t count = static_cast<int64_t>(faces);
#pragma omp parallel for schedule(static) if (count >= kParallelMinimum)
  for (int64_t f = 0; f < count; ++f) {
    const auto& t = hull.triangles[size_t(f)];
    const Vec3d& a = hull.vertices[size_t(t[0])];
    const Vec3d normal =
        cross(sub(hull.vertices[size_t(t[1])], a), sub(hull.vertices[size_t(t[2])], a));
    by_area[size_t(f)] = {-0.5 * length(normal), uint32_t(f)};
  }
  const size_t n =
      faces > 100 ? static_cast<size_t>(std::floor(0.05 * double(faces) + 0.5)) : faces;
  // The walk stops once the counter exceeds n: n + 1 faces when there are.
  // Largest first, equal areas in face order; only the faces tried are sorted.
  const size_t tried = std::min(faces, n + 1);
  // (-area, face) pairs are all distinct, so selecting the first `tried` and
  // sorting only those gives the order a full sort would.
  const auto end_tried = by_area.begin() + std::ptrdiff_t(tried);
  if (tried < faces) std::nth_element(by_area.begin(), end_tried, by_area.end());
  std::sort(by_area.begin(), end_tried);
  std::vector<BasePlane> planes;
  for (size_t i = 0; i < tried; ++i) {
    const auto& t = hull.triangles[by_area[i].second];
    const Vec3d& a = hull.vertices[size_t(t[0])];
    const Vec3d normal =
        normalized(cross(sub(hull.vertices[size_t(t[1])], a), sub(hull.vertices[size_t(t[2])], a)));
    planes.push_back({normal, -dot(normal, a)});
  }
  return planes;
}

// The turn about z, -phi, that makes the footprint's narrower extent least;
// 0 when no edge direction beats the present one by 0.01. The footprint's
// corners are among the (turned) corners of the convex hull, `corners`.
double footprintTurn(const SubMesh& mesh, const std::vector<int32_t>& corners) {
  std::vector<Point2d> flat(corners.size());
  for (size_t i = 0; i < flat.size(); ++i) {
    const auto& p = mesh.vertices[size_t(corners[i])].position;
    flat[i] = {p[0], p[1]};
  }
  const std::vector<int32_t> ring = convexHull2d(flat);
  if (ring.size() < 2) return 0.0;
  std::vector<Point2d> points;
  for (const int32_t i : ring) points.push_back(flat[size_t(i)]);
  double best = 1e9, phi_best = 0.0;
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    Point2d e = {points[i + 1][0] - points[i][0], points[i + 1][1] - points[i][1]};
    const double len = std::hypot(e[0], e[1]);
    e = len > 0.0 ? Point2d{e[0] / len, e[1] / len} : Point2d{0.0, 0.0};
    for (double& c : e)
      if (std::fabs(c) <= 0.001) c = 0.0;
    const double phi = std::acos(std::clamp(e[0], -1.0, 1.0));
    const double extent = narrowerExtent(points, phi);
    if (extent < best) best = extent, phi_best = phi;
  }
  if (narrowerExtent(points, 0.0) < best + kKeepMargin) return 0.0;
  return -phi_best;
}

}  // namespace

double reportedDegrees(double radians) {
  double degrees = radians * kDegrees;
  if (degrees < 0.0) degrees += 360.0;
  if (degrees >= 359.999 || degrees <= 0.001) degrees = 0.0;
  return degrees;
}

Rotation baseRotation(const Vec3d& n) {
  Vec3d axis = {-n[1], n[0], 0.0};
  const double len = length(axis);
  axis = len > 0.001 ? scaled(axis, 1.0 / len) : Vec3d{1.0, 0.0, 0.0};
  return rotationAbout(axis, std::acos(std::clamp(-n[2], -1.0, 1.0)));
}

void optimizeOrientation(SubMesh& mesh, std::array<double, 3>& angles, int32_t mode,
                         double overhang_angle, const RunContext& run) {
  angles = {0.0, 0.0, 0.0};
  if (mesh.vertices.empty() || !allFinite(mesh)) return;

  // No progress marks of its own; a cancel is heard between the steps.
  const quickhull::Hull hull =
      quickhull::computeHull(vertexPoints(mesh), [&run] { run.checkpoint(); });
  run.checkpoint();
  const CostTerms terms = costTerms(mesh, mode, overhang_angle, hull, run);
  const SampledTriangles samples = sampleTriangles(mesh);
  run.checkpoint();

  // The present attitude: the plane z = lowest z, facing down.
  const double low = lowestZ(mesh);
  const double reference =
      planeCost(samples, terms, {{0.0, 0.0, -1.0}, low}, std::numeric_limits<double>::infinity());
  const std::vector<BasePlane> planes = candidatePlanes(hull);
  double best_cost;
  const int64_t best = cheapestCandidate(samples, terms, planes, best_cost);
  run.checkpoint();

  double tilt_x = 0.0, tilt_y = 0.0, own_z = 0.0;
  if (best >= 0 && !(reference < best_cost + kKeepMargin)) {
    const Rotation m = baseRotation(planes[size_t(best)].n);
    rotateVertices(mesh, m);
    tilt_x = std::atan2(m[2][1], m[2][2]);
    tilt_y = std::atan2(-m[2][0], std::sqrt(m[2][1] * m[2][1] + m[2][2] * m[2][2]));
    own_z = std::atan2(m[1][0], m[0][0]);
  }
  restOnPlate(mesh);

  const double turn = footprintTurn(mesh, hull.source);
  angles = {reportedDegrees(tilt_x), reportedDegrees(tilt_y), reportedDegrees(own_z + turn)};
  if (turn != 0.0) rotateVertices(mesh, rotationAbout({0.0, 0.0, 1.0}, turn));

  char line[160];
  std::snprintf(line, sizeof line, ">> Rx = %f\n>> Ry = %f\n>> Rz = %f\n", angles[0], angles[1],
                angles[2]);
  run.log(line);
}

}  // namespace vekmesh
