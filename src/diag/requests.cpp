#include "diag/requests.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

constexpr std::uint32_t kMaxEquipmentId = log_packet::kEquipmentIds - 1;

// The largest request, and the only one of its size, is one for the levels of 2050 SSIDs.
constexpr std::size_t kMaxRequestSize = 8208;

// Above this event ID a mask is left empty.
constexpr std::uint32_t kMaxMaskedEventId = 4095;

constexpr std::uint8_t kCommands[] = {command::kTimeStamp, command::kVersion,
                                      command::kBuildId,   command::kProtocolVersion,
                                      command::kStatus,    command::kFeatureQuery};
// The command code, the subsystem ID and the subsystem's command as a 16-bit number.
constexpr std::uint8_t kSubsystemCommands[][subsystem::kHeadSize] = {
    {command::kSubsystem, 0x0F, 0x00, 0x00},
    {command::kSubsystem, subsystem::kCellSubsystem, 0x00, 0x00},
    {command::kSubsystem, 0x08, 0x00, 0x00},
    {command::kSubsystem, 0x08, 0x01, 0x00},
    {command::kSubsystem, 0x04, 0x00, 0x00},
    {command::kSubsystem, 0x04, 0x0F, 0x00}};
constexpr std::uint8_t kSwitchEventReportsOn[] = {command::kEventReport, event_report::kOn};

using ByteView = std::span<const std::uint8_t>;
constexpr std::array<ByteView, 13> kStartUpRequests = {
    ByteView(&kCommands[0], 1),      ByteView(&kCommands[1], 1),
    ByteView(&kCommands[2], 1),      ByteView(&kCommands[3], 1),
    ByteView(&kCommands[4], 1),      ByteView(&kCommands[5], 1),
    ByteView(kSubsystemCommands[0]), ByteView(kSubsystemCommands[1]),
    ByteView(kSubsystemCommands[2]), ByteView(kSubsystemCommands[3]),
    ByteView(kSubsystemCommands[4]), ByteView(kSubsystemCommands[5]),
    ByteView(kSwitchEventReportsOn)};

[[nodiscard]] OwnedBuffer MakeRequest(std::size_t size, HeapBlock block) {
  return AdoptBlock(static_cast<std::int32_t>(size), std::move(block), kOriginLibrary);
}

void SetBit(std::uint8_t* mask, std::uint32_t bit) {
  mask[bit >> 3] = static_cast<std::uint8_t>(mask[bit >> 3] | (1U << (bit & 7)));
}

[[nodiscard]] std::uint32_t LevelMask(const std::set<std::uint32_t>& levels) {
  std::uint32_t mask = 0;
  for (const std::uint32_t level : levels) {
    if (level < 32) {
      mask |= std::uint32_t{1} << level;
    }
  }
  return mask;
}

}  // namespace

std::span<const std::span<const std::uint8_t>> StartUpRequests() { return kStartUpRequests; }

OwnedBuffer BuildLogMaskRequest(std::uint32_t equipmentId, const LogCodeSet& logCodes) {
  if (equipmentId > kMaxEquipmentId) {
    return nullptr;
  }

  HeapBlock request = AllocateZeroedBlock(log_mask::kSize);
  if (request == nullptr) {
    return nullptr;
  }
  Store32(&request[0], command::kLogMask);
  Store32(&request[log_mask::kOperation], log_mask::kSetMask);
  Store32(&request[log_mask::kEquipmentId], equipmentId);
  Store32(&request[log_mask::kItemCount], log_packet::kItemsPerEquipmentId);
  FillLogMask(&request[log_mask::kMask], equipmentId, logCodes);
  return MakeRequest(log_mask::kSize, std::move(request));
}

void FillLogMask(std::uint8_t* mask, std::uint32_t equipmentId, const LogCodeSet& logCodes) {
  if (mask == nullptr || equipmentId > kMaxEquipmentId) {
    return;
  }

  std::fill_n(mask, log_mask::kMaskSize, std::uint8_t{0});
  for (const std::uint32_t logCode : logCodes) {
    const std::uint32_t codeEquipmentId =
        (logCode >> log_packet::kEquipmentIdShift) % log_packet::kEquipmentIds;
    // Codes of 16 bits ascend by equipment ID. A longer one behind a greater equipment ID is never
    // reached: 0x11000 counts for equipment ID 1 by itself, but not beside 0x2000.
    if (codeEquipmentId > equipmentId) {
      break;
    }
    if (codeEquipmentId == equipmentId) {
      SetBit(mask, logCode % log_packet::kItemsPerEquipmentId);
    }
  }
}

OwnedBuffer BuildEventMaskRequest(const EventIdSet& eventIds) {
  if (eventIds.empty()) {
    return nullptr;
  }

  const std::uint32_t maxId = *eventIds.rbegin();
  const std::size_t size = event_mask::kMask + (maxId >> 3) + 1;
  // The bound itself is excluded here and included for message levels: IDs up to 65607 fit, and a
  // largest ID of 65608 gives no request.
  if (size >= kMaxRequestSize) {
    return nullptr;
  }

  HeapBlock request = AllocateZeroedBlock(size);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = command::kEventMask;
  Store16(&request[event_mask::kEventCount], static_cast<std::uint16_t>(maxId + 1));
  // Above it no bit is set although the count covers the ID: every event is switched off.
  if (maxId <= kMaxMaskedEventId) {
    for (const std::uint32_t eventId : eventIds) {
      SetBit(&request[event_mask::kMask], eventId);
    }
  }
  return MakeRequest(size, std::move(request));
}

OwnedBuffer BuildMessageLevelsRequest(std::uint32_t firstSsid, std::uint32_t lastSsid,
                                      std::span<const std::set<std::uint32_t>> levelSets) {
  if (firstSsid > lastSsid) {
    return nullptr;
  }
  // In 64 bits, so that the range of all SSIDs does not count as none.
  if (std::uint64_t{lastSsid} - firstSsid + 1 != levelSets.size()) {
    return nullptr;
  }
  const std::size_t size = message_levels::kMasks + message_levels::kMaskSize * levelSets.size();
  if (size > kMaxRequestSize) {
    return nullptr;
  }

  HeapBlock request = AllocateZeroedBlock(size);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = command::kMessageLevels;
  request[message_levels::kOperation] = message_levels::kSetRange;
  Store16(&request[message_levels::kFirstSsid], static_cast<std::uint16_t>(firstSsid));
  Store16(&request[message_levels::kLastSsid], static_cast<std::uint16_t>(lastSsid));
  std::uint8_t* mask = &request[message_levels::kMasks];
  for (const std::set<std::uint32_t>& levels : levelSets) {
    Store32(mask, LevelMask(levels));
    mask += message_levels::kMaskSize;
  }
  return MakeRequest(size, std::move(request));
}

OwnedBuffer BuildAllLevelsRequest(const std::set<std::uint32_t>& levels) {
  HeapBlock request = AllocateZeroedBlock(message_levels::kSizeForAll);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = command::kMessageLevels;
  request[message_levels::kOperation] = message_levels::kSetAll;
  Store32(&request[message_levels::kMaskForAll], LevelMask(levels));
  return MakeRequest(message_levels::kSizeForAll, std::move(request));
}

}  // namespace corvane
