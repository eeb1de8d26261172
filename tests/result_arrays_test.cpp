// Turning a TriMesh back into result arrays, and the large-model cap that runs
// before conversion. Single models are the C host's and the repair tests'.
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

// Leaks show in the sanitizer build.
TEST(ConvertSingleModel, OutOfRangeIndexThrowsWithoutLeaking) {
  Soup soup = test::cubeSoup();
  test::assignMaterial(soup, 0);
  TriMesh pieces;
  for (int bad = 0; bad < 2; ++bad) pieces.pieces.push_back(test::buildMesh(soup));
  pieces.pieces[0].faces[5].v[1] = -1;
  pieces.pieces[1].faces[11].uv[2] = 36;
  for (const SubMesh& piece : pieces.pieces)
    EXPECT_THROW(convertSingleModel(piece), std::out_of_range);
  pieces.pieces[0] = test::buildMesh(test::cubeSoup());
  pieces.pieces[1] = test::buildMesh(test::tetrahedronSoup());
  pieces.pieces[1].faces[0].v[0] = 4;  // valid in the first piece, not in its own
  EXPECT_THROW(convertMultiShell(pieces), std::out_of_range);
}

TEST(ConvertMultiShell, WritesPiecesOneAfterAnotherAndSingleModelsLiveFacesOnly) {
  const Soup cube = test::cubeSoup(1.0f, test::Winding::kOutward, {10, 0, 0});
  Soup first, second;
  for (size_t t = 0; t < 12; ++t)
    for (size_t i = 0; i < 9; ++i)
      (t < 5 ? first : second).corners.push_back(cube.corners[9 * t + i]);
  test::assignMaterial(second, 2);
  test::paint(second, {0.2f, 0.6f, 1.0f});

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
  // Untextured faces get uv 0; the second piece's come from its own list.
  std::vector<float> uvs(30, 0.0f);
  uvs.insert(uvs.end(), second.uvs.begin(), second.uvs.end());
  EXPECT_EQ(std::vector<float>(out.model.uvs, out.model.uvs + 72), uvs);
  // Colours come back as their byte over 255: white, then 0.2 -> 51, 0.6 -> 153.
  EXPECT_EQ(out.model.colors[0], 1.0f);
  EXPECT_EQ(out.model.colors[9 * 5 + 1], 0.6f);
  freeModelArrays(out.model);
  std::free(out.pieceCounts);
  // A single model is written without its removed faces.
  ModelArrays single = convertSingleModel(mesh.pieces[0]);
  EXPECT_EQ(std::vector<float>(single.corners, single.corners + 9 * single.count),
            test::withoutTriangle(first, 1).corners);
  freeModelArrays(single);
}

TEST(LargeModelCap, ReportsProgressAndRebuildsTopology) {
  // Two cubes apart: two shells.
  TriMesh mesh = test::buildMesh(test::concatenate(
      test::cubeSoup(), test::cubeSoup(1.0f, test::Winding::kOutward, {5, 0, 0})));
  mesh.faces[2].removed = 1;
  mesh.shells = {{99}};

  test::RunRecorder run;
  capLargeModel(mesh, run.context().sub(0.65, 0.75));
  EXPECT_EQ(run.percents, (std::vector<int32_t>{65, 75}));
  // Compacted (the removed face is gone) and split into shells again.
  EXPECT_EQ(mesh.faces.size(), 23u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  ASSERT_EQ(mesh.shells.size(), 2u);
  EXPECT_EQ(mesh.shells[1].size(), 12u);
}

}  // namespace
}  // namespace vekmesh
