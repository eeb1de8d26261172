// The platform layer: the checked open, UTF-8 paths, the atomic replace and
// library loading. std::filesystem only, so that it also runs on Windows.
#include "io/platform_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/file_handle.h"
#include "io/file_replace.h"

namespace vekmesh {
namespace {

namespace fs = std::filesystem;

struct Scratch {
  const fs::path path =
      fs::temp_directory_path() / ("vekmesh-platform-" + std::to_string(currentProcessId()) + "-" +
                                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
  Scratch() {
    fs::remove_all(path);
    fs::create_directories(path);
  }
  ~Scratch() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
  // The narrow path an export receives: bytes appended as a host appends
  // them, not converted by std::filesystem's own narrow-string rule.
  std::string file(const std::string& name) const { return path.string() + "/" + name; }
  auto entries() const { return std::distance(fs::directory_iterator(path), {}); }
};

// A replaceFile writer putting `text` into the temporary file.
std::function<bool(const char*)> writer(const std::string& text) {
  return [text](const char* temp) {
    std::FILE* f = openFile(temp, "wb");
    return f && std::fwrite(text.data(), 1, text.size(), f) == text.size() && std::fclose(f) == 0;
  };
}

std::string readText(const std::string& path) {
  uint64_t size = 0;
  FileHandle file = openRegularFile(path.c_str(), size);
  if (!file) return "<unopened>";
  std::string text(static_cast<size_t>(size), '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  return text;
}

#ifdef _WIN32
const char* const kDevice = "NUL";
const char* const kSystemLibrary = "kernel32.dll";
const char* const kExported = "GetCurrentProcessId";
#else
const char* const kDevice = "/dev/null";
const char* const kSystemLibrary = "libc.so.6";
const char* const kExported = "getpid";
#endif

TEST(PlatformFile, OpensRegularFilesOnlyAndReportsTheirSize) {
  Scratch dir;
  const std::string path = dir.file("model.stl");
  writer("solid x\nendsolid x\n")(path.c_str());
  uint64_t size = 99;
  EXPECT_TRUE(openRegularFile(path.c_str(), size));
  EXPECT_EQ(size, 19u);
  EXPECT_EQ(readText(path), "solid x\nendsolid x\n");  // binary: no newline translation
  for (const std::string& bad :
       {dir.path.string(), dir.file("missing.stl"), std::string(kDevice), std::string()}) {
    SCOPED_TRACE(bad);
    size = 99;
    EXPECT_FALSE(openRegularFile(bad.c_str(), size));
    EXPECT_EQ(size, 0u);
  }
  EXPECT_FALSE(openRegularFile(nullptr, size));
  EXPECT_EQ(openFile(nullptr, "rb"), nullptr);
}

TEST(PlatformFile, Utf8PathsReachTheSameFileAsTheWideName) {
  Scratch dir;
  // "modèle-ü.stl" as UTF-8 bytes, the form a host with Unicode names passes.
  const std::string name = "mod\xC3\xA8le-\xC3\xBC.stl";
  const std::string path = dir.file(name);
  writer("abc")(path.c_str());
  // The file's name on disk is the decoded one, not the bytes read in some
  // other code page.
  const fs::path wide = dir.path / fs::u8path(name);
  EXPECT_TRUE(fs::is_regular_file(wide));
  EXPECT_EQ(fs::file_size(wide), 3u);
  EXPECT_EQ(readText(path), "abc");
}

TEST(FileReplace, NewContentLandsWholeOrNotAtAll) {
  Scratch dir;
  const std::string target = dir.file("ersetzt-\xC3\xBC.stl");  // UTF-8, as above
  writer("old")(target.c_str());

  // A writer that fails part-way or throws leaves the old file and no
  // temporary file.
  EXPECT_FALSE(replaceFile(target, [&](const char* temp) {
    writer("partial")(temp);
    return false;
  }));
  EXPECT_FALSE(replaceFile(target, [&](const char* temp) -> bool {
    writer("partial")(temp);
    throw std::runtime_error("disk gone");
  }));
  EXPECT_EQ(readText(target), "old");
  EXPECT_EQ(dir.entries(), 1);  // the target alone

  // Success replaces an existing file and creates a missing one, beside it.
  EXPECT_TRUE(replaceFile(target, writer("new content")));
  EXPECT_EQ(readText(target), "new content");
  const std::string fresh = dir.file("fresh.stl");
  EXPECT_TRUE(replaceFile(fresh, writer("x")));
  EXPECT_EQ(readText(fresh), "x");
  EXPECT_EQ(dir.entries(), 2);

  // A folder that does not exist cannot take the temporary file.
  EXPECT_FALSE(replaceFile(dir.file("no-such-folder/model.stl"), writer("x")));
  EXPECT_FALSE(replaceFile("", writer("x")));

#ifndef _WIN32
  // The replaced file keeps the permissions it had.
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  EXPECT_TRUE(replaceFile(target, writer("again")));
  EXPECT_EQ(fs::status(target).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
#endif
}

// A buffer of several pieces written after a header lands byte for byte,
// whatever the system does with the writeback hints; so does an empty one.
// A pipe takes the hint without failing.
TEST(FileReplace, LargeBuffersLandWholeWhenWrittenInPieces) {
  Scratch dir;
  const std::string target = dir.file("pieces.bin");
  std::string content(2621447, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = char(i * 2654435761u >> 24);
  EXPECT_TRUE(replaceFile(target, [&](const char* temp) {
    FileHandle file(openFile(temp, "wb"));
    return file && std::fwrite("head", 1, 4, file.get()) == 4 &&
           writeInPieces(file.get(), content.data(), content.size(), 4) &&
           writeInPieces(file.get(), nullptr, 0, 4 + content.size()) && finishWriting(file);
  }));
  EXPECT_TRUE(readText(target) == "head" + content);
#ifndef _WIN32
  std::FILE* pipe = popen("cat > /dev/null", "w");
  ASSERT_NE(pipe, nullptr);
  EXPECT_TRUE(writeInPieces(pipe, content.data(), content.size()));
  EXPECT_EQ(pclose(pipe), 0);
#endif
}

TEST(PlatformLibrary, LoadsALibraryAndFindsItsExports) {
  LibraryHandle library = openLibrary(kSystemLibrary);
  ASSERT_TRUE(library);
  EXPECT_NE(findSymbol(library, kExported), nullptr);
  EXPECT_EQ(findSymbol(library, "noSuchExportAnywhere"), nullptr);
  EXPECT_EQ(findSymbol(library, nullptr), nullptr);

  EXPECT_FALSE(openLibrary("no-such-library-here.plugin"));
  EXPECT_FALSE(openLibrary(nullptr));
  EXPECT_EQ(findSymbol(LibraryHandle(), kExported), nullptr);
}

// The folder the CAD converter is looked for in first: that of the module the
// core is linked into, here this test program.
TEST(PlatformLibrary, TellsTheFolderOfTheModuleHoldingTheCore) {
  const std::string folder = thisModuleFolder();
  ASSERT_FALSE(folder.empty());
  EXPECT_NE(std::string(kPathSeparators).find(folder.back()), std::string::npos);
  bool holds_this_program = false;
  for (const fs::directory_entry& entry : fs::directory_iterator(fs::u8path(folder)))
    holds_this_program |=
        entry.is_regular_file() && entry.path().filename().string().rfind("vekmesh_", 0) == 0;
  EXPECT_TRUE(holds_this_program) << folder;
#ifdef _WIN32
  EXPECT_EQ(libraryFileName("VEKmeshconverter64"), "VEKmeshconverter64.dll");
#else
  EXPECT_EQ(libraryFileName("VEKmeshconverter64"), "libVEKmeshconverter64.so");
#endif
}

}  // namespace
}  // namespace vekmesh
