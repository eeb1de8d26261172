# The tests of the Windows cross-build, run under Wine through the toolchain's
# emulator: the export table of the DLL, the C host loading it with
# LoadLibrary, and the platform layer's Win32 side. GoogleTest is built for
# Windows from the source Debian's googletest package installs.
set(VEKMESH_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources to build for Windows")
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${VEKMESH_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

add_executable(vekmesh_platform_tests platform_file_test.cpp)
target_link_libraries(vekmesh_platform_tests PRIVATE vekmesh_core gtest_main)
add_test(NAME PlatformLayerWin32 COMMAND vekmesh_platform_tests)

# The host finds the DLL in its own folder, as an application would.
add_executable(vekmesh_c_host_test c_host_test.c)
set_target_properties(vekmesh_c_host_test PROPERTIES C_STANDARD 11 C_EXTENSIONS ON)
target_include_directories(vekmesh_c_host_test PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_compile_definitions(vekmesh_c_host_test PRIVATE
  VEKMESH_LIBRARY_PATH="$<TARGET_FILE_NAME:VEKmesh_64>")
add_dependencies(vekmesh_c_host_test VEKmesh_64)
add_test(NAME CHostLoadsLibraryAndKeepsContract COMMAND vekmesh_c_host_test)

add_test(NAME DllExportsExactlyTheCInterface
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:VEKmesh_64>
          -DHEADER=${PROJECT_SOURCE_DIR}/include/vekmesh.h -DOBJDUMP=${CMAKE_OBJDUMP}
          -P ${CMAKE_CURRENT_SOURCE_DIR}/check_exports.cmake)
