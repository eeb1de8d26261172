// Mesh handles of the scripting API: made from arrays or files, copied, saved,
// copied back out into the caller's arrays or into allocated ones; the status
// texts and the version.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "include/vekmesh/script.h"
#include "mesh/mesh_utils.h"
#include "script/model_files.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

namespace {

// Materials as the mesh keeps them: 16 bits, every negative value "none".
std::vector<int32_t> checkedMaterials(const int32_t* materials, uint64_t count, bool have_uvs) {
  std::vector<int32_t> kept(count);
  for (uint64_t t = 0; t < count; ++t) {
    require(materials[t] <= 32767, "a material is above 32767");
    require(have_uvs || materials[t] < 0, "materials of 0 or more need texture coordinates");
    kept[t] = materials[t] < 0 ? -1 : materials[t];
  }
  return kept;
}

// Writes the live faces of `mesh` into arrays sized for them; null arrays
// are skipped.
void writeSoup(const SubMesh& mesh, float* corners, float* colors, float* uvs, int32_t* materials) {
  size_t t = 0;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c) {
      if (corners)
        std::memcpy(corners + 9 * t + 3 * c, mesh.vertices[f.v[c]].position.data(),
                    3 * sizeof(float));
      if (colors)
        for (int k = 0; k < 3; ++k) colors[9 * t + 3 * c + k] = f.colors[c][k] / 255.0f;
      if (uvs) {
        const bool textured = f.uv[c] != kNoTexCoord && f.uv[c] < mesh.texCoords.size();
        uvs[6 * t + 2 * c] = textured ? static_cast<float>(mesh.texCoords[f.uv[c]].u) : 0.0f;
        uvs[6 * t + 2 * c + 1] = textured ? static_cast<float>(mesh.texCoords[f.uv[c]].v) : 0.0f;
      }
    }
    if (materials) materials[t] = f.material;
    ++t;
  }
}

}  // namespace

extern "C" {

VKM_API const char* vkm_status_message(int32_t status) {
  switch (status) {
    case VKM_OK:
      return "success";
    case VKM_INVALID_ARGUMENT:
      return "invalid argument";
    case VKM_CANCELLED:
      return "cancelled by the progress callback";
    case VKM_OUT_OF_MEMORY:
      return "out of memory";
    case VKM_FILE_ERROR:
      return "file cannot be read or written";
    case VKM_EMPTY_RESULT:
      return "no triangles";
    case VKM_NOT_AVAILABLE:
      return "operation not available in this build";
    case VKM_INTERNAL_ERROR:
      return "internal error";
    case VKM_BUFFER_TOO_SMALL:
      return "array too small for the mesh";
    default:
      return "unknown status";
  }
}

VKM_API const char* vkm_version(void) {
  return VEKMESH_VERSION;
}

VKM_API int32_t vkm_mesh_from_arrays(const float* corners, const float* colors, const float* uvs,
                                     const int32_t* materials, uint64_t count, vkm_mesh** out) {
  if (out) *out = nullptr;
  return runCall(nullptr, [&](const RunContext&) {
    require(out, "null out pointer");
    require(corners || count == 0, "null corner array");
    require(count < (uint64_t{1} << 31), "more than 2^31 - 1 triangles");
    std::vector<int32_t> kept;
    if (materials) kept = checkedMaterials(materials, count, uvs != nullptr);
    auto handle = std::make_unique<vkm_mesh>();
    buildTriMesh(handle->mesh, static_cast<uint32_t>(count), corners, colors, uvs,
                 materials ? kept.data() : nullptr);
    handle->mesh.tag = &handle->mesh;
    handle->shells_pending = true;
    *out = handle.release();
  });
}

VKM_API int32_t vkm_mesh_load(const char* path, vkm_run* run, vkm_mesh** out) {
  if (out) *out = nullptr;
  return runCall(run, [&](const RunContext& context) {
    require(out && path, "null path or out pointer");
    auto handle = std::make_unique<vkm_mesh>();
    loadModelFile(path, handle->mesh, context.sub(0.0, 0.95));
    handle->shells_pending = true;
    context.report(1.0);
    *out = handle.release();
  });
}

VKM_API int32_t vkm_mesh_save(const vkm_mesh* mesh, const char* path, vkm_run* run) {
  return runCall(run, [&](const RunContext& context) {
    require(mesh && path, "null mesh or path");
    context.report(0.0);
    saveModelFile(path, currentMesh(*mesh));
    context.report(1.0);
  });
}

VKM_API int32_t vkm_mesh_copy(const vkm_mesh* mesh, vkm_mesh** out) {
  if (out) *out = nullptr;
  return runCall(nullptr, [&](const RunContext&) {
    require(mesh && out, "null mesh or out pointer");
    auto handle = std::make_unique<vkm_mesh>();
    handle->mesh = currentMesh(*mesh);
    handle->mesh.tag = &handle->mesh;
    *out = handle.release();
  });
}

VKM_API void vkm_mesh_free(vkm_mesh* mesh) {
  delete mesh;
}

VKM_API uint64_t vkm_mesh_triangle_count(const vkm_mesh* mesh) {
  return mesh ? liveTriangles(mesh->mesh) : 0;
}

VKM_API int32_t vkm_mesh_copy_out(const vkm_mesh* mesh, float* corners, float* colors, float* uvs,
                                  int32_t* materials, uint64_t capacity) {
  return runCall(nullptr, [&](const RunContext&) {
    require(mesh, "null mesh");
    if (liveTriangles(mesh->mesh) > capacity)
      throw CallError(VKM_BUFFER_TOO_SMALL, "the arrays hold fewer triangles than the mesh");
    writeSoup(mesh->mesh, corners, colors, uvs, materials);
  });
}

VKM_API int32_t vkm_mesh_to_arrays(const vkm_mesh* mesh, vkm_arrays* out) {
  vkm_arrays made{};
  const int32_t status = runCall(nullptr, [&](const RunContext&) {
    require(mesh && out, "null mesh or out pointer");
    made.count = liveTriangles(mesh->mesh);
    made.corners = allocated<float>(9 * made.count);
    made.colors = allocated<float>(9 * made.count);
    made.uvs = allocated<float>(6 * made.count);
    made.materials = allocated<int32_t>(made.count);
    writeSoup(mesh->mesh, made.corners, made.colors, made.uvs, made.materials);
  });
  if (status == VKM_OK)
    *out = made;
  else
    vkm_arrays_free(&made);
  return status;
}

VKM_API void vkm_arrays_free(vkm_arrays* arrays) {
  if (!arrays) return;
  std::free(arrays->corners);
  std::free(arrays->colors);
  std::free(arrays->uvs);
  std::free(arrays->materials);
  *arrays = vkm_arrays{};
}

}  // extern "C"
