// The plane cut with capping: the parts of a mesh below and above the
// horizontal plane z = h. Faces that straddle the plane are split along it,
// colours and texture coordinates interpolated at the new corners and
// materials kept; each part is closed by flat caps ear-clipped from the
// section loops with their holes (geometry/polygon_holes_triangulation.h).
// Vertices on the plane count on one side as the plane sections count them
// (mesh/plane_slicing.h), so a cut exactly at a face of the model leaves that
// face with the part it bounds and no sliver in the other part.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

struct PlaneCutReport {
  size_t splitFaces = 0;    // faces that straddled the plane
  size_t capTriangles = 0;  // in each part's caps
  size_t openChains = 0;    // places where the mesh is open at the plane: not capped
  // Every cap triangle was a true ear. False when section loops cross or
  // overlap (a self-intersecting mesh): the caps still close the parts, but
  // may overlap themselves.
  bool capsClean = true;
};

// Fills `below` and `above` (either may be null, or `mesh` itself) with the
// parts of the live faces of `mesh` under and over z = height. Each part gets
// new faces, vertices, texCoords and incidentCorners; its shells and
// analysisRecords are cleared and its tag left alone. A part holds the faces
// on its side and the pieces of split faces in the order of the faces they
// come from, then its caps (white, no material, no texture coordinates).
// Cut vertices are new vertices where the plane crosses an edge, and the old
// vertex where one lies on the plane; a part's vertices are those its faces
// use, in order of first use.
//
// A closed, consistently wound mesh gives closed, consistently wound parts,
// wound as the mesh was. An open mesh gets caps on its closed loops only.
// Where faces lying in the plane face both ways, the side rule follows the
// larger area; the faces of the other kind stay with the part across the
// plane, closed there by a cap over them: a closed sheet of no volume.
// Faces with a NaN or infinite coordinate are left out of both parts.
PlaneCutReport cutByPlane(const SubMesh& mesh, float height, SubMesh* below, SubMesh* above);

}  // namespace vekmesh
