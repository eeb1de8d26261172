// The operation log: a millisecond clock, the composer of the fixed line frame
// every reporting operation uses, and the sink the lines go to. The sink is
// bound to "logFile.log" in "." and discards by default; the command-line tool
// switches it on for --log. Messages are composed in full either way, so the
// text is the same whether or not anything is written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

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

// ---- sink --------------------------------------------------------------------

// "logFile.log" and "."; the name lives from load to unload.
const std::string& logFileName();
const char* logDirectory();

// Appends `text` to logFileName() in `directory` when the file sink is on;
// otherwise does nothing (no file is created). Never fails: a file that cannot
// be opened loses the message.
void writeLogMessage(const char* directory, std::string_view text);

// writeLogMessage(logDirectory(), text).
void logMessage(std::string_view text);

// Off by default. Not for use inside parallel loops.
void setLogFileEnabled(bool enabled);
bool logFileEnabled();

}  // namespace vekmesh
