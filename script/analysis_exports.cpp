// Weak cross-sections in the scripting API: the sectional analysis of the core
// run on a copy of the handle's mesh, its records handed out as scores,
// directions and outline polygons grouped outline first, holes after.
#include <cmath>

#include "analysis/sectional_analysis.h"
#include "include/vekmesh/script.h"
#include "script/outline_arrays.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

extern "C" {

VKM_API void vkm_weak_sections_defaults(vkm_weak_sections_options* options) {
  if (options) *options = {0.5f, 0};
}

VKM_API int32_t vkm_weak_sections(const vkm_mesh* mesh, const vkm_weak_sections_options* options,
                                  vkm_run* run, vkm_sections* out) {
  const vkm_weak_sections_options o = orDefaults(options, vkm_weak_sections_defaults);
  return runCall(run, [&](const RunContext& context) {
    require(mesh && out, "null mesh or out pointer");
    requirePositive(o.change_ratio, "change_ratio");
    context.report(0.0);
    // The analysis appends its records to the mesh it reads.
    SubMesh work = currentMesh(*mesh);
    work.analysisRecords.clear();
    sectionalAnalysis(work, o.change_ratio, o.axes_only ? 1 : 0, context.sub(0.0, 0.9));
    const std::vector<AnalysisRecord>& records = work.analysisRecords;
    OutlineArrays outlines;
    int32_t group_number = 0;
    for (size_t s = 0; s < records.size(); ++s)
      for (const auto& group : records[s].outlineGroups) {
        for (const AnalysisRecord::Polygon& polygon : group)
          outlines.add(polygon.empty() ? nullptr : polygon[0].data(), polygon.size(),
                       static_cast<int32_t>(s), group_number);
        ++group_number;
      }
    vkm_sections made{};
    try {
      made.count = records.size();
      made.scores = allocated<float>(records.size());
      made.directions = allocated<double>(3 * records.size());
      for (size_t s = 0; s < records.size(); ++s) {
        made.scores[s] = records[s].score;
        for (int a = 0; a < 3; ++a) made.directions[3 * s + a] = records[s].direction[a];
      }
      made.outlines = outlines.release();
    } catch (...) {
      vkm_sections_free(&made);
      throw;
    }
    *out = made;
    context.report(1.0);
  });
}

VKM_API void vkm_sections_free(vkm_sections* sections) {
  if (!sections) return;
  std::free(sections->scores);
  std::free(sections->directions);
  vkm_outlines_free(&sections->outlines);
  *sections = vkm_sections{};
}

}  // extern "C"
