// Attribute seams for the mesh reducer: whether two corners carry the same
// material, colour and texture coordinates, and how the corners around a
// collapse take over their wedge's attributes so that seams keep their sides.
#pragma once

#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh::reducer {

struct ReducerState;
struct CollapseScratch;

// True when working corners `a` and `b` (numbered 3 face + corner) carry the
// same material, colour bytes and texture coordinates (compared by value:
// texture coordinates are never shared between corners).
bool sameAttributes(const ReducerState& state, uint32_t a, uint32_t b);

// Before the collapse recorded in `scratch` is applied: every corner that
// moves with it takes the attributes of the wedge it belongs to, blended at
// `t` (0 = the kept vertex, 1 = the dropped one). A corner's wedge is found by
// comparing it with the corners of the faces on the collapsed edge.
void blendCornerAttributes(ReducerState& state, const CollapseScratch& scratch, double t);

}  // namespace vekmesh::reducer
