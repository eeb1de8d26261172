// The ASCII STL parser of the STL loader: a word-level state machine that
// collects the corners after each "vertex" word inside a facet.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace vekmesh {

// Reads `file` (of `size` bytes) from its current position to the end. Returns the corners in
// reading order, grouped in threes into triangles (x, y, z per corner, 9
// floats per triangle); a trailing one or two corners are dropped. A facet
// with more or fewer than three vertices is not repaired: it shifts the
// grouping of every later corner.
std::vector<float> parseAsciiStl(std::FILE* file, uint64_t size);

}  // namespace vekmesh
