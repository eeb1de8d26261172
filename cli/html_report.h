// Writing the report: one self-contained HTML page (the page template and
// three.js are compiled into the tool, the data inlined), or its summary as
// JSON.
#pragma once

#include <string>

#include "cli/report_data.h"

namespace vekmesh::cli {

// Whether this build carries three.js (the page cannot be written without it).
bool reportPageAvailable();

// Writes the page to `path` through a temporary file. Throws UserError when the
// file cannot be written or the build has no three.js.
void writeReportPage(const std::string& path, const ReportData& data);

// Writes `data.summary` to `path` as indented JSON.
void writeReportJson(const std::string& path, const ReportData& data);

}  // namespace vekmesh::cli
