#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "describe/description.h"
#include "describe/fields.h"

// What the logs of all technologies share, and each technology's own logs.
namespace corvane {

// What the messages of one channel are.
struct sLogChannel {
  std::string_view name;  // in the field's words; empty for NAS, IP and SIP
  eSyntax syntax = eSyntax::GsmLayer3;
  std::optional<eLink> link;
};

// The message of `length` bytes at `at`, as the description's signalling. A message that is not all
// there is left out whole, for a part of it would read as a malformed one; so is an empty one. The
// details say so.
void DescribeMessage(const cFields& payload, std::size_t at, std::size_t length,
                     const sLogChannel& channel, sDescription& description);

// The same for a message that goes on to the end of the packet. Where nothing is there, the packet
// is cut off; where the packet's own length tells that it is, the message is left out.
void DescribeRest(const cFields& payload, std::size_t at, const sLogChannel& channel,
                  sDescription& description);

// A message that stands on its own, and its name.
[[nodiscard]] sSignalling MakeSignalling(const sLogChannel& channel,
                                         std::span<const std::uint8_t> message);

// Marks the message as a segment by the value of a segment field of RRC logs (0 whole, 1 to 6 a
// part, 7 the last), or takes it out when the value is none of these. Call it behind
// DescribeMessage.
void DescribeSegment(std::uint8_t segment, sDescription& description);

// The packet has no message to show, and that is no lack: `why` for the details.
void LeaveOut(std::string why, sDescription& description);

// The packet's message is on a channel of which nothing is known.
void TellChannel(std::uint32_t channel, sDescription& description);

// False when the log code is none of the technology's. `payload` notes in the description when it
// is cut off.
[[nodiscard]] bool DescribeGsmLog(std::uint16_t logCode, const cFields& payload,
                                  sDescription& description);
[[nodiscard]] bool DescribeWcdmaLog(std::uint16_t logCode, const cFields& payload,
                                    sDescription& description);
[[nodiscard]] bool DescribeLteLog(std::uint16_t logCode, const cFields& payload,
                                  sDescription& description);
[[nodiscard]] bool DescribeNrLog(std::uint16_t logCode, const cFields& payload,
                                 sDescription& description);
// IP and SIP, of all technologies.
[[nodiscard]] bool DescribeInternetLog(std::uint16_t logCode, const cFields& payload,
                                       sDescription& description);

}  // namespace corvane
