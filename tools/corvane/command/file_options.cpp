#include "corvane/command/file_options.h"

#include <CLI/App.hpp>

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
        return name == "-" ? "the file to make has a name: it is not standard output" : "";
      });
  command.add_flag("--overwrite", overwrite,
                   "Replace a file of that name, once the new one is complete");
}

}  // namespace corvane::tools
