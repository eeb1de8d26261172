// Write-beside-and-rename. The temporary name carries the process id and a
// counter, so two writers in one folder never share a temporary file.
#include "io/file_replace.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <system_error>

namespace vekmesh {
namespace {

namespace fs = std::filesystem;

// Data renamed into place before it reaches the disk can come back empty
// after a power cut; the flush makes the rename the only moment of change.
bool flushToDisk(const fs::path& file) {
  const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = fsync(fd) == 0;
  return close(fd) == 0 && synced;
}

fs::path temporaryBeside(const fs::path& target) {
  static std::atomic<unsigned> counter{0};
  return target.parent_path() / ("." + target.filename().string() + ".part" +
                                 std::to_string(getpid()) + "-" + std::to_string(counter++));
}

}  // namespace

bool replaceFile(const std::string& path, const std::function<bool(const char* temp)>& write) {
  if (path.empty()) return false;
  const fs::path target(path);
  const fs::path temp = temporaryBeside(target);
  std::error_code ec;
  bool done = false;
  try {
    done = write(temp.c_str()) && flushToDisk(temp);
  } catch (...) {
    done = false;
  }
  if (done) {
    const fs::file_status old = fs::status(target, ec);
    if (!ec && fs::exists(old)) fs::permissions(temp, old.permissions(), ec);
    fs::rename(temp, target, ec);
    done = !ec;
  }
  if (!done) fs::remove(temp, ec);
  return done;
}

}  // namespace vekmesh
