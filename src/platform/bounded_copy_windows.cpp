#include <string.h>
#include <windows.h>

#include "platform/bounded_copy.h"

namespace corvane {
namespace {

constexpr UINT kStatusInvalidCRuntimeParameter = 0xC0000417;

}  // namespace

void CopyBounded(char* destination, std::size_t size, const char* source) {
  if (strcpy_s(destination, size, source) == 0) return;
  // The newer runtimes have ended the process by now; the older one only reports the error.
  TerminateProcess(GetCurrentProcess(), kStatusInvalidCRuntimeParameter);
}

}  // namespace corvane
