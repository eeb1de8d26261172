// A progress bar on standard error that observes a run context's progress.
// Drawn only when standard error is a terminal; silent otherwise.
#pragma once

#include <string>

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

}  // namespace vekmesh::cli
