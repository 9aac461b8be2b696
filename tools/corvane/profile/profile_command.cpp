#include "corvane/profile/profile_command.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <functional>
#include <iostream>
#include <memory>

#include "corvane/command/command_line.h"
#include "corvane/command/help.h"
#include "corvane/command/reserved_name.h"
#include "corvane/command/standard_streams.h"

namespace corvane::tools {
namespace {

void AddListAction(CLI::App& profile, int& exitCode) {
  CLI::App* const action = profile.add_subcommand(
      "list", "Lists the profiles that come with the program: what for, and what they cost");
  const auto isJson = std::make_shared<bool>(false);
  action->add_flag("--json", *isJson, "An object a line: name, path, purpose and rate");
  AddHelp(*action, {.examples = {{"corvane profile list", "Every profile in a few lines"}},
                    .exitCodes = {"0 done", "1 the profiles are not there", "2 wrong usage"}});
  action->callback([isJson, &exitCode] {
    exitCode = ListProfiles(ShippedProfiles(), *isJson, std::cout, std::cerr);
  });
}

void AddShowAction(CLI::App& profile, int& exitCode) {
  CLI::App* const action = profile.add_subcommand("show", "Prints a profile, or where it lies");
  const auto name = std::make_shared<std::string>();
  const auto isPath = std::make_shared<bool>(false);
  action->add_option("NAME", *name, "The profile's name, as list shows it")->required();
  action->add_flag("--path", *isPath, "Print where its file lies");
  AddHelp(*action, {.examples = {{"corvane profile show lte-signalling", "Its text"},
                                 {"corvane profile show lte-signalling --path", "Its file's path"}},
                    .exitCodes = {"0 done", "1 it cannot be read", "2 there is no such profile"}});
  action->callback([name, isPath, &exitCode] {
    if (!*isPath) {
      MakeStandardOutputBinary();  // the file as it is
    }
    exitCode = ShowProfile(ShippedProfiles(), *name, *isPath, std::cout, std::cerr);
  });
}

void AddCheckAction(CLI::App& profile, int& exitCode) {
  CLI::App* const action = profile.add_subcommand(
      "check",
      "Explains what a configuration switches on, and warns of what the library would "
      "accept silently");
  const auto path = std::make_shared<std::string>();
  const auto isJson = std::make_shared<bool>(false);
  action->add_option("FILE", *path, "The configuration file, - for standard input")->required();
  action->add_flag("--json", *isJson, "One object, with every number and its name");
  AddHelp(
      *action,
      {.examples = {{"corvane profile check mine.cfg", "What mine.cfg switches on"},
                    {"corvane profile check --json mine.cfg", "The same for a program"}},
       .notes = "Each warning says on which line, and what to write instead. Log codes and "
                "events without a name are not wrong: they are not known here.",
       .exitCodes = {"0 no warnings", "1 warnings, or the file cannot be read", "2 wrong usage"}});
  action->callback([path, isJson, &exitCode] {
    if (*path == "-") {
      MakeStandardInputBinary();
    }
    exitCode = CheckProfileFile(*path, *isJson, std::cin, std::cout, std::cerr);
  });
}

// Adds an option of words with commas between them, each of which `add` takes.
void AddWordsOption(CLI::App& action, const char* option, const char* help, const char* typeName,
                    sProfileContent& content,
                    std::optional<std::string> (*add)(std::string_view, sProfileContent&)) {
  action
      .add_option_function<std::vector<std::string>>(
          option,
          [option, add, &content](const std::vector<std::string>& words) {
            for (const std::string& word : words) {
              if (const auto problem = add(word, content)) {
                throw CLI::ValidationError(option, *problem);
              }
            }
          },
          help)
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name(typeName);
}

struct sMaking {
  sProfileContent content;
  std::string output;
  bool mayReplace = false;
};

void AddMakeOptions(CLI::App& action, sMaking& making) {
  AddWordsOption(action, "--log-code",
                 "Log codes: 0xB0C0 or B0C0, ranges (0xB0C0-0xB0C2), or any part of a name that no "
                 "other has (lte-rrc-ota)",
                 "CODE[,CODE]", making.content, AddLogCodes);
  AddWordsOption(action, "--event",
                 "Events: IDs (1606), ranges (1600-1619), or names (lte-rrc-state-change)",
                 "EVENT[,EVENT]", making.content, AddEvents);
  AddWordsOption(action, "--level",
                 "Debug messages: subsystems by ID, range or name, a slash, and a level by number "
                 "(0 to 31) or name (low, medium, high, error, fatal), a range of levels, or all",
                 "SSID/LEVEL[,SSID/LEVEL]", making.content, AddLevels);
  action.add_flag("--multi-sim", making.content.unwraps,
                  "Take the logs of several SIMs out of their wrappers");
  action.add_option("-o,--output", making.output, "The file to write; - and nothing: print it")
      ->type_name("FILE")
      ->check([](const std::string& name) { return FindReservedName(name).value_or(""); });
  action.add_flag("--overwrite", making.mayReplace, "Replace a file that is there");
}

void AddMakeAction(CLI::App& profile, int& exitCode) {
  CLI::App* const action =
      profile.add_subcommand("make", "Writes a configuration of what is named");
  const auto making = std::make_shared<sMaking>();
  AddMakeOptions(*action, *making);
  AddHelp(*action,
          {.examples = {{"corvane profile make --log-code lte-rrc-ota,0xB0EC-0xB0ED -o mine.cfg",
                         "LTE RRC and plain EMM messages"},
                        {"corvane profile make --event lte-rrc-state-change --level 5/low-fatal",
                         "An event and all levels of subsystem 5, printed"},
                        {"corvane profile make --level \"call manager/high,LTE ML1/error\"",
                         "Subsystems and levels by their names"}},
           .notes = "What the configuration switches on stands in it as commentary.",
           .exitCodes = {"0 done",
                         "1 it cannot be written, or makes more requests than the "
                         "library keeps",
                         "2 wrong usage"}});
  action->callback([making, &exitCode] {
    if (making->content.IsEmpty()) {
      throw CLI::ValidationError(
          "say what to switch on: --log-code, --event, --level or "
          "--multi-sim");
    }
    exitCode =
        MakeProfile(making->content, making->output, making->mayReplace, std::cout, std::cerr);
  });
}

}  // namespace

void AddProfileCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "profile",
      "Configurations of captures: lists and shows the ones that come with the program, "
      "checks one, and makes one of names");
  command->require_subcommand(1);
  AddHelp(*command,
          {.examples = {{"corvane profile list", "What there is, what for, and what it costs"},
                        {"corvane profile check mine.cfg", "What a configuration switches on"},
                        {"corvane profile make --log-code lte-rrc-ota -o mine.cfg",
                         "A configuration of what is named"}},
           .exitCodes = {"0 done", "1 warnings, or a file cannot be read or written",
                         "2 wrong usage"}});
  AddListAction(*command, exitCode);
  AddShowAction(*command, exitCode);
  AddCheckAction(*command, exitCode);
  AddMakeAction(*command, exitCode);
}

}  // namespace corvane::tools
