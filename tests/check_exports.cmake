# The dynamic symbol table of the shared library holds exactly the functions
# the public header declares, unmangled, and nothing else (no C++ symbol, no
# standard-library instantiation).
# Usage: cmake -DLIBRARY=<library> -DHEADER=<vekmesh.h> [-DNM=nm] -P check_exports.cmake
file(STRINGS ${HEADER} declarations REGEX "^VEKMESH_API ")
set(expected "")
foreach(line IN LISTS declarations)
  string(REGEX MATCH "([A-Za-z0-9_]+)\\(" name "${line}")
  list(APPEND expected ${CMAKE_MATCH_1})
endforeach()
if(NOT NM)
  set(NM nm)
endif()
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE table
  COMMAND_ERROR_IS_FATAL ANY)
# Lines are "<address> <type> <name>[@version]"; version-node symbols (type A)
# carry no code and are not exports.
string(REGEX MATCHALL "[0-9a-fA-F]* +[B-Zab-z] +[^ @\n]+" symbols "${table}")
list(TRANSFORM symbols REPLACE "^[0-9a-fA-F]* +. +" "")
list(SORT expected)
list(SORT symbols)
list(LENGTH symbols count)
if(NOT symbols STREQUAL expected OR NOT count EQUAL 46)
  message(FATAL_ERROR "exports differ from the header's 46 functions\n"
    "  exported (${count}): ${symbols}\n  declared: ${expected}")
endif()
