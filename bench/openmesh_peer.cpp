// OpenMesh decimation for the reduction benchmark: the indexed mesh goes into a
// TriMesh_ArrayKernelT, DecimaterT with ModQuadricT decimates it to a face
// count, and the survivors come back as an indexed mesh.
#include "bench/openmesh_peer.h"

#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModQuadricT.hh>
#include <chrono>
#include <vector>

namespace vekmesh {
namespace bench {

using OMesh = OpenMesh::TriMesh_ArrayKernelT<>;

IndexedMesh openMeshDecimate(const IndexedMesh& mesh, size_t target_faces, double& seconds) {
  OMesh om;
  std::vector<OMesh::VertexHandle> handles;
  handles.reserve(mesh.vertexCount());
  for (size_t v = 0; v < mesh.vertexCount(); ++v)
    handles.push_back(om.add_vertex(
        OMesh::Point(mesh.positions[3 * v], mesh.positions[3 * v + 1], mesh.positions[3 * v + 2])));
  for (size_t t = 0; t < mesh.triangleCount(); ++t)
    om.add_face(handles[mesh.triangles[3 * t]], handles[mesh.triangles[3 * t + 1]],
                handles[mesh.triangles[3 * t + 2]]);

  const auto start = std::chrono::steady_clock::now();
  OpenMesh::Decimater::DecimaterT<OMesh> decimater(om);
  OpenMesh::Decimater::ModQuadricT<OMesh>::Handle quadric;
  decimater.add(quadric);
  decimater.module(quadric).unset_max_err();
  decimater.initialize();
  decimater.decimate_to_faces(0, target_faces);
  om.garbage_collection();
  seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  IndexedMesh out;
  out.positions.reserve(3 * om.n_vertices());
  for (const auto& v : om.vertices()) {
    const OMesh::Point& p = om.point(v);
    out.positions.insert(out.positions.end(), {p[0], p[1], p[2]});
  }
  out.triangles.reserve(3 * om.n_faces());
  for (const auto& f : om.faces())
    for (const auto& v : om.fv_range(f)) out.triangles.push_back(static_cast<uint32_t>(v.idx()));
  return out;
}

}  // namespace bench
}  // namespace vekmesh
