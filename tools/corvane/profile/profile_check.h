#pragma once

#include <string>
#include <string_view>
#include <vector>

// What a configuration makes the modem report, told in names before anybody records with it.
namespace corvane::tools {

struct sProfileCheck {
  // What it switches on, as lines for the user.
  std::vector<std::string> explanation;
  // What the library accepts silently and is hardly meant, a sentence each.
  std::vector<std::string> warnings;
};

// Explains the text of a configuration file, read as the library reads it. Any text will do.
[[nodiscard]] sProfileCheck CheckProfile(std::string_view text);

}  // namespace corvane::tools
