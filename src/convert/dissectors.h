#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "describe/signalling.h"

// Which of Wireshark's dissectors read a message. A name that Wireshark does not know shows
// nothing, and nothing marks it: the tests ask tshark for each.
namespace corvane {

struct sDissector {
  std::string_view name;  // of an exported PDU: "lte_rrc.dl_dcch"
  // For the Protocol column, which the dissector leaves empty; empty where it fills it.
  std::string_view protocol;
};

// A line of text whose Info column is the line.
inline constexpr sDissector kLineDissector{"syslog", {}};
// Bytes that Wireshark shows as they are.
inline constexpr std::string_view kBytesDissector = "data";

// Nothing for a system-information block whose type has no dissector.
[[nodiscard]] std::optional<sDissector> DissectorOf(const sSignalling& signalling,
                                                    eTechnology technology);

// GSMTAP version 2: what a header says of the message behind it.
struct sGsmtapType {
  std::uint8_t type = 0;
  std::uint8_t subtype = 0;
};

inline constexpr std::uint8_t kGsmtapUm = 1;  // the type of GSM's air interface

// Nothing for a message that GSMTAP cannot carry.
[[nodiscard]] std::optional<sGsmtapType> GsmtapTypeOf(const sSignalling& signalling);

}  // namespace corvane
