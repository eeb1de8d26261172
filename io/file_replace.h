// Replacing a file without ever leaving half of it: the new content goes to a
// temporary file in the same folder, which is flushed to disk and renamed over
// the target, so a crash, a full disk or a size limit leaves the old file.
#pragma once

#include <functional>
#include <string>

namespace vekmesh {

// Calls `write` with the name of a fresh temporary file beside `path`; when it
// returns true and the file is on disk, renames it over `path` (taking over the
// permissions of the file it replaces). Otherwise removes the temporary file
// and leaves `path` as it was. Returns whether `path` now holds the new file.
bool replaceFile(const std::string& path, const std::function<bool(const char* temp)>& write);

}  // namespace vekmesh
