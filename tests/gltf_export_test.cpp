// The glTF export read back as a reader would: the JSON parsed, the buffers
// checked for layout (views inside the buffer, accessors inside their views,
// 4-byte alignment, POSITION min/max, index ranges, GLB chunks), the
// triangles rebuilt with colours, texture coordinates and materials and
// compared with what went in; the files run through the glTF validator when
// node and the validator package are installed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "include/vekmesh.h"
#include "io/gltf.h"
#include "io_samples.h"
#include "mesh/color_byte.h"
#include "mesh_builders.h"

namespace {

namespace test = vekmesh::test;
using Json = nlohmann::json;
using test::readFileBytes;
using test::ScratchDir;

// A 2 x 2 RGB PNG, made for these tests.
const unsigned char kPng[] = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44,
    0x52, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xFD,
    0xD4, 0x9A, 0x73, 0x00, 0x00, 0x00, 0x10, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9C, 0x63, 0xF8,
    0xCF, 0x00, 0x04, 0xFF, 0x19, 0x20, 0x14, 0x00, 0x1B, 0xF2, 0x03, 0xFD, 0xD6, 0x96, 0xF2,
    0x2B, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};

uint32_t little32(const std::string& b, size_t at) {
  uint32_t x = 0;
  for (int i = 3; i >= 0; --i) x = x << 8 | static_cast<unsigned char>(b[at + i]);
  return x;
}

// One corner as read back: position, colour bytes, texture coordinate (in
// the exchange convention), material.
using Corner = std::tuple<float, float, float, int, int, int, float, float>;
using Triangle = std::tuple<Corner, Corner, Corner, int>;

struct Asset {
  Json doc;
  std::string bin;
};

// Parses a .glb, checking the chunk layout, or a .gltf with its buffer file.
Asset loadAsset(const std::string& path) {
  const std::string bytes = readFileBytes(path);
  Asset a;
  if (path.size() > 4 && path.substr(path.size() - 4) == ".glb") {
    EXPECT_GE(bytes.size(), 20u);
    EXPECT_EQ(bytes.compare(0, 4, "glTF"), 0);
    EXPECT_EQ(little32(bytes, 4), 2u);
    EXPECT_EQ(little32(bytes, 8), bytes.size());
    const uint32_t json_len = little32(bytes, 12);
    EXPECT_EQ(little32(bytes, 16), 0x4E4F534Au);
    EXPECT_EQ(json_len % 4, 0u);
    a.doc = Json::parse(bytes.substr(20, json_len));
    const size_t bin_at = 20 + json_len;
    if (bin_at < bytes.size()) {
      const uint32_t bin_len = little32(bytes, bin_at);
      EXPECT_EQ(little32(bytes, bin_at + 4), 0x004E4942u);
      EXPECT_EQ(bin_len % 4, 0u);
      EXPECT_EQ(bin_at + 8 + bin_len, bytes.size());
      a.bin = bytes.substr(bin_at + 8, bin_len);
      EXPECT_FALSE(a.doc["buffers"][0].contains("uri"));
    }
  } else {
    a.doc = Json::parse(bytes);
    if (a.doc.contains("buffers")) {
      const std::string uri = a.doc["buffers"][0]["uri"];
      a.bin = readFileBytes((std::filesystem::path(path).parent_path() / uri).string());
    }
  }
  if (a.doc.contains("buffers")) {
    EXPECT_EQ(a.doc["buffers"][0]["byteLength"].get<size_t>(), a.bin.size());
  }
  return a;
}

// The bytes of accessor `i`, after checking that it lies inside its view,
// the view inside the buffer, and both are aligned.
const char* accessorData(const Asset& a, size_t i, size_t element_bytes) {
  const Json& acc = a.doc["accessors"][i];
  const Json& view = a.doc["bufferViews"][acc["bufferView"].get<size_t>()];
  const size_t view_at = view["byteOffset"], view_len = view["byteLength"];
  const size_t acc_at = acc.value("byteOffset", 0), count = acc["count"];
  EXPECT_EQ(view_at % 4, 0u);
  EXPECT_LE(view_at + view_len, a.bin.size());
  EXPECT_LE(acc_at + count * element_bytes, view_len);
  return a.bin.data() + view_at + acc_at;
}

