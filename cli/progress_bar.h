// A progress bar on standard error that observes a run context's progress,
// and a ticking line for work that reports none (the CAD converter). Drawn
// only when standard error is a terminal; silent otherwise.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "mesh/run_context.h"

namespace vekmesh::cli {

class ProgressBar {
 public:
  // `label` names the running step.
  explicit ProgressBar(std::string label);
  // Ends the bar's line.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // The sink to build the step's run context with; it discards when the bar
  // is not drawn.
  ProgressSink sink();

 private:
  static void onProgress(int32_t percent, void* self);
  void draw(int percent);

  std::string label_;
  bool enabled_;
  int last_ = -1;
};

// "label: 12 s" on standard error, rewritten every second from a thread of
// its own until the indicator goes: for a step that cannot report progress.
class ElapsedIndicator {
 public:
  explicit ElapsedIndicator(std::string label);
  // Stops the thread and ends the line.
  ~ElapsedIndicator();
  ElapsedIndicator(const ElapsedIndicator&) = delete;
  ElapsedIndicator& operator=(const ElapsedIndicator&) = delete;

 private:
  void tick();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable stop_signal_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace vekmesh::cli
