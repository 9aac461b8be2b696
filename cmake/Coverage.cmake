# All of src once more, counting which lines and branches run, for test programs to be linked with
# (corvane_test) and scripts/coverage.py to run. As objects: what a program finds in these it does not
# take from the archives.
add_custom_target(counted_tests)
set(libraries corvane_core corvane_reader corvane_describe corvane_convert corvane_analysis
              corvane_rewrite)
add_library(corvane_counted OBJECT EXCLUDE_FROM_ALL)
target_link_libraries(corvane_counted PRIVATE ${libraries} nlohmann_json::nlohmann_json)
# Not optimised, so that each line counts for itself.
target_compile_options(corvane_counted PRIVATE -O0 -g0 --coverage)
target_precompile_headers(
  corvane_counted PRIVATE <algorithm> <array> <atomic> <cstdint> <filesystem> <fstream> <functional>
  <map> <memory> <optional> <set> <span> <string> <string_view> <vector>)

# What tests run in several threads. To count for them takes several times as long.
set(threaded "(capture/[^/]+|capture/isf/store|diag/shared_buffer|(io|platform)/.+)")
foreach(library ${libraries})
  get_target_property(folder ${library} SOURCE_DIR)
  get_target_property(sources ${library} SOURCES)
  # The tables of names have nothing to count.
  list(FILTER sources EXCLUDE REGEX "/name_tables\\.cpp$")
  foreach(source ${sources})
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
    target_sources(corvane_counted PRIVATE ${source})
    if(source MATCHES "/src/${threaded}\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -fprofile-update=atomic)
    endif()
  endforeach()
endforeach()
