// One round of smooth subdivision that keeps features: Loop subdivision (Loop
// 1987) with the crease, corner and boundary rules of Hoppe et al. 1994.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Normals of faces meeting at a smooth edge differ by at most this many
// degrees; a sharper edge is a crease.
constexpr double kCreaseAngleDegrees = 30.0;

// Splits every face into four at its edge points and moves the old vertices.
// Needs faces with three distinct vertices in range, none removed, and
// current incidentCorners; leaves faces (face f's children at 4 f .. 4 f + 3,
// winding kept), vertices (old ones keep their numbers, edge points follow in
// edge order), texCoords and incidentCorners current. Shells are not touched.
//
// Creases: edges not used by exactly two faces wound oppositely (open,
// non-manifold or misoriented), edges whose face normals differ by more than
// kCreaseAngleDegrees, and edges where the material, the texture coordinates
// (compared by value) or the corner colours (by more than one step of 255 in a
// channel) differ between the two faces. A face with a zero normal sets no
// crease by angle. A face with a coordinate that is not finite is held: its
// edges are creases and its vertices stay, so the value spreads nowhere.
//
// Vertices: on three or more creases, a corner, stays; on two that turn there
// by more than kCreaseAngleDegrees, a corner too (the corners of a square
// sheet); on two others, the crease rule (6/8 itself, 1/8 each crease
// neighbour); on none or one (a dart, Hoppe's rule) the smooth
// rule with Loop's weights, provided its faces form one closed fan; a vertex
// where separate fans meet stays. Edge points: the midpoint on a crease, else
// 3/8 of each end and 1/8 of each opposite vertex.
//
// Attributes: new corners get the midpoint of the two corners of their own
// face (colours rounded half up, texture coordinates by value), so both sides
// of a seam keep their own values; children inherit the material.
void loopSubdivisionRound(SubMesh& mesh);

}  // namespace vekmesh
