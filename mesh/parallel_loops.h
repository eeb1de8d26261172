// When the OpenMP loops of the core use more than the calling thread.
#pragma once

#include <cstdint>

namespace vekmesh {

// Loops over fewer elements than this run on the calling thread: waking a
// team costs more than it saves on small meshes, and a host that forks after
// working only on small meshes never has a thread pool to lose in the child.
constexpr int64_t kParallelMinimum = 16384;

}  // namespace vekmesh
