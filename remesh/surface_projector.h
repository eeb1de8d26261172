// Nearest points on a fixed set of triangles (the surface before remeshing),
// through a hashed uniform grid of the triangles' boxes. A query starts from
// a triangle known to be near (the one the point was last projected onto),
// so it only visits the cells within that triangle's distance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh::remeshing {

class SurfaceProjector {
 public:
  // `corners`: three per triangle, all finite. `cell_hint`: the grid's cell
  // edge to start from (about the triangles' edge length); the grid coarsens
  // until it holds at most about eight entries per triangle.
  SurfaceProjector(std::vector<Vec3d> corners, double cell_hint);

  size_t triangleCount() const { return corners_.size() / 3; }

  // The nearest point of the triangles to p; `hint` (a triangle number) is
  // where the search starts and becomes the triangle found. A non-finite p,
  // or a projector without triangles, gives p back.
  Vec3d project(const Vec3d& p, uint32_t& hint) const;

 private:
  struct Bucket {
    uint64_t key = ~uint64_t(0);
    uint32_t first = 0, count = 0;
  };
  std::vector<Vec3d> corners_;
  Vec3d low_{};
  double inverse_cell_ = 1.0;
  int64_t cells_[3] = {1, 1, 1};
  std::vector<Bucket> buckets_;  // open addressing, a power of two long
  std::vector<uint32_t> entries_;

  int64_t cellOf(double x, int axis) const;
  uint64_t key(int64_t i, int64_t j, int64_t k) const {
    return (static_cast<uint64_t>(i) * static_cast<uint64_t>(cells_[1]) +
            static_cast<uint64_t>(j)) *
               static_cast<uint64_t>(cells_[2]) +
           static_cast<uint64_t>(k);
  }
  const Bucket* find(uint64_t key) const;
};

// The point of triangle (a, b, c) nearest to p (Ericson's region test).
Vec3d closestPointOnTriangle(const Vec3d& p, const Vec3d& a, const Vec3d& b, const Vec3d& c);

}  // namespace vekmesh::remeshing
