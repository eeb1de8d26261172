// The components of the sheet-partner graph without a walk, for a model whose
// partners all run their shared edges oppositely: there the orientation walk
// would turn nothing and find no conflict, and only its components are
// wanted. A union-find over the faces, shared by the team, links each root
// under the lower of two, so every component ends at its lowest face: the
// walk's seed, which numbers the components in the walk's order.
#pragma once

#include "repair/geometric_orientation.h"

namespace vekmesh {

// The components orientConsistently would hand back, or false, with `out`
// unspecified, when some pair of partners runs an edge the same way and the
// walk is needed after all.
bool componentsWithoutTurns(const SubMesh& mesh, const SheetPartners& partners,
                            OrientationComponents& out);

// Whether every pair of partners runs its edge oppositely: then the walk would
// turn nothing and meet no conflict. Asked by the team.
bool partnersRunOpposite(const SubMesh& mesh, const SheetPartners& partners);

}  // namespace vekmesh
