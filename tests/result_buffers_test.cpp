// Which result slots each store function fills and each free function
// empties. The calling contract as a host sees it (slots overwritten without
// freeing, free functions harmless when repeated) is the C host test's.
#include "api/result_buffers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "include/vekmesh.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace {

// The slots' values in declaration order.
std::vector<const void*> slotValues() {
  const ResultBuffers& b = resultBuffers();
  // clang-format off
  const void* slots[] = {b.corners, b.colors, b.uvs, b.materials, b.shellCounts,
      b.lampshadePoints, b.sectionPoints, b.sectionScoreBits, b.sectionPointCounts,
      b.lampshadePointCounts, b.decompositionPreview[0], b.decompositionPreview[1],
      b.decompositionPreview[2], b.balancingPreview, b.lampshadeLabels, b.sceneNames};
  // clang-format on
  return std::vector<const void*>(std::begin(slots), std::end(slots));
}

TEST(ResultSlots, EachFreeFunctionReleasesItsOwnSlots) {
  const struct {
    void (*release)();
    std::vector<size_t> emptied;
  } cases[] = {{freeVertexArray, {0}},
               {freeDecompositionPreviewArray, {10, 11, 12}},
               {freeBalancingPreviewArray, {13}},
               {freeAllArray, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}}};
  TriMesh pieces;
  pieces.pieces.push_back(test::buildMesh(test::cubeSoup()));
  for (const auto& c : cases) {
    // Every store function fills its own slots, even with nothing to hold.
    freeAllArray();
    storeMultiModel(convertMultiShell(pieces), nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr);
    storeSections({}, {}, {}, nullptr, nullptr, nullptr, nullptr);
    storeLampshadePreview({}, nullptr, nullptr, nullptr, nullptr);
    storeDecompositionPreview({}, nullptr, nullptr, nullptr, nullptr);
    storeBalancingPreview({}, nullptr, nullptr);
    storeSceneNames({"door", ""}, nullptr, nullptr);
    for (const void* slot : slotValues()) ASSERT_NE(slot, nullptr);

    // The sanitizer build reports a slot emptied without being freed as a leak.
    c.release();
    const std::vector<const void*> after = slotValues();
    for (size_t i = 0; i < after.size(); ++i)
      EXPECT_EQ(after[i] == nullptr,
                std::find(c.emptied.begin(), c.emptied.end(), i) != c.emptied.end())
          << "slot " << i;
  }
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
