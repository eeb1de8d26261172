// The operation log: clock, line composer, the operation frame and the file
// appender.
#include "mesh/operation_log.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <limits>

namespace vekmesh {
namespace {

using Clock = std::chrono::steady_clock;

// Fixed when the library is loaded, so that readings are small numbers.
const Clock::time_point g_clock_start = Clock::now();

std::string printf1(const char* format, double value) {
  char buffer[64];
  const int n = std::snprintf(buffer, sizeof buffer, format, value);
  if (n < 0) return std::string();
  if (static_cast<size_t>(n) < sizeof buffer) return std::string(buffer, static_cast<size_t>(n));
  // Huge magnitudes: "%f" writes every integer digit.
  std::string big(static_cast<size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), format, value);
  big.resize(static_cast<size_t>(n));
  return big;
}

}  // namespace

int32_t logClock() {
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - g_clock_start).count();
  if (ms < 0 || ms > std::numeric_limits<int32_t>::max()) return -1;
  return static_cast<int32_t>(ms);
}

double elapsedSeconds(int32_t start_ms, int32_t end_ms) {
  const uint32_t ms = static_cast<uint32_t>(end_ms) - static_cast<uint32_t>(start_ms);
  return static_cast<float>(ms) / 1000.0;
}

std::string formatSeconds(double seconds) {
  return printf1("%f", seconds);
}

std::string formatFixed(double value) {
  return printf1("%f", value);
}

std::string startLine(std::string_view name) {
  std::string s = "\n---start executing ";
  s += name;
  s += "---";
  return s;
}

std::string labelText(std::string_view label, int width) {
  std::string s = "\n";
  s += label;
  if (width > 0 && label.size() < static_cast<size_t>(width))
    s.append(static_cast<size_t>(width) - label.size(), ' ');
  s += ": ";
  return s;
}

std::string parameterLine(std::string_view label, double value) {
  return labelText(label) + formatFixed(value);
}

std::string parameterLine(std::string_view label, int64_t value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
  return labelText(label) + buffer;
}

std::string successLine(std::string_view name, double seconds, std::string_view separator) {
  std::string s = "\n---{success} ";
  s += name;
  s += separator;
  s += formatSeconds(seconds);
  s += " sec.---\n";
  return s;
}

std::string failureLine(std::string_view name_and_reason) {
  std::string s = "\n---{failure} ";
  s += name_and_reason;
  return s;
}

std::string failureLine(std::string_view name, double seconds) {
  std::string s = "\n---{failure} ";
  s += name;
  s += " : ";
  s += formatSeconds(seconds);
  s += " sec.---\n";
  return s;
}

std::string cautionLine(std::string_view text) {
  std::string s = "\n[Caution] ";
  s += text;
  s += "\n";
  return s;
}

std::string stepHeading(std::string_view step) {
  std::string s = "\n\n[start ";
  s += step;
  s += "]";
  return s;
}

std::string timingLine(std::string_view label, double seconds) {
  return labelText(label) + formatSeconds(seconds) + " sec.";
}

OperationLog::OperationLog(const RunContext& run, std::string_view name)
    : run_(run), name_(name), start_ms_(logClock()), uncaught_(std::uncaught_exceptions()) {
  run_.log(startLine(name_));
}

OperationLog::~OperationLog() {
  if (closed_ || std::uncaught_exceptions() <= uncaught_) return;
  // Unwinding: composing may itself run out of memory, which must not end
  // the process.
  try {
    fail();
  } catch (...) {
  }
}

void OperationLog::parameter(std::string_view label, double value) const {
  run_.log(parameterLine(label, value));
}

void OperationLog::parameter(std::string_view label, int64_t value) const {
  run_.log(parameterLine(label, value));
}

void OperationLog::parameter(std::string_view label, size_t value) const {
  parameter(label, static_cast<int64_t>(value));
}

void OperationLog::caution(std::string_view text) const {
  run_.log(cautionLine(text));
}

void OperationLog::succeed() {
  closed_ = true;
  run_.log(successLine(name_, elapsedSeconds(start_ms_, logClock())));
}

void OperationLog::fail() {
  closed_ = true;
  run_.log(failureLine(name_, elapsedSeconds(start_ms_, logClock())));
}

void appendLogFile(const char* directory, std::string_view text) {
  if (text.empty()) return;
  std::string path = (directory && *directory) ? directory : ".";
  path += '/';
  path += kLogFileName;
  std::FILE* file = std::fopen(path.c_str(), "ab");
  if (!file) return;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
}

}  // namespace vekmesh
