# The export table of the shared library holds exactly the functions the public
# header declares, unmangled, and nothing else (no C++ symbol, no standard-library
# instantiation, no runtime library's): the dynamic symbols of the ELF build, the
# export directory of the DLL.
# Usage: cmake -DLIBRARY=<library> -DHEADER=<vekmesh.h> [-DNM=nm | -DOBJDUMP=objdump]
#              [-DAPI=<export macro> -DCOUNT=<functions>] -P check_exports.cmake
# API and COUNT default to VEKmesh_64's VEKMESH_API and 46; the scripting
# library passes VKM_API and no count (its header's declarations are the list).
if(NOT API)
  set(API VEKMESH_API)
  set(COUNT 46)
endif()
file(STRINGS ${HEADER} declarations REGEX "^${API} ")
set(expected "")
foreach(line IN LISTS declarations)
  string(REGEX MATCH "([A-Za-z0-9_]+)\\(" name "${line}")
  list(APPEND expected ${CMAKE_MATCH_1})
endforeach()
if(OBJDUMP)
  execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE table
    COMMAND_ERROR_IS_FATAL ANY)
  # Every exported address must have a name: compare the address count too.
  string(REGEX MATCH "\tExport Address Table[ \t]+([0-9a-fA-F]+)\n" _ "${table}")
  math(EXPR addresses "0x${CMAKE_MATCH_1}")
  # The names are "\t[ n] name" lines under "[Ordinal/Name Pointer] Table".
  string(REGEX REPLACE ".*\\[Ordinal/Name Pointer\\] Table\n" "" names "${table}")
  string(REGEX MATCHALL "\t\\[ *[0-9]+\\] [^\n]+" symbols "${names}")
  list(TRANSFORM symbols REPLACE "^\t\\[ *[0-9]+\\] " "")
else()
  if(NOT NM)
    set(NM nm)
  endif()
  execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE table
    COMMAND_ERROR_IS_FATAL ANY)
  # Lines are "<address> <type> <name>[@version]"; version-node symbols (type A)
  # carry no code and are not exports.
  string(REGEX MATCHALL "[0-9a-fA-F]* +[B-Zab-z] +[^ @\n]+" symbols "${table}")
  list(TRANSFORM symbols REPLACE "^[0-9a-fA-F]* +. +" "")
endif()
list(SORT expected)
if(NOT COUNT)
  list(LENGTH expected COUNT)
endif()
if(NOT OBJDUMP)
  set(addresses ${COUNT})
endif()
list(SORT symbols)
list(LENGTH symbols count)
if(NOT symbols STREQUAL expected OR NOT count EQUAL COUNT OR NOT addresses EQUAL COUNT)
  message(FATAL_ERROR "exports differ from the header's ${COUNT} functions\n"
    "  exported (${count} names, ${addresses} addresses): ${symbols}\n  declared: ${expected}")
endif()
