// The glTF 2.0 writer: the primitives' arrays laid into one binary buffer (one
// buffer view per accessor, each 4-byte aligned), the JSON written with
// nlohmann::json, and the container (.gltf plus .bin, or .glb with its JSON
// and BIN chunks) written through temporary files renamed into place.
#include "io/gltf.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "io/file_handle.h"
#include "io/file_replace.h"
#include "io/gltf_primitives.h"
#include "io/platform_file.h"

namespace vekmesh {
namespace {
namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr uint32_t kArrayBuffer = 34962;
constexpr uint32_t kElementArrayBuffer = 34963;
constexpr uint32_t kUnsignedByte = 5121;
constexpr uint32_t kUnsignedShort = 5123;
constexpr uint32_t kUnsignedInt = 5125;
constexpr uint32_t kFloat = 5126;
// An image larger than this is referred to, not embedded.
constexpr uint64_t kMaxEmbeddedImage = uint64_t{1} << 30;

// ".glb" in any case: a host on a case-insensitive file system may not keep it.
bool isGlb(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.size() - dot != 4) return false;
  std::string ext = path.substr(dot + 1);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext == "glb";
}

// The binary buffer and the JSON arrays that describe it.
struct Layout {
  std::vector<uint8_t> bin;
  Json views = Json::array();
  Json accessors = Json::array();

