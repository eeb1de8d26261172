// Orientation by geometry rather than by one vertex. Two steps:
//  - consistency (orientConsistently): the faces linked by sheet partners
//    (sheet_pairing.h) form components; where some partners run an edge
//    the same way, a breadth-first walk from each component's lowest face
//    makes neighbours run their shared edge in opposite directions, and of
//    the two consistent windings the one that turns fewer faces is kept, so
//    a shell already consistent is untouched (and where none do, the
//    components come from a union-find on the team: partner_components.h);
//  - outwards (orientOutwards): each closed component's signed volume is
//    measured, and its nesting depth is the number of other closed
//    components whose generalised winding number (Jacobson et al. 2013) at a
//    point of it is at least one half in magnitude. A component at even
//    depth (inside nothing, or an island in a cavity) that encloses negative
//    volume is turned; one at odd depth that does is a cavity and stays
//    inward. A component that encloses positive volume is never turned: at
//    odd depth it may as well be a part set into another (an insert, a
//    magnet) as a cavity wound the wrong way, and the file's own winding is
//    the better guess. An open component goes by the majority of a
//    visibility test (visibility_votes.h): it is turned when more of its
//    faces see out of the model behind them than in front. When the votes do
//    not decide (a lone sheet sees out both ways), it is measured about its
//    own area centroid: when that volume is clearly not zero (more than the
//    weld tolerance times its area), it is turned to make it positive, as a
//    bowl or a shell with holes opens outwards; a flat sheet keeps the
//    winding the first step gave it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/face_bits.h"
#include "mesh/tri_mesh.h"
#include "repair/sheet_pairing.h"

namespace vekmesh {

struct OrientationComponents {
  std::vector<int32_t> component_of;  // per face; -1 for removed faces
  std::vector<uint8_t> closed;        // per component: every corner of its faces has a partner
  size_t count() const { return closed.size(); }
};

struct ConsistencyReport {
  size_t faces_turned = 0;
  size_t conflicts = 0;  // partners left running an edge the same way (one-sided surfaces)
};

// Turns faces so that partners run their shared edges in opposite
// directions, and hands back the components the walks found (none without
// `want_components`, which spares finding them where nothing turns).
// Incidence lists are kept current; an adjacency built before is not, except
// `turn_with`, which the turns are made in too (turnFacesInAdjacency).
OrientationComponents orientConsistently(SubMesh& mesh, const SheetPartners& partners,
                                         ConsistencyReport& report, bool want_components = true,
                                         CornerAdjacency* turn_with = nullptr);

struct OutwardReport {
  size_t components_turned = 0;
  size_t cavities = 0;             // closed components at odd depth
  size_t zero_volume_removed = 0;  // closed components removed (faces marked removed)
  size_t zero_volume_faces = 0;
  std::vector<double> signed_volumes;  // per component, after turning
};

// Turns whole components outwards (see above) and removes closed components
// whose volume is no more than `tolerance` times their area: they enclose
// nothing a printer could fill. Needs consistent windings. The turns are
// made in `turn_with` too, when given (turnFacesInAdjacency); removals are not.
OutwardReport orientOutwards(SubMesh& mesh, const OrientationComponents& components,
                             double tolerance, CornerAdjacency* turn_with = nullptr);

}  // namespace vekmesh
