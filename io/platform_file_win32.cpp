// The platform layer on Windows: paths widened by the code-page rule of the
// header and opened with the wide functions (CreateFileW, _wfopen), the file
// kind checked with GetFileType, FlushFileBuffers and MoveFileExW for the
// atomic replace, LoadLibraryW for run-time libraries (GetModuleFileNameW for
// the folder they are looked for in first).
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// after windows.h
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "io/platform_file.h"

namespace vekmesh {
namespace {

// UTF-8 when the string has a non-ASCII byte and decodes strictly as UTF-8,
// else the code page the narrow file functions use. Empty on failure, which
// every caller treats as a file that cannot be opened.
std::wstring widePath(const char* path) {
  if (!path || !*path) return std::wstring();
  bool ascii = true;
  for (const char* p = path; *p; ++p) ascii = ascii && static_cast<unsigned char>(*p) < 0x80;
  UINT code_page = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
  if (!ascii && MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, nullptr, 0) > 0)
    code_page = CP_UTF8;
  const int length = MultiByteToWideChar(code_page, 0, path, -1, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(length), L'\0');
  if (MultiByteToWideChar(code_page, 0, path, -1, wide.data(), length) != length)
    return std::wstring();
  wide.resize(static_cast<size_t>(length - 1));
  return wide;
}

}  // namespace

std::FILE* openFile(const char* path, const char* mode) {
  const std::wstring wide = widePath(path);
  if (wide.empty() || !mode) return nullptr;
  const std::wstring wide_mode(mode, mode + std::strlen(mode));  // fopen modes are ASCII
  return _wfopen(wide.c_str(), wide_mode.c_str());
}

FileHandle openRegularFile(const char* path, uint64_t& size) {
  size = 0;
  const std::wstring wide = widePath(path);
  if (wide.empty()) return FileHandle();
  // Without FILE_FLAG_BACKUP_SEMANTICS a directory does not open at all;
  // devices (NUL, CON, COM1, pipes) open without waiting and are turned away
  // by their type. Other processes may keep writing or renaming the file.
  const HANDLE handle = CreateFileW(wide.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return FileHandle();
  LARGE_INTEGER length;
  BY_HANDLE_FILE_INFORMATION info;
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileInformationByHandle(handle, &info) ||
      (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) || !GetFileSizeEx(handle, &length) ||
      length.QuadPart < 0) {
    CloseHandle(handle);
    return FileHandle();
  }
  const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY | _O_BINARY);
  if (fd < 0) {
    CloseHandle(handle);
    return FileHandle();
  }
  FileHandle file(_fdopen(fd, "rb"));
  if (!file) {
    _close(fd);  // closes the handle as well
    return FileHandle();
  }
  size = static_cast<uint64_t>(length.QuadPart);
  return file;
}

bool seekFile(std::FILE* file, uint64_t offset) {
  if (!file || offset > uint64_t(std::numeric_limits<__int64>::max())) return false;
  return _fseeki64(file, static_cast<__int64>(offset), SEEK_SET) == 0;
}

bool flushToDisk(const char* path) {
  const std::wstring wide = widePath(path);
  if (wide.empty()) return false;
  // FlushFileBuffers needs write access to the handle.
  const HANDLE handle = CreateFileW(wide.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  const bool flushed = FlushFileBuffers(handle) != 0;
  return CloseHandle(handle) != 0 && flushed;
}

// Windows has no request to start writing a range without waiting for it.
void startWriteback(std::FILE*, uint64_t, uint64_t) {}

void copyPermissions(const char*, const char*) {}

bool renameOver(const char* from, const char* to) {
  const std::wstring wide_from = widePath(from), wide_to = widePath(to);
  if (wide_from.empty() || wide_to.empty()) return false;
  return MoveFileExW(wide_from.c_str(), wide_to.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

bool removeFile(const char* path) {
  const std::wstring wide = widePath(path);
  return !wide.empty() && DeleteFileW(wide.c_str()) != 0;
}

unsigned long currentProcessId() {
  return GetCurrentProcessId();
}

void LibraryCloser::operator()(void* library) const {
  if (library) FreeLibrary(static_cast<HMODULE>(library));
}

LibraryHandle openLibrary(const char* path) {
  const std::wstring wide = widePath(path);
  if (wide.empty()) return LibraryHandle();
  // A library that is missing or broken must fail the call, never stop the
  // host with a system dialog.
  DWORD previous = 0;
  const bool quiet = SetThreadErrorMode(SEM_FAILCRITICALERRORS, &previous) != 0;
  HMODULE module = LoadLibraryW(wide.c_str());
  if (quiet) SetThreadErrorMode(previous, nullptr);
  return LibraryHandle(module);
}

void* findSymbol(const LibraryHandle& library, const char* name) {
  if (!library || !name) return nullptr;
  const FARPROC address = GetProcAddress(static_cast<HMODULE>(library.get()), name);
  return reinterpret_cast<void*>(address);
}

std::string thisModuleFolder() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&thisModuleFolder), &module))
    return "";
  // The name may be longer than MAX_PATH (long-path names): grow until it fits.
  std::wstring name(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
    if (length == 0) return "";
    if (length < name.size()) {
      name.resize(length);
      break;
    }
    if (name.size() >= 32768) return "";
    name.resize(name.size() * 2);
  }
  const size_t separator = name.find_last_of(L"\\/");
  if (separator == std::wstring::npos) return "";
  name.resize(separator + 1);
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, name.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) return "";
  std::string folder(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, name.c_str(), -1, folder.data(), bytes, nullptr, nullptr);
  folder.resize(static_cast<size_t>(bytes - 1));
  return folder;
}

std::string libraryFileName(const char* stem) {
  return std::string(stem ? stem : "") + ".dll";
}

}  // namespace vekmesh
