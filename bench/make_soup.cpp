// Writes the damaged sphere soups of the whole-process comparison as binary
// STL: the broken sphere's UV sphere with one kind of damage (the same steps
// and random stream as tests/support/broken_sphere.cpp), in order or shuffled.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "broken_sphere.h"

namespace {

using vekmesh::test::SphereWork;
using vekmesh::test::SplitMix;

constexpr const char* kUsage =
    "usage: make_soup --triangles N --damage KIND [--shuffle] [--seed S] OUT.stl\n"
    "  A UV sphere of radius 50 and about N triangles, written as binary STL with one\n"
    "  kind of damage:\n"
    "    intact      none\n"
    "    holes       20 holes of 1 to 6 faces around vertices between the polar caps\n"
    "    duplicates  1% of the faces appended again as copies\n"
    "    flipped     1% of the faces drawn with reversed winding (a face drawn twice\n"
    "                turns back)\n"
    "    degenerate  0.5% degenerate triangles added: half repeat a corner, half are\n"
    "                slivers within one 1/5000 grid cell\n"
    "  --shuffle    shuffles the triangle order and rotates each triangle's corners\n"
    "               (winding kept); the triangles are the same as without it\n"
    "  --seed S     the seed of the damage and of the shuffle (default 1)\n";

// Plenty for a benchmark, and far below the 32-bit counts of the STL header
// and of the sphere's vertex indices.
constexpr unsigned long long kMaxTriangles = 200000000ull;

enum class Damage { kIntact, kHoles, kDuplicates, kFlipped, kDegenerate };

struct Options {
  unsigned long long triangles = 0;
  Damage damage = Damage::kIntact;
  std::string damage_name;
  bool shuffle = false;
  unsigned long long seed = 1;
  std::string out;
};

bool parseCount(const char* text, unsigned long long& value) {
  char* end = nullptr;
  errno = 0;
  value = std::strtoull(text, &end, 10);
  return errno == 0 && end != text && *end == '\0' && text[0] != '-';
}

bool parseDamage(const std::string& name, Damage& damage) {
  static const struct {
    const char* name;
    Damage damage;
  } kNames[] = {{"intact", Damage::kIntact},
                {"holes", Damage::kHoles},
                {"duplicates", Damage::kDuplicates},
                {"flipped", Damage::kFlipped},
                {"degenerate", Damage::kDegenerate}};
  for (const auto& n : kNames)
    if (name == n.name) {
      damage = n.damage;
      return true;
    }
  return false;
}

// An empty string when the command line is good, else what is wrong with it.
std::string parseOptions(int argc, char** argv, Options& o) {
  bool have_damage = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool has_value = i + 1 < argc;
    if (arg == "--shuffle") {
      o.shuffle = true;
    } else if (arg == "--triangles" && has_value) {
      if (!parseCount(argv[++i], o.triangles) || o.triangles < 100 || o.triangles > kMaxTriangles)
        return "--triangles takes a count from 100 to 200000000";
    } else if (arg == "--seed" && has_value) {
      if (!parseCount(argv[++i], o.seed)) return "--seed takes a non-negative integer";
    } else if (arg == "--damage" && has_value) {
      o.damage_name = argv[++i];
      if (!parseDamage(o.damage_name, o.damage)) return "unknown damage '" + o.damage_name + "'";
      have_damage = true;
    } else if (!arg.empty() && arg[0] != '-' && o.out.empty()) {
      o.out = arg;
    } else {
      return "unexpected argument '" + arg + "'";
    }
  }
  if (o.triangles == 0) return "--triangles is required";
  if (!have_damage) return "--damage is required";
  if (o.out.empty()) return "the output file is required";
  return "";
}

// Binary STL with each facet's normal from its winding (zero for a degenerate
// one), as an exporter would write it; written in large blocks.
bool writeStl(const std::string& path, const std::vector<float>& corners,
              const std::string& title) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  char header[80] = {};
  std::snprintf(header, sizeof header, "%s", title.c_str());
  const uint32_t count = static_cast<uint32_t>(corners.size() / 9);
  bool ok = std::fwrite(header, 1, sizeof header, f) == sizeof header &&
            std::fwrite(&count, 4, 1, f) == 1;
  constexpr size_t kRecord = 50, kBlock = 65536;
  std::vector<unsigned char> block(kRecord * kBlock);
  for (size_t first = 0; ok && first < count; first += kBlock) {
    const size_t n = std::min<size_t>(kBlock, count - first);
    for (size_t k = 0; k < n; ++k) {
      const float* p = &corners[9 * (first + k)];
      const double u[3] = {double(p[3]) - p[0], double(p[4]) - p[1], double(p[5]) - p[2]};
      const double v[3] = {double(p[6]) - p[0], double(p[7]) - p[1], double(p[8]) - p[2]};
      double n3[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                      u[0] * v[1] - u[1] * v[0]};
      const double len = std::sqrt(n3[0] * n3[0] + n3[1] * n3[1] + n3[2] * n3[2]);
      float normal[3] = {0.0f, 0.0f, 0.0f};
      if (len > 0.0)
        for (int c = 0; c < 3; ++c) normal[c] = static_cast<float>(n3[c] / len);
      unsigned char* r = &block[kRecord * k];
      std::memcpy(r, normal, 12);
      std::memcpy(r + 12, p, 36);
      std::memset(r + 48, 0, 2);
    }
    ok = std::fwrite(block.data(), kRecord, n, f) == n;
  }
  return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  const std::string problem = parseOptions(argc, argv, o);
  if (!problem.empty()) {
    std::fprintf(stderr, "make_soup: %s\n", problem.c_str());
    std::fputs(kUsage, stderr);
    return 2;
  }

  // The damage draws come first and the shuffle after them from the same
  // stream, so the in-order and the shuffled soup of a seed hold the same
  // triangles and a timing ratio between them compares order alone.
  SplitMix rng{o.seed};
  SphereWork sphere = vekmesh::test::intactSphere(o.triangles, 50.0f);
  const size_t intact = sphere.triangles.size();
  size_t changed = 0;
  switch (o.damage) {
    case Damage::kIntact:
      break;
    case Damage::kHoles:
      changed = vekmesh::test::punchHoles(sphere, rng);
      break;
    case Damage::kDuplicates:
      changed = intact / 100;
      vekmesh::test::duplicateFaces(sphere, changed, intact, rng);
      break;
    case Damage::kFlipped:
      changed = intact / 100;
      vekmesh::test::flipFaces(sphere, changed, intact, rng);
      break;
    case Damage::kDegenerate:
      changed = intact / 200;
      vekmesh::test::addDegenerateFaces(sphere, changed, intact, rng);
      break;
  }
  const std::vector<float> corners =
      o.shuffle ? vekmesh::test::shuffledSoup(sphere, rng) : vekmesh::test::orderedSoup(sphere);

  const std::string title = "VEKmesh soup: sphere " + o.damage_name +
                            (o.shuffle ? " shuffled" : " in order") + " seed " +
                            std::to_string(o.seed);
  if (!writeStl(o.out, corners, title)) {
    std::fprintf(stderr, "make_soup: cannot write %s: %s\n", o.out.c_str(), std::strerror(errno));
    return 1;
  }
  std::printf("%s: %zu triangles (intact sphere %zu, %s: %zu faces%s)\n", o.out.c_str(),
              corners.size() / 9, intact, o.damage_name.c_str(), changed,
              o.shuffle ? ", shuffled" : "");
  return 0;
}
