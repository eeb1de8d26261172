// Tests of the print orientation: attitudes kept and changed, the angles of
// the turn for faces towards +z, -y and +y, the 0.001 rule, the sampling
// stride, the result resting on z = 0 with its volume, the log line, and
// defined answers to bad input.
#include "analysis/print_orientation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "analysis/orientation_cost.h"
#include "geometry/vectors.h"
#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "section_shapes.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;

// Box [lo, hi], outward.
Soup boxSoup(const Point& lo, const Point& hi) {
  std::vector<Point> p;
  for (int i = 0; i < 8; ++i)
    p.push_back({i & 1 ? hi[0] : lo[0], i & 2 ? hi[1] : lo[1], i & 4 ? hi[2] : lo[2]});
  return test::soupFromIndexed(p, {{0, 2, 1},
                                   {1, 2, 3},
                                   {4, 5, 6},
                                   {5, 7, 6},
                                   {0, 1, 4},
                                   {1, 5, 4},
                                   {2, 6, 3},
                                   {3, 6, 7},
                                   {0, 4, 2},
                                   {2, 4, 6},
                                   {1, 3, 5},
                                   {3, 7, 5}});
}

// A square pyramid: base 20 x 20 centred on the axis `axis` (0 x, 1 y, 2 z)
// at 0, apex at `apex` along it; the base faces away from the apex.
Soup pyramidSoup(int axis, float apex) {
  const auto at = [&](float u, float v, float w) {
    Point p;
    p[size_t(axis)] = w;
    p[size_t((axis + 1) % 3)] = u;
    p[size_t((axis + 2) % 3)] = v;
    return p;
  };
  std::vector<Point> p = {at(-10, -10, 0), at(10, -10, 0), at(10, 10, 0), at(-10, 10, 0),
                          at(0, 0, apex)};
  std::vector<std::array<int, 3>> t = {{0, 2, 1}, {0, 3, 2}, {0, 1, 4},
                                       {1, 2, 4}, {2, 3, 4}, {3, 0, 4}};
  if (apex < 0)
    for (auto& tri : t) std::swap(tri[1], tri[2]);
  return test::soupFromIndexed(p, t);
}

struct Oriented {
  std::array<double, 3> angles;
  TriMesh mesh;
  std::string log;
};

Oriented orient(const Soup& soup, int32_t mode = 1) {
  Oriented o;
  o.mesh = test::buildMesh(soup);
  const LogSink sink{[](std::string_view text, void* user) {
                       *static_cast<std::string*>(user) += std::string(text);
                     },
                     &o.log};
  optimizeOrientation(o.mesh, o.angles, mode, kOverhangAngle, RunContext({}, sink));
  return o;
}

double lowest(const SubMesh& mesh) {
  double low = std::numeric_limits<double>::infinity();
  for (const Vertex& v : mesh.vertices) low = std::min(low, double(v.position[2]));
  return low;
}

double signedVolume(const SubMesh& mesh) {
  double six = 0.0;
  for (const Face& f : mesh.faces) {
    Vec3d p[3];
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a)
        p[c][size_t(a)] = mesh.vertices[size_t(f.v[c])].position[size_t(a)];
    six += dot(p[0], cross(p[1], p[2]));
  }
  return six / 6.0;
}

TEST(PrintOrientation, ACubeKeepsItsAttitude) {
  // (Mode 2 may turn it: its weak sections differ by direction.)
  for (const int32_t mode : {1, 0, 7}) {
    const Oriented o = orient(test::cubeSoup(10.0f, test::Winding::kOutward, {3, 4, 5}), mode);
    EXPECT_EQ(o.angles, (std::array<double, 3>{0.0, 0.0, 0.0})) << mode;
    EXPECT_EQ(lowest(o.mesh), 0.0);
    EXPECT_FLOAT_EQ(o.mesh.vertices[0].position[0], 3.0f);  // only lowered
  }
}

TEST(PrintOrientation, AModelOnASmallFootIsTurnedOntoItsLargeFlatFace) {
  // A 30 x 30 table top on a 4 x 4 stem: standing on the stem the top's
  // underside needs support; upside down, on the top, nothing does.
  const Soup table =
      test::concatenate(boxSoup({13, 13, 0}, {17, 17, 10}), boxSoup({0, 0, 10}, {30, 30, 12}));
  const double volume = signedVolume(test::buildMesh(table));
  const Oriented o = orient(table);
  EXPECT_NEAR(o.angles[0], 180.0, 1e-9);
  EXPECT_EQ(o.angles[1], 0.0);
  int on_plate = 0;
  double top = 0.0;
  for (const Vertex& v : o.mesh.vertices) {
    on_plate += v.position[2] == 0.0f;
    top = std::max(top, double(v.position[2]));
  }
  EXPECT_EQ(on_plate, 4);
  EXPECT_NEAR(top, 12.0, 1e-4);
  EXPECT_NEAR(signedVolume(o.mesh), volume, 1e-6 * volume);
}

