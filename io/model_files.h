// Model files by name, as the tool and the scripting library read and write
// them: the format from the extension in any case (with .ply, .3mf, .wrz and
// .x3dz; glTF and GLB written, not read), the OBJ reader and writer that keep
// material names, images and groups, 3MF with its material names, a scene's
// texture names found from the scene's folder, and every file written beside
// its target and renamed, so that a failure leaves no partial file. Failures
// come back as messages that say what and where, for a person to read.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/model_names.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The extensions read and written, for messages and help.
const char* readableModelExtensions();
const char* writableModelExtensions();

enum class ModelFileProblem {
  kNone,
  kUnreadable,  // missing, a folder, unreadable, an unknown extension, a malformed OBJ,
                // STEP or IGES without the converter library
  kEmpty,       // read, but no triangle came of it
};

struct ModelFileRead {
  ModelFileProblem problem = ModelFileProblem::kNone;
  std::string message;   // why, when there is a problem
  size_t triangles = 0;  // what the file gave, before welding
  // A scene's texture names (material i is names[i]).
  std::vector<std::string> names;
  // Material names and images (an OBJ's usemtl names and .mtl images, a 3MF's
  // base materials, a scene's textures resolved from its folder) and an
  // OBJ's groups, for writing them back.
  ModelNames model_names;
  // What the OBJ reader skipped, each naming its line.
  std::vector<std::string> warnings;
};

// Reads `path` into `mesh` (shells are left to the caller). The reader
// reports progress through `run`.
ModelFileRead readModelFile(const std::string& path, TriMesh& mesh, const RunContext& run = {});

// "" when `path` names a format that is written, else the message saying
// it does not.
std::string unwritableModelName(const std::string& path);

// Writes the live faces of `mesh` to `path` in the format of its extension,
// with the material names, images and groups of `names` where the format
// keeps them (OBJ with its .mtl, 3MF, glTF and GLB). Returns "" or the
// message of the failure; nothing is left at `path` after a failure.
std::string writeModelFile(const std::string& path, const SubMesh& mesh,
                           const ModelNames& names = {});

}  // namespace vekmesh
