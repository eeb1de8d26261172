# Mesh reduction against meshoptimizer's meshopt_simplify and OpenMesh's
# quadric decimater (libopenmesh-dev, linked into this one target when found),
# with a sampled Hausdorff distance over a Boost.Geometry R-tree.
vekmesh_add_benchmark(reduce_bench reduce_bench.cpp mesh_distance.cpp)
find_path(VEKMESH_OPENMESH_INCLUDE OpenMesh/Tools/Decimater/DecimaterT.hh)
find_library(VEKMESH_OPENMESH_CORE OpenMeshCore)
find_library(VEKMESH_OPENMESH_TOOLS OpenMeshTools)
if(VEKMESH_OPENMESH_INCLUDE AND VEKMESH_OPENMESH_CORE AND VEKMESH_OPENMESH_TOOLS)
  target_sources(reduce_bench PRIVATE openmesh_peer.cpp)
  # OpenMesh's default-constructed points are deliberately uninitialised; GCC
  # reports it from inside the standard library, where SYSTEM does not reach.
  set_source_files_properties(openmesh_peer.cpp PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
  target_include_directories(reduce_bench SYSTEM PRIVATE ${VEKMESH_OPENMESH_INCLUDE})
  target_link_libraries(reduce_bench PRIVATE ${VEKMESH_OPENMESH_TOOLS} ${VEKMESH_OPENMESH_CORE})
  target_compile_definitions(reduce_bench PRIVATE VEKMESH_HAVE_OPENMESH=1 _USE_MATH_DEFINES)
  message(STATUS "Benchmarks: comparing reduction against OpenMesh's decimater")
else()
  message(STATUS "Benchmarks: OpenMesh not found (libopenmesh-dev), decimater comparison skipped")
endif()
