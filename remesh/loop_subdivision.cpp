// Loop subdivision (Loop 1987) with the crease, corner and boundary rules of
// Hoppe et al. 1994, one round: the face normals, one parallel sweep over the
// vertex stars that moves each vertex and places the points of the edges it
// owns (the lower vertex of an edge owns it), then four children per face.
// Every position is a weighted sum taken in double from the single-precision
// input, all weights positive, so no value can leave the range of its inputs.
#include "remesh/loop_subdivision.h"

#include <cmath>

#include "geometry/vectors.h"
#include "mesh/parallel_loops.h"
#include "remesh/corner_blend.h"
#include "remesh/vertex_star.h"

namespace vekmesh {
namespace {

using Point = std::array<float, 3>;

Vec3d widened(const Point& p) {
  return {double(p[0]), double(p[1]), double(p[2])};
}
Point narrowed(const Vec3d& p) {
  return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
}

// Unit normal of every face, NaN for a face with a coordinate that is not
// finite (the mark of a held face), zero for a degenerate one.
std::vector<Point> faceNormals(const SubMesh& mesh) {
  const int64_t n = static_cast<int64_t>(mesh.faces.size());
  std::vector<Point> normals(mesh.faces.size());
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
  for (int64_t f = 0; f < n; ++f) {
    const Face& face = mesh.faces[size_t(f)];
    const Vec3d a = widened(mesh.vertices[size_t(face.v[0])].position);
    const Vec3d b = widened(mesh.vertices[size_t(face.v[1])].position);
    const Vec3d c = widened(mesh.vertices[size_t(face.v[2])].position);
    const bool finite = std::isfinite(a[0] + a[1] + a[2] + b[0] + b[1] + b[2] + c[0] + c[1] + c[2]);
    normals[size_t(f)] =
        finite ? narrowed(normalized(cross(sub(b, a), sub(c, a)))) : Point{NAN, NAN, NAN};
  }
  return normals;
}

bool isHeld(const Point& normal) {
  return normal[0] != normal[0];
}

// Loop's weight of each neighbour of a smooth vertex of valence n.
double loopBeta(size_t n) {
  const double c = 0.375 + 0.25 * std::cos(2.0 * kPi / double(n));
  return (0.625 - c * c) / double(n);
}
constexpr size_t kBetaTableSize = 32;

// What the sweep reads: the mesh, its normals, the crease threshold and
// Loop's weights of the usual valences.
struct Sweep {
  const SubMesh& mesh;
  const std::vector<Point>& normals;
  double crease_cosine;
  double beta_table[kBetaTableSize];

  Sweep(const SubMesh& m, const std::vector<Point>& n)
      : mesh(m), normals(n), crease_cosine(std::cos(kCreaseAngleDegrees * kPi / 180.0)) {
    beta_table[0] = 0.0;
    for (size_t v = 1; v < kBetaTableSize; ++v) beta_table[v] = loopBeta(v);
  }

  Vec3d at(int32_t v) const { return widened(mesh.vertices[size_t(v)].position); }

  // Symmetric in the two faces and the two ends, so both ends of an edge
  // reach the same verdict.
  bool isCrease(const VertexStar& star, const StarEdge& e) const {
    if (!e.manifold()) return true;
    const StarCorner& out = star.corners[e.out_corner];  // face f runs centre -> far
    const StarCorner& in = star.corners[e.in_corner];    // face g runs far -> centre
    const Point& nf = normals[out.face];
    const Point& ng = normals[in.face];
    if (isHeld(nf) || isHeld(ng)) return true;
    const double cosine = double(nf[0]) * ng[0] + double(nf[1]) * ng[1] + double(nf[2]) * ng[2];
    const bool measured =
        (nf[0] != 0 || nf[1] != 0 || nf[2] != 0) && (ng[0] != 0 || ng[1] != 0 || ng[2] != 0);
    if (measured && cosine < crease_cosine) return true;
    const Face& f = mesh.faces[out.face];
    const Face& g = mesh.faces[in.face];
    if (f.material != g.material) return true;
    const uint32_t f_far = nextCorner(out.corner), g_far = prevCorner(in.corner);
    if (colorsDiffer(f.colors[out.corner], g.colors[in.corner]) ||
        colorsDiffer(f.colors[f_far], g.colors[g_far]))
      return true;
    return f.material >= 0 &&
           (uvsDiffer(cornerUv(mesh, f, out.corner), cornerUv(mesh, g, in.corner)) ||
            uvsDiffer(cornerUv(mesh, f, f_far), cornerUv(mesh, g, g_far)));
  }

