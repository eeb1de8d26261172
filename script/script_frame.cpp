// The call frame of the scripting API: progress and cancel through the
// caller's callback, exceptions mapped to status codes and messages.
#include "script/script_frame.h"

#include <cstring>
#include <new>

#include "mesh/mesh_utils.h"

namespace vekmesh::script {

CallContext::CallContext(vkm_run* run) : run_(run) {
  if (run && run->progress)
    context_ =
        RunContext(ProgressSink{onProgress, this}, LogSink{}, CancelCheck{onCancelCheck, this});
}

void CallContext::onProgress(int32_t percent, void* self) {
  CallContext& call = *static_cast<CallContext*>(self);
  // Once cancelled, the caller hears nothing more from this call.
  if (!call.cancel_) call.cancel_ = call.run_->progress(percent, call.run_->user) != 0;
}

bool CallContext::onCancelCheck(void* self) {
  return static_cast<CallContext*>(self)->cancel_;
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

}  // namespace vekmesh::script
