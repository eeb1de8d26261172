// Model files for the scripting API: every format the tool reads and writes,
// chosen by the extension in any case, with failures as CallError messages.
#pragma once

#include <string>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::script {

// Reads `path` into `mesh` (its shells left to the caller). Throws CallError with
// VKM_FILE_ERROR (missing, unreadable, unknown extension, malformed OBJ) or
// VKM_EMPTY_RESULT (no triangles).
void loadModelFile(const std::string& path, TriMesh& mesh, const RunContext& run);

// Writes the live faces of `mesh` to `path` in the format of its extension,
// through a temporary file. Throws CallError(VKM_FILE_ERROR) on failure.
void saveModelFile(const std::string& path, const SubMesh& mesh);

}  // namespace vekmesh::script
