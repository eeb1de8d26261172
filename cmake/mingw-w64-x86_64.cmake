# Cross-building the Windows x64 DLL and tools on Debian with MinGW-w64, the
# posix-threads flavour (its libgomp gives OpenMP). The GCC runtime, the C++
# library, winpthread and libgomp are linked statically, so the DLL needs only
# DLLs every Windows system has. Test programs run under wine64.
#
#   cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
#         -DVEKMESH_WINDOWS_DEPS=<prefix holding include/ and lib/ of Windows builds>
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VEKMESH_MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VEKMESH_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VEKMESH_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${VEKMESH_MINGW}-windres)

# Libraries and headers come from the MinGW sysroot and the prefix the build
# script fills (ClipperLib built from Debian's source, links to the header-only
# libraries); programs (cmake, python) from the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${VEKMESH_MINGW})
if(VEKMESH_WINDOWS_DEPS)
  list(APPEND CMAKE_FIND_ROOT_PATH ${VEKMESH_WINDOWS_DEPS})
  # Header-only libraries that are included without a find step (Boost).
  set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${VEKMESH_WINDOWS_DEPS}/include)
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEKMESH_WINDOWS_DEPS)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -static makes the linker take the archives of every runtime library,
# libgomp's and winpthread's included, instead of their DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
# FindOpenMP names the runtime by its full path and would take the import
# library libgomp.dll.a; point it at the archive.
execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=libgomp.a
  OUTPUT_VARIABLE VEKMESH_GOMP_ARCHIVE OUTPUT_STRIP_TRAILING_WHITESPACE)
if(EXISTS "${VEKMESH_GOMP_ARCHIVE}")
  set(OpenMP_gomp_LIBRARY "${VEKMESH_GOMP_ARCHIVE}" CACHE FILEPATH "libgomp, linked statically")
endif()

find_program(VEKMESH_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(VEKMESH_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VEKMESH_WINE64})
endif()
