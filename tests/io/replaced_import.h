#pragma once

// Puts `replacement` in the place of a function that this test program imports from Windows. Calls
// go through the import pointer, which the linker option --wrap=__imp_<function> replaces by the
// pointer defined here; ORIGINAL(function) is the function itself. To be used outside namespaces.
#define ORIGINAL(function) __real___imp_##function
#define REPLACE_IMPORT(function, replacement)                \
  extern "C" {                                               \
  extern decltype(&function) ORIGINAL(function);             \
  decltype(&function) __wrap___imp_##function = replacement; \
  }
