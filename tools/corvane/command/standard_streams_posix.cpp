#include <unistd.h>

#include <csignal>
#include <tuple>

#include "corvane/command/standard_streams.h"

namespace corvane::tools {

void MakeStandardOutputBinary() {}

void MakeStandardInputBinary() {}

bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

cUtf8Console::cUtf8Console() {}

cUtf8Console::~cUtf8Console() {}

void SurviveClosedPipes() { std::ignore = std::signal(SIGPIPE, SIG_IGN); }

}  // namespace corvane::tools
