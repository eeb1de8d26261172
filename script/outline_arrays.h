// Polygons gathered for a vkm_outlines: points, counts, labels and groups in
// vectors, handed to the caller as malloc'd arrays in one step.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "include/vekmesh/script.h"
#include "script/script_frame.h"

namespace vekmesh::script {

class OutlineArrays {
 public:
  // Adds one polygon of `n` points (x, y, z each at `points`).
  void add(const float* points, size_t n, int32_t label, int32_t group) {
    points_.insert(points_.end(), points, points + 3 * n);
    counts_.push_back(static_cast<int32_t>(n));
    labels_.push_back(label);
    groups_.push_back(group);
  }

  // The arrays for the caller; nothing is leaked when an allocation fails.
  vkm_outlines release() const {
    vkm_outlines out{};
    try {
      out.polygon_count = counts_.size();
      out.point_counts = copied(counts_);
      out.labels = copied(labels_);
      out.groups = copied(groups_);
      out.points = copied(points_);
    } catch (...) {
      vkm_outlines_free(&out);
      throw;
    }
    return out;
  }

 private:
  template <class T>
  static T* copied(const std::vector<T>& values) {
    T* p = allocated<T>(values.size());
    if (!values.empty()) std::memcpy(p, values.data(), values.size() * sizeof(T));
    return p;
  }

  std::vector<float> points_;
  std::vector<int32_t> counts_, labels_, groups_;
};

}  // namespace vekmesh::script
