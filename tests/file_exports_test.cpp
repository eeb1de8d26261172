// The file exports as a host calls them, through the shared library: files
// that cannot be read are never overwritten by the rewriting exports, readable
// ones are rewritten as binary STL, and importFile and the OBJ export agree.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "include/vekmesh.h"
#include "io_samples.h"
#include "mesh_builders.h"

namespace {

using vekmesh::test::ScratchDir;
using vekmesh::test::readFileBytes;

bool isOurBinaryStl(const std::string& bytes, uint32_t faces) {
  uint32_t count = 0;
  if (bytes.size() >= 84) std::memcpy(&count, bytes.data() + 80, 4);
  return bytes.size() == 84 + 50 * size_t(faces) && bytes.compare(0, 7, "VEKMesh") == 0 &&
         count == faces;
}

TEST(FileExports, RewritingExportsLeaveUnreadableFilesAlone) {
  ScratchDir dir;
  const std::string missing = dir.file("missing.stl");
  const std::string empty = dir.write("empty.stl", "");
  const std::string text = dir.write("notes.stl", "solid but no facets at all\nendsolid\n");
  const std::string upper = dir.write("upper.STL", "hello");
  for (const std::string& path : {missing, empty, text, upper, dir.path()}) {
    SCOPED_TRACE(path);
    const std::string before = readFileBytes(path);
    modelRepair64(path.c_str());
    modelRepair(path.c_str());
    float* corners = nullptr;
    uint32_t count = 7;
    int32_t progress = -1;
    meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, &progress, 1);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(progress, 100);
    freeAllArray();
    EXPECT_EQ(readFileBytes(path), before);
  }
  EXPECT_NE(access(missing.c_str(), F_OK), 0) << "no file may appear under a missing name";
  modelRepair64(nullptr);
}

TEST(FileExports, RewritingExportsWriteReadableModelsAsBinaryStl) {
  ScratchDir dir;
  const vekmesh::test::Soup cube = vekmesh::test::cubeSoup(2.0f);
  // Whatever the name's case and the encoding, the content decides.
  const std::string ascii = dir.write("cube.STL", vekmesh::test::asciiStl(cube));
  modelRepair64(ascii.c_str());
  EXPECT_TRUE(isOurBinaryStl(readFileBytes(ascii), 12));

  const std::string binary = dir.write("cube.stl", vekmesh::test::binaryStl(cube, "solid x"));
  float* corners = nullptr;
  uint32_t count = 0;
  meshPreprocessorFromFileSaveAs64(binary.c_str(), &corners, &count, nullptr, 0);
  EXPECT_EQ(count, 12u);
  EXPECT_EQ(readFileBytes(binary).compare(0, 7, "solid x"), 0) << "no save without the flag";
  freeAllArray();  // a second call would overwrite the slot without freeing it
  meshPreprocessorFromFileSaveAs64(binary.c_str(), &corners, &count, nullptr, 1);
  ASSERT_EQ(count, 12u);
  EXPECT_TRUE(isOurBinaryStl(readFileBytes(binary), 12));
  // The saved corners are the returned ones.
  EXPECT_EQ(std::memcmp(readFileBytes(binary).data() + 84 + 12, corners, 36), 0);
  freeAllArray();
}

// Names in the folder, so that a left-over temporary file shows.
std::vector<std::string> folderEntries(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FileExports, RewriteThatCannotBeWrittenLeavesTheOriginal) {
  ScratchDir dir;
  const std::string path = dir.write("cube.stl", vekmesh::test::asciiStl(vekmesh::test::cubeSoup()));
  const std::string before = readFileBytes(path);
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
    float* corners = nullptr;
    uint32_t count = 0;
    meshPreprocessorFromFileSaveAs64(path.c_str(), &corners, &count, nullptr, 1);
    _exit(count == 12 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(readFileBytes(path), before);
  EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cube.stl"});

  modelRepair64(path.c_str());  // without the limit the rewrite lands
  EXPECT_TRUE(isOurBinaryStl(readFileBytes(path), 12));
  EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cube.stl"});
}

TEST(FileExports, ObjExportReadsBackThroughImportFile) {
  ScratchDir dir;
  vekmesh::test::Soup soup = vekmesh::test::cubeSoup(1.0f);
  vekmesh::test::paint(soup, {0.2f, 0.4f, 1.0f});
  const size_t n = soup.triangleCount();
  std::vector<double> corners(soup.corners.begin(), soup.corners.end());
  std::vector<double> colors(soup.colors.begin(), soup.colors.end());
  const std::string path = dir.file("cube.obj");
  saveasObjFromDataDoublePrecision(path.c_str(), corners.data(), colors.data(), nullptr, nullptr,
                                   int32_t(n));

  float *out_corners = nullptr, *out_colors = nullptr, *out_uvs = nullptr;
  int32_t* out_materials = nullptr;
  uint32_t count = 0;
  importFile(path.c_str(), &out_corners, &out_colors, &out_uvs, &out_materials, &count);
  ASSERT_EQ(count, n);
  for (size_t i = 0; i < 9 * n; ++i) {
    EXPECT_EQ(out_corners[i], soup.corners[i]);
    EXPECT_FLOAT_EQ(out_colors[i], soup.colors[i]);
  }
  freeAllArray();

  // Case matters for the extension, not for the content.
  const std::string upper = dir.write("cube.OBJ", readFileBytes(path));
  importFile(upper.c_str(), &out_corners, &out_colors, &out_uvs, &out_materials, &count);
  EXPECT_EQ(count, 0u);
  freeAllArray();
}

}  // namespace