  // The centre's new place; `crease` holds the verdict of every star edge.
  Point movedCentre(const VertexStar& star, const std::vector<uint8_t>& crease) const {
    const Point& here = mesh.vertices[size_t(star.centre)].position;
    for (const StarCorner& c : star.corners)
      if (isHeld(normals[c.face])) return here;
    int creases = 0;
    Vec3d crease_ends[2], sum{0, 0, 0};
    for (size_t e = 0; e < star.edges.size(); ++e) {
      const Vec3d p = at(star.edges[e].far);
      sum = add(sum, p);
      if (crease[e] && creases++ < 2) crease_ends[creases - 1] = p;
    }
    if (creases >= 3) return here;  // a corner
    const Vec3d x = widened(here);
    if (creases == 2) {
      // A crease line that turns here by more than the crease angle has a
      // corner here (the corner of a square sheet's border).
      const Vec3d in = normalized(sub(x, crease_ends[0]));
      const Vec3d out = normalized(sub(crease_ends[1], x));
      const bool measured = dot(in, in) > 0.0 && dot(out, out) > 0.0;
      if (measured && dot(in, out) < crease_cosine) return here;
      return narrowed(add(scaled(x, 0.75), scaled(add(crease_ends[0], crease_ends[1]), 0.125)));
    }
    // Smooth, or a dart (one crease ending here): Loop's mask.
    if (!star.singleClosedFan()) return here;
    const size_t n = star.edges.size();
    const double beta = n < kBetaTableSize ? beta_table[n] : loopBeta(n);
    return narrowed(add(scaled(x, 1.0 - double(n) * beta), scaled(sum, beta)));
  }

