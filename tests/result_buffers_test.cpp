// Tests of which result slots each store and free function touches. The
// calling contract as a host sees it (slots overwritten without freeing, free
// functions harmless when repeated, progress) is the C host test's.
#include "api/result_buffers.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "api/driver_frame.h"
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

TEST(ResultSlots, CoordinatesOnlyResultKeepsJustTheCoordinateSlot) {
  freeAllArray();
  // A full result first: the coordinates-only one must empty its other slots.
  ModelArrays earlier = convertSingleModel(test::buildMesh(test::cubeSoup()));
  storeModel(earlier, nullptr, nullptr, nullptr, nullptr, nullptr);
  const TriMesh cube = test::buildMesh(test::cubeSoup());
  uint32_t count = 0;
  float* corners = nullptr;
  storeResult(cube, ModelOut::coordinates(&count, &corners));
  EXPECT_EQ(count, 12u);
  const ResultBuffers& b = resultBuffers();
  EXPECT_EQ(b.corners, corners);
  EXPECT_EQ(corners[9 * 11 + 8], 1.0f);
  EXPECT_TRUE(!b.colors && !b.uvs && !b.materials);
  freeModelArrays(earlier);  // overwritten, not freed: the caller's to release
  freeVertexArray();
  EXPECT_TRUE(allSlotsEmpty());

  // The voxel result keeps coordinates and colours.
  float* colors = nullptr;
  storeResult(cube, ModelOut::coordinatesAndColors(&count, &corners, &colors));
  EXPECT_EQ(b.colors, colors);
  EXPECT_EQ(colors[5], 1.0f);
  EXPECT_TRUE(!b.uvs && !b.materials);
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

TEST(ResultSlots, EachFreeFunctionReleasesItsOwnSlots) {
  freeAllArray();
  ResultBuffers& b = resultBuffers();
  void** slots[] = {&b.lampshadePoints,         &b.lampshadePointCounts,
                    &b.decompositionPreview[0], &b.decompositionPreview[1],
                    &b.decompositionPreview[2], &b.balancingPreview,
                    &b.lampshadeLabels};
  for (void** slot : slots) *slot = std::malloc(16);
  storeSections({1.0f, 2.0f, 3.0f}, {7u}, {1}, nullptr, nullptr, nullptr, nullptr);
  TriMesh pieces;
  pieces.pieces.push_back(test::buildMesh(test::cubeSoup()));
  pieces.pieces.push_back(test::buildMesh(test::tetrahedronSoup()));
  const MultiModelArrays multi = convertMultiShell(pieces);
  uint32_t piece_count = 0;
  uint32_t* piece_counts = nullptr;
  storeMultiModel(multi, &piece_count, &piece_counts, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(piece_count, 2u);
  EXPECT_EQ(b.shellCounts, piece_counts);
  char** names = nullptr;
  uint32_t name_count = 0;
  storeSceneNames({"door", "", "window"}, &names, &name_count);
  ASSERT_EQ(name_count, 3u);
  EXPECT_STREQ(names[2], "window");

  freeDecompositionPreviewArray();
  for (void* slot : b.decompositionPreview) EXPECT_EQ(slot, nullptr);
  EXPECT_NE(b.balancingPreview, nullptr);
  freeBalancingPreviewArray();
  EXPECT_EQ(b.balancingPreview, nullptr);
  EXPECT_TRUE(b.sectionPoints && b.lampshadeLabels && b.sceneNames && b.corners);
  freeVertexArray();
  EXPECT_EQ(b.corners, nullptr);
  EXPECT_TRUE(b.colors && b.uvs && b.materials && b.shellCounts);

  // Everything else goes with freeAllArray; the sanitizer build reports any
  // slot it forgets as a leak.
  freeAllArray();
  EXPECT_TRUE(allSlotsEmpty());
}

}  // namespace
}  // namespace vekmesh
