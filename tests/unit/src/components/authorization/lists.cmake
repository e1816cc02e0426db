# The stores of id tags, on a fake document and on real ones.
secc_unit_test(
  NAME authorizationlists
  SOURCES authorizationcachetest.cpp authorizationlistentrytest.cpp authorizelisttest.cpp localauthorizationlisttest.cpp
  LIBRARIES secc_authorizationlists secc_test_config)

add_executable(secc_authorizationlist_helper authorizationlisthelper.cpp)
target_link_libraries(secc_authorizationlist_helper PRIVATE secc_authorizationlists secc_icconfig)

secc_unit_test(
  NAME authorizationfiles
  SOURCES authorizationfilestest.cpp ${CMAKE_SOURCE_DIR}/tests/unit/platform/icconfig/helperprocess.cpp
  LIBRARIES secc_authorizationlists secc_icconfig_test_tools)
target_compile_definitions(
  unit_authorizationfiles PRIVATE SECC_CONFIG_HELPER="$<TARGET_FILE:secc_authorizationlist_helper>")
add_dependencies(unit_authorizationfiles secc_authorizationlist_helper)
