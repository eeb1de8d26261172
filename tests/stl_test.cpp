// The STL loader and writer on files the tests write: binary/ASCII choice,
// the ASCII grouping rule, bit-exact round trips, hostile files and paths.
#include "io/stl.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/stat.h>

#include <cstring>
#include <limits>

#include "io/file_dispatch.h"
#include "io_samples.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace {

using test::ScratchDir;
using test::Soup;

// The live triangles of a mesh as corner coordinates, for comparison with a soup.
std::vector<float> cornersOf(const SubMesh& mesh) {
  std::vector<float> out;
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3 && !f.removed; ++c)
      out.insert(out.end(), mesh.vertices[f.v[c]].position.begin(),
                 mesh.vertices[f.v[c]].position.end());
  return out;
}

bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

TriMesh load(const std::string& path, RunContext context = {}) {
  TriMesh mesh;
  loadStl(path.c_str(), mesh, context);
  return mesh;
}

// The odd ASCII file is larger than the text reader's buffer, so words and
// numbers straddle refills.
TEST(StlLoader, BinaryAndAsciiGiveTheSameWeldedMesh) {
  ScratchDir dir;
  const Soup sphere = test::uvSphereSoup(3.0f, 96, 48);
  const std::string odd = test::asciiStl(sphere, test::AsciiStyle::kOdd);
  ASSERT_GT(odd.size(), size_t(2) << 20);
  // A "solid" header does not make a file ASCII: its size decides.
  const std::string files[] = {
      dir.write("binary.stl", test::binaryStl(sphere)),
      dir.write("solid_header.stl", test::binaryStl(sphere, "solid sphere")),
      dir.write("attributes.stl", test::binaryStl(sphere, "colour", -1, 0xFFFF)),
      dir.write("plain.stl", test::asciiStl(sphere)),
      dir.write("odd.stl", odd),
  };
  for (const std::string& path : files) {
    SCOPED_TRACE(path);
    const TriMesh mesh = load(path);
    EXPECT_EQ(test::invariantViolation(mesh), "");
    EXPECT_TRUE(sameBits(cornersOf(mesh), sphere.corners));
    EXPECT_TRUE(mesh.texCoords.empty());
    for (const Face& f : mesh.faces)
      EXPECT_TRUE(f.material == kNoMaterial && f.colors[1][2] == 255);
  }
}

