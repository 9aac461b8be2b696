#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <tuple>

#include "corvane/command/standard_streams.h"

namespace corvane::tools {

void MakeStandardOutputBinary() { std::ignore = _setmode(_fileno(stdout), _O_BINARY); }

void MakeStandardInputBinary() { std::ignore = _setmode(_fileno(stdin), _O_BINARY); }

bool StandardErrorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

bool StandardOutputIsTerminal() { return _isatty(_fileno(stdout)) != 0; }

cUtf8Console::cUtf8Console() {
  // A Windows that knows no such manifest as this program's gives it names in another encoding.
  if (GetACP() == CP_UTF8) {
    before = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
  }
}

cUtf8Console::~cUtf8Console() {
  if (before != 0) {
    SetConsoleOutputCP(before);
  }
}

void SurviveClosedPipes() {}

}  // namespace corvane::tools
