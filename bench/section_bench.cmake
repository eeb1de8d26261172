# Plane sections and the plane cut against CGAL's Polygon_mesh_slicer and
# Polygon_mesh_processing::clip (libcgal-dev, header only, with GMP and MPFR),
# linked into this one target; and weaknessDetect through the shared library.
vekmesh_add_benchmark(section_bench section_bench.cpp)
target_link_libraries(section_bench PRIVATE OpenMP::OpenMP_CXX)
vekmesh_add_cgal_peer(section_bench section_cgal_peer.cpp "plane sections and the cut")
