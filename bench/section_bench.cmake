# Plane sections and the plane cut against CGAL's Polygon_mesh_slicer and
# Polygon_mesh_processing::clip (libcgal-dev, header only, with GMP and MPFR),
# linked into this one target; and weaknessDetect through the shared library.
vekmesh_add_benchmark(section_bench section_bench.cpp)
target_link_libraries(section_bench PRIVATE OpenMP::OpenMP_CXX)
if(VEKMESH_CGAL_INCLUDE AND VEKMESH_GMP_LIBRARY AND VEKMESH_MPFR_LIBRARY)
  target_sources(section_bench PRIVATE section_cgal_peer.cpp)
  # CGAL's interval arithmetic switches rounding modes (see separation_bench).
  # The slicer's Boost graph default-constructs edge descriptors that GCC
  # reports from inside the standard library, where SYSTEM does not reach.
  set_source_files_properties(section_cgal_peer.cpp PROPERTIES
    COMPILE_OPTIONS "-frounding-math;-Wno-maybe-uninitialized")
  target_include_directories(section_bench SYSTEM PRIVATE ${VEKMESH_CGAL_INCLUDE})
  target_link_libraries(section_bench PRIVATE ${VEKMESH_MPFR_LIBRARY} ${VEKMESH_GMP_LIBRARY})
  target_compile_definitions(section_bench PRIVATE VEKMESH_HAVE_CGAL=1)
  message(STATUS "Benchmarks: comparing plane sections and the cut against CGAL")
else()
  message(STATUS "Benchmarks: CGAL not found (libcgal-dev), section and cut comparisons skipped")
endif()

vekmesh_add_benchmark(weakness_bench weakness_bench.cpp)
target_link_libraries(weakness_bench PRIVATE VEKmesh_64)
