#include "platform/text.h"

#include <cstdarg>
#include <cstdio>

namespace corvane {

void DebugPrint(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

}  // namespace corvane
