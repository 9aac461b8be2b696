#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane::tools {

// The name of an item type, one word: "signalling-log". "unknown" for types that nothing writes.
[[nodiscard]] std::string_view ItemTypeName(std::uint32_t type);

// What a DIAG command is about, as the middle of "... request" and "... reply": "log mask". Nothing
// for a command that is not known here.
[[nodiscard]] std::optional<std::string_view> CommandName(std::uint8_t command);

// 3GPP TS 25.331 SIB-Type: "MIB", "SIB5bis". Nothing for values above 31.
[[nodiscard]] std::optional<std::string_view> SibTypeName(std::uint8_t sibType);

// The channel of a 0x412F packet, 0 to 10: "DL-CCCH". Nothing for any other value.
[[nodiscard]] std::optional<std::string_view> OtaChannelName(std::uint8_t channel);

}  // namespace corvane::tools
