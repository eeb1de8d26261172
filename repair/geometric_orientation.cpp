// Components of the sheet partners (by breadth-first walks, which make the
// windings consistent on the way, where some face must turn; by union-find
// where none must); signs from enclosed volumes and nesting from
// generalised winding numbers summed over the other closed components whose
// boxes hold the test point.
#include "repair/geometric_orientation.h"

#include <algorithm>
#include <cmath>

#include "geometry/vectors.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "repair/partner_components.h"
#include "repair/shell_orientation.h"
#include "repair/visibility_votes.h"

namespace vekmesh {
namespace {

// Triangle evaluations of the nesting test before it gives up (and takes
// the remaining components as nested in nothing), about half a second:
// hostile input with thousands of overlapping shells must not stall the
// repair.
constexpr uint64_t kMaxWindingEvaluations = uint64_t(16) << 20;
// How far ahead in a walk's queue adjacency rows are prefetched.
constexpr size_t kWalkPrefetchAhead = 16;

Vec3d at(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[size_t(v)].position;
  return {p[0], p[1], p[2]};
}

struct Box {
  Vec3d lo{INFINITY, INFINITY, INFINITY};
  Vec3d hi{-INFINITY, -INFINITY, -INFINITY};
  void widen(const Vec3d& p) {
    for (int a = 0; a < 3; ++a) {
      lo[a] = std::min(lo[a], p[a]);
      hi[a] = std::max(hi[a], p[a]);
    }
  }
  bool holds(const Vec3d& p) const {
    for (int a = 0; a < 3; ++a)
      if (!(p[a] >= lo[a] && p[a] <= hi[a])) return false;
    return true;
  }
};

// Solid angle of triangle abc seen from the origin (Van Oosterom and
// Strackee), signed by the triangle's winding.
double solidAngle(const Vec3d& a, const Vec3d& b, const Vec3d& c) {
  const double la = length(a), lb = length(b), lc = length(c);
  const double numerator = dot(a, cross(b, c));
  const double denominator = la * lb * lc + dot(a, b) * lc + dot(a, c) * lb + dot(b, c) * la;
  return 2.0 * std::atan2(numerator, denominator);
}

// The live faces grouped by component (a counting sort of component_of):
// those of component k are members[first[k] .. first[k + 1]).
void groupByComponent(const OrientationComponents& components, size_t count,
                      std::vector<int32_t>& members, std::vector<int32_t>& first) {
  first.assign(count + 1, 0);
  for (const int32_t k : components.component_of)
    if (k >= 0) ++first[size_t(k) + 1];
  for (size_t k = 0; k < count; ++k) first[k + 1] += first[k];
  members.resize(size_t(first[count]));
  std::vector<int32_t> next(first.begin(), first.end() - 1);
  for (size_t f = 0; f < components.component_of.size(); ++f)
    if (components.component_of[f] >= 0)
      members[size_t(next[size_t(components.component_of[f])]++)] = int32_t(f);
}

}  // namespace

OrientationComponents orientConsistently(SubMesh& mesh, const SheetPartners& partners,
                                         ConsistencyReport& report, bool want_components,
                                         CornerAdjacency* turn_with) {
  OrientationComponents out;
  // Most models need no turn: their components come from the team, and the
  // walk below is only for those that do.
  if (want_components ? componentsWithoutTurns(mesh, partners, out)
                      : partnersRunOpposite(mesh, partners))
    return out;
  out = OrientationComponents{};
  const size_t face_count = mesh.faces.size();
  const size_t turned_before = report.faces_turned;
  if (want_components) out.component_of.assign(face_count, -1);
  // 0: not reached yet, 1: keeps its winding, 2: to be turned.
  std::vector<uint8_t> state(face_count, 0);
  // One queue for every walk: component k's faces are queue[ends[k - 1] ..
  // ends[k]), so that the windings can be settled after the walks, on the
  // team.
  std::vector<int32_t> queue;
  queue.reserve(face_count);
  std::vector<size_t> ends;
  std::vector<uint8_t> invert;
  size_t conflicts = 0;
  for (size_t seed = 0; seed < face_count; ++seed) {
    if (mesh.faces[seed].removed || state[seed] != 0) continue;
    const int32_t component = static_cast<int32_t>(out.closed.size());
    const size_t first = queue.size();
    queue.push_back(int32_t(seed));
    state[seed] = 1;
    size_t turns = 0;
    bool closed = true;
    for (size_t head = first; head < queue.size(); ++head) {
      // The queue holds faces in no memory order on a shuffled model, so the
      // adjacency rows of the faces a few places ahead are fetched early.
      if (head + kWalkPrefetchAhead < queue.size()) {
        const size_t ahead = 3 * size_t(queue[head + kWalkPrefetchAhead]);
        if (ahead < partners.adjacency->across.size()) {
          prefetchRead(partners.adjacency->across.data() + ahead);
          prefetchRead(partners.adjacency->same_direction.data() + ahead);
        }
      }
      const size_t f = size_t(queue[head]);
      if (want_components) out.component_of[f] = component;
      const bool f_turns = state[f] == 2;
      for (uint32_t c = 0; c < 3; ++c) {
        bool alike = false;
        const int32_t g = partners.partnerOf(3 * f + c, alike);
        if (g < 0) {
          closed = false;
          continue;
        }
        // Neighbours must run the edge oppositely once both are turned as
        // decided: g turns exactly when it runs alike and f does not, or
        // runs oppositely and f turns.
        const bool g_turns = f_turns != alike;
        const uint8_t wanted = g_turns ? 2 : 1;
        if (state[size_t(g)] == 0) {
          state[size_t(g)] = wanted;
          turns += g_turns;
          queue.push_back(g);
        } else if (state[size_t(g)] != wanted) {
          ++conflicts;
        }
      }
    }
    // Of the two consistent windings, the one with fewer turns.
    invert.push_back(2 * turns > queue.size() - first ? 1 : 0);
    ends.push_back(queue.size());
    out.closed.push_back(closed ? 1 : 0);
  }
  report.conflicts += conflicts / 2;  // each disagreement is met from both faces
  // The components that keep the other winding trade the two marks of their
  // faces; each face is in one component, so the team writes apart.
  for (size_t k = 0; k < ends.size(); ++k) {
    if (!invert[k]) continue;
    const int64_t begin = k == 0 ? 0 : int64_t(ends[k - 1]), end = int64_t(ends[k]);
#pragma omp parallel for schedule(static) if (end - begin >= kParallelMinimum)
    for (int64_t i = begin; i < end; ++i) state[size_t(queue[size_t(i)])] ^= 3;
  }
  std::vector<int32_t>().swap(queue);
  const FaceBits turned = faceBitsWhere(face_count, [&](size_t f) { return state[f] == 2; });
  report.faces_turned += turned.count();
  if (report.faces_turned > turned_before) {
    applyTurns(mesh, turned);
    if (turn_with) turnFacesInAdjacency(*turn_with, turned);
  }
  if (!want_components) out = OrientationComponents{};
  return out;
}

OutwardReport orientOutwards(SubMesh& mesh, const OrientationComponents& components,
                             double tolerance, CornerAdjacency* turn_with) {
  OutwardReport report;
  const size_t count = components.count();
  std::vector<size_t> faces_in(count, 0);
  std::vector<double> volume(count, 0.0), area(count, 0.0);
  std::vector<Vec3d> probe(count, Vec3d{0.0, 0.0, 0.0});
  // Sums in one pass in face order (the walks' order would read the mesh at
  // random). Volumes are wanted about each component's area centroid: it
  // keeps the terms small, and it lies in the plane of a flat sheet, whose
  // volume then comes out zero, and inside a bowl, whose volume then has the
  // sign of its opening. The centroid is known only at the end, but the
  // volume about any point o is the volume about a fixed reference less
  // o . (sum of a x b + b x c + c x a) / 6, so the pass sums those instead.
  const size_t face_count = mesh.faces.size();
  // Each component's terms are taken about its first vertex met, which keeps
  // them as small as the component.
  std::vector<Vec3d> reference(count, Vec3d{0.0, 0.0, 0.0});
  std::vector<uint8_t> seen(count, 0);
  for (size_t f = 0, found = 0; f < face_count && found < count; ++f) {
    const int32_t k = components.component_of[f];
    if (k < 0 || seen[size_t(k)]) continue;
    seen[size_t(k)] = 1;
    ++found;
    reference[size_t(k)] = at(mesh, mesh.faces[f].v[0]);
  }
  std::vector<Vec3d> centroid(count, Vec3d{0.0, 0.0, 0.0}), normals(count, Vec3d{0.0, 0.0, 0.0});
  std::vector<double> largest(count, -1.0);
  // The corners are read by the team (a shuffled mesh misses the cache on
  // each), the sums taken in face order on this thread.
  struct FaceTerms {
    Vec3d middle, n;
    double area, volume;
  };
  auto corner = [&](const Face& face, int c, size_t k) {
    return sub(at(mesh, face.v[c]), reference[k]);
  };
  auto measure = [&](size_t f, FaceTerms& t) {
    prefetchCornerPositions(mesh, f + kCornerPrefetchAhead);
    const int32_t k = components.component_of[f];
    if (k < 0) return;
    const Face& face = mesh.faces[f];
    const Vec3d a = corner(face, 0, size_t(k)), b = corner(face, 1, size_t(k)),
                c = corner(face, 2, size_t(k));
    t.n = add(add(cross(a, b), cross(b, c)), cross(c, a));
    t.area = 0.5 * length(t.n);
    t.middle = scaled(add(add(a, b), c), 1.0 / 3.0);
    t.volume = dot(a, cross(b, c));
  };
  // The sums of the component of the faces being read are locals, which the
  // compiler keeps in registers; they go back to the arrays when another
  // component's face comes (faces of one component mostly come together).
  struct Sums {
    size_t faces;
    Vec3d centroid, normals, probe;
    double volume, area, largest;
  };
  int32_t current = -1;
  Sums s{};
  auto swapIn = [&](int32_t k) {
    if (current >= 0) {
      const size_t j = size_t(current);
      faces_in[j] = s.faces, centroid[j] = s.centroid, normals[j] = s.normals;
      probe[j] = s.probe, volume[j] = s.volume, area[j] = s.area, largest[j] = s.largest;
    }
    current = k;
    if (k < 0) return;
    const size_t j = size_t(k);
    s = {faces_in[j], centroid[j], normals[j], probe[j], volume[j], area[j], largest[j]};
  };
  auto sum = [&](size_t f, const FaceTerms& t) {
    const int32_t k = components.component_of[f];
    if (k < 0) return;
    if (k != current) swapIn(k);
    ++s.faces;
    s.centroid = add(s.centroid, scaled(t.middle, t.area));
    s.normals = add(s.normals, t.n);
    s.volume += t.volume;
    s.area += t.area;
    if (t.area > s.largest) {
      s.largest = t.area;
      s.probe = t.middle;
    }
  };
  measureThenSumInOrder<FaceTerms>(face_count, measure, sum);
  swapIn(-1);
  // Boxes (about the references, then in model coordinates) are wanted only
  // for a component of no area and for nesting tests: they are made on first
  // need, in face order as the sums were.
  std::vector<Box> boxes;
  auto makeBoxes = [&] {
    if (!boxes.empty()) return;
    boxes.resize(count);
    for (size_t f = 0; f < face_count; ++f) {
      const int32_t k = components.component_of[f];
      if (k < 0) continue;
      for (int c = 0; c < 3; ++c) boxes[size_t(k)].widen(corner(mesh.faces[f], c, size_t(k)));
    }
  };
  for (size_t k = 0; k < count; ++k) {
    if (!(area[k] > 0.0)) makeBoxes();
    const Vec3d o = area[k] > 0.0 ? scaled(centroid[k], 1.0 / area[k])
                                  : scaled(add(boxes[k].lo, boxes[k].hi), 0.5);
    volume[k] = (volume[k] - dot(o, normals[k])) / 6.0;
    probe[k] = add(probe[k], reference[k]);  // back in model coordinates
  }
  std::vector<Box> model_boxes;
  auto modelBox = [&](size_t k) -> const Box& {
    if (model_boxes.empty()) {
      makeBoxes();
      model_boxes.resize(count);
      for (size_t j = 0; j < count; ++j) {
        model_boxes[j].lo = add(boxes[j].lo, reference[j]);
        model_boxes[j].hi = add(boxes[j].hi, reference[j]);
      }
    }
    return model_boxes[k];
  };

  // What becomes of each component: removed (closed, no volume), turned, or
  // left. Only a closed component of negative volume needs its nesting.
  std::vector<uint8_t> removed(count, 0), turn(count, 0);
  std::vector<int32_t> members, first;  // faces grouped by component, made on demand
  uint64_t evaluations = 0;
  report.signed_volumes.assign(count, 0.0);
  std::vector<uint8_t> open(count, 0);
  for (size_t k = 0; k < count; ++k) open[k] = !components.closed[k];
  const std::vector<int64_t> votes = std::count(open.begin(), open.end(), 1) > 0
                                         ? visibilityVotes(mesh, components.component_of, open)
                                         : std::vector<int64_t>(count, 0);
  for (size_t k = 0; k < count; ++k) {
    const bool flat = !(std::fabs(volume[k]) > tolerance * area[k]);
    if (components.closed[k] && flat) {
      removed[k] = 1;
      ++report.zero_volume_removed;
      report.zero_volume_faces += faces_in[k];
      continue;
    }
    report.signed_volumes[k] = volume[k];
    // An open component goes by its faces' votes, and by its volume about its
    // centroid when they do not decide.
    if (open[k] && votes[k] != 0) {
      if (votes[k] < 0) {
        turn[k] = 1;
        ++report.components_turned;
        report.signed_volumes[k] = -volume[k];
      }
      continue;
    }
    if (flat || volume[k] > 0.0) continue;
    size_t depth = 0;
    if (components.closed[k]) {
      if (members.empty()) groupByComponent(components, count, members, first);
      for (size_t j = 0; j < count; ++j) {
        // A shell that holds this one holds its whole box.
        if (j == k || !components.closed[j] || !modelBox(j).holds(modelBox(k).lo) ||
            !modelBox(j).holds(modelBox(k).hi))
          continue;
        if (evaluations > kMaxWindingEvaluations) break;
        evaluations += faces_in[j];
        double sum = 0.0;
        for (int32_t i = first[j]; i < first[j + 1]; ++i) {
          const Face& face = mesh.faces[size_t(members[size_t(i)])];
          sum += solidAngle(sub(at(mesh, face.v[0]), probe[k]), sub(at(mesh, face.v[1]), probe[k]),
                            sub(at(mesh, face.v[2]), probe[k]));
        }
        if (std::fabs(sum) >= 2.0 * kPi) ++depth;  // winding number of at least one half
      }
    }
    // Negative at odd depth is a cavity, wound as it should be.
    if (depth % 2 == 1) {
      ++report.cavities;
      continue;
    }
    turn[k] = 1;
    ++report.components_turned;
    report.signed_volumes[k] = -volume[k];
  }
  if (report.components_turned == 0 && report.zero_volume_removed == 0) return report;
  FaceBits turned(face_count);
  for (size_t f = 0; f < face_count; ++f) {
    const int32_t k = components.component_of[f];
    if (k < 0) continue;
    if (removed[size_t(k)]) mesh.faces[f].removed = 1;
    if (turn[size_t(k)]) turned.set(f);
  }
  if (report.components_turned > 0) {
    applyTurns(mesh, turned);
    if (turn_with) turnFacesInAdjacency(*turn_with, turned);
  }
  return report;
}

}  // namespace vekmesh
