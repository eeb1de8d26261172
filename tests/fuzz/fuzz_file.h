// The fuzz input as a file: the readers take a path, so every input is
// written to one scratch file per process and read back through the real
// opening, sizing and reading code.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mesh/tri_mesh.h"
#include "mesh_checks.h"

namespace vekmesh::fuzz {

// The scratch file of this process (named with `extension` on first use);
// it is removed when the process exits.
inline const char* scratchPath(const char* extension) {
  static std::string path;
  if (path.empty()) {
    const char* dir = std::getenv("TMPDIR");
    path = std::string(dir && *dir ? dir : "/tmp") + "/vekmesh-fuzz-" + std::to_string(getpid()) +
           "." + extension;
    std::atexit([] { std::remove(path.c_str()); });
  }
  return path.c_str();
}

// Writes the input to the scratch file and returns its path.
inline const char* asFile(const uint8_t* data, size_t size, const char* extension) {
  const char* path = scratchPath(extension);
  std::FILE* f = std::fopen(path, "wb");
  if (!f) std::abort();
  if (size && std::fwrite(data, 1, size, f) != size) std::abort();
  std::fclose(f);
  return path;
}

// A reader must never break the construction invariants.
inline void checkMesh(const SubMesh& mesh) {
  if (!test::invariantViolation(mesh).empty()) std::abort();
}

}  // namespace vekmesh::fuzz
