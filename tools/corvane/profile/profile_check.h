#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/profile/profile_requests.h"

// What a configuration makes the modem report, told in names before anybody records with it.
namespace corvane::tools {

// Something that the library accepts silently and that is hardly meant.
struct sProfileWarning {
  std::size_t line = 0;  // from 1; 0 for the file as a whole
  std::string text;      // what is wrong and what to write instead, without a full stop

  // "line 3: ...", for a message that has named the file.
  [[nodiscard]] std::string Text() const;
};

struct sProfileCheck {
  sProfileRequests requests;
  // What it switches on, as lines for the user.
  std::vector<std::string> explanation;
  // In the order of the text. Of many of one kind the first ones, and how many more there are.
  std::vector<sProfileWarning> warnings;
};

// Explains the bytes of a configuration file, read as the library reads them on Windows: a
// control-Z (0x1A) ends the text. Any bytes will do; what the result shows of them is fit for a
// terminal.
[[nodiscard]] sProfileCheck CheckProfile(std::string_view text);

}  // namespace corvane::tools
