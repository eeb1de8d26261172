// Owning handles for C stdio files (the platform layer opens them, accepting
// only regular files for reading: a directory, a pipe or a device given as a
// model path would otherwise fail late, block or never end), the write of a
// large buffer in pieces that start on their way to the disk, and the close of
// a written file that tells whether every byte reached it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "io/platform_file.h"

namespace vekmesh {

// Appends `bytes` from `data` to `file`, whose end lies `offset` bytes into
// it, a megabyte at a time, starting each piece's writeback once written:
// the disk then works while the rest is copied, and the flush before the
// rename waits for the last piece only. False on a short write.
inline bool writeInPieces(std::FILE* file, const void* data, size_t bytes, uint64_t offset = 0) {
  constexpr size_t kPiece = size_t(1) << 20;
  const unsigned char* at = static_cast<const unsigned char*>(data);
  for (size_t done = 0; done < bytes;) {
    const size_t n = std::min(kPiece, bytes - done);
    if (std::fwrite(at + done, 1, n, file) != n) return false;
    startWriteback(file, offset + done, n);
    done += n;
  }
  return true;
}

// Closes a file opened for writing and tells whether every byte reached it:
// a full disk or a size limit shows as a stream error or a failed close.
inline bool finishWriting(FileHandle& file) {
  if (!file) return false;
  const bool stream_ok = std::fflush(file.get()) == 0 && !std::ferror(file.get());
  const bool closed = std::fclose(file.release()) == 0;
  return stream_ok && closed;
}

}  // namespace vekmesh
