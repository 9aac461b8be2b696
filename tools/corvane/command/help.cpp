#include "corvane/command/help.h"

#include <fmt/format.h>

#include <CLI/FormatterFwd.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "corvane/command/command_text.h"

namespace corvane::tools {
namespace {

constexpr std::size_t kWidth = 80;        // of a terminal
constexpr std::size_t kTextColumn = 26;   // where the meaning of an option begins
constexpr std::size_t kNarrowColumn = 6;  // and where that of an example does

// How many columns a text takes: a letter of UTF-8 one, of however many bytes.
[[nodiscard]] std::size_t Columns(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
  }));
}

// Appends the words of `words`, each line from `column` on; the first one goes on where `text` is.
void AppendWrapped(std::string& text, std::size_t at, const std::string& words,
                   std::size_t column) {
  bool isFirst = true;
  std::size_t begin = 0;
  while (begin < words.size()) {
    const std::size_t end = std::min(words.find(' ', begin), words.size());
    const std::string word = words.substr(begin, end - begin);
    const std::size_t width = Columns(word);
    begin = end + 1;
    if (!isFirst && at + 1 + width > kWidth) {
      text += '\n' + std::string(column, ' ');
      at = column;
      isFirst = true;
    }
    text += (isFirst ? "" : " ") + word;
    at += width + (isFirst ? 0 : 1);
    isFirst = false;
  }
  text += '\n';
}

// "  -o, --output FILE      The file to make"
void AppendRow(std::string& text, const std::string& head, const std::string& meaning,
               std::size_t column) {
  const std::string row = "  " + head;
  text += row;
  const std::size_t width = Columns(row);
  if (width + 2 > column) {
    text += '\n' + std::string(column, ' ');
  } else {
    text += std::string(column - width, ' ');
  }
  AppendWrapped(text, column, meaning, column);
}

// "-o, --output FILE"; what has no short name stands where the long ones of the others do.
[[nodiscard]] std::string Head(const sOptionText& option) {
  std::string head = option.names.front().starts_with("--") ? "    " : "";
  for (const std::string& name : option.names) {
    head += (&name == &option.names.front() ? "" : ", ") + name;
  }
  if (!option.value.empty() && option.value != option.names.front()) {
    head += " " + option.value;
  }
  return head + (option.takesMany ? "..." : "");
}

[[nodiscard]] std::string MeaningOf(const sOptionText& option) {
  return option.meaning + (option.preset.empty() ? "" : " [" + option.preset + "]");
}

void AppendOptions(std::string& text, const std::string& heading,
                   const std::vector<sOptionText>& options) {
  if (options.empty()) {
    return;
  }
  text += fmt::format("\n{}:\n", heading);
  for (const sOptionText& option : options) {
    AppendRow(text, Head(option), MeaningOf(option), kTextColumn);
  }
}

void AppendHelp(std::string& text, const sCommandHelp& help) {
  for (const std::string& paragraph : Paragraphs(help.notes)) {
    text += '\n';
    AppendWrapped(text, 0, paragraph, 0);
  }
  if (!help.examples.empty()) {
    text += "\nExamples:\n";
    for (const sExample& example : help.examples) {
      text += fmt::format("  {}\n{:{}}", example.command, "", kNarrowColumn);
      AppendWrapped(text, kNarrowColumn, example.meaning, kNarrowColumn);
    }
  }
  if (!help.exitCodes.empty()) {
    text += "\nExit codes:\n";
    for (const char* line : help.exitCodes) {
      const auto [number, meaning] = SplitExitCode(line);
      AppendRow(text, number, meaning, kNarrowColumn - 1);
    }
  }
}

}  // namespace

std::string FormatHelp(const sCommandText& command) {
  std::string text = "Usage: ";
  AppendWrapped(text, 7, command.Usage(), 7);
  text += '\n';
  AppendWrapped(text, 0, command.meaning, 0);
  AppendOptions(text, "Arguments", command.arguments);
  if (!command.commands.empty()) {
    text += "\nCommands:\n";
    for (const sCommandText& below : command.commands) {
      AppendRow(text, below.Word(), below.meaning, 14);
    }
  }
  for (const sOptionGroup& group : command.groups) {
    AppendOptions(text, group.heading, group.options);
  }
  AppendHelp(text, command.help);
  return text;
}

namespace {

// CLI11 asks this for a command's help. A command that has none of its own has that of the one
// above it.
class cHelpFormatter : public CLI::FormatterBase {
 public:
  cHelpFormatter(const CLI::App& app, sCommandHelp text) : command(&app), help(std::move(text)) {}

  std::string make_help(const CLI::App* app, std::string /*name*/,
                        CLI::AppFormatMode /*mode*/) const override {
    return FormatHelp(DescribeCommand(*app));
  }

  [[nodiscard]] sCommandHelp HelpFor(const CLI::App& app) const {
    return command == &app ? help : sCommandHelp{};
  }

 private:
  const CLI::App* command;
  sCommandHelp help;
};

}  // namespace

void AddHelp(CLI::App& command, const sCommandHelp& help) {
  command.formatter(std::make_shared<cHelpFormatter>(command, help));
}

sCommandHelp HelpOf(const CLI::App& command) {
  const auto formatter = std::dynamic_pointer_cast<const cHelpFormatter>(command.get_formatter());
  return formatter == nullptr ? sCommandHelp{} : formatter->HelpFor(command);
}

}  // namespace corvane::tools
