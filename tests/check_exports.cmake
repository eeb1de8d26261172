# Reads the dynamic symbol table of the shared library and compares the
# defined names with the C interface: exactly these 46, unmangled, nothing
# else (no C++ symbol, no standard-library instantiation).
# Usage: cmake -DLIBRARY=<path to libVEKmesh_64.so> [-DNM=nm] -P check_exports.cmake
set(expected
  modelRepair modelRepair64 modelRepairFromData modelRepairFromData64
  modelRepairFromColorData modelRepairFromColorDataWithPostDetection
  flawsDetect flawsDetect64 errorDetectAfterMeshReduceFromColorData weaknessDetect
  meshReduceFromFile meshReduceFromFile64 meshReduceFromData meshReduceFromColorData
  meshPreprocessorFromFile meshPreprocessorFromFile64 meshPreprocessorFromFileSaveAs64
  meshPreprocessorCtrlFromFile meshPreprocessorFromData
  subdivisionFromData subdivisionFromColorData remeshFromData64 reviseTriangleFromData
  orientationOptimization balancingPreviewFromData balancingFromData
  voxelize hollowFromData lampshadePreview lampshadeFromData cellularInfillFromData
  decompositionUniformPreview decompositionAutoPreview decompositionUniformFromData
  decompositionAutoFromData separateFromData
  importFile importFileVRML importFileIges importFileStep exportFileGLTF
  saveasObjFromDataDoublePrecision
  freeAllArray freeVertexArray freeDecompositionPreviewArray freeBalancingPreviewArray)
list(LENGTH expected expected_count)
if(NOT expected_count EQUAL 46)
  message(FATAL_ERROR "the expected list holds ${expected_count} names, not 46")
endif()

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
set(found "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-fA-F]* +([A-Za-z]) +([^ @]+)")
    if(NOT CMAKE_MATCH_1 STREQUAL "A")
      list(APPEND found "${CMAKE_MATCH_2}")
    endif()
  endif()
endforeach()

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
