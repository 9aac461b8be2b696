#include "platform/text.h"

#include <cstdlib>
#include <cstring>

namespace corvane {

void CopyBounded(char* destination, std::size_t size, const char* source) {
  const std::size_t length = std::strlen(source);
  if (length >= size) {
    std::abort();
  }
  std::memcpy(destination, source, length + 1);
}

}  // namespace corvane
