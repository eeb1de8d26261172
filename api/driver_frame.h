// The frame every export shares: the progress binding that ends on every path,
// building or loading the tagged mesh, reading inputs passed by address, and
// the empty results left behind when an export fails. Each export declares its
// TriMesh before its ProgressBinding, so the cell is back on the dummy before
// the mesh is destroyed.
#pragma once

#include <array>
#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

class ProgressBinding {
 public:
  // Stores the caller's integer (or null) as the progress target and writes 0.
  explicit ProgressBinding(int32_t* progress);
  // Points the target back at the internal dummy.
  ~ProgressBinding();
  ProgressBinding(const ProgressBinding&) = delete;
  ProgressBinding& operator=(const ProgressBinding&) = delete;
};

// Welds the caller's soup into `mesh` and sets its tag. A null corner array
// gives an empty mesh.
void buildInput(SubMesh& mesh, uint32_t count, const float* corners, const float* colors = nullptr,
                const float* uvs = nullptr, const int32_t* materials = nullptr);

// Reads `path` with the STL loader (binary or ASCII by content, whatever the
// extension) and sets the tag. A null path gives an empty mesh.
void loadInput(SubMesh& mesh, const char* path);

// Inputs handed over as the address of the caller's array pointer and the
// address of its count; a null address reads as an empty input.
struct IndirectInput {
  const float* corners = nullptr;
  uint32_t count = 0;
};
IndirectInput readIndirect(float* const* corners_address, const uint32_t* count_address);

// A signed triangle count from the caller; negative counts are empty.
uint32_t countFromSigned(int32_t count);

// Writes each counter to the caller's pointer when it is non-null.
void writeCounters(const std::array<int32_t, 4>& counters, int32_t* first, int32_t* second,
                   int32_t* third, int32_t* fourth);

// The empty, freeable results of a failed export. They never throw; if even
// the empty arrays cannot be allocated, the out-parameters get null and 0.
void failModel(uint32_t* count_out, float** corners_out, float** colors_out, float** uvs_out,
               int32_t** materials_out) noexcept;
void failCoordinates(uint32_t* count_out, float** corners_out) noexcept;
void failCoordinatesAndColors(uint32_t* count_out, float** corners_out,
                              float** colors_out) noexcept;
void failMultiModel(uint32_t* piece_count_out, uint32_t** piece_counts_out, float** corners_out,
                    float** colors_out, float** uvs_out, int32_t** materials_out) noexcept;

}  // namespace vekmesh
