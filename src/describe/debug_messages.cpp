#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "describe/fields.h"
#include "describe/message_text.h"
#include "describe/names.h"
#include "describe/packet_kinds.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// Takes a text with a zero behind it off the front of `rest`, whatever its bytes are; all that is
// there where the zero is missing.
[[nodiscard]] std::string_view TakeText(Packet& rest, bool& cutOff) {
  const auto terminator = std::find(rest.begin(), rest.end(), std::uint8_t{0});
  const auto size = static_cast<std::size_t>(terminator - rest.begin());
  const std::string_view text(reinterpret_cast<const char*>(rest.data()), size);
  if (terminator == rest.end()) {
    cutOff = true;
    rest = {};
  } else {
    rest = rest.subspan(size + 1);
  }
  return text;
}

// Takes the arguments that are whole, `size` bytes each.
void TakeArguments(Packet packet, std::size_t offset, std::size_t count, std::size_t size,
                   sDescription& description) {
  std::vector<std::uint32_t>& arguments = description.message->arguments;
  const std::size_t room = packet.size() > offset ? (packet.size() - offset) / size : 0;
  description.cutOff = description.cutOff || count > room;
  arguments.reserve(std::min(count, room));
  for (std::size_t place = 0; place < std::min(count, room); ++place) {
    std::uint32_t argument = 0;
    for (std::size_t byte = size; byte-- > 0;) {
      argument = argument << 8 | packet[offset + place * size + byte];
    }
    arguments.push_back(argument);
  }
}

// The time that all but 0x1F have in the same place.
void DescribeTime(Packet packet, sDescription& description) {
  cFields fields(packet, description.cutOff);
  // Other types of time count in other units.
  if (fields.Byte(message::kTimeType) == message::kDiagTime) {
    description.modemTime = fields.Quad(message::kTimestamp);
  }
  description.message->dropped = fields.Byte(message::kDroppedCount).value_or(0);
}

// The head that extended and terse messages share. Returns the number of arguments.
[[nodiscard]] std::size_t DescribeHead(Packet packet, sDescription& description) {
  DescribeTime(packet, description);
  cFields fields(packet, description.cutOff);
  sDebugMessage& told = *description.message;
  told.line = fields.Word(message::kLine);
  told.ssid = fields.Word(message::kSsid);
  told.levels = fields.Long(message::kLevels);
  if (told.ssid) {
    told.subsystem = SsidName(*told.ssid);
  }
  return fields.Byte(message::kArgumentCount).value_or(0);
}

void DescribeExtended(Packet packet, sDescription& description) {
  const std::size_t count = DescribeHead(packet, description);
  TakeArguments(packet, message::kHeadSize, count, message::kArgumentSize, description);
  const std::size_t textOffset = message::kHeadSize + count * message::kArgumentSize;
  if (packet.size() < textOffset) {
    return;
  }
  Packet rest = packet.subspan(textOffset);
  sDebugMessage& told = *description.message;
  told.format = TakeText(rest, description.cutOff);
  sMessageText text = FormatMessageText(told.format, told.arguments);
  told.text = std::move(text.text);
  told.argumentsInText = text.argumentsPutIn;
  told.file = TakeText(rest, description.cutOff);
}

void DescribeTerse(Packet packet, sDescription& description) {
  const std::size_t count = DescribeHead(packet, description);
  description.message->hash = cFields(packet, description.cutOff).Long(message::kHash);
  TakeArguments(packet, message::kTerseArguments, count, message::kArgumentSize, description);
}

void DescribeNewTerse(Packet packet, sDescription& description) {
  DescribeTime(packet, description);
  cFields fields(packet, description.cutOff);
  description.message->hash = fields.Long(new_terse_message::kHash);
  const std::uint8_t arguments = fields.Byte(new_terse_message::kArguments).value_or(0);
  const std::size_t count = arguments & new_terse_message::kCountMask;
  const std::size_t size = arguments >> new_terse_message::kSizeShift;
  if (count != 0 && size >= 1 && size <= message::kArgumentSize) {
    TakeArguments(packet, new_terse_message::kFirstArgument, count, size, description);
  }
}

}  // namespace

void DescribeDebugMessage(Packet packet, sDescription& description) {
  description.sort = eItemSort::Message;
  description.message.emplace();
  switch (packet[0]) {
    case command::kExtendedMessage:
      DescribeExtended(packet, description);
      break;
    case command::kTerseMessage:
      DescribeTerse(packet, description);
      break;
    case command::kNewTerseMessage:
      DescribeNewTerse(packet, description);
      break;
    default:
      break;  // 0x1F, whose layout is not known
  }
}

}  // namespace corvane
