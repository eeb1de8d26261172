// ClipperLib behind the ring types of polygon_clipping.h: conversions at the
// door, exceptions caught there, PolyTree flattened into outlines with holes.
#include "geometry/polygon_clipping.h"

#include <cmath>
#include <polyclipping/clipper.hpp>

namespace vekmesh {
namespace {

ClipperLib::Path toPath(const IntRing& ring) {
  ClipperLib::Path path;
  path.reserve(ring.size());
  for (const IntPoint2& p : ring) path.emplace_back(p.x, p.y);
  return path;
}

IntRing toRing(const ClipperLib::Path& path) {
  IntRing ring;
  ring.reserve(path.size());
  for (const ClipperLib::IntPoint& p : path) ring.push_back({p.X, p.Y});
  return ring;
}

ClipperLib::Paths toPaths(const std::vector<IntRing>& rings) {
  ClipperLib::Paths paths;
  paths.reserve(rings.size());
  for (const IntRing& r : rings) paths.push_back(toPath(r));
  return paths;
}

std::vector<IntRing> toRings(const ClipperLib::Paths& paths) {
  std::vector<IntRing> rings;
  rings.reserve(paths.size());
  for (const ClipperLib::Path& p : paths) rings.push_back(toRing(p));
  return rings;
}

ClipperLib::PolyFillType fillType(FillRule fill) {
  return fill == FillRule::kEvenOdd ? ClipperLib::pftEvenOdd : ClipperLib::pftNonZero;
}

ClipperLib::JoinType joinType(JoinKind join) {
  switch (join) {
    case JoinKind::kMiter:
      return ClipperLib::jtMiter;
    case JoinKind::kSquare:
      return ClipperLib::jtSquare;
    case JoinKind::kRound:
      break;
  }
  return ClipperLib::jtRound;
}

bool unionTree(const std::vector<IntRing>& rings, FillRule fill, ClipperLib::PolyTree& tree) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(toPaths(rings), ClipperLib::ptSubject, true);
  return clipper.Execute(ClipperLib::ctUnion, tree, fillType(fill), fillType(fill));
}

}  // namespace

IntRing toIntegerRing(const std::vector<std::array<double, 2>>& points, double scale) {
  IntRing ring;
  ring.reserve(points.size());
  for (const auto& p : points) {
    const double x = p[0] * scale, y = p[1] * scale;
    // llround of a non-finite or out-of-range value is undefined; such points
    // go to the origin and the caller's range checks see a broken ring.
    const auto round = [](double v) {
      return std::isfinite(v) && std::fabs(v) < 9.0e18 ? std::llround(v) : 0LL;
    };
    ring.push_back({round(x), round(y)});
  }
  return ring;
}

std::vector<std::array<double, 2>> fromIntegerRing(const IntRing& ring, double scale) {
  std::vector<std::array<double, 2>> points;
  points.reserve(ring.size());
  for (const IntPoint2& p : ring)
    points.push_back({static_cast<double>(p.x) / scale, static_cast<double>(p.y) / scale});
  return points;
}

double ringArea(const IntRing& ring) {
  return ClipperLib::Area(toPath(ring));
}

bool isSimpleCounterClockwise(const IntRing& ring) {
  try {
    const ClipperLib::Path path = toPath(ring);
    const double area = ClipperLib::Area(path);
    if (!(area > 0.0)) return false;
    ClipperLib::Paths simple;
    ClipperLib::SimplifyPolygon(path, simple, ClipperLib::pftNonZero);
    if (simple.size() != 1) return false;
    return std::fabs(ClipperLib::Area(simple[0]) - area) <= 1e-9 * area;
  } catch (const ClipperLib::clipperException&) {
    return false;
  }
}

std::vector<IntRing> offsetRings(const std::vector<IntRing>& rings, double delta, JoinKind join,
                                 double arc_tolerance) {
  try {
    ClipperLib::ClipperOffset offset;
    offset.ArcTolerance = arc_tolerance;
    offset.AddPaths(toPaths(rings), joinType(join), ClipperLib::etClosedPolygon);
    ClipperLib::Paths out;
    offset.Execute(out, delta);
    return toRings(out);
  } catch (const ClipperLib::clipperException&) {
    return {};
  }
}

std::vector<IntRing> unionRings(const std::vector<IntRing>& rings, FillRule fill) {
  try {
    ClipperLib::Clipper clipper;
    clipper.AddPaths(toPaths(rings), ClipperLib::ptSubject, true);
    ClipperLib::Paths out;
    if (!clipper.Execute(ClipperLib::ctUnion, out, fillType(fill), fillType(fill))) return {};
    return toRings(out);
  } catch (const ClipperLib::clipperException&) {
    return {};
  }
}

std::vector<OutlineWithHoles> outlinesWithHoles(const std::vector<IntRing>& rings, FillRule fill) {
  std::vector<OutlineWithHoles> outlines;
  try {
    ClipperLib::PolyTree tree;
    if (!unionTree(rings, fill, tree)) return {};
    // Walk the tree without recursion: outer nodes carry their holes as
    // children, and the islands inside those holes are outer nodes again.
    std::vector<const ClipperLib::PolyNode*> pending(tree.Childs.begin(), tree.Childs.end());
    for (size_t i = 0; i < pending.size(); ++i) {
      const ClipperLib::PolyNode* outer = pending[i];
      OutlineWithHoles o;
      o.outer = toRing(outer->Contour);
      for (const ClipperLib::PolyNode* hole : outer->Childs) {
        o.holes.push_back(toRing(hole->Contour));
        pending.insert(pending.end(), hole->Childs.begin(), hole->Childs.end());
      }
      outlines.push_back(std::move(o));
    }
  } catch (const ClipperLib::clipperException&) {
    return {};
  }
  return outlines;
}

}  // namespace vekmesh
