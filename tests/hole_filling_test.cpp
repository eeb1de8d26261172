// Hole filling: the material rule, patches on curved holes (no fold-over,
// bounded aspect ratio, following the surface) and pinched loops.
#include "repair/hole_filling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"
#include "repair/hole_patch.h"
#include "repair/repair_pipeline.h"

namespace vekmesh {
namespace {

using test::Soup;

// The soup without the triangles whose centroid satisfies `cut`.
Soup withHole(const Soup& soup, const std::function<bool(const Vec3d&)>& cut) {
  Soup out;
  for (uint32_t t = 0; t < soup.triangleCount(); ++t) {
    Vec3d c = {0, 0, 0};
    for (int k = 0; k < 3; ++k)
      for (int a = 0; a < 3; ++a) c[a] += soup.corner(t, k)[a] / 3.0;
    if (!cut(c)) out.addTriangle(soup.corner(t, 0), soup.corner(t, 1), soup.corner(t, 2));
  }
  return out;
}

Vec3d at(const SubMesh& mesh, int32_t v) {
  return {mesh.vertices[v].position[0], mesh.vertices[v].position[1], mesh.vertices[v].position[2]};
}

struct PatchCheck {  // worst aspect ratio, least cosine of a normal and `outward`
  double worst_aspect = 0.0, worst_outward = 2.0;
};

// Faces from `first` on are the patch.
PatchCheck checkPatch(const SubMesh& mesh, size_t first,
                      const std::function<Vec3d(const Vec3d&)>& outward) {
  PatchCheck check;
  for (size_t f = first; f < mesh.faces.size(); ++f) {
    const int32_t* v = mesh.faces[f].v;
    const Vec3d a = at(mesh, v[0]), b = at(mesh, v[1]), c = at(mesh, v[2]);
    check.worst_aspect = std::max(check.worst_aspect, triangleAspectRatio(a, b, c));
    const Vec3d n = faceUnitNormal(mesh.vertices[v[0]], mesh.vertices[v[1]], mesh.vertices[v[2]]);
    const Vec3d o =
        outward({(a[0] + b[0] + c[0]) / 3, (a[1] + b[1] + c[1]) / 3, (a[2] + b[2] + c[2]) / 3});
    check.worst_outward = std::min(check.worst_outward, (n[0] * o[0] + n[1] * o[1] + n[2] * o[2]) /
                                                            std::hypot(o[0], o[1], o[2]));
  }
  return check;
}

TEST(FillHoles, ClosesAFourVertexHoleOnlyWhenNoFaceHasAMaterial) {
  const Soup open_cube = test::withoutTriangle(test::withoutTriangle(test::cubeSoup(), 11), 10);
  TriMesh plain = test::buildMesh(open_cube);
  RepairReport report = repairMesh(plain, {HoleFilling::kWhenUntextured});
  EXPECT_TRUE(report.holes_filled);
  EXPECT_EQ(report.holes.loops_closed, 1u);
  EXPECT_EQ(report.holes.faces_added, 2u);
  rebuildTopology(plain);
  EXPECT_FALSE(detectFlaws(plain, 0));
  EXPECT_NEAR(enclosedVolume(plain), 1.0, 1e-6);
  EXPECT_LT(checkPatch(plain, 10, [](const Vec3d&) { return Vec3d{1, 0, 0}; }).worst_aspect, 1.8);

  // Any material, 0 included, keeps the hole open.
  Soup textured = open_cube;
  for (const int32_t material : {0, 3}) {
    test::assignMaterial(textured, material);
    TriMesh kept = test::buildMesh(textured);
    EXPECT_FALSE(repairMesh(kept, {HoleFilling::kWhenUntextured}).holes_filled);
    rebuildTopology(kept);
    EXPECT_EQ(test::edgeCensus(kept).boundary, 4u);
  }

  // The plain-array repair fills regardless; the patch carries no material.
  TriMesh always = test::buildMesh(textured);
  repairMesh(always, {HoleFilling::kAlways});
  rebuildTopology(always);
  EXPECT_FALSE(detectFlaws(always, 0));
  ASSERT_EQ(always.faces.size(), 12u);
  for (size_t f = 0; f < 12; ++f) {
    EXPECT_EQ(always.faces[f].material, f < 10 ? 3 : -1);
    EXPECT_EQ(always.faces[f].colors[2][1], 255);
  }
}

TEST(FillHoles, PatchesCurvedHolesWithoutFoldsOrSlivers) {
  // A window cut by three planes into a sphere: its rim is not planar, and it
  // spans about 90 degrees of the sphere.
  const Soup sphere = test::uvSphereSoup(10.0f, 96, 48);
  const double intact = enclosedVolume(test::buildMesh(sphere));
  TriMesh mesh = test::buildMesh(withHole(
      sphere, [](const Vec3d& c) { return c[0] > 7.0 && std::fabs(c[1]) < 5.0 && c[2] > -3.0; }));
  const size_t first = mesh.faces.size();
  const HoleFillingReport report = fillHoles(mesh);
  // The window, and a lone triangle at one corner whose centroid is inside.
  ASSERT_EQ(report.loops_closed, 2u);
  ASSERT_EQ(report.open_edges_left, 0u);
  const PatchCheck check = checkPatch(mesh, first, [](const Vec3d& c) { return c; });
  EXPECT_GT(check.worst_outward, 0.5);
  EXPECT_LE(check.worst_aspect, kPatchAspectRatioBound);
  // The patch follows the sphere instead of spanning the window flat (which
  // would sag up to 2.9 below it): a least-squares quadric over a cap this
  // wide stays within 2.5% of the radius.
  for (size_t v = mesh.vertices.size() - report.vertices_added; v < mesh.vertices.size(); ++v)
    EXPECT_NEAR(std::hypot(mesh.vertices[v].position[0], mesh.vertices[v].position[1],
                           mesh.vertices[v].position[2]),
                10.0, 0.25);
  compactMesh(mesh);
  EXPECT_FALSE(detectFlaws(mesh, 0));
  EXPECT_NEAR(enclosedVolume(mesh), intact, 0.0025 * intact);

  // A saddle-shaped hole on the inside of a torus.
  const Soup torus = test::torusSoup(10.0f, 4.0f, 96, 48);
  TriMesh ring = test::buildMesh(withHole(torus, [](const Vec3d& c) {
    return std::hypot(c[0], c[1]) < 8.0 && c[0] > 0.0 && std::fabs(c[1]) < 3.0;
  }));
  const size_t ring_first = ring.faces.size();
  ASSERT_EQ(fillHoles(ring).loops_closed, 1u);
  const PatchCheck saddle = checkPatch(ring, ring_first, [](const Vec3d& c) {
    // Outward from the tube's core circle.
    const double r = std::hypot(c[0], c[1]);
    return Vec3d{c[0] - 10.0 * c[0] / r, c[1] - 10.0 * c[1] / r, c[2]};
  });
  EXPECT_GT(saddle.worst_outward, 0.5);
  EXPECT_LE(saddle.worst_aspect, kPatchAspectRatioBound);
  compactMesh(ring);
  EXPECT_FALSE(detectFlaws(ring, 0));
}

TEST(FillHoles, SplitsLoopsThatPassAVertexTwice) {
  // Triangles 40 and 42 of this sphere (slices 12 and 13 of the first band
  // below the polar fan) touch in one vertex only: one trace, two loops.
  const Soup sphere = test::uvSphereSoup(10.0f, 16, 8);
  TriMesh mesh = test::buildMesh(test::withoutTriangle(test::withoutTriangle(sphere, 42), 40));
  const HoleFillingReport report = fillHoles(mesh);
  EXPECT_EQ(report.loops_closed, 2u);
  EXPECT_EQ(report.faces_added, 2u);
  compactMesh(mesh);
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

}  // namespace
}  // namespace vekmesh
