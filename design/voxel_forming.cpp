// formVoxels: the lattice points near each triangle become voxels. Small
// triangles (shorter than a voxel on every axis) take every point of their
// snapped box; others take the points within the capture radius of their
// plane whose projection lies inside the triangle enlarged by half a unit,
// tested by the areas of the three sub-triangles against the enlarged area.
// Only the stretch of each lattice column that can pass the plane test is
// walked, along the axis the normal leans on most, so a large slanted
// triangle costs its area rather than its box.
// Choices (also in voxel_grid.h): candidates go straight into the grid in
// walk order (the last for a key wins, as from a list); the walks are added
// up first and a total above kMaxCandidateWalk (or a lattice index beyond a
// billion) refuses the model; faces with a corner that is not finite are
// passed over and the box is taken over the finite vertices.
#include <algorithm>
#include <cmath>
#include <string>

#include "design/voxel_grid.h"
#include "geometry/vectors.h"
#include "mesh/operation_log.h"

namespace vekmesh {
namespace {

// Lattice points beyond this many steps from the centre are refused: keys
// and positions stay far inside what a 64-bit key and a float hold.
constexpr double kMaxLatticeIndex = 1.0e9;

// Round to the nearest lattice index, halves toward zero.
double snapIndex(double v, double s) {
  return v >= 0.0 ? std::ceil(v / s - 0.5) : std::floor(v / s + 0.5);
}

std::string triple(std::string_view label, const std::array<float, 3>& v) {
  return labelText(label) + "(" + formatFixed(v[0]) + ", " + formatFixed(v[1]) + ", " +
         formatFixed(v[2]) + ")";
}

// A face's corners moved to the model's centre, or false when the face is
// removed, names a missing vertex or has a corner that is not finite.
bool cornersOf(const Face& f, const std::vector<Vec3d>& moved, Vec3d (&p)[3]) {
  if (f.removed) return false;
  for (int c = 0; c < 3; ++c) {
    if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= moved.size()) return false;
    p[c] = moved[static_cast<size_t>(f.v[c])];
    if (!std::isfinite(p[c][0]) || !std::isfinite(p[c][1]) || !std::isfinite(p[c][2])) return false;
  }
  return true;
}

// One triangle's walk: its snapped box and, for a large triangle, the plane
// and the enlarged area.
struct TriangleWalk {
  double lo[3], hi[3];  // lattice indices of the snapped box
  bool small = false;
  Vec3d n{};        // unit normal
  double nd = 0.0;  // n . a
  double doubled_area = 0.0;
  int axis = 2;  // the axis the normal leans on most
};

bool prepare(const Vec3d (&p)[3], const double s[3], TriangleWalk& w) {
  w.small = true;
  for (int a = 0; a < 3; ++a) {
    const double mn = std::min({p[0][a], p[1][a], p[2][a]});
    const double mx = std::max({p[0][a], p[1][a], p[2][a]});
    w.lo[a] = snapIndex(mn, s[a]);
    w.hi[a] = snapIndex(mx, s[a]);
    if (!(std::fabs(w.lo[a]) <= kMaxLatticeIndex && std::fabs(w.hi[a]) <= kMaxLatticeIndex))
      return false;
    if (!(mx - mn < s[a])) w.small = false;
  }
  w.n = normalized(cross(sub(p[1], p[0]), sub(p[2], p[0])));
  w.nd = dot(w.n, p[0]);
  if (w.small) return true;
  w.axis = 0;
  for (int a = 1; a < 3; ++a)
    if (std::fabs(w.n[a]) > std::fabs(w.n[w.axis])) w.axis = a;
  const Vec3d g = scaled(add(add(p[0], p[1]), p[2]), 1.0 / 3.0);
  Vec3d e[3];
  for (int c = 0; c < 3; ++c) {
    Vec3d u = sub(g, p[c]);
    for (double& x : u)
      if (std::fabs(x) < 0.001) x = 0.0;
    const double len = length(u);
    u = len < 0.001 ? Vec3d{0.0, 0.0, 0.0} : scaled(u, 1.0 / len);
    e[c] = sub(p[c], scaled(u, 0.5));
  }
  w.doubled_area = length(cross(sub(e[1], e[0]), sub(e[2], e[0])));
  return true;
}

double count(const TriangleWalk& w, int a) {
  return w.hi[a] - w.lo[a] + 1.0;
}

// Lattice points the walk of `w` visits at most.
double walkLength(const TriangleWalk& w, const double s[3], double radius) {
  if (w.small) return count(w, 0) * count(w, 1) * count(w, 2);
  const int m = w.axis;
  const double nm = std::fabs(w.n[m]);
  if (!(nm > 0.0)) return 0.0;  // a degenerate triangle takes no point
  const double column = std::min(count(w, m), std::ceil(2.0 * radius / (nm * s[m])) + 3.0);
  return count(w, (m + 1) % 3) * count(w, (m + 2) % 3) * column;
}

double doubledArea(const Vec3d& q, const Vec3d& a, const Vec3d& b) {
  return length(cross(sub(a, q), sub(b, q)));
}

}  // namespace

