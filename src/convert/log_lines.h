#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "describe/description.h"

// What is no signalling, as lines of a system log (RFC 3164): a priority in angle brackets, then
// one line of text. Wireshark shows the line among the messages.
namespace corvane {

// "<14>event 1606 LTE RRC state: connected (04)"
[[nodiscard]] std::string EventLine(const sEvent& event);

// "<13>LTE RRC  lte_rrc.cpp:120  cell 7 found". A message whose text only the modem's maker has is
// shown by its hash: "<11>WCDMA L1  line 12  hash 0x1234ABCD (0x1, 0x2)".
[[nodiscard]] std::string MessageLine(const sDebugMessage& message);

// "<14>Port COM7 connected"
[[nodiscard]] std::string TextLine(std::string_view text);

// "<14>marker  handover test", of a marker that the user set.
[[nodiscard]] std::string MarkerTextLine(std::string_view text);

// The hexadecimal digits of a number with 0x in front, `digits` of them at least.
[[nodiscard]] std::string HexText(std::uint64_t number, unsigned digits);

}  // namespace corvane
