#include "corvane/command/usage_error.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <optional>
#include <ostream>
#include <string_view>

#include "corvane/command/command_text.h"
#include "corvane/command/nearest.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::vector<std::string> CommandsBelow(const CLI::App& command) {
  std::vector<std::string> words;
  for (const sCommandText& below : DescribeCommand(command).commands) {
    words.push_back(below.Word());
  }
  return words;
}

void Tell(const CLI::App& command, const std::string& what, std::ostream& errors) {
  const std::string name = DescribeCommand(command).name;
  errors << fmt::format("{}: {}\n{} --help tells more\n", name, what, name);
}

// The command that the arguments ask for, as far as they do.
[[nodiscard]] const CLI::App& CommandAskedFor(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
  }
  return *command;
}

// A word that stands where a command is wanted and is none.
struct sUnknownCommand {
  const CLI::App* command;  // the one above it
  std::string word;
};

[[nodiscard]] std::optional<sUnknownCommand> FindUnknownCommand(
    const CLI::App& app, const std::vector<std::string>& arguments) {
  const CLI::App* command = &app;
  for (const std::string& word : arguments) {
    if (command->get_require_subcommand_min() == 0) {
      break;  // what follows are its own arguments
    }
    if (word.starts_with('-')) {
      continue;  // where a command is wanted no option has a value
    }
    const auto named = command->get_subcommands(
        [&word](const CLI::App* candidate) { return candidate->check_name(word); });
    if (named.empty()) {
      return sUnknownCommand{command, word};
    }
    command = named.front();
  }
  return std::nullopt;
}

// What is wrong with an argument that `command` has no use for.
[[nodiscard]] std::string Unwanted(const CLI::App& command, const std::string& argument) {
  if (!argument.starts_with('-')) {
    return fmt::format("there is no use for \"{}\"", argument);
  }
  const std::string option = argument.substr(0, argument.find('='));
  std::vector<std::string> known;
  for (const sOptionGroup& group : DescribeCommand(command).groups) {
    for (const sOptionText& text : group.options) {
      known.insert(known.end(), text.names.begin(), text.names.end());
    }
  }
  return fmt::format("there is no option {}{}", option, DidYouMean(option, known));
}

// What CLI11 says of the values of options, in this program's words.
[[nodiscard]] std::string InOwnWords(const std::string& said) {
  constexpr std::string_view kConverted = "Could not convert: ";
  constexpr std::string_view kEquals = " = ";
  if (const std::size_t equals = said.find(kEquals);
      said.starts_with(kConverted) && equals != std::string::npos) {
    return fmt::format("{}: \"{}\" is no number",
                       said.substr(kConverted.size(), equals - kConverted.size()),
                       said.substr(equals + kEquals.size()));
  }
  constexpr std::string_view kTooMany = ": At Most 1 required but received ";
  if (const std::size_t place = said.find(kTooMany); place != std::string::npos) {
    return fmt::format("{} is given {} times, and takes one value", said.substr(0, place),
                       said.substr(place + kTooMany.size()));
  }
  if (said.ends_with(" missing") && said.find(" required ") != std::string::npos) {
    return said.substr(0, said.find(':')) + " needs a value";
  }
  return said;
}

// "install or uninstall", "list, show or check"
[[nodiscard]] std::string OneOf(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
  }
  return text;
}

}  // namespace

void TellUsageError(const CLI::App& app, const CLI::ParseError& error,
                    const std::vector<std::string>& arguments, std::ostream& errors) {
  if (const auto unknown = FindUnknownCommand(app, arguments)) {
    TellUnknownCommand(*unknown->command, unknown->word, errors);
    return;
  }
  const CLI::App& command = CommandAskedFor(app);
  // The word that nobody knows is told before the one that is missing.
  const std::vector<std::string> unwanted = app.remaining(true);
  const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
  if (!unwanted.empty() &&
      (isMissing || error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError))) {
    const auto option =
        std::find_if(unwanted.begin(), unwanted.end(),
                     [](const std::string& argument) { return argument.starts_with('-'); });
    Tell(command, Unwanted(command, option == unwanted.end() ? unwanted.front() : *option), errors);
  } else if (isMissing && command.get_require_subcommand_min() != 0) {
    Tell(command, fmt::format("a command is missing: {}", OneOf(CommandsBelow(command))), errors);
  } else {
    Tell(command, InOwnWords(error.what()), errors);
  }
}

void TellUnknownCommand(const CLI::App& command, const std::string& word, std::ostream& errors) {
  Tell(command,
       fmt::format("there is no command \"{}\"{}", word, DidYouMean(word, CommandsBelow(command))),
       errors);
}

}  // namespace corvane::tools
