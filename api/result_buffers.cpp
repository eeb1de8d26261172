// Storage and release of the result slots.
#include "api/result_buffers.h"

#include <cstdlib>

namespace vekmesh {
namespace {

template <class T>
void release(T*& slot) {
  std::free(slot);
  slot = nullptr;
}

template <class T>
void writeOut(T* out, const T& value) {
  if (out) *out = value;
}

}  // namespace

ResultBuffers& resultBuffers() {
  static ResultBuffers buffers;
  return buffers;
}

void storeModel(const ModelArrays& model, uint32_t* count_out, float** corners_out,
                float** colors_out, float** uvs_out, int32_t** materials_out) {
  ResultBuffers& b = resultBuffers();
  b.corners = model.corners;
  b.colors = model.colors;
  b.uvs = model.uvs;
  b.materials = model.materials;
  writeOut(count_out, model.count);
  writeOut(corners_out, model.corners);
  writeOut(colors_out, model.colors);
  writeOut(uvs_out, model.uvs);
  writeOut(materials_out, model.materials);
}

void storeCoordinatesOnly(ModelArrays& model, uint32_t* count_out, float** corners_out) {
  storeModel(model, count_out, corners_out, nullptr, nullptr, nullptr);
  ResultBuffers& b = resultBuffers();
  release(b.colors);
  release(b.uvs);
  release(b.materials);
  model.colors = nullptr;
  model.uvs = nullptr;
  model.materials = nullptr;
}

void storeMultiModel(const MultiModelArrays& result, uint32_t* piece_count_out,
                     uint32_t** piece_counts_out, float** corners_out, float** colors_out,
                     float** uvs_out, int32_t** materials_out) {
  storeModel(result.model, nullptr, corners_out, colors_out, uvs_out, materials_out);
  resultBuffers().shellCounts = result.pieceCounts;
  writeOut(piece_count_out, result.pieceCount);
  writeOut(piece_counts_out, result.pieceCounts);
}

void releaseAllSlots() {
  ResultBuffers& b = resultBuffers();
  release(b.corners);
  release(b.colors);
  release(b.uvs);
  release(b.materials);
  release(b.shellCounts);
  release(b.extraModelFirst);
  release(b.sectionFirst);
  release(b.sectionSecond);
  release(b.sectionThird);
  release(b.extraModelSecond);
  releaseDecompositionPreviewSlots();
  releaseBalancingPreviewSlot();
  release(b.extraLast);
}

void releaseCornerSlot() { release(resultBuffers().corners); }

void releaseDecompositionPreviewSlots() {
  for (void*& slot : resultBuffers().decompositionPreview) release(slot);
}

void releaseBalancingPreviewSlot() { release(resultBuffers().balancingPreview); }

}  // namespace vekmesh
