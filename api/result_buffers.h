// The result slots: one module-level slot per kind of returned array. Filling
// a slot overwrites it without freeing what it held; the free functions free
// and null. Unguarded: the library serves one call at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "api/result_arrays.h"
#include "mesh/polygon_outlines.h"

namespace vekmesh {

// Declared in the order freeAllArray releases them.
struct ResultBuffers {
  float* corners = nullptr;
  float* colors = nullptr;
  float* uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t* shellCounts = nullptr;
  void* lampshadePoints = nullptr;  // the two further model slots and the last
                                    // slot carry the lampshade preview
  // The weak sections' polygons: every point's x, y, z; per polygon the bit
  // pattern of its section's score (a float handed out as its bits); per
  // polygon its number of points.
  float* sectionPoints = nullptr;
  uint32_t* sectionScoreBits = nullptr;
  int32_t* sectionPointCounts = nullptr;
  void* lampshadePointCounts = nullptr;
  void* decompositionPreview[3] = {nullptr, nullptr, nullptr};
  void* balancingPreview = nullptr;
  void* lampshadeLabels = nullptr;
  // Names collected by the VRML/X3D reader: an array of separately allocated
  // strings, released string by string.
  char** sceneNames = nullptr;
  uint32_t sceneNameCount = 0;
};

ResultBuffers& resultBuffers();

// Records a converted model in the four model slots (an array the conversion
// did not make empties its slot) and writes its addresses and count to
// whichever out-parameters are non-null.
void storeModel(const ModelArrays& model, uint32_t* count_out, float** corners_out,
                float** colors_out, float** uvs_out, int32_t** materials_out);

// Records a multi-piece result, including the per-piece counts slot.
void storeMultiModel(const MultiModelArrays& result, uint32_t* piece_count_out,
                     uint32_t** piece_counts_out, float** corners_out, float** colors_out,
                     float** uvs_out, int32_t** materials_out);

// A zero-piece result in the model and piece-count slots. Used when an export
// fails, so that the caller still gets freeable arrays and a count of 0.
void storeEmptyMultiModel(uint32_t* piece_count_out, uint32_t** piece_counts_out,
                          float** corners_out, float** colors_out, float** uvs_out,
                          int32_t** materials_out);

// Weak-section polygons in the three section slots: points (x, y, z), per
// polygon the bit pattern of its score and its point count.
void storeSections(const std::vector<float>& points, const std::vector<uint32_t>& score_bits,
                   const std::vector<int32_t>& point_counts, float** points_out,
                   uint32_t** score_bits_out, int32_t** point_counts_out,
                   int32_t* polygon_count_out);

// Preview outlines in the lampshade slots or the three decomposition-preview
// slots.
void storeLampshadePreview(const PolygonOutlines& outlines, float** points_out,
                           int32_t** point_counts_out, int32_t* polygon_count_out,
                           int32_t** labels_out);
void storeDecompositionPreview(const PolygonOutlines& outlines, float** points_out,
                               int32_t** point_counts_out, int32_t* polygon_count_out,
                               int32_t** labels_out);

// Balancing-preview triangles (9 floats each) in the balancing-preview slot.
void storeBalancingPreview(const std::vector<float>& corners, float** preview_out,
                           uint32_t* triangle_count_out);

// The VRML/X3D names, replacing (without freeing) what the slot held.
void storeSceneNames(const std::vector<std::string>& names, char*** names_out,
                     uint32_t* name_count_out);

void releaseAllSlots();
void releaseCornerSlot();
void releaseDecompositionPreviewSlots();
void releaseBalancingPreviewSlot();

}  // namespace vekmesh
