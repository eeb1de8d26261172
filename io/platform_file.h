// The operating system under the readers and writers: opening a path, the
// checks that keep a model path from naming a directory or a device, the flush
// and rename of the atomic replace, and loading libraries at run time. One
// POSIX and one Win32 implementation; CMake compiles the one of the target.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace vekmesh {

// Paths are the NUL-terminated narrow strings that the exports and the tool
// receive. On POSIX they go to the system unchanged. On Windows a string that
// holds a byte above 127 and is valid UTF-8 is read as UTF-8; any other string
// is read in the code page of the file functions (the ANSI code page unless the
// process switched them to OEM), which is how the C runtime's fopen reads it.
// Hosts that hold Unicode names can therefore pass UTF-8; an ANSI name whose
// bytes happen to form valid UTF-8 is the one string this rule misreads.
#ifdef _WIN32
inline constexpr const char* kPathSeparators = "/\\:";
#else
inline constexpr const char* kPathSeparators = "/";
#endif

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// std::fopen with the path rule above; `mode` as for fopen ("rb", "wb", ...).
std::FILE* openFile(const char* path, const char* mode);

// Opens `path` for reading when it names a regular file, and stores its size;
// an empty handle otherwise. The open itself never blocks (a FIFO would wait
// for a writer, a console for input): the kind of file is checked on the
// handle before anything is read. The handle is not inherited by children.
FileHandle openRegularFile(const char* path, uint64_t& size);

// Moves a file opened for reading to byte `offset` from its start, past the
// 2 GB that fseek reaches where a long has 32 bits; false on failure.
bool seekFile(std::FILE* file, uint64_t offset);

// Forces the written content of `path` to the disk before it is renamed into
// place; false when the file cannot be opened or the flush fails.
bool flushToDisk(const char* path);

// Asks the system to start writing bytes [offset, offset + bytes) of `file`,
// already handed to it, to the disk without waiting for them: a writer that
// calls it after each large block overlaps the disk with its own work, and
// the flush before the rename then waits for little more than the last
// block. Only a hint: where there is no such request (Windows, other
// systems) it does nothing.
void startWriteback(std::FILE* file, uint64_t offset, uint64_t bytes);

// Gives `file` the permission bits of `model` when `model` exists (POSIX mode
// bits; Windows has none that a rename would lose, so there it does nothing).
void copyPermissions(const char* model, const char* file);

// Renames `from` over `to`, replacing it in one step (the same folder, so the
// same volume). On Windows the rename is written through before it returns.
bool renameOver(const char* from, const char* to);

// Deletes `path`; false when it cannot.
bool removeFile(const char* path);

// The id of this process, to keep temporary names of two processes apart.
unsigned long currentProcessId();

// A library loaded at run time (dlopen / LoadLibraryW), unloaded when the
// handle goes.
struct LibraryCloser {
  void operator()(void* library) const;
};
using LibraryHandle = std::unique_ptr<void, LibraryCloser>;

// Loads the library at `path` (path rule above); empty when it cannot.
LibraryHandle openLibrary(const char* path);

// The address of the exported `name`, or null.
void* findSymbol(const LibraryHandle& library, const char* name);

// The folder of the module that holds this code: the shared library when the
// core is linked into it, the program when linked into a program. Ends in a
// separator; "" when it cannot be told. On Windows it comes back as UTF-8,
// which the path rule above reads back unchanged.
std::string thisModuleFolder();

// The file name a library called `stem` has on this system:
// "libstem.so" or "stem.dll".
std::string libraryFileName(const char* stem);

}  // namespace vekmesh
