// Sectional analysis: cut the model by parallel planes in 13 directions,
// score each section by how close its outline lies to bending axes through
// its centroid (analysis/section_score.h), and keep the weak ones as analysis
// records on the mesh. Log names: "sectional analysis" on the start line,
// "section analysis" on the success line.
//
// For each direction d the model is turned so that d points up: by the tilt
// acos(d.z / |d|) (in degrees, x 57.29578, then in radians x
// 0.01745329238474369) about the horizontal axis (d.y, -d.x, 0) / |.|, the
// right-handed turn that takes d to +z (none for d along z). It is cut along
// z with the automatic spacing (analysis/section_cutting.h, which also says
// what the change ratio does) and the weak sections' outlines are turned back
// by the tilt x -1 x 0.01745329238474369. Each direction turns a copy of the
// vertices, never the mesh's own, so the analysis leaves the mesh exactly as
// it found it; directions run side by side on the threads there are, with
// the records and progress still in direction order.
#pragma once

#include <array>
#include <cstdint>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The directions, not normalised; the first three are the axes.
constexpr std::array<std::array<double, 3>, 13> kSectionDirections = {{{1, 0, 0},
                                                                       {0, 1, 0},
                                                                       {0, 0, 1},
                                                                       {1, 1, 0},
                                                                       {0, 1, 1},
                                                                       {1, 0, 1},
                                                                       {1, 1, 1},
                                                                       {1, -1, 0},
                                                                       {0, 1, -1},
                                                                       {1, 0, -1},
                                                                       {-1, 1, 1},
                                                                       {1, -1, 1},
                                                                       {1, 1, -1}}};
constexpr size_t kAxisDirections = 3;

constexpr double kDegreesPerRadian = 57.29578;
constexpr double kRadiansPerDegree = 0.01745329238474369;

// Appends the weak sections to `mesh.analysisRecords` (outline groups in the
// mesh's own frame, the score, the direction from the table) and returns 0.
// `axes_only` (non-zero) uses the three axes only, counts every q in the
// score and keeps the highest tenth of each direction's scores; otherwise a
// section is weak when it scores above 0.5. Reports progress per direction
// through `run` and logs there.
int sectionalAnalysis(SubMesh& mesh, float change_ratio, uint8_t axes_only,
                      const RunContext& run = {});

// The rotation of one direction, row by row, and its inverse.
std::array<std::array<double, 3>, 3> directionRotation(const std::array<double, 3>& d,
                                                       bool inverse);

}  // namespace vekmesh
