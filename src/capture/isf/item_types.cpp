#include "capture/isf/item_types.h"

#include <algorithm>
#include <span>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "diag/protocol_buffer.h"

namespace corvane {
namespace {

struct sLogCodeRange {
  std::uint16_t first;
  std::uint16_t last;
};

constexpr sLogCodeRange kTechnologyLogs[] = {
    {0x1004, 0x1008}, {0x1090, 0x1091}, {0x10D6, 0x10D8}, {0x1388, 0x1389}, {0x138B, 0x138D},
};

// The signalling logs that are not technology logs.
constexpr sLogCodeRange kOtherSignallingLogs[] = {
    {0x1048, 0x1049}, {0x104C, 0x104D}, {0x1052, 0x1053}, {0x1076, 0x1079},
    {0x107C, 0x107C}, {0x1085, 0x1086}, {0x141B, 0x141C}, {0x149F, 0x149F},
    {0x412F, 0x412F}, {0x512F, 0x512F}, {0x5226, 0x5226}, {0x5230, 0x5230},
    {0x713A, 0x713A}, {0x7B3A, 0x7B3A}, {0xA000, 0xA000}, {0xA100, 0xA103},
};

// A technology of this number or above is none that readers know.
constexpr std::uint8_t kTechnologyCount = 13;

[[nodiscard]] bool Contains(std::span<const sLogCodeRange> ranges, std::uint16_t logCode) {
  return std::any_of(ranges.begin(), ranges.end(), [logCode](const sLogCodeRange& range) {
    return range.first <= logCode && logCode <= range.last;
  });
}

[[nodiscard]] std::optional<std::uint32_t> Known(std::uint32_t learned) {
  if (learned == kNotLearned) {
    return std::nullopt;
  }
  return learned;
}

[[nodiscard]] sItemKind ChooseLogKind(const sSharedBuffer& item, const sLearnedValues& learned) {
  if (item.size < log_packet::kHeaderSize) {
    return {isf::kShortLogItem};
  }
  const std::uint16_t logCode = Load16(item.data + log_packet::kLogCode);
  if (!IsSignallingLog(logCode)) {
    return {isf::kLogItem};
  }
  if (IsTechnologyLog(logCode)) {
    return {isf::kSignallingLogItem, Known(learned.technology)};
  }
  if (logCode == ota_log::kLogCode) {
    return {isf::kSignallingLogItem, Known(learned.cellValue)};
  }
  return {isf::kSignallingLogItem};
}

// Where a packet of the library tells the technology: the position of that byte, 0 for nowhere.
[[nodiscard]] std::uint32_t FindTechnology(const sSharedBuffer& item) {
  const std::uint8_t code = item.data[0];
  if (code == command::kFeatureQuery) {
    return feature_query::kTechnology;
  }
  if (!command::IsEventReport(code) || item.size <= event_report::kEventPayload) {
    return 0;
  }
  const std::uint16_t word = Load16(item.data + event_report::kEventWord);
  return (word & event_report::kIdMask) == event_report::kTechnologyEvent
             ? event_report::kEventPayload
             : 0;
}

}  // namespace

void sLearnedValues::LearnFrom(const sSharedBuffer& item) {
  // What the device answers would be the better source, but is not looked at: items of the device
  // leave both values as they are.
  if (item.origin != kOriginLibrary) {
    return;
  }

  const std::uint32_t at = FindTechnology(item);
  if (at != 0 && at < item.size && item.data[at] < kTechnologyCount) {
    technology = item.data[at];
  }

  if (command::IsSubsystem(item.data[0]) && item.size >= subsystem::kCellRequestSize &&
      item.data[subsystem::kId] == subsystem::kCellSubsystem &&
      Load16(item.data + subsystem::kCommand) == subsystem::kCellCommand) {
    const std::uint8_t* const value = item.data + subsystem::kCellValue;
    cellValue = Load16(value) | (std::uint32_t{value[2]} << 16);
  }
}

bool IsEventReport(const sSharedBuffer& item) {
  if (item.origin == kOriginLibrary || !command::IsEventReport(item.data[0])) {
    return false;
  }
  return !IsShortEventAnswer(item.Bytes());
}

cBufferReference UnwrapGetItemResponse(sSharedBuffer& item) {
  sDiagDbgSSGetItemRsp response(&item);
  if (!response.Validate() || item.size <= get_item::kPacket) {
    return {};
  }
  if (Load32(item.data + get_item::kStatus) != 0) {
    return {};
  }
  return cBufferReference(MakeBuffer(item.Bytes().subspan(get_item::kPacket), kOriginDevice));
}

sItemKind ChooseItemKind(const sSharedBuffer& item, const sLearnedValues& learned) {
  const std::uint8_t code = item.data[0];
  if (item.origin == kOriginLibrary) {
    return {command::IsSubsystem(code) ? isf::kSubsystemRequestItem : isf::kRequestItem};
  }
  switch (code) {
    case command::kLog:
      return ChooseLogKind(item, learned);
    case command::kMessage:
    case command::kExtendedMessage:
    case command::kTerseMessage:
      return {isf::kMessageItem};
    // A packet too short for its command is still a subsystem packet.
    case command::kSubsystem:
    case command::kSecondSubsystem:
      return {isf::kSubsystemItem};
    default:
      return {isf::kPacketItem};
  }
}

bool IsTechnologyLog(std::uint16_t logCode) { return Contains(kTechnologyLogs, logCode); }

bool IsSignallingLog(std::uint16_t logCode) {
  return IsTechnologyLog(logCode) || Contains(kOtherSignallingLogs, logCode);
}

}  // namespace corvane
