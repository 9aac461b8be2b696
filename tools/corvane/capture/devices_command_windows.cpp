#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "corvane/capture/host_windows.h"
#include "corvane/command/command_line.h"
#include "io/mbn/mbn_interfaces.h"

namespace corvane::tools {
namespace {

// Writes a line for each device that a capture could use now: the name in the form that --device
// takes, and what is known of it.
void ShowDevices(std::ostream& out) {
  std::vector<std::pair<std::string, std::string>> lines;
  for (const sPresentPort& port : SortedComPorts()) {
    lines.emplace_back(port.name, port.description.empty() ? "COM port" : port.description);
  }
  for (const std::string& id : ListMobileBroadbandInterfaces()) {
    lines.emplace_back("QMBE:" + id, "mobile-broadband interface");
  }

  if (lines.empty()) {
    out << "No COM port and no mobile-broadband interface is present.\n";
    return;
  }
  std::size_t width = 0;
  for (const auto& [device, description] : lines) {
    width = std::max(width, device.size());
  }
  for (const auto& [device, description] : lines) {
    out << fmt::format("{:<{}}  {}\n", device, width, description);
  }
}

}  // namespace

void AddDevicesCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "devices", "Lists the COM ports and mobile-broadband interfaces that are present");
  command->footer(
      "Each line begins with what --device of `corvane capture` takes. Which of a modem's COM "
      "ports\n"
      "is the DIAG port, its description tells. Exit code: 0.");
  command->callback([&exitCode] {
    ShowDevices(std::cout);
    exitCode = kExitGood;
  });
}

}  // namespace corvane::tools
