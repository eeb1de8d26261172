// Tests of the shell intersection search and shell separation: disjoint,
// interpenetrating, chained and touching cubes, nested spheres large enough
// to be indexed by runs of faces, attributes carried into the parts, and
// input with non-finite coordinates.
#include "repair/separation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "geometry/tri_tri_intersection.h"
#include "mesh/mesh_utils.h"
#include "api/result_arrays.h"
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

struct Bounds {
  float lo[3] = {1e30f, 1e30f, 1e30f};
  float hi[3] = {-1e30f, -1e30f, -1e30f};
};

Bounds bounds(const SubMesh& mesh) {
  Bounds b;
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3; ++c)
      for (int d = 0; d < 3; ++d) {
        b.lo[d] = std::min(b.lo[d], mesh.vertices[f.v[c]].position[d]);
        b.hi[d] = std::max(b.hi[d], mesh.vertices[f.v[c]].position[d]);
      }
  return b;
}

ShellIntersections search(const Soup& soup) {
  TriMesh mesh = test::buildMesh(soup);
  buildShells(mesh);
  return findIntersectingShells(mesh);
}

TEST(ShellSeparation, GroupsFollowIntersectionsTransitively) {
  // Shells 0 and 2 pass through each other, 1 lies apart.
  const Soup pair = joined({cube(2, 0, 0, 0), cube(1, 10, 0, 0), cube(2, 1, 1, 1)});
  const ShellIntersections found = search(pair);
  EXPECT_EQ(found.intersecting, (Groups{{2}, {}, {0}}));
  EXPECT_EQ(found.groups, (Groups{{0, 2}, {1}}));
  TriMesh mesh = test::buildMesh(pair);
  separateShells(mesh);
  ASSERT_EQ(mesh.pieces.size(), 2u);
  EXPECT_EQ(mesh.pieces[0].faces.size(), 24u);
  EXPECT_EQ(bounds(mesh.pieces[1]).lo[0], 10.0f);
  for (const SubMesh& piece : mesh.pieces) EXPECT_EQ(test::invariantViolation(piece), "");

  // A chain: shell 0 meets shell 2, which meets shell 1; 0 and 1 are apart.
  const Soup chain =
      joined({cube(2, 0, 0, 0), cube(2, 3, 0.25f, 0.25f), cube(2, 1.5f, 0.5f, 0.5f)});
  const ShellIntersections linked = search(chain);
  EXPECT_EQ(linked.intersecting, (Groups{{2}, {2}, {0, 1}}));
  EXPECT_EQ(linked.groups, (Groups{{0, 1, 2}}));
}

TEST(ShellSeparation, ShellsWhoseBoxesOnlyTouchAreNeverJoined) {
  // A smaller cube resting on the +x side of a unit cube: their faces touch
  // (the triangle test says so), but the shell boxes share only the plane
  // x = 1, so the pair is never tested.
  const Soup soup = joined({cube(1, 0, 0, 0), cube(0.5f, 1, 0.25f, 0.25f)});
  TriMesh mesh = test::buildMesh(soup);
  buildShells(mesh);
  ASSERT_EQ(mesh.shells.size(), 2u);
  const Vec3d a1{1, 0, 0}, a2{1, 1, 0}, a3{1, 0, 1};                    // a triangle of the +x side
  const Vec3d b1{1, 0.25, 0.25}, b2{1, 0.75, 0.25}, b3{1, 0.25, 0.75};  // the other's -x side
  int coplanar = 0;
  Vec3d source, target;
  EXPECT_TRUE(triTriIntersection(a1, a2, a3, b1, b2, b3, coplanar, source, target));
  EXPECT_EQ(findIntersectingShells(mesh).intersecting, (Groups{{}, {}}));
  separateShells(mesh);
  EXPECT_EQ(mesh.pieces.size(), 2u);

  // Cubes sharing one corner vertex: two shells, two parts.
  TriMesh corner = test::buildMesh(test::twoCubesSharingVertexSoup());
  separateShells(corner);
  EXPECT_EQ(corner.pieces.size(), 2u);
}

// A tetrahedron 0.004 across piercing face f of `mesh` through its centroid,
// small enough to meet no other face.
Soup piercing(const SubMesh& mesh, int32_t f) {
  const Face& face = mesh.faces[f];
  Vec3d c{0, 0, 0};
  for (int k = 0; k < 3; ++k)
    for (int d = 0; d < 3; ++d) c[d] += mesh.vertices[face.v[k]].position[d] / 3.0;
  const Vec3d n =
      faceUnitNormal(mesh.vertices[face.v[0]], mesh.vertices[face.v[1]], mesh.vertices[face.v[2]]);
  // Two directions across the normal.
  const Vec3d u = std::fabs(n[0]) < 0.9 ? Vec3d{0, -n[2], n[1]} : Vec3d{-n[2], 0, n[0]};
  const double lu = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
  const Vec3d e = {u[0] / lu, u[1] / lu, u[2] / lu};
  const Vec3d w = {n[1] * e[2] - n[2] * e[1], n[2] * e[0] - n[0] * e[2], n[0] * e[1] - n[1] * e[0]};
  auto at = [&](double along_n, double along_e, double along_w) {
    return test::Point{static_cast<float>(c[0] + along_n * n[0] + along_e * e[0] + along_w * w[0]),
                       static_cast<float>(c[1] + along_n * n[1] + along_e * e[1] + along_w * w[1]),
                       static_cast<float>(c[2] + along_n * n[2] + along_e * e[2] + along_w * w[2])};
  };
  const double h = 0.002;
  return test::soupFromIndexed({at(h, 0, 0), at(-h, h, 0), at(-h, -h / 2, h), at(-h, -h / 2, -h)},
                               {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {1, 3, 2}});
}

