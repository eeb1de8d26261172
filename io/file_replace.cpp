// Write-beside-and-rename. The temporary name carries the process id and a
// counter, so two writers in one folder never share a temporary file. Every
// file operation goes through the platform layer, so paths follow its rule.
#include "io/file_replace.h"

#include <atomic>
#include <string>

#include "io/platform_file.h"

namespace vekmesh {
namespace {

// ".<name>.part<pid>-<n>" in the folder of `target` (hidden on POSIX).
std::string temporaryBeside(const std::string& target) {
  static std::atomic<unsigned> counter{0};
  const size_t cut = target.find_last_of(kPathSeparators);
  const size_t name_start = cut == std::string::npos ? 0 : cut + 1;
  return target.substr(0, name_start) + "." + target.substr(name_start) + ".part" +
         std::to_string(currentProcessId()) + "-" + std::to_string(counter++);
}

}  // namespace

bool replaceFile(const std::string& path, const std::function<bool(const char* temp)>& write) {
  if (path.empty()) return false;
  const std::string temp = temporaryBeside(path);
  bool done = false;
  try {
    // Data renamed into place before it reaches the disk can come back empty
    // after a power cut; the flush makes the rename the only moment of change.
    done = write(temp.c_str()) && flushToDisk(temp.c_str());
  } catch (...) {
    done = false;
  }
  if (done) {
    copyPermissions(path.c_str(), temp.c_str());
    done = renameOver(temp.c_str(), path.c_str());
  }
  if (!done) removeFile(temp.c_str());
  return done;
}

}  // namespace vekmesh
