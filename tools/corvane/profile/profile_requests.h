#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>

// What a configuration asks of a modem.
namespace corvane::tools {

// The sections that the library knows.
inline constexpr std::string_view kLogCodesSection = "LogCodes";
inline constexpr std::string_view kEventIdsSection = "EventIDs";
inline constexpr std::string_view kMessageLevelsSection = "MessageLevels";
inline constexpr std::string_view kOtaTypesSection = "OTATypes";
inline constexpr std::string_view kMultiSimSection = "MultiSim";
// The one item of MultiSim.
inline constexpr std::string_view kUnwrapItem = "unwrap";

// Read off the bytes of the requests that the library makes, so that nothing is switched on in here
// that does not reach the modem.
struct sProfileRequests {
  // How many requests there are of each kind, in the order in which they are sent.
  std::size_t startUp = 0;
  std::size_t forEvents = 0;
  std::size_t forMessages = 0;
  std::size_t forLogCodes = 0;

  // What they switch on.
  std::set<std::uint16_t> logCodes;
  std::set<std::uint16_t> eventIds;
  std::map<std::uint16_t, std::uint32_t> messageLevels;  // SSID to a bit for each level; never 0
  // What would be on if the library did not give up its first requests for there are too many.
  std::set<std::uint16_t> lostEventIds;
  std::set<std::uint16_t> lostSsids;
  // Not asked of the modem: packets of several SIMs are taken out of their wrappers.
  bool unwraps = false;

  [[nodiscard]] std::size_t Count() const {
    return startUp + forEvents + forMessages + forLogCodes;
  }
  // Whether none of it asks for anything.
  [[nodiscard]] bool SwitchesNothingOn() const {
    return logCodes.empty() && eventIds.empty() && messageLevels.empty();
  }
};

// The requests that a configuration's text makes.
[[nodiscard]] sProfileRequests RequestsOf(std::string_view text);

}  // namespace corvane::tools