// Corners are grouped in threes whatever the facets; vertices outside a facet
// are not corners; words only have to contain the keywords; numbers are read
// as doubles and narrowed to float; a cut vertex and a non-number are dropped.
TEST(StlLoader, AsciiCornersAreGroupedInThreesWhateverTheFacets) {
  ScratchDir dir;
  const std::pair<std::string, std::vector<float>> cases[] = {
      {test::kFourVertexFacetStl,
       {0, 0, 0, 1, 0, 0, 1, 1, 0,    // first three of facet 1
        0, 1, 0, 0, 0, 1, 1, 0, 1}},  // its fourth, then facet 2
      {"solid vertex 9 9 9\n"
       "xfacetx vertex 0.1 0 0 vertex 0 +1e0 0 vertex 0 0 1E+000\n"
       "myendfacety vertex 5 5 5\n"
       "facet vertex 1 1 1 vertex 2 2 2\n",
       {0.1f, 0, 0, 0, 1, 0, 0, 0, 1}},
      {"facet vertex 0 0 0 vertex 1 0 0 vertex 0 x 1 vertex 4", {0, 0, 0, 1, 0, 0, 0, 0, 1}},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_TRUE(sameBits(cornersOf(load(dir.write("in.stl", text))), expected)) << text;
}

TEST(StlWriter, RoundTripIsBitExactAndFollowsTheLayout) {
  ScratchDir dir;
  Soup soup = test::cubeSoup(2.5f, test::Winding::kOutward, {-1.0f, 1e-3f, 3e7f});
  // Values that a text detour would damage: a subnormal, a negative zero, the
  // largest float.
  soup.addTriangle({1e-40f, -0.0f, 0.1f}, {std::numeric_limits<float>::max(), 0.0f, 0.0f},
                   {0.0f, 1.0f / 3.0f, -7.0f});
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces[2].removed = 1;  // removed faces are not written
  const size_t live = mesh.faces.size() - 1;

  const std::string path = dir.file("out.stl");
  writeStl(path.c_str(), mesh);
  const std::string bytes = test::readFileBytes(path);
  ASSERT_EQ(bytes.size(), 84 + 50 * live);
  EXPECT_EQ(std::memcmp(bytes.data(), "VEKMesh", 7), 0);
  EXPECT_EQ(bytes.substr(7, 73), std::string(73, '\0'));
  uint32_t count = 0;
  std::memcpy(&count, bytes.data() + 80, 4);
  EXPECT_EQ(count, live);
  for (size_t r = 0; r < live; ++r) {  // zero normal and attribute
    EXPECT_EQ(bytes.substr(84 + 50 * r, 12), std::string(12, '\0')) << r;
    EXPECT_EQ(bytes.substr(84 + 50 * r + 48, 2), std::string(2, '\0')) << r;
  }

  EXPECT_TRUE(sameBits(cornersOf(load(path)), cornersOf(mesh)));

  // An empty mesh is a valid, empty file.
  writeStl(path.c_str(), TriMesh{});
  EXPECT_EQ(test::readFileBytes(path).size(), 84u);
  // An unwritable path is ignored.
  writeStl((dir.path() + "/no/such/dir/out.stl").c_str(), mesh);
}

TEST(StlLoader, HostileFilesGiveWhatIsThereAndNothingMore) {
  ScratchDir dir;
  const Soup cube = test::cubeSoup();

  // A count of four billion in a 200-byte file: the two whole records only.
  std::string huge = test::binaryStl(cube, "huge", 4000000000LL);
  huge.resize(200);
  EXPECT_TRUE(sameBits(cornersOf(load(dir.write("huge.stl", huge))),
                       std::vector<float>(cube.corners.begin(), cube.corners.begin() + 18)));

  // A cut last record is dropped; a padded file is read for its count.
  std::string cut = test::binaryStl(cube);
  cut.resize(84 + 50 * 7 + 30);
  EXPECT_EQ(load(dir.write("cut.stl", cut)).faces.size(), 7u);
  const std::string padded = test::binaryStl(cube) + "trailing bytes";
  EXPECT_TRUE(sameBits(cornersOf(load(dir.write("padded.stl", padded))), cube.corners));

  // Nothing to read: empty, shorter than a header, a header that promises
  // nothing, binary noise that is no STL.
  for (const std::string& nothing :
       {std::string(), std::string("solid x"), std::string(84, '\0'), std::string(83, '\xff')})
    EXPECT_TRUE(load(dir.write("nothing.stl", nothing)).faces.empty()) << nothing.size();
}

// Large files are read in parts and written in blocks by the team: the mesh
// is the one a single reader makes, whole or cut short, and the file the one
// a single writer makes, whatever the thread count.
TEST(StlFiles, LargeOnesAreReadAndWrittenInPartsAsAWhole) {
  ScratchDir dir;
  const Soup sphere = test::uvSphereSoup(3.0f, 512, 160);
  ASSERT_GT(sphere.triangleCount(), 150000u);
  const std::string whole = dir.write("large.stl", test::binaryStl(sphere));
  std::string bytes = test::binaryStl(sphere, "cut", 4000000000LL);
  bytes.resize(84 + 50 * 150000 + 30);
  const std::string cut = dir.write("cut.stl", bytes);
  const std::vector<float> first(sphere.corners.begin(), sphere.corners.begin() + 9 * 150000);
  // Written back with every seventh face removed: the same bytes whoever
  // packs the blocks, and the live faces in order.
  TriMesh thinned = load(whole);
  for (size_t f = 0; f < thinned.faces.size(); f += 7) thinned.faces[f].removed = 1;
  const std::string written = dir.file("written.stl");
  std::string bytes_on_one;
  const int threads = omp_get_max_threads();
  for (const int team : {1, 3}) {
    SCOPED_TRACE(team);
    omp_set_num_threads(team);
    EXPECT_TRUE(sameBits(cornersOf(load(whole)), sphere.corners));
    EXPECT_TRUE(sameBits(cornersOf(load(cut)), first));
    ASSERT_TRUE(writeStl(written.c_str(), thinned));
    const std::string bytes = test::readFileBytes(written);
    if (team == 1) bytes_on_one = bytes;
    EXPECT_TRUE(bytes == bytes_on_one);
    EXPECT_TRUE(sameBits(cornersOf(load(written)), cornersOf(thinned)));
  }
  omp_set_num_threads(threads);
}

// What the file gave, before welding drops the facets that collapse: the
// tool reports the difference.
TEST(StlLoader, CountsTheTrianglesReadBeforeWelding) {
  ScratchDir dir;
  Soup cube = test::cubeSoup();
  cube.addTriangle({0, 0, 0}, {0, 0, 0}, {1, 0, 0});
  for (const std::string& path : {dir.write("cube.stl", test::binaryStl(cube)),
                                  dir.write("cube_ascii.stl", test::asciiStl(cube))}) {
    TriMesh mesh;
    EXPECT_EQ(loadStl(path.c_str(), mesh), 13u) << path;
    EXPECT_EQ(mesh.faces.size(), 12u);
    TriMesh again;
    EXPECT_EQ(importByExtension(path.c_str(), again), 13u);
  }
  std::string cut = test::binaryStl(cube);
  cut.resize(84 + 50 * 7 + 30);
  TriMesh seven;
  EXPECT_EQ(loadStl(dir.write("cut.stl", cut).c_str(), seven), 7u);
  TriMesh none;
  EXPECT_EQ(loadStl(dir.file("missing.stl").c_str(), none), 0u);
  // The OBJ reader counts the triangles of its polygons.
  const std::string quad = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n";
  EXPECT_EQ(importByExtension(dir.write("quad.obj", quad).c_str(), none), 2u);
}

TEST(StlLoader, UnreadablePathsLeaveTheMeshAloneAndWriteNoProgress) {
  ScratchDir dir;
  test::RunRecorder good_progress;  // over the span the exports give
  EXPECT_EQ(load(dir.write("cube.stl", test::binaryStl(test::cubeSoup())),
                 good_progress.context().sub(0.0, 0.5))
                .faces.size(),
            12u);
  EXPECT_EQ(good_progress.percents, (std::vector<int32_t>{5, 48}));
  // A FIFO with no writer would block an ordinary open for ever.
  const std::string fifo = dir.file("fifo.stl");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path :
       {dir.path() + "/missing.stl", dir.path(), std::string("/dev/zero"), fifo}) {
    SCOPED_TRACE(path);
    TriMesh mesh = test::buildMesh(test::tetrahedronSoup());
    test::RunRecorder progress;
    loadStl(path.c_str(), mesh, progress.context());
    EXPECT_EQ(mesh.faces.size(), 4u);
    EXPECT_TRUE(progress.percents.empty());
  }
  TriMesh none;
  loadStl(nullptr, none);  // no crash
}

}  // namespace
}  // namespace vekmesh
