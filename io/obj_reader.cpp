// OBJ reader: a line-by-line scan of "v" (position and optional colour), "vt",
// "usemtl" (counted by appearance, not looked up by name) and "f" lines;
// polygons are ear-clipped and every corner is resolved to a soup that is
// welded like any other input.
#include <array>
#include <limits>
#include <string_view>
#include <vector>

#include "geometry/polygon_triangulation.h"
#include "io/face_points.h"
#include "io/file_handle.h"
#include "io/obj.h"
#include "io/text_scanner.h"
#include "mesh/color_byte.h"

namespace vekmesh {
namespace {

using Position = std::array<float, 3>;
using Rgb = std::array<uint8_t, 3>;

constexpr Rgb kWhite = {255, 255, 255};
// The welded mesh numbers faces with 32-bit signed vertex indices; a file that
// would need more triangles is read up to that point.
constexpr size_t kMaxTriangles = std::numeric_limits<int32_t>::max();

// One corner of a face line: 1-based numbers as written, 0 when absent.
struct FaceCorner {
  int64_t vertex;
  int64_t texture;
};

// "a", "a/b", "a//c", "a/b/c". An empty or unreadable part reads as absent.
FaceCorner parseCorner(std::string_view word) {
  auto number = [](std::string_view part) {
    int64_t value = 0;
    return parseInteger(part, value) ? value : 0;
  };
  const size_t slash = word.find('/');
  FaceCorner corner{number(word.substr(0, slash)), 0};
  if (slash != std::string_view::npos) {
    std::string_view rest = word.substr(slash + 1);
    corner.texture = number(rest.substr(0, rest.find('/')));
  }
  return corner;
}

class ObjParser {
 public:
  ObjParser(std::FILE* file, uint64_t size) : scanner_(file, size) {}

  void run() {
    std::string_view word;
    while (scanner_.nextWord(word)) {
      if (word == "v")
        vertexLine();
      else if (word == "vt")
        textureLine();
      else if (word == "f")
        faceLine();
      else if (word == "usemtl")
        ++materials_seen_;
      scanner_.skipLine();
    }
  }

  ByteSoup& soup() { return soup_; }

 private:
  // Reads the next number of the line into `value`; false (value untouched)
  // at the line's end or on a word that is no number.
  template <class T>
  bool number(T& value) {
    std::string_view word;
    return scanner_.wordOnLine(word) && parseNumber(word, value);
  }

  // x y z, then r g b when all three are there; a short line still makes a
  // vertex (missing coordinates 0), so later face numbers stay aligned.
  void vertexLine() {
    Position p = {0.0f, 0.0f, 0.0f};
    bool complete = true;
    for (float& c : p) complete = complete && number(c);
    Rgb colour = kWhite;
    double rgb[3];
    if (complete && number(rgb[0]) && number(rgb[1]) && number(rgb[2]))
      colour = {colorByte(rgb[0]), colorByte(rgb[1]), colorByte(rgb[2])};
    positions_.push_back(p);
    colours_.push_back(colour);
  }

  void textureLine() {
    std::array<double, 2> uv = {0.0, 0.0};
    if (number(uv[0])) number(uv[1]);
    texCoords_.push_back(uv);
  }

  // The face's material: the running count of "usemtl" lines, so the faces
  // after the first group line have 1, after the second 2, and faces before
  // any group have none; only its low 16 bits are kept, as for every material.
  int16_t currentMaterial() const {
    if (materials_seen_ == 0) return kNoMaterial;
    return static_cast<int16_t>(static_cast<uint16_t>(materials_seen_));
  }

  void faceLine() {
    corners_.clear();
    std::string_view word;
    bool valid = true;
    while (scanner_.wordOnLine(word) && word[0] != '#') {
      const FaceCorner c = parseCorner(word);
      // Numbers count from 1; 0, negative (relative) and too-large numbers
      // name no vertex, and the face is dropped.
      if (c.vertex < 1 || c.vertex > static_cast<int64_t>(positions_.size())) valid = false;
      if (valid) corners_.push_back(c);
    }
    if (!valid) return;
    distinctFacePoints(
        corners_, [&](const FaceCorner& c) -> const Position& { return positions_[c.vertex - 1]; },
        points_, kept_);
    triangles_.clear();
    triangulateFace(points_, triangles_);
    const int16_t material = currentMaterial();
    for (const auto& t : triangles_) {
      if (soup_.materials.size() >= kMaxTriangles) return;
      addTriangle(kept_[t[0]], kept_[t[1]], kept_[t[2]], material);
    }
  }

  void addTriangle(const FaceCorner& a, const FaceCorner& b, const FaceCorner& c,
                   int16_t material) {
    const FaceCorner* corners[3] = {&a, &b, &c};
    // Texture coordinates are stored only once some triangle needs them; the
    // triangles before it get zeros, which the constructor never reads.
    if (material >= 0 && !uvs_started_) {
      soup_.uvs.assign(6 * soup_.materials.size(), 0.0);
      uvs_started_ = true;
    }
    for (const FaceCorner* corner : corners) {
      const size_t v = static_cast<size_t>(corner->vertex - 1);
      soup_.corners.insert(soup_.corners.end(), positions_[v].begin(), positions_[v].end());
      soup_.colors.insert(soup_.colors.end(), colours_[v].begin(), colours_[v].end());
      if (uvs_started_) {
        // A textured corner without a usable texture number gets (0, 0).
        std::array<double, 2> uv = {0.0, 0.0};
        if (material >= 0 && corner->texture >= 1 &&
            corner->texture <= static_cast<int64_t>(texCoords_.size()))
          uv = texCoords_[corner->texture - 1];
        soup_.uvs.insert(soup_.uvs.end(), uv.begin(), uv.end());
      }
    }
    soup_.materials.push_back(material);
  }

  TextScanner scanner_;
  std::vector<Position> positions_;
  std::vector<Rgb> colours_;
  std::vector<std::array<double, 2>> texCoords_;
  int64_t materials_seen_ = 0;
  ByteSoup soup_;
  bool uvs_started_ = false;
  // Scratch of the face being read.
  std::vector<FaceCorner> corners_, kept_;
  std::vector<Position> points_;
  std::vector<std::array<uint32_t, 3>> triangles_;
};

}  // namespace

size_t readObj(const char* path, SubMesh& mesh) {
  uint64_t size = 0;
  FileHandle file = openRegularFile(path, size);
  if (!file) return 0;
  ObjParser parser(file.get(), size);
  parser.run();
  buildTriMesh(mesh, parser.soup());
  return parser.soup().triangleCount();
}

}  // namespace vekmesh
