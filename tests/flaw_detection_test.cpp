// Tests of the printability test in its three modes (tetrahedra, cubes, glued
// cubes, flipped, repeated and missing faces, the top-normal threshold) and of
// the counting post-detection.
#include "repair/flaw_detection.h"

#include <gtest/gtest.h>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Soup;
using test::Winding;

using Answers = std::array<bool, 3>;

// The answers of modes 0, 1 and 2, in that order.
Answers answers(const Soup& soup) {
  const TriMesh mesh = test::buildMesh(soup);
  return {detectFlaws(mesh, 0), detectFlaws(mesh, 1), detectFlaws(mesh, 2)};
}

TEST(DetectFlaws, ModesTellClosedInsideOutMissingAndFlippedFaces) {
  const Soup cube = test::cubeSoup(), tetra = test::tetrahedronSoup();
  const Soup far_cube = test::cubeSoup(1.0f, Winding::kOutward, {3, 0, 0});
  // A two-sided sheet: two faces on the same integer corners, wound oppositely,
  // is a closed shell whose exact top normals sum to 0 in z, above -0.0001.
  Soup sheet;
  sheet.addTriangle({0, 0, 0}, {2, 0, 1}, {0, 2, 2});
  sheet.addTriangle({0, 0, 0}, {0, 2, 2}, {2, 0, 1});
  const std::pair<Soup, Answers> cases[] = {
      {sheet, {false, false, false}},
      {Soup{}, {false, false, false}},  // zero faces is even, and there is no shell
      {tetra, {false, false, false}},
      {test::torusSoup(3.0f, 1.0f, 24, 12), {false, false, false}},
      {test::cubeSoup(1.0f, Winding::kInward), {true, false, false}},
      {test::withTriangleFlipped(cube, 5), {true, false, false}},
      {test::withTriangleFlipped(tetra, 0), {true, false, false}},
      // Three faces: odd (modes 0 and 1) and open (all modes).
      {test::withoutTriangle(tetra, 2), {true, true, true}},
      // Two missing faces leave an even count: only the open edges fail.
      {test::withoutTriangle(test::withoutTriangle(cube, 11), 10), {true, true, true}},
      // Later shells are judged too: the second inside out, or open.
      {test::concatenate(cube, test::cubeSoup(1.0f, Winding::kInward, {3, 0, 0})),
       {true, false, false}},
      {test::concatenate(cube, test::withoutTriangle(test::withoutTriangle(far_cube, 0), 1)),
       {true, true, true}},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(answers(cases[i].first), cases[i].second) << i;
  // Mode 3 and above judge like mode 1.
  EXPECT_FALSE(detectFlaws(test::buildMesh(test::cubeSoup(1.0f, Winding::kInward)), 7));
}

TEST(DetectFlaws, EdgesSharedByMoreThanTwoFacesFollowTheParityRule) {
  // Four faces on the shared edge: three others each, odd, accepted everywhere.
  const Soup glued =
      test::concatenate(test::cubeSoup(), test::cubeSoup(1.0f, Winding::kOutward, {1, 1, 0}));
  ASSERT_EQ(test::edgeCensus(test::buildMesh(glued)).nonManifold, 1u);
  EXPECT_EQ(answers(glued), (Answers{false, false, false}));

  // Two repeated faces: 14 faces, six edges with three faces each (two others,
  // even). Modes 0 and 1 fail; mode 2 lets such edges pass.
  const Soup doubled =
      test::withTriangleDuplicated(test::withTriangleDuplicated(test::cubeSoup(), 0), 3);
  ASSERT_EQ(test::buildMesh(doubled).faces.size(), 14u);
  EXPECT_EQ(answers(doubled), (Answers{true, true, false}));

  // A fin on a cube edge puts three faces there and has two open edges, which
  // still fail mode 2.
  Soup fin = test::cubeSoup();
  fin.addTriangle({0, 0, 0}, {1, 0, 0}, {0.5f, -1, -1});
  EXPECT_EQ(answers(fin), (Answers{true, true, true}));
}

TEST(PostDetection, CountsEachKindOfFlaw) {
  // Closed; one missing face (three open edges); one repeated face (its three
  // edges carry three faces each, counted once).
  const std::pair<Soup, std::array<int32_t, 4>> cases[] = {
      {test::cubeSoup(), {0, 0, 0, 0}},
      {test::withoutTriangle(test::cubeSoup(), 4), {0, 3, 0, 0}},
      {test::withTriangleDuplicated(test::cubeSoup(), 4), {0, 0, 3, 0}},
  };
  std::array<int32_t, 4> counters;
  for (const auto& [soup, expected] : cases) {
    TriMesh mesh = test::buildMesh(soup);
    counters = {-1, -1, -1, -1};
    EXPECT_EQ(postDetection(mesh, counters), (expected != std::array<int32_t, 4>{}));
    EXPECT_EQ(counters, expected);
    EXPECT_EQ(mesh.shells.size(), 1u);
  }
  // A face whose corners name one vertex twice (as a reducer might leave it).
  TriMesh collapsed = test::buildMesh(test::cubeSoup());
  collapsed.faces[0].v[2] = collapsed.faces[0].v[0];
  EXPECT_TRUE(postDetection(collapsed, counters));
  EXPECT_EQ(counters[0], 1);
}

TEST(PostDetection, TurnsInsideOutShellsOutwardWithTheirAttributes) {
  Soup soup = test::cubeSoup(1.0f, Winding::kInward);
  test::assignMaterial(soup, 2);
  soup.colors.clear();
  for (uint32_t t = 0; t < soup.triangleCount(); ++t)
    for (int c = 0; c < 3; ++c) soup.colors.insert(soup.colors.end(), {c * 0.4f, 0.2f, 1.0f});
  TriMesh mesh = test::buildMesh(soup);
  const TriMesh before = test::buildMesh(soup);
  ASSERT_TRUE(detectFlaws(mesh, 0));

  std::array<int32_t, 4> counters = {};
  EXPECT_TRUE(postDetection(mesh, counters));
  EXPECT_EQ(counters, (std::array<int32_t, 4>{0, 0, 0, 12}));
  // Turned outwards, with incidentCorners still right for the strict test.
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_FALSE(detectFlaws(mesh, 0));
  EXPECT_NEAR(enclosedVolume(mesh), 1.0, 1e-6);
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    const Face &a = before.faces[f], &b = mesh.faces[f];
    EXPECT_TRUE(b.v[0] == a.v[1] && b.v[1] == a.v[0] && b.v[2] == a.v[2]) << f;
    EXPECT_TRUE(b.colors[0][0] == a.colors[1][0] && b.colors[1][0] == a.colors[0][0]) << f;
    EXPECT_TRUE(b.uv[0] == a.uv[1] && b.uv[1] == a.uv[0]) << f;
  }
  // Run again, nothing is left to turn.
  EXPECT_FALSE(postDetection(mesh, counters));
  EXPECT_EQ(counters[3], 0);
}

}  // namespace
}  // namespace vekmesh
