#pragma once

#include <CLI/App.hpp>
#include <vector>

// What a command's help and its manual page tell beside its options: one source for both.
namespace corvane::tools {

// What an example needs beside the files that it names. The tests run all that need nothing.
enum class eNeeds { Nothing, Device, Wireshark };

struct sExample {
  const char* command;  // as it is typed: "corvane list --type log drive.isf"
  const char* meaning;  // "Only log packets", without a full stop
  eNeeds needs = eNeeds::Nothing;
};

struct sCommandHelp {
  std::vector<sExample> examples;
  // What else the user should know, in paragraphs without line breaks of their own; may be empty.
  const char* notes = "";
  // The exit codes that this command has, a line each: "0 the file is complete".
  std::vector<const char*> exitCodes;
};

// Adds this to a command. `help` is copied; its texts must last as long as the program.
void AddHelp(CLI::App& command, const sCommandHelp& help);

// What was added to this command, and not to one above it.
[[nodiscard]] sCommandHelp HelpOf(const CLI::App& command);

}  // namespace corvane::tools
