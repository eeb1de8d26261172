# The whole repair of generated broken spheres (modelRepairFromData64 through
# the shared library) against admesh's library doing its full repair of the
# same file. admesh (libadmesh-dev) is linked into this one target when found.
vekmesh_add_benchmark(repair_bench repair_bench.cpp ${PROJECT_SOURCE_DIR}/tests/broken_sphere.cpp)
target_include_directories(repair_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(repair_bench PRIVATE VEKmesh_64)
find_path(VEKMESH_ADMESH_INCLUDE admesh/stl.h)
find_library(VEKMESH_ADMESH_LIBRARY admesh)
if(VEKMESH_ADMESH_INCLUDE AND VEKMESH_ADMESH_LIBRARY)
  target_include_directories(repair_bench SYSTEM PRIVATE ${VEKMESH_ADMESH_INCLUDE})
  target_link_libraries(repair_bench PRIVATE ${VEKMESH_ADMESH_LIBRARY})
  target_compile_definitions(repair_bench PRIVATE VEKMESH_HAVE_ADMESH=1)
  message(STATUS "Benchmarks: comparing the repair against admesh")
else()
  message(STATUS "Benchmarks: admesh not found (libadmesh-dev), repair comparison skipped")
endif()
