// The printability test in its three modes and the counting post-detection.
#include "repair/flaw_detection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/shell_orientation.h"

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

TEST(InspectTopology, BreaksTiesAtTheTopInTheShellsOrder) {
  // A sphere with z rounded to whole units puts the pole and its first ring at
  // one height; faces turned at random make the upward sums around those tied
  // vertices disagree, so whether the shell counts as inside out depends on
  // which of them the shell's breadth-first order meets first. Inspection
  // reads a one-shell mesh in face order and must still answer by the walk.
  std::mt19937 random(7);
  int order_mattered = 0;
  for (int trial = 0; trial < 60; ++trial) {
    Soup soup = test::uvSphereSoup(1.0f, 16, 8);
    for (size_t k = 2; k < soup.corners.size(); k += 3)
      soup.corners[k] = std::round(soup.corners[k]);
    // Triangles shuffled, so that face order and the walk meet the top apart.
    for (uint32_t t = soup.triangleCount() - 1; t > 0; --t) {
      const uint32_t u = static_cast<uint32_t>(random() % (t + 1));
      std::swap_ranges(soup.corners.begin() + 9 * t, soup.corners.begin() + 9 * t + 9,
                       soup.corners.begin() + 9 * u);
    }
    for (uint32_t t = 0; t < soup.triangleCount(); ++t)
      if (random() % 3 == 0)
        for (int a = 0; a < 3; ++a) std::swap(soup.corners[9 * t + a], soup.corners[9 * t + 3 + a]);
    TriMesh mesh = test::buildMesh(soup);
    const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
    ASSERT_EQ(mesh.shells.size(), 1u);

    std::vector<int32_t> in_face_order(mesh.faces.size());
    for (size_t f = 0; f < in_face_order.size(); ++f) in_face_order[f] = static_cast<int32_t>(f);
    auto inside_out = [&](const std::vector<int32_t>& order) {
      return upwardNormalSum(mesh, shellTopVertex(mesh, order, true), true) < kInsideOutThreshold;
    };
    const bool by_walk = inside_out(mesh.shells[0]);
    order_mattered += by_walk != inside_out(in_face_order);
    EXPECT_EQ(inspectTopology(mesh, adjacency).counters[3],
              by_walk ? static_cast<int32_t>(mesh.faces.size()) : 0)
        << trial;
  }
  EXPECT_GT(order_mattered, 0) << "no trial where the order of tied vertices decides";
}

}  // namespace
}  // namespace vekmesh
