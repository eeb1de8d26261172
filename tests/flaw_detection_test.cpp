// The printability test in its three modes and the counting post-detection.
#include "repair/flaw_detection.h"

#include <gtest/gtest.h>

#include <cstring>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Soup;
using test::Winding;

using Answers = std::array<bool, 3>;

// The answers of modes 0, 1 and 2, in that order; the one-pass inspection on
// the shells' adjacency must give the same.
Answers answers(const Soup& soup) {
  TriMesh mesh = test::buildMesh(soup);
  const Answers separate = {detectFlaws(mesh, 0), detectFlaws(mesh, 1), detectFlaws(mesh, 2)};
  EXPECT_EQ(inspectTopology(mesh, buildShellsWithAdjacency(mesh)).flawed, separate);
  return separate;
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
  // edges carry three faces each, counted once); inside out (12 faces turned).
  const std::pair<Soup, std::array<int32_t, 4>> cases[] = {
      {test::cubeSoup(), {0, 0, 0, 0}},
      {test::cubeSoup(1.0f, Winding::kInward), {0, 0, 0, 12}},
      {test::withoutTriangle(test::cubeSoup(), 4), {0, 3, 0, 0}},
      {test::withTriangleDuplicated(test::cubeSoup(), 4), {0, 0, 3, 0}},
  };
  std::array<int32_t, 4> counters;
  for (const auto& [soup, expected] : cases) {
    TriMesh mesh = test::buildMesh(soup);
    // Inspection counts the same without turning anything.
    const std::vector<Face> before = mesh.faces;
    EXPECT_EQ(inspectTopology(mesh, buildShellsWithAdjacency(mesh)).counters, expected);
    EXPECT_EQ(std::memcmp(before.data(), mesh.faces.data(), before.size() * sizeof(Face)), 0);
    counters = {-1, -1, -1, -1};
    EXPECT_EQ(postDetection(mesh, counters), (expected != std::array<int32_t, 4>{}));
    EXPECT_EQ(counters, expected);
    EXPECT_EQ(mesh.shells.size(), 1u);
    // Turned with incidentCorners kept right: a second run finds nothing to turn.
    EXPECT_EQ(test::invariantViolation(mesh), "");
    postDetection(mesh, counters);
    EXPECT_EQ(counters[3], 0);
  }
  // A face whose corners name one vertex twice (as a reducer might leave it).
  TriMesh collapsed = test::buildMesh(test::cubeSoup());
  collapsed.faces[0].v[2] = collapsed.faces[0].v[0];
  EXPECT_TRUE(postDetection(collapsed, counters));
  EXPECT_EQ(counters[0], 1);
}

}  // namespace
}  // namespace vekmesh
