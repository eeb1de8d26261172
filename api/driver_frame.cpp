// The shared driver frame of the exports.
#include "api/driver_frame.h"

#include "api/result_buffers.h"
#include "io/stl.h"
#include "mesh/progress_cell.h"

namespace vekmesh {
namespace {

template <class T>
void writeOut(T* out, const T& value) {
  if (out) *out = value;
}

}  // namespace

ProgressBinding::ProgressBinding(int32_t* progress) {
  bindProgress(progress);
}

ProgressBinding::~ProgressBinding() {
  releaseProgress();
}

void buildInput(SubMesh& mesh, uint32_t count, const float* corners, const float* colors,
                const float* uvs, const int32_t* materials) {
  buildTriMesh(mesh, corners ? count : 0, corners, colors, uvs, materials);
  mesh.tag = &mesh;
}

void loadInput(SubMesh& mesh, const char* path) {
  if (path) loadStl(path, mesh);
  mesh.tag = &mesh;
}

IndirectInput readIndirect(float* const* corners_address, const uint32_t* count_address) {
  IndirectInput in;
  if (corners_address && count_address && *corners_address) {
    in.corners = *corners_address;
    in.count = *count_address;
  }
  return in;
}

uint32_t countFromSigned(int32_t count) {
  return count > 0 ? static_cast<uint32_t>(count) : 0;
}

void writeCounters(const std::array<int32_t, 4>& counters, int32_t* first, int32_t* second,
                   int32_t* third, int32_t* fourth) {
  writeOut(first, counters[0]);
  writeOut(second, counters[1]);
  writeOut(third, counters[2]);
  writeOut(fourth, counters[3]);
}

void failModel(uint32_t* count_out, float** corners_out, float** colors_out, float** uvs_out,
               int32_t** materials_out) noexcept {
  try {
    storeEmptyModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  } catch (...) {
    writeOut(count_out, 0u);
    writeOut(corners_out, static_cast<float*>(nullptr));
    writeOut(colors_out, static_cast<float*>(nullptr));
    writeOut(uvs_out, static_cast<float*>(nullptr));
    writeOut(materials_out, static_cast<int32_t*>(nullptr));
  }
}

void failCoordinates(uint32_t* count_out, float** corners_out) noexcept {
  try {
    ModelArrays empty = convertSingleModel(SubMesh{});
    storeCoordinatesOnly(empty, count_out, corners_out);
  } catch (...) {
    writeOut(count_out, 0u);
    writeOut(corners_out, static_cast<float*>(nullptr));
  }
}

void failCoordinatesAndColors(uint32_t* count_out, float** corners_out,
                              float** colors_out) noexcept {
  try {
    ModelArrays empty = convertSingleModel(SubMesh{});
    storeCoordinatesAndColors(empty, count_out, corners_out, colors_out);
  } catch (...) {
    writeOut(count_out, 0u);
    writeOut(corners_out, static_cast<float*>(nullptr));
    writeOut(colors_out, static_cast<float*>(nullptr));
  }
}

void failMultiModel(uint32_t* piece_count_out, uint32_t** piece_counts_out, float** corners_out,
                    float** colors_out, float** uvs_out, int32_t** materials_out) noexcept {
  try {
    storeEmptyMultiModel(piece_count_out, piece_counts_out, corners_out, colors_out, uvs_out,
                         materials_out);
  } catch (...) {
    writeOut(piece_count_out, 0u);
    writeOut(piece_counts_out, static_cast<uint32_t*>(nullptr));
    writeOut(corners_out, static_cast<float*>(nullptr));
    writeOut(colors_out, static_cast<float*>(nullptr));
    writeOut(uvs_out, static_cast<float*>(nullptr));
    writeOut(materials_out, static_cast<int32_t*>(nullptr));
  }
}

}  // namespace vekmesh
