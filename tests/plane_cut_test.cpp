// Tests of the plane cut with capping: closed, outward parts whose volumes add
// up (sphere, torus, holed block, a cut through a ring of vertices), cuts at
// the plane of a face, attributes at the new corners and on the caps, and
// input that is not a closed finite mesh.
#include "mesh/plane_cut.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mesh_builders.h"
#include "mesh_checks.h"
#include "section_shapes.h"

namespace vekmesh {
namespace {

using test::Soup;

double signedVolume(const SubMesh& m) {
  double sum = 0.0;
  for (const Face& f : m.faces) {
    if (f.removed) continue;
    const auto& a = m.vertices[size_t(f.v[0])].position;
    const auto& b = m.vertices[size_t(f.v[1])].position;
    const auto& c = m.vertices[size_t(f.v[2])].position;
    sum += a[0] * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
           a[1] * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
           a[2] * (double(b[0]) * c[1] - double(b[1]) * c[0]);
  }
  return sum / 6.0;
}

void expectClosedOutward(const SubMesh& part) {
  EXPECT_EQ(test::invariantViolation(part), "");
  EXPECT_TRUE(test::edgeCensus(part).closedManifoldOriented());
  EXPECT_GT(signedVolume(part), 0.0);
}

void expectHalvesAddUp(const Soup& soup, float h) {
  SCOPED_TRACE(h);
  const TriMesh mesh = test::buildMesh(soup);
  SubMesh below, above;
  const PlaneCutReport report = cutByPlane(mesh, h, &below, &above);
  EXPECT_GT(report.splitFaces + report.capTriangles, 0u);
  EXPECT_TRUE(report.capsClean);
  EXPECT_EQ(report.openChains, 0u);
  expectClosedOutward(below);
  expectClosedOutward(above);
  const double whole = signedVolume(mesh);
  EXPECT_NEAR(signedVolume(below) + signedVolume(above), whole, 1e-4 * whole);
  for (const Vertex& v : below.vertices) EXPECT_LE(v.position[2], h);
  for (const Vertex& v : above.vertices) EXPECT_GE(v.position[2], h);
}

TEST(PlaneCut, HalvesOfSphereTorusAndHoledBlockAreClosedOutwardAndAddUp) {
  const Soup sphere = test::uvSphereSoup(1.0f, 64, 32);
  for (float h : {0.0f, 0.37f, -0.9f}) expectHalvesAddUp(sphere, h);
  // Through a ring of vertices: the cut adds no vertex.
  const float ring = sphere.corner(100, 1)[2];
  expectHalvesAddUp(sphere, ring);
  SubMesh below;
  const TriMesh mesh = test::buildMesh(sphere);
  cutByPlane(mesh, ring, &below, nullptr);
  for (const Vertex& v : below.vertices) {
    bool old = false;
    for (const Vertex& w : mesh.vertices) old = old || w.position == v.position;
    EXPECT_TRUE(old);
  }
  // The torus cut across its tube: each cap a ring with a hole.
  const Soup torus = test::torusSoup(3.0f, 1.0f, 60, 24);
  for (float h : {0.0f, 0.5f, -0.98f}) expectHalvesAddUp(torus, h);
  expectHalvesAddUp(test::holedBlockSoup(3.0f, 1.0f, 0.0f, 2.0f), 0.7f);
}

TEST(PlaneCut, PlaneOfAFaceLeavesItWithThePartItBounds) {
  const TriMesh stepped = test::buildMesh(test::steppedBarSoup(2, 0.0f, {{1, 2}, {1, 1}}));
  SubMesh below, above;
  cutByPlane(stepped, 1.0f, &below, &above);
  expectClosedOutward(below);
  expectClosedOutward(above);
  EXPECT_NEAR(signedVolume(below), 16.0, 1e-5);
  EXPECT_NEAR(signedVolume(above), 4.0, 1e-5);
  // The top ring of a torus lies in the plane with faces below it on both
  // sides: the torus stays whole below, with no cap, and nothing is above.
  const Soup torus = test::torusSoup(3.0f, 1.0f, 24, 8);
  const TriMesh ring = test::buildMesh(torus);
  float top = -INFINITY;
  for (const Vertex& v : ring.vertices) top = std::max(top, v.position[2]);
  const PlaneCutReport touching = cutByPlane(ring, top, &below, &above);
  EXPECT_EQ(touching.capTriangles, 0u);
  EXPECT_EQ(below.faces.size(), ring.faces.size());
  EXPECT_TRUE(above.faces.empty());
  expectClosedOutward(below);
  // At the top and bottom faces one part is everything and the other nothing.
  cutByPlane(stepped, 2.0f, &below, &above);
  EXPECT_EQ(below.faces.size(), stepped.faces.size());
  EXPECT_TRUE(above.faces.empty());
  cutByPlane(stepped, 0.0f, &below, &above);
  EXPECT_TRUE(below.faces.empty());
  EXPECT_EQ(above.faces.size(), stepped.faces.size());
}

TEST(PlaneCut, NewCornersInterpolateAttributesAndCapsCarryNone) {
  Soup sphere = test::uvSphereSoup(1.0f, 32, 16);
  test::assignMaterial(sphere, 3);  // u = x + 2y, v = z - y at every corner
  sphere.colors.clear();
  for (size_t i = 0; i < sphere.corners.size(); i += 3)
    sphere.colors.insert(sphere.colors.end(), {0.5f * (sphere.corners[i + 2] + 1.0f), 0.0f, 1.0f});
  TriMesh mesh = test::buildMesh(sphere);
  const PlaneCutReport report = cutByPlane(mesh, 0.2f, &mesh, nullptr);  // in place
  expectClosedOutward(mesh);
  size_t caps = 0;
  for (const Face& f : mesh.faces) {
    if (f.material < 0) {
      ++caps;
      for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(f.uv[c], kNoTexCoord);
        EXPECT_EQ(f.colors[c][0], 255);
        EXPECT_FLOAT_EQ(mesh.vertices[size_t(f.v[c])].position[2], 0.2f);
      }
      continue;
    }
    EXPECT_EQ(f.material, 3);
    for (int c = 0; c < 3; ++c) {
      const auto& p = mesh.vertices[size_t(f.v[c])].position;
      const TexCoord& t = mesh.texCoords[f.uv[c]];
      EXPECT_NEAR(t.u, p[0] + 2.0 * p[1], 1e-5);
      EXPECT_NEAR(t.v, p[2] - p[1], 1e-5);
      EXPECT_NEAR(f.colors[c][0], 127.5 * (p[2] + 1.0), 1.5);
      EXPECT_EQ(f.colors[c][1], 0);
    }
  }
  EXPECT_EQ(caps, report.capTriangles);
}

TEST(PlaneCut, OpenFlatAndBrokenInputGiveBoundedParts) {
  // An open sphere: its loop does not close, so it is not capped.
  const Soup sphere = test::uvSphereSoup(1.0f, 32, 16);
  size_t band = 0;
  for (size_t t = 0; t < sphere.triangleCount(); ++t)
    if (std::fabs(sphere.corner(t, 0)[2] + sphere.corner(t, 1)[2] + sphere.corner(t, 2)[2]) < 0.2f)
      band = t;
  SubMesh below;
  PlaneCutReport report =
      cutByPlane(test::buildMesh(test::withoutTriangle(sphere, band)), 0.0f, &below, nullptr);
  EXPECT_EQ(report.openChains, 1u);
  EXPECT_EQ(report.capTriangles, 0u);
  EXPECT_EQ(test::invariantViolation(below), "");
  // A flat square and a single triangle cut through and along their plane.
  Soup flat;
  flat.addTriangle({0, 0, 0}, {1, 0, 0}, {1, 1, 0});
  flat.addTriangle({0, 0, 0}, {1, 1, 0}, {0, 1, 0});
  for (float h : {0.0f, 0.5f}) {
    SubMesh a, b;
    cutByPlane(test::buildMesh(flat), h, &a, &b);
    EXPECT_EQ(a.faces.size() + b.faces.size(), 2u);
  }
  Soup one;
  one.addTriangle({0, 0, -1}, {1, 0, 1}, {0, 1, 1});
  SubMesh a, b;
  report = cutByPlane(test::buildMesh(one), 0.0f, &a, &b);
  EXPECT_EQ(report.splitFaces, 1u);
  EXPECT_EQ(a.faces.size(), 1u);
  EXPECT_EQ(b.faces.size(), 2u);
  // NaN and infinite corners: their faces are left out of both parts.
  Soup broken = test::cubeSoup(2.0f);
  broken.corners[2] = std::nanf("");
  broken.corners[13] = -INFINITY;
  const TriMesh bad = test::buildMesh(broken);
  cutByPlane(bad, 1.0f, &a, &b);
  EXPECT_EQ(test::invariantViolation(a), "");
  EXPECT_EQ(test::invariantViolation(b), "");
  for (const SubMesh* part : {&a, &b})
    for (const Vertex& v : part->vertices)
      for (float x : v.position) EXPECT_TRUE(std::isfinite(x));
}

}  // namespace
}  // namespace vekmesh
