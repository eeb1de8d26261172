# The whole repair of generated broken spheres (modelRepairFromData64 through
# the shared library) against admesh's library doing its full repair of the
# same file.
vekmesh_add_benchmark(repair_bench repair_bench.cpp)
target_link_libraries(repair_bench PRIVATE VEKmesh_64)
vekmesh_link_admesh(repair_bench "the repair")
