// Corner attributes across a collapse. The corners around the kept and the
// dropped vertex are matched, wedge by wedge, with the corners of the faces on
// the collapsed edge, and take the blend of the two ends of their wedge.
#include "remesh/corner_attributes.h"

#include <cmath>
#include <cstring>

#include "remesh/link_condition.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {
namespace {

bool textured(const SubMesh& m, const Face& f, uint32_t c) {
  return f.uv[c] != kNoTexCoord && f.uv[c] < m.texCoords.size();
}

uint8_t blendByte(uint8_t a, uint8_t b, double t) {
  if (t <= 0.0) return a;
  if (t >= 1.0) return b;
  return static_cast<uint8_t>(std::lround(a + t * (static_cast<double>(b) - a)));
}

// Exactly a at 0 and exactly b at 1, so that copies stay bit-equal to their
// source and later seam tests still see one wedge.
double blendValue(double a, double b, double t) {
  if (t <= 0.0) return a;
  if (t >= 1.0) return b;
  return a + t * (b - a);
}

// Writes into corner `target` the blend of corner `from_keep` (at the kept
// vertex) and corner `from_drop` (at the dropped vertex).
void writeBlend(const ReducerState& s, uint32_t target, uint32_t from_keep, uint32_t from_drop,
                double t) {
  SubMesh& m = *s.mesh;
  Face& out = s.sourceFace(target / 3);
  const Face& fk = s.sourceFace(from_keep / 3);
  const Face& fd = s.sourceFace(from_drop / 3);
  const uint32_t co = target % 3, ck = from_keep % 3, cd = from_drop % 3;
  for (int i = 0; i < 3; ++i) out.colors[co][i] = blendByte(fk.colors[ck][i], fd.colors[cd][i], t);
  if (textured(m, out, co) && textured(m, fk, ck) && textured(m, fd, cd)) {
    const TexCoord& a = m.texCoords[fk.uv[ck]];
    const TexCoord& b = m.texCoords[fd.uv[cd]];
    TexCoord& o = m.texCoords[out.uv[co]];
    const double u = blendValue(a.u, b.u, t), v = blendValue(a.v, b.v, t);
    o.u = u, o.v = v;
  }
}

}  // namespace

bool sameAttributes(const ReducerState& s, uint32_t a, uint32_t b) {
  const SubMesh& m = *s.mesh;
  const Face& fa = s.sourceFace(a / 3);
  const Face& fb = s.sourceFace(b / 3);
  const uint32_t ca = a % 3, cb = b % 3;
  if (fa.material != fb.material) return false;
  if (std::memcmp(fa.colors[ca], fb.colors[cb], 3) != 0) return false;
  const bool ta = textured(m, fa, ca), tb = textured(m, fb, cb);
  if (ta != tb) return false;
  if (!ta) return true;
  const TexCoord& x = m.texCoords[fa.uv[ca]];
  const TexCoord& y = m.texCoords[fb.uv[cb]];
  return x.u == y.u && x.v == y.v;
}

void blendCornerAttributes(ReducerState& s, const CollapseScratch& sc, double t) {
  const int n = sc.edge_faces;
  // Corners at the dropped vertex: partner = the edge-face corner at the drop
  // in the same wedge; its face gives the kept end of that wedge.
  for (uint32_t k : sc.drop_corners) {
    if (s.faceDead(k / 3) || sc.isEdgeFace(k / 3)) continue;
    for (int i = 0; i < n; ++i)
      if (sameAttributes(s, k, sc.edge_drop[i])) {
        writeBlend(s, k, sc.edge_keep[i], sc.edge_drop[i], t);
        break;
      }
  }
  if (t <= 0.0) return;  // the kept corners already hold their wedge's value
  for (uint32_t k : sc.keep_corners) {
    if (s.faceDead(k / 3) || sc.isEdgeFace(k / 3)) continue;
    for (int i = 0; i < n; ++i)
      if (sameAttributes(s, k, sc.edge_keep[i])) {
        writeBlend(s, k, sc.edge_keep[i], sc.edge_drop[i], t);
        break;
      }
  }
}

}  // namespace vekmesh::reducer
