// The progress cell: where the library's run context writes percentages. An
// entry point binds the caller's integer for the duration of one call;
// afterwards the cell points at a library-owned dummy so that no later write
// reaches the caller.
#pragma once

#include <cstdint>

namespace vekmesh {

// Stores `target` as the progress target and writes 0 into it when non-null.
void bindProgress(int32_t* target);

// Writes `percent` through the cell; skipped while the cell is null (before
// any call that took a progress argument).
void setProgress(int32_t percent);

// Points the cell at the internal dummy integer.
void releaseProgress();

// The current target (null, the caller's integer or the dummy); for tests.
const int32_t* progressTarget();

}  // namespace vekmesh
