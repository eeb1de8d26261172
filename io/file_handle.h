// Owning handles for C stdio files, and opening for reading that accepts only
// regular files: a directory, a pipe or a device given as a model path would
// otherwise fail late, block or never end.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace vekmesh {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Closes a file opened for writing and tells whether every byte reached it:
// a full disk or a size limit shows as a stream error or a failed close.
inline bool finishWriting(FileHandle& file) {
  if (!file) return false;
  const bool stream_ok = std::fflush(file.get()) == 0 && !std::ferror(file.get());
  const bool closed = std::fclose(file.release()) == 0;
  return stream_ok && closed;
}

// Opens `path` for reading when it names a regular file, and stores its size;
// an empty handle otherwise. The open itself does not block (a FIFO would wait
// for a writer): the kind of file is checked on the descriptor first.
inline FileHandle openRegularFile(const char* path, uint64_t& size) {
  size = 0;
  if (!path) return FileHandle();
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return FileHandle();
  struct stat info;
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0) {
    close(fd);
    return FileHandle();
  }
  const int flags = fcntl(fd, F_GETFL);
  if (flags >= 0) fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
  FileHandle file(fdopen(fd, "rb"));
  if (!file) {
    close(fd);
    return FileHandle();
  }
  size = static_cast<uint64_t>(info.st_size);
  return file;
}

}  // namespace vekmesh