void formVoxels(VoxelGrid& grid, const SubMesh& mesh, const std::vector<Vertex>& vertices,
                const RunContext& run) {
  grid.centreZEnabled = 1;
  const int32_t start = logClock();

  std::array<float, 3> mn{}, mx{};
  bool any = false;
  for (const Vertex& v : vertices) {
    const auto& p = v.position;
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) continue;
    for (int a = 0; a < 3; ++a) {
      mn[a] = any ? std::min(mn[a], p[a]) : p[a];
      mx[a] = any ? std::max(mx[a], p[a]) : p[a];
    }
    any = true;
  }
  for (int a = 0; a < 3; ++a) {
    grid.modelSize[a] = mx[a] - mn[a];
    grid.modelCentre[a] = (mn[a] + mx[a]) * 0.5f;
  }
  if (!grid.centreZEnabled) grid.modelCentre[2] = 0.0f;
  const double s[3] = {grid.voxelSize[0], grid.voxelSize[1], grid.voxelSize[2]};
  const double radius = 0.5 * std::sqrt(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]);
  run.log(triple("model size", grid.modelSize));
  run.log(triple("model center", grid.modelCentre));

  std::vector<Vec3d> moved(vertices.size());
  for (size_t i = 0; i < vertices.size(); ++i)
    for (int a = 0; a < 3; ++a)
      moved[i][a] = static_cast<double>(vertices[i].position[a] - grid.modelCentre[a]);

  // The walks are added up before anything is made, so that a voxel size far
  // too small for the model costs a pass over the faces, not the memory.
  double total = 0.0;
  for (const Face& f : mesh.faces) {
    Vec3d p[3];
    TriangleWalk w;
    if (!cornersOf(f, moved, p)) continue;
    if (!prepare(p, s, w)) {
      grid.overflow = true;
      return;
    }
    total += walkLength(w, s, radius);
  }
  if (!(total <= kMaxCandidateWalk)) {
    grid.overflow = true;
    return;
  }
  // No room is reserved from the walk: it counts every point tested, several
  // times the voxels a fine mesh makes, and the table doubles as it fills.

  for (const Face& f : mesh.faces) {
    Vec3d p[3];
    TriangleWalk w;
    if (!cornersOf(f, moved, p) || !prepare(p, s, w)) continue;
    Voxel v;
    v.red = f.colors[0][0];
    v.green = f.colors[0][1];
    v.blue = f.colors[0][2];
    int8_t tilt = 0;
    if (grid.recordTilt) {
      const double nz = std::fabs(w.n[2]);
      if (nz >= 0.001) tilt = static_cast<int8_t>(std::trunc(std::acos(nz) * 180.0 / 3.1415926));
    }
    auto take = [&](const double q[3]) {
      v.x = static_cast<float>(q[0] * s[0]);
      v.y = static_cast<float>(q[1] * s[1]);
      v.z = static_cast<float>(q[2] * s[2]);
      const VoxelKey key = grid.keyOf(v);
      if (!grid.put(key, v)) return false;
      if (grid.recordTilt) {
        bool inserted = false;
        int8_t& t = grid.tilt.insert(key, tilt, inserted);
        if (tilt < t) t = tilt;
      }
      return true;
    };
    double q[3];
    if (w.small) {
      for (q[2] = w.lo[2]; q[2] <= w.hi[2]; ++q[2])
        for (q[1] = w.lo[1]; q[1] <= w.hi[1]; ++q[1])
          for (q[0] = w.lo[0]; q[0] <= w.hi[0]; ++q[0])
            if (!take(q)) return;
      continue;
    }
    const int m = w.axis, i = (m + 1) % 3, j = (m + 2) % 3;
    const double nm = w.n[m];
    if (!(std::fabs(nm) > 0.0)) continue;
    for (q[i] = w.lo[i]; q[i] <= w.hi[i]; ++q[i]) {
      for (q[j] = w.lo[j]; q[j] <= w.hi[j]; ++q[j]) {
        // The stretch of the column where |n . p - n . a| < R can hold, a
        // step wider on each side; the exact test below decides.
        const double pi = static_cast<float>(q[i] * s[i]);
        const double pj = static_cast<float>(q[j] * s[j]);
        const double rest = w.n[i] * pi + w.n[j] * pj;
        const double e0 = (w.nd - rest - radius) / nm, e1 = (w.nd - rest + radius) / nm;
        const double first = std::max(w.lo[m], std::floor(std::min(e0, e1) / s[m]) - 1.0);
        const double last = std::min(w.hi[m], std::ceil(std::max(e0, e1) / s[m]) + 1.0);
        for (q[m] = first; q[m] <= last; ++q[m]) {
          Vec3d pt;
          for (int a = 0; a < 3; ++a) pt[a] = static_cast<float>(q[a] * s[a]);
          const double d = dot(w.n, pt) - w.nd;
          if (!(std::fabs(d) < radius)) continue;
          const Vec3d proj = sub(pt, scaled(w.n, d));
          double sum = doubledArea(proj, p[0], p[1]);
          if (sum >= w.doubled_area) continue;
          sum += doubledArea(proj, p[1], p[2]);
          if (sum >= w.doubled_area) continue;
          sum += doubledArea(proj, p[2], p[0]);
          if (sum >= w.doubled_area) continue;
          if (!take(q)) return;
        }
      }
    }
  }
  run.log(timingLine("form  voxels", elapsedSeconds(start, logClock())));
}

}  // namespace vekmesh
