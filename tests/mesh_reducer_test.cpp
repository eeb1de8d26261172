// Tests of the two mesh reduction routines on boxes, sheets and spheres built
// in code, with seams, bounds, thread counts and bad input; and of the
// reducer's parts whose fast paths must agree with the plain ones: the queue's
// order, the paired candidate plans and the vertex classes.
#include "remesh/mesh_reducer.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/collapse_candidate.h"
#include "remesh/collapse_queue.h"
#include "remesh/greedy_reduction.h"
#include "remesh/reducer_state.h"
#include "remesh/vertex_classes.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

struct Routine {
  const char* name;
  void (*reduce)(SubMesh&, double, double, double, const RunContext&);
};
const Routine kRoutines[] = {{"quality", reduceMesh}, {"fast", reduceMeshFast}};

constexpr double kUnbounded = std::numeric_limits<double>::infinity();

// The sides from `first_side` on (of -x, +x, -y, +y, -z, +z) of the box
// [0, edge]^3 moved by (dx, dy, 0), each an n x n grid of squares, two
// triangles each, wound outwards.
Soup griddedBox(int n, float edge, int first_side = 0, float dx = 0, float dy = 0) {
  Soup soup;
  for (int s = first_side; s < 6; ++s)
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        auto at = [&](int di, int dj) {
          test::Point p{};
          p[s / 2] = edge * (s % 2), p[(s / 2 + 1) % 3] = edge * (i + di) / n;
          p[(s / 2 + 2) % 3] = edge * (j + dj) / n;
          p[0] += dx, p[1] += dy;
          return p;
        };
        const bool out = s % 2;
        soup.addTriangle(at(0, 0), at(out, !out), at(1, 1));
        soup.addTriangle(at(0, 0), at(1, 1), at(!out, out));
      }
  return soup;
}

// Construction invariants, closed, manifold and oriented, and no flaw.
void expectClosedManifold(const SubMesh& mesh) {
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TEST(MeshReducer, FlatSidesReduceToAHandfulAtZeroErrorAroundWhatMustStay) {
  // A box on the integer lattice, as the voxel meshes the fast routine serves;
  // at x = 100 two boxes sharing one edge (four faces on it); at x = 200 the
  // top side of a box as an open sheet.
  const Soup soup =
      test::concatenate(test::concatenate(griddedBox(91, 91), griddedBox(8, 8, 0, 100)),
                        test::concatenate(griddedBox(8, 8, 0, 108, 8), griddedBox(40, 40, 5, 200)));
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    TriMesh mesh = test::buildMesh(soup);
    const test::EdgeCensus before = test::edgeCensus(mesh);
    r.reduce(mesh, 0.0, 0.0, 0.99, {});
    EXPECT_EQ(test::invariantViolation(mesh), "");
    const test::EdgeCensus after = test::edgeCensus(mesh);
    EXPECT_EQ(after.nonManifold, before.nonManifold);
    EXPECT_EQ(after.misoriented, 0u);
    EXPECT_EQ(after.boundary, 4u);  // the sheet's outline
    // The sheet at z = 40 adds a third of its area times 40.
    EXPECT_NEAR(enclosedVolume(mesh), 91.0 * 91 * 91 + 2 * 512 + 40.0 * 40 * 40 / 3, 1e-3);
    size_t faces[3] = {};  // the big box, the two boxes, the sheet
    for (const Face& f : mesh.faces)
      faces[std::min(int(mesh.vertices[f.v[0]].position[0]) / 100, 2)]++;
    EXPECT_LE(faces[0], 24u);
    EXPECT_LT(faces[1], 2u * 8 * 8 * 12 / 4);
    EXPECT_EQ(faces[2], 2u);
  }
}

TEST(MeshReducer, ErrorAndNormalBoundsLimitTheReduction) {
  const Soup soup = test::uvSphereSoup(10.0f, 120, 60);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    // Ratios of 0 and below keep only the bounds; a tighter bound removes less.
    TriMesh loose = test::buildMesh(soup), tight = loose, steep = loose;
    r.reduce(loose, -0.657142857, 0.05, 0.985, {});
    r.reduce(tight, 0.0, 0.002, 0.985, {});
    r.reduce(steep, -1.0, 0.05, 0.9999, {});
    EXPECT_LT(tight.faces.size(), soup.triangleCount());
    EXPECT_LT(loose.faces.size(), tight.faces.size());
    EXPECT_LT(loose.faces.size(), steep.faces.size());
    for (const TriMesh* m : {&loose, &tight, &steep}) expectClosedManifold(*m);
    // The bound is on the mean distance to the planes a vertex stands for, so
    // single vertices may stray a little further from the sphere, not far.
    for (auto [m, bound] : {std::pair{&loose, 0.05}, std::pair{&tight, 0.002}}) {
      double sum = 0.0;
      for (const Vertex& v : m->vertices) {
        const double d = std::fabs(std::hypot(v.position[0], v.position[1], v.position[2]) - 10);
        EXPECT_LT(d, 2.0 * bound);
        sum += d;
      }
      EXPECT_LT(sum / static_cast<double>(m->vertices.size()), bound);
    }
  }
}

