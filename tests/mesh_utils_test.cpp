// Tests of the topology and geometry helpers: normals, enclosed volume, shells,
// the sampled bounding box, appending meshes and compaction.
#include "mesh/mesh_utils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "api/result_arrays.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Soup;
using test::Winding;

constexpr double kPi = 3.14159265358979323846;

Vertex at(float x, float y, float z) {
  return Vertex{{x, y, z}, -1, {}};
}

// Converted arrays of a mesh, freed at once; for comparing two meshes as the
// caller would see them.
struct Flat {
  std::vector<float> corners, colors, uvs;
  std::vector<int32_t> materials;
  bool operator==(const Flat& o) const {
    return corners == o.corners && colors == o.colors && uvs == o.uvs && materials == o.materials;
  }
};
Flat flatten(const SubMesh& mesh) {
  ModelArrays a = convertSingleModel(mesh);
  Flat f{{a.corners, a.corners + 9 * a.count},
         {a.colors, a.colors + 9 * a.count},
         {a.uvs, a.uvs + 6 * a.count},
         {a.materials, a.materials + a.count}};
  freeModelArrays(a);
  return f;
}

TEST(FaceUnitNormal, IsUnitLengthAndZeroForDegenerateTriangles) {
  const Vec3d n = faceUnitNormal(at(0, 0, 0), at(3, 0, 0), at(0, 4, 0));
  EXPECT_EQ(n, (Vec3d{0.0, 0.0, 1.0}));
  const Vec3d tilted = faceUnitNormal(at(1, 0, 0), at(0, 1, 0), at(0, 0, 1));
  for (double c : tilted) EXPECT_NEAR(c, 1.0 / std::sqrt(3.0), 1e-7);

  const TriMesh cube = test::buildMesh(test::cubeSoup(2.0f));
  const TriMesh inward = test::buildMesh(test::cubeSoup(2.0f, Winding::kInward));
  for (size_t i = 0; i < 12; ++i) {
    const Face& f = cube.faces[i];
    const Vec3d out =
        faceUnitNormal(cube.vertices[f.v[0]], cube.vertices[f.v[1]], cube.vertices[f.v[2]]);
    const Face& g = inward.faces[i];
    const Vec3d in =
        faceUnitNormal(inward.vertices[g.v[0]], inward.vertices[g.v[1]], inward.vertices[g.v[2]]);
    // Side order -z, +z, -y, +y, -x, +x, two triangles each.
    Vec3d expected{0, 0, 0};
    expected[2 - i / 4] = (i / 2) % 2 ? 1.0 : -1.0;
    EXPECT_EQ(out, expected) << "face " << i;
    EXPECT_EQ(in, (Vec3d{-expected[0], -expected[1], -expected[2]})) << "face " << i;
  }

  const Vec3d zero{0.0, 0.0, 0.0};
  EXPECT_EQ(faceUnitNormal(at(1, 1, 1), at(1, 1, 1), at(1, 1, 1)), zero);
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(1, 1, 1), at(2, 2, 2)), zero);
  // The cross product underflows to zero: still no NaN.
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(1e-30f, 0, 0), at(0, 1e-30f, 0)), zero);
}

TEST(EnclosedVolume, MeasuresOutwardClosedMeshes) {
  EXPECT_EQ(enclosedVolume(test::buildMesh(test::cubeSoup(2.0f))), 8.0);
  EXPECT_EQ(enclosedVolume(test::buildMesh(test::cubeSoup(2.0f, Winding::kInward))), 0.0);
  // Far from the origin the volume is measured from the model's own floor.
  EXPECT_EQ(enclosedVolume(test::buildMesh(
                test::cubeSoup(2.0f, Winding::kOutward, {-500.0f, 300.0f, 1000.0f}))),
            8.0);
  EXPECT_NEAR(enclosedVolume(test::buildMesh(test::tetrahedronSoup(3.0f))), 4.5, 1e-12);
  EXPECT_EQ(enclosedVolume(test::buildMesh(test::twoCubesSharingVertexSoup(1.0f))), 2.0);
  EXPECT_EQ(enclosedVolume(TriMesh{}), 0.0);

  // The duplicate adds a second copy of one side; removed, it counts for nothing.
  TriMesh doubled = test::buildMesh(test::withTriangleDuplicated(test::cubeSoup(2.0f), 2));
  EXPECT_NE(enclosedVolume(doubled), 8.0);
  doubled.faces.back().removed = 1;
  EXPECT_EQ(enclosedVolume(doubled), 8.0);

  const float r = 2.0f;
  const double sphere = enclosedVolume(test::buildMesh(test::uvSphereSoup(r, 128, 64)));
  const double exact = 4.0 / 3.0 * kPi * r * r * r;
  EXPECT_LT(sphere, exact);  // an inscribed polyhedron
  EXPECT_NEAR(sphere, exact, 0.005 * exact);
  const double torus = enclosedVolume(test::buildMesh(test::torusSoup(3.0f, 1.0f, 128, 64)));
  EXPECT_NEAR(torus, 2.0 * kPi * kPi * 3.0, 0.005 * 2.0 * kPi * kPi * 3.0);
}

