#include "platform_commands.h"

namespace corvane::tools {

// Capturing needs the DLL; capture files can be read everywhere.
void AddPlatformCommands(CLI::App&, int&) {}

}  // namespace corvane::tools
