// The file exports through the shared library: the rewriting exports leave
// files they cannot read or write as they were and rewrite the others as
// binary STL; importFile and the OBJ export agree.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "include/vekmesh.h"
#include "io_samples.h"
#include "mesh_builders.h"

namespace {

namespace test = vekmesh::test;
using test::readFileBytes;
using test::ScratchDir;

// Our binary STL of the cube: the header names the library.
bool isOurCube(const std::string& bytes) {
  return bytes.size() == 84 + 50 * 12 && bytes.compare(0, 7, "VEKMesh") == 0 && bytes[80] == 12;
}

TEST(FileExports, RewritingExportsLeaveUnreadableFilesAlone) {
  ScratchDir dir;
  const std::string missing = dir.file("missing.stl");
  for (const std::string& path :
       {missing, dir.write("empty.stl", ""), dir.write("upper.STL", "hello"),
        dir.write("notes.stl", "solid but no facets at all\nendsolid\n"), dir.path()}) {
    SCOPED_TRACE(path);
    const std::string before = readFileBytes(path);
    modelRepair64(path.c_str());
    float* corners = nullptr;
    uint32_t count = 7;
    meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, nullptr, 1);
    EXPECT_EQ(count, 0u);
    freeAllArray();
    EXPECT_EQ(readFileBytes(path), before);
  }
  EXPECT_NE(access(missing.c_str(), F_OK), 0) << "no file may appear under a missing name";
  modelRepair64(nullptr);
}

TEST(FileExports, RewriteThatCannotBeWrittenLeavesTheOriginal) {
  ScratchDir dir;
  const std::string path = dir.write("cube.stl", test::asciiStl(test::cubeSoup()));
  const std::string before = readFileBytes(path);
  float* corners = nullptr;
  uint32_t count = 0;
  meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, nullptr, 0);
  freeAllArray();
  EXPECT_EQ(readFileBytes(path), before) << "no save without the flag";
  // A child process whose files may not grow past 300 bytes: the 684-byte
  // rewrite fails part-way, as it would on a full disk (root ignores folder
  // permissions, a size limit holds for everyone).
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {300, 300};
    setrlimit(RLIMIT_FSIZE, &limit);
    modelRepair64(path.c_str());
    count = 0;
    meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, nullptr, 1);
    _exit(count == 12 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(readFileBytes(path), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);

  // Without the limit both rewrite the file, as binary STL of the returned corners.
  meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, nullptr, 1);
  EXPECT_TRUE(isOurCube(readFileBytes(path)));
  EXPECT_EQ(std::memcmp(readFileBytes(path).data() + 84 + 12, corners, 36), 0);
  freeAllArray();
  dir.write("cube.stl", before);
  modelRepair64(path.c_str());
  EXPECT_TRUE(isOurCube(readFileBytes(path)));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(FileExports, ObjExportReadsBackThroughImportFile) {
  ScratchDir dir;
  test::Soup soup = test::cubeSoup(1.0f);
  test::paint(soup, {0.2f, 0.4f, 1.0f});  // multiples of 1/255 x 51: exact through bytes
  const std::vector<double> corners(soup.corners.begin(), soup.corners.end());
  const std::vector<double> colors(soup.colors.begin(), soup.colors.end());
  const std::string path = dir.file("cube.obj");
  saveasObjFromDataDoublePrecision(path.c_str(), corners.data(), colors.data(), nullptr, nullptr,
                                   12);
  float *out_corners = nullptr, *out_colors = nullptr;
  uint32_t count = 0;
  importFile(path.c_str(), &out_corners, &out_colors, nullptr, nullptr, &count);
  ASSERT_EQ(count, 12u);
  EXPECT_EQ(std::vector<float>(out_corners, out_corners + 108), soup.corners);
  EXPECT_EQ(std::vector<float>(out_colors, out_colors + 108), soup.colors);
  freeAllArray();

  // Case matters for the extension, not for the content.
  const std::string upper = dir.write("cube.OBJ", readFileBytes(path));
  importFile(upper.c_str(), &out_corners, nullptr, nullptr, nullptr, &count);
  EXPECT_EQ(count, 0u);
  freeAllArray();
}

}  // namespace