  void pad(uint8_t fill = 0) {
    while (bin.size() % 4) bin.push_back(fill);
  }
  size_t addView(const void* data, size_t bytes, uint32_t target) {
    pad();
    Json view = {{"buffer", 0}, {"byteOffset", bin.size()}, {"byteLength", bytes}};
    if (target) view["target"] = target;
    const auto* p = static_cast<const uint8_t*>(data);
    bin.insert(bin.end(), p, p + bytes);
    views.push_back(std::move(view));
    return views.size() - 1;
  }
  size_t addAccessor(const void* data, size_t bytes, uint32_t target, uint32_t component,
                     size_t count, const char* type, bool normalized = false) {
    Json a = {{"bufferView", addView(data, bytes, target)},
              {"componentType", component},
              {"count", count},
              {"type", type}};
    if (normalized) a["normalized"] = true;
    accessors.push_back(std::move(a));
    return accessors.size() - 1;
  }
};

size_t addIndices(Layout& layout, const GltfPrimitive& p) {
  if (p.vertexCount() <= std::numeric_limits<uint16_t>::max()) {
    const std::vector<uint16_t> narrow(p.indices.begin(), p.indices.end());
    return layout.addAccessor(narrow.data(), narrow.size() * 2, kElementArrayBuffer, kUnsignedShort,
                              narrow.size(), "SCALAR");
  }
  return layout.addAccessor(p.indices.data(), p.indices.size() * 4, kElementArrayBuffer,
                            kUnsignedInt, p.indices.size(), "SCALAR");
}

Json primitiveJson(Layout& layout, const GltfPrimitive& p, bool colored) {
  const size_t n = p.vertexCount();
  const size_t position = layout.addAccessor(p.positions.data(), p.positions.size() * 4,
                                             kArrayBuffer, kFloat, n, "VEC3");
  layout.accessors[position]["min"] = {p.min[0], p.min[1], p.min[2]};
  layout.accessors[position]["max"] = {p.max[0], p.max[1], p.max[2]};
  Json attributes = {{"POSITION", position}};
  if (colored)
    attributes["COLOR_0"] = layout.addAccessor(p.colors.data(), p.colors.size(), kArrayBuffer,
                                               kUnsignedByte, n, "VEC4", true);
  if (p.textured)
    attributes["TEXCOORD_0"] =
        layout.addAccessor(p.uvs.data(), p.uvs.size() * 4, kArrayBuffer, kFloat, n, "VEC2");
  Json prim = {{"attributes", std::move(attributes)}, {"indices", addIndices(layout, p)}};
  if (p.material >= 0) prim["material"] = p.material;
  prim["mode"] = 4;
  return prim;
}

// The whole file of a regular file, or nothing.
std::vector<uint8_t> readWholeFile(const std::string& path) {
  uint64_t size = 0;
  FileHandle file(openRegularFile(path.c_str(), size));
  if (!file || size == 0 || size > kMaxEmbeddedImage) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return {};
  return bytes;
}

const char* imageMimeType(const std::vector<uint8_t>& b) {
  static const uint8_t kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  if (b.size() >= 8 && std::memcmp(b.data(), kPng, 8) == 0) return "image/png";
  if (b.size() >= 3 && b[0] == 0xFF && b[1] == 0xD8 && b[2] == 0xFF) return "image/jpeg";
  return nullptr;
}

// Materials, textures and images: one material per index up to the largest used.
void addMaterials(Json& doc, Layout& layout, const GltfPrimitives& prims,
                  const std::vector<std::string>& image_paths,
                  const std::vector<std::string>& material_names, const char* path, bool glb) {
  int largest = -1;
  std::vector<bool> textured;
  for (const GltfPrimitive& p : prims.primitives) {
    if (p.material < 0) continue;
    largest = std::max<int>(largest, p.material);
    textured.resize(largest + 1, false);
    textured[p.material] = p.textured;
  }
  if (largest < 0) return;
  Json materials = Json::array(), textures = Json::array(), images = Json::array();
  for (int m = 0; m <= largest; ++m) {
    Json pbr = {{"metallicFactor", 0.0}};
    const bool has_image = static_cast<size_t>(m) < image_paths.size() && !image_paths[m].empty();
    if (has_image && textured[m]) {
      Json image;
      std::vector<uint8_t> bytes;
      const char* mime = nullptr;
      if (glb) {
        bytes = readWholeFile(image_paths[m]);
        mime = imageMimeType(bytes);
      }
      if (mime) {
        image["bufferView"] = layout.addView(bytes.data(), bytes.size(), 0);
        image["mimeType"] = mime;
      } else {
        image["uri"] = relativeUri(image_paths[m], path);
      }
      images.push_back(std::move(image));
      textures.push_back({{"source", images.size() - 1}});
      pbr["baseColorTexture"] = {{"index", textures.size() - 1}};
    }
    const bool named = static_cast<size_t>(m) < material_names.size() && !material_names[m].empty();
    materials.push_back({{"name", named ? material_names[m] : "material_" + std::to_string(m)},
                         {"pbrMetallicRoughness", std::move(pbr)}});
  }
  doc["materials"] = std::move(materials);
  if (!textures.empty()) {
    doc["textures"] = std::move(textures);
    doc["images"] = std::move(images);
  }
}

bool writeBytes(const char* path, const std::vector<const std::vector<uint8_t>*>& parts) {
  FileHandle file(openFile(path, "wb"));
  if (!file) return false;
  uint64_t offset = 0;
  for (const auto* part : parts) {
    if (!writeInPieces(file.get(), part->data(), part->size(), offset)) return false;
    offset += part->size();
  }
  return finishWriting(file);
}

void putLittle32(std::vector<uint8_t>& out, uint32_t x) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(x >> (8 * i)));
}

// The name of the .bin beside a .gltf: its stem with ".bin".
std::string binaryPathOf(const std::string& path) {
  const size_t cut = path.find_last_of(kPathSeparators);
  const size_t dot = path.rfind('.');
  const bool has_ext = dot != std::string::npos && (cut == std::string::npos || dot > cut);
  return (has_ext ? path.substr(0, dot) : path) + ".bin";
}

bool writeGlb(const std::string& path, const Json& doc, std::vector<uint8_t>& bin) {
  const std::string text = doc.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::vector<uint8_t> json(text.begin(), text.end());
  while (json.size() % 4) json.push_back(' ');
  while (bin.size() % 4) bin.push_back(0);
  const uint64_t total = 12 + 8 + json.size() + (bin.empty() ? 0 : 8 + bin.size());
  if (total > std::numeric_limits<uint32_t>::max()) return false;
  std::vector<uint8_t> head, bin_head;
  putLittle32(head, 0x46546C67u);  // "glTF"
  putLittle32(head, 2);
  putLittle32(head, static_cast<uint32_t>(total));
  putLittle32(head, static_cast<uint32_t>(json.size()));
  putLittle32(head, 0x4E4F534Au);  // "JSON"
  if (!bin.empty()) {
    putLittle32(bin_head, static_cast<uint32_t>(bin.size()));
    putLittle32(bin_head, 0x004E4942u);  // "BIN\0"
  }
  return replaceFile(path, [&](const char* temp) {
    return writeBytes(temp, {&head, &json, &bin_head, &bin});
  });
}

