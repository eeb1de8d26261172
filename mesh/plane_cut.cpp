// The plane cut: one pass classes the vertices and lists the crossed edges,
// a second builds both parts face by face (a straddling face becomes a
// triangle on its lone corner's side and a quadrilateral, split along its
// shorter diagonal, on the other), then the section loops of the same pass
// are capped. Points are numbered jointly: the mesh's vertices, then one new
// point per crossed edge.
#include "mesh/plane_cut.h"

#include <algorithm>
#include <cmath>

#include "geometry/polygon_holes_triangulation.h"
#include "mesh/plane_slicing.h"

namespace vekmesh {
namespace {

struct Corner {
  uint8_t rgb[3];
  double u;
  double v;
};

Corner blend(const Corner& a, const Corner& b, double t) {
  Corner c;
  for (int k = 0; k < 3; ++k)
    c.rgb[k] = static_cast<uint8_t>(std::lround(a.rgb[k] + t * (double(b.rgb[k]) - a.rgb[k])));
  c.u = a.u + t * (b.u - a.u);
  c.v = a.v + t * (b.v - a.v);
  return c;
}

// The points of the cut: vertex i for i below the vertex count, then the
// crossed edges in key order.
struct CutPoints {
  const SubMesh& mesh;
  double h;
  std::vector<uint64_t> edges;
  std::vector<std::array<float, 3>> edge_positions;
  std::vector<uint32_t> same_as;  // per edge, the first edge crossing at the same position

  size_t count() const { return mesh.vertices.size() + edges.size(); }
  const std::array<float, 3>& position(uint32_t id) const {
    const size_t nv = mesh.vertices.size();
    return id < nv ? mesh.vertices[id].position : edge_positions[id - nv];
  }
  // The point a crossing stands for.
  uint32_t idOf(uint64_t crossing) const {
    const uint64_t p = pointKey(mesh, crossing, h);
    if (keyLow(p) == keyHigh(p)) return static_cast<uint32_t>(keyLow(p));
    const size_t e = size_t(std::lower_bound(edges.begin(), edges.end(), p) - edges.begin());
    return static_cast<uint32_t>(mesh.vertices.size() + same_as[e]);
  }
};

class PartBuilder {
 public:
  // A part nobody asked for takes nothing.
  PartBuilder(const CutPoints& points, bool wanted)
      : points_(points), wanted_(wanted), remap_(wanted ? points.count() : 0, -1) {}

  void addTriangle(const Face& source, const uint32_t ids[3], const Corner corners[3]) {
    if (!wanted_ || ids[0] == ids[1] || ids[1] == ids[2] || ids[0] == ids[2]) return;
    Face f;
    f.removed = 0;
    f.material = source.material;
    for (int c = 0; c < 3; ++c) {
      f.v[c] = vertexFor(ids[c]);
      for (int k = 0; k < 3; ++k) f.colors[c][k] = corners[c].rgb[k];
      f.uv[c] = kNoTexCoord;
      if (f.material >= 0) {
        f.uv[c] = static_cast<uint32_t>(tex_.size());
        tex_.push_back({corners[c].u, corners[c].v, tex_.size()});
      }
    }
    faces_.push_back(f);
  }

  void addCap(uint32_t a, uint32_t b, uint32_t c) {
    if (!wanted_ || a == b || b == c || a == c) return;
    Face f;
    f.removed = 0;
    f.material = kNoMaterial;
    const uint32_t ids[3] = {a, b, c};
    for (int k = 0; k < 3; ++k) {
      f.v[k] = vertexFor(ids[k]);
      f.uv[k] = kNoTexCoord;
      for (int j = 0; j < 3; ++j) f.colors[k][j] = 255;
    }
    faces_.push_back(f);
  }

  void finish(SubMesh& out) {
    out.faces = std::move(faces_);
    out.vertices = std::move(vertices_);
    out.texCoords = std::move(tex_);
    out.incidentCorners.rebuild(out.faces, out.vertices.size());
    out.shells.clear();
    out.analysisRecords.clear();
  }

 private:
  int32_t vertexFor(uint32_t id) {
    int32_t& v = remap_[id];
    if (v < 0) {
      v = static_cast<int32_t>(vertices_.size());
      vertices_.push_back({points_.position(id), v});
    }
    return v;
  }