TEST(MeshReducer, ClosedSphereKeepsItsShapeSeamsAndAttributesOnAnyThreadCount) {
  // Upper half red with material 1, lower half blue with material 2, both
  // textured. The small sphere takes the single queue, the large one (over
  // 100000 faces) fixed blocks in parallel: one thread or two, same mesh.
  for (auto [slices, stacks] : {std::pair{160, 80}, std::pair{400, 140}}) {
    Soup soup = test::uvSphereSoup(1.0f, slices, stacks);
    test::assignMaterial(soup, 1);
    soup.colors.clear();
    for (size_t t = 0; t < soup.triangleCount(); ++t) {
      const bool upper = soup.corner(t, 0)[2] + soup.corner(t, 1)[2] + soup.corner(t, 2)[2] > 0;
      soup.materials[t] = upper ? 1 : 2;
      for (int c = 0; c < 3; ++c)
        soup.colors.insert(soup.colors.end(), {upper ? 1.0f : 0.0f, 0.0f, upper ? 0.0f : 1.0f});
    }
    std::set<test::Point> input;
    for (size_t t = 0; t < soup.triangleCount(); ++t)
      for (int c = 0; c < 3; ++c) input.insert(soup.corner(t, c));
    for (const Routine& r : kRoutines) {
      SCOPED_TRACE(std::string(r.name) + " " + std::to_string(soup.triangleCount()));
      TriMesh mesh = test::buildMesh(soup), one_thread = mesh;
      const double before = enclosedVolume(mesh);
      const int threads = omp_get_max_threads();
      omp_set_num_threads(1);
      r.reduce(one_thread, 0.1, kUnbounded, 0.0, {});
      omp_set_num_threads(2);
      r.reduce(mesh, 0.1, kUnbounded, 0.0, {});
      omp_set_num_threads(threads);
      EXPECT_LT(mesh.faces.size(), soup.triangleCount() / 5);
      expectClosedManifold(mesh);
      EXPECT_NEAR(enclosedVolume(mesh), before, 0.01 * before);

      double drift = 0.0;
      ASSERT_EQ(mesh.faces.size(), one_thread.faces.size());
      for (size_t i = 0; i < mesh.faces.size(); ++i) {
        const Face& f = mesh.faces[i];
        ASSERT_TRUE(f.material == 1 || f.material == 2);
        for (int c = 0; c < 3; ++c) {
          const Vertex& v = mesh.vertices[f.v[c]];
          ASSERT_EQ(v.position, one_thread.vertices[one_thread.faces[i].v[c]].position);
          // Every corner keeps its side's colour: nothing was blended across.
          EXPECT_TRUE(f.colors[c][0] == (f.material == 1) * 255 &&
                      f.colors[c][2] == (f.material == 2) * 255);
          // Faces stay on their side, nothing strays from the sphere, and the
          // fast routine only keeps input vertices (voxel lattices stay exact).
          EXPECT_GT((f.material == 1 ? 1.0f : -1.0f) * v.position[2], -1e-6f);
          EXPECT_TRUE(r.name[0] != 'f' || input.count(v.position));
          EXPECT_NEAR(std::hypot(v.position[0], v.position[1], v.position[2]), 1.0, 0.01);
          // Texture coordinates (u = x + 2y, v = z - y) travel with their
          // corners: drifting a little, never off by about an edge length.
          const TexCoord& uv = mesh.texCoords.at(f.uv[c]);
          const double du = std::fabs(uv.u - (v.position[0] + 2.0 * v.position[1]));
          const double dv = std::fabs(uv.v - (v.position[2] - v.position[1]));
          EXPECT_LT(std::max(du, dv), 0.15);
          drift += du + dv;
        }
      }
      EXPECT_LT(drift / (6.0 * mesh.faces.size()), 0.02);
    }
  }
}

