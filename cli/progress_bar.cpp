// Progress bar drawing: one carriage-return-rewritten line per change of the
// percentage (or per second of the elapsed indicator), so a pipe or log file
// never sees control characters.
#include "cli/progress_bar.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace vekmesh::cli {

ProgressBar::ProgressBar(std::string label)
    : label_(std::move(label)), enabled_(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (enabled_ && last_ >= 0) std::fputs("\n", stderr);
}

ProgressSink ProgressBar::sink() {
  return enabled_ ? ProgressSink{&ProgressBar::onProgress, this} : ProgressSink{};
}

void ProgressBar::onProgress(int32_t percent, void* self) {
  static_cast<ProgressBar*>(self)->draw(percent);
}

void ProgressBar::draw(int percent) {
  if (percent == last_) return;
  last_ = percent;
  constexpr int kWidth = 30;
  const int clamped = percent < 0 ? 0 : (percent > 100 ? 100 : percent);
  const int filled = clamped * kWidth / 100;
  std::fprintf(stderr, "\r%-10s [%.*s%*s] %3d%%", label_.c_str(), filled,
               "##############################", kWidth - filled, "", clamped);
  std::fflush(stderr);
}

ElapsedIndicator::ElapsedIndicator(std::string label) : label_(std::move(label)) {
  if (isatty(STDERR_FILENO) == 1) thread_ = std::thread([this] { tick(); });
}

ElapsedIndicator::~ElapsedIndicator() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  stop_signal_.notify_one();
  thread_.join();
  std::fputs("\n", stderr);
}

void ElapsedIndicator::tick() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (int seconds = 0; !stop_; ++seconds) {
    std::fprintf(stderr, "\r%s: %d s", label_.c_str(), seconds);
    std::fflush(stderr);
    stop_signal_.wait_for(lock, std::chrono::seconds(1), [this] { return stop_; });
  }
}

}  // namespace vekmesh::cli
