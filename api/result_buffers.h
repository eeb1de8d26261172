// The result slots: one module-level slot per kind of returned array. Filling
// a slot overwrites it without freeing what it held; the free functions free
// and null. Unguarded: the library serves one call at a time.
#pragma once

#include <cstdint>

#include "mesh/result_arrays.h"

namespace vekmesh {

// Declared in the order freeAllArray releases them.
struct ResultBuffers {
  float* corners = nullptr;
  float* colors = nullptr;
  float* uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t* shellCounts = nullptr;
  void* extraModelFirst = nullptr;  // released but written by no operation yet
  void* sectionFirst = nullptr;
  void* sectionSecond = nullptr;
  void* sectionThird = nullptr;
  void* extraModelSecond = nullptr;  // released but written by no operation yet
  void* decompositionPreview[3] = {nullptr, nullptr, nullptr};
  void* balancingPreview = nullptr;
  void* extraLast = nullptr;  // released but written by no operation yet
};

ResultBuffers& resultBuffers();

// Records a converted model in the four model slots and writes its addresses
// and count to whichever out-parameters are non-null.
void storeModel(const ModelArrays& model, uint32_t* count_out, float** corners_out,
                float** colors_out, float** uvs_out, int32_t** materials_out);

// As storeModel, then frees the colour, texture and material arrays at once and
// nulls their slots: only the coordinates are handed out.
void storeCoordinatesOnly(ModelArrays& model, uint32_t* count_out, float** corners_out);

// Records a multi-piece result, including the per-piece counts slot.
void storeMultiModel(const MultiModelArrays& result, uint32_t* piece_count_out,
                     uint32_t** piece_counts_out, float** corners_out, float** colors_out,
                     float** uvs_out, int32_t** materials_out);

void releaseAllSlots();
void releaseCornerSlot();
void releaseDecompositionPreviewSlots();
void releaseBalancingPreviewSlot();

}  // namespace vekmesh
