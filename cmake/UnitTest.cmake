# What is tested is built as the preset says; the tests themselves need no optimiser, and most of a build is theirs.
# -pthread for all, because a precompiled header serves sources with the same macros only.
set(SECC_TEST_OPTIONS -pthread $<$<NOT:$<CONFIG:Debug>>:-O0>)

# With SECC_PRECOMPILE_TESTS the headers that nearly every test needs are parsed once; daily work and the Clang preset do
# without, so that each test still includes what it uses.
option(SECC_PRECOMPILE_TESTS "Parse the headers that all tests share once" OFF)
if(SECC_BUILD_TESTS AND SECC_PRECOMPILE_TESTS)
  find_package(GTest REQUIRED)
  add_library(secc_test_headers STATIC ${CMAKE_CURRENT_LIST_DIR}/testheaders.cpp)
  target_link_libraries(secc_test_headers PRIVATE secc_base GTest::gmock GTest::gtest_main)
  target_compile_options(secc_test_headers PRIVATE ${SECC_TEST_OPTIONS})
  target_precompile_headers(
    secc_test_headers
    PRIVATE
    <gmock/gmock.h>
    <gtest/gtest.h>
    <algorithm>
    <atomic>
    <chrono>
    <condition_variable>
    <deque>
    <filesystem>
    <fstream>
    <functional>
    <map>
    <memory>
    <mutex>
    <optional>
    <sstream>
    <string>
    <thread>
    <vector>)
endif()

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
  target_compile_options(${target} PRIVATE ${SECC_TEST_OPTIONS})
  if(TARGET secc_test_headers)
    target_precompile_headers(${target} REUSE_FROM secc_test_headers)
    # ccache reads it.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} secc_test_support GTest::gmock GTest::gtest_main)
  add_test(NAME ${target} COMMAND ${target})
  # Those that may take long begin first.
  set_tests_properties(${target} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_TIMEOUT} LABELS unit)
endfunction()
