// Per-triangle and whole-mesh geometry: unit normals, vertex differences, the
// enclosed volume (signed tetrahedra against a reference point) and the
// sampled bounding box.
#include <cmath>

#include "mesh/mesh_utils.h"

namespace vekmesh {

Vec3d faceUnitNormal(const Vertex& a, const Vertex& b, const Vertex& c) {
  const auto& pa = a.position;
  const auto& pb = b.position;
  const auto& pc = c.position;
  const float u[3] = {pb[0] - pa[0], pb[1] - pa[1], pb[2] - pa[2]};
  const float w[3] = {pc[0] - pb[0], pc[1] - pb[1], pc[2] - pb[2]};
  const float n[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2],
                      u[0] * w[1] - u[1] * w[0]};
  const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(length > 0.0f)) return {0.0, 0.0, 0.0};
  return {double(n[0]) / length, double(n[1]) / length, double(n[2]) / length};
}

Vec3d vertexDifference(const Vertex& a, const Vertex& b) {
  return {double(b.position[0] - a.position[0]), double(b.position[1] - a.position[1]),
          double(b.position[2] - a.position[2])};
}

VolumeSum::VolumeSum(const SubMesh& mesh) {
  float lowest_z = 1e9f;
  for (const Vertex& v : mesh.vertices)
    if (v.position[2] < lowest_z) lowest_z = v.position[2];
  // Measuring from the model's own floor keeps the tetrahedra small and the
  // sum well conditioned for models far from the origin in z.
  reference_ = Vertex{{0.0f, 0.0f, lowest_z}, -1};
}

double VolumeSum::sixfoldTerm(const SubMesh& mesh, const Face& f) const {
  const Vec3d p = vertexDifference(reference_, mesh.vertices[f.v[0]]);
  const Vec3d q = vertexDifference(reference_, mesh.vertices[f.v[1]]);
  const Vec3d r = vertexDifference(reference_, mesh.vertices[f.v[2]]);
  const Vec3d pxq = {p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2],
                     p[0] * q[1] - p[1] * q[0]};
  return r[0] * pxq[0] + r[1] * pxq[1] + r[2] * pxq[2];
}

double VolumeSum::volume() const {
  return sum_ > 0.0 ? sum_ / 6.0 : 0.0;
}

double enclosedVolume(const SubMesh& mesh) {
  VolumeSum sum(mesh);
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    prefetchCornerPositions(mesh, f + kCornerPrefetchAhead);
    if (!mesh.faces[f].removed) sum.add(mesh, mesh.faces[f]);
  }
  return sum.volume();
}

std::pair<Vertex, Vertex> sampledBoundingBox(const SubMesh& mesh, uint32_t maxSamples) {
  const size_t n = mesh.vertices.size();
  size_t stride = 1;
  if (n >= maxSamples) {
    const float s = static_cast<float>(n) * (1.0f / static_cast<float>(maxSamples)) + 0.5f;
    // maxSamples 0 gives an infinite stride: visit nothing rather than overflow.
    stride = s >= 4.0e9f ? n + 1 : static_cast<size_t>(s);
    if (stride == 0) stride = 1;
  }
  std::array<float, 3> lo = {1e6f, 1e6f, 1e6f}, hi = {-1e6f, -1e6f, -1e6f};
  const size_t visits = n / stride;
  for (size_t i = 0; i < visits; ++i) {
    const auto& p = mesh.vertices[i * stride].position;
    for (int a = 0; a < 3; ++a) {
      // Exclusive on purpose: callers rely on a value that raises the maximum
      // never being taken as a minimum.
      if (p[a] > hi[a])
        hi[a] = p[a];
      else if (p[a] < lo[a])
        lo[a] = p[a];
    }
  }
  return {Vertex{lo, -1}, Vertex{hi, -1}};
}

}  // namespace vekmesh
