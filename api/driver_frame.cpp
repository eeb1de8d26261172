// The shared driver frame of the exports.
#include "api/driver_frame.h"

#include "api/log_sink.h"
#include "api/progress_cell.h"
#include "api/result_buffers.h"
#include "io/stl.h"

namespace vekmesh {
namespace {

template <class T>
void writeOut(T* out, const T& value) {
  if (out) *out = value;
}

// The results of a failed export when even empty arrays could not be made.
void writeNothing(const ModelOut& out) noexcept {
  writeOut(out.count, 0u);
  writeOut(out.corners, static_cast<float*>(nullptr));
  writeOut(out.colors, static_cast<float*>(nullptr));
  writeOut(out.uvs, static_cast<float*>(nullptr));
  writeOut(out.materials, static_cast<int32_t*>(nullptr));
}

}  // namespace

ProgressBinding::ProgressBinding(ProgressArgument progress) : bound_(progress.given) {
  if (bound_) bindProgress(progress.target);
}

ProgressBinding::~ProgressBinding() {
  if (bound_) releaseProgress();
}

SoupInput readIndirect(float* const* corners_address, const uint32_t* count_address) {
  SoupInput in;
  if (corners_address && count_address && *corners_address) {
    in.corners = *corners_address;
    in.count = *count_address;
  }
  return in;
}

uint32_t countFromSigned(int32_t count) {
  return count > 0 ? static_cast<uint32_t>(count) : 0;
}

void buildInput(SubMesh& mesh, const SoupInput& in) {
  buildTriMesh(mesh, in.corners ? in.count : 0, in.corners, in.colors, in.uvs, in.materials);
  mesh.tag = &mesh;
}

void loadInput(const char* path, SubMesh& mesh, const RunContext& run) {
  if (path) loadStl(path, mesh, run.sub(0.0, 0.5));
  mesh.tag = &mesh;
}

ModelOut ModelOut::coordinates(uint32_t* count, float** corners) {
  ModelOut out;
  out.arrays = kCornerArray;
  out.count = count;
  out.corners = corners;
  return out;
}

ModelOut ModelOut::coordinatesAndColors(uint32_t* count, float** corners, float** colors) {
  ModelOut out = coordinates(count, corners);
  out.arrays |= kColorArray;
  out.colors = colors;
  return out;
}

ModelOut ModelOut::all(uint32_t* count, float** corners, float** colors, float** uvs,
                       int32_t** materials) {
  ModelOut out = coordinatesAndColors(count, corners, colors);
  out.arrays = kAllArrays;
  out.uvs = uvs;
  out.materials = materials;
  return out;
}

void storeResult(const SubMesh& mesh, const ModelOut& out) {
  storeModel(convertSingleModel(mesh, out.arrays), out.count, out.corners, out.colors, out.uvs,
             out.materials);
}

void storeResult(const TriMesh& mesh, const PiecesOut& out) {
  storeMultiModel(convertMultiShell(mesh), out.pieceCount, out.pieceCounts, out.corners, out.colors,
                  out.uvs, out.materials);
}

void failResult(const ModelOut& out) noexcept {
  try {
    storeResult(SubMesh{}, out);
  } catch (...) {
    writeNothing(out);
  }
}

void failResult(const PiecesOut& out) noexcept {
  try {
    storeEmptyMultiModel(out.pieceCount, out.pieceCounts, out.corners, out.colors, out.uvs,
                         out.materials);
  } catch (...) {
    writeOut(out.pieceCount, 0u);
    writeOut(out.pieceCounts, static_cast<uint32_t*>(nullptr));
    writeNothing(ModelOut::all(nullptr, out.corners, out.colors, out.uvs, out.materials));
  }
}

void writeCounters(const std::array<int32_t, 4>& counters, int32_t* first, int32_t* second,
                   int32_t* third, int32_t* fourth) {
  writeOut(first, counters[0]);
  writeOut(second, counters[1]);
  writeOut(third, counters[2]);
  writeOut(fourth, counters[3]);
}

}  // namespace vekmesh
