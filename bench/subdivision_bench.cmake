# Loop subdivision against OpenMesh's uniform Loop subdivider
# (libopenmesh-dev, linked into this one target when found).
vekmesh_add_benchmark(subdivision_bench subdivision_bench.cpp)
target_link_libraries(subdivision_bench PRIVATE OpenMP::OpenMP_CXX)
vekmesh_link_openmesh(subdivision_bench openmesh_loop_peer.cpp "subdivision (its LoopT)")
