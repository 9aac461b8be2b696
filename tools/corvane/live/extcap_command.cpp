#include "corvane/live/extcap_command.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <ostream>
#include <system_error>

#include "corvane/command/command_line.h"
#include "corvane/live/live_export.h"
#include "corvane/live/live_output.h"
#include "corvane/making/export_command.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

constexpr char kFollow[] = "corvane_follow";

// What Wireshark wants.
struct sExtcapCall {
  bool interfaces = false;
  bool linkTypes = false;
  bool config = false;
  std::string reloaded;  // the option whose choices are asked for again
  bool capture = false;
  std::string filter;
  sExtcapCapture wanted;
};

[[nodiscard]] int Fail(const std::string& what, std::ostream& errors) {
  errors << "corvane: " << what << '\n';
  return kExitFailed;
}

void AddOptions(CLI::App& app, sExtcapCall& call) {
  app.add_flag("--extcap-interfaces", call.interfaces);
  app.add_flag("--extcap-dlts", call.linkTypes);
  app.add_flag("--extcap-config", call.config);
  app.add_flag("--capture", call.capture);
  app.add_option("--extcap-reload-option", call.reloaded);
  app.add_option("--extcap-capture-filter", call.filter);
  app.add_option("--extcap-interface", call.wanted.interfaceName);
  app.add_option("--fifo", call.wanted.pipe);
  app.add_option("--file", call.wanted.file);
  app.add_option("--profile", call.wanted.profile);
  app.add_option("--config", call.wanted.config);
  app.add_option("--output", call.wanted.output);
  AddContentOptions(app, call.wanted.options);
  // Each version of Wireshark has further arguments, of which its own version is one.
  app.allow_extras();
  app.allow_windows_style_options(false);
}

[[nodiscard]] std::vector<sExtcapInterface> Interfaces() {
  std::vector<sExtcapInterface> interfaces = DeviceInterfaces();
  interfaces.push_back({kFollow, "Corvane: follow a capture file"});
  return interfaces;
}

[[nodiscard]] std::vector<sExtcapOption> ContentOptions() {
  return {
      {"--clock",
       "Times",
       "Whose clock the packets' times are of",
       "selector",
       "{group=Show}",
       {{"modem", "The modem's", true}, {"host", "The recorder's, in milliseconds"}}},
      {"--leap-seconds", "Leap seconds",
       "Subtracted from the modem's times: 18 for a modem that had its time from a CDMA network",
       "unsigned", "{range=0,60}{default=0}{group=Show}"},
      {"--synthetic",
       "System information that the recorder rebuilt",
       "Wireshark gets what the exporter joins, so the recorder's blocks would come twice",
       "selector",
       "{group=Show}",
       {{"drop", "Leave out", true}, {"keep", "Show"}}},
      {"--events", "Events", "Show the modem's events", "boolflag", "{group=Show}"},
      {"--messages", "Debug messages", "Show the modem's debug messages", "boolflag",
       "{group=Show}"},
      {"--requests", "Requests", "Show requests to the modem, its replies and unknown packets",
       "boolflag", "{group=Show}"},
      {"--raw", "Raw packets", "Show every packet as it is", "boolflag", "{group=Show}"},
  };
}

[[nodiscard]] std::vector<sExtcapOption> OptionsOf(const std::string& name) {
  std::vector<sExtcapOption> options;
  if (name == kFollow) {
    options = {{"--file", "Capture file",
                "The file that is being recorded, also by another program; a finished one is shown "
                "whole",
                "fileselect",
                "{mustexist=true}{required=true}{fileext=Captures (*.isf);;All files (*)}"
                "{group=Capture}"}};
  } else {
    options = DeviceOptions();
  }
  for (sExtcapOption& option : ContentOptions()) {
    options.push_back(std::move(option));
  }
  return options;
}

