# Where the published OCPP JSON schemas lie: those that the npm package ocpp-rpc brings. The tools install it below
# build/node, a plain `npm ci` beside the simulator.
set(SECC_OCPP_SCHEMAS "" CACHE PATH "Folder of the published OCPP JSON schemas")
foreach(folder IN ITEMS build/node simulator)
  if(NOT EXISTS "${SECC_OCPP_SCHEMAS}/ocpp1_6.json")
    set(SECC_OCPP_SCHEMAS ${CMAKE_SOURCE_DIR}/${folder}/node_modules/ocpp-rpc/lib/schemas)
  endif()
endforeach()

# Every payload record as a row of one table; walked by tests and by fuzz targets.
add_library(secc_payload_table STATIC payloadtable.cpp)
target_link_libraries(secc_payload_table PUBLIC secc_payloads)

secc_unit_test(
  NAME operationmodel
  SOURCES fakerecords.cpp framewritertest.cpp incallerrortest.cpp incalloperationtest.cpp operationparameterstest.cpp
          operationtypestest.cpp outcalloperationtest.cpp
  LIBRARIES secc_operation_model secc_payloads)
secc_unit_test(NAME constraints SOURCES constraintstest.cpp LIBRARIES secc_payloads)
secc_unit_test(
  NAME payloads
  SOURCES payloadcorpustest.cpp payloadenumerationtest.cpp payloadhostiletest.cpp payloadrecordtest.cpp
  LIBRARIES secc_payload_table)
target_compile_definitions(unit_payloads PRIVATE SECC_PAYLOAD_CORPUS="${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/payload")
secc_unit_test(NAME payloadschema SOURCES payloadschematest.cpp LIBRARIES secc_payload_table)
target_compile_definitions(unit_payloadschema PRIVATE SECC_OCPP_SCHEMAS="${SECC_OCPP_SCHEMAS}")
