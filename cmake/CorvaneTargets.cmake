# The compile rules that every target of this project follows.

add_library(corvane_options INTERFACE)
target_compile_features(corvane_options INTERFACE cxx_std_20)
target_include_directories(corvane_options INTERFACE ${PROJECT_SOURCE_DIR}/src
                                                     ${PROJECT_SOURCE_DIR}/include)

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
    # (error 126). The image may be placed anywhere in 64 bits and its data is never executed.
    target_link_options(
      corvane_options INTERFACE -static -static-libgcc -static-libstdc++ -Wl,--dynamicbase
      -Wl,--high-entropy-va -Wl,--nxcompat)
  endif()
endif()

if(CORVANE_SANITIZE)
  target_compile_options(corvane_options INTERFACE -fsanitize=${CORVANE_SANITIZE}
                                                   -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corvane_options INTERFACE -fsanitize=${CORVANE_SANITIZE})
endif()
if(CORVANE_FUZZERS)
  # Lets a fuzzer see which code an input has reached; other programs run as they would without.
  target_compile_options(corvane_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(NOT WIN32)
  find_package(Threads REQUIRED)
  target_link_libraries(corvane_options INTERFACE Threads::Threads)
endif()

# Header-only libraries are copied into the build tree one folder at a time, so that a cross build
# never has /usr/include on its include path.
function(corvane_header_library target)
  add_library(${target} INTERFACE)
  set(private_include ${PROJECT_BINARY_DIR}/header-libraries)
  foreach(folder IN LISTS ARGN)
    if(NOT EXISTS /usr/include/${folder})
      message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/test.sh, which installs it")
    endif()
    file(COPY /usr/include/${folder} DESTINATION ${private_include})
  endforeach()
  target_include_directories(${target} SYSTEM INTERFACE ${private_include})
endfunction()
