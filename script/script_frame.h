// The frame every call of the scripting API shares: the caller's vkm_run bound
// to a run context (progress callback, cancel check, message), and every
// exception turned into a status code so that nothing crosses the C boundary.
#pragma once

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "include/vekmesh/script.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

// The opaque handle of the C interface: one mesh, owned by the caller.
//
// A handle made from arrays or a file gets its shells on first need
// (currentMesh): most operations rebuild the topology of their copy anyway,
// and the repair builds the shells from the adjacency it needs itself, so a
// script that makes a handle, repairs it and copies it out never pays for a
// grouping it does not read. The lock keeps that first build safe while
// several threads read one handle.
struct vkm_mesh {
  vekmesh::TriMesh mesh;
  mutable std::atomic<bool> shells_pending{false};
  mutable std::mutex shells_lock;

  vkm_mesh() = default;
  vkm_mesh(const vkm_mesh&) = delete;
  vkm_mesh& operator=(const vkm_mesh&) = delete;
};

namespace vekmesh::script {

// A failure with its status and a message for vkm_run.message.
class CallError : public std::runtime_error {
 public:
  CallError(int32_t status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int32_t status() const { return status_; }

 private:
  int32_t status_;
};

// The run context of one call: progress goes to the caller's callback, whose
// non-zero answer is the cancel check. At a checkpoint that comes long after
// the last callback, the callback is called again with the last percentage,
// so that a cancel is heard between marks. Without a callback, a context
// that discards everything.
class CallContext {
 public:
  explicit CallContext(vkm_run* run);
  ~CallContext();
  CallContext(const CallContext&) = delete;
  CallContext& operator=(const CallContext&) = delete;
  const RunContext& context() const { return context_; }

 private:
  static void onProgress(int32_t percent, void* self);
  static bool onCancelCheck(void* self);
  // Calls the caller's callback with the last percentage.
  void callBack();
  // How long a checkpoint lets pass since the last callback before calling
  // it again: often enough for a cancel to feel prompt, seldom enough that
  // a callback into an interpreter costs nothing measurable.
  static constexpr std::chrono::milliseconds kRecallAfter{100};
  // Sizes the calling thread's OpenMP teams from run_->threads.
  void applyThreads() const;

  vkm_run* run_;
  int threads_before_;  // the calling thread's team size, restored at the end
  bool cancel_ = false;
  int32_t last_percent_ = 0;
  std::chrono::steady_clock::time_point last_call_;
  RunContext context_;
};

// Writes `text` (cut to fit) to the run's message, when there is a run.
void setMessage(vkm_run* run, const std::string& text) noexcept;

// Runs `body(context)` and returns VKM_OK, or the status of what it threw.
// The run's message is cleared first and holds the failure's text after.
template <class Body>
int32_t runCall(vkm_run* run, Body&& body) noexcept;

// Status and message of the exception in flight (inside a catch block).
int32_t currentFailure(vkm_run* run) noexcept;

template <class Body>
int32_t runCall(vkm_run* run, Body&& body) noexcept {
  setMessage(run, "");
  try {
    CallContext call(run);
    body(call.context());
    return VKM_OK;
  } catch (...) {
    return currentFailure(run);
  }
}

// Throws CallError(VKM_INVALID_ARGUMENT) with `what` when `condition` fails.
inline void require(bool condition, const char* what) {
  if (!condition) throw CallError(VKM_INVALID_ARGUMENT, what);
}

// Throws CallError(VKM_INVALID_ARGUMENT) unless `value` is positive and
// finite (NaN included), naming the option.
inline void requirePositive(double value, const char* name) {
  if (!(value > 0.0 && value < INFINITY))
    throw CallError(VKM_INVALID_ARGUMENT, std::string(name) + " must be positive and finite");
}

// The live faces of a mesh, as a triangle count.
uint64_t liveTriangles(const SubMesh& mesh);

// The handle's mesh with its shells current (built here on first need).
const TriMesh& currentMesh(const vkm_mesh& handle);

// Puts `result` (shells current) into the handle.
void swapIn(vkm_mesh& handle, TriMesh&& result);

// Runs `operate(copy, context)` on a copy of the handle's mesh and swaps the
// result in when it returns: a failed or cancelled call leaves the handle as
// it was.
template <class Operate>
int32_t operateOnCopy(vkm_mesh* handle, vkm_run* run, Operate&& operate) noexcept {
  return runCall(run, [&](const RunContext& context) {
    require(handle, "null mesh");
    context.report(0.0);
    TriMesh work = currentMesh(*handle);
    work.tag = &work;
    operate(work, context);
    context.report(1.0);
    swapIn(*handle, std::move(work));
  });
}

// The caller's options, or the defaults when it passed none.
template <class Options>
Options orDefaults(const Options* given, void (*defaults)(Options*)) {
  Options o;
  defaults(&o);
  return given ? *given : o;
}

// malloc'd room for `elements` (at least one, so that null always means
// failure); throws std::bad_alloc.
template <class T>
T* allocated(uint64_t elements) {
  void* p = std::malloc(sizeof(T) * (elements ? elements : 1));
  if (!p) throw std::bad_alloc();
  return static_cast<T*>(p);
}

}  // namespace vekmesh::script