// Face vertex numbers and vertex positions, in order: what two runs that
// should agree are compared by.
std::pair<std::vector<std::array<int32_t, 3>>, std::vector<std::array<float, 3>>> shapeOf(
    const SubMesh& mesh) {
  std::pair<std::vector<std::array<int32_t, 3>>, std::vector<std::array<float, 3>>> shape;
  for (const Face& f : mesh.faces) shape.first.push_back({f.v[0], f.v[1], f.v[2]});
  for (const Vertex& v : mesh.vertices) shape.second.push_back(v.position);
  return shape;
}

// A cancel check that counts its calls, answers stop at call `stop_at` (0:
// never), and notes any call made off the thread that started the run.
struct CountingCheck {
  size_t calls = 0, stop_at = 0;
  std::thread::id caller = std::this_thread::get_id();
  bool off_caller = false;
  RunContext context() {
    return RunContext({}, {},
                      CancelCheck{[](void* self) {
                                    auto& c = *static_cast<CountingCheck*>(self);
                                    c.off_caller |= std::this_thread::get_id() != c.caller;
                                    return ++c.calls == c.stop_at;
                                  },
                                  this});
  }
};

TEST(MeshReducer, HearsACancelAtEveryCheckAndRunsAsWithoutOne) {
  // The large sphere goes through the parallel phases, the small one through
  // the single queue. Asked on the calling thread only, often enough on the
  // large one to stop within a few thousand collapses, and a stop at any of
  // its checks ends the run; never stopped, it makes the same mesh as a run
  // without a check.
  for (auto [slices, stacks] : {std::pair{400, 140}, std::pair{120, 60}}) {
    const Soup soup = test::uvSphereSoup(1.0f, slices, stacks);
    for (const Routine& r : kRoutines)
      for (int threads : {1, 2}) {
        SCOPED_TRACE(std::string(r.name) + " " + std::to_string(soup.triangleCount()) + " on " +
                     std::to_string(threads));
        const int threads_before = omp_get_max_threads();
        omp_set_num_threads(threads);
        TriMesh plain = test::buildMesh(soup), checked = plain;
        r.reduce(plain, 0.1, kUnbounded, 0.0, {});
        CountingCheck counting;
        r.reduce(checked, 0.1, kUnbounded, 0.0, counting.context());
        EXPECT_FALSE(counting.off_caller);
        EXPECT_TRUE(shapeOf(checked) == shapeOf(plain));
        EXPECT_GE(counting.calls, 4u);
        if (threads == 1) {
          // The collapses themselves are checked: a run that makes many more
          // of them than another on the same mesh asks the check at least
          // once more per 1024 (two faces go with each).
          TriMesh light = test::buildMesh(soup);
          CountingCheck light_counting;
          r.reduce(light, 0.9, kUnbounded, 0.0, light_counting.context());
          const size_t more_collapses = (light.faces.size() - plain.faces.size()) / 2;
          EXPECT_GE(counting.calls, light_counting.calls + more_collapses / 1024);
        }

        const size_t last = counting.calls;
        for (size_t stop_at : {size_t(1), last / 3, 2 * last / 3, last, last + 1}) {
          SCOPED_TRACE("stop at check " + std::to_string(stop_at) + " of " + std::to_string(last));
          TriMesh mesh = test::buildMesh(soup);
          CountingCheck stopping;
          stopping.stop_at = stop_at;
          if (stop_at <= last) {
            EXPECT_THROW(r.reduce(mesh, 0.1, kUnbounded, 0.0, stopping.context()), RunCancelled);
            // Nothing more is asked once the answer was stop.
            EXPECT_EQ(stopping.calls, stop_at);
          } else {
            r.reduce(mesh, 0.1, kUnbounded, 0.0, stopping.context());
            EXPECT_EQ(stopping.calls, last);
          }
        }
        omp_set_num_threads(threads_before);
      }
  }
}

TEST(MeshReducer, BadInputIsRefusedQuietly) {
  const Soup soup = test::uvSphereSoup(1.0f, 24, 12);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    // Nothing to do: NaN or full ratios, NaN or negative bounds.
    for (auto [ratio, error, cosine] :
         {std::tuple{nan, 1.0, 0.0}, std::tuple{1.0, 1.0, 0.0}, std::tuple{0.5, nan, 0.0},
          std::tuple{0.5, -1.0, 0.0}, std::tuple{0.5, 1.0, nan}}) {
      TriMesh mesh = test::buildMesh(soup);
      r.reduce(mesh, ratio, error, cosine, {});
      EXPECT_EQ(mesh.faces.size(), soup.triangleCount());
    }
    // Non-finite positions: those vertices stay, the rest reduces.
    TriMesh odd = test::buildMesh(soup);
    odd.vertices[5].position[0] = std::numeric_limits<float>::quiet_NaN();
    odd.vertices[9].position[2] = std::numeric_limits<float>::infinity();
    r.reduce(odd, 0.2, kUnbounded, 0.0, {});
    EXPECT_LT(odd.faces.size(), soup.triangleCount());
    EXPECT_EQ(test::invariantViolation(odd), "");
    EXPECT_EQ(test::edgeCensus(odd).boundary, 0u);
    // A face naming a vertex that does not exist: the mesh is left as it is.
    TriMesh broken = test::buildMesh(soup);
    broken.faces[3].v[1] = 1 << 30;
    r.reduce(broken, 0.2, kUnbounded, 0.0, {});
    EXPECT_EQ(broken.faces.size(), soup.triangleCount());
  }
}

