#include "corvane/command/file_options.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <system_error>

#include "corvane/command/reserved_name.h"

namespace corvane::tools {

void AddCaptureArgument(CLI::App& command, std::string& path) {
  command.add_option("FILE", path, "The capture file; - is standard input")->required();
}

void AddNewFileOptions(CLI::App& command, const std::string& what, std::string& path,
                       bool& overwrite) {
  command.add_option("-o,--output", path, what + ". It gets its name when it is complete")
      ->type_name("FILE")
      ->required()
      ->check([](const std::string& name) -> std::string {
        if (name.empty()) {
          return "the name of the file to make is empty";
        }
        if (name == "-") {
          return "the file to make has a name: it is not standard output";
        }
        return FindReservedName(name).value_or("");
      });
  command.add_flag("--overwrite", overwrite,
                   "Replace a file of that name, once the new one is complete");
}

std::string DescribeUnwritable(const std::string& name, int reason) {
  return reason == 0 ? fmt::format("{} cannot be written", name)
                     : fmt::format("{} cannot be written: {}", name,
                                   std::generic_category().message(reason));
}

}  // namespace corvane::tools
