# Mesh reduction against meshoptimizer's meshopt_simplify and OpenMesh's
# quadric decimater (libopenmesh-dev, linked into this one target when found),
# with a sampled Hausdorff distance over a Boost.Geometry R-tree.
vekmesh_add_benchmark(reduce_bench reduce_bench.cpp mesh_distance.cpp)
vekmesh_link_openmesh(reduce_bench openmesh_peer.cpp "reduction (its decimater)")
