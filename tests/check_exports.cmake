# Reads the export table of the shared library and compares the defined names
# with the C interface listed in api/exports.map (the version script of the ELF
# build and the one list of exports): exactly these 46, unmangled, nothing else
# (no C++ symbol, no standard-library instantiation, no runtime library's).
# Usage: cmake -DLIBRARY=<libVEKmesh_64.so> -DEXPORTS_MAP=<api/exports.map> [-DNM=nm]
#              -P check_exports.cmake
#        cmake -DLIBRARY=<VEKmesh_64.dll> -DEXPORTS_MAP=<api/exports.map>
#              -DOBJDUMP=x86_64-w64-mingw32-objdump -P check_exports.cmake
file(STRINGS "${EXPORTS_MAP}" map_lines)
set(expected "")
foreach(line IN LISTS map_lines)
  # "  name;" lines; "global:", "local:", "*;" and comments are not names.
  if(line MATCHES "^[ \t]*([A-Za-z_][A-Za-z0-9_]*);[ \t]*$")
    list(APPEND expected "${CMAKE_MATCH_1}")
  endif()
endforeach()
list(LENGTH expected expected_count)
if(NOT expected_count EQUAL 46)
  message(FATAL_ERROR "${EXPORTS_MAP} lists ${expected_count} names, not 46")
endif()

set(found "")
if(OBJDUMP)
  # PE/COFF: the names of the export directory, one "\t[ n] name" line each
  # under "[Ordinal/Name Pointer] Table"; every exported address has a name.
  execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
    OUTPUT_VARIABLE table RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${OBJDUMP} failed on ${LIBRARY}: ${errors}")
  endif()
  string(REPLACE "\n" ";" lines "${table}")
  set(in_names FALSE)
  foreach(line IN LISTS lines)
    if(line MATCHES "^\\[Ordinal/Name Pointer\\] Table")
      set(in_names TRUE)
    elseif(in_names AND line MATCHES "^\t\\[ *[0-9]+\\] (.+)$")
      list(APPEND found "${CMAKE_MATCH_1}")
    elseif(in_names)
      set(in_names FALSE)
    elseif(NOT DEFINED address_count AND line MATCHES "^\tExport Address Table[ \t]+([0-9a-fA-F]+)$")
      # The first such line is the count ("Number in:"), a later one an address.
      math(EXPR address_count "0x${CMAKE_MATCH_1}")
    endif()
  endforeach()
  if(NOT address_count EQUAL 46)
    message(FATAL_ERROR "the export address table holds ${address_count} entries, not 46")
  endif()
else()
  if(NOT NM)
    set(NM nm)
  endif()
  execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
    OUTPUT_VARIABLE table RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${errors}")
  endif()
  # Lines are "<address> <type> <name>[@version]"; version-node symbols (type A)
  # carry no code and are not exports.
  string(REPLACE "\n" ";" lines "${table}")
  foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]* +([A-Za-z]) +([^ @]+)")
      if(NOT CMAKE_MATCH_1 STREQUAL "A")
        list(APPEND found "${CMAKE_MATCH_2}")
      endif()
    endif()
  endforeach()
endif()

set(unexpected ${found})
list(REMOVE_ITEM unexpected ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${found})
list(LENGTH found found_count)
if(unexpected OR missing OR NOT found_count EQUAL 46)
  message(FATAL_ERROR "exports differ from the C interface (${found_count} defined)\n"
    "  unexpected: ${unexpected}\n  missing: ${missing}")
endif()
message(STATUS "46 exports, nothing else")
