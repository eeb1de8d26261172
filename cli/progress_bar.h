// A progress bar on standard error, driven by the library's progress writes.
// Drawn only when standard error is a terminal; silent otherwise.
#pragma once

#include <string>

namespace vekmesh::cli {

class ProgressBar {
 public:
  // Starts listening to progress writes; `label` names the running step.
  explicit ProgressBar(std::string label);
  // Stops listening and ends the bar's line.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

 private:
  static void onProgress(int percent, void* self);
  void draw(int percent);

  std::string label_;
  bool enabled_;
  int last_ = -1;
};

}  // namespace vekmesh::cli
