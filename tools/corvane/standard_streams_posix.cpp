#include <csignal>
#include <tuple>

#include "corvane/standard_streams.h"

namespace corvane::tools {

void MakeStandardOutputBinary() {}

void MakeStandardInputBinary() {}

void SurviveClosedPipes() { std::ignore = std::signal(SIGPIPE, SIG_IGN); }

}  // namespace corvane::tools
