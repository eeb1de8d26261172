// Tests of the result slots with their exported free functions, and of the
// progress cell that entry points bind for the duration of one call.
#include "api/result_buffers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "api/driver_frame.h"
#include "api/progress_cell.h"
#include "api/result_arrays.h"
#include "include/vekmesh.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace {

bool allSlotsEmpty() {
  const ResultBuffers& b = resultBuffers();
  return !b.corners && !b.colors && !b.uvs && !b.materials && !b.shellCounts &&
         !b.lampshadePoints && !b.sectionPoints && !b.sectionScoreBits && !b.sectionPointCounts &&
         !b.lampshadePointCounts && !b.decompositionPreview[0] && !b.decompositionPreview[1] &&
         !b.decompositionPreview[2] && !b.balancingPreview && !b.lampshadeLabels && !b.sceneNames &&
         b.sceneNameCount == 0;
}

ModelArrays convertedCube() {
  return convertSingleModel(test::buildMesh(test::cubeSoup()));
}

// Run in a process of its own: the slots and the cell are process-wide and
// other tests in this binary change them.
int freshProcessFaults() {
  int faults = 0;
  if (!allSlotsEmpty()) faults |= 1;
  if (progressTarget() != nullptr) faults |= 2;
  setProgress(40);  // no target yet: the write is skipped
  freeAllArray();
  freeVertexArray();
  freeDecompositionPreviewArray();
  freeBalancingPreviewArray();
  if (!allSlotsEmpty()) faults |= 4;
  return faults;
}

TEST(ResultSlotsDeathTest, StartEmptyWithNoProgressTarget) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // re-executes: a fresh process
  EXPECT_EXIT(std::exit(freshProcessFaults()), ::testing::ExitedWithCode(0), "");
}

class ResultSlots : public ::testing::Test {
 protected:
  void SetUp() override { freeAllArray(); }
  void TearDown() override { freeAllArray(); }
};

TEST_F(ResultSlots, FreeFunctionsAreHarmlessOnEmptySlotsAndWhenRepeated) {
  for (int round = 0; round < 2; ++round) {
    freeAllArray();
    freeVertexArray();
    freeDecompositionPreviewArray();
    freeBalancingPreviewArray();
  }
  EXPECT_TRUE(allSlotsEmpty());
}

TEST_F(ResultSlots, FreeVertexArrayReleasesOnlyTheCoordinates) {
  const ModelArrays model = convertedCube();
  uint32_t count = 0;
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  storeModel(model, &count, &corners, &colors, &uvs, &materials);
  EXPECT_EQ(count, 12u);
  EXPECT_EQ(corners, model.corners);
  EXPECT_EQ(colors, model.colors);
  EXPECT_EQ(uvs, model.uvs);
  EXPECT_EQ(materials, model.materials);

  const ResultBuffers& b = resultBuffers();
  freeVertexArray();
  freeVertexArray();
  EXPECT_EQ(b.corners, nullptr);
  EXPECT_EQ(b.colors, model.colors);
  EXPECT_EQ(b.uvs, model.uvs);
  EXPECT_EQ(b.materials, model.materials);
  EXPECT_EQ(colors[5], 1.0f);  // still readable

  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
  freeAllArray();
}