TEST(PrintOrientation, TheBestFaceTurnsDownFromUpMinusYAndPlusY) {
  struct Case {
    int axis;
    float apex;
    double rx;
  };
  // An upside-down pyramid is turned over onto its base (about x by 180);
  // a base facing -y is turned by 90, one facing +y by 270.
  for (const Case& c : {Case{2, -15.0f, 180.0}, Case{1, 15.0f, 90.0}, Case{1, -15.0f, 270.0}}) {
    const Soup soup = pyramidSoup(c.axis, c.apex);
    const double volume = signedVolume(test::buildMesh(soup));
    const Oriented o = orient(soup);
    EXPECT_NEAR(o.angles[0], c.rx, 1e-9) << c.rx;
    EXPECT_EQ(o.angles[1], 0.0) << c.rx;
    EXPECT_EQ(o.angles[2], 0.0) << c.rx;
    EXPECT_EQ(lowest(o.mesh), 0.0);
    EXPECT_NEAR(signedVolume(o.mesh), volume, 1e-4 * volume);
    // The base now lies on the plate: four vertices at z = 0, apex at 15.
    int on_plate = 0;
    for (const Vertex& v : o.mesh.vertices) on_plate += std::fabs(v.position[2]) < 1e-4;
    EXPECT_EQ(on_plate, 4) << c.rx;
  }
}

TEST(PrintOrientation, TheFootprintIsTurnedToItsNarrowestAlongAnEdge) {
  // A flat slab rotated 30 degrees about z: the turn brings its long edge
  // back onto an axis and Rz reports the turn.
  Soup slab = boxSoup({-20, -5, 0}, {20, 5, 2});
  const double c = std::cos(kPi / 6), s = std::sin(kPi / 6);
  for (size_t i = 0; i < slab.corners.size(); i += 3) {
    const float x = slab.corners[i], y = slab.corners[i + 1];
    slab.corners[i] = float(c * x - s * y), slab.corners[i + 1] = float(s * x + c * y);
  }
  const Oriented o = orient(slab);
  EXPECT_EQ(o.angles[0], 0.0);
  EXPECT_EQ(o.angles[1], 0.0);
  double lo = 1e9, hi = -1e9;
  for (const Vertex& v : o.mesh.vertices)
    lo = std::min(lo, double(v.position[1])), hi = std::max(hi, double(v.position[1]));
  EXPECT_NEAR(std::min(hi - lo, 40.0), 10.0, 1e-3);
  EXPECT_GT(o.angles[2], 0.0);
}

TEST(PrintOrientation, AnglesNearZeroOrAFullTurnAreReportedAsZero) {
  const double per_degree = kPi / 180.0;
  EXPECT_EQ(reportedDegrees(0.0009 * per_degree), 0.0);
  EXPECT_EQ(reportedDegrees(-0.0009 * per_degree), 0.0);  // 359.9991
  EXPECT_EQ(reportedDegrees(359.9995 * per_degree), 0.0);
  EXPECT_NEAR(reportedDegrees(0.002 * per_degree), 0.002, 1e-12);
  EXPECT_NEAR(reportedDegrees(-90.0 * per_degree), 270.0, 1e-9);
}

TEST(PrintOrientation, TheSamplingStrideFollowsTheTriangleCount) {
  EXPECT_EQ(samplingStride(9999), 1u);
  EXPECT_EQ(samplingStride(10000), 1u);
  EXPECT_EQ(samplingStride(14999), 1u);
  EXPECT_EQ(samplingStride(15000), 2u);
  EXPECT_EQ(samplingStride(25000), 3u);
  const TriMesh sphere = test::buildMesh(test::uvSphereSoup(5.0f, 250, 51));  // 25000 triangles
  ASSERT_EQ(sphere.faces.size(), 25000u);
  EXPECT_EQ(sampleTriangles(sphere).taken, 25000u / 3);
}

// The cost as the rules give it, face by face in double precision.
double referenceCost(const SubMesh& mesh, const CostTerms& terms, const BasePlane& plane) {
  double sum = 0.0;
  const size_t k = samplingStride(mesh.faces.size());
  for (size_t i = 0; i < mesh.faces.size() / k; ++i) {
    Vec3d p[3];
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a)
        p[c][size_t(a)] = mesh.vertices[size_t(mesh.faces[i * k].v[c])].position[size_t(a)];
    const Vec3d normal = cross(sub(p[1], p[0]), sub(p[2], p[0]));
    const Vec3d m = normalized(normal);
    if (!(dot(m, plane.n) > terms.cos_overhang)) continue;
    bool rests = true;
    for (const Vec3d& v : p)
      rests = rests && std::fabs(dot(plane.n, v) + plane.d) <= terms.rest_tolerance;
    if (rests) continue;
    const double area = 0.5 * length(normal);
    const Vec3d g = scaled(add(add(p[0], p[1]), p[2]), 1.0 / 3.0);
    sum += area * dot(m, plane.n) * std::fabs(dot(plane.n, g) + plane.d) + area * terms.area_weight;
  }
  for (size_t i = 0; i < terms.weak_weights.size(); ++i)
    sum += std::fabs(terms.weak_weights[i] * dot(plane.n, terms.weak_directions[i])) * 0.1;
  return sum;
}

