// A portable hint to start loading a cache line. Walks over shuffled meshes
// miss the cache on nearly every face; issuing the loads a few steps ahead
// lets them overlap.
#pragma once

namespace vekmesh {

inline void prefetchRead(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
  __builtin_prefetch(p, 0);
#else
  (void)p;
#endif
}

inline void prefetchWrite(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
  __builtin_prefetch(p, 1);
#else
  (void)p;
#endif
}

}  // namespace vekmesh