  Point edgePoint(const VertexStar& star, const StarEdge& e, bool crease) const {
    const Vec3d ends = add(at(star.centre), at(e.far));
    if (crease) return narrowed(scaled(ends, 0.5));
    const Vec3d opposite =
        add(at(star.corners[e.out_corner].prev), at(star.corners[e.in_corner].next));
    return narrowed(add(scaled(ends, 0.375), scaled(opposite, 0.125)));
  }
};

// Attribute slots of a parent face: its corners 0..2, then the midpoints of
// its edges 0..2 (edge c runs from corner c to corner c + 1); each child
// lists the slots of its corners in winding order.
constexpr int kChildSlots[4][3] = {{0, 3, 5}, {3, 1, 4}, {5, 4, 2}, {3, 4, 5}};

// Writes the four children of `f` to out[0..3]; `points` are the vertex
// numbers of its edge points. A textured parent's children take texture
// coordinates `tex_index` onwards (twelve).
void writeChildren(const SubMesh& mesh, const Face& f, const uint32_t (&points)[3], Face* out,
                   std::vector<TexCoord>& tex_coords, uint64_t tex_index) {
  int32_t vertex[6];
  uint8_t color[6][3];
  for (uint32_t c = 0; c < 3; ++c) {
    vertex[c] = f.v[c];
    vertex[3 + c] = static_cast<int32_t>(points[c]);
    for (int k = 0; k < 3; ++k) color[c][k] = f.colors[c][k];
    blendColor(f.colors[c], f.colors[nextCorner(c)], color[3 + c]);
  }
  Uv uv[6];
  const bool textured = f.material >= 0;
  if (textured)
    for (uint32_t c = 0; c < 3; ++c) {
      uv[c] = cornerUv(mesh, f, c);
      uv[3 + c] = blendUv(cornerUv(mesh, f, c), cornerUv(mesh, f, nextCorner(c)));
    }
  for (int child = 0; child < 4; ++child) {
    Face& g = out[child];
    g.removed = 0;
    g.material = f.material;
    for (int c = 0; c < 3; ++c) {
      const int slot = kChildSlots[child][c];
      g.v[c] = vertex[slot];
      for (int k = 0; k < 3; ++k) g.colors[c][k] = color[slot][k];
      g.uv[c] = kNoTexCoord;
      if (!textured) continue;
      tex_coords[tex_index] = TexCoord{uv[slot][0], uv[slot][1], tex_index};
      g.uv[c] = static_cast<uint32_t>(tex_index++);
    }
  }
}

}  // namespace

void loopSubdivisionRound(SubMesh& mesh) {
  const size_t vertex_count = mesh.vertices.size();
  const size_t face_count = mesh.faces.size();
  const int vertex_parts = loopParts(static_cast<int64_t>(vertex_count));

  // The sweep: every vertex moved, every edge numbered and its point placed.
  std::vector<uint32_t> face_edges;
  std::vector<Point> moved(vertex_count);
  std::vector<std::vector<Point>> edge_points(static_cast<size_t>(vertex_parts));
  for (auto& points : edge_points) points.reserve(3 * face_count / 2 / size_t(vertex_parts) + 64);
  EdgeNumbering numbering;
  {
    const std::vector<Point> normals = faceNormals(mesh);
    const Sweep sweep(mesh, normals);
    std::vector<std::vector<uint8_t>> crease_scratch(static_cast<size_t>(vertex_parts));
    numbering = numberEdges(mesh, face_edges, [&](const VertexStar& star, int part) {
      std::vector<uint8_t>& crease = crease_scratch[size_t(part)];
      crease.resize(star.edges.size());
      for (size_t e = 0; e < star.edges.size(); ++e)
        crease[e] = sweep.isCrease(star, star.edges[e]);
      moved[size_t(star.centre)] = sweep.movedCentre(star, crease);
      for (size_t e = 0; e < star.edges.size(); ++e)
        if (star.edges[e].far > star.centre)
          edge_points[size_t(part)].push_back(sweep.edgePoint(star, star.edges[e], crease[e]));
    });
  }
  // The old lists are not read again; releasing them first lowers the peak.
  mesh.incidentCorners.clear();
  mesh.incidentCorners.shrinkToFit();

  const size_t edge_count = numbering.edgeCount();
  std::vector<Vertex> vertices(vertex_count + edge_count);
  {
    const int64_t n = static_cast<int64_t>(vertex_count);
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
    for (int64_t v = 0; v < n; ++v) vertices[size_t(v)] = Vertex{moved[size_t(v)], int32_t(v)};
    std::vector<Point>().swap(moved);
#pragma omp parallel for schedule(static) if (vertex_parts > 1)
    for (int t = 0; t < vertex_parts; ++t) {
      size_t index = vertex_count + numbering.first_edge[size_t(t)];
      for (const Point& p : edge_points[size_t(t)]) {
        vertices[index] = Vertex{p, static_cast<int32_t>(index)};
        ++index;
      }
      std::vector<Point>().swap(edge_points[size_t(t)]);
    }
  }

  // Children, in parts of faces; each textured parent takes twelve texture
  // coordinates from where the textured parents before it end.
  const int parts = loopParts(static_cast<int64_t>(face_count));
  std::vector<uint64_t> textured(size_t(parts) + 1, 0);
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    uint64_t own = 0;
    for (size_t f = partStart(face_count, t, parts); f < partStart(face_count, t + 1, parts); ++f)
      own += mesh.faces[f].material >= 0;
    textured[size_t(t) + 1] = own;
  }
  for (int t = 0; t < parts; ++t) textured[size_t(t) + 1] += textured[size_t(t)];
  std::vector<TexCoord> tex_coords(12 * textured[size_t(parts)]);
  std::vector<Face> faces(4 * face_count);
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    uint64_t tex_index = 12 * textured[size_t(t)];
    for (size_t f = partStart(face_count, t, parts); f < partStart(face_count, t + 1, parts); ++f) {
      const Face& parent = mesh.faces[f];
      const uint32_t points[3] = {uint32_t(vertex_count) + face_edges[3 * f],
                                  uint32_t(vertex_count) + face_edges[3 * f + 1],
                                  uint32_t(vertex_count) + face_edges[3 * f + 2]};
      writeChildren(mesh, parent, points, &faces[4 * f], tex_coords, tex_index);
      if (parent.material >= 0) tex_index += 12;
    }
  }
  std::vector<uint32_t>().swap(face_edges);
  mesh.faces.swap(faces);
  std::vector<Face>().swap(faces);
  mesh.vertices.swap(vertices);
  mesh.texCoords.swap(tex_coords);
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
}

}  // namespace vekmesh
