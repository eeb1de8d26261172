// The library's operation-log target and sink. The target is "logFile.log" in
// "."; the sink receives every composed message and discards it: a host never
// finds a file created, opened or written, and nothing reaches the console.
// The tool, which does not link this layer, appends to the file instead.
#pragma once

#include <string>
#include <string_view>

#include "mesh/run_context.h"

namespace vekmesh {

// "logFile.log" and "."; the name lives from load to unload.
const std::string& logFileName();
const char* logDirectory();

// Receives `text` for the log file in `directory`; discards it. Never fails.
void writeLogMessage(const char* directory, std::string_view text);

// The run context of an export: progress through the progress cell, log
// lines to writeLogMessage(logDirectory(), ...).
RunContext libraryRunContext();

}  // namespace vekmesh
