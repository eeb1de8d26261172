// The census of a mesh's flaws that the tool's reports and the repair's
// "never worse" comparison share: edges classified by how their faces use
// them, faces with a repeated vertex, and shells classified by closure, signed
// volume and nesting. One pass over the faces in index order reads the corner
// adjacency; only edges with several other faces walk the incidence lists.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// A closed shell is of zero volume when |volume| <= kZeroVolumeThickness x its
// area x the model's bounding-box diagonal, that is when its two sides lie on
// average closer than about two millionths of the model's size: a
// double-sided sheet, whose volume is only rounding, but not a thin wall.
constexpr double kZeroVolumeThickness = 1e-6;

// Bound on the face tests of the nesting search (about a second of work), so
// that thousands of inward-wound shells inside large boxes cannot stall a
// report. Shells left untested count as inside out.
constexpr uint64_t kMaxNestingWork = uint64_t{1} << 28;

enum class ShellKind : uint8_t {
  kSolid,       // closed, positive volume
  kCavity,      // closed, negative volume, inside a solid: a void wound inwards, as it should be
  kInsideOut,   // closed, negative volume, inside no solid
  kZeroVolume,  // one face on its own, or closed with zero volume (see kZeroVolumeThickness)
  kOpen,        // has an open edge (and more than one face)
};

// Lower-case words for reports: "solid", "cavity", "inside out", ...
const char* shellKindName(ShellKind kind);

struct ShellCensus {
  uint32_t faces = 0;
  uint32_t open_edges = 0, non_manifold_edges = 0, misoriented_edges = 0;
  // From the tetrahedra of the faces to the model's reference point (that of
  // enclosedVolume); only a closed shell's volume does not depend on it.
  double signed_volume = 0.0;
  double area = 0.0;
  ShellKind kind = ShellKind::kOpen;
};

// Edges are pairs of distinct welded vertices used by live faces that have no
// repeated vertex and copy no lower face (its vertices in its cyclic order);
// such a face is counted once as a repeated-vertex face or a duplicate face
// and its edges are left out, so removing it changes no edge count. Two faces
// on the same vertices wound against each other both count: they make a
// double-sided sheet, or a wall inside a solid. An edge is
//   open          when one face uses it,
//   non-manifold  when more than two faces use it (four on the edge two
//                 closed solids share count too),
//   mis-oriented  when two faces use it in the same direction.
// Each edge and each shell counts once and nothing is sampled, so the counts
// are exact (the split of negative shells into cavities and inside-out ones
// too, unless the nesting search reaches kMaxNestingWork).
struct MeshCensus {
  size_t faces = 0;  // live faces
  size_t open_edges = 0;
  size_t non_manifold_edges = 0;
  size_t misoriented_edges = 0;
  size_t repeated_vertex_faces = 0;
  size_t duplicate_faces = 0;  // copies of a lower face: its vertices in its cyclic order
  size_t shells = 0;
  size_t closed_shells = 0;  // solids, cavities, inside-out shells and closed zero-volume ones
  size_t inside_out_shells = 0;
  size_t cavities = 0;
  size_t zero_volume_parts = 0;
  double signed_volume = 0.0;  // of every live face, as enclosedVolume sums it but with its sign
  double area = 0.0;
  double diagonal = 0.0;  // of the box of the live faces' vertices
  // False when the nesting search hit kMaxNestingWork.
  bool nesting_complete = true;
  // One per entry of the mesh's shells, in their order.
  std::vector<ShellCensus> shell_census;

  // Closed, every edge of exactly two faces running it in opposite directions.
  bool watertight() const {
    return faces > 0 && open_edges == 0 && non_manifold_edges == 0 && misoriented_edges == 0;
  }
};

// The edges behind the open and non-manifold counts, each once, as pairs of
// vertex indices, for a caller that draws them.
struct CensusEdges {
  std::vector<std::array<int32_t, 2>> open;
  std::vector<std::array<int32_t, 2>> non_manifold;
};

// Needs current shells and the corner adjacency they came from
// (RemovedFaces::kSkip), as buildShellsWithAdjacency hands them on.
// Shells:
//   - A shell with an open edge is open: its signed volume is reported but
//     judges nothing, and it is never inside out. A shell of one face (a lone
//     triangle) is a zero-volume part, not an open shell.
//   - A closed shell of zero volume is a zero-volume part; of positive volume,
//     a solid.
//   - A closed shell of negative volume is a cavity when the six vertices at
//     the extremes of its box (least and greatest x, y, z) all lie inside one
//     solid whose box strictly holds its own (winding number at least 1);
//     otherwise it is inside out. Mis-oriented edges inside a closed shell do
//     not stop it from being judged by the volume its faces enclose.
// With `edges`, the open and non-manifold edges counted are listed there too.
MeshCensus takeCensus(const SubMesh& mesh, const CornerAdjacency& adjacency,
                      CensusEdges* edges = nullptr);

// The flaws a repair must never add: open, non-manifold and mis-oriented
// edges, repeated-vertex and duplicate faces, and inside-out shells. One
// phrase per count that grew from `before` to `after` ("3 more mis-oriented
// edges"); empty when none did.
std::vector<std::string> flawsAdded(const MeshCensus& before, const MeshCensus& after);

}  // namespace vekmesh
