// The triangle/triangle intersection test: interval overlap on the line where
// the two planes meet, decided by exact orientation predicates only (Guigue and
// Devillers, "Fast and robust triangle-triangle overlap test using orientation
// predicates", 2003), with the segment of intersection and a coplanar flag.
#pragma once

#include <array>

#include "geometry/vectors.h"

namespace vekmesh {

// True when the closed triangles p1 q1 r1 and p2 q2 r2 share at least one
// point; touching at a vertex or along an edge counts. `coplanar` is set to 1
// when both lie in one plane (then `source` and `target` are left alone), else
// to 0; when they intersect and are not coplanar, `source` and `target` are the
// ends of the common segment (equal when the triangles meet in one point).
// Every decision is exact; only the segment ends are rounded. Triangles whose
// corners are collinear are treated as the segment they cover. Never allocates.
bool triTriIntersection(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                        const Vec3d& q2, const Vec3d& r2, int& coplanar, Vec3d& source,
                        Vec3d& target);

// Overlap of two closed triangles that lie in one plane, `normal1` being a
// normal of the first. Both are projected onto the coordinate plane across the
// largest component of the normal and tested in 2-D (edge crossings, then a
// corner of one inside the other). Never allocates.
bool coplanarTriTri(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                    const Vec3d& q2, const Vec3d& r2, const Vec3d& normal1);

}  // namespace vekmesh
