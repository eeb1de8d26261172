// The frame every export shares: a TriMesh, the caller's progress bound for
// the call (the cell is back on the dummy before the mesh is destroyed), the
// library's run context, inputs passed by address, the result step that
// converts and stores only the arrays the export hands out, and the empty
// results left behind when an export fails.
#pragma once

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "api/log_sink.h"
#include "api/result_arrays.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Whether the export takes a progress argument, and which. Exports without one
// leave the cell as it is, and what they run still writes through it.
struct ProgressArgument {
  bool given = false;
  int32_t* target = nullptr;
};
inline ProgressArgument progressArgument(int32_t* target) {
  return {true, target};
}
constexpr ProgressArgument kNoProgressArgument{};

class ProgressBinding {
 public:
  // Stores the caller's integer (or null) as the progress target and writes 0.
  explicit ProgressBinding(ProgressArgument progress);
  // Points the target back at the internal dummy.
  ~ProgressBinding();
  ProgressBinding(const ProgressBinding&) = delete;
  ProgressBinding& operator=(const ProgressBinding&) = delete;

 private:
  bool bound_;
};

// A triangle soup handed in by the caller; null colours are white, null
// materials none.
struct SoupInput {
  uint32_t count = 0;
  const float* corners = nullptr;
  const float* colors = nullptr;
  const float* uvs = nullptr;
  const int32_t* materials = nullptr;
};

// Inputs handed over as the address of the caller's array pointer and the
// address of its count; a null address reads as an empty input.
SoupInput readIndirect(float* const* corners_address, const uint32_t* count_address);

// A signed triangle count from the caller; negative counts are empty.
uint32_t countFromSigned(int32_t count);

// Welds the caller's soup into `mesh` and sets its tag. A null corner array
// gives an empty mesh.
void buildInput(SubMesh& mesh, const SoupInput& in);

// Reads `path` with the STL loader (binary or ASCII by content, whatever the
// extension) and sets the tag. A null path gives an empty mesh. The loader
// takes the span [0, 50] of `run`.
void loadInput(const char* path, SubMesh& mesh, const RunContext& run);

// Where one model's result goes: the count and the arrays the export hands
// out. Only those arrays are converted; the other model slots are emptied
// (overwritten with null, like every fill of a slot).
struct ModelOut {
  static ModelOut coordinates(uint32_t* count, float** corners);
  static ModelOut coordinatesAndColors(uint32_t* count, float** corners, float** colors);
  static ModelOut all(uint32_t* count, float** corners, float** colors, float** uvs,
                      int32_t** materials);

  unsigned arrays = kAllArrays;
  uint32_t* count = nullptr;
  float** corners = nullptr;
  float** colors = nullptr;
  float** uvs = nullptr;
  int32_t** materials = nullptr;
};

// Several pieces written one after another with per-piece counts.
struct PiecesOut {
  uint32_t* pieceCount = nullptr;
  uint32_t** pieceCounts = nullptr;
  float** corners = nullptr;
  float** colors = nullptr;
  float** uvs = nullptr;
  int32_t** materials = nullptr;
};

// Converts the live faces (or the pieces) and stores them in the slots.
void storeResult(const SubMesh& mesh, const ModelOut& out);
void storeResult(const TriMesh& mesh, const PiecesOut& out);

// The empty, freeable results of a failed export. They never throw; if even
// the empty arrays cannot be allocated, the out-parameters get null and 0.
void failResult(const ModelOut& out) noexcept;
void failResult(const PiecesOut& out) noexcept;

// Writes each counter to the caller's pointer when it is non-null.
void writeCounters(const std::array<int32_t, 4>& counters, int32_t* first, int32_t* second,
                   int32_t* third, int32_t* fourth);

// Runs one export: `chain(mesh, run)` takes the steps and returns the export's
// result. Whatever it throws stays here: `failure` (a ModelOut or PiecesOut
// whose empty results are stored, or a callable) leaves the caller freeable
// results, and the export returns its result type's zero.
template <class Failure, class Chain>
auto runExport(ProgressArgument progress, const Failure& failure, Chain&& chain) noexcept {
  using Result = decltype(chain(std::declval<TriMesh&>(), std::declval<const RunContext&>()));
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    const RunContext run = libraryRunContext();
    return chain(mesh, run);
  } catch (...) {
    try {
      if constexpr (std::is_invocable_v<const Failure&>)
        failure();
      else
        failResult(failure);
    } catch (...) {
    }
    if constexpr (!std::is_void_v<Result>) return Result{};
  }
}

// The chain of the exports that run one operation on a built soup: build,
// the first mark, `operate(mesh, run)`, the second mark, the result, 100.
struct ProgressMarks {
  double afterBuild;
  double afterOperation;
};
template <class Out, class Operate>
void runOperation(ProgressArgument progress, const SoupInput& in, const Out& out,
                  ProgressMarks marks, Operate&& operate) noexcept {
  runExport(progress, out, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, in);
    run.report(marks.afterBuild);
    operate(mesh, run);
    run.report(marks.afterOperation);
    storeResult(mesh, out);
    run.report(1.0);
  });
}

}  // namespace vekmesh
