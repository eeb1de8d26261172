// The lampshade's helpers: section areas near the ends for the end-band test,
// the stretch and its undo (with the caller's heights kept for an exact
// restore), a colour ramp by height, the base extrusion and the surface pass
// before the peel, face reversal and mirroring, the base test by a trial cut
// and the fallback when no base height passed it.
// Choices (also in lampshade_steps.h and lampshade.h): an end counts as
// changing when its areas at 0.1 and 0.2 differ by more than 1.5 times; the
// ramp has four entries from white; columns stop at occupied cells and are
// not made when the peel would leave nothing of the base; edge-touching
// voxels join the skin before the peel; edge-only contacts of the core are
// filled before the export; the base test also wants material in
// the section and half of the faces kept; the fallback reduces only shades of
// more than twice the model's faces.
#include "design/lampshade_steps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "mesh/plane_cut.h"
#include "mesh/plane_section.h"
#include "mesh/section_outlines.h"
#include "remesh/mesh_reducer.h"

namespace vekmesh {
namespace {

constexpr size_t kStretchFromFaces = 5000;
constexpr double kEndChange = 1.5;  // an end's area changes by more than this factor

double sectionArea(const SubMesh& mesh, double height) {
  const SectionLoops section = planeSection(mesh, height);
  return outlineArea(groupOutlines(section.loops, height));
}

bool endChanges(double near, double far) {
  if (!(far > 0.0)) return near > 0.0;
  return near * kEndChange < far || near > kEndChange * far;
}

}  // namespace

bool endBandTest(float wall_thickness, float zmax, float zmin, size_t face_count,
                 const SubMesh& mesh) {
  const double range = double{zmax} - zmin;
  if (face_count < kStretchFromFaces || !std::isfinite(wall_thickness) || !std::isfinite(range) ||
      !(range > 0.0))
    return false;
  const double low1 = sectionArea(mesh, zmin + 0.1 * range);
  const double low2 = sectionArea(mesh, zmin + 0.2 * range);
  const double high1 = sectionArea(mesh, zmax - 0.1 * range);
  const double high2 = sectionArea(mesh, zmax - 0.2 * range);
  return endChanges(low1, low2) || endChanges(high1, high2);
}

float endBandWidth(bool wide, float wall_thickness, float zmax, float zmin) {
  const float range = zmax - zmin;
  if (wide) return 0.5f * range;
  const float narrow = 0.2f * range;
  const float margin = wall_thickness + 4.0f;
  return margin <= narrow ? margin : narrow;
}

void stretchEnds(SubMesh& mesh, float zmin, float zmax, float c, StretchedHeights* kept) {
  const float lo = zmin + c, hi = zmax - c;
  if (kept) {
    kept->heights.resize(mesh.vertices.size());
    kept->count = mesh.vertices.size();
  }
  for (size_t i = 0; i < mesh.vertices.size(); ++i) {
    float& z = mesh.vertices[i].position[2];
    if (kept) kept->heights[i] = z;
    // The two tests follow one another on the same vertex.
    if (z < lo) z = static_cast<float>(double{z} - 2.0 * (double{lo} - z));
    if (z > hi) z = static_cast<float>(double{z} + 2.0 * (double{z} - hi));
  }
}

void undoStretch(SubMesh& mesh, float zmin, float zmax, float c, double factor,
                 const StretchedHeights* kept) {
  const float lo = zmin + c, hi = zmax - c;
  const size_t first = kept ? std::min(kept->count, mesh.vertices.size()) : 0;
  for (size_t i = 0; i < first; ++i) mesh.vertices[i].position[2] = kept->heights[i];
  for (size_t i = first; i < mesh.vertices.size(); ++i) {
    float& z = mesh.vertices[i].position[2];
    if (z < lo) z = static_cast<float>((2.0 * lo + z) / (factor + 1.0));
    if (z > hi) z = static_cast<float>((2.0 * hi + z) / (factor + 1.0));
  }
}

void colourByHeight(VoxelGrid& grid) {
  // Base to top: white, cream, amber, soft orange.
  constexpr std::array<std::array<double, 3>, 4> kRamp{
      {{255, 255, 255}, {255, 244, 214}, {255, 214, 150}, {250, 176, 104}}};
  if (grid.voxels.empty()) return;
  float low = 0.0f, high = 0.0f;
  bool first = true;
  grid.voxels.forEach([&](VoxelKey, const Voxel& v) {
    low = first ? v.z : std::min(low, v.z);
    high = first ? v.z : std::max(high, v.z);
    first = false;
  });
  const double span = double{high} - low;
  grid.voxels.forEach([&](VoxelKey, Voxel& v) {
    const double t = span > 0.0 ? (double{v.z} - low) / span : 0.0;
    const double at = std::clamp(t, 0.0, 1.0) * (kRamp.size() - 1);
    const size_t i = std::min(static_cast<size_t>(at), kRamp.size() - 2);
    const double f = at - static_cast<double>(i);
    uint8_t* rgb[3] = {&v.red, &v.green, &v.blue};
    for (int ch = 0; ch < 3; ++ch)
      *rgb[ch] = static_cast<uint8_t>(std::lround(kRamp[i][ch] * (1.0 - f) + kRamp[i + 1][ch] * f));
  });
}

void extrudeBase(VoxelGrid& grid, int32_t layers, double limit) {
  if (layers <= 0 || grid.voxels.empty() || !std::isfinite(limit)) return;
  float lowest = 0.0f;
  bool first = true;
  grid.voxels.forEach([&](VoxelKey, const Voxel& v) {
    lowest = first ? v.z : std::min(lowest, v.z);
    first = false;
  });
  const float sz = grid.voxelSize[2];
  const double band = double{lowest} + 1.0 + 2.0 * sz;
  // A peel of layers - 1 from every side leaves nothing of a footprint at
  // most 2 (layers - 1) voxels across: no column is needed then, and none
  // longer than the grid is wide is ever made.
  float x0 = 0.0f, x1 = 0.0f, y0 = 0.0f, y1 = 0.0f;
  first = true;
  grid.voxels.forEach([&](VoxelKey, const Voxel& v) {
    x0 = first ? v.x : std::min(x0, v.x);
    x1 = first ? v.x : std::max(x1, v.x);
    y0 = first ? v.y : std::min(y0, v.y);
    y1 = first ? v.y : std::max(y1, v.y);
    first = false;
  });
  const double across =
      std::min((double{x1} - x0) / grid.voxelSize[0], (double{y1} - y0) / grid.voxelSize[1]) + 1.0;
  if (!(2.0 * (layers - 1) < across)) return;
  std::vector<std::pair<VoxelKey, Voxel>> bottoms;
  grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    if (double{v.z} <= band && !grid.voxels.contains(key + grid.faceOffset(3)))
      bottoms.emplace_back(key, v);
  });
  std::sort(bottoms.begin(), bottoms.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  // The slice indices stay small: the limit lies within a few voxels of the
  // grid's bottom, and the band is at most 1.0 plus two voxels high.
  const double limit_slice = std::floor((limit - grid.modelCentre[2]) / sz);
  const double last_slice = limit_slice - (layers - 1);
  const VoxelKey down = grid.faceOffset(3);
  for (const auto& [key, top] : bottoms) {
    Voxel v = top;
    v.faceFlags = 0;
    VoxelKey at = key;
    const double steps = std::floor(top.z / sz + 0.5) - last_slice;
    if (!(steps > 0.0)) continue;
    const int64_t count = static_cast<int64_t>(std::min(steps, 1.0e6));
    for (int64_t i = 1; i <= count; ++i) {
      at += down;
      if (grid.voxels.contains(at)) break;
      v.z = static_cast<float>(double{top.z} - static_cast<double>(i) * sz);
      if (!grid.put(at, v)) return;
    }
  }
}

