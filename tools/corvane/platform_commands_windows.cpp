#include "platform_commands.h"

namespace corvane::tools {

void AddPlatformCommands(CLI::App&, int&) {}

}  // namespace corvane::tools
