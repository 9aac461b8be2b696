#include "corvane/making/export_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "convert/byte_sink.h"
#include "corvane/command/choice_option.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/reserved_name.h"
#include "corvane/command/standard_streams.h"
#include "corvane/live/live_export.h"
#include "corvane/live/live_output.h"
#include "corvane/making/new_file.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "corvane/reading/shown_items.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

void Tell(const std::string& what, std::ostream& errors) {
  errors << fmt::format("corvane export: {}\n", what);
}

void TellUnwritable(const std::string& name, const std::string& problem, std::ostream& errors) {
  const std::string output = name == kStandardOutput ? "standard output" : name;
  Tell(fmt::format("{} cannot be written: {}", output, problem), errors);
}

[[nodiscard]] std::unique_ptr<cStreamSink> OpenSink(const std::string& path) {
  if (path != kStandardOutput) {
    return cStreamSink::Open(path);
  }
  MakeStandardOutputBinary();
  return std::make_unique<cStreamSink>(stdout);
}

enum class eEnd { Written, ReaderGone, Failed };

struct sExported {
  eEnd end = eEnd::Failed;  // told to the user already, if it failed
  sShown shown;
  std::vector<std::string> notes;
};

// Exports `file` into `path`, which is written as it is. `name` is what the user calls it.
[[nodiscard]] sExported ExportInto(const std::string& path, const std::string& name,
                                   cCaptureFile& file, const sExportRequest& request,
                                   std::ostream& errors) {
  sExported result;
  errno = 0;
  const std::unique_ptr<cStreamSink> sink = OpenSink(path);
  if (sink == nullptr) {
    TellUnwritable(name, std::generic_category().message(errno), errors);
    return result;
  }
  const std::unique_ptr<cItemExport> exported = MakeExport(request.format, request.options, *sink);
  {
    // What goes to standard output may be read on the terminal where the bar would stand.
    const bool hasBar = path != kStandardOutput;
    cProgress progress(name, hasBar ? file.NumbersEnd() : 0);
    result.shown = ShowItems(file, {request.path, request.selection}, *sink, *exported, progress);
  }
  exported->Finish();
  sink->Close();
  if (sink->IsGood()) {
    result.end = eEnd::Written;
    result.notes = exported->Notes();
  } else if (sink->ReaderIsGone()) {
    result.end = eEnd::ReaderGone;
  } else {
    TellUnwritable(name, sink->Problem(), errors);
  }
  return result;
}

// A link that leads nowhere would have a file made there.
[[nodiscard]] bool IsTaken(const std::string& path) {
  std::error_code ignored;  // what cannot be looked at is told by opening it
  const std::filesystem::file_status status = std::filesystem::status(PathOf(path), ignored);
  return std::filesystem::is_regular_file(status) ||
         (!std::filesystem::exists(status) && std::filesystem::is_symlink(PathOf(path), ignored));
}

// What the program ends with.
[[nodiscard]] int Report(const sExported& exported, const cCaptureFile& file,
                         const sExportRequest& request, std::ostream& errors) {
  if (exported.end == eEnd::Failed) {
    return kExitFailed;
  }
  if (exported.end == eEnd::ReaderGone) {
    return kExitGood;  // whoever read had enough
  }
  for (const std::string& note : exported.notes) {
    Tell(note, errors);
  }
  ReportNothingSelected("export", request.path, exported.shown.outcome, errors);
  return ReportState("export", request.path, file, exported.shown.unreadable, errors);
}

// Exports `file` into a new file, which gets its name when it is whole.
[[nodiscard]] int ExportIntoNewFile(cCaptureFile& file, const sExportRequest& request,
                                    std::ostream& errors) {
  cNewFile output(request.output, request.overwrite);
  if (const auto obstacle = output.Begin()) {
    Tell(*obstacle, errors);
    return kExitFailed;
  }
  const sExported exported = ExportInto(output.WritePath(), request.output, file, request, errors);
  if (exported.end == eEnd::Written) {
    if (const auto obstacle = output.Complete()) {
      Tell(*obstacle, errors);
      return kExitFailed;
    }
  }
  return Report(exported, file, request, errors);
}

// Exports `file` into a pipe, or a file that is there from the start.
[[nodiscard]] int ExportIntoStream(cCaptureFile& file, const sExportRequest& request,
                                   std::ostream& errors) {
  return Report(ExportInto(request.stream, request.stream, file, request, errors), file, request,
                errors);
}

}  // namespace

