// Tests of turning a TriMesh back into result arrays (one model and several
// pieces) and of the large-model cap that runs before conversion.
#include "api/result_arrays.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/large_model_cap.h"

namespace vekmesh {
namespace {

using test::Soup;

// Frees the arrays when the test ends, whatever it asserted.
struct OwnedModel {
  ModelArrays arrays;
  explicit OwnedModel(ModelArrays a) : arrays(a) {}
  ~OwnedModel() { freeModelArrays(arrays); }
  std::vector<float> corners() const { return {arrays.corners, arrays.corners + 9 * arrays.count}; }
  std::vector<float> colors() const { return {arrays.colors, arrays.colors + 9 * arrays.count}; }
  std::vector<float> uvs() const { return {arrays.uvs, arrays.uvs + 6 * arrays.count}; }
  std::vector<int32_t> materials() const {
    return {arrays.materials, arrays.materials + arrays.count};
  }
};

TEST(ConvertSingleModel, WritesLiveFacesInOrder) {
  const Soup soup = test::cubeSoup(2.0f);
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[3].removed = 1;
  const OwnedModel out(convertSingleModel(mesh));

  ASSERT_EQ(out.arrays.count, 11u);
  // Triangle k of the result is soup triangle k, skipping the removed one.
  const Soup expected = test::withoutTriangle(soup, 3);
  EXPECT_EQ(out.corners(), expected.corners);
  EXPECT_EQ(out.colors(), std::vector<float>(99, 1.0f));
  EXPECT_EQ(out.uvs(), std::vector<float>(66, 0.0f));
  EXPECT_EQ(out.materials(), std::vector<int32_t>(11, -1));
}

TEST(ConvertSingleModel, EmptyResultsStillAllocateArrays) {
  TriMesh mesh = test::buildMesh(test::tetrahedronSoup());
  for (Face& f : mesh.faces) f.removed = 1;
  const OwnedModel all_removed(convertSingleModel(mesh));
  EXPECT_EQ(all_removed.arrays.count, 0u);
  EXPECT_NE(all_removed.arrays.corners, nullptr);
  EXPECT_NE(all_removed.arrays.colors, nullptr);
  EXPECT_NE(all_removed.arrays.uvs, nullptr);
  EXPECT_NE(all_removed.arrays.materials, nullptr);

  const OwnedModel empty(convertSingleModel(TriMesh{}));
  EXPECT_EQ(empty.arrays.count, 0u);
  EXPECT_NE(empty.arrays.corners, nullptr);
}

TEST(ConvertSingleModel, AttributesComeBackAsFloats) {
  Soup soup;
  soup.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  soup.addTriangle({1, 0, 0}, {1, 1, 0}, {0, 1, 0});
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[0].colors[1][0] = 255;
  mesh.faces[0].colors[1][1] = 127;
  mesh.faces[0].colors[1][2] = 0;
  // A material but no texture coordinates anywhere in the mesh: uv (0, 0).
  mesh.faces[0].material = 3;
  mesh.faces[1].material = -5;
  const OwnedModel out(convertSingleModel(mesh));
  ASSERT_EQ(out.arrays.count, 2u);
  EXPECT_EQ(out.arrays.colors[3], 1.0f);
  EXPECT_EQ(out.arrays.colors[4], 0.49803922f);
  EXPECT_EQ(out.arrays.colors[5], 0.0f);
  EXPECT_EQ(out.materials(), (std::vector<int32_t>{3, -5}));
  EXPECT_EQ(out.uvs(), std::vector<float>(12, 0.0f));
}

TEST(ConvertSingleModel, TextureCoordinatesRoundTrip) {
  Soup textured = test::cubeSoup(1.5f, test::Winding::kOutward, {0.25f, -3.0f, 7.0f});
  test::assignMaterial(textured, 4);
  test::paint(textured, {0.2f, 0.6f, 1.0f});
  const Soup soup = test::concatenate(textured, test::tetrahedronSoup(0.5f));
  const OwnedModel out(convertSingleModel(test::buildMesh(soup)));

  ASSERT_EQ(out.arrays.count, 16u);
  EXPECT_EQ(out.corners(), soup.corners);
  std::vector<float> expected_uvs = textured.uvs;
  expected_uvs.resize(6 * 16, 0.0f);  // the untextured tetrahedron gets (0, 0)
  EXPECT_EQ(out.uvs(), expected_uvs);
  for (uint32_t t = 0; t < 16; ++t) EXPECT_EQ(out.arrays.materials[t], t < 12 ? 4 : -1);
  // Colours come back as their byte over 255: 0.2 -> 51, 0.6 -> 153, 1.0 -> 255.
  EXPECT_EQ(out.arrays.colors[0], 0.2f);
  EXPECT_EQ(out.arrays.colors[1], 0.6f);
  EXPECT_EQ(out.arrays.colors[2], 1.0f);
}

TEST(ConvertSingleModel, OutOfRangeIndexThrowsWithoutLeaking) {
  {
    TriMesh mesh = test::buildMesh(test::cubeSoup());
    mesh.faces[5].v[1] = 8;
    EXPECT_THROW(convertSingleModel(mesh), std::out_of_range);
    mesh.faces[5].v[1] = -1;
    EXPECT_THROW(convertSingleModel(mesh), std::out_of_range);
  }
  {
    Soup soup = test::cubeSoup();
    test::assignMaterial(soup, 0);
    TriMesh mesh = test::buildMesh(soup);
    mesh.faces[11].uv[2] = 36;
    EXPECT_THROW(convertSingleModel(mesh), std::out_of_range);
  }
  {
    TriMesh mesh;
    mesh.pieces.push_back(test::buildMesh(test::cubeSoup()));
    mesh.pieces.push_back(test::buildMesh(test::tetrahedronSoup()));
    mesh.pieces[1].faces[0].v[0] = 4;  // valid in the first piece, not in its own
    EXPECT_THROW(convertMultiShell(mesh), std::out_of_range);
  }
}

TEST(ConvertMultiShell, WritesPiecesOneAfterAnother) {
  const Soup cube = test::cubeSoup(1.0f, test::Winding::kOutward, {10, 0, 0});
  Soup first, second;
  for (size_t t = 0; t < 12; ++t)
    for (size_t i = 0; i < 9; ++i)
      (t < 5 ? first : second).corners.push_back(cube.corners[9 * t + i]);
  test::assignMaterial(second, 2);

  TriMesh mesh = test::buildMesh(test::tetrahedronSoup());  // the mesh itself is not written
  mesh.pieces.push_back(test::buildMesh(first));
  mesh.pieces.push_back(test::buildMesh(second));
  mesh.pieces[0].faces[1].removed = 1;  // pieces are written whole, removed faces too
  MultiModelArrays out = convertMultiShell(mesh);

  ASSERT_EQ(out.pieceCount, 2u);
  EXPECT_EQ(out.pieceCounts[0], 5u);
  EXPECT_EQ(out.pieceCounts[1], 7u);
  ASSERT_EQ(out.model.count, 12u);
  EXPECT_EQ(std::vector<float>(out.model.corners, out.model.corners + 108), cube.corners);
  EXPECT_EQ(out.model.materials[4], -1);
  EXPECT_EQ(out.model.materials[5], 2);
  // Texture coordinates of the second piece come from its own list.
  EXPECT_EQ(std::vector<float>(out.model.uvs + 30, out.model.uvs + 72), second.uvs);
  freeModelArrays(out.model);
  std::free(out.pieceCounts);

  TriMesh none;
  out = convertMultiShell(none);
  EXPECT_EQ(out.pieceCount, 0u);
  EXPECT_EQ(out.model.count, 0u);
  EXPECT_NE(out.pieceCounts, nullptr);
  freeModelArrays(out.model);
  std::free(out.pieceCounts);
}

TEST(LargeModelCap, KeepsThirtyPercentOfTheShareAboveOneHundredThousand) {
  EXPECT_EQ(largeModelRatio(0), 1.0);
  EXPECT_EQ(largeModelRatio(100000), 1.0);
  EXPECT_LT(largeModelRatio(100001), 1.0);
  EXPECT_NEAR(largeModelRatio(100001), 0.999993, 1e-6);
  EXPECT_NEAR(largeModelRatio(400000) * 400000, 190000.0, 1e-6);
  EXPECT_NEAR(largeModelRatio(100000000) * 100000000, 30070000.0, 1e-3);
}

TEST(LargeModelCap, ReportsProgressAndRebuildsTopology) {
  Soup soup =
      test::concatenate(test::cubeSoup(), test::tetrahedronSoup(1.0f, test::Winding::kOutward));
  // Move the tetrahedron away so that the two pieces are separate shells.
  for (size_t i = 12 * 9; i < soup.corners.size(); i += 3) soup.corners[i] += 5.0f;
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[2].removed = 1;
  mesh.shells = {{99}};

  // The span the exports give the cap.
  test::RunRecorder run;
  capLargeModel(mesh, run.context().sub(0.65, 0.75));
  EXPECT_EQ(run.percents, (std::vector<int32_t>{65, 75}));
  // Compacted (the removed face is gone) and split into shells again.
  EXPECT_EQ(mesh.faces.size(), 15u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  ASSERT_EQ(mesh.shells.size(), 2u);
  EXPECT_EQ(mesh.shells[0].size(), 11u);
  EXPECT_EQ(mesh.shells[1].size(), 4u);
}

}  // namespace
}  // namespace vekmesh
