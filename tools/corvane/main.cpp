#include "corvane/command/command_line.h"

int main(int argc, char** argv) { return corvane::tools::RunCommandLine(argc, argv); }
