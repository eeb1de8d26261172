// The call frame of the scripting API: progress and cancel through the
// caller's callback, exceptions mapped to status codes and messages.
#include "script/script_frame.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "mesh/mesh_utils.h"

#if defined(_OPENMP)
#include <omp.h>
#endif

namespace vekmesh::script {
namespace {

// The team size of the calling thread's parallel regions (a setting of that
// thread alone).
int maxThreads() {
#if defined(_OPENMP)
  return omp_get_max_threads();
#else
  return 1;
#endif
}

void setMaxThreads(int threads) {
#if defined(_OPENMP)
  omp_set_num_threads(threads);
#else
  (void)threads;
#endif
}

int coreCount() {
#if defined(_OPENMP)
  return std::max(1, omp_get_num_procs());
#else
  return 1;
#endif
}

}  // namespace

CallContext::CallContext(vkm_run* run)
    : run_(run), threads_before_(maxThreads()), last_call_(std::chrono::steady_clock::now()) {
  applyThreads();
  if (run && run->progress)
    context_ =
        RunContext(ProgressSink{onProgress, this}, LogSink{}, CancelCheck{onCancelCheck, this});
}

void CallContext::onProgress(int32_t percent, void* self) {
  CallContext& call = *static_cast<CallContext*>(self);
  call.last_percent_ = percent;
  call.callBack();
}

void CallContext::callBack() {
  // Counted from the start of a call, so that the time a callback itself
  // takes counts too.
  last_call_ = std::chrono::steady_clock::now();
  // Once cancelled, the caller hears nothing more from this call.
  if (!cancel_) cancel_ = run_->progress(last_percent_, run_->user) != 0;
  applyThreads();
}

CallContext::~CallContext() {
  setMaxThreads(threads_before_);
}

void CallContext::applyThreads() const {
  const int wanted = run_ ? run_->threads : 0;
  setMaxThreads(wanted >= 1 ? std::min(wanted, coreCount()) : threads_before_);
}

bool CallContext::onCancelCheck(void* self) {
  CallContext& call = *static_cast<CallContext*>(self);
  // Asked right after each progress callback too, when none is due.
  if (!call.cancel_ && std::chrono::steady_clock::now() - call.last_call_ >= kRecallAfter)
    call.callBack();
  return call.cancel_;
}

void setMessage(vkm_run* run, const std::string& text) noexcept {
  if (!run) return;
  const size_t n = std::min(text.size(), sizeof run->message - 1);
  std::memcpy(run->message, text.data(), n);
  run->message[n] = '\0';
}

int32_t currentFailure(vkm_run* run) noexcept {
  int32_t status = VKM_INTERNAL_ERROR;
  try {
    throw;
  } catch (const CallError& e) {
    status = e.status();
    setMessage(run, e.what());
  } catch (const RunCancelled&) {
    status = VKM_CANCELLED;
    setMessage(run, "cancelled by the progress callback");
  } catch (const std::bad_alloc&) {
    status = VKM_OUT_OF_MEMORY;
    setMessage(run, "out of memory");
  } catch (const std::exception& e) {
    setMessage(run, e.what());
  } catch (...) {
    setMessage(run, "unknown failure");
  }
  return status;
}

uint64_t liveTriangles(const SubMesh& mesh) {
  return liveFaceCount(mesh);
}

const TriMesh& currentMesh(const vkm_mesh& handle) {
  if (handle.shells_pending.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> hold(handle.shells_lock);
    if (handle.shells_pending.load(std::memory_order_relaxed)) {
      // Only the shell lists change, which no other reader of the handle
      // reads before this call returns to it.
      buildShells(const_cast<TriMesh&>(handle.mesh));
      handle.shells_pending.store(false, std::memory_order_release);
    }
  }
  return handle.mesh;
}

void swapIn(vkm_mesh& handle, TriMesh&& result) {
  handle.mesh = std::move(result);
  handle.mesh.tag = &handle.mesh;
  handle.shells_pending.store(false, std::memory_order_relaxed);
}

}  // namespace vekmesh::script
