// Sheet pairing: edges of two faces come straight from the adjacency; each
// edge of more faces is met once, at its lowest face, and its faces are
// ordered by angle in a frame spanned by the edge and that face.
#include "repair/sheet_pairing.h"

#include <algorithm>
#include <cmath>

#include "geometry/vectors.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

Vec3d at(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[size_t(v)].position;
  return {p[0], p[1], p[2]};
}

// A face around one edge: which face, its corner on the edge, whether it
// runs the edge from a to b, and its angle about the edge.
struct Around {
  uint32_t face;
  uint32_t corner;
  bool forward;
  double angle;
};

// The corner of face g whose edge joins a and b (either way), or -1.
int edgeCorner(const Face& g, int32_t a, int32_t b) {
  for (int k = 0; k < 3; ++k) {
    const int32_t x = g.v[k], y = g.v[nextCorner(k)];
    if ((x == a && y == b) || (x == b && y == a)) return k;
  }
  return -1;
}

// Pairs the live faces around the edge of corner c of face f, writing
// `partner` for each of them.
void pairAroundEdge(const SubMesh& mesh, uint32_t f, uint32_t c, std::vector<Around>& around,
                    const SheetPairs* earlier, SheetPairs* chosen, SheetPartners& out) {
  const Face& face = mesh.faces[f];
  const int32_t a = face.v[c], b = face.v[nextCorner(c)];
  around.clear();
  for (const CornerRef& r : mesh.incidentCorners[size_t(a)]) {
    const Face& g = mesh.faces[r.face];
    if (g.removed) continue;
    const int k = edgeCorner(g, a, b);
    if (k < 0) continue;
    if (!around.empty() && around.back().face == r.face) continue;  // listed twice
    around.push_back({r.face, uint32_t(k), g.v[k] == a, 0.0});
  }
  std::sort(around.begin(), around.end(),
            [](const Around& x, const Around& y) { return x.face < y.face; });
  around.erase(std::unique(around.begin(), around.end(),
                           [](const Around& x, const Around& y) { return x.face == y.face; }),
               around.end());
  // Only the lowest face of the edge pairs it, so each edge is paired once.
  if (around.empty() || around.front().face != f) return;
  const std::pair<int32_t, int32_t> edge = {std::min(a, b), std::max(a, b)};
  for (const Around& s : around) out.paired[3 * size_t(s.face) + s.corner] = {-1, false};
  auto join = [&](const Around& x, const Around& y) {
    const bool alike = x.forward == y.forward;
    out.paired[3 * size_t(x.face) + x.corner] = {int32_t(y.face), alike};
    out.paired[3 * size_t(y.face) + y.corner] = {int32_t(x.face), alike};
  };
  if (earlier) {
    const auto known = earlier->find(edge);
    if (known != earlier->end()) {
      auto find = [&](uint32_t face) -> const Around* {
        for (const Around& s : around)
          if (s.face == face) return &s;
        return nullptr;
      };
      for (const auto& [x, y] : known->second) {
        const Around *p = find(x), *q = find(y);
        if (p && q) join(*p, *q);
      }
      return;
    }
  }
  const Vec3d pa = at(mesh, a);
  const Vec3d axis = normalized(sub(at(mesh, b), pa));
  auto third = [&](const Around& s) {
    const Face& g = mesh.faces[s.face];
    const Vec3d d = sub(at(mesh, g.v[prevCorner(s.corner)]), pa);
    return sub(d, scaled(axis, dot(d, axis)));
  };
  const Vec3d u = normalized(third(around.front()));
  const Vec3d w = cross(axis, u);
  for (Around& s : around) {
    const Vec3d d = third(s);
    double angle = std::atan2(dot(d, w), dot(d, u));
    if (!(angle >= 0.0)) angle = angle < 0.0 ? angle + 2.0 * kPi : 0.0;  // NaN: 0
    s.angle = &s == &around.front() ? 0.0 : angle;
  }
  std::stable_sort(around.begin() + 1, around.end(),
                   [](const Around& x, const Around& y) { return x.angle < y.angle; });
  // Looking along a -> b, a face running a -> b has its normal on the side of
  // growing angle. The wedge from face i to face i + 1 is inside a solid when
  // face i's normal points back (it runs b -> a) and face i + 1's forward.
  const size_t n = around.size();
  auto inside = [&](size_t i) { return !around[i].forward && around[(i + 1) % n].forward; };
  size_t score[2] = {0, 0};
  for (size_t i = 0; i + 1 < n; i += 2) score[0] += inside(i);
  for (size_t i = 1; i + 1 < n || (n % 2 == 0 && i < n); i += 2) score[1] += inside(i);
  const size_t offset = score[1] > score[0] ? 1 : 0;
  std::vector<std::pair<uint32_t, uint32_t>> pairs;
  for (size_t j = 0; j + 1 < n; j += 2) {
    const Around& x = around[(offset + j) % n];
    const Around& y = around[(offset + j + 1) % n];
    join(x, y);
    pairs.push_back({x.face, y.face});
  }
  if (chosen) (*chosen)[edge] = std::move(pairs);
}

}  // namespace

SheetPartners pairSheets(const SubMesh& mesh, const CornerAdjacency& adjacency,
                         const SheetPairs* earlier, SheetPairs* chosen) {
  const size_t face_count = mesh.faces.size();
  SheetPartners out(adjacency, face_count);
  out.removed = removedFaceBits(mesh);
  // Only edges of several faces are paired here; the rest is read from the
  // adjacency when asked for. The team finds those corners; they are paired
  // in slot order on this thread.
  std::vector<Around> around;
  const size_t slots = std::min(adjacency.across.size(), 3 * face_count);
  const std::vector<size_t> several = elementsWhere(slots, [&](size_t slot) {
    return adjacency.across[slot] == CornerAdjacency::kSeveral && !out.removed.test(slot / 3);
  });
  for (const size_t slot : several)
    pairAroundEdge(mesh, uint32_t(slot / 3), uint32_t(slot % 3), around, earlier, chosen, out);
  return out;
}

}  // namespace vekmesh