[[nodiscard]] int FollowFile(const sExtcapCapture& wanted, std::ostream& errors) {
  if (wanted.file.empty()) {
    return Fail("which capture file is to be followed? Choose it in the interface's options",
                errors);
  }
  cItemFollower follower(wanted.file);
  // What cannot be followed is told before Wireshark waits for packets.
  if (follower.Look() == eFollowing::Lost) {
    return Fail(fmt::format("{}: {}", wanted.file, follower.Trouble()->Text()), errors);
  }
  sExportOptions options = wanted.options;
  options.captureName = CaptureNameOf(wanted.file);
  std::string problem;
  const std::unique_ptr<cLiveOutput> output = OpenLiveOutput(wanted.pipe, problem);
  if (output == nullptr) {
    return problem.empty() ? kExitGood : Fail(problem, errors);
  }
  const std::unique_ptr<cItemExport> exported = MakeExport(eExportFormat::Pcapng, options, *output);
  switch (FollowCapture(follower, *exported, *output)) {
    case eLiveEnd::Lost:
      return Fail(fmt::format("{}: {}", wanted.file, follower.Trouble()->Text()), errors);
    case eLiveEnd::Failed:
      return Fail(fmt::format("the pipe to Wireshark cannot be written: {}", output->Problem()),
                  errors);
    default:
      return kExitGood;
  }
}

// Whether both names are of one file, which need not be there.
[[nodiscard]] bool IsSameFile(const std::string& left, const std::string& right) {
  namespace fs = std::filesystem;
  std::error_code ignored;  // names that cannot be looked at are compared as they are
  return fs::equivalent(PathOf(left), PathOf(right), ignored) ||
         fs::weakly_canonical(PathOf(left), ignored) ==
             fs::weakly_canonical(PathOf(right), ignored);
}

// The file of the capture's own that the stream to Wireshark would overwrite; empty when it would
// overwrite none.
[[nodiscard]] std::string OverwrittenFile(const sExtcapCapture& wanted) {
  if (IsPipeName(wanted.pipe)) {
    return {};
  }
  for (const std::string& file : {wanted.file, wanted.output, wanted.config}) {
    if (!file.empty() && IsSameFile(wanted.pipe, file)) {
      return file;
    }
  }
  return {};
}

[[nodiscard]] int Capture(const sExtcapCall& call, std::ostream& errors) {
  if (call.wanted.pipe.empty()) {
    return Fail("--capture needs --fifo", errors);
  }
  if (const std::string file = OverwrittenFile(call.wanted); !file.empty()) {
    return Fail(
        fmt::format("--fifo names {} itself, which the stream to Wireshark would overwrite", file),
        errors);
  }
  if (!call.filter.empty()) {
    return Fail("there are no capture filters for this interface: use a display filter", errors);
  }
  return call.wanted.interfaceName == kFollow ? FollowFile(call.wanted, errors)
                                              : CaptureDevice(call.wanted, errors);
}

[[nodiscard]] int Answer(const sExtcapCall& call, std::ostream& out, std::ostream& errors) {
  if (call.interfaces) {
    WriteInterfaces(Interfaces(), CORVANE_VERSION, out);
  } else if (call.linkTypes) {
    WriteLinkTypes(out);
  } else if (call.config && !call.reloaded.empty()) {
    WriteChoices(OptionsOf(call.wanted.interfaceName), call.reloaded, out);
  } else if (call.config) {
    WriteOptions(OptionsOf(call.wanted.interfaceName), out);
  } else if (call.capture) {
    return Capture(call, errors);
  } else if (!call.filter.empty()) {
    out << "There are no capture filters for this interface.\n";
  }
  return kExitGood;
}

}  // namespace

bool IsExtcapCall(const std::vector<std::string>& arguments) {
  return std::any_of(arguments.begin(), arguments.end(),
                     [](const std::string& argument) { return argument.starts_with("--extcap-"); });
}

int RunExtcap(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& errors) {
  CLI::App app;
  sExtcapCall call;
  AddOptions(app, call);
  call.wanted.options.application = "Corvane " CORVANE_VERSION;
  try {
    // CLI11 takes the last argument first.
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    app.parse(std::move(reversed));
    return Answer(call, out, errors);
  } catch (const CLI::ParseError& error) {
    errors << "corvane: " << error.what() << '\n';
    return kExitUsage;
  } catch (const std::exception& error) {
    return Fail(error.what(), errors);
  }
}

}  // namespace corvane::tools