TEST(PrintOrientation, TheGroupedCostMatchesTheRulesAndStopsOnlyAboveTheBar) {
  // 30000 triangles: a stride of 3; planes in many directions, some through
  // the model so that many triangles rest or lie close to resting.
  const test::IndexedMesh torus = test::noisyTorusNear(30000, 20.0f, 6.0f);
  Soup soup;
  soup.corners = test::toSoup(torus);
  const TriMesh mesh = test::buildMesh(soup);
  const SampledTriangles samples = sampleTriangles(mesh);
  CostTerms terms;
  terms.cos_overhang = std::cos(kOverhangAngle);
  terms.area_weight = 60.0 * 0.4;
  terms.weak_weights = {0.7f, 2.0f};
  terms.weak_directions = {{1, 1, 0}, {0, 0, 1}};
  for (int i = 0; i < 40; ++i) {
    const Vec3d n = normalized({std::sin(i * 0.7) * std::cos(i * 1.3),
                                std::sin(i * 0.7) * std::sin(i * 1.3), std::cos(i * 0.7)});
    const double d = (i % 3 == 0) ? 0.0 : 26.0;  // through the centre, or tangent-ish
    const BasePlane plane{n, d};
    const double reference = referenceCost(mesh, terms, plane);
    const double full = planeCost(samples, terms, plane, std::numeric_limits<double>::infinity());
    ASSERT_NEAR(full, reference, 1e-6 * reference + 1e-9) << i;
    EXPECT_GE(planeCost(samples, terms, plane, 0.5 * full), 0.5 * full) << i;
    EXPECT_EQ(planeCost(samples, terms, plane, std::nextafter(full, 1e300)), full) << i;
  }
}

TEST(PrintOrientation, TheLogLineGivesTheThreeAngles) {
  const Oriented o = orient(pyramidSoup(1, 15.0f));
  EXPECT_EQ(o.log, ">> Rx = 90.000000\n>> Ry = 0.000000\n>> Rz = 0.000000\n");
}

TEST(PrintOrientation, ModeTwoReadsWeakSectionsOfOneShellOnly) {
  // A bar with a neck has weak sections; two bars are two shells and get none.
  const Soup bar = test::steppedBarSoup(2, 0.0f, {{10.0f, 5.0f}, {2.0f, 1.0f}, {10.0f, 5.0f}});
  EXPECT_FALSE(orient(bar, 2).mesh.analysisRecords.empty());
  Soup two = bar;
  Soup moved = bar;
  for (size_t i = 0; i < moved.corners.size(); i += 3) moved.corners[i] += 50.0f;
  two = test::concatenate(two, moved);
  EXPECT_TRUE(orient(two, 2).mesh.analysisRecords.empty());
  EXPECT_TRUE(orient(bar, 1).mesh.analysisRecords.empty());
}

TEST(PrintOrientation, BadInputGetsDefinedAngles) {
  Soup nan = test::cubeSoup(1.0f);
  nan.corners[4] = std::numeric_limits<float>::quiet_NaN();
  const Oriented with_nan = orient(nan);
  EXPECT_EQ(with_nan.angles, (std::array<double, 3>{0, 0, 0}));

  EXPECT_EQ(orient(Soup{}).angles, (std::array<double, 3>{0, 0, 0}));

  Soup one;
  one.addTriangle({0, 0, 5}, {3, 0, 5}, {0, 3, 6});
  const Oriented lone = orient(one);
  EXPECT_EQ(lowest(lone.mesh), 0.0);
  for (const double a : lone.angles) EXPECT_TRUE(a >= 0.0 && a < 360.0);

  // A flat plate facing up, and unknown modes.
  Soup flat;
  flat.addTriangle({0, 0, 1}, {4, 0, 1}, {4, 4, 1});
  flat.addTriangle({0, 0, 1}, {4, 4, 1}, {0, 4, 1});
  for (const int32_t mode : {1, 2, 7, -3}) {
    const Oriented o = orient(flat, mode);
    EXPECT_EQ(lowest(o.mesh), 0.0) << mode;
    for (const double a : o.angles) EXPECT_TRUE(a >= 0.0 && a < 360.0) << mode;
  }
}

TEST(PrintOrientation, TheExportWritesTheAnglesOrNothing) {
  const Soup soup = pyramidSoup(1, -15.0f);
  double angles[3] = {-1, -1, -1};
  orientationOptimization(soup.corners.data(), soup.triangleCount(), angles, 1);
  EXPECT_NEAR(angles[0], 270.0, 1e-9);
  EXPECT_EQ(angles[1], 0.0);
  orientationOptimization(soup.corners.data(), soup.triangleCount(), nullptr, 1);
  orientationOptimization(nullptr, 0, angles, 1);
  EXPECT_EQ(angles[0], 0.0);
}

}  // namespace
}  // namespace vekmesh
