#pragma once

#include <CLI/App.hpp>
#include <vector>

// What a command's help and its manual page tell beside its options: one source for both.
namespace corvane::tools {

struct sExample {
  const char* command;  // as it is typed: "corvane list --type log drive.isf"
  const char* meaning;  // "Only log packets", without a full stop
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

}  // namespace corvane::tools
