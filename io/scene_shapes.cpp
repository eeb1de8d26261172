// The walk over the scene graph: transforms composed on the way down (VRML
// 2.0 and X3D nodes, or the VRML 1.0 traversal state), each geometry node
// turned into polygons of corner references, and every polygon resolved,
// triangulated and appended to the soup.
#include "io/scene_shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "geometry/polygon_triangulation.h"
#include "io/scene_primitives.h"
#include "mesh/color_byte.h"

namespace vekmesh {
namespace {

using Matrix4 = std::array<double, 16>;  // row by row
using Rgb = std::array<uint8_t, 3>;

constexpr Matrix4 kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr Rgb kWhite = {255, 255, 255};

Matrix4 operator*(const Matrix4& a, const Matrix4& b) {
  Matrix4 m{};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      for (int k = 0; k < 4; ++k)
        m[size_t(4 * r + c)] += a[size_t(4 * r + k)] * b[size_t(4 * k + c)];
  return m;
}

Matrix4 translation(double x, double y, double z) {
  Matrix4 m = kIdentity;
  m[3] = x, m[7] = y, m[11] = z;
  return m;
}

Matrix4 scaling(double x, double y, double z) {
  Matrix4 m = kIdentity;
  m[0] = x, m[5] = y, m[10] = z;
  return m;
}

// Rodrigues' rotation about (x, y, z) by `angle`; a zero axis turns nothing.
Matrix4 rotation(double x, double y, double z, double angle) {
  const double len = std::sqrt(x * x + y * y + z * z);
  if (!(len > 0.0) || !std::isfinite(len) || !std::isfinite(angle)) return kIdentity;
  x /= len, y /= len, z /= len;
  const double c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
  return {t * x * x + c,
          t * x * y - s * z,
          t * x * z + s * y,
          0,
          t * x * y + s * z,
          t * y * y + c,
          t * y * z - s * x,
          0,
          t * x * z - s * y,
          t * y * z + s * x,
          t * z * z + c,
          0,
          0,
          0,
          0,
          1};
}

double determinant3(const Matrix4& m) {
  return m[0] * (m[5] * m[10] - m[6] * m[9]) - m[1] * (m[4] * m[10] - m[6] * m[8]) +
         m[2] * (m[4] * m[9] - m[5] * m[8]);
}

// Beyond the float range a coordinate becomes infinite (the mesh builder
// treats it as not finite), rather than an undefined conversion.
float toFloat(double v) {
  if (v > double(std::numeric_limits<float>::max())) return std::numeric_limits<float>::infinity();
  if (v < -double(std::numeric_limits<float>::max()))
    return -std::numeric_limits<float>::infinity();
  return float(v);
}

std::array<float, 3> place(const Matrix4& m, double x, double y, double z) {
  return {toFloat(m[0] * x + m[1] * y + m[2] * z + m[3]),
          toFloat(m[4] * x + m[5] * y + m[6] * z + m[7]),
          toFloat(m[8] * x + m[9] * y + m[10] * z + m[11])};
}

uint8_t channel(double v) {
  return colorByte(std::isfinite(v) ? std::clamp(v, 0.0, 1.0) : 0.0);
}

const std::vector<double>& numbersOf(const SceneNode& node, std::string_view name) {
  static const std::vector<double> kNone;
  const SceneField* f = node.field(name);
  return f ? f->numbers : kNone;
}

double numberOf(const SceneNode& node, std::string_view name, double fallback) {
  const std::vector<double>& v = numbersOf(node, name);
  return v.empty() ? fallback : v[0];
}

bool flagOf(const SceneNode& node, std::string_view name, bool fallback) {
  const SceneField* f = node.field(name);
  if (!f) return fallback;
  if (!f->numbers.empty()) return f->numbers[0] != 0.0;
  if (!f->words.empty()) return f->words[0] == "TRUE" || f->words[0] == "true";
  return fallback;
}

bool isOneOf(std::string_view type, std::initializer_list<std::string_view> types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// The node in field `name`, or else the first unnamed child of one of `types`.
const SceneNode* nodeOf(const SceneNode& node, std::string_view name,
                        std::initializer_list<std::string_view> types) {
  if (const SceneField* f = node.field(name))
    for (const SceneNodePtr& n : f->nodes)
      if (n) return n.get();
  for (const SceneNodePtr& n : node.children)
    if (n && isOneOf(n->type, types)) return n.get();
  return nullptr;
}

bool isGeometryType(std::string_view type) {
  return isOneOf(type, {"IndexedFaceSet", "IndexedTriangleSet", "TriangleSet",
                        "IndexedTriangleFanSet", "IndexedTriangleStripSet", "TriangleFanSet",
                        "TriangleStripSet", "Box", "Sphere", "Cylinder", "Cone"});
}

// A shape's geometry: its field, or else its first child that is one.
const SceneNode* geometryOf(const SceneNode& shape) {
  if (const SceneField* f = shape.field("geometry"))
    for (const SceneNodePtr& n : f->nodes)
      if (n) return n.get();
  for (const SceneNodePtr& n : shape.children)
    if (n && isGeometryType(n->type)) return n.get();
  return nullptr;
}

// A list entry as an index: its integer part, or -1 for a huge or NaN entry
// (so no conversion can overflow; negative entries name nothing anyway).
int64_t indexOf(double d) {
  return d > -9.0e15 && d < 9.0e15 ? int64_t(d) : -1;
}

// A corner of a polygon before lookup: numbers into the coordinate, colour
// and texture coordinate lists (-1 where there is none).
struct CornerRef {
  int64_t vertex, color, uv;
};

// What the corners of one geometry node are resolved against.
struct Lookup {
  std::vector<std::array<float, 3>> points;  // placed in the scene
  std::vector<Rgb> colors;
  std::vector<std::array<double, 2>> uvs;
  Rgb base = kWhite;
  int16_t material = kNoMaterial;
  bool flip = false;
};

class SceneWalker {
 public:
  SceneWalker(ByteSoup& soup, std::vector<std::string>& names, std::vector<std::string>& notes,
              size_t max_triangles)
      : soup_(soup), names_(names), notes_(notes), max_triangles_(max_triangles) {}

  void walkList(const std::vector<SceneNodePtr>& nodes, const Matrix4& m, int depth) {
    for (const SceneNodePtr& n : nodes)
      if (n) walk(*n, m, depth);
  }

  // VRML 2.0 and X3D.
  void walk(const SceneNode& node, const Matrix4& m, int depth) {
    if (!visit(depth)) return;
    const std::string& t = node.type;
    if (t == "Transform") {
      walkChildren(node, m * transformOf(node), depth);
    } else if (isOneOf(t, {"Group", "Collision", "Anchor", "Billboard", "StaticGroup",
                           "CADAssembly", "CADLayer", "CADPart", "CADFace", "Scene", "X3D"})) {
      walkChildren(node, m, depth);
    } else if (t == "Switch") {
      const int64_t choice = indexOf(numberOf(node, "whichChoice", -1.0));
      std::vector<SceneNodePtr> options = childList(node, "choice");
      if (options.empty()) options = childList(node, "children");
      if (choice >= 0 && choice < int64_t(options.size()) && options[size_t(choice)])
        walk(*options[size_t(choice)], m, depth + 1);
    } else if (t == "LOD") {
      std::vector<SceneNodePtr> levels = childList(node, "level");
      if (levels.empty()) levels = childList(node, "children");
      if (!levels.empty() && levels[0]) walk(*levels[0], m, depth + 1);
    } else if (t == "Shape") {
      shape(node, m);
    } else if (t == "Inline") {
      note("Inline skipped");
    } else if (isOneOf(t, {"ProtoDeclare", "ExternProtoDeclare", "ProtoInstance"})) {
      note(t + " skipped");
    }
  }

  // VRML 1.0: the traversal state of the nodes met so far.
  struct State {
    Matrix4 matrix = kIdentity;
    std::vector<double> coords;
    std::vector<Rgb> diffuse = {Rgb{204, 204, 204}};
    std::string binding = "OVERALL";
    std::vector<double> uvs;
    int16_t material = kNoMaterial;
    bool clockwise = false;
  };

  void walkVrml1(const std::vector<SceneNodePtr>& nodes, State& state, int depth) {
    for (const SceneNodePtr& n : nodes) {
      if (!n || !visit(depth)) continue;
      const SceneNode& node = *n;
      const std::string& t = node.type;
      if (t == "Separator") {
        State inner = state;
        walkVrml1(node.children, inner, depth + 1);
      } else if (t == "TransformSeparator") {
        const Matrix4 saved = state.matrix;
        walkVrml1(node.children, state, depth + 1);
        state.matrix = saved;
      } else if (t == "Group" || t == "WWWAnchor") {
        walkVrml1(node.children, state, depth + 1);
      } else if (t == "Switch") {
        const int64_t which = indexOf(numberOf(node, "whichChild", -1.0));
        if (which == -3) walkVrml1(node.children, state, depth + 1);  // all children
        if (which >= 0 && which < int64_t(node.children.size()))
          walkVrml1({node.children[size_t(which)]}, state, depth + 1);
      } else if (t == "LOD") {
        if (!node.children.empty()) walkVrml1({node.children[0]}, state, depth + 1);
      } else if (t == "Coordinate3") {
        state.coords = numbersOf(node, "point");
      } else if (t == "Material") {
        const std::vector<double>& d = numbersOf(node, "diffuseColor");
        state.diffuse.clear();
        for (size_t i = 0; i + 2 < d.size(); i += 3)
          state.diffuse.push_back({channel(d[i]), channel(d[i + 1]), channel(d[i + 2])});
        if (state.diffuse.empty()) state.diffuse = {Rgb{204, 204, 204}};
      } else if (t == "MaterialBinding") {
        const SceneField* f = node.field("value");
        state.binding = f && !f->words.empty() ? f->words[0] : "OVERALL";
      } else if (t == "Texture2") {
        const SceneField* f = node.field("filename");
        state.material = f && !f->words.empty() && !f->words[0].empty()
                             ? textureMaterial(f->words[0])
                             : kNoMaterial;
      } else if (t == "TextureCoordinate2") {
        state.uvs = numbersOf(node, "point");
      } else if (t == "ShapeHints") {
        const SceneField* f = node.field("vertexOrdering");
        state.clockwise = f && !f->words.empty() && f->words[0] == "CLOCKWISE";
      } else if (isOneOf(t, {"Transform", "Translation", "Rotation", "Scale", "MatrixTransform"})) {
        state.matrix = state.matrix * vrml1Transform(node);
      } else if (t == "IndexedFaceSet") {
        vrml1FaceSet(node, state);
      } else if (isOneOf(t, {"Cube", "Sphere", "Cylinder", "Cone"})) {
        Lookup lookup;
        lookup.base = state.diffuse[0];
        lookup.material = state.material;
        lookup.flip = determinant3(state.matrix) < 0.0;
        primitive(node, state.matrix, lookup);
      } else if (t == "WWWInline") {
        note("WWWInline skipped");
      }
    }
  }

 private:
  bool visit(int depth) {
    if (stopped_) return false;
    if (++visits_ > kMaxSceneVisits) {
      stop("node visit limit reached; the rest of the scene skipped");
      return false;
    }
    return depth < kMaxSceneDepth;
  }

  void stop(const std::string& why) {
    if (!stopped_) note(why);
    stopped_ = true;
  }

  void note(const std::string& text) {
    if (std::find(notes_.begin(), notes_.end(), text) == notes_.end()) notes_.push_back(text);
  }

  static std::vector<SceneNodePtr> childList(const SceneNode& node, std::string_view name) {
    std::vector<SceneNodePtr> list;
    if (const SceneField* f = node.field(name)) list = f->nodes;
    if (name == "children" || name == "choice" || name == "level")
      list.insert(list.end(), node.children.begin(), node.children.end());
    return list;
  }

  void walkChildren(const SceneNode& node, const Matrix4& m, int depth) {
    if (const SceneField* f = node.field("children")) walkList(f->nodes, m, depth + 1);
    walkList(node.children, m, depth + 1);
  }

  // T x C x R x SR x S x -SR x -C.
  static Matrix4 transformOf(const SceneNode& node) {
    const auto vec = [&](std::string_view name, std::array<double, 4> fallback, size_t n) {
      const std::vector<double>& v = numbersOf(node, name);
      for (size_t i = 0; i < n && i < v.size(); ++i) fallback[i] = v[i];
      return fallback;
    };
    const auto t = vec("translation", {0, 0, 0, 0}, 3), c = vec("center", {0, 0, 0, 0}, 3);
    const auto r = vec("rotation", {0, 0, 1, 0}, 4), s = vec("scale", {1, 1, 1, 0}, 3);
    const auto so = vec("scaleOrientation", {0, 0, 1, 0}, 4);
    return translation(t[0], t[1], t[2]) * translation(c[0], c[1], c[2]) *
           rotation(r[0], r[1], r[2], r[3]) * rotation(so[0], so[1], so[2], so[3]) *
           scaling(s[0], s[1], s[2]) * rotation(so[0], so[1], so[2], -so[3]) *
           translation(-c[0], -c[1], -c[2]);
  }

  static Matrix4 vrml1Transform(const SceneNode& node) {
    if (node.type == "MatrixTransform") {
      const std::vector<double>& v = numbersOf(node, "matrix");
      if (v.size() < 16) return kIdentity;
      // Written column-major (the translation is the last row as written).
      Matrix4 m;
      for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) m[size_t(4 * r + c)] = v[size_t(4 * c + r)];
      return m;
    }
    const auto vec = [&](std::string_view name, std::array<double, 4> fallback, size_t n) {
      const std::vector<double>& v = numbersOf(node, name);
      for (size_t i = 0; i < n && i < v.size(); ++i) fallback[i] = v[i];
      return fallback;
    };
    const auto t = vec("translation", {0, 0, 0, 0}, 3), c = vec("center", {0, 0, 0, 0}, 3);
    const auto r = vec("rotation", {0, 0, 1, 0}, 4), s = vec("scaleFactor", {1, 1, 1, 0}, 3);
    const auto so = vec("scaleOrientation", {0, 0, 1, 0}, 4);
    return translation(t[0], t[1], t[2]) * translation(c[0], c[1], c[2]) *
           rotation(r[0], r[1], r[2], r[3]) * rotation(so[0], so[1], so[2], so[3]) *
           scaling(s[0], s[1], s[2]) * rotation(so[0], so[1], so[2], -so[3]) *
           translation(-c[0], -c[1], -c[2]);
  }

  int16_t textureMaterial(const std::string& url) {
    const auto it = std::find(names_.begin(), names_.end(), url);
    const size_t index = size_t(it - names_.begin());
    if (it == names_.end()) names_.push_back(url);
    return index <= size_t(INT16_MAX) ? int16_t(index) : kNoMaterial;
  }

  void shape(const SceneNode& node, const Matrix4& m) {
    Lookup lookup;
    lookup.flip = determinant3(m) < 0.0;
    if (const SceneNode* appearance = nodeOf(node, "appearance", {"Appearance"})) {
      if (const SceneNode* material = nodeOf(*appearance, "material", {"Material"})) {
        const std::vector<double>& d = numbersOf(*material, "diffuseColor");
        lookup.base =
            d.size() >= 3 ? Rgb{channel(d[0]), channel(d[1]), channel(d[2])} : Rgb{204, 204, 204};
      }
      if (const SceneNode* texture = nodeOf(*appearance, "texture", {"ImageTexture"})) {
        const SceneField* url = texture->field("url");
        if (texture->type == "ImageTexture" && url && !url->words.empty())
          lookup.material = textureMaterial(url->words[0]);
      }
    }
    const SceneNode* geometry = geometryOf(node);
    if (!geometry) return;
    if (isOneOf(geometry->type, {"Box", "Sphere", "Cylinder", "Cone"}))
      return primitive(*geometry, m, lookup);
    if (!isGeometryType(geometry->type)) return;
    faceSet(*geometry, m, lookup);
  }

  // Coordinates, colours and texture coordinates of a VRML 2.0 / X3D set.
  void fillLookup(const SceneNode& geometry, const Matrix4& m, Lookup& lookup, bool& per_vertex) {
    if (const SceneNode* coord = nodeOf(geometry, "coord", {"Coordinate", "CoordinateDouble"})) {
      const std::vector<double>& p = numbersOf(*coord, "point");
      lookup.points.reserve(p.size() / 3);
      for (size_t i = 0; i + 2 < p.size(); i += 3)
        lookup.points.push_back(place(m, p[i], p[i + 1], p[i + 2]));
    }
    if (const SceneNode* color = nodeOf(geometry, "color", {"Color", "ColorRGBA"})) {
      const size_t stride = color->type == "ColorRGBA" ? 4 : 3;
      const std::vector<double>& c = numbersOf(*color, "color");
      for (size_t i = 0; i + stride - 1 < c.size(); i += stride)
        lookup.colors.push_back({channel(c[i]), channel(c[i + 1]), channel(c[i + 2])});
    }
    if (lookup.material >= 0)
      if (const SceneNode* tex = nodeOf(geometry, "texCoord", {"TextureCoordinate"})) {
        const std::vector<double>& t = numbersOf(*tex, "point");
        for (size_t i = 0; i + 1 < t.size(); i += 2) lookup.uvs.push_back({t[i], t[i + 1]});
      }
    per_vertex = flagOf(geometry, "colorPerVertex", true);
    if (!flagOf(geometry, "ccw", true)) lookup.flip = !lookup.flip;
  }

  void faceSet(const SceneNode& g, const Matrix4& m, Lookup& lookup) {
    bool per_vertex = true;
    fillLookup(g, m, lookup, per_vertex);
    const std::string& t = g.type;
    std::vector<CornerRef> polygon;
    int64_t face = 0;
    // A triangle or polygon of vertex numbers; colours and texture
    // coordinates follow the vertex (or the face) unless indexed.
    const auto emitVertices = [&](const std::vector<int64_t>& vertices) {
      polygon.clear();
      for (const int64_t v : vertices) polygon.push_back({v, per_vertex ? v : face, v});
      emit(polygon, lookup);
      ++face;
    };
    if (t == "IndexedFaceSet") {
      const std::vector<double>& index = numbersOf(g, "coordIndex");
      const std::vector<double>& colors = numbersOf(g, "colorIndex");
      const std::vector<double>& uvs = numbersOf(g, "texCoordIndex");
      size_t start = 0;
      for (size_t k = 0; k <= index.size(); ++k) {
        if (k < index.size() && index[k] >= 0.0) continue;
        polygon.clear();
        for (size_t j = start; j < k; ++j) {
          const int64_t v = indexOf(index[j]);
          int64_t color = per_vertex ? v : face;
          if (per_vertex && !colors.empty()) color = j < colors.size() ? indexOf(colors[j]) : -1;
          if (!per_vertex && !colors.empty())
            color = size_t(face) < colors.size() ? indexOf(colors[size_t(face)]) : -1;
          const int64_t uv = uvs.empty() ? v : (j < uvs.size() ? indexOf(uvs[j]) : -1);
          polygon.push_back({v, color, uv});
        }
        if (k > start) {
          emit(polygon, lookup);
          ++face;
        }
        start = k + 1;
        if (stopped_) return;
      }
    } else if (t == "IndexedTriangleSet" || t == "TriangleSet") {
      const std::vector<double>& index = numbersOf(g, "index");
      const size_t n = t == "TriangleSet" ? lookup.points.size() : index.size();
      for (size_t k = 0; k + 2 < n && !stopped_; k += 3) {
        std::vector<int64_t> v(3);
        for (size_t c = 0; c < 3; ++c)
          v[c] = t == "TriangleSet" ? int64_t(k + c) : indexOf(index[k + c]);
        emitVertices(v);
      }
    } else {
      // Fans and strips, split by -1 (indexed) or by their counts.
      std::vector<std::vector<int64_t>> runs;
      if (t == "IndexedTriangleFanSet" || t == "IndexedTriangleStripSet") {
        runs.emplace_back();
        for (const double i : numbersOf(g, "index"))
          if (i < 0.0)
            runs.emplace_back();
          else
            runs.back().push_back(indexOf(i));
      } else {
        int64_t next = 0;
        for (const double c : numbersOf(g, t == "TriangleFanSet" ? "fanCount" : "stripCount")) {
          runs.emplace_back();
          for (int64_t i = 0; i < indexOf(c) && next < int64_t(lookup.points.size()); ++i)
            runs.back().push_back(next++);
        }
      }
      const bool fans = t == "IndexedTriangleFanSet" || t == "TriangleFanSet";
      for (const std::vector<int64_t>& run : runs)
        for (size_t k = 0; k + 2 < run.size() && !stopped_; ++k) {
          if (fans)
            emitVertices({run[0], run[k + 1], run[k + 2]});
          else if (k % 2 == 0)
            emitVertices({run[k], run[k + 1], run[k + 2]});
          else
            emitVertices({run[k + 1], run[k], run[k + 2]});
        }
    }
  }

  void vrml1FaceSet(const SceneNode& g, const State& state) {
    Lookup lookup;
    for (size_t i = 0; i + 2 < state.coords.size(); i += 3)
      lookup.points.push_back(
          place(state.matrix, state.coords[i], state.coords[i + 1], state.coords[i + 2]));
    lookup.colors = state.diffuse;
    lookup.base = state.diffuse[0];
    lookup.material = state.material;
    if (lookup.material >= 0)
      for (size_t i = 0; i + 1 < state.uvs.size(); i += 2)
        lookup.uvs.push_back({state.uvs[i], state.uvs[i + 1]});
    lookup.flip = (determinant3(state.matrix) < 0.0) != state.clockwise;
    const std::vector<double>& index = numbersOf(g, "coordIndex");
    const std::vector<double>& materials = numbersOf(g, "materialIndex");
    const std::vector<double>& uvs = numbersOf(g, "textureCoordIndex");
    const std::string& b = state.binding;
    const bool indexed = b.size() > 8 && b.compare(b.size() - 8, 8, "_INDEXED") == 0;
    const bool per_face = b.rfind("PER_FACE", 0) == 0 || b.rfind("PER_PART", 0) == 0;
    const bool per_vertex = b.rfind("PER_VERTEX", 0) == 0;
    std::vector<CornerRef> polygon;
    int64_t face = 0, corner = 0;
    size_t start = 0;
    for (size_t k = 0; k <= index.size() && !stopped_; ++k) {
      if (k < index.size() && index[k] >= 0.0) continue;
      polygon.clear();
      for (size_t j = start; j < k; ++j, ++corner) {
        const int64_t v = indexOf(index[j]);
        int64_t color = 0;
        if (per_face)
          color = indexed
                      ? (size_t(face) < materials.size() ? indexOf(materials[size_t(face)]) : -1)
                      : face;
        else if (per_vertex)
          color = indexed ? (j < materials.size() ? indexOf(materials[j]) : -1) : corner;
        const int64_t uv = uvs.empty() ? v : (j < uvs.size() ? indexOf(uvs[j]) : -1);
        polygon.push_back({v, color, uv});
      }
      if (k > start) {
        emit(polygon, lookup);
        ++face;
      }
      start = k + 1;
    }
  }

  void primitive(const SceneNode& node, const Matrix4& m, const Lookup& lookup) {
    const std::string& t = node.type;
    PrimitiveMesh mesh;
    if (t == "Box") {
      const std::vector<double>& s = numbersOf(node, "size");
      mesh = s.size() >= 3 ? boxPrimitive(s[0], s[1], s[2]) : boxPrimitive(2, 2, 2);
    } else if (t == "Cube") {
      mesh = boxPrimitive(numberOf(node, "width", 2), numberOf(node, "height", 2),
                          numberOf(node, "depth", 2));
    } else if (t == "Sphere") {
      mesh = spherePrimitive(numberOf(node, "radius", 1));
    } else if (t == "Cylinder") {
      const SceneField* parts = node.field("parts");  // VRML 1.0
      const auto has = [&](const char* part, const char* flag) {
        if (parts && !parts->words.empty())
          return std::find(parts->words.begin(), parts->words.end(), part) != parts->words.end() ||
                 std::find(parts->words.begin(), parts->words.end(), "ALL") != parts->words.end();
        return flagOf(node, flag, true);
      };
      mesh = cylinderPrimitive(numberOf(node, "radius", 1), numberOf(node, "height", 2),
                               has("SIDES", "side"), has("TOP", "top"), has("BOTTOM", "bottom"));
    } else if (t == "Cone") {
      const SceneField* parts = node.field("parts");
      const auto has = [&](const char* part, const char* flag) {
        if (parts && !parts->words.empty())
          return std::find(parts->words.begin(), parts->words.end(), part) != parts->words.end() ||
                 std::find(parts->words.begin(), parts->words.end(), "ALL") != parts->words.end();
        return flagOf(node, flag, true);
      };
      mesh = conePrimitive(numberOf(node, "bottomRadius", 1), numberOf(node, "height", 2),
                           has("SIDES", "side"), has("BOTTOM", "bottom"));
    }
    Lookup placed = lookup;
    placed.colors.clear();
    placed.uvs.clear();
    for (const auto& p : mesh.points) placed.points.push_back(place(m, p[0], p[1], p[2]));
    std::vector<CornerRef> polygon(3);
    for (const auto& tri : mesh.triangles) {
      for (size_t c = 0; c < 3; ++c) polygon[c] = {int64_t(tri[c]), -1, -1};
      emit(polygon, placed);
    }
  }

  // Resolves a polygon's corners, drops it when a vertex does not exist,
  // triangulates it and appends the triangles.
  void emit(const std::vector<CornerRef>& polygon, const Lookup& lookup) {
    points_.clear();
    kept_.clear();
    for (const CornerRef& c : polygon) {
      if (c.vertex < 0 || c.vertex >= int64_t(lookup.points.size())) return;
      const std::array<float, 3>& p = lookup.points[size_t(c.vertex)];
      if (!points_.empty() && std::memcmp(points_.back().data(), p.data(), sizeof p) == 0) continue;
      points_.push_back(p);
      kept_.push_back(c);
    }
    while (points_.size() > 1 &&
           std::memcmp(points_.back().data(), points_.front().data(), sizeof(float) * 3) == 0) {
      points_.pop_back();
      kept_.pop_back();
    }
    triangles_.clear();
    triangulateFace(points_, triangles_);
    for (const auto& t : triangles_) {
      if (soup_.materials.size() >= max_triangles_)
        return stop("triangle limit reached; the rest of the scene skipped");
      const std::array<uint32_t, 3> order =
          lookup.flip ? std::array<uint32_t, 3>{t[0], t[2], t[1]} : t;
      if (lookup.material >= 0 && soup_.uvs.size() < 6 * soup_.materials.size())
        soup_.uvs.resize(6 * soup_.materials.size(), 0.0);
      for (const uint32_t i : order) {
        const CornerRef& c = kept_[i];
        soup_.corners.insert(soup_.corners.end(), points_[i].begin(), points_[i].end());
        const Rgb rgb = c.color >= 0 && c.color < int64_t(lookup.colors.size())
                            ? lookup.colors[size_t(c.color)]
                            : lookup.base;
        soup_.colors.insert(soup_.colors.end(), rgb.begin(), rgb.end());
        if (lookup.material >= 0 || !soup_.uvs.empty()) {
          std::array<double, 2> uv = {0.0, 0.0};
          if (lookup.material >= 0 && c.uv >= 0 && c.uv < int64_t(lookup.uvs.size()))
            uv = lookup.uvs[size_t(c.uv)];
          soup_.uvs.insert(soup_.uvs.end(), uv.begin(), uv.end());
        }
      }
      soup_.materials.push_back(lookup.material);
    }
  }

  ByteSoup& soup_;
  std::vector<std::string>& names_;
  std::vector<std::string>& notes_;
  size_t max_triangles_;
  size_t visits_ = 0;
  bool stopped_ = false;
  std::vector<std::array<float, 3>> points_;
  std::vector<CornerRef> kept_;
  std::vector<std::array<uint32_t, 3>> triangles_;
};

}  // namespace

size_t sceneTriangleLimit(size_t text_bytes) {
  const size_t floor = size_t(4) << 20;
  if (text_bytes >= kMaxSceneTriangles / 200) return kMaxSceneTriangles;
  return std::max(floor, 200 * text_bytes);
}

void collectSceneTriangles(const SceneDocument& scene, ByteSoup& soup,
                           std::vector<std::string>& names, std::vector<std::string>& notes,
                           size_t max_triangles) {
  SceneWalker walker(soup, names, notes, std::min(max_triangles, kMaxSceneTriangles));
  if (scene.vrml1) {
    SceneWalker::State state;
    walker.walkVrml1(scene.roots, state, 0);
  } else {
    walker.walkList(scene.roots, kIdentity, 0);
  }
}

}  // namespace vekmesh
