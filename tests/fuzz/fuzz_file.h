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

// The construction invariants that a reader must never break, checked
// cheaply: vertices in range and distinct per face, every live corner listed
// by its vertex, texture coordinates in range on textured faces only.
inline void checkMesh(const SubMesh& mesh) {
  size_t listed = 0;
  for (const Vertex& v : mesh.vertices) listed += v.incidentCorners.size();
  if (listed != 3 * mesh.faces.size()) std::abort();
  for (const Face& f : mesh.faces) {
    for (int c = 0; c < 3; ++c) {
      if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= mesh.vertices.size()) std::abort();
      const bool textured = f.material >= 0;
      if (textured != (f.uv[c] != kNoTexCoord)) std::abort();
      if (textured && f.uv[c] >= mesh.texCoords.size()) std::abort();
    }
    if (f.v[0] == f.v[1] || f.v[1] == f.v[2] || f.v[0] == f.v[2]) std::abort();
  }
}

}  // namespace vekmesh::fuzz
