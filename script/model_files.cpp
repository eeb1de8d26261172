// Reading and writing models for the scripting API: the readers and writers
// the tool uses, their failures as status codes with the same messages.
#include "script/model_files.h"

#include "include/vekmesh/script.h"
#include "io/model_files.h"
#include "script/script_frame.h"

namespace vekmesh::script {

void loadModelFile(const std::string& path, TriMesh& mesh, const RunContext& run) {
  const ModelFileRead read = readModelFile(path, mesh, run);
  if (read.problem == ModelFileProblem::kUnreadable) throw CallError(VKM_FILE_ERROR, read.message);
  if (read.problem == ModelFileProblem::kEmpty) throw CallError(VKM_EMPTY_RESULT, read.message);
}

void saveModelFile(const std::string& path, const SubMesh& mesh) {
  const std::string failure = writeModelFile(path, mesh);
  if (!failure.empty()) throw CallError(VKM_FILE_ERROR, failure);
}

}  // namespace vekmesh::script
