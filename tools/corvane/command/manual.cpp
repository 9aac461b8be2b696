#include "corvane/command/manual.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

namespace corvane::tools {
namespace {

// `text` as roff shows it as it stands. A hyphen of a name or an option is a minus, which can be
// searched for and copied.
[[nodiscard]] std::string Escaped(const std::string& text, bool isTyped = false) {
  std::string roff;
  if (text.starts_with('.') || text.starts_with('\'')) {
    roff = "\\&";  // no request begins here
  }
  for (const char letter : text) {
    if (letter == '\\') {
      roff += "\\e";
    } else if (letter == '-' && isTyped) {
      roff += "\\-";
    } else if (letter == '\'' && isTyped) {
      roff += "\\(aq";
    } else if (letter == '`' && isTyped) {
      roff += "\\(ga";
    } else if ((letter == '^' || letter == '~') && isTyped) {
      roff += letter == '^' ? "\\(ha" : "\\(ti";
    } else {
      roff += letter;
    }
  }
  return roff;
}

// Text in which options, which begin with two hyphens, can be searched for.
[[nodiscard]] std::string Prose(const std::string& text) {
  std::string roff = Escaped(text);
  for (std::size_t at = roff.find("--"); at != std::string::npos; at = roff.find("--", at + 4)) {
    roff.replace(at, 2, "\\-\\-");
  }
  return roff;
}

[[nodiscard]] std::string Bold(const std::string& text) {
  return "\\fB" + Escaped(text, true) + "\\fR";
}

[[nodiscard]] std::string Slanted(const std::string& text) {
  return "\\fI" + Escaped(text, true) + "\\fR";
}

// "Lists the items of a capture file, one a line: number, ..." as a page's list of names has it.
[[nodiscard]] std::string Brief(const std::string& meaning) {
  std::string brief = meaning.substr(0, meaning.find_first_of(":;."));
  if (brief.size() > 1 && std::islower(static_cast<unsigned char>(brief[1])) != 0) {
    brief[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(brief[0])));
  }
  return brief;
}

[[nodiscard]] std::string Sentence(const std::string& text) {
  return Prose(text) + (text.ends_with('.') ? "" : ".");
}

void AppendParagraphs(std::string& page, const std::string& text) {
  bool isFirst = true;
  for (const std::string& paragraph : Paragraphs(text)) {
    page += isFirst ? "" : ".PP\n";
    page += Prose(paragraph) + '\n';
    isFirst = false;
  }
}

void AppendSynopsis(std::string& page, const sCommandText& command) {
  const std::string usage = command.Usage();
  page += Bold(command.name) + Escaped(usage.substr(command.name.size()), true) + '\n';
}

void AppendOption(std::string& page, const sOptionText& option) {
  page += ".TP\n";
  const bool isArgument = !option.names.front().starts_with('-');
  for (const std::string& name : option.names) {
    page +=
        (&name == &option.names.front() ? "" : ", ") + (isArgument ? Slanted(name) : Bold(name));
  }
  if (!option.value.empty() && option.value != option.names.front()) {
    page += " " + (option.choices.empty() ? Slanted(option.value) : Escaped(option.value, true));
  }
  page += option.takesMany ? "...\n" : "\n";
  page += Prose(option.meaning) + (option.preset.empty() ? "" : " [" + Prose(option.preset) + "]");
  page += '\n';
}

enum class eHeadings { Sections, Paragraphs };

void AppendOptions(std::string& page, const sCommandText& command, eHeadings headings) {
  for (const sOptionText& argument : command.arguments) {
    AppendOption(page, argument);
  }
  for (const sOptionGroup& group : command.groups) {
    if (group.heading != "Options") {
      page += headings == eHeadings::Sections ? ".SS " + Escaped(group.heading) + '\n'
                                              : ".PP\n" + Escaped(group.heading) + ":\n";
    }
    for (const sOptionText& option : group.options) {
      AppendOption(page, option);
    }
  }
}

void AppendExamples(std::string& page, const sCommandText& command) {
  for (const sExample& example : command.help.examples) {
    page += fmt::format(".PP\n.EX\n{}\n.EE\n.RS 4\n{}\n.RE\n", Escaped(example.command, true),
                        Sentence(example.meaning));
  }
  for (const sCommandText& below : command.commands) {
    AppendExamples(page, below);
  }
}

[[nodiscard]] bool HasExamples(const sCommandText& command) {
  return !command.help.examples.empty() ||
         std::any_of(command.commands.begin(), command.commands.end(), HasExamples);
}

// The commands below one that is not the program itself.
void AppendCommands(std::string& page, const sCommandText& command) {
  for (const sCommandText& below : command.commands) {
    page += fmt::format(".SS {}\n", Escaped(below.Word(), true));
    AppendSynopsis(page, below);
    page += ".PP\n" + Sentence(below.meaning) + "\n";
    if (*below.help.notes != '\0') {
      page += ".PP\n";
      AppendParagraphs(page, below.help.notes);
    }
    AppendOptions(page, below, eHeadings::Paragraphs);
    AppendCommands(page, below);
  }
}

void AppendExitCodes(std::string& page, const sCommandText& command) {
  if (command.help.exitCodes.empty()) {
    return;
  }
  page += ".SH EXIT STATUS\n";
  for (const char* line : command.help.exitCodes) {
    const auto [number, meaning] = SplitExitCode(line);
    page += fmt::format(".TP\n{}\n{}\n", Bold(number), Prose(meaning));
  }
}

// The program's page names those of all commands; theirs name the program's.
void AppendSeeAlso(std::string& page, const sCommandText& command, const sCommandText& root) {
  page += ".SH SEE ALSO\n";
  if (command.name != root.name) {
    page += fmt::format(".BR {} (1)\n", Escaped(PageName(root), true));
    return;
  }
  for (const sCommandText& below : root.commands) {
    page += fmt::format(".BR {} (1){}\n", Escaped(PageName(below), true),
                        &below == &root.commands.back() ? "" : ",");
  }
}

[[nodiscard]] nlohmann::json OptionAsJson(const sOptionText& option) {
  return {{"names", option.names},     {"value", option.value},    {"choices", option.choices},
          {"meaning", option.meaning}, {"default", option.preset}, {"required", option.isRequired}};
}

[[nodiscard]] const char* NeedsAsText(eNeeds needs) {
  switch (needs) {
    case eNeeds::Device:
      return "device";
    case eNeeds::Wireshark:
      return "wireshark";
    default:
      return "";
  }
}

[[nodiscard]] nlohmann::json CommandAsJson(const sCommandText& command) {
  using nlohmann::json;
  json arguments = json::array();
  for (const sOptionText& argument : command.arguments) {
    arguments.push_back(OptionAsJson(argument));
  }
  json options = json::array();
  for (const sOptionGroup& group : command.groups) {
    for (const sOptionText& option : group.options) {
      options.push_back(OptionAsJson(option));
    }
  }
  json examples = json::array();
  for (const sExample& example : command.help.examples) {
    examples.push_back({{"command", example.command},
                        {"meaning", example.meaning},
                        {"needs", NeedsAsText(example.needs)}});
  }
  json commands = json::array();
  for (const sCommandText& below : command.commands) {
    commands.push_back(CommandAsJson(below));
  }
  return {{"name", command.name},   {"meaning", command.meaning},
          {"arguments", arguments}, {"options", options},
          {"examples", examples},   {"notes", command.help.notes},
          {"commands", commands},   {"exitCodes", command.help.exitCodes}};
}

}  // namespace

