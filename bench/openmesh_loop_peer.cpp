// OpenMesh Loop subdivision for the subdivision benchmark: the indexed mesh
// goes into a TriMesh_ArrayKernelT (timed: the half-edge structure is the
// peer's own adjacency), LoopT subdivides it (timed apart), and the result
// comes back as an indexed mesh when asked for.
#include "bench/openmesh_loop_peer.h"

#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <OpenMesh/Tools/Subdivider/Uniform/LoopT.hh>
#include <chrono>
#include <vector>

namespace vekmesh {
namespace bench {

using OMesh = OpenMesh::TriMesh_ArrayKernelT<>;

namespace {
double since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
}  // namespace

OpenMeshLoopRun openMeshLoop(const test::IndexedMesh& mesh, int rounds, size_t max_valence,
                             bool keep_result) {
  OpenMeshLoopRun run;
  OMesh om;
  auto start = std::chrono::steady_clock::now();
  {
    std::vector<OMesh::VertexHandle> handles;
    handles.reserve(mesh.vertexCount());
    om.reserve(mesh.vertexCount(), 3 * mesh.triangleCount() / 2, mesh.triangleCount());
    for (size_t v = 0; v < mesh.vertexCount(); ++v)
      handles.push_back(om.add_vertex(OMesh::Point(mesh.positions[3 * v], mesh.positions[3 * v + 1],
                                                   mesh.positions[3 * v + 2])));
    for (size_t t = 0; t < mesh.triangleCount(); ++t)
      om.add_face(handles[mesh.triangles[3 * t]], handles[mesh.triangles[3 * t + 1]],
                  handles[mesh.triangles[3 * t + 2]]);
  }
  run.build_seconds = since(start);
  start = std::chrono::steady_clock::now();
  {
    OpenMesh::Subdivider::Uniform::LoopT<OMesh> loop;
    // Its weight table stops at valence 49 by default, and a vertex of higher
    // valence (the poles of a UV sphere) reads past it: a table as long as
    // the input needs makes its results those of Loop's rule everywhere.
    if (max_valence >= 50) loop.init_weights(max_valence + 1);
    loop.attach(om);
    loop(static_cast<size_t>(rounds));
    loop.detach();
  }
  run.subdivide_seconds = since(start);
  run.faces = om.n_faces();
  run.vertices = om.n_vertices();
  if (keep_result) {
    run.result.positions.reserve(3 * om.n_vertices());
    for (const auto& v : om.vertices()) {
      const OMesh::Point& p = om.point(v);
      run.result.positions.insert(run.result.positions.end(), {p[0], p[1], p[2]});
    }
    run.result.triangles.reserve(3 * om.n_faces());
    for (const auto& f : om.faces())
      for (const auto& v : om.fv_range(f))
        run.result.triangles.push_back(static_cast<uint32_t>(v.idx()));
  }
  return run;
}

}  // namespace bench
}  // namespace vekmesh
