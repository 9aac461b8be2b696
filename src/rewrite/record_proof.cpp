#include "rewrite/record_proof.h"

#include <algorithm>
#include <utility>

#include "analysis/packet_faults.h"
#include "capture/isf/item_types.h"
#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// Days from 1601-01-01 on, in milliseconds.
constexpr std::uint64_t kDay = 86'400'000;
constexpr std::uint64_t k1980 = 138'426 * kDay;
constexpr std::uint64_t kGpsEpoch = k1980 + 5 * kDay;
constexpr std::uint64_t k1990 = 142'079 * kDay;
constexpr std::uint64_t k2100 = 182'256 * kDay;
constexpr std::uint64_t k2200 = 218'780 * kDay;

// A DIAG timestamp of the years until 2100, or of a modem that counts from its start.
constexpr std::uint64_t kGreatestTimestamp = std::uint64_t{1} << 58;

[[nodiscard]] bool IsText(Packet packet) {
  return packet.size() >= isf::kTextItemHeaderSize && Load32(packet.data()) == isf::kTextItemHeader;
}

[[nodiscard]] bool IsMessage(std::uint8_t code) {
  return code == command::kMessage || code == command::kExtendedMessage ||
         code == command::kTerseMessage;
}

[[nodiscard]] std::uint32_t LogType(Packet packet) {
  if (packet.size() < log_packet::kHeaderSize) {
    return isf::kShortLogItem;
  }
  return IsSignallingLog(Load16(&packet[log_packet::kLogCode])) ? isf::kSignallingLogItem
                                                                : isf::kLogItem;
}

[[nodiscard]] std::optional<std::size_t> LogLength(Packet bytes) {
  if (bytes.size() < log_packet::kLogCode) {
    return std::nullopt;
  }
  const std::size_t counted = Load16(&bytes[log_packet::kLength]);
  const std::size_t length = counted + log_packet::kUncountedBytes;
  if (counted != Load16(&bytes[log_packet::kLengthAgain]) || length < log_packet::kLogCode) {
    return std::nullopt;
  }
  return length;
}

[[nodiscard]] std::optional<std::size_t> EventLength(Packet bytes) {
  constexpr std::size_t kFixed = event_report::kEventPayload - event_report::kEvents;
  if (bytes.size() < event_report::kEventPayload) {
    return std::nullopt;
  }
  const std::size_t counted = Load16(&bytes[event_report::kLength]);
  const std::uint16_t word = Load16(&bytes[event_report::kEventWord]);
  if (counted < kFixed || (word & ~(event_report::kIdMask | event_report::kLengthCodeMask)) != 0) {
    return std::nullopt;
  }
  const std::size_t payload = counted - kFixed;
  std::size_t told = (word & event_report::kLengthCodeMask) >> event_report::kLengthCodeShift;
  if (told == event_report::kCountedPayload) {
    if (bytes.size() <= event_report::kEventPayload) {
      return std::nullopt;
    }
    told = bytes[event_report::kEventPayload] + std::size_t{1};
  }
  return told == payload ? std::optional(event_report::kEventPayload + payload) : std::nullopt;
}

