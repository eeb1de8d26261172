// The operation log and the run context: the exact texts of the line frame
// (the log format is the contract here, so the strings are compared whole),
// the elapsed-time rule, the file appender, progress spans, and the lines a
// landed operation composes.
#include "mesh/operation_log.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/repair_pipeline.h"

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

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST(OperationLog, FileAppenderAppendsAndNeverTruncates) {
  char dir[] = "/tmp/vekmesh_log_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string file = std::string(dir) + "/logFile.log";
  appendLogFile(dir, startLine("lampshade"));
  appendLogFile(dir, "");
  appendLogFile(dir, cautionLine("hollow nothing!"));
  EXPECT_EQ(readFile(file), "\n---start executing lampshade---\n[Caution] hollow nothing!\n");
  // A directory that does not exist loses the message and nothing else.
  appendLogFile("/nonexistent/vekmesh", "\nlost");
  unlink(file.c_str());
  rmdir(dir);
}

TEST(RunContext, SpansNestAndRoundToTheCallersMarks) {
  test::RunRecorder recorder;
  const RunContext run = recorder.context();
  run.report(0.30);
  run.report(0.70);
  // The loader within [0, 50], the large-model cap within [65, 75] and a
  // step nested in the second half of [50, 80].
  const RunContext load = run.sub(0.0, 0.5);
  load.report(0.1);
  load.report(0.96);
  const RunContext cap = run.sub(0.65, 0.75);
  cap.report(0.0);
  cap.report(1.0);
  const RunContext nested = run.sub(0.5, 0.8).sub(0.5, 1.0);
  nested.report(0.0);
  nested.report(0.5);
  nested.report(1.0);
  EXPECT_EQ(recorder.percents, (std::vector<int32_t>{30, 70, 5, 48, 65, 75, 65, 73, 80}));
  // Every percentage a caller can name as a fraction of [0, 100] comes out.
  for (int32_t p = 0; p <= 100; ++p) EXPECT_EQ(run.percentAt(p / 100.0), p);

  // The default context discards; a sub-context keeps its parent's sinks.
  const RunContext silent;
  silent.report(0.5);
  silent.sub(0.1, 0.2).log("\nlost");
  run.sub(0.2, 0.4).log("\nkept");
  EXPECT_EQ(recorder.log, "\nkept");
  EXPECT_EQ(recorder.percents.size(), 9u);
}

TEST(OperationLog, FrameClosesWithSuccessOrFailure) {
  test::RunRecorder recorder;
  {
    OperationLog log(recorder.context(), "light weight");
    log.parameter("thickness", 1.5);
    log.parameter("voxel num", size_t{42});
    log.caution("hollow nothing!");
    log.succeed();
  }
  const std::string prefix =
      "\n---start executing light weight---\nthickness    : 1.500000\nvoxel num    : 42"
      "\n[Caution] hollow nothing!\n\n---{success} light weight : ";
  ASSERT_EQ(recorder.log.compare(0, prefix.size(), prefix), 0) << recorder.log;
  EXPECT_EQ(recorder.log.substr(recorder.log.size() - 9), " sec.---\n");

  // An exception leaving the operation closes the frame with a failure line.
  recorder.log.clear();
  EXPECT_THROW(
      {
        OperationLog log(recorder.context(), "lampshade");
        throw std::runtime_error("stop");
      },
      std::runtime_error);
  EXPECT_EQ(recorder.log.rfind("\n---start executing lampshade---\n---{failure} lampshade : ", 0),
            0u)
      << recorder.log;
}

TEST(OperationLog, RepairComposesItsFrameThroughTheContext) {
  test::RunRecorder recorder;
  TriMesh mesh = test::buildMesh(test::withoutTriangle(test::cubeSoup(), 3));
  repairMesh(mesh, {}, recorder.context());
  const std::string& log = recorder.log;
  EXPECT_EQ(log.rfind("\n---start executing repair---\nfaces in     : 11", 0), 0u) << log;
  EXPECT_NE(log.find("\nholes closed : 1"), std::string::npos) << log;
  EXPECT_NE(log.find("\nfaces out    : 12"), std::string::npos) << log;
  EXPECT_NE(log.find("\n---{success} repair : "), std::string::npos) << log;
  EXPECT_EQ(log.substr(log.size() - 9), " sec.---\n");
  // Repair writes no progress of its own: the caller's marks stay exact.
  EXPECT_TRUE(recorder.percents.empty());

  // A textured model keeps its holes, and the log says so.
  recorder.log.clear();
  test::Soup textured = test::withoutTriangle(test::cubeSoup(), 3);
  textured.materials.assign(11, 0);
  textured.uvs.assign(66, 0.0f);
  mesh = test::buildMesh(textured);
  repairMesh(mesh, {HoleFilling::kWhenUntextured}, recorder.context());
  EXPECT_NE(log.find("\n[Caution] holes left open: the model carries textures\n"),
            std::string::npos)
      << log;
}

}  // namespace
}  // namespace vekmesh
