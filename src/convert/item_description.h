#pragma once

#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// What an item of a capture file is: its packet by the item's type and content, or its text.
// Bytes of an information item that are no text are of no known sort.
[[nodiscard]] sDescription DescribeItem(const sCaptureItem& item);

}  // namespace corvane