bool writeJsonAndBin(const std::string& path, const Json& doc, const std::vector<uint8_t>& bin) {
  const std::string text = doc.dump(1, ' ', false, Json::error_handler_t::replace);
  const std::vector<uint8_t> json(text.begin(), text.end());
  const auto write_json = [&] {
    return replaceFile(path, [&](const char* temp) { return writeBytes(temp, {&json}); });
  };
  if (bin.empty()) return write_json();
  // The .bin waits in its temporary file, on disk, until the JSON that refers
  // to it is in place; only then is it renamed. Should that last rename fail,
  // the new JSON goes too, so no file is left pointing at a missing buffer.
  bool json_written = false;
  const bool done = replaceFile(binaryPathOf(path), [&](const char* temp) {
    json_written = writeBytes(temp, {&bin}) && flushToDisk(temp) && write_json();
    return json_written;
  });
  if (!done && json_written) removeFile(path.c_str());
  return done;
}

bool isUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

std::string percentEncoded(const std::string& s) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : s) {
    if (isUnreserved(c) || c == '/') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string relativeUriOf(const std::string& target, const std::string& from) {
  std::error_code ec;
  const fs::path image = fs::absolute(fs::u8path(target), ec).lexically_normal();
  const fs::path folder = fs::absolute(fs::u8path(from), ec).lexically_normal().parent_path();
  const fs::path rel = image.lexically_relative(folder);
  if (ec || rel.empty()) {
    // Another drive: no relative path leads there, so an absolute file URI.
    std::string absolute = image.generic_u8string();
    if (!absolute.empty() && absolute[0] != '/') absolute = "/" + absolute;
    return "file://" + percentEncoded(absolute);
  }
  return percentEncoded(rel.generic_u8string());
}

}  // namespace

std::string relativeUri(const std::string& target, const std::string& from) {
  try {
    return relativeUriOf(target, from);
  } catch (...) {
    // A name the path layer cannot convert (not UTF-8 on Windows): referred
    // to as given, with '/' separators.
    std::string uri = target;
    for (char& c : uri)
      if (c == '\\') c = '/';
    return percentEncoded(uri);
  }
}

bool writeGltf(const SubMesh& mesh, const char* path, const std::vector<std::string>& image_paths,
               const std::vector<std::string>& material_names) {
  if (!path || !*path) return false;
  const bool glb = isGlb(path);
  const GltfPrimitives prims = gatherGltfPrimitives(mesh);
  Layout layout;
  Json doc = {{"asset", {{"version", "2.0"}, {"generator", "VEKmesh"}}}, {"scene", 0}};
  if (prims.primitives.empty()) {
    doc["scenes"] = Json::array({Json::object()});
  } else {
    doc["scenes"] = Json::array({Json::object({{"nodes", Json::array({0})}})});
    doc["nodes"] = Json::array({Json::object({{"mesh", 0}})});
    Json primitives = Json::array();
    for (const GltfPrimitive& p : prims.primitives)
      primitives.push_back(primitiveJson(layout, p, prims.colored));
    doc["meshes"] = Json::array({Json::object({{"primitives", std::move(primitives)}})});
    addMaterials(doc, layout, prims, image_paths, material_names, path, glb);
  }
  layout.pad();
  if (!layout.bin.empty()) {
    Json buffer = {{"byteLength", layout.bin.size()}};
    if (!glb) buffer["uri"] = relativeUri(binaryPathOf(path), path);
    doc["buffers"] = Json::array({std::move(buffer)});
    doc["bufferViews"] = std::move(layout.views);
    doc["accessors"] = std::move(layout.accessors);
  }
  return glb ? writeGlb(path, doc, layout.bin) : writeJsonAndBin(path, doc, layout.bin);
}

}  // namespace vekmesh