// The queue against a plain model of its contract: bins of 1/64 octave
// (infinity last) taken cheapest first, first in first out inside a bin,
// entries whose ends changed since the push skipped; what is left comes back
// in that order. Enough entries share a bin to run over many chunks, and
// bins empty and fill again while popping, so chunks go back and are reused.
TEST(CollapseQueue, PopsByBinThenArrivalSkipsStaleEntriesAndReleasesInOrder) {
  using reducer::QueueEntry;
  reducer::ReducerState s;
  s.version.allocate(64);
  std::fill(s.version.data(), s.version.data() + 64, 0u);
  auto bin = [](float cost) {
    uint32_t bits;
    std::memcpy(&bits, &cost, sizeof bits);
    return bits >= 0x7F800000u ? 0xFFFFFFFFu : bits >> 17;
  };
  auto current = [&](const QueueEntry& e) { return s.version[e.a] + s.version[e.b] == e.stamp; };
  // 1.0 and 1.005 share a bin, so arrival and not cost orders them.
  const float costs[] = {0.0f, 1.0f, 1.005f, 16.0f, 256.0f, std::numeric_limits<float>::infinity()};
  reducer::CollapseQueue queue;
  std::map<uint32_t, std::deque<QueueEntry>> model;
  std::mt19937 random(7);
  uint32_t serial = 0;  // every entry's ends are its own pair
  auto push = [&] {
    const QueueEntry e{costs[random() % 6], serial % 64, serial / 64, 0};
    ++serial;
    const QueueEntry stamped{e.cost, e.a, e.b, s.version[e.a] + s.version[e.b]};
    queue.push(stamped);
    model[bin(e.cost)].push_back(stamped);
  };
  auto popModel = [&](QueueEntry& out) {
    while (!model.empty()) {
      auto first = model.begin();
      out = first->second.front();
      first->second.pop_front();
      if (first->second.empty()) model.erase(first);
      if (current(out)) return true;
    }
    return false;
  };
  for (int i = 0; i < 600; ++i) push();
  for (int round = 0; round < 500; ++round) {
    if (round % 7 == 0) ++s.version[random() % 64];  // its entries go stale
    QueueEntry peeked, got, want;
    const bool peek = queue.peekCurrent(s, peeked);
    const bool popped = queue.pop(s, got);
    ASSERT_EQ(popped, popModel(want));
    if (!popped) break;
    ASSERT_EQ(std::tie(got.cost, got.a, got.b, got.stamp),
              std::tie(want.cost, want.a, want.b, want.stamp));
    if (peek) {
      EXPECT_EQ(std::tie(peeked.a, peeked.b), std::tie(got.a, got.b));
    }
    if (round % 3 != 0) push();
  }
  std::vector<QueueEntry> left, expected;
  queue.releaseInto(left);
  for (const auto& [key, entries] : model)
    expected.insert(expected.end(), entries.begin(), entries.end());
  ASSERT_EQ(left.size(), expected.size());
  for (size_t i = 0; i < left.size(); ++i)
    ASSERT_EQ(std::tie(left[i].a, left[i].b), std::tie(expected[i].a, expected[i].b));
  EXPECT_EQ(queue.size(), 0u);
}

