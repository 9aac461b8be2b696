#pragma once

#include <string>
#include <vector>

#include "corvane/command/help.h"

// All that is told of a command, apart from how it is told: its help, its manual page, the
// completion of shells and the tests of the documents are made of the same.
namespace corvane::tools {

struct sOptionText {
  // "-o" and "--output", in this order; of an argument its one name: "FILE".
  std::vector<std::string> names;
  std::string value;                 // what it takes: "FILE", "modem|host"; empty: nothing
  std::vector<std::string> choices;  // what it takes, where that is one of some words
  std::string meaning;
  std::string preset;  // what it is unless it is given; may be empty
  bool isRequired = false;
  bool takesMany = false;
};

// Options under one heading.
struct sOptionGroup {
  std::string heading;
  std::vector<sOptionText> options;
};

struct sCommandText {
  std::string name;  // with the words before it: "corvane wireshark install"
  std::string meaning;
  std::vector<sOptionText> arguments;  // in their order
  std::vector<sOptionGroup> groups;
  sCommandHelp help;
  std::vector<sCommandText> commands;  // below this one; hidden ones are not among them

  // The last of its words: "install".
  [[nodiscard]] std::string Word() const;
  // "corvane wireshark install [OPTIONS]", "corvane list [OPTIONS] FILE"
  [[nodiscard]] std::string Usage() const;
};

[[nodiscard]] sCommandText DescribeCommand(const CLI::App& command);

// Its help as plain text, in lines of at most 80 columns.
[[nodiscard]] std::string FormatHelp(const sCommandText& command);

// Whether `value` stands for the name of a file or a folder, which shells complete.
[[nodiscard]] bool IsFileName(const std::string& value);

// Whether `value` stands for words with commas between them: "TYPE[,TYPE]".
[[nodiscard]] bool IsList(const std::string& value);

// `text` in its paragraphs, which line ends divide.
[[nodiscard]] std::vector<std::string> Paragraphs(const std::string& text);

// The number that a line of sCommandHelp::exitCodes begins with, and what it means.
struct sExitCodeText {
  std::string number;
  std::string meaning;
};
[[nodiscard]] sExitCodeText SplitExitCode(const char* line);

}  // namespace corvane::tools
