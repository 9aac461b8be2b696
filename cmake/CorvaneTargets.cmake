# The compile rules that every target of this project follows.

add_library(corvane_options INTERFACE)
target_compile_features(corvane_options INTERFACE cxx_std_20)
target_include_directories(corvane_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(corvane_options INTERFACE corvane_headers)

if(MSVC)
  target_compile_options(corvane_options INTERFACE /W4 /permissive- /utf-8 /EHsc
                                                   $<$<BOOL:${CORVANE_WARNINGS_AS_ERRORS}>:/WX>)
  target_compile_definitions(corvane_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(
    corvane_options
    INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
              -Wnon-virtual-dtor -Woverloaded-virtual -Wundef
              $<$<BOOL:${CORVANE_WARNINGS_AS_ERRORS}>:-Werror>)
endif()

if(WIN32)
  # SetupAPI and CompareStringEx need Windows 7's declarations.
  target_compile_definitions(corvane_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE
                                                       _WIN32_WINNT=0x0601)
  if(NOT MSVC)
    # The runtimes are linked in: a corvane.dll that needed libstdc++-6.dll beside it would not load
    # (error 126). The image may be placed anywhere in 64 bits and its data is never executed. It does
    # not say when it was linked.
    target_link_options(
      corvane_options INTERFACE -static -static-libgcc -static-libstdc++ -Wl,--dynamicbase
      -Wl,--high-entropy-va -Wl,--nxcompat -Wl,--no-insert-timestamp)
  endif()
elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  # The program's tables of addresses are never written again once it runs.
  target_link_options(corvane_options INTERFACE LINKER:-z,relro,-z,now)
endif()

# For all of src and tools, but for builds with sanitizers, which find such faults, and more, by other
# means: what is overwritten on the stack, or past the end of a buffer whose size is known, ends the
# program. Folders have the same names wherever it is built, so that the same sources give the same
# bytes.
set(CORVANE_PRODUCT_OPTIONS)
if(NOT MSVC AND NOT CORVANE_SANITIZE)
  set(CORVANE_PRODUCT_OPTIONS
      -fstack-protector-strong -U_FORTIFY_SOURCE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=3>)
  if(NOT WIN32)
    # Programs that are loaded anywhere. (As a part of a library, -fPIC, the code would be slower.)
    include(CheckPIESupported)
    check_pie_supported()
    list(APPEND CORVANE_PRODUCT_OPTIONS -fPIE)
  endif()
  foreach(kind debug macro)
    list(APPEND CORVANE_PRODUCT_OPTIONS -f${kind}-prefix-map=${PROJECT_SOURCE_DIR}=.
         -f${kind}-prefix-map=${CMAKE_BINARY_DIR}=build)
  endforeach()
  # With mingw-w64 the checks lie in a library, which this links.
  target_link_options(corvane_options INTERFACE -fstack-protector-strong)
endif()

if(CORVANE_SANITIZE)
  target_compile_options(corvane_options INTERFACE -fsanitize=${CORVANE_SANITIZE}
                                                   -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corvane_options INTERFACE -fsanitize=${CORVANE_SANITIZE})
endif()
# For all of src, tools and fuzz: lets a fuzzer see which code an input has reached; other programs run
# as they would without. Tests go without it, which would make their objects half as large again.
set(CORVANE_FUZZING_OPTIONS $<$<BOOL:${CORVANE_FUZZERS}>:-fsanitize=fuzzer-no-link>)
if(NOT WIN32)
  find_package(Threads REQUIRED)
  target_link_libraries(corvane_options INTERFACE Threads::Threads)
endif()

# corvane_header_library(<package> <target> HEADER <folder/file> [DEFINITIONS <definition>...]
#                        DEBIAN <package>)
#
# The header-only library <target>, which the CMake package <package> offers, from the first place
# that has it: the project that this one is part of, an installed package, and in a cross build the
# build machine's headers. Those lie in /usr/include, which must not get on the include path of a
# compiler for another system: the library's one folder is copied into the build tree.
function(corvane_header_library package target)
  cmake_parse_arguments(library "" "HEADER;DEBIAN" "DEFINITIONS" ${ARGN})
  if(TARGET ${target})
    return()
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(${package} QUIET GLOBAL)
    if(NOT TARGET ${target})
      message(FATAL_ERROR "The tools need ${package}: install Debian's package ${library_DEBIAN}, or "
                          "set ${package}_DIR or -DCORVANE_TOOLS=OFF")
    endif()
    return()
  endif()

  find_package(${package} QUIET GLOBAL ONLY_CMAKE_FIND_ROOT_PATH)
  if(TARGET ${target})
    return()
  endif()
  find_path(CORVANE_${package}_HEADERS ${library_HEADER} PATHS /usr/include /usr/local/include
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH DOC "The build machine's headers of ${package}")
  if(NOT CORVANE_${package}_HEADERS)
    message(FATAL_ERROR "The tools need the headers of ${package}: install Debian's package "
                        "${library_DEBIAN}, or set CORVANE_${package}_HEADERS or -DCORVANE_TOOLS=OFF")
  endif()
  cmake_path(GET library_HEADER PARENT_PATH folder)
  set(private_include ${PROJECT_BINARY_DIR}/header-libraries)
  file(COPY ${CORVANE_${package}_HEADERS}/${folder} DESTINATION ${private_include})
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${private_include})
  target_compile_definitions(${target} INTERFACE ${library_DEFINITIONS})
endfunction()

# corvane_compile_as_one(<target>)
#
# Compiles all files of a target as one. Most of the time that a file takes goes into the headers that all
# of them have. Names in their unnamed namespaces differ. A build that compiles each file by itself, as
# scripts/lint.sh looks at them and scripts/mutate.sh changes them, turns this off too.
function(corvane_compile_as_one target)
  if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS AND NOT DEFINED CMAKE_UNITY_BUILD)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
endfunction()
