#pragma once

#include <string>

#include "corvane/command/command_text.h"

// Scripts that let a shell complete commands, options, the choices of options, and file names.
namespace corvane::tools {

// For bash 4 and later, with or without the package bash-completion.
[[nodiscard]] std::string BashCompletion(const sCommandText& root);

// For PowerShell 5 and later.
[[nodiscard]] std::string PowerShellCompletion(const sCommandText& root);

}  // namespace corvane::tools
