#include "corvane/command/command_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace corvane::tools {
namespace {

// The words of "modem|host". What stands for a value is written in capital letters: "ITEM|TIME".
[[nodiscard]] std::vector<std::string> ChoicesIn(const std::string& value) {
  const bool hasCapital = std::any_of(
      value.begin(), value.end(), [](unsigned char letter) { return std::isupper(letter) != 0; });
  std::vector<std::string> choices;
  if (hasCapital || value.find('|') == std::string::npos) {
    return choices;
  }
  std::size_t begin = 0;
  for (std::size_t end = value.find('|'); end != std::string::npos; end = value.find('|', begin)) {
    choices.push_back(value.substr(begin, end - begin));
    begin = end + 1;
  }
  choices.push_back(value.substr(begin));
  return choices;
}

[[nodiscard]] sOptionText DescribeOption(const CLI::Option& option) {
  sOptionText text;
  const bool isArgument = option.get_positional();
  if (isArgument) {
    text.names.push_back(option.get_name(true));
  }
  for (const std::string& name : option.get_snames()) {
    text.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    text.names.push_back("--" + name);
  }
  const bool takesValue = option.get_items_expected_max() != 0;
  if (takesValue) {
    text.value = option.get_type_name();
    text.preset = option.get_default_str();
    text.choices = ChoicesIn(text.value);
    if (isArgument && text.choices.empty()) {
      text.value = text.names.front();
    }
  }
  text.meaning = option.get_description();
  text.isRequired = option.get_required();
  text.takesMany = takesValue && option.get_expected_max() > 1;
  return text;
}

[[nodiscard]] std::string FullName(const CLI::App& command) {
  const CLI::App* const parent = command.get_parent();
  return (parent == nullptr ? "" : FullName(*parent) + " ") + command.get_name();
}

}  // namespace

std::string sCommandText::Word() const { return name.substr(name.rfind(' ') + 1); }

std::string sCommandText::Usage() const {
  std::string usage = name;
  if (!groups.empty()) {
    usage += " [OPTIONS]";
  }
  for (const sOptionText& argument : arguments) {
    const std::string word = argument.names.front() + (argument.takesMany ? "..." : "");
    usage += argument.isRequired ? " " + word : " [" + word + "]";
  }
  if (!commands.empty()) {
    usage += " COMMAND";
  }
  return usage;
}

sCommandText DescribeCommand(const CLI::App& command) {
  sCommandText text;
  text.name = FullName(command);
  text.meaning = command.get_description();
  text.help = HelpOf(command);
  const auto isShown = [](const CLI::Option* option) { return !option->get_group().empty(); };
  for (const CLI::Option* option : command.get_options(isShown)) {
    if (option->get_positional()) {
      text.arguments.push_back(DescribeOption(*option));
      continue;
    }
    const auto known = std::find_if(
        text.groups.begin(), text.groups.end(),
        [option](const sOptionGroup& group) { return group.heading == option->get_group(); });
    sOptionGroup& group = known == text.groups.end()
                              ? text.groups.emplace_back(sOptionGroup{option->get_group(), {}})
                              : *known;
    group.options.push_back(DescribeOption(*option));
  }
  for (const CLI::App* below : command.get_subcommands(
           [](const CLI::App* candidate) { return !candidate->get_group().empty(); })) {
    text.commands.push_back(DescribeCommand(*below));
  }
  return text;
}

bool IsFileName(const std::string& value) {
  constexpr std::array kFiles = {"FILE", "FOLDER", "RAW", "CAPTURE", "IN", "OUT"};
  return std::any_of(kFiles.begin(), kFiles.end(),
                     [&value](const char* file) { return value == file; });
}

bool IsList(const std::string& value) { return value.find("[,") != std::string::npos; }

std::vector<std::string> Paragraphs(const std::string& text) {
  std::vector<std::string> paragraphs;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    if (end != begin) {
      paragraphs.push_back(text.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return paragraphs;
}

sExitCodeText SplitExitCode(const char* line) {
  const std::string text = line;
  const std::size_t blank = std::min(text.find(' '), text.size());
  return {text.substr(0, blank), text.substr(std::min(blank + 1, text.size()))};
}

}  // namespace corvane::tools
