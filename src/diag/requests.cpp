#include "diag/requests.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "diag/command_codes.h"
#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::uint32_t kMaxEquipmentId = 15;
constexpr std::uint32_t kLogItemsPerEquipmentId = 4096;
constexpr std::size_t kLogMaskSize = kLogItemsPerEquipmentId / 8;
constexpr std::size_t kLogMaskHeaderSize = 16;

// The largest request, and the only one of its size, is one for the levels of 2050 SSIDs.
constexpr std::size_t kMaxRequestSize = 8208;
constexpr std::size_t kEventMaskHeaderSize = 6;
constexpr std::size_t kMessageLevelsHeaderSize = 8;
constexpr std::size_t kLevelMaskSize = 4;

constexpr std::uint8_t kCommands[] = {0x1D, 0x00, 0x7C, 0x1C, 0x0C, command::kStatus};
// The command code, the subsystem ID and the subsystem's command as a 16-bit number.
constexpr std::uint8_t kSubsystemCommands[][4] = {
    {command::kSubsystem, 0x0F, 0x00, 0x00}, {command::kSubsystem, 0x09, 0x00, 0x00},
    {command::kSubsystem, 0x08, 0x00, 0x00}, {command::kSubsystem, 0x08, 0x01, 0x00},
    {command::kSubsystem, 0x04, 0x00, 0x00}, {command::kSubsystem, 0x04, 0x0F, 0x00}};
constexpr std::uint8_t kSwitchEventReportsOn[] = {command::kEventReport, 0x01};

using ByteVector = std::span<const std::uint8_t>;
constexpr std::array<ByteVector, 13> kStartUpRequests = {
    ByteVector(&kCommands[0], 1),      ByteVector(&kCommands[1], 1),
    ByteVector(&kCommands[2], 1),      ByteVector(&kCommands[3], 1),
    ByteVector(&kCommands[4], 1),      ByteVector(&kCommands[5], 1),
    ByteVector(kSubsystemCommands[0]), ByteVector(kSubsystemCommands[1]),
    ByteVector(kSubsystemCommands[2]), ByteVector(kSubsystemCommands[3]),
    ByteVector(kSubsystemCommands[4]), ByteVector(kSubsystemCommands[5]),
    ByteVector(kSwitchEventReportsOn)};

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

  constexpr std::size_t kSize = kLogMaskHeaderSize + kLogMaskSize;
  HeapBlock request = AllocateZeroedBlock(kSize);
  if (request == nullptr) {
    return nullptr;
  }
  Store32(&request[0], 0x73);
  Store32(&request[4], 3);
  Store32(&request[8], equipmentId);
  Store32(&request[12], kLogItemsPerEquipmentId);
  FillLogMask(&request[kLogMaskHeaderSize], equipmentId, logCodes);
  return MakeRequest(kSize, std::move(request));
}

void FillLogMask(std::uint8_t* mask, std::uint32_t equipmentId, const LogCodeSet& logCodes) {
  if (mask == nullptr || equipmentId > kMaxEquipmentId) {
    return;
  }

  std::fill_n(mask, kLogMaskSize, std::uint8_t{0});
  for (const std::uint32_t logCode : logCodes) {
    const std::uint32_t codeEquipmentId = (logCode >> 12) & 0xF;
    // Codes of 16 bits ascend by equipment ID. A longer one behind a greater equipment ID is never
    // reached: 0x11000 counts for equipment ID 1 by itself, but not beside 0x2000.
    if (codeEquipmentId > equipmentId) {
      break;
    }
    if (codeEquipmentId == equipmentId) {
      SetBit(mask, logCode & 0xFFF);
    }
  }
}

OwnedBuffer BuildEventMaskRequest(const EventIdSet& eventIds) {
  if (eventIds.empty()) {
    return nullptr;
  }

  const std::uint32_t maxId = *eventIds.rbegin();
  const std::size_t size = (maxId >> 3) + 1 + kEventMaskHeaderSize;
  // The bound itself is excluded here and included for message levels: IDs up to 65607 fit, and a
  // largest ID of 65608 gives no request.
  if (size >= kMaxRequestSize) {
    return nullptr;
  }

  HeapBlock request = AllocateZeroedBlock(size);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = 0x82;
  Store16(&request[4], static_cast<std::uint16_t>(maxId + 1));
  // Above 4095 no bit is set although the count covers the ID: every event is switched off.
  if (maxId <= 4095) {
    for (const std::uint32_t eventId : eventIds) {
      SetBit(&request[kEventMaskHeaderSize], eventId);
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
  const std::size_t size = kMessageLevelsHeaderSize + kLevelMaskSize * levelSets.size();
  if (size > kMaxRequestSize) {
    return nullptr;
  }

  HeapBlock request = AllocateZeroedBlock(size);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = 0x7D;
  request[1] = 0x04;
  Store16(&request[2], static_cast<std::uint16_t>(firstSsid));
  Store16(&request[4], static_cast<std::uint16_t>(lastSsid));
  std::uint8_t* mask = &request[kMessageLevelsHeaderSize];
  for (const std::set<std::uint32_t>& levels : levelSets) {
    Store32(mask, LevelMask(levels));
    mask += kLevelMaskSize;
  }
  return MakeRequest(size, std::move(request));
}

OwnedBuffer BuildAllLevelsRequest(const std::set<std::uint32_t>& levels) {
  constexpr std::size_t kSize = 8;
  HeapBlock request = AllocateZeroedBlock(kSize);
  if (request == nullptr) {
    return nullptr;
  }
  request[0] = 0x7D;
  request[1] = 0x05;
  Store32(&request[4], LevelMask(levels));
  return MakeRequest(kSize, std::move(request));
}

}  // namespace corvane