[[nodiscard]] std::optional<std::size_t> TextLength(Packet bytes) {
  std::size_t end = isf::kTextItemHeaderSize;
  for (; bytes.size() - end >= isf::kTextCharacterSize; end += isf::kTextCharacterSize) {
    const std::uint16_t character = Load16(&bytes[end]);
    if (character == 0) {
      return end + isf::kTextCharacterSize;
    }
    // The recorder's texts are words and names of ports.
    if (character < ' ') {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

// Takes a text with its zero off the front of `rest`. False for what is none.
[[nodiscard]] bool TakeText(Packet& rest) {
  // No text of a modem is as long as this.
  constexpr std::size_t kLongestText = 2048;
  const Packet text = rest.first(std::min(rest.size(), kLongestText));
  const auto zero = std::find(text.begin(), text.end(), std::uint8_t{0});
  const auto isWrong = [](std::uint8_t character) {
    return character < ' ' && character != '\t' && character != '\n' && character != '\r';
  };
  if (zero == text.end() || zero == text.begin() || std::any_of(text.begin(), zero, isWrong)) {
    return false;
  }
  rest = rest.subspan(static_cast<std::size_t>(zero - text.begin()) + 1);
  return true;
}

[[nodiscard]] std::optional<std::size_t> MessageLength(Packet bytes) {
  if (bytes.size() < message::kTerseArguments || bytes[message::kTimeType] != message::kDiagTime ||
      Load64(&bytes[message::kTimestamp]) >= kGreatestTimestamp) {
    return std::nullopt;
  }
  const std::size_t arguments = bytes[message::kArgumentCount] * message::kArgumentSize;
  if (bytes[0] == command::kTerseMessage) {
    return message::kTerseArguments + arguments;
  }
  if (bytes.size() < message::kHeadSize + arguments) {
    return std::nullopt;
  }
  Packet rest = bytes.subspan(message::kHeadSize + arguments);
  if (!TakeText(rest) || !TakeText(rest)) {
    return std::nullopt;
  }
  return bytes.size() - rest.size();
}

[[nodiscard]] bool IsEvent(Packet packet) {
  return command::IsEventReport(packet[0]) && EventLength(packet) == packet.size();
}

}  // namespace

std::optional<std::uint32_t> TypeByContent(Packet packet) {
  if (IsText(packet)) {
    return isf::kInformationItem;
  }
  if (packet[0] == command::kLog) {
    return LogType(packet);
  }
  if (IsMessage(packet[0])) {
    return isf::kMessageItem;
  }
  return IsEvent(packet) ? std::optional(isf::kEventItem) : std::nullopt;
}

bool IsTypeFor(std::uint32_t type, Packet packet) {
  if (const auto sure = TypeByContent(packet); sure && *sure == type) {
    return true;
  }
  // What the recorder sends may begin as anything that it receives does, but it sends no logs
  // or messages.
  switch (type) {
    case isf::kPacketItem:
      return packet[0] <= command::kLast && packet[0] != command::kLog && !IsMessage(packet[0]) &&
             !command::IsSubsystem(packet[0]) &&
             (!command::IsEventReport(packet[0]) || IsShortEventAnswer(packet));
    case isf::kRequestItem:
      return packet[0] <= command::kLast && !command::IsSubsystem(packet[0]) &&
             packet[0] != command::kLog && !IsMessage(packet[0]) && !IsEvent(packet);
    case isf::kSubsystemItem:
    case isf::kSubsystemRequestItem:
      return command::IsSubsystem(packet[0]);
    default:
      return false;
  }
}

bool IsAsRecorded(const isf::sRecordHead& head, Packet packet) {
  const bool isExtraWrong =
      head.extra && head.extra != kNotLearned && FindExtraFault(*head.extra, packet);
  return !isExtraWrong && !FindPacketFault(head.type, packet);
}

std::optional<std::uint32_t> FittingType(std::uint32_t type, Packet packet) {
  if (OwnLength(packet) == packet.size() || packet[0] == command::kMessage) {
    return TypeByContent(packet);
  }
  // The same direction, as a subsystem packet or as another.
  constexpr std::pair<std::uint32_t, std::uint32_t> kPairs[] = {
      {isf::kPacketItem, isf::kSubsystemItem}, {isf::kRequestItem, isf::kSubsystemRequestItem}};
  for (const auto& [plain, ofSubsystem] : kPairs) {
    const std::uint32_t other = type == plain ? ofSubsystem : plain;
    if ((type == plain || type == ofSubsystem) && IsTypeFor(other, packet)) {
      return other;
    }
  }
  return std::nullopt;
}

std::optional<std::size_t> OwnLength(Packet bytes) {
  if (bytes.empty()) {
    return std::nullopt;
  }
  std::optional<std::size_t> length;
  if (IsText(bytes)) {
    length = TextLength(bytes);
  } else if (bytes[0] == command::kLog) {
    length = LogLength(bytes);
  } else if (command::IsEventReport(bytes[0])) {
    length = EventLength(bytes);
  } else if (bytes[0] == command::kExtendedMessage || bytes[0] == command::kTerseMessage) {
    length = MessageLength(bytes);
  }
  return length && *length <= bytes.size() ? length : std::nullopt;
}

bool IsExtraFor(std::uint32_t extra, Packet packet) {
  constexpr std::uint32_t kTechnologies = 13;
  constexpr std::uint32_t kCellValues = 1u << 24;
  if (TypeByContent(packet) != isf::kSignallingLogItem) {
    return false;
  }
  const std::uint16_t logCode = Load16(&packet[log_packet::kLogCode]);
  return IsTechnologyLog(logCode) ? extra < kTechnologies
                                  : logCode == ota_log::kLogCode && extra < kCellValues;
}

std::optional<std::uint64_t> ModemTimeIn(Packet packet) {
  const auto type = TypeByContent(packet);
  std::size_t place = 0;
  if (type == isf::kLogItem || type == isf::kSignallingLogItem) {
    place = log_packet::kTimestamp;
  } else if (type == isf::kEventItem) {
    place = event_report::kEventTime;
  } else if (type == isf::kMessageItem && OwnLength(packet)) {
    place = message::kTimestamp;
  } else {
    return std::nullopt;
  }
  const std::uint64_t units = Load64(&packet[place]) >> 16;  // of 1.25 ms
  const std::uint64_t time = kGpsEpoch + units * 5 / 4;
  return time >= k1990 && time < k2100 ? std::optional(time) : std::nullopt;
}

bool IsLikelyTime(std::uint64_t time) { return time >= k1980 && time < k2200; }

}  // namespace corvane
