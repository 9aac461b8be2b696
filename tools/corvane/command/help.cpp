#include "corvane/command/help.h"

#include <fmt/format.h>

#include <string>

namespace corvane::tools {

void AddHelp(CLI::App& command, const sCommandHelp& help) {
  std::string footer;
  if (!help.examples.empty()) {
    footer += "Examples:\n";
    for (const sExample& example : help.examples) {
      footer += fmt::format("  {}\n      {}\n", example.command, example.meaning);
    }
  }
  if (*help.notes != '\0') {
    footer += fmt::format("{}{}\n", footer.empty() ? "" : "\n", help.notes);
  }
  if (!help.exitCodes.empty()) {
    footer += fmt::format("{}Exit codes:\n", footer.empty() ? "" : "\n");
    for (const char* code : help.exitCodes) {
      footer += fmt::format("  {}\n", code);
    }
  }
  command.footer(footer);
}

}  // namespace corvane::tools
