#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

// Makes a configuration of what somebody names.
namespace corvane::tools {

// What a configuration is to switch on.
struct sProfileContent {
  std::set<std::uint32_t> logCodes;
  std::set<std::uint32_t> eventIds;
  std::map<std::uint32_t, std::uint32_t> messageLevels;  // SSID to a bit for each level
  bool unwraps = false;

  [[nodiscard]] bool IsEmpty() const {
    return logCodes.empty() && eventIds.empty() && messageLevels.empty() && !unwraps;
  }
};

// Each adds what one word of the command line stands for (command/named_numbers.h), and returns
// what is wrong with it, if anything.
[[nodiscard]] std::optional<std::string> AddLogCodes(std::string_view word,
                                                     sProfileContent& content);
[[nodiscard]] std::optional<std::string> AddEvents(std::string_view word, sProfileContent& content);
// "5/high", "call manager/3", "9500-9521/low-fatal": subsystems, a slash, and a level, a range of
// levels, or "all".
[[nodiscard]] std::optional<std::string> AddLevels(std::string_view word, sProfileContent& content);

// The configuration's text, with what it switches on as commentary in front of the sections. The
// check of a configuration finds nothing wrong with it, but for more requests than fit.
[[nodiscard]] std::string WriteProfile(const sProfileContent& content);

}  // namespace corvane::tools
