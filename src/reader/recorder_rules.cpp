#include "reader/recorder_rules.h"

namespace corvane {
namespace {

// What the recorder has instead of an extra field as long as it knows none.
constexpr std::uint32_t kNoExtra = 0xFFFFFFFF;

[[nodiscard]] bool IsKnownType(std::uint32_t type) {
  switch (type) {
    case isf::kShortLogItem:
    case isf::kPacketItem:
    case isf::kRequestItem:
    case isf::kEventItem:
    case isf::kLogItem:
    case isf::kMessageItem:
    case isf::kInformationItem:
    case isf::kSignallingLogItem:
    case isf::kSubsystemItem:
    case isf::kSubsystemRequestItem:
      return true;
    default:
      return false;
  }
}

}  // namespace

sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry) {
  if (!IsKnownType(entry.Type())) {
    return {"has a type that no item has"};
  }
  if (entry.length == 0) {
    return {"has no packet"};
  }
  if (entry.length > isf::kLongestPacket) {
    return {"has a packet longer than 16640 bytes"};
  }
  if (entry.HasExtra() && entry.Type() != isf::kSignallingLogItem) {
    return {"has an extra field, which items of its type never have"};
  }
  return {};
}

sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry, const isf::sRecordHead& head,
                           std::uint32_t place, std::uint64_t baseTime) {
  if (const sBrokenRule broken = FindBrokenRule(entry); broken.problem != nullptr) {
    return broken;
  }
  if (head.time > isf::kLatestTime) {
    return {"has a time later than any clock can be", true};
  }
  // A block takes its base time from its first item.
  if (place == 0 && head.time != baseTime) {
    return {"is the first of its block, but not at the block's base time", true};
  }
  if (entry.WidthCode() != isf::ChooseTimeWidth(head.time, baseTime)) {
    return {entry.WidthCode() > isf::ChooseTimeWidth(head.time, baseTime)
                ? "has a wider time field than it needs"
                : "has a time field with all its bits set",
            true};
  }
  if (head.extra == kNoExtra) {
    return {"has an extra field of 0xFFFFFFFF, which stands for none", true};
  }
  return {};
}

}  // namespace corvane
