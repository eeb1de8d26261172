// Stepped square bars and the holed block, as quadrilaterals wound by the
// outward normal each one is given.
#include "section_shapes.h"

namespace vekmesh::test {
namespace {

// Local (along, u, v) to x, y, z for a bar along `axis`.
Point place(int axis, float along, float u, float v) {
  if (axis == 0) return {along, u, v};
  if (axis == 1) return {v, along, u};
  return {u, v, along};
}

float dot(const Point& a, const Point& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Two triangles p0 p1 p2, p0 p2 p3, turned over when they face away from
// `outward`.
void addQuad(Soup& soup, const Point& p0, const Point& p1, const Point& p2, const Point& p3,
             const Point& outward) {
  const Point e1 = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
  const Point e2 = {p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
  const Point n = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                   e1[0] * e2[1] - e1[1] * e2[0]};
  if (dot(n, outward) >= 0.0f) {
    soup.addTriangle(p0, p1, p2);
    soup.addTriangle(p0, p2, p3);
  } else {
    soup.addTriangle(p0, p2, p1);
    soup.addTriangle(p0, p3, p2);
  }
}

// The corners of the square of half width w at `along`, counter-clockwise
// in (u, v).
std::vector<Point> square(int axis, float along, float w) {
  return {place(axis, along, -w, -w), place(axis, along, w, -w), place(axis, along, w, w),
          place(axis, along, -w, w)};
}

// The outward direction of side k of a square, in (u, v).
Point sideNormal(int axis, int k) {
  const float u[4] = {0, 1, 0, -1}, v[4] = {-1, 0, 1, 0};
  return place(axis, 0.0f, u[k], v[k]);
}

void walls(Soup& soup, int axis, const std::vector<Point>& lo, const std::vector<Point>& hi,
           float sign) {
  for (int k = 0; k < 4; ++k) {
    Point n = sideNormal(axis, k);
    for (float& c : n) c *= sign;
    addQuad(soup, lo[k], lo[(k + 1) % 4], hi[(k + 1) % 4], hi[k], n);
  }
}

void ring(Soup& soup, const std::vector<Point>& outer, const std::vector<Point>& inner,
          const Point& normal) {
  for (int k = 0; k < 4; ++k)
    addQuad(soup, outer[k], outer[(k + 1) % 4], inner[(k + 1) % 4], inner[k], normal);
}

}  // namespace

Soup steppedBarSoup(int axis, float start, const std::vector<std::pair<float, float>>& boxes) {
  Soup soup;
  const Point forward = place(axis, 1.0f, 0.0f, 0.0f);
  const Point backward = place(axis, -1.0f, 0.0f, 0.0f);
  float at = start;
  for (size_t b = 0; b < boxes.size(); ++b) {
    const float end = at + boxes[b].first, w = boxes[b].second;
    const std::vector<Point> lo = square(axis, at, w), hi = square(axis, end, w);
    walls(soup, axis, lo, hi, 1.0f);
    if (b == 0) addQuad(soup, lo[0], lo[1], lo[2], lo[3], backward);
    if (b + 1 == boxes.size()) {
      addQuad(soup, hi[0], hi[1], hi[2], hi[3], forward);
    } else {
      // The step faces forward where the bar narrows, backward where it widens.
      const float next = boxes[b + 1].second;
      const std::vector<Point> other = square(axis, end, next);
      if (next < w)
        ring(soup, hi, other, forward);
      else
        ring(soup, other, hi, backward);
    }
    at = end;
  }
  return soup;
}

Soup holedBlockSoup(float half, float hole, float z0, float z1) {
  Soup soup;
  const std::vector<Point> outer_lo = square(2, z0, half), outer_hi = square(2, z1, half);
  const std::vector<Point> inner_lo = square(2, z0, hole), inner_hi = square(2, z1, hole);
  walls(soup, 2, outer_lo, outer_hi, 1.0f);
  walls(soup, 2, inner_lo, inner_hi, -1.0f);
  ring(soup, outer_hi, inner_hi, {0, 0, 1});
  ring(soup, outer_lo, inner_lo, {0, 0, -1});
  return soup;
}

}  // namespace vekmesh::test
