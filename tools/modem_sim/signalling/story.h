#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "modem_sim/diag_packets.h"

// The story that the signalling scenario tells: what a phone says and hears on GSM, WCDMA, LTE and
// NR, as log packets with valid messages of 3GPP. Each technology has its messages in one table, in
// the order in which they come.
namespace corvane::modem_sim {

// A message inside a log packet, and what Wireshark makes of it.
struct sShownMessage {
  std::string_view dissector;  // Wireshark's name of the message's syntax
  std::string_view shows;      // what stands in the Info column, without blanks at its ends
  bool uplink = false;         // sent by the phone
  Bytes message;               // as the dissector takes it
};

// One step of the story: a log packet, or an event.
struct sStoryStep {
  std::uint16_t logCode = 0;  // 0 for an event
  Bytes payload;              // of the log packet
  sEvent event;               // its time is set when it is sent

  // The message that this packet holds whole.
  std::optional<sShownMessage> message;
  // What this packet completes: a message that is logged in parts, or a block of WCDMA system
  // information that Wireshark does not show in the message itself.
  std::optional<sShownMessage> completes;
  // Packets with parts of the same have a number in common, other than 0: when one of them is lost,
  // the last one completes nothing.
  unsigned parts = 0;
  // What a recorder rebuilds at this packet (sStreamPacket::blocks).
  std::vector<Bytes> blocks;
};

using Story = std::vector<sStoryStep>;

// The steps of one technology. Versions of log packets and other layouts change with `cycle`, which
// counts how often the story was told.
[[nodiscard]] Story GsmStory(unsigned cycle);
[[nodiscard]] Story WcdmaStory(unsigned cycle);
[[nodiscard]] Story LteStory(unsigned cycle);
[[nodiscard]] Story NrStory(unsigned cycle);
// What applications do on LTE: logs of IP packets and of IMS.
[[nodiscard]] Story InternetStory();

// All of them, one after the other.
[[nodiscard]] Story TellStory(unsigned cycle);

// After so many cycles every layout was used.
inline constexpr unsigned kStoryCycles = 22;

// A message of a table, in hexadecimal digits.
[[nodiscard]] Bytes Octets(std::string_view hex);

}  // namespace corvane::modem_sim