TEST(BuildShells, SplitsAtVerticesButNotAtEdges) {
  TriMesh touching = test::buildMesh(test::twoCubesSharingVertexSoup());
  buildShells(touching);
  ASSERT_EQ(touching.shells.size(), 2u);
  EXPECT_EQ(touching.shells[0].size(), 12u);
  EXPECT_EQ(touching.shells[1].size(), 12u);
  EXPECT_EQ(touching.shells[1][0], 12);
  for (int32_t f : touching.shells[0]) EXPECT_LT(f, 12);

  TriMesh glued = test::buildMesh(test::twoCubesSharingEdgeSoup());
  buildShells(glued);
  ASSERT_EQ(glued.shells.size(), 1u);
  EXPECT_EQ(glued.shells[0].size(), 24u);

  // Orientation plays no part: a flipped face and a pair of faces wound the
  // same way across their shared edge stay connected.
  TriMesh flipped = test::buildMesh(test::withTriangleFlipped(test::cubeSoup(), 7));
  buildShells(flipped);
  EXPECT_EQ(flipped.shells.size(), 1u);
  Soup same_winding;
  same_winding.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  same_winding.addTriangle({1, 0, 0}, {0, 1, 0}, {1, 1, 0});
  TriMesh pair = test::buildMesh(same_winding);
  buildShells(pair);
  ASSERT_EQ(pair.shells.size(), 1u);
  EXPECT_EQ(pair.shells[0], (std::vector<int32_t>{0, 1}));

  TriMesh empty;
  empty.shells = {{3}};
  buildShells(empty);
  EXPECT_TRUE(empty.shells.empty());
}

TEST(BuildShells, RemovedFacesBelongToNoShell) {
  TriMesh mesh = test::buildMesh(test::twoCubesSharingVertexSoup());
  mesh.faces[0].removed = 1;
  mesh.faces[15].removed = 1;
  buildShells(mesh);
  ASSERT_EQ(mesh.shells.size(), 2u);
  EXPECT_EQ(mesh.shells[0].size(), 11u);
  EXPECT_EQ(mesh.shells[0][0], 1);  // numbered from the lowest live face
  EXPECT_EQ(mesh.shells[1].size(), 11u);
  for (const auto& shell : mesh.shells)
    for (int32_t f : shell) EXPECT_FALSE(f == 0 || f == 15);

  for (Face& f : mesh.faces) f.removed = 1;
  buildShells(mesh);
  EXPECT_TRUE(mesh.shells.empty());
}

// A centre triangle with a neighbour on each edge and one more face behind the
// first neighbour, plus a lone triangle; indices chosen so that index order,
// depth-first order and breadth-first order all differ.
TEST(BuildShells, NumbersShellsByLowestFaceInBreadthFirstOrder) {
  const test::Point p0{0, 0, 0}, p1{2, 0, 0}, p2{1, 2, 0};
  const test::Point q0{1, -2, 0}, q1{3, 2, 0}, q2{-1, 2, 0}, r{3, -2, 0};
  Soup soup;
  soup.addTriangle(p0, p1, p2);                         // 0: centre
  soup.addTriangle({9, 9, 9}, {10, 9, 9}, {9, 10, 9});  // 1: alone
  soup.addTriangle(p1, q0, r);                          // 2: behind face 5
  soup.addTriangle(p0, p2, q2);                         // 3: across the centre's corner-2 edge
  soup.addTriangle(p2, p1, q1);                         // 4: across the corner-1 edge
  soup.addTriangle(p1, p0, q0);                         // 5: across the corner-0 edge
  TriMesh mesh = test::buildMesh(soup);
  buildShells(mesh);
  ASSERT_EQ(mesh.shells.size(), 2u);
  EXPECT_EQ(mesh.shells[0], (std::vector<int32_t>{0, 5, 4, 3, 2}));
  EXPECT_EQ(mesh.shells[1], (std::vector<int32_t>{1}));
}