template <typename T>
T at(const char* p, size_t i) {
  T x;
  std::memcpy(&x, p + i * sizeof(T), sizeof(T));
  return x;
}

// Rebuilds the triangles; checks min/max and index ranges on the way.
// `vertex_total` receives the vertices written over all primitives.
std::vector<Triangle> readTriangles(const Asset& a, size_t* vertex_total = nullptr) {
  std::vector<Triangle> out;
  if (vertex_total) *vertex_total = 0;
  for (const Json& prim : a.doc["meshes"][0]["primitives"]) {
    const Json& attr = prim["attributes"];
    const size_t pos_i = attr["POSITION"];
    const Json& pos_acc = a.doc["accessors"][pos_i];
    const size_t n = pos_acc["count"];
    if (vertex_total) *vertex_total += n;
    const char* pos = accessorData(a, pos_i, 12);
    for (int k = 0; k < 3; ++k) {
      float lo = at<float>(pos, k), hi = lo;
      for (size_t v = 0; v < n; ++v) {
        lo = std::min(lo, at<float>(pos, 3 * v + k));
        hi = std::max(hi, at<float>(pos, 3 * v + k));
      }
      EXPECT_EQ(pos_acc["min"][k].get<float>(), lo);
      EXPECT_EQ(pos_acc["max"][k].get<float>(), hi);
    }
    const char* col = attr.contains("COLOR_0") ? accessorData(a, attr["COLOR_0"], 4) : nullptr;
    const char* uv = attr.contains("TEXCOORD_0") ? accessorData(a, attr["TEXCOORD_0"], 8) : nullptr;
    const Json& idx_acc = a.doc["accessors"][prim["indices"].get<size_t>()];
    const bool narrow = idx_acc["componentType"] == 5123;
    EXPECT_EQ(narrow, n <= 65535) << "16-bit indices exactly when they suffice";
    const char* idx = accessorData(a, prim["indices"], narrow ? 2 : 4);
    const int material = prim.value("material", -1);
    const size_t count = idx_acc["count"];
    EXPECT_EQ(count % 3, 0u);
    for (size_t t = 0; t + 2 < count; t += 3) {
      Corner c[3];
      for (int k = 0; k < 3; ++k) {
        const uint32_t v = narrow ? at<uint16_t>(idx, t + k) : at<uint32_t>(idx, t + k);
        EXPECT_LT(v, n);
        if (v >= n) return out;
        const auto byte = [&](int j) {
          return col ? static_cast<unsigned char>(col[4 * v + j]) : 255;
        };
        const float u = uv ? at<float>(uv, 2 * v) : 0.0f;
        const float w = uv ? 1.0f - at<float>(uv, 2 * v + 1) : 0.0f;
        c[k] = {at<float>(pos, 3 * v),
                at<float>(pos, 3 * v + 1),
                at<float>(pos, 3 * v + 2),
                byte(0),
                byte(1),
                byte(2),
                u,
                w};
      }
      out.emplace_back(c[0], c[1], c[2], material);
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::vector<Triangle> expectedTriangles(const test::Soup& s) {
  std::vector<Triangle> out;
  const auto byte = [](float f) { return static_cast<int>(vekmesh::colorByte(f)); };
  for (uint32_t t = 0; t < s.triangleCount(); ++t) {
    const int m = s.materials.empty() ? -1 : s.materials[t];
    Corner c[3];
    for (int k = 0; k < 3; ++k) {
      const float* p = &s.corners[9 * t + 3 * k];
      const float* rgb = s.colors.empty() ? nullptr : &s.colors[9 * t + 3 * k];
      const bool textured = m >= 0 && !s.uvs.empty();
      c[k] = {p[0],
              p[1],
              p[2],
              rgb ? byte(rgb[0]) : 255,
              rgb ? byte(rgb[1]) : 255,
              rgb ? byte(rgb[2]) : 255,
              textured ? s.uvs[6 * t + 2 * k] : 0.0f,
              textured ? s.uvs[6 * t + 2 * k + 1] : 0.0f};
    }
    out.emplace_back(c[0], c[1], c[2], m);
  }
  std::sort(out.begin(), out.end());
  return out;
}

// A cube in two colours and three groups: material 0 (textured, the PNG),
// material 1 (textured, an image that does not exist) and untextured faces.
test::Soup twoMaterialCube() {
  test::Soup s = test::cubeSoup(2.0f);
  test::paint(s, {1.0f, 1.0f, 1.0f});
  test::assignMaterial(s, 0);
  for (uint32_t t = 0; t < s.triangleCount(); ++t) {
    if (t >= 4) s.materials[t] = t < 8 ? 1 : -1;
    if (t % 2) s.colors[9 * t] = 0.2f;  // one red-shifted corner per odd triangle
    for (int k = 0; k < 6; ++k) s.uvs[6 * t + k] = 0.125f * ((t + k) % 8);
  }
  return s;
}

void exportSoup(const test::Soup& s, const std::string& path,
                const std::vector<std::string>& images) {
  std::vector<const char*> names;
  for (const std::string& i : images) names.push_back(i.empty() ? nullptr : i.c_str());
  exportFileGLTF(path.c_str(), s.corners.data(), s.colors.empty() ? nullptr : s.colors.data(),
                 s.uvs.empty() ? nullptr : s.uvs.data(),
                 s.materials.empty() ? nullptr : s.materials.data(), s.triangleCount(),
                 names.data(), static_cast<uint32_t>(names.size()));
}

TEST(GltfExport, TwoMaterialModelReadsBackInBothContainers) {
  ScratchDir dir;
  std::filesystem::create_directory(dir.file("textures"));
  const std::string png = dir.write("textures/red blue.png",
                                    std::string(reinterpret_cast<const char*>(kPng), sizeof kPng));
  const test::Soup s = twoMaterialCube();
  const std::vector<std::string> images = {png, dir.file("textures/missing.jpg")};
  for (const char* name : {"model.gltf", "model.glb"}) {
    SCOPED_TRACE(name);
    exportSoup(s, dir.file(name), images);
    const Asset a = loadAsset(dir.file(name));
    size_t vertices = 0;
    EXPECT_EQ(readTriangles(a, &vertices), expectedTriangles(s));
    // 8 cube corners, split where faces of one group meet with other colours
    // or coordinates: well below one vertex per corner.
    EXPECT_LT(vertices, 3u * s.triangleCount());
    const Json& prims = a.doc["meshes"][0]["primitives"];
    ASSERT_EQ(prims.size(), 3u);
    EXPECT_FALSE(prims[0].contains("material"));
    EXPECT_FALSE(prims[0]["attributes"].contains("TEXCOORD_0"));
    EXPECT_EQ(prims[1]["material"], 0);
    EXPECT_EQ(prims[2]["material"], 1);
    const Json& mats = a.doc["materials"];
    ASSERT_EQ(mats.size(), 2u);
    const Json& images_out = a.doc["images"];
    ASSERT_EQ(images_out.size(), 2u);
    if (std::string(name) == "model.glb") {
      EXPECT_EQ(images_out[0]["mimeType"], "image/png");
      EXPECT_FALSE(images_out[0].contains("uri"));
    } else {
      EXPECT_EQ(images_out[0]["uri"], "textures/red%20blue.png");
    }
    EXPECT_EQ(images_out[1]["uri"], "textures/missing.jpg") << "a missing image is still named";
  }
  // The .gltf's buffer sits beside it; the .glb left nothing beside it.
  EXPECT_TRUE(std::filesystem::exists(dir.file("model.bin")));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 4);
}

TEST(GltfExport, PlainModelHasNoColoursAndSharesVertices) {
  ScratchDir dir;
  const test::Soup s = test::soupFromIndexed(
      [] {
        std::vector<test::Point> p;
        const test::IndexedMesh m = test::uvSphere(8, 12, 1.0f);
        for (size_t i = 0; i < m.vertexCount(); ++i)
          p.push_back({m.positions[3 * i], m.positions[3 * i + 1], m.positions[3 * i + 2]});
        return p;
      }(),
      [] {
        std::vector<std::array<int, 3>> t;
        const test::IndexedMesh m = test::uvSphere(8, 12, 1.0f);
        for (size_t i = 0; i < m.triangleCount(); ++i)
          t.push_back(
              {int(m.triangles[3 * i]), int(m.triangles[3 * i + 1]), int(m.triangles[3 * i + 2])});
        return t;
      }());
  exportSoup(s, dir.file("plain.glb"), {});
  const Asset a = loadAsset(dir.file("plain.glb"));
  size_t vertices = 0;
  EXPECT_EQ(readTriangles(a, &vertices), expectedTriangles(s));
  EXPECT_EQ(vertices, test::uvSphere(8, 12, 1.0f).vertexCount());
  const Json& prim = a.doc["meshes"][0]["primitives"][0];
  EXPECT_FALSE(prim["attributes"].contains("COLOR_0"));
  EXPECT_FALSE(a.doc.contains("materials"));
}

TEST(GltfExport, LargePrimitiveUsesWideIndices) {
  ScratchDir dir;
  test::Soup s = test::uvSphereSoup(1.0f, 300, 240);  // about 71,000 vertices
  exportSoup(s, dir.file("big.gltf"), {});
  const Asset a = loadAsset(dir.file("big.gltf"));
  size_t vertices = 0;
  EXPECT_EQ(readTriangles(a, &vertices).size(), s.triangleCount());
  EXPECT_GT(vertices, 65535u);
}

TEST(GltfExport, FailureLeavesNothingAndEmptyModelIsValid) {
  ScratchDir dir;
  const test::Soup s = test::cubeSoup();
  exportSoup(s, dir.file("no/such/folder/x.gltf"), {});
  exportSoup(s, dir.path(), {});  // a folder cannot be replaced by a file
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 0);
  exportFileGLTF(nullptr, s.corners.data(), nullptr, nullptr, nullptr, s.triangleCount(), nullptr,
                 0);
  // No triangles: an asset with an empty scene and no buffer file.
  exportFileGLTF(dir.file("empty.gltf").c_str(), nullptr, nullptr, nullptr, nullptr, 0, nullptr, 0);
  const Asset a = loadAsset(dir.file("empty.gltf"));
  EXPECT_EQ(a.doc["asset"]["version"], "2.0");
  EXPECT_FALSE(std::filesystem::exists(dir.file("empty.bin")));
}

TEST(GltfExport, RelativeUris) {
  EXPECT_EQ(vekmesh::relativeUri("/a/b/t.png", "/a/out.gltf"), "b/t.png");
  EXPECT_EQ(vekmesh::relativeUri("/a/t 1#.png", "/a/c/out.gltf"), "../t%201%23.png");
  EXPECT_EQ(vekmesh::relativeUri("/a/\xC3\xA9.png", "/a/out.gltf"), "%C3%A9.png");
}

// The validator of the format itself, where it is installed (the CI installs it).
TEST(GltfExport, ValidatorFindsNoErrors) {
#if defined(VEKMESH_NODE) && defined(VEKMESH_GLTF_VALIDATOR)
  if (!std::filesystem::exists(VEKMESH_GLTF_VALIDATOR))
    GTEST_SKIP() << "glTF validator not installed (bash scripts/setup_validator.sh)";
  ScratchDir dir;
  const std::string png =
      dir.write("red blue.png", std::string(reinterpret_cast<const char*>(kPng), sizeof kPng));
  const std::string png2 =
      dir.write("second.png", std::string(reinterpret_cast<const char*>(kPng), sizeof kPng));
  const test::Soup s = twoMaterialCube();
  exportSoup(s, dir.file("model.gltf"), {png, png2});
  exportSoup(s, dir.file("model.glb"), {png, png2});
  exportSoup(test::uvSphereSoup(1.0f, 300, 240), dir.file("big.glb"), {});
  const std::string command = std::string("\"") + VEKMESH_NODE + "\" \"" + VEKMESH_VALIDATE_SCRIPT +
                              "\" \"" + VEKMESH_GLTF_VALIDATOR + "\" " + dir.file("model.gltf") +
                              " " + dir.file("model.glb") + " " + dir.file("big.glb");
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
#else
  GTEST_SKIP() << "node not found when configured: the glTF validator cannot run";
#endif
}

}  // namespace
