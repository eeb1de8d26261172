// OpenVDB's side of the voxel benchmark (see voxel_openvdb_peer.h): the mesh
// is handed over as its points and triangles, converted by meshToVolume into
// a level set with the given bands, and meshed again by volumeToMesh.
#include "bench/voxel_openvdb_peer.h"

#include <openvdb/openvdb.h>
#include <openvdb/tools/MeshToVolume.h>
#include <openvdb/tools/VolumeToMesh.h>
#include <tbb/global_control.h>

#include <memory>

#include "bench/bench_harness.h"

namespace vekmesh {
namespace bench {

namespace {
std::unique_ptr<tbb::global_control> g_threads;
}

void setVdbThreads(int threads) {
  g_threads.reset();
  g_threads = std::make_unique<tbb::global_control>(tbb::global_control::max_allowed_parallelism,
                                                    static_cast<size_t>(threads));
}

VdbRun vdbMeshToVolumeToMesh(const std::vector<float>& positions,
                             const std::vector<uint32_t>& triangles, double voxel_size,
                             float interior_band, double iso_value) {
  openvdb::initialize();
  std::vector<openvdb::Vec3s> points(positions.size() / 3);
  for (size_t i = 0; i < points.size(); ++i)
    points[i] = openvdb::Vec3s(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]);
  std::vector<openvdb::Vec3I> faces(triangles.size() / 3);
  for (size_t i = 0; i < faces.size(); ++i)
    faces[i] = openvdb::Vec3I(triangles[3 * i], triangles[3 * i + 1], triangles[3 * i + 2]);
  const openvdb::math::Transform::Ptr transform =
      openvdb::math::Transform::createLinearTransform(voxel_size);

  VdbRun run;
  openvdb::FloatGrid::Ptr grid;
  run.toVolumeSeconds = timed([&] {
    // The points are in world units: the adapter wants index space.
    std::vector<openvdb::Vec3s> index_points(points.size());
    for (size_t i = 0; i < points.size(); ++i) index_points[i] = transform->worldToIndex(points[i]);
    openvdb::tools::QuadAndTriangleDataAdapter<openvdb::Vec3s, openvdb::Vec3I> mesh(index_points,
                                                                                    faces);
    grid = openvdb::tools::meshToVolume<openvdb::FloatGrid>(mesh, *transform, 3.0f, interior_band);
  });
  run.activeVoxels = grid->activeVoxelCount();
  std::vector<openvdb::Vec3s> out_points;
  std::vector<openvdb::Vec3I> out_triangles;
  std::vector<openvdb::Vec4I> out_quads;
  run.toMeshSeconds = timed([&] {
    openvdb::tools::volumeToMesh(*grid, out_points, out_triangles, out_quads, iso_value, 0.0);
  });
  run.positions.reserve(3 * out_points.size());
  for (const openvdb::Vec3s& p : out_points)
    for (int a = 0; a < 3; ++a) run.positions.push_back(p[a]);
  for (const openvdb::Vec3I& t : out_triangles)
    for (int a = 0; a < 3; ++a) run.triangles.push_back(t[a]);
  for (const openvdb::Vec4I& q : out_quads)
    for (int a : {0, 1, 2, 0, 2, 3}) run.triangles.push_back(q[a]);
  return run;
}

}  // namespace bench
}  // namespace vekmesh
