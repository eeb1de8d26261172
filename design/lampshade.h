// The lampshade: a thin-walled shade made by voxelising the model, keeping a
// wall of the requested thickness and finishing the base; and its preview of
// the base outline and the inner outline the wall leaves there. Log names:
// "lampshade preview" (success name "lampshade preview:") and "lampshade".
//
// Choices of this library beyond the operation's fixed steps (the helpers
// are in design/lampshade_steps.h, where each is documented):
// - The shade is the model's own surface with the voxel core turned inwards
//   as its inner surface: peeling k + 3 layers off the filled voxel model
//   leaves a core whose skin lies about w inside the model's surface; the
//   core's exported faces, reversed, are the inner wall, and they are added
//   to the caller's mesh (which was stretched with the core and is restored
//   with it). So the shade is closed, two-manifold and outward, with the
//   model's own outer surface and colours.
// - The first wall-preparing pass (given k + 4) extrudes the voxels of the
//   base band downward to k + 3 slices under the slice of the limit, so that
//   after peeling k + 3 layers the core reaches the limit (its component is
//   kept) and the plane cut of the base opens the shade there. The second
//   pass recomputes the exposed faces (formSurface, logged as "form
//   surFace") and adds to the skin the voxels that touch the outside only
//   along an edge, so that the first layer peeled is as deep on a slant as
//   on a flat side (the peel works face by face).
// - Before the export, skin voxels of the core that touch only along an
//   edge are joined by filling one cell between them (closeEdgeContacts):
//   the clean-up of voxel contacts leaves some such edges with four faces.
// - The end-band test compares the section areas at 0.1 and 0.2 of the
//   height from each end (a change by more than a factor 1.5 selects the
//   wide band); the colours run white, cream, amber, soft orange from the
//   lowest voxel to the highest; the base test cuts on trial and accepts a
//   cut whose section holds material, closes every loop with clean caps and
//   keeps at least half of the faces; the fallback compacts the uncut shade
//   and reduces it towards the model's face count when it has more than
//   twice as many (design/lampshade_steps.h).
// - The end stretch keeps the caller's vertices' heights and puts them back
//   bit for bit; the vertices made by the build are undone by the formula
//   (factor 2.0, divided by factor + 1.0).
// - Bad input: a thickness that is NaN, 0 or negative, an empty mesh, or a
//   model of no finite height ends in the failure line with the mesh as it
//   was; the grid is bounded by kMaxVoxels (design/voxel_grid.h).
#pragma once

#include <cstdint>

#include "mesh/polygon_outlines.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Label of a preview polygon.
constexpr int32_t kBaseOutline = 0;
constexpr int32_t kInnerOutline = 1;

// The preview: a model of at least 15.0 units (first corners' heights) is cut
// at zBase + 0.1; each group of outlines whose insets by w and by w + 2.0
// both exist gives its polygons as base outlines and the polygons of the
// inset by w whose set has an area of at least 25.0 as inner outlines, all at
// height zBase. Returns 1 when outlines were produced, 0 otherwise.
// `outlines.produced` tells whether the result buffers are to be filled at
// all (false for a model too low and for a cut that meets nothing).
int32_t previewLampshade(const SubMesh& mesh, float wall_thickness, PolygonOutlines& outlines,
                         const RunContext& run = {});

// What the build measured, for callers that report it (the tool, the tests).
struct LampshadeReport {
  bool built = false;    // false: the failure line, the mesh as it was
  float zFactor = 1.0f;  // 1.0 below 5001 faces, else 2.5
  float endBand = 0.0f;  // c
  bool stretched = false;
  float voxelSize = 0.0f;    // s, on x and y
  float voxelHeight = 0.0f;  // (int) zFactor x s, on z
  int32_t layers = 0;        // k
  int32_t peelDepth = 0;     // k + 3
  uint64_t exposedVoxels = 0;
  int baseAttempt = -1;  // 0..5, or -1 when the fallback finished the base
  double baseHeight = 0.0;
};

// Replaces `mesh` by the shade, logging through `run` (no progress of its
// own: the entry point writes 10 and 90 around it). On failure ("{failure}
// lampshade") the mesh keeps its shape.
void buildLampshade(SubMesh& mesh, float wall_thickness, const RunContext& run = {},
                    LampshadeReport* report = nullptr);

}  // namespace vekmesh
