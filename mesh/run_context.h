// The run context every operation receives: the span of percentages its
// caller gives it for progress, and the sink its log lines go to. Operations
// report fractions 0..1 of their span and never see where the numbers end up
// (the library's progress cell, the tool's progress bar, nowhere), so nested
// steps compose: a step given the span [a, b] of its caller's span hands its
// own sub-steps parts of [a, b].
//
// A default-constructed context discards everything. Contexts are read from
// the calling thread only: parallel loops neither report nor log, and hear a
// cancel through a CancelWatch (cancel_watch.h).
//
// A host may also give a cancel check, asked after every progress write and
// at the checkpoints that long steps pass between their progress marks: when
// it answers true, report() or checkpoint() throws RunCancelled, which
// unwinds the operation to the boundary that bound the check (only that
// boundary catches it). The mesh an operation was working on is then in no
// defined state; the boundary discards it or keeps a copy.
#pragma once

#include <cstdint>
#include <exception>
#include <string_view>

namespace vekmesh {

// Receives every progress write, as a whole percentage.
struct ProgressSink {
  void (*write)(int32_t percent, void* user) = nullptr;
  void* user = nullptr;
};

// Receives every composed log text, in order.
struct LogSink {
  void (*write)(std::string_view text, void* user) = nullptr;
  void* user = nullptr;
};

// Asked after every progress write; true stops the operation.
struct CancelCheck {
  bool (*cancelled)(void* user) = nullptr;
  void* user = nullptr;
};

// What report() throws when the cancel check asks to stop.
class RunCancelled : public std::exception {
 public:
  const char* what() const noexcept override { return "operation cancelled"; }
};

class RunContext {
 public:
  // Discards progress and log; the span is [0, 100].
  RunContext() = default;
  RunContext(ProgressSink progress, LogSink log, CancelCheck cancel = {})
      : progress_(progress), log_(log), cancel_(cancel) {}

  // Writes the percentage at `fraction` of the span, rounded to the nearest
  // whole number (0.1 of [0, 50] is 5, 0.96 of it 48), so that a caller's
  // marks such as 30 or 65 come out exactly. Every call writes, repeated
  // values included. Then throws RunCancelled if the cancel check says so.
  void report(double fraction) const;

  // Asks the cancel check, writing no progress: a long stretch between two
  // marks passes checkpoints (outside parallel regions) so that a cancel
  // takes effect without waiting for the next mark. Throws RunCancelled when
  // the check says stop; nothing happens without a check. A checkpoint is
  // cheap, but a check may read the clock: pass one every few thousand
  // elements, not every one.
  void checkpoint() const;

  // Whether a cancel check was given: work that would pay to keep asking
  // (a check per few thousand steps of a tight loop) skips it otherwise.
  bool cancellable() const { return cancel_.cancelled != nullptr; }

  // The context of a nested step that covers `from`..`to` (fractions of this
  // span); same sinks.
  RunContext sub(double from, double to) const;

  // The whole percentage that report(fraction) writes.
  int32_t percentAt(double fraction) const;

  // Hands a composed text to the log sink.
  void log(std::string_view text) const;

 private:
  ProgressSink progress_;
  LogSink log_;
  CancelCheck cancel_;
  double low_ = 0.0;
  double high_ = 100.0;
};

}  // namespace vekmesh
