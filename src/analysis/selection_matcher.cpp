#include "analysis/selection_matcher.h"

#include <algorithm>
#include <span>
#include <utility>

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using eAnswer = cSelectionMatcher::eAnswer;

constexpr std::uint64_t kMillisecondsPerDay = 86'400'000;

[[nodiscard]] bool IsRequest(std::uint32_t type) {
  return type == isf::kRequestItem || type == isf::kSubsystemRequestItem;
}

// Only packets of the modem are logs, events and debug messages.
[[nodiscard]] bool IsOfModem(std::uint32_t type) {
  return !IsRequest(type) && type != isf::kInformationItem;
}

[[nodiscard]] bool Hold(const std::vector<sNumberRange>& ranges, std::uint32_t number) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [number](const sNumberRange& range) { return range.Holds(number); });
}

// The command of a modem's packet, out of its wrapper.
[[nodiscard]] std::optional<std::uint8_t> CommandOf(const sCaptureItem& item) {
  const std::span<const std::uint8_t> packet = Unwrap(item.bytes).packet;
  if (!IsOfModem(item.type) || packet.empty()) {
    return std::nullopt;
  }
  return packet[0];
}

[[nodiscard]] bool IsMessage(std::uint8_t code) {
  return code == command::kMessage || code == command::kExtendedMessage ||
         code == command::kTerseMessage || code == command::kNewTerseMessage;
}

// What a description tells too, without making one.
[[nodiscard]] std::optional<std::uint16_t> LogCodeOf(const sCaptureItem& item) {
  const std::span<const std::uint8_t> packet = Unwrap(item.bytes).packet;
  if (!IsOfModem(item.type) || packet.empty()) {
    return std::nullopt;
  }
  std::size_t place = log_packet::kLogCode;
  if (packet[0] == command::kSecuredLog) {
    place = secured_log::kLogCode;
  } else if (packet[0] != command::kLog) {
    return std::nullopt;
  }
  return packet.size() < place + 2 ? std::nullopt : std::optional(Load16(&packet[place]));
}

// A time of day on the day that the clock shows at `start`.
[[nodiscard]] std::uint64_t OnDayOf(std::uint64_t start, std::uint64_t timeOfDay,
                                    std::int64_t ahead) {
  // The shift may go below 0 here, and comes back with the second one: unsigned numbers wrap.
  const auto shift = static_cast<std::uint64_t>(ahead);
  const std::uint64_t shown = start + shift;
  const std::uint64_t time = shown - shown % kMillisecondsPerDay + timeOfDay - shift;
  const bool isBelowNone = time > start && time - start > 2 * kMillisecondsPerDay;
  return isBelowNone ? 0 : time;
}

[[nodiscard]] eAnswer Both(eAnswer one, eAnswer other) {
  if (one == eAnswer::No || other == eAnswer::No) {
    return eAnswer::No;
  }
  return one == eAnswer::Yes ? other : one;
}

[[nodiscard]] eAnswer Either(bool isYes) { return isYes ? eAnswer::Yes : eAnswer::No; }

}  // namespace

// A sum that no clock can show is as late as can be.
std::optional<std::uint64_t> TimeOf(const sSelectionBound& bound, std::uint64_t start) {
  if (bound.time) {
    return bound.time;
  }
  if (bound.sinceStart) {
    return start + std::min(*bound.sinceStart, UINT64_MAX - start);
  }
  if (bound.timeOfDay) {
    return OnDayOf(start, *bound.timeOfDay, bound.clockAhead);
  }
  return std::nullopt;
}

cSelectionMatcher::cSelectionMatcher(sSelection wanted, std::optional<std::uint64_t> start)
    : selection(std::move(wanted)) {
  firstNumber = selection.from.number.value_or(0);
  lastNumber = selection.to.number.value_or(UINT64_MAX);
  firstTime = TimeOf(selection.from, start.value_or(0)).value_or(0);
  lastTime = TimeOf(selection.to, start.value_or(0)).value_or(UINT64_MAX);
  const bool areTimesOfDay = selection.from.timeOfDay && selection.to.timeOfDay;
  if (areTimesOfDay && lastTime < firstTime) {
    lastTime += kMillisecondsPerDay;
  }
  FindAnswers();
}

