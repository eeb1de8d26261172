// Tests of turning a TriMesh back into result arrays (one model and several
// pieces) and of the large-model cap that runs before conversion.
#include "api/result_arrays.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/large_model_cap.h"

namespace vekmesh {
namespace {

using test::Soup;

TEST(ConvertSingleModel, WritesLiveFacesWithTheirAttributesInOrder) {
  Soup textured = test::cubeSoup(1.5f, test::Winding::kOutward, {0.25f, -3.0f, 7.0f});
  test::assignMaterial(textured, 4);
  test::paint(textured, {0.2f, 0.6f, 1.0f});
  const Soup soup = test::concatenate(textured, test::tetrahedronSoup(0.5f));
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[3].removed = 1;
  ModelArrays out = convertSingleModel(mesh);

  // Triangle k of the result is soup triangle k, skipping the removed one.
  ASSERT_EQ(out.count, 15u);
  const Soup expected = test::withoutTriangle(soup, 3);
  EXPECT_EQ(std::vector<float>(out.corners, out.corners + 9 * 15), expected.corners);
  std::vector<float> uvs = expected.uvs;
  std::fill(uvs.begin() + 6 * 11, uvs.end(), 0.0f);  // the untextured tetrahedron
  EXPECT_EQ(std::vector<float>(out.uvs, out.uvs + 6 * 15), uvs);
  for (uint32_t t = 0; t < 15; ++t) EXPECT_EQ(out.materials[t], t < 11 ? 4 : -1);
  // Colours come back as their byte over 255: 0.2 -> 51, 0.6 -> 153, white.
  EXPECT_EQ(out.colors[1], 0.6f);
  EXPECT_EQ(out.colors[9 * 14], 1.0f);
  freeModelArrays(out);
}

TEST(ConvertSingleModel, OutOfRangeIndexThrowsWithoutLeaking) {
  Soup soup = test::cubeSoup();
  test::assignMaterial(soup, 0);
  TriMesh mesh = test::buildMesh(soup);
  for (int32_t bad : {8, -1}) {
    TriMesh copy = mesh;
    copy.faces[5].v[1] = bad;
    EXPECT_THROW(convertSingleModel(copy), std::out_of_range);
  }
  mesh.faces[11].uv[2] = 36;
  EXPECT_THROW(convertSingleModel(mesh), std::out_of_range);

  TriMesh pieces;
  pieces.pieces.push_back(test::buildMesh(test::cubeSoup()));
  pieces.pieces.push_back(test::buildMesh(test::tetrahedronSoup()));
  pieces.pieces[1].faces[0].v[0] = 4;  // valid in the first piece, not in its own
  EXPECT_THROW(convertMultiShell(pieces), std::out_of_range);
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
}

TEST(LargeModelCap, ReportsProgressAndRebuildsTopology) {
  Soup soup = test::concatenate(test::cubeSoup(), test::tetrahedronSoup());
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
  EXPECT_EQ(mesh.shells[1].size(), 4u);
}

}  // namespace
}  // namespace vekmesh
