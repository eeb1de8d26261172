// Storage and release of the result slots.
#include "api/result_buffers.h"

#include <cstdlib>
#include <cstring>

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

// One malloc block holding a copy of `values`; at least one byte, so that an
// empty result is still a real, freeable allocation.
template <class T>
T* heapCopy(const std::vector<T>& values) {
  const size_t bytes = values.size() * sizeof(T);
  T* block = static_cast<T*>(std::malloc(bytes ? bytes : 1));
  if (block && bytes) std::memcpy(block, values.data(), bytes);
  return block;
}

void releaseSceneNames() {
  ResultBuffers& b = resultBuffers();
  if (b.sceneNames)
    for (uint32_t i = 0; i < b.sceneNameCount; ++i) std::free(b.sceneNames[i]);
  release(b.sceneNames);
  b.sceneNameCount = 0;
}

void storeOutlines(const PolygonOutlines& outlines, void*& points_slot, void*& counts_slot,
                   void*& labels_slot, float** points_out, int32_t** point_counts_out,
                   int32_t* polygon_count_out, int32_t** labels_out) {
  float* points = heapCopy(outlines.points);
  int32_t* counts = heapCopy(outlines.pointCounts);
  int32_t* labels = heapCopy(outlines.labels);
  points_slot = points;
  counts_slot = counts;
  labels_slot = labels;
  writeOut(points_out, points);
  writeOut(point_counts_out, counts);
  writeOut(polygon_count_out, outlines.polygonCount());
  writeOut(labels_out, labels);
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

void storeMultiModel(const MultiModelArrays& result, uint32_t* piece_count_out,
                     uint32_t** piece_counts_out, float** corners_out, float** colors_out,
                     float** uvs_out, int32_t** materials_out) {
  storeModel(result.model, nullptr, corners_out, colors_out, uvs_out, materials_out);
  resultBuffers().shellCounts = result.pieceCounts;
  writeOut(piece_count_out, result.pieceCount);
  writeOut(piece_counts_out, result.pieceCounts);
}

void storeEmptyMultiModel(uint32_t* piece_count_out, uint32_t** piece_counts_out,
                          float** corners_out, float** colors_out, float** uvs_out,
                          int32_t** materials_out) {
  MultiModelArrays empty;
  empty.model = convertSingleModel(SubMesh{});
  empty.pieceCounts = heapCopy(std::vector<uint32_t>());
  storeMultiModel(empty, piece_count_out, piece_counts_out, corners_out, colors_out, uvs_out,
                  materials_out);
}

void storeSections(const std::vector<float>& points, const std::vector<uint32_t>& score_bits,
                   const std::vector<int32_t>& point_counts, float** points_out,
                   uint32_t** score_bits_out, int32_t** point_counts_out,
                   int32_t* polygon_count_out) {
  ResultBuffers& b = resultBuffers();
  float* p = heapCopy(points);
  uint32_t* s = heapCopy(score_bits);
  int32_t* c = heapCopy(point_counts);
  b.sectionPoints = p;
  b.sectionScoreBits = s;
  b.sectionPointCounts = c;
  writeOut(points_out, p);
  writeOut(score_bits_out, s);
  writeOut(point_counts_out, c);
  writeOut(polygon_count_out, static_cast<int32_t>(point_counts.size()));
}

void storeLampshadePreview(const PolygonOutlines& outlines, float** points_out,
                           int32_t** point_counts_out, int32_t* polygon_count_out,
                           int32_t** labels_out) {
  ResultBuffers& b = resultBuffers();
  storeOutlines(outlines, b.lampshadePoints, b.lampshadePointCounts, b.lampshadeLabels, points_out,
                point_counts_out, polygon_count_out, labels_out);
}

void storeDecompositionPreview(const PolygonOutlines& outlines, float** points_out,
                               int32_t** point_counts_out, int32_t* polygon_count_out,
                               int32_t** labels_out) {
  void** slots = resultBuffers().decompositionPreview;
  storeOutlines(outlines, slots[0], slots[1], slots[2], points_out, point_counts_out,
                polygon_count_out, labels_out);
}

void storeBalancingPreview(const std::vector<float>& corners, float** preview_out,
                           uint32_t* triangle_count_out) {
  float* preview = heapCopy(corners);
  resultBuffers().balancingPreview = preview;
  writeOut(preview_out, preview);
  writeOut(triangle_count_out, static_cast<uint32_t>(corners.size() / 9));
}

void storeSceneNames(const std::vector<std::string>& names, char*** names_out,
                     uint32_t* name_count_out) {
  const size_t n = names.size();
  char** array = static_cast<char**>(std::calloc(n ? n : 1, sizeof(char*)));
  uint32_t stored = 0;
  if (array)
    for (; stored < n; ++stored) {
      const std::string& name = names[stored];
      char* copy = static_cast<char*>(std::malloc(name.size() + 1));
      if (!copy) break;
      std::memcpy(copy, name.c_str(), name.size() + 1);
      array[stored] = copy;
    }
  ResultBuffers& b = resultBuffers();
  b.sceneNames = array;
  b.sceneNameCount = stored;
  writeOut(names_out, array);
  writeOut(name_count_out, stored);
}

void releaseAllSlots() {
  ResultBuffers& b = resultBuffers();
  release(b.corners);
  release(b.colors);
  release(b.uvs);
  release(b.materials);
  release(b.shellCounts);
  release(b.lampshadePoints);
  release(b.sectionPoints);
  release(b.sectionScoreBits);
  release(b.sectionPointCounts);
  release(b.lampshadePointCounts);
  releaseDecompositionPreviewSlots();
  releaseBalancingPreviewSlot();
  release(b.lampshadeLabels);
  releaseSceneNames();
}

void releaseCornerSlot() {
  release(resultBuffers().corners);
}

void releaseDecompositionPreviewSlots() {
  for (void*& slot : resultBuffers().decompositionPreview) release(slot);
}

void releaseBalancingPreviewSlot() {
  release(resultBuffers().balancingPreview);
}

}  // namespace vekmesh