TEST(ShellSeparation, LargeShellsIndexedByRunsMissNoFace) {
  // 20224 faces each: indexed in runs of two faces. The inner sphere lies
  // inside the outer one, boxes overlapping, surfaces apart.
  const Soup outer = test::uvSphereSoup(1.0f, 128, 80);
  const Soup inner = test::uvSphereSoup(0.5f, 128, 80);
  TriMesh base = test::buildMesh(joined({outer, inner}));
  buildShells(base);
  ASSERT_EQ(base.shells.size(), 2u);
  ASSERT_GE(base.shells[0].size(), 20000u);
  EXPECT_EQ(findIntersectingShells(base).groups, (Groups{{0}, {1}}));

  // A tiny tetrahedron through one face of the outer sphere joins it, whichever
  // face it is and wherever that face falls in its run.
  const std::vector<int32_t>& list = base.shells[0];
  const size_t n = list.size();
  for (size_t position :
       {size_t{1}, n / 5 + 1, 2 * n / 5, n / 2, n / 2 + 1, 3 * n / 5 + 1, 4 * n / 5, n - 1}) {
    const Soup probe = piercing(base, list[position]);
    const ShellIntersections found = search(joined({outer, inner, probe}));
    EXPECT_EQ(found.groups, (Groups{{0, 2}, {1}})) << "face at position " << position;
  }
  // Beside the face instead of through it: apart.
  const Soup apart = test::tetrahedronSoup(0.01f);
  EXPECT_EQ(search(joined({outer, inner, apart})).groups, (Groups{{0}, {1}, {2}}));
}

// 200 thin tetrahedra through the origin along directions spread over the
// sphere: every pair of shells intersects, the worst case for the search.
Soup star(int count) {
  Soup soup;
  const double golden = 3.14159265358979323846 * (3.0 - std::sqrt(5.0));
  for (int k = 0; k < count; ++k) {
    const double z = 1.0 - 2.0 * (k + 0.5) / count, r = std::sqrt(1.0 - z * z);
    const Vec3d u = {r * std::cos(golden * k), r * std::sin(golden * k), z};
    const Vec3d e = std::fabs(u[0]) < 0.9 ? Vec3d{0, -u[2], u[1]} : Vec3d{-u[2], 0, u[0]};
    const double le = std::sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]);
    const Vec3d a = {e[0] / le, e[1] / le, e[2] / le};
    const Vec3d b = {u[1] * a[2] - u[2] * a[1], u[2] * a[0] - u[0] * a[2],
                     u[0] * a[1] - u[1] * a[0]};
    auto at = [&](double along, double ca, double cb) {
      return test::Point{static_cast<float>(along * u[0] + ca * a[0] + cb * b[0]),
                         static_cast<float>(along * u[1] + ca * a[1] + cb * b[1]),
                         static_cast<float>(along * u[2] + ca * a[2] + cb * b[2])};
    };
    const double w = 0.05;
    const Soup tip =
        test::soupFromIndexed({at(1, 0, 0), at(-1, w, 0), at(-1, -w / 2, w), at(-1, -w / 2, -w)},
                              {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {1, 3, 2}});
    soup = test::concatenate(soup, tip);
  }
  return soup;
}

size_t links(const ShellIntersections& found) {
  size_t n = 0;
  for (const auto& set : found.intersecting) n += set.size();
  return n;
}

TEST(ShellSeparation, WorkLimitsBoundHostileInput) {
  TriMesh mesh = test::buildMesh(star(200));
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

TEST(ShellSeparation, PartsKeepTheirAttributes) {
  Soup torus = test::torusSoup(2.0f, 0.5f, 24, 12);
  test::paint(torus, {1.0f, 0.5f, 0.0f});
  test::assignMaterial(torus, 3);
  Soup box = cube(1, 5, 5, 5);
  test::paint(box, {0.0f, 0.0f, 1.0f});
  TriMesh mesh = test::buildMesh(test::concatenate(torus, box));
  const ModelArrays before = convertSingleModel(mesh);
  separateShells(mesh);
  ASSERT_EQ(mesh.pieces.size(), 2u);
  MultiModelArrays after = convertMultiShell(mesh);
  ASSERT_EQ(after.model.count, before.count);

  // The same triangles with the same attributes, in another order.
  using Row = std::vector<float>;
  auto rows = [](const ModelArrays& m) {
    std::vector<Row> out;
    for (uint32_t t = 0; t < m.count; ++t) {
      Row r(m.corners + 9 * t, m.corners + 9 * t + 9);
      r.insert(r.end(), m.colors + 9 * t, m.colors + 9 * t + 9);
      r.insert(r.end(), m.uvs + 6 * t, m.uvs + 6 * t + 6);
      r.push_back(static_cast<float>(m.materials[t]));
      out.push_back(r);
    }
    std::sort(out.begin(), out.end());
    return out;
  };
  EXPECT_EQ(rows(before), rows(after.model));
  EXPECT_EQ(after.pieceCounts[0], 24u * 12u * 2u);
  EXPECT_EQ(after.model.materials[0], 3);
  EXPECT_EQ(after.model.materials[after.model.count - 1], -1);
  ModelArrays b = before;
  freeModelArrays(b);
  freeModelArrays(after.model);
  std::free(after.pieceCounts);
}

}  // namespace
}  // namespace vekmesh
