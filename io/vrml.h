// VRML and X3D scenes: the triangle geometry of a scene and the names the
// reader collects on the way.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "io/scene_nodes.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class SceneFormat { kVrml = 2, kX3d = 3 };

// The scene graph of a scene's text: XML when its first character (after a
// byte order mark and white space) is '<', the classic encoding otherwise.
SceneDocument parseScene(std::string_view text);

// The triangles of the scene file at `path` (gzip-compressed or not) into
// `soup`, the texture names it collects into `names`, and what was skipped
// into `notes`. False when the file cannot be read.
bool readScene(const char* path, ByteSoup& soup, std::vector<std::string>& names,
               std::vector<std::string>& notes);

// Fills `mesh` from the file and appends the collected names to `names`;
// leaves both empty when nothing can be read. Each thing skipped (an Inline,
// a prototype, the rest of a scene past a bound) is logged through `run` as a
// caution line.
void readVrml(const char* path, SubMesh& mesh, SceneFormat format, std::vector<std::string>& names,
              const RunContext& run = {});

}  // namespace vekmesh
