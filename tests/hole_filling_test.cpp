// Hole filling: the material rule, a patch on a curved hole (no fold-over,
// bounded aspect ratio, following the surface) and pinched loops.
#include "repair/hole_filling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"
#include "repair/hole_patch.h"
#include "repair/repair_pipeline.h"

namespace vekmesh {
namespace {

using test::Soup;

// Over the faces from `first` on (the patch): the worst aspect ratio and the
// least cosine between a face normal and the direction from the origin.
std::pair<double, double> checkPatch(const SubMesh& mesh, size_t first) {
  double aspect = 0.0, outward = 2.0;
  for (size_t f = first; f < mesh.faces.size(); ++f) {
    Vec3d p[3];
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a) p[c][a] = mesh.vertices[mesh.faces[f].v[c]].position[a];
    aspect = std::max(aspect, triangleAspectRatio(p[0], p[1], p[2]));
    const Vec3d n = normalized(cross(sub(p[1], p[0]), sub(p[2], p[0])));
    outward = std::min(outward, dot(n, normalized(add(add(p[0], p[1]), p[2]))));
  }
  return {aspect, outward};
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
  EXPECT_LT(checkPatch(plain, 10).first, 1.8);

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

TEST(FillHoles, PatchesACurvedHoleWithoutFoldsOrSlivers) {
  // A window cut by three planes into a sphere: its rim is not planar, and it
  // spans about 90 degrees of the sphere.
  const Soup sphere = test::uvSphereSoup(10.0f, 96, 48);
  const double intact = enclosedVolume(test::buildMesh(sphere));
  Soup windowed;  // without the triangles whose centroid is in the window
  for (uint32_t t = 0; t < sphere.triangleCount(); ++t) {
    Vec3d c = {0, 0, 0};
    for (int k = 0; k < 3; ++k)
      for (int a = 0; a < 3; ++a) c[a] += sphere.corner(t, k)[a] / 3.0;
    if (!(c[0] > 7.0 && std::fabs(c[1]) < 5.0 && c[2] > -3.0))
      windowed.addTriangle(sphere.corner(t, 0), sphere.corner(t, 1), sphere.corner(t, 2));
  }
  TriMesh mesh = test::buildMesh(windowed);
  const size_t first = mesh.faces.size();
  const HoleFillingReport report = fillHoles(mesh);
  // The window, and a lone triangle at one corner whose centroid is inside.
  ASSERT_EQ(report.loops_closed, 2u);
  ASSERT_EQ(report.open_edges_left, 0u);
  const auto [aspect, outward] = checkPatch(mesh, first);
  EXPECT_GT(outward, 0.5);
  EXPECT_LE(aspect, kPatchAspectRatioBound);
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
