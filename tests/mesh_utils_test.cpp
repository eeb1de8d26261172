// Normals, enclosed volume, the sampled bounding box and appending meshes.
#include "mesh/mesh_utils.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/huge_pages.h"
#include "mesh/parallel_loops.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::Soup;
using test::Winding;

Vertex at(float x, float y, float z) {
  return Vertex{{x, y, z}, -1};
}

TEST(FaceUnitNormal, IsUnitLengthAndZeroForDegenerateTriangles) {
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(3, 0, 0), at(0, 4, 0)), (Vec3d{0.0, 0.0, 1.0}));
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(0, 4, 0), at(3, 0, 0)), (Vec3d{0.0, 0.0, -1.0}));
  for (double c : faceUnitNormal(at(1, 0, 0), at(0, 1, 0), at(0, 0, 1)))
    EXPECT_NEAR(c, 1.0 / std::sqrt(3.0), 1e-7);
  // A point, a line, and a cross product that underflows to zero: no NaN.
  const Vec3d zero{0.0, 0.0, 0.0};
  EXPECT_EQ(faceUnitNormal(at(1, 1, 1), at(1, 1, 1), at(1, 1, 1)), zero);
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(1, 1, 1), at(2, 2, 2)), zero);
  EXPECT_EQ(faceUnitNormal(at(0, 0, 0), at(1e-30f, 0, 0), at(0, 1e-30f, 0)), zero);
}

TEST(EnclosedVolume, MeasuresOutwardClosedMeshes) {
  EXPECT_EQ(enclosedVolume(test::buildMesh(test::cubeSoup(2.0f))), 8.0);
  EXPECT_EQ(enclosedVolume(test::buildMesh(test::cubeSoup(2.0f, Winding::kInward))), 0.0);
  // Far from the origin the volume is measured from the model's own floor.
  EXPECT_EQ(enclosedVolume(test::buildMesh(
                test::cubeSoup(2.0f, Winding::kOutward, {-500.0f, 300.0f, 1000.0f}))),
            8.0);

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
}

TEST(SampledBoundingBox, UpdatesMaximumAndMinimumExclusively) {
  SubMesh mesh;
  for (float c : {0.0f, 2.0f, 1.0f}) mesh.vertices.push_back(at(c, c, c));
  auto [lower, upper] = sampledBoundingBox(mesh, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1, 1, 1}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{2, 2, 2}));
  SubMesh ascending;
  for (int i = 0; i < 5; ++i) ascending.vertices.push_back(at(i, 2.0f * i, 3.0f * i));
  std::tie(lower, upper) = sampledBoundingBox(ascending, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1e6f, 1e6f, 1e6f}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{4, 8, 12}));

  std::tie(lower, upper) = sampledBoundingBox(SubMesh{}, 1000000);
  EXPECT_EQ(lower.position, (std::array<float, 3>{1e6f, 1e6f, 1e6f}));
  EXPECT_EQ(upper.position, (std::array<float, 3>{-1e6f, -1e6f, -1e6f}));
}

TEST(AppendMesh, RebasesEveryIndexOfTheSource) {
  Soup first_soup = test::tetrahedronSoup(2.0f);
  test::assignMaterial(first_soup, 6);
  first_soup.materials[1] = -1;
  Soup second_soup = test::cubeSoup(1.0f, Winding::kOutward, {5, 5, 5});
  test::assignMaterial(second_soup, 0);
  second_soup.materials[3] = -1;
  second_soup.materials[4] = 1;
  test::paint(second_soup, {1.0f, 0.0f, 0.6f});

  TriMesh a = test::buildMesh(first_soup), b = test::buildMesh(second_soup);
  buildShells(a);
  buildShells(b);
  const TriMesh b_copy = b;
  const size_t a_tex = a.texCoords.size();

  appendMesh(a, std::move(b));
  ASSERT_EQ(a.vertices.size(), 12u);
  ASSERT_EQ(a.faces.size(), 16u);
  ASSERT_EQ(a.texCoords.size(), a_tex + b_copy.texCoords.size());
  // Vertex and texture indices, incident corners and uv references all
  // agree again after the move.
  EXPECT_EQ(test::invariantViolation(a), "");
  EXPECT_EQ(a.faces[4].uv[0], a_tex);
  ASSERT_EQ(a.shells.size(), 2u);
  EXPECT_EQ(a.shells[1][0], 4);
  for (int32_t f : a.shells[1]) EXPECT_GE(f, 4);

  // The appended faces still describe the same cube, its materials raised
  // above the largest of the target (6).
  for (size_t f = 0; f < 12; ++f) {
    const Face &was = b_copy.faces[f], &now = a.faces[4 + f];
    EXPECT_EQ(now.material, was.material < 0 ? -1 : was.material + 7);
    EXPECT_EQ(std::memcmp(now.colors, was.colors, sizeof was.colors), 0);
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(a.vertices[now.v[c]].position, b_copy.vertices[was.v[c]].position);
      EXPECT_TRUE(was.material < 0 || (a.texCoords[now.uv[c]].u == b_copy.texCoords[was.uv[c]].u &&
                                       a.texCoords[now.uv[c]].v == b_copy.texCoords[was.uv[c]].v));
    }
  }
  EXPECT_DOUBLE_EQ(enclosedVolume(a), 1.0 + 8.0 / 6.0);
}

Face faceOf(int32_t a, int32_t b, int32_t c) {
  Face f{};
  f.v[0] = a;
  f.v[1] = b;
  f.v[2] = c;
  return f;
}

