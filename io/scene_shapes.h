// The triangles of a scene graph, with corner colours, texture coordinates
// and materials, in the exchange soup.
//
// What the walk does beyond the scene formats' own rules:
//   - Polygons of any size are ear-clipped in the plane of their Newell
//     normal; faces naming a coordinate that does not exist are dropped.
//   - A transform that mirrors (negative determinant) reverses the winding of
//     what it places, so closed shapes stay outward; ccw FALSE reverses it
//     too.
//   - Colours come from Color/ColorRGBA nodes (alpha dropped) or else the
//     Material's diffuseColor, clamped to 0..1; a shape with no Material is
//     white (VRML 1.0: the default material's 0.8 grey).
//   - A shape whose texture is an ImageTexture (VRML 1.0: Texture2) gets as
//     material the index of the texture's first url among the names collected
//     so far (each url once, in order of first appearance); other shapes get
//     none. Texture coordinates are kept for textured shapes only.
//   - Switch shows its chosen child only, LOD its first level, Billboard and
//     Collision behave as groups. Inline, PROTO and EXTERNPROTO are never
//     followed: no file other than the scene itself is opened.
//   - Work is bounded: at most `max_triangles` triangles and kMaxSceneVisits
//     node visits (DEF/USE can repeat a subtree an exponential number of
//     times), then the walk stops with what it has and a note. Files are read
//     with sceneTriangleLimit of their text's length.
#pragma once

#include <string>
#include <vector>

#include "io/scene_nodes.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

constexpr size_t kMaxSceneTriangles = size_t(50) << 20;
constexpr size_t kMaxSceneVisits = size_t(16) << 20;

// 200 triangles per byte of text, at least 4 Mi and at most
// kMaxSceneTriangles: instancing multiplies a scene's own triangles many
// times over, but a few bytes must not claim gigabytes.
size_t sceneTriangleLimit(size_t text_bytes);

// Appends the scene's triangles to `soup` and the texture names it collects
// to `names`; what was skipped goes to `notes`.
void collectSceneTriangles(const SceneDocument& scene, ByteSoup& soup,
                           std::vector<std::string>& names, std::vector<std::string>& notes,
                           size_t max_triangles = kMaxSceneTriangles);

}  // namespace vekmesh
