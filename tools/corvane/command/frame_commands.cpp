#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "convert/item_fields.h"
#include "corvane/command/choice_option.h"
#include "corvane/command/command_line.h"
#include "corvane/command/command_text.h"
#include "corvane/command/completion.h"
#include "corvane/command/help.h"
#include "corvane/command/manual.h"
#include "corvane/command/named_numbers.h"
#include "corvane/command/usage_error.h"
#include "corvane/profile/shipped_profiles.h"
#include "corvane/reading/item_wording.h"

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

// Words that options take beside others, or that the help does not list, by what it says that they
// take ("TYPE[,TYPE]"): an option of one name may take something else in another command.
struct sOffer {
  const char* option;
  const char* value;
  std::vector<std::string> words;
};

[[nodiscard]] std::vector<sOffer> Offers() {
  std::vector<std::string> profiles, types, fields;
  for (const sShippedProfile& profile : ShippedProfiles()) {
    profiles.push_back(profile.name);
  }
  for (const sNamedItemType& type : NamedItemTypes()) {
    types.push_back(type.name);
  }
  for (const sItemField& field : ItemFields()) {
    fields.emplace_back(field.name);
  }
  return {{"--profile", "NAME", profiles},
          {"NAME", "NAME", profiles},  // of profile show
          {"--type", "TYPE[,TYPE]", types},
          {"--level", "LEVEL[,LEVEL]", MessageLevelNames()},
          {"--fields", "FIELD[,FIELD]", fields}};
}

// Makes these words choices where they are wanted.
void OfferWords(sCommandText& command, const std::vector<sOffer>& offers) {
  const auto offer = [&offers](sOptionText& option) {
    for (const sOffer& one : offers) {
      if (option.value == one.value &&
          std::ranges::find(option.names, one.option) != option.names.end()) {
        option.choices = one.words;
      }
    }
  };
  for (sOptionGroup& group : command.groups) {
    std::ranges::for_each(group.options, offer);
  }
  std::ranges::for_each(command.arguments, offer);
  for (sCommandText& below : command.commands) {
    OfferWords(below, offers);
  }
}

// `command` and those below it as words behind `name`, without options and arguments.
[[nodiscard]] sCommandText NamesOf(const sCommandText& command, const std::string& name) {
  sCommandText names;
  names.name = name;
  for (const sCommandText& below : command.commands) {
    names.commands.push_back(NamesOf(below, name + " " + below.Word()));
  }
  return names;
}

// Makes all commands words behind "help", which tells of them.
void OfferCommands(sCommandText& root) {
  const auto help = std::ranges::find(root.commands, "corvane help", &sCommandText::name);
  help->commands = NamesOf(root, help->name).commands;
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
                    "archive for Windows that for PowerShell in share/corvane. No PowerShell has run "
                    "the latter so far: its words are held against the program's.",
           .exitCodes = {"0 done", "2 wrong usage"}});
  command->callback([&app, shell, &exitCode] {
    sCommandText root = DescribeCommand(app);
    OfferWords(root, Offers());
    OfferCommands(root);
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
