// The run context's progress spans and the operation log's frame and repair
// lines (the log format is the contract, so strings are compared whole).
// Appending to the log file is the command-line test's.
#include "mesh/operation_log.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/repair_pipeline.h"

namespace vekmesh {
namespace {

TEST(RunContext, SpansNestAndRoundToTheCallersMarks) {
  test::RunRecorder recorder;
  const RunContext run = recorder.context();
  run.report(0.30);
  run.sub(0.0, 0.5).report(0.96);
  const RunContext nested = run.sub(0.5, 0.8).sub(0.5, 1.0);  // [65, 80]
  for (double f : {0.0, 0.5, 1.0}) nested.report(f);
  EXPECT_EQ(recorder.percents, (std::vector<int32_t>{30, 48, 65, 73, 80}));
  // Every percentage a caller can name as a fraction of [0, 100] comes out.
  for (int32_t p = 0; p <= 100; ++p) EXPECT_EQ(run.percentAt(p / 100.0), p);

  // A sub-context keeps its parent's log sink too.
  run.sub(0.2, 0.4).log("\nkept");
  EXPECT_EQ(recorder.log, "\nkept");
}

TEST(RunContext, CancelCheckStopsAfterTheProgressWrite) {
  std::vector<int32_t> percents;
  bool stop = false;
  const RunContext run(
      ProgressSink{
          [](int32_t p, void* user) { static_cast<std::vector<int32_t>*>(user)->push_back(p); },
          &percents},
      LogSink{}, CancelCheck{[](void* user) { return *static_cast<bool*>(user); }, &stop});
  run.report(0.1);
  EXPECT_NO_THROW(run.checkpoint());
  stop = true;
  // Nested spans keep the check, and the mark is written before the throw.
  EXPECT_THROW(run.sub(0.5, 1.0).report(0.5), RunCancelled);
  // A checkpoint asks the same check and writes nothing.
  EXPECT_THROW(run.sub(0.5, 1.0).checkpoint(), RunCancelled);
  EXPECT_EQ(percents, (std::vector<int32_t>{10, 75}));
  // Without a check nothing throws, whatever the sinks.
  const RunContext plain(ProgressSink{}, LogSink{});
  EXPECT_NO_THROW(plain.report(1.0));
  EXPECT_NO_THROW(plain.checkpoint());
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
  // Elapsed milliseconds as seconds, across the clock's wrap too.
  EXPECT_EQ(elapsedSeconds(2147483000, -2147483000), 1.296);
}

TEST(OperationLog, RepairComposesItsFrameThroughTheContext) {
  test::RunRecorder recorder;
  TriMesh mesh = test::buildMesh(test::withoutTriangle(test::cubeSoup(), 3));
  repairMesh(mesh, {}, recorder.context());
  const std::string& log = recorder.log;
  EXPECT_EQ(log.rfind("\n---start executing repair---\nfaces in     : 11", 0), 0u) << log;
  for (const char* line : {"\nholes closed : 1", "\nfaces out    : 12", "\n---{success} repair : "})
    EXPECT_NE(log.find(line), std::string::npos) << line << log;
  // Repair writes no progress of its own: the caller's marks stay exact.
  EXPECT_TRUE(recorder.percents.empty());

  // A textured model keeps its holes, and the log says so.
  recorder.log.clear();
  test::Soup textured = test::withoutTriangle(test::cubeSoup(), 3);
  test::assignMaterial(textured, 0);
  mesh = test::buildMesh(textured);
  repairMesh(mesh, {HoleFilling::kWhenUntextured}, recorder.context());
  EXPECT_NE(log.find("\n[Caution] holes left open: the model carries textures\n"), log.npos);
}

}  // namespace
}  // namespace vekmesh
