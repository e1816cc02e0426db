# secc_unit_test(NAME name SOURCES source... [LIBRARIES library...] [TIMEOUT seconds])
#
# One test program of the unit suite, named unit_<name>; the folders below tests/unit mirror the source tree. Sanitizers
# stretch the time that it may take.
function(secc_unit_test)
  cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  if(SECC_SANITIZER)
    math(EXPR ARG_TIMEOUT "${ARG_TIMEOUT} * 5")
  endif()
  set(target unit_${ARG_NAME})
  add_executable(${target} ${ARG_SOURCES})
  # What is tested is built as the preset says; the tests themselves need no optimiser, and most of a build is theirs.
  target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O0>)
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} secc_test_support GTest::gmock GTest::gtest_main)
  add_test(NAME ${target} COMMAND ${target})
  set_tests_properties(${target} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS unit)
endfunction()
