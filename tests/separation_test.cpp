// Shell intersection search and separation: crossing, chained and touching
// cubes, attributes in the parts, nested spheres indexed by runs, work limits.
#include "repair/separation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "api/result_arrays.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/shell_intersection.h"

namespace vekmesh {
namespace {

using test::Soup;
using Groups = std::vector<std::vector<int32_t>>;

Soup cube(float edge, float x, float y, float z) {
  return test::cubeSoup(edge, test::Winding::kOutward, {x, y, z});
}

Soup joined(std::initializer_list<Soup> parts) {
  Soup all;
  for (const Soup& s : parts) all = test::concatenate(all, s);
  return all;
}

ShellIntersections search(const Soup& soup) {
  TriMesh mesh = test::buildMesh(soup);
  buildShells(mesh);
  return findIntersectingShells(mesh);
}

// A thin tetrahedron along the unit vector u: tip at c + h u, base `width`
// across at c - h u.
Soup spike(const Vec3d& c, const Vec3d& u, double h, double width) {
  const Vec3d a = normalized(std::fabs(u[0]) < 0.9 ? Vec3d{0, -u[2], u[1]} : Vec3d{-u[2], 0, u[0]});
  const Vec3d b = cross(u, a);
  auto at = [&](double along, double ca, double cb) {
    const Vec3d p = add(c, add(scaled(u, along), add(scaled(a, ca), scaled(b, cb))));
    return test::Point{float(p[0]), float(p[1]), float(p[2])};
  };
  return test::soupFromIndexed(
      {at(h, 0, 0), at(-h, width, 0), at(-h, -width / 2, width), at(-h, -width / 2, -width)},
      {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {1, 3, 2}});
}

TEST(ShellSeparation, GroupsFollowIntersectionsNotTouchesAndPartsKeepAttributes) {
  // Shells 0 and 2 pass through each other, 1 lies apart; each has its own
  // colour, and 1 a material and texture coordinates.
  Soup blue = cube(2, 0, 0, 0), orange = cube(1, 10, 0, 0);
  test::paint(blue, {0.0f, 0.0f, 1.0f});
  test::paint(orange, {1.0f, 0.5f, 0.0f});
  test::assignMaterial(orange, 3);
  const Soup pair = joined({blue, orange, cube(2, 1, 1, 1)});
  const ShellIntersections found = search(pair);
  EXPECT_EQ(found.intersecting, (Groups{{2}, {}, {0}}));
  EXPECT_EQ(found.groups, (Groups{{0, 2}, {1}}));
  TriMesh mesh = test::buildMesh(pair);
  ModelArrays before = convertSingleModel(mesh);
  separateShells(mesh);
  ASSERT_EQ(mesh.pieces.size(), 2u);
  for (const SubMesh& piece : mesh.pieces) EXPECT_EQ(test::invariantViolation(piece), "");
  MultiModelArrays after = convertMultiShell(mesh);
  ASSERT_EQ(after.model.count, 36u);
  EXPECT_EQ(after.pieceCounts[0], 24u);
  EXPECT_EQ(after.model.materials[35], 3);  // the lone cube comes last
  // The same triangles with the same attributes, in another order.
  auto rows = [](const ModelArrays& m) {
    std::vector<std::vector<float>> out(m.count);
    for (uint32_t t = 0; t < m.count; ++t) {
      for (auto [array, n] : {std::pair{m.corners, 9}, {m.colors, 9}, {m.uvs, 6}})
        out[t].insert(out[t].end(), array + n * t, array + n * t + n);
      out[t].push_back(static_cast<float>(m.materials[t]));
    }
    std::sort(out.begin(), out.end());
    return out;
  };
  EXPECT_EQ(rows(before), rows(after.model));
  freeModelArrays(before);
  freeModelArrays(after.model);
  std::free(after.pieceCounts);

  // A chain: shell 0 meets shell 2, which meets shell 1; 0 and 1 are apart.
  const ShellIntersections linked =
      search(joined({cube(2, 0, 0, 0), cube(2, 3, 0.25f, 0.25f), cube(2, 1.5f, 0.5f, 0.5f)}));
  EXPECT_EQ(linked.intersecting, (Groups{{2}, {2}, {0, 1}}));
  EXPECT_EQ(linked.groups, (Groups{{0, 1, 2}}));
  // Cubes touching along a side or at a corner: the boxes only touch, so
  // the pairs are never tested.
  for (const Soup& soup :
       {joined({cube(1, 0, 0, 0), cube(0.5f, 1, 0.25f, 0.25f)}), test::twoCubesSharingVertexSoup()})
    EXPECT_EQ(search(soup).intersecting, (Groups{{}, {}}));
}

TEST(ShellSeparation, LargeShellsIndexedByRunsMissNoFace) {
  // 20224 faces each: indexed in runs of two faces. The inner sphere lies
  // inside the outer one, boxes overlapping, surfaces apart.
  const Soup outer = test::uvSphereSoup(1.0f, 128, 80), inner = test::uvSphereSoup(0.5f, 128, 80);
  TriMesh base = test::buildMesh(outer);
  buildShells(base);
  // A tiny tetrahedron through one face of the outer sphere joins it, whichever
  // face it is and wherever that face falls in its run; the inner one stays apart.
  const size_t n = base.shells[0].size();
  for (size_t position :
       {size_t{1}, n / 5 + 1, 2 * n / 5, n / 2, n / 2 + 1, 3 * n / 5 + 1, 4 * n / 5, n - 1}) {
    Vec3d c{0, 0, 0};  // the face's centre; the normal there is nearly radial
    for (int32_t v : base.faces[base.shells[0][position]].v)
      for (int d = 0; d < 3; ++d) c[d] += base.vertices[v].position[d] / 3.0;
    const Soup probe = spike(c, normalized(c), 0.002, 0.002);
    EXPECT_EQ(search(joined({outer, inner, probe})).groups, (Groups{{0, 2}, {1}})) << position;
  }
}

size_t links(const ShellIntersections& found) {
  return std::accumulate(found.intersecting.begin(), found.intersecting.end(), size_t{0},
                         [](size_t n, const std::vector<int32_t>& set) { return n + set.size(); });
}

TEST(ShellSeparation, WorkLimitsBoundHostileInput) {
  // 200 thin tetrahedra through the origin along directions spread over the
  // sphere: every pair of shells intersects, the worst case for the search.
  Soup star;
  for (int k = 0; k < 200; ++k) {
    const double z = 1.0 - (k + 0.5) / 100, r = std::sqrt(1.0 - z * z), turn = 2.39996323 * k;
    star = test::concatenate(
        star, spike({0, 0, 0}, {r * std::cos(turn), r * std::sin(turn), z}, 1.0, 0.05));
  }
  TriMesh mesh = test::buildMesh(star);
  buildShells(mesh);
  ASSERT_EQ(mesh.shells.size(), 200u);
  const ShellIntersections full = findIntersectingShells(mesh);
  EXPECT_EQ(links(full), 200u * 199u);
  EXPECT_EQ(full.groups.size(), 1u);

  // Only the first 500 pairs are examined; each of them intersects.
  SearchLimits few_pairs;
  few_pairs.maxShellPairs = 500;
  const ShellIntersections cut = findIntersectingShells(mesh, few_pairs);
  EXPECT_EQ(links(cut), 2u * 500u);
  EXPECT_EQ(cut.intersecting[0].size(), 199u);  // shell 0 pairs with every other first

  // Out of comparisons after the first pair or so.
  SearchLimits few_comparisons;
  few_comparisons.maxBoxComparisons = 0;
  EXPECT_LT(links(findIntersectingShells(mesh, few_comparisons)), 10u);
}

}  // namespace
}  // namespace vekmesh
