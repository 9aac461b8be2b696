#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "reader/capture_file.h"

namespace corvane::tools {

// The name of an item type, one word: "signalling-log". "unknown" for types that nothing writes.
[[nodiscard]] std::string_view ItemTypeName(std::uint32_t type);

// What is in an item, in a few words and without a line break: its log code, event ID, text, the
// name of the request. Anything that an item may hold has a description; bytes that are not as
// their item type or command promises are described by as much as can be told.
[[nodiscard]] std::string DescribeItem(const sCaptureItem& item);

// True for the items whose first byte is a DIAG command.
[[nodiscard]] bool HasCommand(const sCaptureItem& item);

}  // namespace corvane::tools
