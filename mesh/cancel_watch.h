// Hearing a cancel inside work that runs on a team. Only the calling thread
// may ask a run's cancel check (thread 0 of a team is that thread), and no
// exception may leave a parallel region: the watch asks on thread 0 every
// so many steps, keeps the answer where every worker reads it, and throws
// RunCancelled once the work is back on the calling thread alone.
#pragma once

#include <atomic>
#include <cstdint>

#include "mesh/parallel_loops.h"
#include "mesh/run_context.h"

namespace vekmesh {

class CancelWatch {
 public:
  // The check is asked at every `interval`-th step thread 0 takes (a power
  // of two), so that a step may be as short as one edge collapse.
  explicit CancelWatch(const RunContext& run, uint32_t interval = 1024)
      : run_(run), mask_(interval - 1) {}

  // True once a stop was asked for; workers leave their loops then. On
  // thread 0 every interval-th call asks the check first.
  bool stopping() {
    if (threadIndex() == 0 && (++steps_ & mask_) == 0) ask();
    return stopped();
  }

  // stopping() for steps long enough to ask after each: thread 0 asks on
  // every call.
  bool stoppingNow() {
    if (threadIndex() == 0) ask();
    return stopped();
  }

  bool stopped() const { return stopped_.load(std::memory_order_relaxed); }

  // Called on the calling thread after the team is done: throws RunCancelled
  // when a stop was asked for.
  void throwIfStopped() const {
    if (stopped_.load(std::memory_order_relaxed)) throw RunCancelled();
  }

  // A checkpoint between two passes, on the calling thread.
  void checkpoint() {
    ask();
    throwIfStopped();
  }

 private:
  void ask() {
    if (stopped()) return;  // a check that said stop is not asked again
    try {
      run_.checkpoint();
    } catch (const RunCancelled&) {
      stopped_.store(true, std::memory_order_relaxed);
    }
  }

  const RunContext& run_;
  uint32_t mask_;
  uint32_t steps_ = 0;  // thread 0's alone
  std::atomic<bool> stopped_{false};
};

}  // namespace vekmesh