TEST(SampledBoundingBox, UpdatesMaximumAndMinimumExclusively) {
  SubMesh mesh;
  for (float c : {0.0f, 2.0f, 1.0f}) mesh.vertices.push_back(at(c, c, c));
  auto [lower, upper] = sampledBoundingBox(mesh, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1, 1, 1}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{2, 2, 2}));
  EXPECT_EQ(lower.index, -1);
  EXPECT_EQ(upper.index, -1);
  EXPECT_TRUE(lower.incidentCorners.empty());

  SubMesh ascending;
  for (int i = 0; i < 5; ++i) ascending.vertices.push_back(at(i, 2.0f * i, 3.0f * i));
  std::tie(lower, upper) = sampledBoundingBox(ascending, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1e6f, 1e6f, 1e6f}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{4, 8, 12}));

  std::tie(lower, upper) = sampledBoundingBox(SubMesh{}, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1e6f, 1e6f, 1e6f}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{-1e6f, -1e6f, -1e6f}));
}

// Vertex i sits at (i, -i, 0): the largest x and the smallest y show the last
// vertex visited.
TEST(SampledBoundingBox, StridesOnceVerticesReachMaxSamples) {
  SubMesh mesh;
  for (int i = 0; i < 10; ++i) mesh.vertices.push_back(at(i, -i, 0));
  struct Case {
    uint32_t maxSamples;
    float last;
  };
  // 11: all ten; 10: stride 1.5 rounds to 1; 4: stride 3 visits 0, 3, 6;
  // 2: stride 5 visits 0, 5.
  for (const Case& c : {Case{11, 9}, Case{10, 9}, Case{4, 6}, Case{2, 5}}) {
    const auto [lower, upper] = sampledBoundingBox(mesh, c.maxSamples);
    EXPECT_EQ(upper.position[0], c.last) << c.maxSamples;
    EXPECT_EQ(lower.position[1], -c.last) << c.maxSamples;
  }
  // No samples allowed: nothing is visited, and nothing breaks.
  const auto [lower, upper] = sampledBoundingBox(mesh, 0);
  EXPECT_EQ(upper.position[0], -1e6f);
}

Soup texturedCube(int32_t material, const test::Point& origin) {
  Soup soup = test::cubeSoup(1.0f, Winding::kOutward, origin);
  test::assignMaterial(soup, material);
  soup.materials[3] = -1;
  soup.materials[4] = 1;
  test::paint(soup, {1.0f, 0.0f, 0.6f});
  return soup;
}

TEST(AppendMesh, OntoEmptyMeshKeepsIndicesAndRaisesMaterials) {
  TriMesh source = test::buildMesh(texturedCube(5, {0, 0, 0}));
  buildShells(source);
  const TriMesh original = source;

  TriMesh target;
  appendMesh(target, std::move(source));
  ASSERT_EQ(target.faces.size(), 12u);
  ASSERT_EQ(target.vertices.size(), 8u);
  ASSERT_EQ(target.texCoords.size(), original.texCoords.size());
  EXPECT_EQ(target.shells, original.shells);
  for (size_t i = 0; i < 12; ++i) {
    const Face& f = target.faces[i];
    const Face& o = original.faces[i];
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(f.v[c], o.v[c]);
      EXPECT_EQ(f.uv[c], o.uv[c]);
    }
    EXPECT_EQ(f.material, o.material == -1 ? -1 : o.material + 1) << "face " << i;
  }
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(target.vertices[i].index, int32_t(i));
    EXPECT_EQ(target.vertices[i].incidentCorners.size(),
              original.vertices[i].incidentCorners.size());
  }
  EXPECT_EQ(test::invariantViolation(target), "");
  EXPECT_TRUE(source.faces.empty());
}

TEST(AppendMesh, RebasesEveryIndexOfTheSource) {
  Soup first_soup = test::tetrahedronSoup(2.0f);
  test::assignMaterial(first_soup, 6);
  first_soup.materials[1] = -1;
  const Soup second_soup = texturedCube(0, {5, 5, 5});

  TriMesh a = test::buildMesh(first_soup);
  TriMesh b = test::buildMesh(second_soup);
  buildShells(a);
  buildShells(b);
  const size_t a_tex = a.texCoords.size(), b_tex = b.texCoords.size();
  const Flat expected_b = flatten(b);

  appendMesh(a, std::move(b));
  ASSERT_EQ(a.vertices.size(), 12u);
  ASSERT_EQ(a.faces.size(), 16u);
  ASSERT_EQ(a.texCoords.size(), a_tex + b_tex);
  // Vertex and texture indices, incident corners and uv references all
  // agree again after the move.
  EXPECT_EQ(test::invariantViolation(a), "");
  EXPECT_EQ(a.faces[4].uv[0], a_tex);
  ASSERT_EQ(a.shells.size(), 2u);
  EXPECT_EQ(a.shells[1][0], 4);
  for (int32_t f : a.shells[1]) EXPECT_GE(f, 4);

  // The appended faces still describe the same cube, its materials raised
  // above the largest of the target (6).
  Flat appended = flatten(a);
  appended.corners.erase(appended.corners.begin(), appended.corners.begin() + 36);
  appended.colors.erase(appended.colors.begin(), appended.colors.begin() + 36);
  appended.uvs.erase(appended.uvs.begin(), appended.uvs.begin() + 24);
  appended.materials.erase(appended.materials.begin(), appended.materials.begin() + 4);
  EXPECT_EQ(appended.corners, expected_b.corners);
  EXPECT_EQ(appended.colors, expected_b.colors);
  EXPECT_EQ(appended.uvs, expected_b.uvs);
  for (size_t i = 0; i < 12; ++i)
    EXPECT_EQ(appended.materials[i],
              expected_b.materials[i] == -1 ? -1 : expected_b.materials[i] + 7);
  EXPECT_DOUBLE_EQ(enclosedVolume(a), 1.0 + 8.0 / 6.0);
}

