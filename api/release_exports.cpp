// The four release exports.
#include "api/result_buffers.h"
#include "include/vekmesh.h"

extern "C" {

VEKMESH_API void freeAllArray(void) {
  vekmesh::releaseAllSlots();
}

VEKMESH_API void freeVertexArray(void) {
  vekmesh::releaseCornerSlot();
}

VEKMESH_API void freeDecompositionPreviewArray(void) {
  vekmesh::releaseDecompositionPreviewSlots();
}

VEKMESH_API void freeBalancingPreviewArray(void) {
  vekmesh::releaseBalancingPreviewSlot();
}

}  // extern "C"
