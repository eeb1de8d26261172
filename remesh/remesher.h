// Remeshing towards even, well-shaped triangles of the faces an index array
// selects (isotropic remeshing, remesh/isotropic_remeshing.h), the rest of
// the model left exactly as it is. Logs under the name "remeshing".
#pragma once

#include <cstddef>
#include <cstdint>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The live faces the remeshed selection may grow to: this many times the
// selected count (plus a small allowance for tiny selections), and never more
// than kRemeshMaxFaces. Splits stop there; the result keeps what it has.
constexpr size_t kRemeshGrowth = 4;
constexpr size_t kRemeshMaxFaces = 20000000;

struct RemeshReport {
  size_t selected_faces = 0;  // faces remeshed (after skipping invalid indices)
  size_t result_faces = 0;    // faces that replaced them
  double target_length = 0.0;
  size_t splits = 0, collapses = 0, flips = 0;
  bool capped = false;  // the face limit stopped the splits
};

// `indices` holds `index_count` face numbers, or is null. Out-of-range and
// repeated entries are ignored; faces that are removed, repeat a vertex or
// have a non-finite corner are never remeshed; when no valid entry is left
// (null, empty or all invalid), every remeshable face is. The target edge
// length is the mean edge length of the selection; five rounds.
//
// The selected faces are flagged removed and their replacement appended (new
// vertices appended too, incidentCorners rebuilt): the caller compacts
// (rebuildTopology). Faces outside the selection and the vertices they use
// are untouched.
RemeshReport remeshMesh(SubMesh& mesh, const int32_t* indices, uint32_t index_count,
                        const RunContext& run = {});

}  // namespace vekmesh
