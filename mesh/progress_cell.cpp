// The process-wide progress cell and its dummy target. Unguarded on purpose:
// the library serves one call at a time and writes progress from the calling
// thread only.
#include "mesh/progress_cell.h"

namespace vekmesh {
namespace {
int32_t g_dummy = 0;
int32_t* g_target = nullptr;  // null until the first call that takes a progress argument
ProgressObserver g_observer = nullptr;
void* g_observer_context = nullptr;
}  // namespace

void bindProgress(int32_t* target) {
  g_target = target;
  setProgress(0);
}

void setProgress(int32_t percent) {
  if (g_target) *g_target = percent;
  if (g_observer) g_observer(percent, g_observer_context);
}

void releaseProgress() { g_target = &g_dummy; }

const int32_t* progressTarget() { return g_target; }

void setProgressObserver(ProgressObserver observer, void* context) {
  g_observer = observer;
  g_observer_context = context;
}

}  // namespace vekmesh
