// The library's discarding log sink and the run context bound to the
// progress cell and to it.
#include "api/log_sink.h"

#include "api/progress_cell.h"
#include "mesh/operation_log.h"

namespace vekmesh {
namespace {

const std::string g_log_file_name = kLogFileName;

void writeProgress(int32_t percent, void*) {
  setProgress(percent);
}

void writeLog(std::string_view text, void*) {
  writeLogMessage(logDirectory(), text);
}

}  // namespace

const std::string& logFileName() {
  return g_log_file_name;
}

const char* logDirectory() {
  return ".";
}

void writeLogMessage(const char*, std::string_view) {}

RunContext libraryRunContext() {
  return RunContext(ProgressSink{writeProgress, nullptr}, LogSink{writeLog, nullptr});
}

}  // namespace vekmesh