void cSelectionMatcher::FindAnswers() {
  const bool hasTimes = firstTime != 0 || lastTime != UINT64_MAX;
  for (std::uint32_t type = 0; type < byType.size(); ++type) {
    eAnswer answer = KindByType(type);
    if (selection.direction) {
      const bool isToModem = *selection.direction == eDirection::ToModem;
      answer = Both(answer, Either(isToModem ? IsRequest(type) : IsOfModem(type)));
    }
    if (selection.levels != 0) {
      answer = Both(answer, IsOfModem(type) ? eAnswer::Read : eAnswer::No);
    }
    if (!selection.contains.empty()) {
      answer = Both(answer, IsRequest(type) ? eAnswer::No : eAnswer::Read);
    }
    if (selection.invert && answer != eAnswer::Read) {
      answer = Either(answer == eAnswer::No);
    }
    byType[type] = hasTimes ? Both(answer, eAnswer::Read) : answer;
  }
}

cSelectionMatcher::eAnswer cSelectionMatcher::KindByType(std::uint32_t type) const {
  const bool needsPacket =
      !selection.logCodes.empty() || !selection.events.empty() || !selection.ssids.empty();
  const bool isOfType =
      std::find(selection.types.begin(), selection.types.end(), type) != selection.types.end();
  if (isOfType || (selection.types.empty() && !needsPacket)) {
    return eAnswer::Yes;
  }
  return needsPacket && IsOfModem(type) ? eAnswer::Read : eAnswer::No;
}

bool cSelectionMatcher::Matches(const cDescribedItem& described) const {
  const sCaptureItem& item = described.Item();
  if (item.number < firstNumber || item.number > lastNumber || item.time < firstTime ||
      item.time > lastTime) {
    return false;
  }
  // The type may tell all, but for the times, which are right.
  if (!selection.DemandsContent()) {
    return true;
  }
  const bool isWanted = IsOfWantedKind(described) && HasWantedContent(described);
  return isWanted != selection.invert;
}

bool cSelectionMatcher::Matches(const sMarker& marker) const {
  if (marker.time < firstTime || marker.time > lastTime) {
    return false;
  }
  const bool isInText = marker.text.find(selection.contains) != std::string::npos;
  return selection.contains.empty() || isInText != selection.invert;
}

// The four that widen each other.
bool cSelectionMatcher::IsOfWantedKind(const cDescribedItem& described) const {
  const sCaptureItem& item = described.Item();
  if (const eAnswer answer = KindByType(item.type); answer != eAnswer::Read) {
    return answer == eAnswer::Yes;
  }
  if (!selection.logCodes.empty()) {
    const auto logCode = LogCodeOf(item);
    if (logCode && Hold(selection.logCodes, *logCode)) {
      return true;
    }
  }
  const auto command = CommandOf(item);
  if (!selection.events.empty() && command && command::IsEventReport(*command)) {
    const auto& events = described.Description().events;
    return std::any_of(events.begin(), events.end(),
                       [this](const sEvent& event) { return Hold(selection.events, event.id); });
  }
  if (!selection.ssids.empty() && command && IsMessage(*command)) {
    const auto& message = described.Description().message;
    return message && message->ssid && Hold(selection.ssids, *message->ssid);
  }
  return false;
}

// What narrows.
bool cSelectionMatcher::HasWantedContent(const cDescribedItem& described) const {
  const sCaptureItem& item = described.Item();
  if (selection.direction) {
    const bool isToModem = *selection.direction == eDirection::ToModem;
    if (!(isToModem ? IsRequest(item.type) : IsOfModem(item.type))) {
      return false;
    }
  }
  if (selection.levels == 0 && selection.contains.empty()) {
    return true;
  }
  const auto command = CommandOf(item);
  const bool isMessage = command && IsMessage(*command);
  if (!isMessage && (selection.levels != 0 || item.type != isf::kInformationItem)) {
    return false;
  }
  const sDescription& description = described.Description();
  const auto& message = description.message;
  if (selection.levels != 0 &&
      (!message || (message->levels.value_or(0) & selection.levels) == 0)) {
    return false;
  }
  const std::string& text = message ? message->text : description.text;
  return text.find(selection.contains) != std::string::npos;
}

}  // namespace corvane
