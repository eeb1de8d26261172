// Model files for the command-line tool: case-insensitive format choice on top
// of the library's readers and writers, with checks that turn silent failures
// (unreadable input, unwritable output) into messages.
#include "cli/model_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <unistd.h>

#include "io/obj.h"
#include "io/stl.h"
#include "mesh/mesh_utils.h"

namespace vekmesh::cli {
namespace fs = std::filesystem;

const char* knownExtensions() { return "stl, obj"; }

std::string lowerExtension(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return "";
  std::string ext = name.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

namespace {

std::string unknownExtensionMessage(const std::string& path) {
  const std::string ext = lowerExtension(path);
  return "unknown file type '" + (ext.empty() ? std::string("(no extension)") : "." + ext) +
         "' of '" + path + "'; known extensions: " + knownExtensions();
}

}  // namespace

void loadModel(const std::string& path, TriMesh& mesh) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) throw UserError("cannot open '" + path + "': no such file");
  if (fs::is_directory(status)) throw UserError("cannot read '" + path + "': it is a directory");
  {
    std::ifstream probe(path, std::ios::binary);
    if (!probe) throw UserError("cannot read '" + path + "': " + std::strerror(errno));
  }
  const std::string ext = lowerExtension(path);
  if (ext == "stl") {
    loadStl(mesh, path.c_str());
  } else if (ext == "obj") {
    readObj(path.c_str(), mesh);
  } else {
    throw UserError(unknownExtensionMessage(path));
  }
  mesh.tag = &mesh;
  size_t live = 0;
  for (const Face& f : mesh.faces) live += f.removed == 0;
  if (live == 0) throw UserError("'" + path + "' holds no triangles");
  buildShells(mesh);
}

void checkOutputName(const std::string& path) {
  const std::string ext = lowerExtension(path);
  if (ext != "stl" && ext != "obj") throw UserError(unknownExtensionMessage(path));
}

void saveModel(const SubMesh& mesh, const std::string& path) {
  checkOutputName(path);
  const std::string ext = lowerExtension(path);

  // Write beside the target and rename: a failed or interrupted write never
  // leaves a partial file under the user's name.
  const fs::path target(path);
  const fs::path temp =
      target.parent_path() / ("." + target.filename().string() + ".part" + std::to_string(getpid()));
  {
    std::FILE* f = std::fopen(temp.c_str(), "wb");
    if (!f) throw UserError("cannot write '" + path + "': " + std::strerror(errno));
    std::fclose(f);
  }
  if (ext == "stl")
    writeStl(mesh, temp.c_str());
  else
    writeObj(mesh, temp.c_str());

  std::error_code ec;
  const auto size = fs::file_size(temp, ec);
  if (ec || size == 0) {
    fs::remove(temp, ec);
    throw UserError("cannot write '" + path + "'");
  }
  fs::rename(temp, target, ec);
  if (ec) {
    fs::remove(temp, ec);
    throw UserError("cannot write '" + path + "': " + ec.message());
  }
}

}  // namespace vekmesh::cli