// The lists as (face, corner) pairs, vertex by vertex.
std::vector<std::vector<std::pair<uint32_t, uint32_t>>> listsOf(const IncidentCorners& lists,
                                                                size_t vertex_count) {
  std::vector<std::vector<std::pair<uint32_t, uint32_t>>> out(vertex_count);
  for (size_t v = 0; v < vertex_count; ++v)
    for (const CornerRef& r : lists[v]) out[v].emplace_back(r.face, r.corner);
  return out;
}

TEST(IncidentCorners, ListCornersInFaceOrderWhenBuiltOrGrown) {
  using L = std::vector<std::pair<uint32_t, uint32_t>>;
  // Face 1 names a vertex that does not exist and lists nothing; face 2
  // repeats vertex 0 and is listed there twice, in corner order.
  std::vector<Face> faces = {faceOf(0, 1, 2), faceOf(2, 1, 7), faceOf(0, 3, 0)};
  IncidentCorners lists;
  lists.rebuild(faces, 4);
  ASSERT_EQ(lists.vertexCount(), 4u);
  EXPECT_EQ(listsOf(lists, 4),
            (std::vector<L>{{{0, 0}, {2, 0}, {2, 2}}, {{0, 1}}, {{0, 2}}, {{2, 1}}}));
  EXPECT_TRUE(lists[4].empty());  // past the covered vertices: empty, not out of bounds
  // Turning face 2 over swaps its corners 0 and 1, both listed at vertex 0.
  lists.swapFirstCorners(0, 2);
  EXPECT_EQ(listsOf(lists, 1)[0], (L{{0, 0}, {2, 1}, {2, 2}}));
  lists.swapFirstCorners(0, 2);

  // Faces appended later, one bringing vertex 4, join the ends of the lists.
  faces.push_back(faceOf(4, 2, 1));
  lists.appendFaces(faces, 3, 5);
  EXPECT_EQ(listsOf(lists, 5),
            (std::vector<L>{
                {{0, 0}, {2, 0}, {2, 2}}, {{0, 1}, {3, 2}}, {{0, 2}, {3, 1}}, {{2, 1}}, {{3, 0}}}));

  // Another mesh's lists follow, its faces renumbered; a gap of vertices
  // without faces is covered by empty lists.
  IncidentCorners more;
  more.rebuild({faceOf(0, 1, 2)}, 3);
  lists.cover(6);
  lists.append(more, 10);
  ASSERT_EQ(lists.vertexCount(), 9u);
  EXPECT_TRUE(lists[5].empty());
  EXPECT_EQ(listsOf(lists, 9)[8], (L{{10, 2}}));
  EXPECT_EQ(lists.entryCount(), 12u);

  // A mesh large enough to be listed by two threads keeps face order too.
  const TriMesh sphere = test::buildMesh(test::uvSphereSoup(1.0f, 600, 240));
  ASSERT_GT(sphere.faces.size(), 16u * kParallelMinimum);
  for (size_t v = 0; v < sphere.vertices.size(); ++v) {
    const auto list = sphere.incidentCorners[v];
    for (size_t i = 1; i < list.size(); ++i)
      ASSERT_LT(3 * list[i - 1].face + list[i - 1].corner, 3 * list[i].face + list[i].corner)
          << "vertex " << v;
  }
  EXPECT_EQ(test::invariantViolation(sphere), "");
}

// The picked elements come in increasing order on any number of threads,
// including a find at each part's first and last element.
TEST(ElementsWhere, GivesTheFindsInOrderWhateverTheThreads) {
  const size_t n = 100003;
  auto wanted = [](size_t i) { return i % 997 == 5 || i % 33334 == 0 || i % 33334 == 33333; };
  std::vector<size_t> expected;
  for (size_t i = 0; i < n; ++i)
    if (wanted(i)) expected.push_back(i);
  const int threads = omp_get_max_threads();
  for (const int team : {1, 2, 3}) {
    omp_set_num_threads(team);
    EXPECT_EQ(elementsWhere(n, wanted), expected) << team;
  }
  omp_set_num_threads(threads);
  EXPECT_TRUE(elementsWhere(0, wanted).empty());
}

// Working arrays keep the alignment asked for; large ones start on a whole
// huge page (the advice covers them from their first byte), and a vector on
// them grows and copies like any other.
TEST(WorkingArrays, AlignLargeBlocksToHugePagesAndHoldTheirContents) {
  const auto address = [](const void* p) { return reinterpret_cast<uintptr_t>(p); };
  for (const size_t bytes : {size_t(100), kHugePageArrayMinimum - 64, kHugePageArrayMinimum}) {
    void* p = allocateWorkingArray(bytes, 128);
    EXPECT_EQ(address(p) % 128, 0u) << bytes;
    if (bytes >= kHugePageArrayMinimum) {
      EXPECT_EQ(address(p) % (size_t(2) << 20), 0u);
    }
    std::memset(p, 0xAB, bytes);
    EXPECT_EQ(static_cast<unsigned char*>(p)[bytes - 1], 0xAB);
    releaseWorkingArray(p, bytes, 128);
  }
  WorkingVector<uint32_t> grown;
  for (uint32_t i = 0; i < 3000000; ++i) grown.push_back(i * 7);
  const WorkingVector<uint32_t> copy = grown;
  EXPECT_EQ(copy.size(), 3000000u);
  EXPECT_EQ(copy[2999999], 2999999u * 7);
  EXPECT_EQ(address(copy.data()) % (size_t(2) << 20), 0u);
  // Elements given a value get it, whatever the uninitialised ones hold.
  WorkingVector<uint32_t> filled(1000, 7u);
  filled.resize(5000);
  filled.resize(6000, 9u);
  EXPECT_EQ(filled[999], 7u);
  EXPECT_EQ(filled[5000], 9u);
  EXPECT_EQ(filled[5999], 9u);
}

}  // namespace
}  // namespace vekmesh