TEST(AppendMesh, MaterialShiftUsesSixteenBitArithmetic) {
  Soup high = test::tetrahedronSoup();
  high.materials = {-1, 32767, -1, -1};
  high.uvs.assign(6 * 4, 0.0f);
  Soup low = test::cubeSoup(1.0f, Winding::kOutward, {3, 0, 0});
  test::assignMaterial(low, 5);
  TriMesh a = test::buildMesh(high);
  appendMesh(a, test::buildMesh(low));
  EXPECT_EQ(a.faces[4].material, -32763);  // 5 + 32767 + 1 wraps

  TriMesh untextured = test::buildMesh(test::tetrahedronSoup());
  appendMesh(untextured, test::buildMesh(low));
  EXPECT_EQ(untextured.faces[4].material, 6);  // largest of none counts as 0
}

// Texture coordinates of the live faces, corner by corner, as stored (doubles).
std::vector<double> liveTexture(const SubMesh& mesh) {
  std::vector<double> out;
  for (const Face& f : mesh.faces)
    if (!f.removed && f.material >= 0)
      for (int c = 0; c < 3; ++c) {
        out.push_back(mesh.texCoords[f.uv[c]].u);
        out.push_back(mesh.texCoords[f.uv[c]].v);
      }
  return out;
}

TEST(CompactMesh, DropsRemovedFacesAndKeepsAttributesExactly) {
  Soup soup = texturedCube(2, {0.5f, 0.25f, -1.0f});
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[0].removed = 1;
  mesh.faces[9].removed = 1;
  mesh.texCoords[mesh.faces[5].uv[1]].u = 0.1;  // not representable as a float
  const Flat before = flatten(mesh);
  const std::vector<double> texture = liveTexture(mesh);

  compactMesh(mesh);
  EXPECT_EQ(mesh.faces.size(), 10u);
  EXPECT_EQ(mesh.vertices.size(), 8u);
  EXPECT_EQ(test::liveFaceCount(mesh), 10u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(flatten(mesh) == before);
  EXPECT_EQ(liveTexture(mesh), texture);
}

TEST(CompactMesh, MergesVerticesMovedOntoEachOther) {
  Soup soup = test::cubeSoup();
  soup.addTriangle({7, 7, 7}, {7, 7, 7}, {8, 8, 8});  // leaves two loose vertices
  TriMesh mesh = test::buildMesh(soup);
  ASSERT_EQ(mesh.vertices.size(), 10u);
  // Collapse the edge of corner 0 of face 0: the two faces on it degenerate.
  const Face f = mesh.faces[0];
  mesh.vertices[f.v[1]].position = mesh.vertices[f.v[0]].position;

  compactMesh(mesh);
  EXPECT_EQ(mesh.vertices.size(), 7u);
  EXPECT_EQ(mesh.faces.size(), 10u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_EQ(test::edgeCensus(mesh).boundary, 0u);
}

TEST(CompactMesh, WithoutLiveFacesLeavesTheMeshAlone) {
  TriMesh mesh = test::buildMesh(test::cubeSoup());
  for (Face& f : mesh.faces) f.removed = 1;
  compactMesh(mesh);
  EXPECT_EQ(mesh.faces.size(), 12u);
  EXPECT_EQ(mesh.vertices.size(), 8u);

  TriMesh empty;
  compactMesh(empty);
  EXPECT_TRUE(empty.faces.empty());
}

TEST(RebuildTopology, CompactsThenFindsShells) {
  TriMesh mesh = test::buildMesh(test::twoCubesSharingVertexSoup());
  mesh.faces[12].removed = 1;
  rebuildTopology(mesh);
  EXPECT_EQ(mesh.faces.size(), 23u);
  ASSERT_EQ(mesh.shells.size(), 2u);
  EXPECT_EQ(mesh.shells[0].size(), 12u);
  EXPECT_EQ(mesh.shells[1].size(), 11u);
}

}  // namespace
}  // namespace vekmesh
