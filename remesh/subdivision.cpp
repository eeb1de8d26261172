// Subdivision rounds: the preparation both modes need (only faces that can be
// split, current incidence lists), the face cap and the round limit, and the
// dispatch to Loop subdivision with creases (mode 1) or colour refinement by
// longest-edge bisection (mode 0).
#include "remesh/subdivision.h"

#include <algorithm>
#include <string>

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/colour_refinement.h"
#include "remesh/loop_subdivision.h"

namespace vekmesh {
namespace {

bool splittable(const Face& f, size_t vertex_count) {
  if (f.removed) return false;
  for (int c = 0; c < 3; ++c)
    if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= vertex_count) return false;
  return f.v[0] != f.v[1] && f.v[1] != f.v[2] && f.v[0] != f.v[2];
}

// Drops the faces no round can split and makes sure the incidence lists
// cover exactly the faces that remain.
void prepare(SubMesh& mesh) {
  const size_t vertex_count = mesh.vertices.size();
  const size_t before = mesh.faces.size();
  mesh.faces.erase(std::remove_if(mesh.faces.begin(), mesh.faces.end(),
                                  [&](const Face& f) { return !splittable(f, vertex_count); }),
                   mesh.faces.end());
  if (mesh.faces.size() != before || mesh.incidentCorners.vertexCount() != vertex_count ||
      mesh.incidentCorners.entryCount() != 3 * mesh.faces.size())
    mesh.incidentCorners.rebuild(mesh.faces, vertex_count);
}

}  // namespace

void subdivideMesh(SubMesh& mesh, int32_t level, int32_t mode, const RunContext& run) {
  OperationLog log(run, "subdivision");
  log.parameter("level", int64_t{level});
  log.parameter("mode", int64_t{mode});
  log.parameter("faces", liveFaceCount(mesh));
  run.report(0.0);
  if (level <= 0 || (mode != 0 && mode != 1)) {
    run.report(1.0);
    log.succeed();
    return;
  }
  prepare(mesh);
  run.checkpoint();
  const int32_t rounds = std::min(level, kSubdivisionMaxRounds);
  for (int32_t round = 0; round < rounds && !mesh.faces.empty(); ++round) {
    if (mode == 1) {
      if (mesh.faces.size() > kSubdivisionFaceCap / 4) {
        log.caution("face cap: round " + std::to_string(round + 1) + " would pass " +
                    std::to_string(kSubdivisionFaceCap) + " faces and was not started");
        break;
      }
      loopSubdivisionRound(mesh);
    } else {
      const RefinementRound result = colourRefinementRound(mesh, kSubdivisionFaceCap);
      if (result == RefinementRound::kNothingToSplit) break;
      if (result == RefinementRound::kOverCap) {
        log.caution("face cap: round " + std::to_string(round + 1) + " would pass " +
                    std::to_string(kSubdivisionFaceCap) + " faces and was not started");
        break;
      }
    }
    run.report(double(round + 1) / rounds);
  }
  if (!mesh.shells.empty()) {
    run.checkpoint();
    buildShells(mesh);
  }
  log.parameter("faces after", mesh.faces.size());
  run.report(1.0);
  log.succeed();
}

}  // namespace vekmesh
