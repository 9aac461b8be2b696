#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace corvane {

// The text of an information item as UTF-8: what stands between the item's 32-bit header and its
// 16-bit terminator, or the item's end where the terminator is missing. Half a surrogate pair
// becomes U+FFFD. Nothing when the item does not begin with the header of a text item.
[[nodiscard]] std::optional<std::string> DecodeTextItem(std::span<const std::uint8_t> bytes);

}  // namespace corvane
