// The process-wide progress cell and its dummy target. Unguarded on purpose:
// the library serves one call at a time and writes progress from the calling
// thread only.
#include "api/progress_cell.h"

namespace vekmesh {
namespace {
int32_t g_dummy = 0;
int32_t* g_target = nullptr;  // null until the first call that takes a progress argument
}  // namespace

void bindProgress(int32_t* target) {
  g_target = target;
  setProgress(0);
}

void setProgress(int32_t percent) {
  if (g_target) *g_target = percent;
}

void releaseProgress() {
  g_target = &g_dummy;
}

const int32_t* progressTarget() {
  return g_target;
}

}  // namespace vekmesh
