#include "describe/names.h"

#include <algorithm>
#include <array>

namespace corvane {

const sLogCodeName* FindLogCode(std::uint16_t code) {
  const auto table = LogCodeNames();
  const auto found = std::lower_bound(
      table.begin(), table.end(), code,
      [](const sLogCodeName& name, std::uint16_t wanted) { return name.code < wanted; });
  return found != table.end() && found->code == code ? &*found : nullptr;
}

std::string_view EventName(std::uint16_t id) {
  const auto table = EventNames();
  const auto found = std::lower_bound(
      table.begin(), table.end(), id,
      [](const sEventName& name, std::uint16_t wanted) { return name.id < wanted; });
  return found != table.end() && found->id == id ? found->name : std::string_view();
}

std::string_view SsidName(std::uint16_t ssid) {
  const sSsidName* narrowest = nullptr;
  for (const sSsidName& range : SsidNames()) {
    if (ssid < range.first || ssid > range.last) {
      continue;
    }
    if (narrowest == nullptr || range.last - range.first < narrowest->last - narrowest->first) {
      narrowest = &range;
    }
  }
  return narrowest == nullptr ? std::string_view() : narrowest->name;
}

std::string_view MessageLevelName(std::uint32_t level) {
  constexpr std::array<std::string_view, 5> kNames = {"low", "medium", "high", "error", "fatal"};
  return level < kNames.size() ? kNames[level] : std::string_view();
}

std::string_view TechnologyName(eTechnology technology) {
  switch (technology) {
    case eTechnology::Cdma:
      return "CDMA";
    case eTechnology::EvDo:
      return "EV-DO";
    case eTechnology::Gsm:
      return "GSM";
    case eTechnology::Wcdma:
      return "WCDMA";
    case eTechnology::TdScdma:
      return "TD-SCDMA";
    case eTechnology::Lte:
      return "LTE";
    case eTechnology::Nr:
      return "NR";
    case eTechnology::Ims:
      return "IMS";
    case eTechnology::Ip:
      return "IP";
    case eTechnology::None:
      break;
  }
  return {};
}

bool HasMinorVersion(std::uint16_t logCode) {
  constexpr std::uint16_t kNrMib = 0xB822;
  constexpr std::uint16_t kNrServingCell = 0xB823;
  return logCode == kNrMib || logCode == kNrServingCell;
}

std::string VersionText(std::uint16_t logCode, std::uint32_t version) {
  return HasMinorVersion(logCode)
             ? std::to_string(version >> 16) + "." + std::to_string(version & 0xFFFF)
             : std::to_string(version);
}

}  // namespace corvane
