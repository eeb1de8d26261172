// The platform layer on POSIX: open/fstat/fcntl for the checked open, fsync
// and rename for the atomic replace (with early writeback on Linux), dlopen
// for run-time libraries (dladdr for the folder they are looked for in first).
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <limits>

#include "io/platform_file.h"

namespace vekmesh {

std::FILE* openFile(const char* path, const char* mode) {
  return path && mode ? std::fopen(path, mode) : nullptr;
}

FileHandle openRegularFile(const char* path, uint64_t& size) {
  size = 0;
  if (!path) return FileHandle();
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return FileHandle();
  struct stat info;
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0) {
    close(fd);
    return FileHandle();
  }
  // Non-blocking was only for the open; reads of a regular file never wait.
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

bool seekFile(std::FILE* file, uint64_t offset) {
  if (!file || offset > uint64_t(std::numeric_limits<off_t>::max())) return false;
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool flushToDisk(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = fsync(fd) == 0;
  return close(fd) == 0 && synced;
}

void startWriteback(std::FILE* file, uint64_t offset, uint64_t bytes) {
#if defined(__linux__)
  // Failures (a pipe, a file system without writeback) change nothing: the
  // flush before the rename still writes everything.
  if (file && offset <= uint64_t(std::numeric_limits<off64_t>::max()) &&
      bytes <= uint64_t(std::numeric_limits<off64_t>::max()))
    sync_file_range(fileno(file), static_cast<off64_t>(offset), static_cast<off64_t>(bytes),
                    SYNC_FILE_RANGE_WRITE);
#else
  (void)file;
  (void)offset;
  (void)bytes;
#endif
}

void copyPermissions(const char* model, const char* file) {
  struct stat info;
  if (stat(model, &info) == 0) chmod(file, info.st_mode & 07777);
}

bool renameOver(const char* from, const char* to) {
  return std::rename(from, to) == 0;
}

bool removeFile(const char* path) {
  return unlink(path) == 0;
}

unsigned long currentProcessId() {
  return static_cast<unsigned long>(getpid());
}

void LibraryCloser::operator()(void* library) const {
  if (library) dlclose(library);
}

LibraryHandle openLibrary(const char* path) {
  // RTLD_LOCAL: a plug-in's symbols must not satisfy anyone else's.
  return LibraryHandle(path ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr);
}

void* findSymbol(const LibraryHandle& library, const char* name) {
  return library && name ? dlsym(library.get(), name) : nullptr;
}

std::string thisModuleFolder() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&thisModuleFolder), &info) || !info.dli_fname) return "";
  // A program started by a bare name may be reported without its folder.
  const std::string file = info.dli_fname;
  const size_t slash = file.rfind('/');
  return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

std::string libraryFileName(const char* stem) {
  return std::string("lib") + (stem ? stem : "") + ".so";
}

}  // namespace vekmesh
