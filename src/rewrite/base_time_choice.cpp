#include "rewrite/base_time_choice.h"

#include <algorithm>
#include <vector>

#include "reader/directory.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// No clock reaches beyond 48 bits: what stands above them came there.
constexpr std::uint64_t kClockBits = (std::uint64_t{1} << 48) - 1;

// A modem's clock is seldom set right to the second, and often to a time zone.
constexpr std::uint64_t kNear = std::uint64_t{2} * 24 * 3600 * 1000;

[[nodiscard]] bool IsNear(std::uint64_t one, const std::optional<std::uint64_t>& other) {
  return other && std::max(one, *other) - std::min(one, *other) <= kNear;
}

// Whether the modem's time is that of `one`, so exactly that it is no accident, and not of `other`.
[[nodiscard]] bool IsExactly(const std::optional<std::uint64_t>& byModem, std::uint64_t one,
                             std::uint64_t other) {
  constexpr std::uint64_t kSecond = 1000;
  constexpr std::uint64_t kTimesAsFar = 16;
  const auto distance = [&byModem](std::uint64_t time) {
    return std::max(time, *byModem) - std::min(time, *byModem);
  };
  return byModem && distance(one) <= kSecond && distance(other) > kTimesAsFar * distance(one);
}

[[nodiscard]] bool LiesBetween(std::uint64_t time, const sBaseTimeEvidence& evidence) {
  return (!evidence.before || *evidence.before <= time) &&
         (!evidence.after || time <= *evidence.after);
}

// Whether the modem and all the blocks around show times that are years from this one.
[[nodiscard]] bool IsContradicted(std::uint64_t time, const sBaseTimeEvidence& evidence) {
  constexpr std::uint64_t kYear = std::uint64_t{365} * 24 * 3600 * 1000;
  const auto isFar = [time](const std::optional<std::uint64_t>& other) {
    return !other || std::max(time, *other) - std::min(time, *other) > kYear;
  };
  if ((!evidence.before && !evidence.after) || !isFar(evidence.before) || !isFar(evidence.after)) {
    return false;
  }
  const auto reference = evidence.byModem();
  return reference && isFar(reference);
}

// True for the own base time, false for that of the index; nothing where nothing decides.
[[nodiscard]] std::optional<bool> IsOwnBetter(const sBaseTimeEvidence& evidence,
                                              std::uint64_t indexed) {
  const std::uint64_t own = evidence.own;
  if (IsLikelyTime(own) != IsLikelyTime(indexed)) {
    return IsLikelyTime(own);
  }
  const auto reference = evidence.byModem();
  if (IsNear(own, reference) != IsNear(indexed, reference)) {
    return IsNear(own, reference);
  }
  if (IsExactly(reference, own, indexed) != IsExactly(reference, indexed, own)) {
    return IsExactly(reference, own, indexed);
  }
  if (LiesBetween(own, evidence) != LiesBetween(indexed, evidence)) {
    return LiesBetween(own, evidence);
  }
  const auto isNearAny = [&evidence](std::uint64_t time) {
    return IsNear(time, evidence.before) || IsNear(time, evidence.after);
  };
  return isNearAny(own) != isNearAny(indexed) ? std::optional(isNearAny(own)) : std::nullopt;
}

[[nodiscard]] sChosenBaseTime ChooseOfTwo(const sBaseTimeEvidence& evidence,
                                          std::uint64_t indexed) {
  if (evidence.own > isf::kLatestTime) {
    return {indexed, " cannot be right: that of the block index is taken"};
  }
  const std::optional<bool> isOwn = IsOwnBetter(evidence, indexed);
  if (!isOwn) {
    return {evidence.own,
            " is not that of the block index, and nothing tells which is right: the block's own "
            "is taken",
            true};
  }
  return *isOwn ? sChosenBaseTime{evidence.own, " is not that of the block index, and fits better"}
                : sChosenBaseTime{indexed, " cannot be right: that of the block index is taken"};
}

}  // namespace

sChosenBaseTime ChooseBaseTime(const sBaseTimeEvidence& evidence) {
  const std::uint64_t own = evidence.own;
  const std::optional<std::uint64_t>& indexed = evidence.indexed;
  const bool isPossible = own <= isf::kLatestTime;
  const bool isBelieved =
      isPossible && (evidence.isOfCompleteFile ||
                     (IsLikelyTime(own) && (indexed || !IsContradicted(own, evidence))));
  if (isPossible && indexed ? *indexed == own : isBelieved) {
    return {own};
  }
  if (indexed && *indexed <= isf::kLatestTime) {
    return ChooseOfTwo(evidence, *indexed);
  }
  if (isBelieved) {
    return {own, " is not that of the block index, which cannot be right"};
  }
  if (!isPossible && IsLikelyTime(own & kClockBits) &&
      !IsContradicted(own & kClockBits, evidence)) {
    return {own & kClockBits, " cannot be right: its two highest bytes are taken for zero"};
  }
  if (const auto reference = evidence.byModem()) {
    return {reference,
            " is lost: the items have the time of their packets, as the modem's clock had it",
            true};
  }
  if (isPossible && evidence.hasItems) {
    return {own};
  }
  return {};
}

std::optional<std::uint64_t> BaseTimeByModem(
    cByteSource& source, const sBlockToRecover& wanted,
    std::span<const std::uint8_t, isf::kDirectorySize> directory) {
  constexpr std::size_t kLooks = 8;
  constexpr std::uint64_t kHour = std::uint64_t{3600} * 1000;
  const sJudgedDirectory judged =
      JudgeDirectory(directory, {wanted.offset, 0, wanted.limit, 0, false}, source);
  cByteWindow window(source);
  std::vector<std::uint64_t> times;
  for (std::uint32_t place = 0; place < judged.entries && times.size() < kLooks; ++place) {
    const isf::sDirectoryEntry entry = EntryAt(directory, place);
    if (!judged.good.test(place) || entry.WidthCode() == isf::kTimeAbsolute64) {
      continue;
    }
    const auto record = window.Read(wanted.RecordsBegin() + entry.position, entry.RecordSize());
    const auto packet = record ? record->last(entry.length) : std::span<const std::uint8_t>();
    const auto time = OwnLength(packet) == packet.size() ? ModemTimeIn(packet) : std::nullopt;
    if (time) {
      times.push_back(*time - isf::LoadRecordHead(entry, 0, *record).time);
    }
  }
  for (const std::uint64_t time : times) {
    const auto isNear = [time](std::uint64_t other) {
      return std::max(time, other) - std::min(time, other) <= kHour;
    };
    if (std::count_if(times.begin(), times.end(), isNear) > (times.size() == 1 ? 0 : 1)) {
      return time;
    }
  }
  return std::nullopt;
}

}  // namespace corvane
