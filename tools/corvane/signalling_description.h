#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "reader/capture_file.h"

namespace corvane::tools {

// The log code of WCDMA RRC signalling messages.
inline constexpr std::uint16_t kOtaLogCode = 0x412F;

// Describes a log item of code 0x412F: its channel and whether it was captured or is synthetic,
// that is a complete system-information block that the library put together from captured segments.
// "log 0x412F, BCCH-BCH, captured"; "log 0x412F, SIB5 from BCCH-FACH, synthetic". The channel alone
// tells the two apart: "log 0x412F, no SIB type, from BCCH-BCH, synthetic".
[[nodiscard]] std::string DescribeOtaLog(const sCaptureItem& item);

// The SIB type of a synthetic item of code 0x412F; nothing for any other item, and for one without
// a message.
[[nodiscard]] std::optional<std::uint8_t> SyntheticSibType(const sCaptureItem& item);

}  // namespace corvane::tools
