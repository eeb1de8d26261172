# The export table of the shared library holds exactly the functions the public
# header declares, unmangled, and nothing else (no C++ symbol, no standard-library
# instantiation, no runtime library's): the dynamic symbols of the ELF build, the
# export directory of the DLL.
# Usage: cmake -DLIBRARY=<library> -DHEADER=<vekmesh.h> [-DNM=nm | -DOBJDUMP=objdump]
#              -P check_exports.cmake
file(STRINGS ${HEADER} declarations REGEX "^VEKMESH_API ")
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
  set(addresses 46)
endif()
list(SORT expected)
list(SORT symbols)
list(LENGTH symbols count)
if(NOT symbols STREQUAL expected OR NOT count EQUAL 46 OR NOT addresses EQUAL 46)
  message(FATAL_ERROR "exports differ from the header's 46 functions\n"
    "  exported (${count} names, ${addresses} addresses): ${symbols}\n  declared: ${expected}")
endif()
