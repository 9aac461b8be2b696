#pragma once

#include <string>
#include <string_view>

#include "modem_sim/bytes.h"

namespace corvane::modem_sim {

// A command that a test or a user gives while the simulator runs.
struct sCommand {
  enum eVerb {
    Unknown,
    Unplug,
    Plug,
    Pause,
    Resume,
    ReplyHold,
    ReplyRelease,
    Send,     // `bytes` as a packet
    SendRaw,  // `bytes` as they are
    Quit,
  };
  eVerb verb = Unknown;
  Bytes bytes;
  std::string line;  // as it was given
};

// One line, without its line break. `send` and `send-raw` without good hex digits are Unknown.
[[nodiscard]] sCommand ParseCommand(std::string_view line);

// Cuts what is read from standard input into lines. Empty lines are no commands.
class cCommandReader {
 public:
  // Appends the commands that `text` completes to `commands`.
  void Push(std::string_view text, std::vector<sCommand>& commands);

 private:
  std::string unfinished;
};

}  // namespace corvane::modem_sim