std::optional<std::string> ObstacleTo(const sExportRequest& request) {
  const bool isStream = request.output.empty();
  if (isStream && (request.stream == kStandardOutput || IsPipeName(request.stream))) {
    return std::nullopt;
  }
  if (AreSameFile(request.path, isStream ? request.stream : request.output)) {
    return fmt::format("the export would overwrite the capture {}", request.path);
  }
  if (isStream && !request.overwrite && IsTaken(request.stream)) {
    return fmt::format("{} is there already; --overwrite replaces it", request.stream);
  }
  return std::nullopt;
}

int ExportCapture(const sExportRequest& request, std::ostream& errors) {
  if (request.follow) {
    return FollowExport(request, errors);
  }
  SurviveClosedPipes();
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = OpenCapture(request.path, error);
  if (file == nullptr) {
    return ReportUnreadable("export", request.path, error, errors);
  }
  if (const auto obstacle = ObstacleTo(request)) {
    Tell(*obstacle, errors);
    return kExitFailed;
  }
  const int exitCode = request.output.empty() ? ExportIntoStream(*file, request, errors)
                                              : ExportIntoNewFile(*file, request, errors);
  return EndWithMarkers("export", request.path, exitCode, errors);
}

namespace {

constexpr char kOutput[] = "-o,--output";
constexpr char kWrite[] = "-w,--write";
constexpr char kFollow[] = "--follow";

struct sFormat {
  const char* name;
  eExportFormat format;
  const char* help;
};

constexpr sFormat kFormats[] = {
    {"pcapng", eExportFormat::Pcapng, "signalling messages for Wireshark"},
    {"gsmtap", eExportFormat::Gsmtap,
     "the same, without those of NR, IP and SIP, as a pcap of UDP port 4729"},
    {"hdlc", eExportFormat::Hdlc,
     "the received packets as a raw stream, for other tools that read DIAG"},
    {"jsonl", eExportFormat::Jsonl, "a line of JSON an item, with all that is known of it"},
    {"csv", eExportFormat::Csv, "the same as CSV"},
};

void AddOutputOptions(CLI::App& command, sExportRequest& request) {
  command
      .add_option(kOutput, request.output, "The file to make. It gets its name when it is complete")
      ->type_name("FILE");
  command
      .add_option(kWrite, request.stream,
                  "A pipe or file to write to as the export goes on; - is standard output")
      ->type_name("FILE");
  command.add_flag(
      kFollow, request.follow,
      "Go on with what is recorded, until the capture is closed or Ctrl-C: corvane export "
      "--follow FILE -w - | wireshark -k -i -. A file that is empty is waited for, one "
      "that is missing is not. Not with --output");
  command.add_flag("--overwrite", request.overwrite,
                   "Replace a file of that name: with --output once the new one is complete; with "
                   "--write at once, and it grows as the export goes on");
  tChoices<eExportFormat> formats;
  std::string help;
  for (const sFormat& format : kFormats) {
    formats.emplace_back(format.name, format.format);
    help += fmt::format("{}{}: {}", help.empty() ? "" : "; ", format.name, format.help);
  }
  AddChoiceOption(command, "--format", request.format, formats, help);
}

}  // namespace

void AddContentOptions(CLI::App& command, sExportOptions& options) {
  AddChoiceOption(
      command, "--clock", options.clock,
      tChoices<eExportClock>{{"modem", eExportClock::Modem}, {"host", eExportClock::Host}},
      "Whose times to give: the modem's, unless they are more than two days from the "
      "host's; or the host's, in milliseconds, of when an item was recorded");
  command
      .add_option("--leap-seconds", options.leapSeconds,
                  "Take so many seconds off the modem's times: 18 for a modem that had its time "
                  "from a CDMA network since 2017")
      ->type_name("N");
  AddChoiceOption(command, "--synthetic", options.keepRebuilt,
                  tChoices<bool>{{"drop", false}, {"keep", true}},
                  "What becomes of the system-information blocks that the recorder rebuilt");
  command.add_flag("--events", options.events, "pcapng only: show events too, as lines of text");
  command.add_flag(
      "--messages", options.messages,
      "pcapng only: show debug messages and the recorder's texts too, as lines of text");
  command.add_flag("--requests", options.requests,
                   "pcapng only: show requests, replies and unknown packets too, as bytes");
  command.add_flag("--raw", options.raw,
                   "pcapng only: show every packet as it is too, on an interface of link type 147");
}

