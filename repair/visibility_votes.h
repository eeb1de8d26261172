// Which way an open surface faces, by what its faces see: from the centre of
// a face, a ray along its normal and one against it are cast at the whole
// mesh. A face whose front sees out while its back is blocked votes that its
// component faces the right way; the opposite votes that it is inside out;
// a face that sees out both ways (or neither) does not vote. The inside of a
// bowl or of a shell with a hole sees the bowl's other side in front of it,
// so such a component is turned; a lone sheet sees out both ways and keeps
// its winding. Rays are cast at every live face (no search structure: open
// components are few after hole filling), from an evenly spread sample of at
// most kMaxVoters faces per component, and at most kMaxRayTests ray-face
// tests in all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

constexpr size_t kMaxVoters = 32;
constexpr uint64_t kMaxRayTests = uint64_t(1) << 26;

// The votes of the components flagged in `asked` (per component; faces
// mapped by `component_of`, -1 for none): positive when more faces see out
// in front, negative when more see out behind, 0 when undecided or when the
// test budget ran out before the component's turn.
std::vector<int64_t> visibilityVotes(const SubMesh& mesh, const std::vector<int32_t>& component_of,
                                     const std::vector<uint8_t>& asked);

}  // namespace vekmesh
