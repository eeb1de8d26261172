// The layer operations of the voxel grid: the scan-line fill of each x row,
// peeling the skin layer by layer, growing or filling layers in a chosen
// neighbourhood, and the revision that thickens skin exposed on two
// opposite sides. Every insertion goes through VoxelGrid::put, which stops
// at kMaxVoxels.
// Choices (also in voxel_grid.h): a peel also ends when a pass finds no skin;
// an offset pass works on the voxels present when it starts, in the
// neighbourhood its mode names (1 faces, 2 and edges, 3 and corners, 4 sides
// in the slice, 5 sides and diagonals in the slice, 6 up and down); the
// revision fills all 26 cells around a voxel exposed on two opposite sides
// (or on more than three, or an overhang corner).
#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "design/voxel_grid.h"

namespace vekmesh {
namespace {

constexpr uint8_t kPlusXBit = 2;

struct Step {
  int d[3];
};

// The lattice steps of each offset mode (see voxel_grid.h).
std::vector<Step> neighbourhood(int mode) {
  std::vector<Step> steps;
  for (int dz = -1; dz <= 1; ++dz)
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        const int moved = std::abs(dx) + std::abs(dy) + std::abs(dz);
        if (moved == 0) continue;
        bool take = false;
        switch (mode) {
          case 1:
            take = moved == 1;
            break;
          case 2:
            take = moved <= 2;
            break;
          case 3:
            take = true;
            break;
          case 4:
            take = dz == 0 && moved == 1;
            break;
          case 5:
            take = dz == 0;
            break;
          case 6:
            take = dz != 0 && moved == 1;
            break;
          default:
            break;
        }
        if (take) steps.push_back({{dx, dy, dz}});
      }
  return steps;
}

// Face directions a step crosses, as a bit mask.
uint8_t crossedFaces(const Step& step) {
  uint8_t mask = 0;
  for (int k = 0; k < kFaceDirections; ++k)
    if (step.d[kFaceAxis[k]] == kFaceSign[k]) mask |= uint8_t(1u << k);
  return mask;
}

Voxel stepped(const VoxelGrid& grid, Voxel v, const Step& step) {
  v.x += static_cast<float>(step.d[0]) * grid.voxelSize[0];
  v.y += static_cast<float>(step.d[1]) * grid.voxelSize[1];
  v.z += static_cast<float>(step.d[2]) * grid.voxelSize[2];
  v.faceFlags = 0;
  return v;
}

// New voxels show their free sides; the voxels beside them no longer show
// the side they now cover.
void exposeNewVoxels(VoxelGrid& grid, const std::vector<VoxelKey>& added) {
  for (VoxelKey key : added) {
    uint8_t flags = 0;
    for (int k = 0; k < kFaceDirections; ++k) {
      Voxel* n = grid.voxels.find(key + grid.faceOffset(k));
      if (!n)
        flags |= uint8_t(1u << k);
      else
        n->faceFlags &= uint8_t(~(1u << oppositeFace(k)));
    }
    grid.voxels.find(key)->faceFlags = flags;
  }
}

bool hasOppositePair(uint8_t flags) {
  for (int k = 0; k < 3; ++k)
    if ((flags & (1u << k)) && (flags & (1u << oppositeFace(k)))) return true;
  return false;
}

bool needsRevision(const VoxelGrid& grid, VoxelKey key, uint8_t flags) {
  const uint8_t exposed = flags & kExposedMask;
  int count = 0;
  for (int k = 0; k < kFaceDirections; ++k) count += (exposed >> k) & 1;
  if (count > 3 || hasOppositePair(exposed)) return true;
  if (count != 3 || !(exposed & (1u << 3))) return false;
  // An overhang corner: exposed below while the voxel above shows its top.
  const Voxel* above = grid.voxels.find(key + grid.faceOffset(0));
  return above && (above->faceFlags & 1u);
}

}  // namespace

void fillInterior(VoxelGrid& grid, bool blend_colours) {
  std::vector<VoxelKey> keys = grid.voxels.keys();
  std::sort(keys.begin(), keys.end());
  // The cells are counted first, so that a grid whose rows do not close
  // (aliased keys) fails the limit instead of filling memory.
  double cells = 0.0;
  for (size_t i = 0; i + 1 < keys.size(); ++i)
    if (!(grid.voxels.find(keys[i])->faceFlags & kPlusXBit))
      cells += static_cast<double>((keys[i + 1] - keys[i]) / 2 - 1);
  if (cells + static_cast<double>(grid.voxels.size()) > static_cast<double>(kMaxVoxels)) {
    grid.overflow = true;
    return;
  }
  grid.voxels.reserve(grid.voxels.size() + static_cast<size_t>(cells));
  for (size_t i = 0; i + 1 < keys.size(); ++i) {
    const Voxel start = *grid.voxels.find(keys[i]);
    if ((start.faceFlags & kPlusXBit) || keys[i + 1] == keys[i] + 2) continue;
    const Voxel end = *grid.voxels.find(keys[i + 1]);
    Voxel fill = start;
    fill.faceFlags = 0;
    if (!blend_colours) fill.red = fill.green = fill.blue = 255;
    for (VoxelKey key = keys[i] + 2; key < keys[i + 1]; key += 2) {
      if (blend_colours) {
        // Each cell averages the one before it with the end of the gap.
        fill.red = static_cast<uint8_t>((fill.red + end.red) >> 1);
        fill.green = static_cast<uint8_t>((fill.green + end.green) >> 1);
        fill.blue = static_cast<uint8_t>((fill.blue + end.blue) >> 1);
      }
      fill.x = static_cast<float>(start.x +
                                  static_cast<double>((key - keys[i]) / 2) * grid.voxelSize[0]);
      if (!grid.put(key, fill)) return;
    }
  }
}