std::string CaptureNameOf(const std::string& path) {
  const std::u8string name = PathOf(path).filename().u8string();
  return {name.begin(), name.end()};
}

namespace {

// The export goes to one place.
void CheckOutput(const CLI::App& command, const sExportRequest& request) {
  const bool makesFile = command.count("--output") != 0;
  const bool writesStream = command.count("--write") != 0;
  if (makesFile == writesStream) {
    throw CLI::ValidationError(makesFile
                                   ? "it goes to one place: either --output or --write"
                                   : "say where it goes: -o FILE, or -w - for standard output");
  }
  if (makesFile && command.count(kFollow) != 0) {
    throw CLI::ValidationError(kFollow,
                               "it writes as the capture grows: give --write, no --output");
  }
  if (request.output == kStandardOutput) {
    throw CLI::ValidationError("--output",
                               "a file to make has a name: -w - writes to standard output");
  }
  if (const auto reserved = FindReservedName(request.output)) {
    throw CLI::ValidationError("--output", *reserved);
  }
  if (request.output.empty() && request.stream.empty()) {
    throw CLI::ValidationError("the name of the output is empty");
  }
  if (request.follow && request.path == kStandardInput) {
    throw CLI::ValidationError(kFollow, "a file that grows has a name: it is not standard input");
  }
}

// Without a format it is pcapng: a name that ends in another format's asks which one is meant.
void CheckEnding(const CLI::App& command, const sExportRequest& request) {
  if (command.count("--format") != 0) {
    return;
  }
  const std::string& path = request.output.empty() ? request.stream : request.output;
  const std::u8string ending = PathOf(path).extension().u8string();
  std::string name(ending.begin() + (ending.empty() ? 0 : 1), ending.end());
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  for (const sFormat& format : kFormats) {
    if (name == format.name && format.format != request.format) {
      throw CLI::ValidationError(
          fmt::format("{} looks like {}: say --format {}, or --format pcapng", path, name, name));
    }
  }
}

// What is no signalling only pcapng has a form for.
void CheckExtras(const sExportRequest& request) {
  const sExportOptions& options = request.options;
  const bool hasExtras = options.events || options.messages || options.requests || options.raw;
  if (hasExtras && request.format != eExportFormat::Pcapng) {
    throw CLI::ValidationError("--format",
                               "--events, --messages, --requests and --raw are for pcapng alone");
  }
}

}  // namespace

void AddExportCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("export", "Writes what is in a capture file in another format");
  const auto request = std::make_shared<sExportRequest>();
  AddCaptureArgument(*command, request->path);
  AddOutputOptions(*command, *request);
  AddContentOptions(*command, request->options);
  AddSelectionOptions(*command, request->selection);
  AddHelp(
      *command,
      {{{"corvane export drive.isf -o drive.pcapng", "Signalling messages for Wireshark"},
        {"corvane export --messages --events drive.isf -o all.pcapng",
         "With events, debug messages, the recorder's texts and the markers between them"},
        {"corvane export --log-code lte-rrc-ota --from 12:00 --to 12:30 drive.isf -o half.pcapng",
         "LTE RRC messages of half an hour"},
        {"corvane export --format csv --type event drive.isf -w -",
         "Events as CSV on standard output"},
        {"corvane export --follow drive.isf -w - | wireshark -k -i -",
         "In Wireshark, while it is recorded", eNeeds::Wireshark}},
       kSelectionNotes,
       {"0 the capture is complete, or nobody reads the pipe any more",
        "1 it is damaged or cannot be read (what is good of it is still exported), or the export "
        "cannot be written",
        "2 wrong usage",
        "3 it was not closed: its capture is still running, or ended without closing it, or the "
        "file is cut off behind its last record (nothing contradicts what is exported)"}});
  command->callback([command, request, &exitCode] {
    CheckOutput(*command, *request);
    CheckEnding(*command, *request);
    CheckExtras(*request);
    request->options.captureName = CaptureNameOf(InputName(request->path));
    request->options.application = "Corvane " CORVANE_VERSION;
    exitCode = ExportCapture(*request, std::cerr);
  });
}

}  // namespace corvane::tools