void resurface(VoxelGrid& grid, const RunContext& run) {
  const int32_t start = logClock();
  formSurface(grid, nullptr, kMinComponentFaces);  // its own timing line is not wanted here
  // Voxels that touch the outside only along an edge join the skin, flagged
  // on the face toward the skin voxel beside that edge (which is removed in
  // the same pass, so nothing is left covered). They are found from the
  // skin: such a voxel lies across a face of a skin voxel, perpendicular to
  // one of its exposed faces.
  std::vector<std::pair<VoxelKey, int>> edged;
  grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    const uint8_t exposed = v.faceFlags & kExposedMask;
    if (exposed == 0) return;
    for (int b = 0; b < kFaceDirections; ++b) {
      if (!(exposed & (1u << b))) continue;
      for (int a = 0; a < kFaceDirections; ++a) {
        if (kFaceAxis[a] == kFaceAxis[b]) continue;
        const Voxel* u = grid.voxels.find(key - grid.faceOffset(a));
        if (u && u->faceFlags == 0) edged.emplace_back(key - grid.faceOffset(a), a);
      }
    }
  });
  for (const auto& [key, k] : edged) grid.voxels.find(key)->faceFlags = uint8_t(1u << k);
  run.log(timingLine("form  surFace", elapsedSeconds(start, logClock())));
}

