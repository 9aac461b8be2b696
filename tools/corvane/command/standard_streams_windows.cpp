#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <tuple>

#include "corvane/command/standard_streams.h"

namespace corvane::tools {

void MakeStandardOutputBinary() { std::ignore = _setmode(_fileno(stdout), _O_BINARY); }

void MakeStandardInputBinary() { std::ignore = _setmode(_fileno(stdin), _O_BINARY); }

bool StandardErrorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

void SurviveClosedPipes() {}

}  // namespace corvane::tools
