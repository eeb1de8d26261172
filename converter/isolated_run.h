// Running the reader and mesher in a child process of their own: OpenCASCADE
// can crash on a malformed file (a null reference in a STEP face, found by
// fuzzing), loop for long, or allocate without end, and none of that may
// reach the host. The child hands its triangles back through a pipe.
#pragma once

#include <cstdint>
#include <vector>

namespace vekmesh::converter {

struct IsolationLimits {
  double seconds = 0;         // wall-clock time before the child is killed
  uint64_t memory_bytes = 0;  // the child's data limit (0 = none)
};

// The limits for a file of `file_bytes`: a minute plus a minute per
// megabyte; 2 GiB plus 512 bytes per byte of the file beyond the data the
// host held when the child was made.
IsolationLimits limitsForFile(uint64_t file_bytes);

// Runs `work` in a forked child under `limits` and returns the floats it
// produced; empty when the child crashes, is killed, fails or cannot start.
// `work` must not throw.
std::vector<float> runIsolated(std::vector<float> (*work)(const void* argument),
                               const void* argument, const IsolationLimits& limits);

}  // namespace vekmesh::converter
