#include "describe/signalling_log.h"

#include <utility>

#include "describe/message_names.h"

namespace corvane {
namespace {

constexpr std::uint8_t kFirstSegment = 1;
constexpr std::uint8_t kLastSegment = 7;

// "DL-DCCH, 12 of 40 bytes".
[[nodiscard]] std::string Lack(std::string_view channel, const std::string& lack) {
  return channel.empty() ? lack : std::string(channel) + ", " + lack;
}

}  // namespace

void DescribeMessage(const cFields& payload, std::size_t at, std::size_t length,
                     const sLogChannel& channel, sDescription& description) {
  if (length == 0) {
    LeaveOut(Lack(channel.name, "empty message"), description);
    return;
  }
  if (const auto message = payload.Bytes(at, length)) {
    description.signalling = MakeSignalling(channel, *message);
    return;
  }
  description.details = Lack(channel.name, std::to_string(payload.Behind(at)) + " of " +
                                               std::to_string(length) + " bytes");
}

void DescribeRest(const cFields& payload, std::size_t at, const sLogChannel& channel,
                  sDescription& description) {
  const std::size_t length = payload.Behind(at);
  if (length == 0 || description.cutOff) {
    description.cutOff = true;
    description.details = Lack(channel.name, "message cut off");
    return;
  }
  DescribeMessage(payload, at, length, channel, description);
}

sSignalling MakeSignalling(const sLogChannel& channel, std::span<const std::uint8_t> message) {
  sSignalling signalling;
  signalling.syntax = channel.syntax;
  signalling.channel = channel.name;
  signalling.link = channel.link;
  signalling.message.assign(message.begin(), message.end());
  signalling.messageName = MessageName(channel.syntax, message);
  return signalling;
}

void DescribeSegment(std::uint8_t segment, sDescription& description) {
  if (!description.signalling || segment == 0) {
    return;
  }
  sSignalling& signalling = *description.signalling;
  if (segment > kLastSegment) {
    description.details = Lack(signalling.channel, "segment " + std::to_string(segment));
    description.signalling.reset();
    return;
  }
  signalling.segment = segment == kLastSegment ? eSegment::Last : eSegment::Part;
  signalling.segmentNumber = segment;
  if (segment != kFirstSegment) {
    signalling.messageName = {};
  }
}

void LeaveOut(std::string why, sDescription& description) {
  description.leftOut = true;
  description.details = std::move(why);
}

void TellCell(const sCell& cell, sDescription& description) {
  if (cell != sCell{}) {
    description.cell = cell;
  }
}

void TellChannel(std::uint32_t channel, sDescription& description) {
  description.details = "channel " + std::to_string(channel);
}

}  // namespace corvane
