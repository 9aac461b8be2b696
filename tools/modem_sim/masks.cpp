#include "modem_sim/masks.h"

#include <algorithm>

namespace corvane::modem_sim {
namespace {

constexpr std::uint32_t kEventIds = 4096;
constexpr unsigned kItemBits = 12;

bool BitIsSet(ByteView mask, std::uint32_t bit) { return mask[bit >> 3] >> (bit & 7) & 1; }

Bytes MaskOf(const std::vector<std::uint16_t>& numbers, std::uint32_t bits) {
  Bytes mask((bits + 7) / 8, 0);
  for (const std::uint16_t number : numbers) {
    if (number < bits) {
      mask[number >> 3] = static_cast<std::uint8_t>(mask[number >> 3] | 1U << (number & 7));
    }
  }
  return mask;
}

}  // namespace

void cMasks::SetLogMask(std::uint32_t equipmentId, std::uint32_t bits, ByteView mask) {
  std::erase_if(logCodes, [&](std::uint16_t code) { return code >> kItemBits == equipmentId; });
  for (std::uint32_t item = 0; item < bits; ++item) {
    if (BitIsSet(mask, item)) {
      logCodes.push_back(static_cast<std::uint16_t>(equipmentId << kItemBits | item));
    }
  }
  std::sort(logCodes.begin(), logCodes.end());
}

void cMasks::ClearLogMasks() { logCodes.clear(); }

void cMasks::SetEventMask(std::uint32_t bits, ByteView mask) {
  eventIds.clear();
  for (std::uint32_t id = 0; id < std::min(bits, kEventIds); ++id) {
    if (BitIsSet(mask, id)) {
      eventIds.push_back(static_cast<std::uint16_t>(id));
    }
  }
  RefreshEvents();
}

void cMasks::SetEventReporting(bool on) {
  eventReporting = on;
  RefreshEvents();
}

void cMasks::RefreshEvents() {
  reportedEvents = eventReporting ? eventIds : std::vector<std::uint16_t>{};
}

void cMasks::SetMessageLevels(std::uint16_t firstSsid, const std::vector<std::uint32_t>& levels) {
  for (std::size_t i = 0; i < levels.size(); ++i) {
    messageLevels[static_cast<std::uint16_t>(firstSsid + i)] = levels[i];
  }
  RefreshSources();
}

void cMasks::ClearMessageLevels() {
  messageLevels.clear();
  RefreshSources();
}

void cMasks::RefreshSources() {
  sources.clear();
  for (const auto& [id, mask] : messageLevels) {
    for (unsigned level = 0; level < 32; ++level) {
      if (mask >> level & 1) {
        sources.push_back({id, level});
      }
    }
  }
}

std::uint32_t cMasks::MessageLevels(std::uint16_t ssid) const {
  const auto entry = messageLevels.find(ssid);
  return entry == messageLevels.end() ? 0 : entry->second;
}

Bytes cMasks::LogMask(std::uint32_t equipmentId, std::uint32_t bits) const {
  std::vector<std::uint16_t> items;
  for (const std::uint16_t code : logCodes) {
    if (code >> kItemBits == equipmentId) {
      items.push_back(code & ((1U << kItemBits) - 1));
    }
  }
  return MaskOf(items, bits);
}

Bytes cMasks::EventMask(std::uint32_t bits) const { return MaskOf(eventIds, bits); }

bool cMasks::AnythingOn() const {
  return !logCodes.empty() || !reportedEvents.empty() || !sources.empty();
}

void cMasks::Clear() { *this = cMasks(); }

}  // namespace corvane::modem_sim
