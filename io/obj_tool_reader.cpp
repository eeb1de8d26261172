// The tool's OBJ reader: one pass over logical lines (TextLines), vertices
// and texture coordinates kept as read, every polygon resolved at once to
// byte-coloured soup triangles with their material and group, the soup
// welded like any other input. Materials are looked up by name in a table
// filled as "usemtl" lines come; the .mtl images are joined to the names at
// the end, since a library may be named after the faces that use it.
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <unordered_map>

#include "geometry/polygon_triangulation.h"
#include "io/face_points.h"
#include "io/file_handle.h"
#include "io/mtl.h"
#include "io/obj_tool.h"
#include "io/text_lines.h"
#include "io/text_scanner.h"

namespace vekmesh {
namespace {

using Position = std::array<float, 3>;
using Rgb = std::array<uint8_t, 3>;
using Uv = std::array<double, 2>;

constexpr size_t kMaxTriangles = std::numeric_limits<int32_t>::max();
constexpr size_t kMaxMaterials = std::numeric_limits<int16_t>::max();
constexpr int16_t kNoCurrentMaterial = -2;

// Thrown inside the parser with the message of the first fault; caught at
// its entry, so nothing leaves the reader.
struct ObjFault {
  std::string message;
};

// Whether the polygon turns the same way at every corner about its Newell
// normal (a fan covers it then).
bool isConvex(const std::vector<Position>& p) {
  const size_t n = p.size();
  double normal[3] = {0, 0, 0};
  for (size_t i = 0, j = n - 1; i < n; j = i++) {
    normal[0] += (double(p[j][1]) - p[i][1]) * (double(p[j][2]) + p[i][2]);
    normal[1] += (double(p[j][2]) - p[i][2]) * (double(p[j][0]) + p[i][0]);
    normal[2] += (double(p[j][0]) - p[i][0]) * (double(p[j][1]) + p[i][1]);
  }
  for (size_t i = 0; i < n; ++i) {
    const Position &a = p[(i + n - 1) % n], &b = p[i], &c = p[(i + 1) % n];
    const double u[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
    const double v[3] = {double(c[0]) - b[0], double(c[1]) - b[1], double(c[2]) - b[2]};
    const double turn = (u[1] * v[2] - u[2] * v[1]) * normal[0] +
                        (u[2] * v[0] - u[0] * v[2]) * normal[1] +
                        (u[0] * v[1] - u[1] * v[0]) * normal[2];
    if (!(turn >= 0.0)) return false;
  }
  return true;
}

class ObjToolParser {
 public:
  ObjToolParser(std::FILE* file, const std::string& path, ObjToolRead& result)
      : lines_(file), folder_(folderOf(path)), result_(result) {}

  void run() {
    std::string_view line;
    while (lines_.next(line)) statement(line);
    if (lines_.tooLong())
      fail("is longer than " + std::to_string(TextLines::kMaxLineBytes >> 20) + " MiB");
    if (short_faces_ > 0)
      result_.warnings.push_back(std::to_string(short_faces_) +
                                 " face line(s) with fewer than three corners skipped");
  }

  ByteSoup& soup() { return soup_; }
  const std::vector<uint32_t>& triangleGroups() const { return triangle_groups_; }

  // Names and images of the materials, groups in order of appearance.
  void names(ModelNames& out) const {
    out.materials.clear();
    for (const std::string& name : material_names_) {
      const auto it = images_.find(name);
      out.materials.push_back({name, it == images_.end() ? std::string() : it->second});
    }
    out.groups = group_names_;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw ObjFault{"line " + std::to_string(lines_.lineNumber()) + ": " + what};
  }

  void statement(std::string_view line) {
    for (const char c : line)
      if ((static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\v' && c != '\f') ||
          c == 0x7F)
        fail("holds a control character: this is not OBJ text");
    LineWords words(line);
    std::string_view keyword;
    if (!words.next(keyword)) return;
    if (keyword == "v")
      vertex(words);
    else if (keyword == "vt")
      textureCoordinate(words);
    else if (keyword == "f")
      face(words);
    else if (keyword == "usemtl")
      useMaterial(words.rest());
    else if (keyword == "o" || keyword == "g")
      group(words.rest());
    else if (keyword == "mtllib")
      materialLibraries(words);
  }

  template <class T>
  bool number(LineWords& words, T& value, const char* what) {
    std::string_view word;
    if (!words.next(word)) return false;
    if (!parseNumber(word, value))
      fail("'" + std::string(word.substr(0, 40)) + "' is not a number (" + what + ")");
    return true;
  }

  void vertex(LineWords& words) {
    Position p;
    for (float& c : p) {
      if (!number(words, c, "vertex coordinate")) fail("a vertex needs three coordinates");
      if (!std::isfinite(c)) fail("a vertex coordinate is not a finite single-precision number");
    }
    double extra[4];
    int count = 0;
    while (count < 4 && number(words, extra[count], "vertex")) ++count;
    Rgb colour = {255, 255, 255};
    // Three values after the position are a colour; one is a weight (w).
    if (count >= 3) {
      const double* rgb = count == 4 ? extra + 1 : extra;
      bool usable = true;
      for (int k = 0; k < 3; ++k) usable = usable && std::isfinite(rgb[k]);
      if (usable) {
        for (int k = 0; k < 3; ++k)
          colour[k] = static_cast<uint8_t>(std::lround(std::min(1.0, std::max(0.0, rgb[k])) * 255));
      } else {
        result_.warnings.push_back("line " + std::to_string(lines_.lineNumber()) +
                                   ": a vertex colour is not a number; the vertex is left white");
      }
    }
    positions_.push_back(p);
    colours_.push_back(colour);
  }

  void textureCoordinate(LineWords& words) {
    Uv uv = {0.0, 0.0};
    if (!number(words, uv[0], "texture coordinate")) fail("a texture coordinate needs a value");
    number(words, uv[1], "texture coordinate");
    if (!std::isfinite(uv[0]) || !std::isfinite(uv[1]))
      fail("a texture coordinate is not a finite number");
    uvs_.push_back(uv);
  }

  // A face number: 1..count, or -1..-count counting back from the last one.
  int64_t resolve(std::string_view word, size_t count, const char* what) {
    int64_t n = 0;
    if (!parseInteger(word, n) || word.find_first_not_of("+-0123456789") != std::string_view::npos)
      fail("'" + std::string(word.substr(0, 40)) + "' is not a " + what + " number");
    const int64_t size = static_cast<int64_t>(count);
    if (n < 0) n += size + 1;
    if (n < 1 || n > size)
      fail(std::string("a face refers to ") + what + " " + std::string(word.substr(0, 40)) +
           " of " + std::to_string(count) + " read so far");
    return n - 1;
  }

  struct Corner {
    int64_t vertex;
    int64_t uv;  // -1: none
  };

  void face(LineWords& words) {
    corners_.clear();
    std::string_view word;
    bool any_uv = false;
    while (words.next(word)) {
      const size_t slash = word.find('/');
      Corner c{resolve(word.substr(0, slash), positions_.size(), "vertex"), -1};
      if (slash != std::string_view::npos) {
        std::string_view rest = word.substr(slash + 1);
        rest = rest.substr(0, rest.find('/'));
        if (!rest.empty()) {
          c.uv = resolve(rest, uvs_.size(), "texture coordinate");
          any_uv = true;
        }
      }
      corners_.push_back(c);
    }
    if (corners_.size() < 3) {
      ++short_faces_;
      return;
    }
    distinctFacePoints(
        corners_, [&](const Corner& c) -> const Position& { return positions_[c.vertex]; }, points_,
        kept_);
    if (points_.size() < 3) return;
    triangles_.clear();
    if (isConvex(points_)) {
      for (uint32_t i = 1; i + 1 < points_.size(); ++i) triangles_.push_back({0, i, i + 1});
    } else {
      triangulateFace(points_, triangles_);
    }
    int16_t material = current_material_;
    if (material == kNoCurrentMaterial) material = any_uv ? materialIndex("") : kNoMaterial;
    for (const auto& t : triangles_) {
      if (soup_.materials.size() >= kMaxTriangles) fail("the file holds too many triangles");
      addTriangle({kept_[t[0]], kept_[t[1]], kept_[t[2]]}, material);
    }
  }

  void addTriangle(const std::array<Corner, 3>& corners, int16_t material) {
    if (material >= 0 && !uvs_started_) {
      soup_.uvs.assign(6 * soup_.materials.size(), 0.0);
      uvs_started_ = true;
    }
    for (const Corner& c : corners) {
      const Position& p = positions_[c.vertex];
      soup_.corners.insert(soup_.corners.end(), p.begin(), p.end());
      soup_.colors.insert(soup_.colors.end(), colours_[c.vertex].begin(), colours_[c.vertex].end());
      if (uvs_started_) {
        const Uv uv = material >= 0 && c.uv >= 0 ? uvs_[c.uv] : Uv{0.0, 0.0};
        soup_.uvs.insert(soup_.uvs.end(), uv.begin(), uv.end());
      }
    }
    soup_.materials.push_back(material);
    triangle_groups_.push_back(current_group_);
  }

  int16_t materialIndex(const std::string& name) {
    const auto it = materials_.find(name);
    if (it != materials_.end()) return it->second;
    if (material_names_.size() >= kMaxMaterials)
      fail("more than " + std::to_string(kMaxMaterials) + " materials");
    const auto index = static_cast<int16_t>(material_names_.size());
    material_names_.push_back(name);
    materials_.emplace(name, index);
    return index;
  }

  void useMaterial(std::string_view name) {
    current_material_ = name.empty() ? kNoCurrentMaterial : materialIndex(std::string(name));
  }

  void group(std::string_view name) {
    if (name.empty()) {
      current_group_ = kNoGroup;
      return;
    }
    const auto [it, added] =
        groups_.emplace(std::string(name), static_cast<uint32_t>(group_names_.size()));
    if (added) group_names_.emplace_back(name);
    current_group_ = it->second;
  }

  void materialLibraries(LineWords& words) {
    std::string_view word;
    while (words.next(word)) {
      const std::string path = resolvedPath(folder_, word);
      if (!readMtl(path, images_))
        result_.warnings.push_back("line " + std::to_string(lines_.lineNumber()) +
                                   ": material library '" + path + "' cannot be read");
    }
  }

  TextLines lines_;
  std::string folder_;
  ObjToolRead& result_;
  std::vector<Position> positions_;
  std::vector<Rgb> colours_;
  std::vector<Uv> uvs_;
  std::unordered_map<std::string, int16_t> materials_;
  std::vector<std::string> material_names_;
  std::map<std::string, std::string> images_;
  std::unordered_map<std::string, uint32_t> groups_;
  std::vector<std::string> group_names_;
  int16_t current_material_ = kNoCurrentMaterial;
  uint32_t current_group_ = kNoGroup;
  size_t short_faces_ = 0;
  ByteSoup soup_;
  std::vector<uint32_t> triangle_groups_;
  bool uvs_started_ = false;
  // Scratch of the face being read.
  std::vector<Corner> corners_, kept_;
  std::vector<Position> points_;
  std::vector<std::array<uint32_t, 3>> triangles_;
};

// The group of every face the constructor made: it keeps the soup's order
// and drops exactly the triangles with two corners of the same bits.
std::vector<uint32_t> faceGroupsOf(const ByteSoup& soup, const std::vector<uint32_t>& groups,
                                   size_t faces) {
  std::vector<uint32_t> out;
  out.reserve(faces);
  for (size_t t = 0; t < groups.size(); ++t) {
    const float* c = soup.corners.data() + 9 * t;
    const bool collapsed = std::memcmp(c, c + 3, 12) == 0 || std::memcmp(c + 3, c + 6, 12) == 0 ||
                           std::memcmp(c, c + 6, 12) == 0;
    if (!collapsed) out.push_back(groups[t]);
  }
  if (out.size() != faces) out.clear();
  return out;
}

}  // namespace

ObjToolRead readObjTool(const char* path, SubMesh& mesh, ModelNames& names) {
  ObjToolRead result;
  names = ModelNames{};
  buildTriMesh(mesh, ByteSoup{});
  uint64_t size = 0;
  FileHandle file = path ? openRegularFile(path, size) : FileHandle();
  if (!file) {
    result.error = "cannot be opened";
    return result;
  }
  try {
    ObjToolParser parser(file.get(), path, result);
    parser.run();
    file.reset();
    buildTriMesh(mesh, parser.soup());
    result.triangles = parser.soup().triangleCount();
    parser.names(names);
    if (!names.groups.empty())
      names.faceGroups = faceGroupsOf(parser.soup(), parser.triangleGroups(), mesh.faces.size());
  } catch (const ObjFault& fault) {
    result.error = fault.message;
  } catch (const std::bad_alloc&) {
    result.error = "does not fit in memory";
  }
  if (!result.error.empty()) {
    buildTriMesh(mesh, ByteSoup{});
    names = ModelNames{};
    result.triangles = 0;
  }
  return result;
}

}  // namespace vekmesh
