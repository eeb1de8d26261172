// Owning handles for C stdio files, and opening for reading that accepts only
// regular files: a directory, a pipe or a device given as a model path would
// otherwise fail late or never end.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace vekmesh {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Opens `path` with `mode` (a reading mode) when it names a regular file, and
// stores its size; an empty handle otherwise.
inline FileHandle openRegularFile(const char* path, const char* mode, uint64_t& size) {
  size = 0;
  if (!path) return FileHandle();
  FileHandle file(std::fopen(path, mode));
  if (!file) return FileHandle();
  struct stat info;
  if (fstat(fileno(file.get()), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0)
    return FileHandle();
  size = static_cast<uint64_t>(info.st_size);
  return file;
}

}  // namespace vekmesh
