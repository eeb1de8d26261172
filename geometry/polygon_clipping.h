// The one door to ClipperLib: rings of integer plane points, scaling from
// real coordinates, offsets, unions and outlines grouped with their holes
// through ClipperLib's PolyTree. ClipperLib throws when a coordinate leaves
// its range; these functions never do: such input gives an empty result.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh {

// A closed ring: the last point joins the first, which is not repeated.
using IntRing = std::vector<IntPoint2>;

// Coordinates up to this magnitude are safe for every operation below (the
// clipper's exact 64-bit range); larger ones make an operation fail.
constexpr int64_t kClipperCoordinateLimit = int64_t(1) << 30;

enum class FillRule { kEvenOdd, kNonZero };
enum class JoinKind { kRound, kMiter, kSquare };

// Real plane coordinates times `scale`, rounded to the nearest integer (the
// outlines of the design operations use a scale of 100000). Non-finite values
// become 0.
IntRing toIntegerRing(const std::vector<std::array<double, 2>>& points, double scale);
std::vector<std::array<double, 2>> fromIntegerRing(const IntRing& ring, double scale);

// Signed area: positive for a counter-clockwise ring.
double ringArea(const IntRing& ring);

// True when the counter-clockwise ring has no self-crossing, no doubly covered
// region and no inverted lobe: the non-zero union leaves it as one ring of the
// same area.
bool isSimpleCounterClockwise(const IntRing& ring);

// Every ring moved outwards by `delta` (inwards when negative), with closed
// joins. `arc_tolerance` bounds how far a round join may stray from the true
// arc. Empty on failure.
std::vector<IntRing> offsetRings(const std::vector<IntRing>& rings, double delta,
                                 JoinKind join = JoinKind::kRound, double arc_tolerance = 0.25);

// The union of the rings under `fill`; outer rings come out counter-clockwise
// and holes clockwise. Empty on failure.
std::vector<IntRing> unionRings(const std::vector<IntRing>& rings, FillRule fill);

// One outer outline with the holes directly inside it. An island inside a hole
// is an outline of its own.
struct OutlineWithHoles {
  IntRing outer;               // counter-clockwise
  std::vector<IntRing> holes;  // clockwise
};

// The union of the rings under `fill`, grouped as outlines with their holes,
// outlines in the clipper's tree order (outer before nested). Empty on failure.
std::vector<OutlineWithHoles> outlinesWithHoles(const std::vector<IntRing>& rings, FillRule fill);

}  // namespace vekmesh
