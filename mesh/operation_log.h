// The operation log: a millisecond clock, the composer of the fixed line frame
// every reporting operation uses, the frame itself (OperationLog, which hands
// its lines to the run context's sink) and the file appender the tool's --log
// sink uses. Messages are composed in full whatever the sink does with them,
// so the text is the same whether or not anything is written.
//
// Names the landed operations log under (start and success lines alike):
//   "repair"               repairMesh, repair/repair_pipeline.h
//   "thorough repair"      thoroughRepair, repair/thorough_repair.h
//   "sectional analysis"   (start line) and "section analysis" (success
//                          line), analysis/sectional_analysis.h
//   "flaw detection"       detectFlaws, repair/flaw_detection.h
//   "post detection"       postDetection, repair/flaw_detection.h
//   "mesh reduction"       reduceMesh, remesh/mesh_reducer.h
//   "fast mesh reduction"  reduceMeshFast, remesh/mesh_reducer.h
//   "large model cap"      capLargeModel, remesh/large_model_cap.h
//   "remeshing"            remeshMesh, remesh/remesher.h
//   "subdivision"          subdivideMesh, remesh/subdivision.h
//   "separation"           separateShells, repair/separation.h (the shell
//                          intersection search runs inside it and has no
//                          frame of its own)
//   "light weight"         hollowMesh, design/hollowing.h
//   "lampshade preview"    (start line) and "lampshade preview:" (success
//                          line, no blank before the colon),
//                          previewLampshade, design/lampshade.h
//   "lampshade"            buildLampshade, design/lampshade.h
// Sub-steps in the lighter frame: "[start voxelization]" (voxelizeMesh) and
// "[start export voxel]" (exportVoxel), design/voxel_grid.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mesh/run_context.h"

namespace vekmesh {

// ---- clock -------------------------------------------------------------------

// Milliseconds since the library was loaded (steady clock); -1 when the value
// does not fit in a signed 32-bit integer.
int32_t logClock();

// Seconds between two clock readings: the difference taken as unsigned 32-bit
// milliseconds (so a -1 reading wraps instead of failing), made a float and
// divided by 1000.0.
double elapsedSeconds(int32_t start_ms, int32_t end_ms);

// ---- composer ----------------------------------------------------------------

// Labels are padded to this width before ": ".
constexpr int kLogLabelWidth = 13;

// "%f": six decimals.
std::string formatSeconds(double seconds);
std::string formatFixed(double value);

// "\n---start executing <name>---"
std::string startLine(std::string_view name);

// "\n" + label padded with blanks to `width` + ": ".
std::string labelText(std::string_view label, int width = kLogLabelWidth);

// A label followed by its value: "%f" for reals, decimal for integers.
std::string parameterLine(std::string_view label, double value);
std::string parameterLine(std::string_view label, int64_t value);

// "\n---{success} <name><separator><seconds> sec.---\n". The separator is
// " : " for every operation except the lampshade preview, whose name carries
// the colon itself (": ").
std::string successLine(std::string_view name, double seconds, std::string_view separator = " : ");

// "\n---{failure} " + name and reason as given, e.g. "lampshade preview: thin
// object caution \n".
std::string failureLine(std::string_view name_and_reason);

// The timed failure: "\n---{failure} <name> : <seconds> sec.---\n".
std::string failureLine(std::string_view name, double seconds);

// "\n[Caution] <text>\n"
std::string cautionLine(std::string_view text);

// The lighter frame of sub-steps: "\n\n[start <step>]" and a padded label
// followed by "<seconds> sec.".
std::string stepHeading(std::string_view step);
std::string timingLine(std::string_view label, double seconds);

// ---- frame -------------------------------------------------------------------

// One operation's lines, composed on the calling thread and handed to the run
// context's log sink: the start line when constructed, parameter and caution
// lines while running, and the success line (or a failure line) at the end.
// An exception that leaves the operation before either gets the timed failure
// line, so a log never ends on a start line without saying what happened.
class OperationLog {
 public:
  OperationLog(const RunContext& run, std::string_view name);
  ~OperationLog();
  OperationLog(const OperationLog&) = delete;
  OperationLog& operator=(const OperationLog&) = delete;

  void parameter(std::string_view label, double value) const;
  void parameter(std::string_view label, int64_t value) const;
  void parameter(std::string_view label, size_t value) const;
  void caution(std::string_view text) const;

  // "\n---{success} <name> : <seconds> sec.---\n"
  void succeed();
  // "\n---{failure} <name> : <seconds> sec.---\n"
  void fail();

 private:
  RunContext run_;  // a copy: callers may pass a sub-context made on the spot
  std::string name_;
  int32_t start_ms_;
  int uncaught_;
  bool closed_ = false;
};

// ---- file --------------------------------------------------------------------

constexpr const char* kLogFileName = "logFile.log";

// Appends `text` to kLogFileName in `directory` (created when missing, never
// truncated). Never fails: a file that cannot be opened loses the message.
void appendLogFile(const char* directory, std::string_view text);

}  // namespace vekmesh
