#include "analysis/connection_texts.h"

#include <algorithm>
#include <utility>

namespace corvane {
namespace {

constexpr std::string_view kPort = "Port ";
constexpr std::string_view kConnected = " connected";
constexpr std::string_view kDisconnected = " disconnected";
constexpr std::string_view kImported = "Imported from ";
constexpr std::string_view kMerged = "Merged from ";

// What stands between `lead` and `end`; empty when the text is none such.
[[nodiscard]] std::string_view Between(std::string_view text, std::string_view lead,
                                       std::string_view end) {
  if (text.size() <= lead.size() + end.size() || !text.starts_with(lead) || !text.ends_with(end)) {
    return {};
  }
  return text.substr(lead.size(), text.size() - lead.size() - end.size());
}

}  // namespace

sConnectionChange cConnectionTexts::Add(std::string_view text) {
  if (const std::string_view name = Between(text, kMerged, ""); !name.empty()) {
    return GoTo(name);
  }
  if (const std::string_view name = Between(text, kImported, ""); !name.empty()) {
    port = name;
    imported = true;
    return Connect();
  }
  if (const std::string_view name = Between(text, kPort, kConnected); !name.empty()) {
    port = name;
    imported = false;
    return Connect();
  }
  if (const std::string_view name = Between(text, kPort, kDisconnected); !name.empty()) {
    port = name;
    imported = false;
    return Disconnect();
  }
  return {};
}

sConnectionChange cConnectionTexts::GoTo(std::string_view captureName) {
  if (captureName == capture) {
    return {};
  }
  capture = captureName;
  isToldAnew = true;
  // The newest of its connections; none before its first port is told.
  const auto known = std::find_if(
      open.rbegin(), open.rend(),
      [captureName](const sOpen& candidate) { return candidate.capture == captureName; });
  present = known == open.rend() ? 0 : known->number;
  return {eConnectionChange::Resumed, present};
}

sConnectionChange cConnectionTexts::Connect() {
  const auto known = std::ranges::find_if(open, [this](const sOpen& candidate) {
    return candidate.capture == capture && candidate.port == port && candidate.imported == imported;
  });
  const bool isAgain = std::exchange(isToldAnew, false);
  sConnectionChange change{eConnectionChange::Begun};
  if (known != open.end()) {
    if (isAgain || known->number != present) {
      present = known->number;
      return {eConnectionChange::Resumed, present};
    }
    change.replaced = present;
    open.erase(known);
  } else if (open.size() == kMostOpen) {
    open.erase(open.begin());
  }
  if (isBeforeAll) {
    change.replaced = 0;
  }
  isBeforeAll = false;
  present = ++count;
  change.connection = present;
  open.push_back({capture, port, imported, present});
  return change;
}

sConnectionChange cConnectionTexts::Disconnect() {
  const auto known = std::ranges::find_if(open, [this](const sOpen& candidate) {
    return candidate.capture == capture && candidate.port == port && !candidate.imported;
  });
  if (known == open.end()) {
    // The beginning of the capture is missing, or the text is of no connection that is known.
    const bool isFirst = isBeforeAll;
    isBeforeAll = false;
    return {isFirst ? eConnectionChange::Ended : eConnectionChange::None, 0};
  }
  const std::uint64_t ended = known->number;
  open.erase(known);
  if (present == ended) {
    present = 0;
  }
  return {eConnectionChange::Ended, ended};
}

}  // namespace corvane