std::string PageName(const sCommandText& command) {
  std::string name = command.name;
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::string ManualPage(const sCommandText& command, const sCommandText& root) {
  const bool isRoot = command.name == root.name;
  std::string title = PageName(command);
  std::transform(title.begin(), title.end(), title.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  // No date: the same sources make the same page.
  std::string page =
      fmt::format(".TH {} 1 \"\" \"Corvane {}\" \"Corvane\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n",
                  Escaped(title, true), CORVANE_VERSION, Escaped(PageName(command), true),
                  Prose(Brief(command.meaning)));
  AppendSynopsis(page, command);
  page += fmt::format(".SH DESCRIPTION\n{}\n", Sentence(command.meaning));
  if (*command.help.notes != '\0') {
    page += ".PP\n";
    AppendParagraphs(page, command.help.notes);
  }
  if (isRoot) {
    page += ".SH COMMANDS\n";
    for (const sCommandText& below : command.commands) {
      page += fmt::format(".TP\n{}\n{}\n", Bold(below.Word()), Sentence(below.meaning));
    }
  } else if (!command.commands.empty()) {
    page += ".SH COMMANDS\n";
    AppendCommands(page, command);
  }
  if (!command.arguments.empty() || !command.groups.empty()) {
    page += ".SH OPTIONS\n";
    AppendOptions(page, command, eHeadings::Sections);
  }
  if (HasExamples(command) && !isRoot) {
    page += ".SH EXAMPLES\n";
    AppendExamples(page, command);
  } else if (!command.help.examples.empty()) {
    page += ".SH EXAMPLES\n";
    sCommandText own = command;
    own.commands.clear();
    AppendExamples(page, own);
  }
  AppendExitCodes(page, command);
  AppendSeeAlso(page, command, root);
  return page;
}

std::string PlainPage(const sCommandText& command) {
  std::string page = FormatHelp(command);
  if (command.name.find(' ') != std::string::npos) {
    for (const sCommandText& below : command.commands) {
      page += "\n\n" + PlainPage(below);
    }
  }
  return page;
}

std::string ManualAsJson(const sCommandText& root) { return CommandAsJson(root).dump(2) + '\n'; }

}  // namespace corvane::tools
