// The operation log: the exact texts of the line frame (the log format is the
// contract here, so the strings are compared whole), the elapsed-time rule and
// the sink that writes nothing until it is switched on.
#include "mesh/operation_log.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace vekmesh {
namespace {

TEST(OperationLog, ComposesFrameLines) {
  EXPECT_EQ(startLine("light weight"), "\n---start executing light weight---");
  EXPECT_EQ(successLine("light weight", elapsedSeconds(0, 1234)),
            "\n---{success} light weight : 1.234000 sec.---\n");
  EXPECT_EQ(successLine("section analysis", 0.25),
            "\n---{success} section analysis : 0.250000 sec.---\n");
  // The lampshade preview's name carries its colon; the seconds follow it.
  EXPECT_EQ(successLine("lampshade preview", 2.5, ": "),
            "\n---{success} lampshade preview: 2.500000 sec.---\n");
  EXPECT_EQ(failureLine("lampshade preview: thin object caution \n"),
            "\n---{failure} lampshade preview: thin object caution \n");
  EXPECT_EQ(failureLine("lampshade", 0.5), "\n---{failure} lampshade : 0.500000 sec.---\n");
  EXPECT_EQ(cautionLine("hollow nothing!"), "\n[Caution] hollow nothing!\n");
  EXPECT_EQ(stepHeading("voxelization"), "\n\n[start voxelization]");
  EXPECT_EQ(timingLine("time voxelize", 2.0), "\ntime voxelize: 2.000000 sec.");
  EXPECT_EQ(timingLine("form  voxels", 0.001), "\nform  voxels : 0.001000 sec.");
}

TEST(OperationLog, PadsLabelsToThirteenCharacters) {
  EXPECT_EQ(labelText("thickness"), "\nthickness    : ");
  EXPECT_EQ(labelText("hollow volume"), "\nhollow volume: ");
  EXPECT_EQ(labelText("voxel size"), "\nvoxel size   : ");
  EXPECT_EQ(labelText("section num", 12), "\nsection num : ");
  EXPECT_EQ(labelText("a label longer than the width"), "\na label longer than the width: ");
  EXPECT_EQ(parameterLine("voxel num", int64_t{123456789012}), "\nvoxel num    : 123456789012");
  EXPECT_EQ(parameterLine("thickness", 1.5), "\nthickness    : 1.500000");
  EXPECT_EQ(parameterLine("infilldensity", -0.0000004), "\ninfilldensity: -0.000000");
  // "%f" prints every integer digit of a huge value rather than cutting it.
  EXPECT_EQ(formatFixed(1e20), "100000000000000000000.000000");
}

TEST(OperationLog, ElapsedTimeIsUnsigned32BitMillisecondsAsFloat) {
  EXPECT_EQ(formatSeconds(elapsedSeconds(1000, 2234)), "1.234000");
  EXPECT_EQ(formatSeconds(elapsedSeconds(7, 7)), "0.000000");
  // A clock reading of -1 is used as it is: the difference wraps.
  EXPECT_EQ(formatSeconds(elapsedSeconds(-1, 999)), "1.000000");
  // A reading before the start wraps to almost 2^32 ms, rounded to float.
  EXPECT_DOUBLE_EQ(elapsedSeconds(5, 3), static_cast<float>(4294967294u) / 1000.0);
  EXPECT_EQ(formatSeconds(elapsedSeconds(0, 16777217)), "16777.216000");

  const int32_t t0 = logClock();
  const int32_t t1 = logClock();
  EXPECT_GE(t0, 0);
  EXPECT_GE(t1, t0);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST(OperationLog, SinkWritesNothingUntilSwitchedOn) {
  EXPECT_EQ(logFileName(), "logFile.log");
  EXPECT_STREQ(logDirectory(), ".");
  char dir[] = "/tmp/vekmesh_log_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string file = std::string(dir) + "/logFile.log";
  struct stat st;

  ASSERT_FALSE(logFileEnabled());
  writeLogMessage(dir, startLine("light weight"));
  EXPECT_NE(stat(file.c_str(), &st), 0) << "the default sink created a file";

  setLogFileEnabled(true);
  writeLogMessage(dir, startLine("lampshade"));
  writeLogMessage(dir, cautionLine("hollow nothing!"));
  setLogFileEnabled(false);
  writeLogMessage(dir, "\nafter");
  EXPECT_EQ(readFile(file), "\n---start executing lampshade---\n[Caution] hollow nothing!\n");

  // A directory that does not exist loses the message and nothing else.
  setLogFileEnabled(true);
  writeLogMessage("/nonexistent/vekmesh", "\nlost");
  setLogFileEnabled(false);

  unlink(file.c_str());
  rmdir(dir);
}

}  // namespace
}  // namespace vekmesh
