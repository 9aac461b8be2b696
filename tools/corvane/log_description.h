#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "reader/capture_file.h"

// What log items hold, and of them above all those of WCDMA signalling.
namespace corvane::tools {

// The log code of an item that is a log packet with room for one; nothing for any other item.
[[nodiscard]] std::optional<std::uint16_t> LogCode(const sCaptureItem& item);

// Describes a log item: "log 0x1234, technology 5".
//
// Of code 0x412F, a WCDMA RRC message, it tells the channel and whether it was captured or is
// synthetic, that is a complete system-information block that the library put together from
// captured segments: "log 0x412F, BCCH-BCH, captured"; "log 0x412F, SIB5 from BCCH-FACH,
// synthetic". The channel alone tells the two apart: "log 0x412F, no SIB type, from BCCH-BCH,
// synthetic".
[[nodiscard]] std::string DescribeLog(const sCaptureItem& item);

// The SIB type of a synthetic item of code 0x412F; nothing for any other item, and for one without
// a message.
[[nodiscard]] std::optional<std::uint8_t> SyntheticSibType(const sCaptureItem& item);

// 3GPP TS 25.331 SIB-Type: "MIB", "SIB5bis". Nothing for values above 31.
[[nodiscard]] std::optional<std::string_view> SibTypeName(std::uint8_t sibType);

// The channel of a 0x412F packet, 0 to 10: "DL-CCCH". Nothing for any other value.
[[nodiscard]] std::optional<std::string_view> OtaChannelName(std::uint8_t channel);

}  // namespace corvane::tools
