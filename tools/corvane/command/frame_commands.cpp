#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "corvane/command/choice_option.h"
#include "corvane/command/command_line.h"
#include "corvane/command/command_text.h"
#include "corvane/command/completion.h"
#include "corvane/command/help.h"
#include "corvane/command/manual.h"
#include "corvane/command/usage_error.h"
#include "corvane/profile/shipped_profiles.h"

namespace corvane::tools {
namespace {

enum class eShell { Bash, PowerShell };

[[nodiscard]] int ShowHelp(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* command = &app;
  for (const std::string& word : words) {
    const auto named = command->get_subcommands(
        [&word](const CLI::App* candidate) { return candidate->check_name(word); });
    if (named.empty()) {
      TellUnknownCommand(*command, word, std::cerr);
      return kExitUsage;
    }
    command = named.front();
  }
  std::cout << command->get_formatter()->make_help(command, "", CLI::AppFormatMode::Normal);
  return kExitGood;
}

// Writes the pages of all commands into a folder that is there: for man, or as plain text.
[[nodiscard]] int WritePages(const sCommandText& root, const std::string& folder, bool isPlain) {
  std::vector<const sCommandText*> commands = {&root};
  for (const sCommandText& command : root.commands) {
    commands.push_back(&command);
  }
  for (const sCommandText* command : commands) {
    const std::string path =
        fmt::format("{}/{}.{}", folder, PageName(*command), isPlain ? "txt" : "1");
    const std::string page = isPlain ? PlainPage(*command) : ManualPage(*command, root);
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file << page << std::flush;
    if (!file) {
      std::cerr << fmt::format("corvane manual: {} cannot be written: {}\n", path,
                               std::generic_category().message(errno));
      return kExitFailed;
    }
  }
  return kExitGood;
}

void AddHelpCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("help", "Tells how the program or a command is used");
  const auto words = std::make_shared<std::vector<std::string>>();
  command->add_option("COMMAND", *words, "The command");
  AddHelp(*command, {.examples = {{"corvane help export", "The same as corvane export --help"}},
                     .exitCodes = {"0 done", "2 wrong usage"}});
  command->callback([&app, words, &exitCode] { exitCode = ShowHelp(app, *words); });
}

// Makes the names of profiles choices where one is wanted. The help does not list them all.
void OfferProfiles(sCommandText& command, const std::vector<std::string>& names) {
  for (sOptionGroup& group : command.groups) {
    for (sOptionText& option : group.options) {
      if (std::ranges::find(option.names, "--profile") != option.names.end()) {
        option.choices = names;
      }
    }
  }
  if (command.name == "corvane profile show") {
    command.arguments.front().choices = names;
  }
  for (sCommandText& below : command.commands) {
    OfferProfiles(below, names);
  }
}

void AddCompletionCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand("completion",
                                               "Prints a script that lets a shell complete "
                                               "commands, options, their choices and the names of "
                                               "profiles");
  const auto shell = std::make_shared<eShell>();
  AddChoiceOption(*command, "SHELL", *shell,
                  tChoices<eShell>{{"bash", eShell::Bash}, {"powershell", eShell::PowerShell}},
                  "The shell")
      ->required()
      ->default_str("");
  AddHelp(*command,
          {.examples = {{"corvane completion bash >corvane.bash", "A file for bash to source"},
                        {"corvane completion powershell >corvane.ps1",
                         "A file for PowerShell's profile to run"}},
           .notes = "The Debian package has the script for bash where the shell looks for it, the "
                    "archive for Windows that for PowerShell in share/corvane. The latter has been "
                    "compared with the program's options, and is untried in PowerShell.",
           .exitCodes = {"0 done", "2 wrong usage"}});
  command->callback([&app, shell, &exitCode] {
    sCommandText root = DescribeCommand(app);
    std::vector<std::string> profiles;
    for (const sShippedProfile& profile : ShippedProfiles()) {
      profiles.push_back(profile.name);
    }
    OfferProfiles(root, profiles);
    std::cout << (*shell == eShell::Bash ? BashCompletion(root) : PowerShellCompletion(root))
              << std::flush;
    exitCode = kExitGood;
  });
}

// Not shown: it makes the pages when the program is built, and tells tests what there is.
void AddManualCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("manual", "Writes the manual pages of all commands into a folder");
  command->group("");
  const auto folder = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  const auto plain = std::make_shared<bool>(false);
  command->add_option("FOLDER", *folder, "The folder");
  command->add_flag("--json", *json, "Print what the pages are made of as JSON");
  command->add_flag("--text", *plain, "Write them as plain text");
  command->callback([&app, folder, json, plain, &exitCode] {
    if (*json == !folder->empty()) {
      throw CLI::ValidationError("either FOLDER or --json is required");
    }
    const sCommandText root = DescribeCommand(app);
    if (*json) {
      std::cout << ManualAsJson(root);
      exitCode = kExitGood;
    } else {
      exitCode = WritePages(root, *folder, *plain);
    }
  });
}

}  // namespace

void AddFrameCommands(CLI::App& app, int& exitCode) {
  AddCompletionCommand(app, exitCode);
  AddHelpCommand(app, exitCode);
  AddManualCommand(app, exitCode);
}

}  // namespace corvane::tools