  const CutPoints& points_;
  bool wanted_;
  std::vector<int32_t> remap_;
  std::vector<Face> faces_;
  std::vector<Vertex> vertices_;
  std::vector<TexCoord> tex_;
};

Corner cornerOf(const SubMesh& mesh, const Face& f, int c) {
  Corner k;
  for (int j = 0; j < 3; ++j) k.rgb[j] = f.colors[c][j];
  k.u = k.v = 0.0;
  if (f.material >= 0 && f.uv[c] < mesh.texCoords.size()) {
    k.u = mesh.texCoords[f.uv[c]].u;
    k.v = mesh.texCoords[f.uv[c]].v;
  }
  return k;
}

double distance2(const std::array<float, 3>& a, const std::array<float, 3>& b) {
  double s = 0.0;
  for (int k = 0; k < 3; ++k) s += (double(a[k]) - b[k]) * (double(a[k]) - b[k]);
  return s;
}

// Splits face f (sides s) between the two parts.
void splitFace(const CutPoints& points, const Face& f, const uint8_t s[3], PartBuilder* parts[2]) {
  const SubMesh& mesh = points.mesh;
  const int k = s[0] != s[1] && s[0] != s[2] ? 0 : (s[1] != s[0] ? 1 : 2);  // the lone corner
  const int kb = k == 2 ? 0 : k + 1, kc = kb == 2 ? 0 : kb + 1;
  const int32_t a = f.v[k], b = f.v[kb], c = f.v[kc];
  // The crossing on edge x -> y and its fraction from x.
  const auto cross = [&](int32_t x, int32_t y, uint8_t side_x, double& t) {
    const int32_t low = side_x == 0 ? x : y, high = side_x == 0 ? y : x;
    const double along = crossingFraction(mesh.vertices[size_t(low)].position[2],
                                          mesh.vertices[size_t(high)].position[2], points.h);
    t = low == x ? along : 1.0 - along;
    return points.idOf(edgeKey(low, high));
  };
  double t_ab, t_ca;
  const uint32_t p = cross(a, b, s[k], t_ab);
  const uint32_t q = cross(c, a, s[kc], t_ca);
  const Corner ca = cornerOf(mesh, f, k), cb = cornerOf(mesh, f, kb), cc = cornerOf(mesh, f, kc);
  const Corner cp = blend(ca, cb, t_ab), cq = blend(cc, ca, t_ca);

  const uint32_t lone[3] = {uint32_t(a), p, q};
  const Corner lone_corners[3] = {ca, cp, cq};
  parts[s[k]]->addTriangle(f, lone, lone_corners);
  PartBuilder& other = *parts[1 - s[k]];
  if (distance2(points.position(p), points.position(uint32_t(c))) <=
      distance2(points.position(uint32_t(b)), points.position(q))) {
    const uint32_t t1[3] = {p, uint32_t(b), uint32_t(c)}, t2[3] = {p, uint32_t(c), q};
    const Corner c1[3] = {cp, cb, cc}, c2[3] = {cp, cc, cq};
    other.addTriangle(f, t1, c1);
    other.addTriangle(f, t2, c2);
  } else {
    const uint32_t t1[3] = {p, uint32_t(b), q}, t2[3] = {uint32_t(b), uint32_t(c), q};
    const Corner c1[3] = {cp, cb, cq}, c2[3] = {cb, cc, cq};
    other.addTriangle(f, t1, c1);
    other.addTriangle(f, t2, c2);
  }
}

// Crossing-number test, half-open in y.
bool insideRing(const PlanePoint& p, const std::vector<uint32_t>& ring,
                const std::vector<PlanePoint>& pts) {
  bool inside = false;
  for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
    const PlanePoint &a = pts[ring[j]], &b = pts[ring[i]];
    if ((a[1] > p[1]) != (b[1] > p[1])) {
      const double x = a[0] + (p[1] - a[1]) * (b[0] - a[0]) / (b[1] - a[1]);
      if (p[0] < x) inside = !inside;
    }
  }
  return inside;
}

double ringArea2(const std::vector<uint32_t>& ring, const std::vector<PlanePoint>& pts) {
  const PlanePoint& o = pts[ring[0]];
  double sum = 0.0;
  for (size_t i = 1; i + 1 < ring.size(); ++i) {
    const PlanePoint &a = pts[ring[i]], &b = pts[ring[i + 1]];
    sum += (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
  }
  return sum;
}

// Cap triangles over the closed loops (point ids, in loop direction), each
// using the loop edges in their own direction. Returns false when some cap
// was not cleanly triangulated.
bool capTriangles(const CutPoints& points, const std::vector<std::vector<uint32_t>>& loops,
                  std::vector<std::array<uint32_t, 3>>& caps) {
  // Local numbering of the points the loops use.
  std::vector<uint32_t> ids;
  for (const auto& loop : loops) ids.insert(ids.end(), loop.begin(), loop.end());
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  std::vector<PlanePoint> pts(ids.size());
  for (size_t i = 0; i < ids.size(); ++i) {
    const auto& p = points.position(ids[i]);
    pts[i] = {p[0], p[1]};
  }
  const auto local = [&](uint32_t id) {
    return static_cast<uint32_t>(std::lower_bound(ids.begin(), ids.end(), id) - ids.begin());
  };
  std::vector<std::vector<uint32_t>> rings(loops.size());
  std::vector<double> area2(loops.size());
  std::vector<std::array<double, 4>> box(loops.size());
  double total = 0.0;
  for (size_t r = 0; r < loops.size(); ++r) {
    for (uint32_t id : loops[r]) rings[r].push_back(local(id));
    area2[r] = ringArea2(rings[r], pts);
    total += area2[r];
    box[r] = {INFINITY, INFINITY, -INFINITY, -INFINITY};
    for (uint32_t i : rings[r]) {
      box[r][0] = std::min(box[r][0], pts[i][0]);
      box[r][1] = std::min(box[r][1], pts[i][1]);
      box[r][2] = std::max(box[r][2], pts[i][0]);
      box[r][3] = std::max(box[r][3], pts[i][1]);
    }
  }
  // Outlines turn the way the loops turn on the whole (counter-clockwise for
  // an outward mesh); holes the other way. Each hole joins the smallest
  // outline around it; a hole inside none is capped on its own.
  const double sense = total < 0.0 ? -1.0 : 1.0;
  std::vector<std::vector<size_t>> holes_of(loops.size());
  std::vector<uint8_t> leads(loops.size(), 0);
  for (size_t r = 0; r < loops.size(); ++r) leads[r] = area2[r] * sense >= 0.0;
  for (size_t r = 0; r < loops.size(); ++r) {
    if (leads[r]) continue;
    std::vector<uint32_t> shared;
    size_t best = loops.size();
    for (size_t o = 0; o < loops.size(); ++o) {
      if (!leads[o] || box[o][0] > box[r][0] || box[o][1] > box[r][1] || box[o][2] < box[r][2] ||
          box[o][3] < box[r][3])
        continue;
      if (best < loops.size() && std::fabs(area2[o]) >= std::fabs(area2[best])) continue;
      // A point of the hole that is not also a point of the outline.
      shared = rings[o];
      std::sort(shared.begin(), shared.end());
      uint32_t probe = rings[r][0];
      for (uint32_t i : rings[r])
        if (!std::binary_search(shared.begin(), shared.end(), i)) {
          probe = i;
          break;
        }
      if (insideRing(pts[probe], rings[o], pts)) best = o;
    }
    if (best < loops.size())
      holes_of[best].push_back(r);
    else
      leads[r] = 1;
  }
  bool clean = true;
  std::vector<std::vector<uint32_t>> group;
  std::vector<std::array<uint32_t, 3>> tris;
  for (size_t r = 0; r < loops.size(); ++r) {
    if (!leads[r]) continue;
    // The triangulation wants a counter-clockwise outline: turn the group
    // over when its outline runs the other way, and the triangles back.
    const bool flip = area2[r] < 0.0;
    group.assign(1, rings[r]);
    for (size_t h : holes_of[r]) group.push_back(rings[h]);
    if (flip)
      for (auto& ring : group) std::reverse(ring.begin(), ring.end());
    tris.clear();
    if (!triangulatePolygonWithHoles(pts, group, tris)) clean = false;
    for (const auto& t : tris)
      caps.push_back(flip ? std::array<uint32_t, 3>{ids[t[0]], ids[t[2]], ids[t[1]]}
                          : std::array<uint32_t, 3>{ids[t[0]], ids[t[1]], ids[t[2]]});
  }
  return clean;
}

}  // namespace

PlaneCutReport cutByPlane(const SubMesh& mesh, float height, SubMesh* below, SubMesh* above) {
  PlaneCutReport report;
  const double h = height;
  const size_t nv = mesh.vertices.size();
  std::vector<uint8_t> side(nv);
  bool any_on = false;
  for (size_t v = 0; v < nv; ++v) {
    side[v] = vertexClass(mesh.vertices[v].position, h);
    any_on |= side[v] == kClassOn;
  }
  const auto usable = [&](const Face& f) {
    return usableFace(mesh, f) && side[size_t(f.v[0])] != kClassUnusable &&
           side[size_t(f.v[1])] != kClassUnusable && side[size_t(f.v[2])] != kClassUnusable;
  };
  if (any_on) {
    double area2 = 0.0;
    for (const Face& f : mesh.faces)
      if (usable(f) && side[size_t(f.v[0])] == kClassOn && side[size_t(f.v[1])] == kClassOn &&
          side[size_t(f.v[2])] == kClassOn)
        area2 += projectedArea2(mesh, f);
    const OnPlaneSide on = onPlaneSideFor(area2);
    for (uint8_t& s : side) s = s == kClassUnusable ? s : sideOf(s, on);
  }

  // The crossed edges, from the pieces of the straddling faces.
  CutPoints points{mesh, h, {}, {}, {}};
  std::vector<Segment> segments;
  for (const Face& f : mesh.faces) {
    if (!usable(f)) continue;
    const uint8_t s[3] = {side[size_t(f.v[0])], side[size_t(f.v[1])], side[size_t(f.v[2])]};
    Segment segment;
    if (!faceSegment(f.v, s, segment)) continue;
    segments.push_back(segment);
    for (uint64_t crossing : {segment.from, segment.to}) {
      const uint64_t p = pointKey(mesh, crossing, h);
      if (keyLow(p) != keyHigh(p)) points.edges.push_back(p);
    }
  }
  std::sort(points.edges.begin(), points.edges.end());
  points.edges.erase(std::unique(points.edges.begin(), points.edges.end()), points.edges.end());
  points.edge_positions.reserve(points.edges.size());
  for (uint64_t e : points.edges) points.edge_positions.push_back(pointPosition(mesh, e, h));
  // Crossings of different edges can round to one position (the edges from
  // a vertex just off the plane): they become one point, as a weld would
  // make them, and the faces between them, of no area, drop out.
  std::vector<uint32_t> order(points.edges.size());
  for (size_t e = 0; e < order.size(); ++e) order[e] = static_cast<uint32_t>(e);
  std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return points.edge_positions[a] < points.edge_positions[b] ||
           (points.edge_positions[a] == points.edge_positions[b] && a < b);
  });
  points.same_as.resize(order.size());
  for (size_t k = 0; k < order.size(); ++k)
    points.same_as[order[k]] =
        k > 0 && points.edge_positions[order[k]] == points.edge_positions[order[k - 1]]
            ? points.same_as[order[k - 1]]
            : order[k];

  PartBuilder lower(points, below != nullptr), upper(points, above != nullptr);
  PartBuilder* parts[2] = {&lower, &upper};
  for (const Face& f : mesh.faces) {
    if (!usable(f)) continue;
    const uint8_t s[3] = {side[size_t(f.v[0])], side[size_t(f.v[1])], side[size_t(f.v[2])]};
    if (s[0] == s[1] && s[1] == s[2]) {
      const uint32_t ids[3] = {uint32_t(f.v[0]), uint32_t(f.v[1]), uint32_t(f.v[2])};
      const Corner corners[3] = {cornerOf(mesh, f, 0), cornerOf(mesh, f, 1), cornerOf(mesh, f, 2)};
      parts[s[0]]->addTriangle(f, ids, corners);
    } else {
      ++report.splitFaces;
      splitFace(points, f, s, parts);
    }
  }

  // Caps on the closed loops, wound along them for the lower part (whose
  // faces run each cut edge the other way) and against them for the upper.
  std::vector<CrossingLoop> chains;
  chainSegments(segments, chains);
  std::vector<std::vector<uint64_t>> ids;
  for (const CrossingLoop& chain : chains) {
    if (!chain.closed) {
      ++report.openChains;
      continue;
    }
    ids.emplace_back();
    for (uint64_t c : chain.crossings) ids.back().push_back(points.idOf(c));
    tidyLoop(ids.back(), true);
    if (ids.back().size() < 3) ids.pop_back();
  }
  // A ring of edges the plane touches from one side gives two opposite loops
  // whose faces already meet along it: no cap belongs there.
  dropOppositeLoops(ids, std::vector<uint8_t>(ids.size(), 1));
  std::vector<std::vector<uint32_t>> loops;
  for (const auto& loop : ids)
    if (!loop.empty()) loops.emplace_back(loop.begin(), loop.end());
  std::vector<std::array<uint32_t, 3>> caps;
  report.capsClean = capTriangles(points, loops, caps);
  report.capTriangles = caps.size();
  for (const auto& t : caps) {
    lower.addCap(t[0], t[1], t[2]);
    upper.addCap(t[0], t[2], t[1]);
  }
  if (below) lower.finish(*below);
  if (above) upper.finish(*above);
  return report;
}

}  // namespace vekmesh
