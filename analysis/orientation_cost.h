// The support cost of a candidate base plane: the sampled triangles that face
// the plate within the overhang angle and do not rest on it, each weighted by
// its projected area times its centroid's height over the plane (a support
// volume), plus optional area and weak-section terms.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Every k-th triangle (k = 1 below 10000 triangles, else floor(T / 10000 +
// 0.5)), for T / k steps. Only triangles of some area are kept (the others
// can never face the plate), grouped by the direction of their normal so
// that a plane skips whole groups facing away from it, and held column by
// column so that one plane's cost is a run of vector arithmetic.
struct SampledTriangles {
  std::vector<double> ax, ay, az;  // area-weighted normal: half the cross product
  std::vector<double> area;
  std::vector<double> gx, gy, gz;  // centroid
  std::vector<float> corner[9];    // x, y, z of corner 0, then 1, then 2 (the mesh's own)

  // Samples [begin, end) have normals within the cone about `axis` whose
  // half-angle has cosine cos_spread and sine sin_spread. Their centroids lie
  // within `centre` + [low, high]; moments about the centre let a plane that
  // every member faces, from afar, take the group's cost in one step:
  // Σ (a_i . n) h_i = -(centre . n + d) (area_sum . n) - n^T moment n, for
  // area-weighted normals a_i and centroids centre + r_i, moment = Σ a_i r_i^T.
  struct Group {
    uint32_t begin, end;
    Vec3d axis;
    double cos_spread, sin_spread;
    Vec3d centre, low, high;
    Vec3d area_sum;
    double area_total;
    std::array<Vec3d, 3> moment;
  };
  std::vector<Group> groups;
  size_t taken = 0;  // triangles sampled, degenerate ones included

  size_t size() const { return area.size(); }
};

size_t samplingStride(size_t triangle_count);

SampledTriangles sampleTriangles(const SubMesh& mesh);

// A candidate base plane: unit normal n pointing out of the model towards the
// plate, and offset d with n . p + d = 0 on the plane.
struct BasePlane {
  Vec3d n;
  double d;
};

struct CostTerms {
  double cos_overhang = 0.0;  // a triangle takes part when m . n exceeds it
  double rest_tolerance = 0.1;
  double area_weight = 0.0;  // w * s in mode 1, else 0
  // Weak sections (mode 2): weight q and direction u each.
  std::vector<float> weak_weights;
  std::vector<Vec3d> weak_directions;
};

// The cost of `plane`, or any value of at least `give_up` as soon as the
// running sum reaches it (pass infinity for the full cost). The sum runs in
// one fixed order, so a cost is the same wherever and however often it is
// computed, and stopping early never changes which plane is cheapest.
double planeCost(const SampledTriangles& samples, const CostTerms& terms, const BasePlane& plane,
                 double give_up);

}  // namespace vekmesh
