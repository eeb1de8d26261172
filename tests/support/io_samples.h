// Model files the file-format tests write for themselves, also the seed corpus
// of the STL and OBJ fuzz targets: binary and ASCII STL made from test soups,
// hand-written OBJ text, and a scratch directory to write them to.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "mesh_builders.h"

namespace vekmesh::test {

// Binary STL: `header` (cut or zero-padded to 80 bytes), the count field
// (`declared`, or the soup's count when negative), then one record per
// triangle with a made-up normal (readers must ignore it) and `attribute`.
inline std::string binaryStl(const Soup& soup, std::string_view header = "binary",
                             long long declared = -1, uint16_t attribute = 0) {
  std::string bytes(84, '\0');
  std::memcpy(&bytes[0], header.data(), header.size() < 80 ? header.size() : 80);
  const uint32_t count = declared < 0 ? soup.triangleCount() : static_cast<uint32_t>(declared);
  for (int i = 0; i < 4; ++i) bytes[80 + i] = static_cast<char>(count >> (8 * i));
  const float normal[3] = {0.25f, -0.5f, 1.0f};
  for (uint32_t t = 0; t < soup.triangleCount(); ++t) {
    bytes.append(reinterpret_cast<const char*>(normal), 12);
    bytes.append(reinterpret_cast<const char*>(soup.corners.data() + 9 * t), 36);
    bytes.append({static_cast<char>(attribute & 0xFF), static_cast<char>(attribute >> 8)});
  }
  return bytes;
}

// ASCII STL of the soup. Plain: one keyword per line, "%.9g" numbers, which
// read back to the same floats. Odd: the layout varies from value to value
// (tabs, runs of blanks, CRLF and bare CR line ends, a leading "+", upper-case
// exponents), normals hold non-numbers, and stray words sit outside the
// corners; the corners still read back to the same floats.
enum class AsciiStyle { kPlain, kOdd };

inline std::string asciiStl(const Soup& soup, AsciiStyle style = AsciiStyle::kPlain) {
  const bool odd = style == AsciiStyle::kOdd;
  const char* const gaps[] = {" ", "\t", "   ", "\r\n", "\r", " \t "};
  size_t turn = 0;
  auto gap = [&]() { return odd ? gaps[turn++ % 6] : " "; };
  auto number = [&](float v) {
    char text[64];
    const char* const formats[] = {"%.9g", "%+.9g", "%.8E", "%.8e"};
    std::snprintf(text, sizeof text, odd ? formats[turn % 4] : "%.9g", double(v));
    return std::string(text);
  };
  std::string out = odd ? "solid\tname with words\r\n" : "solid test\n";
  for (uint32_t t = 0; t < soup.triangleCount(); ++t) {
    out += odd ? "  facet normal +inf -inf weirdvalue\r\n\touter   loop\n"
               : "facet normal 0 0 0\nouter loop\n";
    for (int c = 0; c < 3; ++c) {
      out += "vertex";
      for (int a = 0; a < 3; ++a) out.append(gap()).append(number(soup.corners[9 * t + 3 * c + a]));
      out += odd ? gaps[turn++ % 6] : "\n";
    }
    out += odd ? "endloop foo\r\nendfacet bar\r" : "endloop\nendfacet\n";
  }
  out += odd ? "endsolid name blah" : "endsolid test\n";
  return out;
}

// Seven corners: a facet of four vertices followed by one of three. Grouped in
// threes they give (0,0,0) (1,0,0) (1,1,0) and (0,1,0) (0,0,1) (1,0,1); the
// seventh corner (0,1,1) is left over and dropped.
inline const char* const kFourVertexFacetStl =
    "solid four\nfacet normal 0 0 1\n outer loop\n"
    "  vertex 0 0 0\n  vertex 1 0 0\n  vertex 1 1 0\n  vertex 0 1 0\n endloop\nendfacet\n"
    "facet normal 0 0 1\n outer loop\n"
    "  vertex 0 0 1\n  vertex 1 0 1\n  vertex 0 1 1\n endloop\nendfacet\nendsolid four\n";

// Coloured vertices, texture coordinates, faces before and after "usemtl",
// a quad, relative (negative) and zero vertex numbers (those faces are
// dropped), and texture numbers that are missing or out of range.
inline const char* const kFeaturesObj =
    "# features\nmtllib whatever.mtl\n"
    "v 0 0 0 1 0 0\nv 1 0 0 0 1 0\nv 0 1 0 0 0 1\nv 1 1 0\n"
    "vt 0.25 0.5\nvt 0.75 0.125\n"
    "f 1 2 3\nusemtl red\nf 2/1 4/2 3/7\nusemtl red\n"
    "f 1//1 2/2/2 4/2 3\nf -1 -2 -3\nf 0 1 2\nf 1 2 9\n";

// An L-shaped hexagon in the plane z = 2: the square (1,1)-(2,2) cut from the
// square (0,0)-(2,2), wound counter-clockwise seen from +z; area 3. It starts
// at (1,2), from where a fan would cover the notch with a folded triangle.
inline const char* const kConcavePolygonObj =
    "v 1 2 2\nv 0 2 2\nv 0 0 2\nv 2 0 2\nv 2 1 2\nv 1 1 2\nf 1 2 3 4 5 6\n";

struct SampleFile {
  std::string name;
  std::string bytes;
};

// Every STL sample: binary (plain, "solid" header, attribute bits), ASCII
// (plain, odd, four-vertex facet) and hostile ones (a count far beyond the
// file, a cut record, an empty file, a header alone).
inline std::vector<SampleFile> stlSamples() {
  const Soup cube = cubeSoup(1.0f);
  const Soup sphere = uvSphereSoup(2.0f, 12, 6);
  return {
      {"cube_binary.stl", binaryStl(cube)},
      {"cube_solid_header.stl", binaryStl(cube, "solid cube, but binary")},
      {"sphere_attributes.stl", binaryStl(sphere, "colour", -1, 0x8421)},
      {"cube_ascii.stl", asciiStl(cube)},
      {"sphere_ascii_odd.stl", asciiStl(sphere, AsciiStyle::kOdd)},
      {"four_vertex_facet.stl", kFourVertexFacetStl},
      {"huge_count.stl", binaryStl(tetrahedronSoup(), "huge", 4000000000LL).substr(0, 200)},
      {"truncated.stl", binaryStl(cube).substr(0, 84 + 50 * 5 + 17)},
      {"empty.stl", ""},
      {"header_only.stl", std::string(84, '\0')},
  };
}

// The OBJ samples written by hand; the fuzz seed generator adds the writer's
// own output.
inline std::vector<SampleFile> objSamples() {
  return {
      {"features.obj", kFeaturesObj},
      {"concave.obj", kConcavePolygonObj},
      {"continued.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nf 1 2 \\\n 4 3\n"},
  };
}

// A directory of its own under the temporary directory, removed with what it
// holds when the object goes.
class ScratchDir {
 public:
  ScratchDir() {
    std::string name = (std::filesystem::temp_directory_path() / "vekmesh-io-XXXXXX").string();
    if (mkdtemp(name.data())) path_ = name;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  // The path of `name` in this directory.
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  // Writes `bytes` to `name` and returns its path.
  std::string write(const std::string& name, std::string_view bytes) const {
    std::ofstream(file(name), std::ios::binary).write(bytes.data(), bytes.size());
    return file(name);
  }

 private:
  std::string path_;
};

// The whole content of a file, or "" when it cannot be read.
inline std::string readFileBytes(const std::string& path) {
  std::string out;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    char buffer[65536];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, f)) > 0;) out.append(buffer, got);
    std::fclose(f);
  }
  return out;
}

}  // namespace vekmesh::test
