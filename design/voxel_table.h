// The voxel grid's storage: a hash table from a voxel key (always even) to a
// value, by open addressing with linear probing and backward-shift erasure
// (no tombstones, so a table that is peeled layer by layer stays short).
// Sixteen keys in a row along x share one home block, so a walk along a row
// and the +x/-x neighbour tests stay within a cache line or two.
//
// The grid is an ordered map in its contract; the operations that depend on
// the order sort the keys they walk, the others visit slots in table order,
// which gives the same voxels since they only read and write flags while
// they walk. A std::map of a few million nodes spent most of its time in
// cache misses down the tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {

template <class Value>
class KeyTable {
 public:
  // Keys are even, so an odd value marks an empty slot.
  static constexpr int64_t kEmpty = 1;
  static constexpr size_t kNoSlot = ~size_t(0);

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  size_t slotCount() const { return keys_.size(); }
  bool occupied(size_t slot) const { return keys_[slot] != kEmpty; }
  int64_t keyAt(size_t slot) const { return keys_[slot]; }
  Value& valueAt(size_t slot) { return values_[slot]; }
  const Value& valueAt(size_t slot) const { return values_[slot]; }

  size_t findSlot(int64_t key) const {
    if (keys_.empty()) return kNoSlot;
    for (size_t s = home(key);; s = (s + 1) & mask_) {
      if (keys_[s] == key) return s;
      if (keys_[s] == kEmpty) return kNoSlot;
    }
  }
  Value* find(int64_t key) {
    const size_t s = findSlot(key);
    return s == kNoSlot ? nullptr : &values_[s];
  }
  const Value* find(int64_t key) const {
    const size_t s = findSlot(key);
    return s == kNoSlot ? nullptr : &values_[s];
  }
  bool contains(int64_t key) const { return findSlot(key) != kNoSlot; }

  // The value under `key`, made from `fresh` when the key is new; `inserted`
  // says which. The reference lasts until the next insertion.
  Value& insert(int64_t key, const Value& fresh, bool& inserted) {
    if (2 * (size_ + 1) > keys_.size()) grow(2 * (size_ + 1));
    size_t s = home(key);
    for (; keys_[s] != kEmpty; s = (s + 1) & mask_)
      if (keys_[s] == key) {
        inserted = false;
        return values_[s];
      }
    keys_[s] = key;
    values_[s] = fresh;
    ++size_;
    inserted = true;
    return values_[s];
  }
  void assign(int64_t key, const Value& value) {
    bool inserted = false;
    insert(key, value, inserted) = value;
  }

  bool erase(int64_t key) {
    size_t hole = findSlot(key);
    if (hole == kNoSlot) return false;
    // Pull back every later key of the run whose home does not lie strictly
    // after the hole (cyclically), so that every probe still finds its key.
    for (size_t s = (hole + 1) & mask_; keys_[s] != kEmpty; s = (s + 1) & mask_) {
      const size_t h = home(keys_[s]);
      const bool stays = hole <= s ? (hole < h && h <= s) : (hole < h || h <= s);
      if (stays) continue;
      keys_[hole] = keys_[s];
      values_[hole] = values_[s];
      hole = s;
    }
    keys_[hole] = kEmpty;
    --size_;
    return true;
  }

  // Room for `count` keys without growing.
  void reserve(size_t count) {
    if (2 * count > keys_.size()) grow(2 * count);
  }

  void clear() {
    std::vector<int64_t>().swap(keys_);
    std::vector<Value>().swap(values_);
    size_ = 0;
    mask_ = 0;
    bits_ = 0;
  }

  template <class Visit>
  void forEach(Visit&& visit) {
    for (size_t s = 0; s < keys_.size(); ++s)
      if (keys_[s] != kEmpty) visit(keys_[s], values_[s]);
  }
  template <class Visit>
  void forEach(Visit&& visit) const {
    for (size_t s = 0; s < keys_.size(); ++s)
      if (keys_[s] != kEmpty) visit(keys_[s], values_[s]);
  }

  std::vector<int64_t> keys() const {
    std::vector<int64_t> out;
    out.reserve(size_);
    for (int64_t k : keys_)
      if (k != kEmpty) out.push_back(k);
    return out;
  }

 private:
  static constexpr int kBlockBits = 4;

  size_t home(int64_t key) const {
    const int64_t half = key >> 1;  // arithmetic shift: floor(key / 2)
    const uint64_t block = static_cast<uint64_t>(half >> kBlockBits) * 0x9E3779B97F4A7C15ull;
    const size_t scattered = static_cast<size_t>(block >> (64 - (bits_ - kBlockBits)));
    return ((scattered << kBlockBits) | static_cast<size_t>(half & ((1 << kBlockBits) - 1))) &
           mask_;
  }

  void grow(size_t at_least) {
    int bits = kBlockBits + 2;
    while ((size_t(1) << bits) < at_least) ++bits;
    std::vector<int64_t> old_keys(size_t(1) << bits, kEmpty);
    std::vector<Value> old_values(size_t(1) << bits);
    old_keys.swap(keys_);
    old_values.swap(values_);
    bits_ = bits;
    mask_ = (size_t(1) << bits) - 1;
    for (size_t s = 0; s < old_keys.size(); ++s) {
      if (old_keys[s] == kEmpty) continue;
      size_t t = home(old_keys[s]);
      while (keys_[t] != kEmpty) t = (t + 1) & mask_;
      keys_[t] = old_keys[s];
      values_[t] = old_values[s];
    }
  }

  std::vector<int64_t> keys_;
  std::vector<Value> values_;
  size_t size_ = 0;
  size_t mask_ = 0;
  int bits_ = 0;
};

}  // namespace vekmesh
