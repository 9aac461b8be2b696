#include "io/serial/serial_calls.h"

namespace corvane {

sSerialCalls& SerialCalls() {
  static sSerialCalls calls;
  return calls;
}

}  // namespace corvane
