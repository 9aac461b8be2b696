#include "platform/windows_calls.h"

namespace corvane {

sKernelCalls& KernelCalls() {
  static sKernelCalls calls;
  return calls;
}

}  // namespace corvane
