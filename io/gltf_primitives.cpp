// Material groups and vertex splitting for the glTF writer: corners that share
// a welded vertex, its colour bytes and the bit patterns of its written
// texture coordinate share one glTF vertex; any difference makes a new one.
#include "io/gltf_primitives.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <unordered_map>

namespace vekmesh {
namespace {

struct CornerKey {
  int32_t vertex;
  uint32_t rgb;
  uint32_t u_bits;
  uint32_t v_bits;
  bool operator==(const CornerKey& o) const {
    return vertex == o.vertex && rgb == o.rgb && u_bits == o.u_bits && v_bits == o.v_bits;
  }
};

struct CornerKeyHash {
  size_t operator()(const CornerKey& k) const {
    uint64_t h = static_cast<uint32_t>(k.vertex) * 0x9E3779B97F4A7C15ull;
    h ^= (static_cast<uint64_t>(k.rgb) << 32 | k.u_bits) * 0xC2B2AE3D27D4EB4Full;
    h ^= k.v_bits * 0x165667B19E3779F9ull;
    return static_cast<size_t>(h ^ (h >> 29));
  }
};

uint32_t floatBits(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  return bits;
}

bool finiteFace(const SubMesh& mesh, const Face& f) {
  for (int c = 0; c < 3; ++c) {
    if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= mesh.vertices.size()) return false;
    for (float x : mesh.vertices[f.v[c]].position)
      if (!std::isfinite(x)) return false;
  }
  return true;
}

bool hasTexCoord(const SubMesh& mesh, const Face& f, int c) {
  return f.uv[c] != kNoTexCoord && f.uv[c] < mesh.texCoords.size();
}

// Fills one primitive from its faces.
void fillPrimitive(const SubMesh& mesh, const std::vector<uint32_t>& faces, GltfPrimitive& p) {
  for (uint32_t fi : faces)
    for (int c = 0; c < 3 && !p.textured; ++c) p.textured = hasTexCoord(mesh, mesh.faces[fi], c);
  std::unordered_map<CornerKey, uint32_t, CornerKeyHash> seen;
  seen.reserve(faces.size() * 2);
  p.indices.reserve(faces.size() * 3);
  for (uint32_t fi : faces) {
    const Face& f = mesh.faces[fi];
    for (int c = 0; c < 3; ++c) {
      float u = 0.0f, v = 0.0f;
      if (p.textured && hasTexCoord(mesh, f, c)) {
        const TexCoord& t = mesh.texCoords[f.uv[c]];
        u = static_cast<float>(t.u);
        // glTF puts v = 0 at the top of the image; the exchange arrays at the bottom.
        v = static_cast<float>(1.0 - t.v);
      }
      const uint32_t rgb =
          uint32_t{f.colors[c][0]} << 16 | uint32_t{f.colors[c][1]} << 8 | f.colors[c][2];
      const CornerKey key{f.v[c], rgb, floatBits(u), floatBits(v)};
      const auto [it, fresh] = seen.emplace(key, p.vertexCount());
      if (fresh) {
        const auto& pos = mesh.vertices[f.v[c]].position;
        p.positions.insert(p.positions.end(), pos.begin(), pos.end());
        p.colors.insert(p.colors.end(), {f.colors[c][0], f.colors[c][1], f.colors[c][2], 255});
        if (p.textured) p.uvs.insert(p.uvs.end(), {u, v});
      }
      p.indices.push_back(it->second);
    }
  }
  for (int a = 0; a < 3; ++a) {
    p.min[a] = p.max[a] = p.positions[a];
    for (size_t i = a; i < p.positions.size(); i += 3) {
      p.min[a] = std::min(p.min[a], p.positions[i]);
      p.max[a] = std::max(p.max[a], p.positions[i]);
    }
  }
}

}  // namespace

GltfPrimitives gatherGltfPrimitives(const SubMesh& mesh) {
  GltfPrimitives out;
  std::map<int16_t, std::vector<uint32_t>> groups;
  for (size_t i = 0; i < mesh.faces.size(); ++i) {
    const Face& f = mesh.faces[i];
    if (f.removed || !finiteFace(mesh, f)) continue;
    // Every negative material is "none": one untextured group.
    groups[f.material < 0 ? kNoMaterial : f.material].push_back(static_cast<uint32_t>(i));
    for (int c = 0; c < 3; ++c)
      for (int k = 0; k < 3; ++k) out.colored = out.colored || f.colors[c][k] != 255;
  }
  out.primitives.resize(groups.size());
  size_t next = 0;
  for (const auto& [material, faces] : groups) {
    GltfPrimitive& p = out.primitives[next++];
    p.material = material;
    fillPrimitive(mesh, faces, p);
  }
  return out;
}

}  // namespace vekmesh
