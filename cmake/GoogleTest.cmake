# GoogleTest as installed, where that is a build of this build's kind; else from its sources, which
# Debian's package googletest has, for another system and with the sanitizers.
set(CORVANE_GOOGLETEST_SOURCES /usr/src/googletest
    CACHE PATH "GoogleTest's sources, for builds that cannot use an installed GoogleTest")
if(NOT CMAKE_CROSSCOMPILING AND NOT CORVANE_SANITIZE)
  find_package(GTest QUIET)
endif()
if(NOT TARGET GTest::gmock)
  if(NOT EXISTS ${CORVANE_GOOGLETEST_SOURCES}/CMakeLists.txt)
    message(FATAL_ERROR "The tests need GoogleTest: install Debian's package googletest, or set "
                        "CORVANE_GOOGLETEST_SOURCES or -DBUILD_TESTING=OFF")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  add_subdirectory(${CORVANE_GOOGLETEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main gmock gmock_main)
    # A system library: its headers are not held to this project's warnings.
    get_target_property(folders ${library} INTERFACE_INCLUDE_DIRECTORIES)
    set_target_properties(${library} PROPERTIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${folders}")
    if(CORVANE_SANITIZE)
      target_compile_options(${library} PRIVATE -fsanitize=${CORVANE_SANITIZE})
    endif()
  endforeach()
endif()

# What every test includes is compiled once a build.
add_library(corvane_test_headers STATIC ${CMAKE_CURRENT_LIST_DIR}/test_headers.cpp)
target_link_libraries(corvane_test_headers PRIVATE corvane_options GTest::gmock)
target_precompile_headers(corvane_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <map>
                          <optional> <string> <vector>)
if(MSVC)
  set(CORVANE_TEST_OPTIONS)
else()
  # Tests check results, not speed: they are compiled fast.
  set(CORVANE_TEST_OPTIONS -O0 -g1)
endif()
if(MINGW)
  # Each test program has the whole of the runtimes and of the library in it, ten times as large with
  # debug information as without. What Wine prints of a crash has function names even so.
  set(CORVANE_TEST_OPTIONS -O0 -g0)
  set(CORVANE_TEST_LINK_OPTIONS -Wl,--strip-debug)
endif()
target_compile_options(corvane_test_headers PRIVATE ${CORVANE_TEST_OPTIONS})

# corvane_test(<name> [THREADED] [UNCOUNTED] SOURCES <file>... [LIBRARIES <target>...])
#
# One test program from GoogleTest sources, run by CTest as one test, under Wine where it was built
# for Windows. Its results also go to <build>/test-results/<name>.xml, from which scripts/test.sh
# makes its line of totals. Only THREADED ones are built and run under ThreadSanitizer. With
# CORVANE_COVERAGE all are linked once more as <name>_counted, for scripts/coverage.py, but UNCOUNTED
# ones: these hardly use the library themselves, or are long repetitions of what others do.
function(corvane_test name)
  cmake_parse_arguments(test "THREADED;UNCOUNTED" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${test_SOURCES})
  target_link_libraries(${name} PRIVATE corvane_options ${test_LIBRARIES} GTest::gmock
                                        GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${name} PRIVATE ${CORVANE_TEST_OPTIONS})
  target_link_options(${name} PRIVATE ${CORVANE_TEST_LINK_OPTIONS})
  target_precompile_headers(${name} REUSE_FROM corvane_test_headers)
  if(CORVANE_SANITIZE STREQUAL "thread" AND NOT test_THREADED)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  # Each test's name is printed as it begins: of a program that hangs it is the only trace.
  add_test(NAME ${name} COMMAND ${name} --gtest_output=xml:test-results/${name}.xml
           WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  # A crash under Wine can end with an exit code of 0; the debugger's report gives it away.
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 FAIL_REGULAR_EXPRESSION
                                                      "Unhandled exception:")
  if(CORVANE_SANITIZE MATCHES "address")
    set(suppressions ${PROJECT_SOURCE_DIR}/cmake/lsan.supp)
    set_tests_properties(
      ${name} PROPERTIES ENVIRONMENT
                         "LSAN_OPTIONS=suppressions=${suppressions}:print_suppressions=0")
  endif()
  if(CORVANE_COVERAGE AND NOT test_UNCOUNTED)
    # Takes nothing from the archives but the tables of names.
    add_executable(${name}_counted EXCLUDE_FROM_ALL $<TARGET_OBJECTS:corvane_counted>
                                                    $<TARGET_OBJECTS:${name}>)
    target_link_libraries(${name}_counted PRIVATE corvane_options ${test_LIBRARIES} corvane_describe
                                                  GTest::gmock GTest::gtest_main)
    target_link_options(${name}_counted PRIVATE --coverage)
    add_dependencies(counted_tests ${name}_counted)
  endif()
endfunction()
