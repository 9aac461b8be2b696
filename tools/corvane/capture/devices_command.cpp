#include <CLI/App.hpp>
#include <memory>

#include "corvane/capture/device_list.h"
#include "corvane/command/command_line.h"
#include "corvane/command/help.h"

namespace corvane::tools {

void AddDevicesCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<sDeviceListOptions>();
  CLI::App* const command = app.add_subcommand(
      "devices", "Lists the COM ports and mobile-broadband interfaces that are present");
  command->add_flag(
      "--probe", options->probe,
      "Ask each COM port for its version by one DIAG request, and tell which answered");
  command->add_flag("--json", options->json, "One JSON object a line");
  AddHelp(*command,
          {.examples = {{"corvane devices", "What a capture could use now"},
                        {"corvane devices --probe", "Also which port is the DIAG port"}},
           .notes = "Each line begins with what --device of corvane capture takes. Which of a "
                    "modem's COM ports is the DIAG port, its description tells, or the answer to "
                    "--probe. That opens each port for two seconds at most; one that another "
                    "program has is told.",
           .exitCodes = {"0 the devices were listed, also where there are none", "2 wrong usage"}});
  command->callback([options, &exitCode] { exitCode = ShowDevicesHere(*options); });
}

}  // namespace corvane::tools