// Two plans in vector lanes give what two single plans give, to the bit:
// on a torus (the minimiser wins) and a box (flat sides and creases: the
// midpoint or an end), with and without an error bound that refuses some.
TEST(MeshReducer, PairedPlansMatchSinglePlansBitForBit) {
  const Soup soup =
      test::concatenate(test::torusSoup(1.0f, 0.3f, 90, 40), griddedBox(5, 1.0f, 0, 3));
  auto bits = [](double x) {
    uint64_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
  };
  for (double max_error : {kUnbounded, 1e-4}) {
    TriMesh mesh = test::buildMesh(soup);
    reducer::ReducerState s;
    reducer::ReduceSettings settings;
    ASSERT_TRUE(reducer::prepareReduction(mesh, 0.5, max_error, 0.0, reducer::Placement::kOptimal,
                                          1, s, settings));
    std::vector<std::pair<uint32_t, uint32_t>> edges;
    for (uint32_t k = 0; k < 3 * s.faceCount(); ++k) {
      const uint32_t a = static_cast<uint32_t>(s.cornerVertex(k));
      const uint32_t b =
          static_cast<uint32_t>(s.cornerVertex(reducer::ReducerState::nextInFace(k)));
      if (reducer::pairable(s, a, b, settings.placement)) edges.emplace_back(a, b);
    }
    ASSERT_GT(edges.size(), 20000u);
    size_t within = 0;
    for (size_t i = 0; i + 1 < edges.size(); i += 2) {
      reducer::Collapse paired[2], single[2];
      const unsigned both = reducer::planPair(
          s, edges[i].first, edges[i].second, edges[i + 1].first, edges[i + 1].second,
          settings.bounds, settings.zero_tolerance_sq, paired[0], paired[1]);
      for (int j = 0; j < 2; ++j) {
        const auto [a, b] = edges[i + j];
        const bool ok = reducer::planCollapse(s, a, b, settings.bounds, settings.zero_tolerance_sq,
                                              settings.placement, single[j]);
        ASSERT_EQ(ok, ((both >> j) & 1u) != 0) << a << " " << b;
        if (!ok) continue;
        ++within;
        const reducer::Collapse& p = paired[j];
        const reducer::Collapse& q = single[j];
        ASSERT_EQ(std::tie(p.keep, p.drop, p.along_feature),
                  std::tie(q.keep, q.drop, q.along_feature));
        for (auto [x, y] :
             {std::pair{p.t, q.t}, std::pair{p.cost, q.cost}, std::pair{p.priority, q.priority},
              std::pair{p.p[0], q.p[0]}, std::pair{p.p[1], q.p[1]}, std::pair{p.p[2], q.p[2]}})
          ASSERT_EQ(bits(x), bits(y)) << a << " " << b;
      }
    }
    // The bound refuses some and not all.
    EXPECT_GT(within, 0u);
    if (max_error < kUnbounded) {
      EXPECT_LT(within, edges.size() - 1);
    }
  }
}

// The classes found for fans: a vertex where two closed surfaces touch is
// pinched and locked, an open sheet's rim slides along it, a colour seam's
// vertices slide along the seam, and everything else is free.
TEST(MeshReducer, VertexClassesTellClosedFansFromPinchesRimsAndSeams) {
  Soup seam = test::uvSphereSoup(1.0f, 24, 12);
  seam.colors.clear();
  for (size_t t = 0; t < seam.triangleCount(); ++t) {
    const bool upper = seam.corner(t, 0)[2] + seam.corner(t, 1)[2] + seam.corner(t, 2)[2] > 0;
    for (int c = 0; c < 3; ++c) seam.colors.insert(seam.colors.end(), {upper ? 1.0f : 0.0f, 0, 0});
  }
  using Expect = uint8_t (*)(const test::Point& p);
  const std::pair<Soup, Expect> cases[] = {
      {test::twoCubesSharingVertexSoup(),
       [](const test::Point& p) -> uint8_t {
         return p == test::Point{1, 1, 1} ? reducer::kLocked : reducer::kFree;
       }},
      {griddedBox(4, 4.0f, 5),
       [](const test::Point& p) -> uint8_t {
         const bool rim = p[0] == 0 || p[0] == 4 || p[1] == 0 || p[1] == 4;
         return rim ? reducer::kBoundarySlide : reducer::kFree;
       }},
      {seam,
       [](const test::Point& p) -> uint8_t {
         return std::fabs(p[2]) < 1e-6f ? reducer::kSeamSlide : reducer::kFree;
       }},
  };
  for (const auto& [soup, expect] : cases) {
    TriMesh mesh = test::buildMesh(soup);
    reducer::ReducerState s;
    ASSERT_TRUE(s.load(mesh, 1));
    reducer::classifyVertices(s);
    for (uint32_t w = 0; w < s.vertexCount(); ++w) {
      const auto& position = mesh.vertices[s.source_vertex[w]].position;
      const test::Point p{position[0], position[1], position[2]};
      EXPECT_EQ(s.vertex[w].vertex_class, expect(p)) << p[0] << " " << p[1] << " " << p[2];
    }
  }
}

}  // namespace
}  // namespace vekmesh
