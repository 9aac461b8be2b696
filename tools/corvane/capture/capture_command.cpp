#include <fmt/format.h>

#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "common/quantities.h"
#include "corvane/capture/capture_run.h"
#include "corvane/capture/output_file.h"
#include "corvane/capture/run_options.h"
#include "corvane/command/command_line.h"
#include "corvane/command/help.h"
#include "corvane/command/reserved_name.h"

namespace corvane::tools {
namespace {

[[noreturn]] void Refuse(const char* option, const std::string& text, const char* wanted) {
  throw CLI::ValidationError(option, fmt::format("\"{}\" is no {}", text, wanted));
}

// Adds an option that takes a duration.
void AddDurationOption(CLI::App& command, const char* option,
                       std::optional<std::chrono::milliseconds>& duration, const char* help) {
  command
      .add_option_function<std::string>(
          option,
          [option, &duration](const std::string& text) {
            duration = ParseDuration(text);
            if (!duration || *duration == std::chrono::milliseconds(0)) {
              Refuse(option, text, "duration: write 10s, 5m or 2h");
            }
          },
          help)
      ->type_name("TIME");
}

// Adds an option that takes a number of bytes.
void AddSizeOption(CLI::App& command, const char* option, std::uint64_t& size, const char* wanted,
                   const char* help) {
  command
      .add_option_function<std::string>(
          option,
          [option, wanted, &size](const std::string& text) {
            const auto read = ParseByteCount(text);
            if (!read) {
              Refuse(option, text, wanted);
            }
            size = *read;
          },
          help)
      ->type_name("SIZE");
}

// What is captured, with what, and where it goes.
void AddStartOptions(CLI::App& command, sCaptureRequest& request) {
  command
      .add_option("--device", request.device,
                  "COM port, which need not be present yet (COM7), mobile-broadband interface "
                  "(QMBE: and its ID), or \"auto\": the one COM port whose description contains "
                  "\"diag\"")
      ->type_name("NAME")
      ->required();
  command.add_option("--config", request.configuration, "File with what the modem is to report")
      ->type_name("FILE");
  command
      .add_option("--profile", request.profile,
                  "The same by the name of a shipped profile: see corvane profile list")
      ->type_name("NAME");
  command
      .add_option_function<std::string>(
          "-o,--output",
          [&request](const std::string& name) {
            if (const auto wrong = FindWrongPlaceholder(name)) {
              throw CLI::ValidationError("--output", *wrong);
            }
            if (const auto reserved = FindReservedName(name)) {
              throw CLI::ValidationError("--output", *reserved);
            }
            request.output = name;
          },
          "Capture file. {date} and {time} (UTC) and {device} stand for what they say")
      ->type_name("FILE")
      ->required();
  command.add_flag("--overwrite", request.overwrite,
                   "Replace a file that is there, when the new one is complete");
}

// When it ends.
void AddStopOptions(CLI::App& command, sCaptureRequest& request) {
  AddDurationOption(
      command, "--duration", request.duration,
      "End the capture by itself after 10s, 5m or 2h of the device; without it, Ctrl-C does");
  AddSizeOption(
      command, "--stop-below", request.stopBelow, "size: write 500k, 200M or 1G, or 0 for no limit",
      "End the capture, with a complete file, when less room than this is left on its disk: "
      "500k, 200M or 1G; 0 goes on until the disk is full, which spoils the file [200M]");
}

}  // namespace

void AddCaptureCommand(CLI::App& app, int& exitCode) {
  const auto request = std::make_shared<sCaptureRequest>();
  CLI::App* const command =
      app.add_subcommand("capture", "Records a modem's DIAG traffic into a capture file");
  AddStartOptions(*command, *request);
  AddStopOptions(*command, *request);
  AddRunOptions(*command, *request);
  AddHelp(
      *command,
      {.examples =
           {{"corvane capture --device COM7 --config signalling.cfg -o drive.isf", "Until Ctrl-C"},
            {"corvane capture --device auto --profile signalling -o {date}_{time}.isf",
             "From the one DIAG port, into 2024-05-17_14-30-05.isf"},
            {"corvane capture --device COM7 --config signalling.cfg -o drive.isf --duration 10m",
             "For ten minutes of the device"},
            {"corvane capture --device COM7 --config signalling.cfg -o drive.isf "
             "--rotate-size 500M --keep 20",
             "Into the newest 20 files of 500 MB, drive_00001_2024-05-17_14-30-05.isf and so on"}},
       .notes =
           "The device need not be there yet, and may go and come back. While it is waited for, "
           "the ports that are present are listed, and a port that another program has is "
           "told. A file that --overwrite replaces stays until the new one is complete: that "
           "one is recorded beside it, as drive.isf.part, and is dropped when the device sent "
           "nothing. A capture that could not start or never reached its device leaves no file.\n\n"
           "While it captures, \"m tunnel entry\" and Enter sets a marker, as corvane mark does. "
           "The set-up of the modem is judged: requests that it refuses or does not answer are "
           "named, at once when the set-up is stuck, and at the end. With --rotate-size or "
           "--rotate-time the library is stopped and started again for each file: what the modem "
           "sends in between is lost, and the summary says for how long. A file into which the "
           "device has sent nothing goes on. docs/capture-events.md describes the events of "
           "--json.",
       .exitCodes = {"0 a complete capture file was written, also where --stop-below ended it",
                     "1 it was not, or the start was refused", "2 wrong usage",
                     "4 the device sent nothing, or its set-up was stuck"}});
  command->callback([request, &exitCode] {
    CheckRunOptions(*request);
    if (request->configuration.empty() == request->profile.empty()) {
      throw CLI::ValidationError("say what the modem is to report: either --config or --profile");
    }
    exitCode = RunCaptureHere(*request);
  });
}

}  // namespace corvane::tools
