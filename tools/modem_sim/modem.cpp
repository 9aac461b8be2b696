#include "modem_sim/modem.h"

namespace corvane::modem_sim {
namespace {

// Operations of the log-mask request (32 bits behind the padded command).
enum eLogOperation : std::uint32_t {
  kDisableLogs = 0,
  kLogRanges = 1,
  kSetLogMask = 3,
  kGetLogMask = 4,
};
constexpr std::size_t kLogOperationEnd = 8;
constexpr std::uint32_t kEquipmentIds = 16;
constexpr std::uint32_t kItemsPerEquipment = 4096;

// Operations of the message-levels request (one byte).
enum eLevelOperation : std::uint8_t {
  kSsidRanges = 1,
  kBuildLevels = 2,
  kGetLevels = 3,
  kSetLevels = 4,
  kSetAllLevels = 5,
};
constexpr std::uint32_t kAllLevels = 0x1F;  // the levels built into every SSID of this modem

constexpr std::size_t kEventMaskAt = 6;

std::size_t MaskBytes(std::uint32_t bits) { return (bits + 7) / 8; }

Bytes LogAnswer(std::uint32_t operation) {
  Bytes packet = {kLogMask, 0, 0, 0};
  AppendU32(packet, operation);
  AppendU32(packet, 0);  // success
  return packet;
}

Bytes LogRangesAnswer() {
  Bytes packet = LogAnswer(kLogRanges);
  for (std::uint32_t id = 0; id < kEquipmentIds; ++id) {
    AppendU32(packet, kItemsPerEquipment);
  }
  return packet;
}

Bytes EventMaskAnswer(eCommand command, std::uint32_t bits, ByteView mask) {
  Bytes packet = {command, 0, 0, 0};
  AppendU16(packet, bits);
  AppendBytes(packet, mask);
  return packet;
}

Bytes SsidRangesAnswer() {
  Bytes packet = {kMessageLevels, kSsidRanges, 1, 0};
  AppendU32(packet, static_cast<std::uint32_t>(SsidRanges().size()));
  for (const sSsidRange& range : SsidRanges()) {
    AppendU16(packet, range.first);
    AppendU16(packet, range.last);
  }
  return packet;
}

}  // namespace

Bytes cModem::Answer(ByteView request, std::uint64_t time) {
  const std::uint8_t command = request[0];
  if (const auto answer = IdentityAnswer(command, time)) {
    return request.size() == 1 ? *answer : ErrorReply(kBadLength, request);
  }
  switch (command) {
    case kSubsystem:
      if (request.size() < 4) {
        return ErrorReply(kBadLength, request);
      }
      return SubsystemAnswer(request).value_or(ErrorReply(kBadCommand, request));
    case kEventReport:
      if (request.size() != 2) {
        return ErrorReply(kBadLength, request);
      }
      masks.SetEventReporting(request[1] != 0);
      return {kEventReport, 0, 0};
    case kLogMask:
      return AnswerLogMask(request);
    case kGetEventMask:
      if (request.size() != 1) {
        return ErrorReply(kBadLength, request);
      }
      return EventMaskAnswer(kGetEventMask, kItemsPerEquipment,
                             masks.EventMask(kItemsPerEquipment));
    case kSetEventMask:
      return AnswerSetEventMask(request);
    case kMessageLevels:
      return AnswerMessageLevels(request);
    default:
      return ErrorReply(kBadCommand, request);
  }
}

Bytes cModem::AnswerLogMask(ByteView request) {
  if (request.size() < kLogOperationEnd) {
    return ErrorReply(kBadLength, request);
  }
  switch (ReadU32(request, 4)) {
    case kDisableLogs:
      masks.ClearLogMasks();
      return LogAnswer(kDisableLogs);
    case kLogRanges:
      return LogRangesAnswer();
    case kSetLogMask:
      return AnswerSetLogMask(request);
    case kGetLogMask:
      return AnswerGetLogMask(request);
    default:
      return ErrorReply(kBadParameters, request);
  }
}

Bytes cModem::AnswerSetLogMask(ByteView request) {
  constexpr std::size_t kMaskAt = 16;
  if (request.size() < kMaskAt) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint32_t equipmentId = ReadU32(request, 8);
  const std::uint32_t bits = ReadU32(request, 12);
  if (equipmentId >= kEquipmentIds || bits > kItemsPerEquipment) {
    return ErrorReply(kBadParameters, request);
  }
  if (request.size() != kMaskAt + MaskBytes(bits)) {
    return ErrorReply(kBadLength, request);
  }
  masks.SetLogMask(equipmentId, bits, request.subspan(kMaskAt));
  Bytes packet = LogAnswer(kSetLogMask);
  AppendBytes(packet, request.subspan(kLogOperationEnd));
  return packet;
}

Bytes cModem::AnswerGetLogMask(ByteView request) const {
  constexpr std::size_t kSize = 12;
  if (request.size() != kSize) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint32_t equipmentId = ReadU32(request, 8);
  if (equipmentId >= kEquipmentIds) {
    return ErrorReply(kBadParameters, request);
  }
  Bytes packet = LogAnswer(kGetLogMask);
  AppendU32(packet, equipmentId);
  AppendU32(packet, kItemsPerEquipment);
  AppendBytes(packet, masks.LogMask(equipmentId, kItemsPerEquipment));
  return packet;
}

Bytes cModem::AnswerSetEventMask(ByteView request) {
  if (request.size() < kEventMaskAt) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint32_t bits = ReadU16(request, 4);
  // A mask longer than its count is accepted: the count has 16 bits, and a mask of 65536 IDs and
  // more is sent with the low 16 bits of its count.
  if (request.size() < kEventMaskAt + MaskBytes(bits)) {
    return ErrorReply(kBadLength, request);
  }
  const ByteView mask = request.subspan(kEventMaskAt, MaskBytes(bits));
  masks.SetEventMask(bits, mask);
  return EventMaskAnswer(kSetEventMask, bits, mask);
}

Bytes cModem::AnswerMessageLevels(ByteView request) {
  if (request.size() < 2) {
    return ErrorReply(kBadLength, request);
  }
  switch (request[1]) {
    case kSsidRanges:
      return SsidRangesAnswer();
    case kBuildLevels:
    case kGetLevels:
      return AnswerGetLevels(request);
    case kSetLevels:
      return AnswerSetLevels(request);
    case kSetAllLevels:
      return AnswerSetAllLevels(request);
    default:
      return ErrorReply(kBadParameters, request);
  }
}

Bytes cModem::AnswerSetLevels(ByteView request) {
  constexpr std::size_t kMasksAt = 8;
  if (request.size() < kMasksAt) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint16_t first = ReadU16(request, 2);
  const std::uint16_t last = ReadU16(request, 4);
  if (first > last) {
    return ErrorReply(kBadParameters, request);
  }
  const std::size_t count = last - std::size_t{first} + 1;
  if (request.size() != kMasksAt + 4 * count) {
    return ErrorReply(kBadLength, request);
  }
  std::vector<std::uint32_t> levels;
  for (std::size_t i = 0; i < count; ++i) {
    levels.push_back(ReadU32(request, kMasksAt + 4 * i));
  }
  masks.SetMessageLevels(first, levels);
  Bytes packet(request.begin(), request.end());
  packet[6] = 1;  // success, where the request's reserved field stands
  return packet;
}

Bytes cModem::AnswerGetLevels(ByteView request) const {
  constexpr std::size_t kSize = 6;
  if (request.size() < kSize) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint16_t first = ReadU16(request, 2);
  const std::uint16_t last = ReadU16(request, 4);
  if (first > last || last - first >= 1024) {
    return ErrorReply(kBadParameters, request);
  }
  Bytes packet(request.begin(), request.begin() + kSize);
  AppendU16(packet, 1);  // success
  for (std::uint32_t ssid = first; ssid <= last; ++ssid) {
    const bool built = request[1] == kBuildLevels;
    AppendU32(packet, built ? kAllLevels : masks.MessageLevels(static_cast<std::uint16_t>(ssid)));
  }
  return packet;
}

Bytes cModem::AnswerSetAllLevels(ByteView request) {
  constexpr std::size_t kSize = 8;
  if (request.size() != kSize) {
    return ErrorReply(kBadLength, request);
  }
  const std::uint32_t levels = ReadU32(request, 4);
  masks.ClearMessageLevels();
  for (const sSsidRange& range : SsidRanges()) {
    const std::size_t count = range.last - std::size_t{range.first} + 1;
    masks.SetMessageLevels(range.first, std::vector<std::uint32_t>(count, levels));
  }
  Bytes packet(request.begin(), request.end());
  packet[2] = 1;  // success
  return packet;
}

}  // namespace corvane::modem_sim
