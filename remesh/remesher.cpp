// Remeshing a selection: the faces are chosen and copied into a half-edge
// patch (remesh/selection_patch.h), remeshed isotropically on the patch
// (remesh/isotropic_remeshing.h) against a projector over the faces as they
// were, and written back.
#include "remesh/remesher.h"

#include <algorithm>

#include "mesh/operation_log.h"
#include "remesh/isotropic_remeshing.h"
#include "remesh/selection_patch.h"

namespace vekmesh {

namespace {

constexpr int kIterations = 5;
// Room for a tiny selection (a face or two) to be split to the target.
constexpr size_t kSmallSelectionAllowance = 1024;

}  // namespace

RemeshReport remeshMesh(SubMesh& mesh, const int32_t* indices, uint32_t index_count,
                        const RunContext& run) {
  OperationLog log(run, "remeshing");
  RemeshReport report;
  std::vector<uint32_t> faces = remeshing::selectFaces(mesh, indices, index_count);
  report.selected_faces = faces.size();
  log.parameter("faces", faces.size());
  if (faces.empty()) {
    log.caution("no face to remesh");
    log.succeed();
    return report;
  }
  run.checkpoint();
  remeshing::SelectionPatch selection;
  remeshing::buildPatch(mesh, std::move(faces), selection);
  run.report(0.1);
  remeshing::IsotropicOptions options;
  options.target_length = selection.mean_edge;
  options.iterations = kIterations;
  options.max_faces = std::min(
      kRemeshMaxFaces, std::max(report.selected_faces,
                                kRemeshGrowth * report.selected_faces + kSmallSelectionAllowance));
  report.target_length = options.target_length;
  log.parameter("target length", options.target_length);
  {
    const remeshing::SurfaceProjector surface(std::move(selection.reference),
                                              1.5 * options.target_length);
    const remeshing::IsotropicCounts counts =
        remeshing::remeshIsotropic(selection.patch, surface, options, run);
    report.splits = counts.splits;
    report.collapses = counts.collapses;
    report.flips = counts.flips;
    report.capped = counts.capped;
  }
  run.report(0.9);
  report.result_faces = selection.patch.liveFaceCount();
  remeshing::writeBack(mesh, selection);
  log.parameter("result faces", report.result_faces);
  if (report.capped) log.caution("face limit reached: some long edges were left unsplit");
  run.report(1.0);
  log.succeed();
  return report;
}

}  // namespace vekmesh
