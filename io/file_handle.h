// Owning handles for C stdio files (the platform layer opens them, accepting
// only regular files for reading: a directory, a pipe or a device given as a
// model path would otherwise fail late, block or never end) and the close of a
// written file that tells whether every byte reached it.
#pragma once

#include <cstdio>

#include "io/platform_file.h"

namespace vekmesh {

// Closes a file opened for writing and tells whether every byte reached it:
// a full disk or a size limit shows as a stream error or a failed close.
inline bool finishWriting(FileHandle& file) {
  if (!file) return false;
  const bool stream_ok = std::fflush(file.get()) == 0 && !std::ferror(file.get());
  const bool closed = std::fclose(file.release()) == 0;
  return stream_ok && closed;
}

}  // namespace vekmesh