void peelLayers(VoxelGrid& grid, int32_t layers, std::vector<Voxel>* out_voxels) {
  // The faces in the order a skin voxel hands on its cover: -z, -x, -y, +z,
  // +x, +y.
  constexpr int kOrder[kFaceDirections] = {3, 4, 5, 0, 1, 2};
  KeyTable<Voxel>& table = grid.voxels;
  for (int64_t pass = 0; layers < 0 || pass < layers; ++pass) {
    std::vector<size_t> skin;
    for (size_t s = 0; s < table.slotCount(); ++s)
      if (table.occupied(s) && table.valueAt(s).faceFlags >= 1 && table.valueAt(s).faceFlags < 64)
        skin.push_back(s);
    if (skin.empty()) return;  // also ends a negative count on a grid with no skin
    // The removed voxels are listed in key order; the table does not move
    // while flags change, and the skin is erased after the walk.
    if (out_voxels)
      std::sort(skin.begin(), skin.end(),
                [&](size_t a, size_t b) { return table.keyAt(a) < table.keyAt(b); });
    std::vector<VoxelKey> removed;
    removed.reserve(skin.size());
    for (size_t s : skin) {
      const VoxelKey key = table.keyAt(s);
      const uint8_t flags = table.valueAt(s).faceFlags;
      for (int k : kOrder) {
        if (flags & (1u << k)) continue;
        Voxel* n = table.find(key + grid.faceOffset(k));
        if (!n) continue;
        if (n->faceFlags == 0) n->faceFlags = kUncoveredBit;
        n->faceFlags |= uint8_t(1u << oppositeFace(k));
      }
      if (out_voxels) {
        out_voxels->push_back(table.valueAt(s));
        if (pass > 0) out_voxels->back().faceFlags = 0;
      }
      removed.push_back(key);
    }
    for (VoxelKey key : removed) grid.erase(key);
    for (size_t s = 0; s < table.slotCount(); ++s)
      if (table.occupied(s) && table.valueAt(s).faceFlags > kUncoveredBit)
        table.valueAt(s).faceFlags -= kUncoveredBit;
  }
}

void offsetVoxelLayers(VoxelGrid& grid, int32_t layers, int mode, std::vector<Voxel>* out_voxels) {
  const std::vector<Step> steps = neighbourhood(mode);
  if (steps.empty()) return;
  const bool outward = layers >= 0;
  const int64_t passes = std::abs(static_cast<int64_t>(layers));
  for (int64_t pass = 0; pass < passes; ++pass) {
    // The voxels present when the pass starts grow; those it adds wait for
    // the next pass.
    std::vector<VoxelKey> keys;
    grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
      if (!outward || (v.faceFlags & kExposedMask)) keys.push_back(key);
    });
    std::sort(keys.begin(), keys.end());
    std::vector<VoxelKey> added;
    for (VoxelKey key : keys) {
      const Voxel origin = *grid.voxels.find(key);
      bool grew = false;
      for (const Step& step : steps) {
        const bool exposed = (origin.faceFlags & crossedFaces(step)) != 0;
        if (exposed != outward) continue;
        const VoxelKey target = key + grid.stepOffset(step.d[0], step.d[1], step.d[2]);
        if (grid.voxels.contains(target)) continue;
        const Voxel fresh = stepped(grid, origin, step);
        if (!grid.put(target, fresh)) return;
        added.push_back(target);
        if (out_voxels) out_voxels->push_back(fresh);
        grew = true;
      }
      if (outward && grew && !out_voxels) grid.voxels.find(key)->faceFlags = 0;
    }
    if (outward) exposeNewVoxels(grid, added);
    if (added.empty()) return;
  }
}

void reviseThinSkin(VoxelGrid& grid, int passes) {
  std::vector<Step> around = neighbourhood(3);
  for (int pass = 0; pass < passes; ++pass) {
    std::vector<VoxelKey> revised;
    grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
      if (needsRevision(grid, key, v.faceFlags)) revised.push_back(key);
    });
    if (revised.empty()) return;
    // Key order: where two revised voxels share an empty cell, the first
    // one's colour fills it.
    std::sort(revised.begin(), revised.end());
    std::vector<VoxelKey> added;
    for (VoxelKey key : revised) {
      const Voxel origin = *grid.voxels.find(key);
      for (const Step& step : around) {
        const VoxelKey target = key + grid.stepOffset(step.d[0], step.d[1], step.d[2]);
        if (grid.voxels.contains(target)) continue;
        if (!grid.put(target, stepped(grid, origin, step))) return;
        added.push_back(target);
      }
    }
    exposeNewVoxels(grid, added);
  }
}

}  // namespace vekmesh
