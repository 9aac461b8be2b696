#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
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

// The first row of a table that is wanted; null when there is none.
template <typename Table, typename IsWanted>
[[nodiscard]] const auto* FindRow(const Table& table, IsWanted isWanted) {
  const auto found = std::ranges::find_if(table, isWanted);
  return found == table.end() ? nullptr : &*found;
}

// What a log's channels are numbered in some of its versions, in the order of its table of
// channels. 0 stands for no version and no number.
template <std::size_t kVersions, std::size_t kChannels>
struct sChannelNumbers {
  std::array<std::uint8_t, kVersions> versions;
  std::array<std::uint8_t, kChannels> numbers;
};

// Null for a channel of which nothing is known in this version. `rows` is a table of
// sChannelNumbers.
template <typename Rows, std::size_t kChannels>
[[nodiscard]] const sLogChannel* FindChannel(const Rows& rows,
                                             const std::array<sLogChannel, kChannels>& channels,
                                             std::uint32_t version, std::uint8_t number) {
  const auto* const row = FindRow(rows, [version](const auto& candidate) {
    return version != 0 && std::ranges::count(candidate.versions, version) > 0;
  });
  if (row == nullptr || number == 0) {
    return nullptr;
  }
  const auto found = std::ranges::find(row->numbers, number);
  const auto index = static_cast<std::size_t>(found - row->numbers.begin());
  return index == kChannels ? nullptr : &channels[index];
}

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

// What the log tells of its cell, unless that is nothing.
void TellCell(const sCell& cell, sDescription& description);

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
