// Reading and writing models for the command-line tool: formats chosen by the
// extension without regard to case, errors as readable messages, and output
// written to a temporary file first so that a failure leaves no partial file.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/model_names.h"
#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::cli {

// A failure the user should read: the message says what and where.
class UserError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct LoadedModel {
  // The adjacency the shells came from; valid until the mesh changes.
  CornerAdjacency adjacency;
  // Triangles the file gave, and those of them the welding dropped because
  // their corners became one or two vertices (a facet with a repeated or
  // coinciding corner).
  size_t triangles_read = 0;
  size_t triangles_dropped = 0;
  // The texture names a scene file collected (material i is names[i]).
  std::vector<std::string> names;
  // Material names and images (an OBJ's usemtl names and .mtl images, a
  // scene's textures) and an OBJ's groups, for writing them back.
  ModelNames model_names;
};

// Loads `path` into `mesh` and builds its shells. Throws UserError when the
// file is missing or unreadable, the extension is unknown, an OBJ is
// malformed (the message names the line), or no triangle results. What the
// OBJ reader skips is printed as warnings on stderr. The reader reports
// progress through `run`.
LoadedModel loadModel(const std::string& path, TriMesh& mesh, const RunContext& run = {});

// What loading gave: triangles read and dropped, texture names, or the
// materials and groups, as one JSON object.
nlohmann::ordered_json loadJson(const LoadedModel& loaded);

// Throws UserError when `path` does not name a format the tool writes; run
// before any work so that a typo costs nothing.
void checkOutputName(const std::string& path);

// Writes the live faces of `mesh` to `path` in the format of its extension,
// with the material names, texture images and groups of `names` where the
// format keeps them (OBJ with its .mtl; glTF and GLB the images and names).
// Groups are written only when `names.faceGroups` matches the faces, so a
// subcommand that remakes faces clears it. A texture image that does not
// exist is referred to all the same, with a warning on stderr. Throws
// UserError when the extension is unknown or the file cannot be written; in
// that case nothing is left at `path`.
void saveModel(const std::string& path, const SubMesh& mesh, const ModelNames& names = {});

}  // namespace vekmesh::cli
