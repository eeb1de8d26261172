// Winding numbers of closed shells about points inside, outside and exactly
// in line with their edges and vertices.
#include "repair/shell_nesting.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mesh/corner_adjacency.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace {

using test::Winding;

TriMesh meshWithShells(const test::Soup& soup) {
  TriMesh mesh = test::buildMesh(soup);
  buildShellsWithAdjacency(mesh);
  return mesh;
}

TEST(WindingNumber, CountsEachSheetOnceEvenAlongEdgesAndVertices) {
  const TriMesh cube = meshWithShells(test::cubeSoup(4.0f));
  const TriMesh inward = meshWithShells(test::cubeSoup(4.0f, Winding::kInward));
  const std::vector<int32_t>& shell = cube.shells[0];
  // The top and bottom sides are split along x + y = 4; points on that line,
  // under a vertex and on the sides' edges all see the surface once.
  for (const Vec3d& inside :
       {Vec3d{2, 2, 2}, Vec3d{1, 3, 1}, Vec3d{3, 1, 3.5}, Vec3d{0.5, 3.5, 2}, Vec3d{2, 2, 0.001}})
    EXPECT_EQ(windingNumber(cube, shell, inside), 1) << inside[0] << " " << inside[1];
  for (const Vec3d& outside : {Vec3d{2, 2, 5}, Vec3d{2, 2, -1}, Vec3d{1, 3, -1}, Vec3d{0, 0, -1},
                               Vec3d{4, 4, -1}, Vec3d{4, 2, -1}, Vec3d{5, 2, 2}, Vec3d{0, 4, 8}})
    EXPECT_EQ(windingNumber(cube, shell, outside), 0) << outside[0] << " " << outside[1];
  // On the surface the perturbation, upwards before all, decides: a point on
  // the bottom lies just inside, one on the top just outside.
  EXPECT_EQ(windingNumber(cube, shell, {2, 2, 0}), 1);
  EXPECT_EQ(windingNumber(cube, shell, {1, 3, 0}), 1);
  EXPECT_EQ(windingNumber(cube, shell, {2, 2, 4}), 0);
  EXPECT_EQ(windingNumber(inward, inward.shells[0], {2, 2, 2}), -1);
  EXPECT_EQ(windingNumber(inward, inward.shells[0], {0, 0, -3}), 0);

  // Through the ring of a torus and inside its tube; a sphere's poles and
  // seams lie on the vertical through its centre.
  const TriMesh ring = meshWithShells(test::torusSoup(3.0f, 1.0f, 24, 12));
  EXPECT_EQ(windingNumber(ring, ring.shells[0], {0, 0, 0}), 0);
  EXPECT_EQ(windingNumber(ring, ring.shells[0], {3, 0, 0}), 1);
  EXPECT_EQ(windingNumber(ring, ring.shells[0], {0, -3, 0.5}), 1);
  const TriMesh ball = meshWithShells(test::uvSphereSoup(1.0f, 16, 8));
  EXPECT_EQ(windingNumber(ball, ball.shells[0], {0, 0, 0}), 1);
  EXPECT_EQ(windingNumber(ball, ball.shells[0], {0, 0, -2}), 0);
  EXPECT_EQ(windingNumber(ball, ball.shells[0], {0, 0, 2}), 0);
}

TEST(WindingNumber, SkipsUprightAndNonFiniteFaces) {
  // A vertical square alone covers no area seen from above.
  test::Soup wall;
  wall.addTriangle({0, 0, 0}, {1, 0, 0}, {1, 0, 1});
  wall.addTriangle({0, 0, 0}, {1, 0, 1}, {0, 0, 1});
  const TriMesh upright = meshWithShells(wall);
  EXPECT_EQ(windingNumber(upright, upright.shells[0], {0.5, 0, -1}), 0);

  test::Soup broken = test::cubeSoup(4.0f);
  broken.corners[2] = NAN;  // one corner of the first bottom triangle
  const TriMesh nan_cube = meshWithShells(broken);
  for (const auto& shell : nan_cube.shells) windingNumber(nan_cube, shell, {2, 2, 2});
}

}  // namespace
}  // namespace vekmesh
