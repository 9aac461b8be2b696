#include <string.h>
#include <windows.h>

#include "platform/text.h"

namespace corvane {
namespace {

constexpr UINT kStatusInvalidCRuntimeParameter = 0xC0000417;

}  // namespace

void CopyBounded(char* destination, std::size_t size, const char* source) {
  // Only what fits reaches the runtime, whose own answer to a longer source is another in each
  // version: some end the process by a handler that the host may have replaced, others report.
  if (strnlen(source, size) < size && strcpy_s(destination, size, source) == 0) {
    return;
  }
  TerminateProcess(GetCurrentProcess(), kStatusInvalidCRuntimeParameter);
}

}  // namespace corvane
