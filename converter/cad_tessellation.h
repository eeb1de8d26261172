// Turning a shape read from a CAD file into a triangle soup: the parts it
// holds (solids, shells, sewn loose faces), meshed at a deflection relative
// to the model's size and wound outward.
#pragma once

#include <TopoDS_Shape.hxx>
#include <vector>

namespace vekmesh::converter {

// Linear deflection as a share of the bounding-box diagonal, the angular
// deflection in radians, and the sewing tolerance of loose faces as a share
// of the diagonal.
inline constexpr double kRelativeDeflection = 1e-3;
inline constexpr double kAngularDeflection = 0.5;
inline constexpr double kRelativeSewingTolerance = 1e-5;

// 9 floats per triangle (corners 0, 1, 2, x y z each), in the shape's units;
// empty when the shape holds no surface. May throw OpenCASCADE's exceptions.
std::vector<float> tessellateShape(const TopoDS_Shape& shape);

}  // namespace vekmesh::converter
