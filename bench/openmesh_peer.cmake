# OpenMesh (libopenmesh-dev) as a peer: vekmesh_link_openmesh links it into
# one benchmark target with the translation unit that holds all its use,
# defines VEKMESH_HAVE_OPENMESH there, and says what is compared.
find_path(VEKMESH_OPENMESH_INCLUDE OpenMesh/Tools/Decimater/DecimaterT.hh)
find_library(VEKMESH_OPENMESH_CORE OpenMeshCore)
find_library(VEKMESH_OPENMESH_TOOLS OpenMeshTools)
function(vekmesh_link_openmesh name peer_source what)
  if(VEKMESH_OPENMESH_INCLUDE AND VEKMESH_OPENMESH_CORE AND VEKMESH_OPENMESH_TOOLS)
    target_sources(${name} PRIVATE ${peer_source})
    # OpenMesh's default-constructed points are deliberately uninitialised; GCC
    # reports it from inside the standard library, where SYSTEM does not reach.
    set_source_files_properties(${peer_source} PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
    target_include_directories(${name} SYSTEM PRIVATE ${VEKMESH_OPENMESH_INCLUDE})
    target_link_libraries(${name} PRIVATE ${VEKMESH_OPENMESH_TOOLS} ${VEKMESH_OPENMESH_CORE})
    target_compile_definitions(${name} PRIVATE VEKMESH_HAVE_OPENMESH=1 _USE_MATH_DEFINES)
    message(STATUS "Benchmarks: comparing ${what} against OpenMesh")
  else()
    message(STATUS "Benchmarks: OpenMesh not found (libopenmesh-dev), ${what} comparison skipped")
  endif()
endfunction()
