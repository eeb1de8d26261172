// 3MF, the zip-packaged XML model format of printing software: the core mesh
// of every object placed by a build item, read and written.
//
// Reading: the model part named by the package's root relationship (or
// "3D/3dmodel.model"); every build item's object with the item's transform,
// components resolved with their transforms (at most 16 levels deep); base
// material display colours and colour groups become corner colours (faces
// without a property keep white), and each base material entry becomes a
// material named as the file names it (at most 32767; a triangle's material
// is the entry its first property names). Objects are not welded to one another
// beyond what equal coordinates give, so several objects stay separate
// shells. Units are taken as they are (no scaling to millimetres). Not read:
// textures, slices, beam lattices, production-extension parts in other model
// files. Faults give an empty mesh: an archive that is not a zip or lacks the
// model, XML that does not parse, a triangle indexing past its vertices, a
// component cycle, or an entry that inflates past 1 MiB plus 256 times the
// archive's size (a zip bomb); instances past 16 times the triangles the
// objects define (plus a million) are not made.
//
// Writing: one object holding the live faces and one build item; vertex
// coordinates in the shortest text that reads back to the same float; when
// some corner is not white, one colour group of the distinct corner colours
// referenced per corner; otherwise, when faces carry materials, one base
// material group with an entry per material number (named from `names`, or
// "material_<m>"; display colour white) referenced per triangle. A triangle
// takes one property group, so a coloured model's materials are not
// written; texture images are not written. Unit millimetre.
#pragma once

#include <cstddef>

#include "io/model_names.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Reads `path` into `mesh`; returns the triangles handed to the constructor
// (0 on any fault, with an empty mesh).
// `names`, when given, is replaced by the base materials' names.
size_t read3mf(const char* path, SubMesh& mesh, ModelNames* names = nullptr);

// Writes the live faces; false when the file could not be written fully.
bool write3mf(const char* path, const SubMesh& mesh, const ModelNames* names = nullptr);

}  // namespace vekmesh
