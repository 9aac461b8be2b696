#include "modem_sim/control.h"

#include <utility>

namespace corvane::modem_sim {

sCommand ParseCommand(std::string_view line) {
  static constexpr std::pair<std::string_view, sCommand::eVerb> kVerbs[] = {
      {"unplug", sCommand::Unplug},
      {"plug", sCommand::Plug},
      {"pause", sCommand::Pause},
      {"resume", sCommand::Resume},
      {"reply hold", sCommand::ReplyHold},
      {"reply release", sCommand::ReplyRelease},
      {"quit", sCommand::Quit},
  };
  static constexpr std::pair<std::string_view, sCommand::eVerb> kVerbsWithBytes[] = {
      {"send ", sCommand::Send},
      {"send-raw ", sCommand::SendRaw},
  };
  sCommand command;
  command.line = line;
  for (const auto& [text, verb] : kVerbs) {
    if (line == text) {
      command.verb = verb;
    }
  }
  for (const auto& [text, verb] : kVerbsWithBytes) {
    if (!line.starts_with(text)) {
      continue;
    }
    const auto bytes = FromHex(line.substr(text.size()));
    if (!bytes || bytes->empty()) {
      continue;
    }
    command.verb = verb;
    command.bytes = *bytes;
  }
  return command;
}

void cCommandReader::Push(std::string_view text, std::vector<sCommand>& commands) {
  for (const char character : text) {
    if (character != '\n') {
      unfinished += character;
    } else if (!unfinished.empty()) {
      commands.push_back(ParseCommand(std::exchange(unfinished, {})));
    }
  }
}

}  // namespace corvane::modem_sim