size_t closeEdgeContacts(VoxelGrid& grid, int passes) {
  size_t added = 0;
  for (int pass = 0; pass < passes; ++pass) {
    std::vector<std::pair<VoxelKey, Voxel>> fills;
    grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
      const uint8_t exposed = v.faceFlags & kExposedMask;
      for (int a = 0; a < kFaceDirections; ++a)
        for (int b = a + 1; b < kFaceDirections; ++b) {
          if (kFaceAxis[a] == kFaceAxis[b] || !(exposed & (1u << a)) || !(exposed & (1u << b)))
            continue;
          // Each contact is closed once, from its lower voxel.
          const VoxelKey across = key + grid.faceOffset(a) + grid.faceOffset(b);
          if (across < key || !grid.voxels.contains(across)) continue;
          Voxel fill = v;
          fill.faceFlags = 0;
          (kFaceAxis[a] == 0   ? fill.x
           : kFaceAxis[a] == 1 ? fill.y
                               : fill.z) +=
              static_cast<float>(kFaceSign[a]) * grid.voxelSize[kFaceAxis[a]];
          fills.emplace_back(key + grid.faceOffset(a), fill);
        }
    });
    if (fills.empty()) break;
    std::sort(fills.begin(), fills.end(),
              [](const auto& x, const auto& y) { return x.first < y.first; });
    for (const auto& [key, fill] : fills) {
      if (grid.voxels.contains(key)) continue;
      if (!grid.put(key, fill)) return added;
      ++added;
    }
    formSurface(grid, nullptr, kMinComponentFaces);
  }
  return added;
}

void reverseFaces(SubMesh& mesh) {
  for (Face& f : mesh.faces) {
    std::swap(f.v[0], f.v[1]);
    for (int ch = 0; ch < 3; ++ch) std::swap(f.colors[0][ch], f.colors[1][ch]);
    if (f.material >= 0) std::swap(f.uv[0], f.uv[1]);
  }
  mesh.incidentCorners.swapFirstCorners([](uint32_t) { return true; });
}

void mirrorHeights(SubMesh& mesh) {
  for (Vertex& v : mesh.vertices) v.position[2] = -v.position[2];
  reverseFaces(mesh);
}

bool cutCleanBase(SubMesh& mesh, float height, const RunContext& run) {
  double material = 0.0;
  for (const SectionPolygon& loop : planeSection(mesh, height).loops) material += polygonArea(loop);
  SubMesh below;
  PlaneCutReport report;
  if (material > 0.0) report = cutByPlane(mesh, height, &below, nullptr);
  const size_t kept = liveFaceCount(below);
  const bool clean = material > 0.0 && report.capTriangles > 0 && report.openChains == 0 &&
                     report.capsClean && 2 * kept >= liveFaceCount(mesh);
  if (!clean) {
    run.log("\nfalse");
    return false;
  }
  below.tag = mesh.tag;
  mesh = std::move(below);
  return true;
}

void finishUncutBase(SubMesh& mesh, size_t face_count, const RunContext& run) {
  rebuildTopology(mesh);
  const size_t live = liveFaceCount(mesh);
  if (live > 2 * face_count && face_count > 0)
    reduceMeshFast(mesh, static_cast<double>(face_count) / static_cast<double>(live), 0.05, 0.96,
                   run);
}

}  // namespace vekmesh
