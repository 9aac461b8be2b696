#pragma once

#include <string>

namespace CLI {
class App;
}

// The arguments and options that name files, alike in all commands. What receives them must live
// until the arguments are parsed.
namespace corvane::tools {

// FILE: the capture that the command reads, or "-" for standard input.
void AddCaptureArgument(CLI::App& command, std::string& path);

// --output and --overwrite: the file that the command makes, which `what` describes ("The capture
// file to make"). An empty name, "-", and one that is reserved (reserved_name.h) are wrong usage:
// it is no stream and no device.
void AddNewFileOptions(CLI::App& command, const std::string& what, std::string& path,
                       bool& overwrite);

// That the file `name` cannot be written, as a sentence for the user. `reason` is a value of errno;
// not every failure of a stream leaves one, and then it is 0.
[[nodiscard]] std::string DescribeUnwritable(const std::string& name, int reason);

}  // namespace corvane::tools