TEST_F(ResultSlots, CoordinatesOnlyResultKeepsJustTheCoordinateSlot) {
  // A full result first: the coordinates-only one must empty its other slots.
  ModelArrays earlier = convertedCube();
  storeModel(earlier, nullptr, nullptr, nullptr, nullptr, nullptr);
  const TriMesh cube = test::buildMesh(test::cubeSoup());
  uint32_t count = 0;
  float* corners = nullptr;
  storeResult(cube, ModelOut::coordinates(&count, &corners));
  EXPECT_EQ(count, 12u);
  const ResultBuffers& b = resultBuffers();
  EXPECT_EQ(b.corners, corners);
  EXPECT_EQ(corners[9 * 11 + 8], 1.0f);
  EXPECT_EQ(b.colors, nullptr);
  EXPECT_EQ(b.uvs, nullptr);
  EXPECT_EQ(b.materials, nullptr);
  freeModelArrays(earlier);  // overwritten, not freed: the caller's to release
  freeVertexArray();
  EXPECT_TRUE(allSlotsEmpty());

  // The voxel result keeps coordinates and colours.
  float* colors = nullptr;
  storeResult(cube, ModelOut::coordinatesAndColors(&count, &corners, &colors));
  EXPECT_EQ(b.colors, colors);
  EXPECT_EQ(colors[5], 1.0f);
  EXPECT_EQ(b.uvs, nullptr);
  EXPECT_EQ(b.materials, nullptr);
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

TEST_F(ResultSlots, StoringAgainOverwritesWithoutFreeing) {
  ModelArrays first = convertedCube();
  storeModel(first, nullptr, nullptr, nullptr, nullptr, nullptr);
  const ModelArrays second = convertSingleModel(test::buildMesh(test::tetrahedronSoup()));
  uint32_t count = 0;
  storeModel(second, &count, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(resultBuffers().corners, second.corners);
  EXPECT_EQ(resultBuffers().materials, second.materials);

  // The earlier arrays are still valid and now the caller's to release.
  EXPECT_EQ(first.corners[9 * 11 + 8], 1.0f);
  EXPECT_EQ(first.materials[11], -1);
  freeModelArrays(first);
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

TEST_F(ResultSlots, MultiModelFillsThePieceCountSlot) {
  TriMesh mesh;
  mesh.pieces.push_back(test::buildMesh(test::cubeSoup()));
  mesh.pieces.push_back(test::buildMesh(test::tetrahedronSoup()));
  const MultiModelArrays result = convertMultiShell(mesh);
  uint32_t piece_count = 0;
  uint32_t* piece_counts = nullptr;
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  storeMultiModel(result, &piece_count, &piece_counts, &corners, &colors, &uvs, &materials);
  EXPECT_EQ(piece_count, 2u);
  ASSERT_EQ(piece_counts, result.pieceCounts);
  EXPECT_EQ(piece_counts[1], 4u);
  EXPECT_EQ(resultBuffers().shellCounts, result.pieceCounts);
  EXPECT_EQ(resultBuffers().corners, corners);
  EXPECT_EQ(materials[15], -1);
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

TEST_F(ResultSlots, EachFreeFunctionReleasesItsOwnSlots) {
  ResultBuffers& b = resultBuffers();
  void** slots[] = {&b.lampshadePoints,         &b.lampshadePointCounts,
                    &b.decompositionPreview[0], &b.decompositionPreview[1],
                    &b.decompositionPreview[2], &b.balancingPreview,
                    &b.lampshadeLabels};
  for (void** slot : slots) *slot = std::malloc(16);
  storeSections({1.0f, 2.0f, 3.0f}, {7u}, {1}, nullptr, nullptr, nullptr, nullptr);
  storeModel(convertedCube(), nullptr, nullptr, nullptr, nullptr, nullptr);
  char** names = nullptr;
  uint32_t name_count = 0;
  storeSceneNames({"door", "", "window"}, &names, &name_count);
  ASSERT_EQ(name_count, 3u);
  EXPECT_STREQ(names[2], "window");

  freeDecompositionPreviewArray();
  for (void* slot : b.decompositionPreview) EXPECT_EQ(slot, nullptr);
  EXPECT_NE(b.balancingPreview, nullptr);
  EXPECT_NE(b.corners, nullptr);

  freeBalancingPreviewArray();
  EXPECT_EQ(b.balancingPreview, nullptr);
  EXPECT_NE(b.sectionPoints, nullptr);
  EXPECT_NE(b.lampshadeLabels, nullptr);
  EXPECT_NE(b.sceneNames, nullptr);

  // Everything else goes with freeAllArray; the sanitizer build reports any
  // slot it forgets as a leak.
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

TEST(ProgressCell, BindWritesZeroAndReleaseShieldsTheCaller) {
  int32_t caller = -7;
  bindProgress(&caller);
  EXPECT_EQ(caller, 0);
  EXPECT_EQ(progressTarget(), &caller);
  setProgress(40);
  EXPECT_EQ(caller, 40);

  releaseProgress();
  ASSERT_NE(progressTarget(), nullptr);
  EXPECT_NE(progressTarget(), &caller);
  setProgress(90);  // a later call without a progress argument
  EXPECT_EQ(caller, 40);
  EXPECT_EQ(*progressTarget(), 90);

  // A null progress argument is allowed: writes are skipped.
  bindProgress(nullptr);
  EXPECT_EQ(progressTarget(), nullptr);
  setProgress(10);
  releaseProgress();
  EXPECT_EQ(caller, 40);
}

}  // namespace
}  // namespace vekmesh
