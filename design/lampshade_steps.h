// The helpers of the lampshade build: the end-band test, the end stretch and
// its undo, the colour-by-height table, the two wall-preparing passes, the
// turning of faces, the base test with its cut and the fallback after the
// last failed base attempt.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "design/voxel_grid.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The end-band test: true when either end of the model changes its outline
// quickly, so that the whole model (c = half the height) gets the finer
// vertical resolution of the stretch. At 0.1 and 0.2 of the height range
// from each end the horizontal sections are measured; an end whose section
// areas there differ by more than a factor 1.5 (a dome, a point, a flaring
// rim) counts. Meshes below 5000 faces are not stretched at all and give
// false without cutting; so do a height range that is not finite and
// positive, and a thickness that is not finite.
bool endBandTest(float wall_thickness, float zmax, float zmin, size_t face_count,
                 const SubMesh& mesh);

// The band width c: half the height range when the test holds, otherwise
// the smaller of 0.2 of the range and w + 4.0 (w + 4.0 when equal).
float endBandWidth(bool wide, float wall_thickness, float zmax, float zmin);

// The end stretch: below lo = zmin + c a vertex moves to z - 2 (lo - z), then
// above hi = zmax - c to z + 2 (z - hi). The heights of the moved vertices
// are kept in `kept` (one per vertex) so that undoStretch can restore them
// exactly.
struct StretchedHeights {
  std::vector<float> heights;  // the vertices' heights before the stretch
  size_t count = 0;            // how many vertices they belong to
};
void stretchEnds(SubMesh& mesh, float zmin, float zmax, float c, StretchedHeights* kept);

// The undo: with lo and hi as above, z < lo becomes (2 lo + z) / (factor + 1),
// then z > hi becomes (2 hi + z) / (factor + 1) (with factor 2.0 the exact
// inverse of the stretch, up to rounding). The first `kept->count` vertices
// get their kept heights back instead, bit for bit.
void undoStretch(SubMesh& mesh, float zmin, float zmax, float c, double factor,
                 const StretchedHeights* kept);

// Colours every voxel by its relative height between the lowest and highest
// voxel: blended between neighbouring entries of a small table that starts
// at white (the base) and warms through cream and amber to a soft orange
// (the top). exportVoxel carries the colours to the faces.
void colourByHeight(VoxelGrid& grid);

// The first wall-preparing pass: every voxel of the base band (its -z face
// exposed and within 1.0 model unit plus two voxels of the lowest voxel)
// gets a column below it (stopping at an occupied cell) down to `layers` - 1
// slices under the slice of the limit (the highest slice whose centre lies
// at or below `limit`, an absolute height). Given k + 4 and followed by a
// peel of k + 3, the core then reaches down to the limit's slice, so that
// its component is kept and the cut of the base opens the shade there.
void extrudeBase(VoxelGrid& grid, int32_t layers, double limit);

// The second: the exposed faces of the changed grid (formSurface, no list,
// 20), logged as "\nform  surFace: " with its time and " sec.".
void resurface(VoxelGrid& grid, const RunContext& run);

// Voxels of the skin that touch only along an edge (both cells between them
// empty) get one of those cells filled (the first in face order, coloured
// like the voxel it grows from), repeated until no such contact is left (at
// most `passes` times); the exposed faces are recomputed (formSurface, no
// list, 20) after each pass. An exported voxel surface then has no edge of
// four faces: the clean-up of voxel contacts leaves some of those in place.
// Returns the voxels added.
size_t closeEdgeContacts(VoxelGrid& grid, int passes);

// Reverses every live and removed face (corners 0 and 1 swapped with their
// colours; their texture indices too when the face has a material) and the
// corner numbers of the incident-corner lists with them.
void reverseFaces(SubMesh& mesh);

// Negates every vertex's z and reverses every face: a mirror that keeps the
// mesh outward.
void mirrorHeights(SubMesh& mesh);

// The base test with the cut: cuts `mesh` at `height` and keeps the part
// below when the cut is clean: the section there holds material (its loops'
// signed areas add up to more than nothing, so a cut through the core alone,
// below the model's bottom, fails), every place where the plane meets the
// mesh is closed (no open chain), every cap is a clean ear clipping and the
// part below keeps at least half of the faces. Logs "\nfalse" and leaves the
// mesh alone otherwise.
bool cutCleanBase(SubMesh& mesh, float height, const RunContext& run);

// The fallback after the last failed base attempt: the mesh is compacted and
// its shells built; when the shade has more than 2 n faces (n: the model's
// face count) it is reduced by the fast routine towards n within the
// lampshade's bounds (0.05, 0.96), so that a shade that could not be cut is
// not handed back much larger than the model.
void finishUncutBase(SubMesh& mesh, size_t face_count, const RunContext& run);

}  // namespace vekmesh
