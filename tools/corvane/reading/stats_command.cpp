#include <CLI/App.hpp>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include "common/quantities.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/standard_streams.h"
#include "corvane/reading/capture_statistics.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "corvane/reading/statistics_output.h"

namespace corvane::tools {
namespace {

constexpr char kStatsCommand[] = "stats";

[[nodiscard]] std::string_view StateName(const cCaptureFile& file) {
  switch (file.State()) {
    case eCaptureState::Complete:
      return "complete";
    case eCaptureState::Unclosed:
      return "not closed";
    default:
      return "damaged";
  }
}

void Gather(cSelectedItems& items, const std::string& path, std::uint64_t end,
            cCaptureStatistics& statistics) {
  cProgress progress(path, end);
  items.TellSearch([&progress](std::uint64_t number) { progress.ShowNow(number); });
  items.TellPassed([&statistics](const sCaptureItem& text) { statistics.Pass(text); });
  while (items.Next()) {
    statistics.Add(items.Current().Item());
    progress.Show(items.Position());
  }
}

void Write(const sStatisticsSubject& subject, const cCaptureStatistics& statistics,
           const sStatisticsRequest& request, std::ostream& out) {
  switch (request.format) {
    case eStatisticsFormat::Json:
      WriteStatisticsJson(subject, statistics, request, out);
      break;
    case eStatisticsFormat::Csv:
      WriteStatisticsCsv(statistics, request, out);
      break;
    default:
      WriteStatisticsText(subject, statistics, request, out);
  }
  out << std::flush;
}

// Adds an option that takes a length of time, such as 10s. `take` receives it in milliseconds, and
// says whether it will do.
template <typename Take>
void AddDurationOption(CLI::App& command, const std::string& option, const std::string& help,
                       Take take) {
  command
      .add_option_function<std::string>(
          option,
          [option, take](const std::string& text) {
            const std::optional<std::chrono::milliseconds> duration = ParseDuration(text);
            if (!duration || !take(static_cast<std::uint64_t>(duration->count()))) {
              throw CLI::ValidationError(option, "\"" + text +
                                                     "\" is no length of time from 1ms to 1000h, "
                                                     "such as 500ms, 10s, 1.5m or 2h");
            }
          },
          help)
      ->type_name("TIME");
}

[[nodiscard]] sCommandHelp Help() {
  return {
      {{"corvane stats drive.isf", "All tables of a capture"},
       {"corvane stats --interval 10s drive.isf", "What came in each ten seconds"},
       {"corvane stats --log-code lte-rrc-ota --top 5 drive.isf",
        "The logs of LTE RRC, the five most frequent ones"},
       {"corvane stats --json drive.isf", "Everything as one JSON object"}},
      "What is counted are the selected items; --from and --to narrow all tables. Requests and "
      "their replies are paired only where the selection has nothing but --from and --to: a "
      "request whose reply is left out would seem to have none. Rates are over the time from "
      "the first to the last of the selected items, without leaps of the clock by a day or "
      "more. A gap is a stretch without a selected packet. Heads of records are not checked: "
      "that is what `corvane verify` is for.",
      {"0 the file is complete",
       "1 it is damaged or cannot be read (what is good of it is still counted)", "2 wrong usage",
       "3 it was not closed: its capture is still running, or ended without closing it"}};
}

}  // namespace

int ShowStatistics(const sStatisticsRequest& request, std::ostream& out, std::ostream& errors) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = OpenCapture(request.path, error, eCheck::Directories);
  if (file == nullptr) {
    return ReportUnreadable(kStatsCommand, request.path, error, errors);
  }
  cCaptureStatistics statistics(request);
  cSelectedItems items(*file, request.selection);
  const std::string name = InputName(request.path);
  Gather(items, name, file->NumbersEnd(), statistics);
  Write({name, StateName(*file), file->ItemCount()}, statistics, request, out);
  ReportNothingSelected(kStatsCommand, request.path, items.Outcome(), errors);
  return ReportEnd(kStatsCommand, request.path, *file, items.Unreadable(), out, errors);
}

void AddStatsCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      kStatsCommand,
      "Counts the items of a capture file by all that they are, with rates and times; tells its "
      "connections, gaps, and requests with their replies");
  const auto request = std::make_shared<sStatisticsRequest>();
  AddCaptureArgument(*command, request->path);
  AddDurationOption(*command, "--interval", "A table over time instead, with intervals so long",
                    [request](std::uint64_t milliseconds) {
                      request->interval = milliseconds;
                      return milliseconds != 0;
                    });
  AddDurationOption(*command, "--gap", "Tell gaps longer than this [5s]",
                    [request](std::uint64_t milliseconds) {
                      request->gap = milliseconds;
                      return milliseconds != 0;
                    });
  command
      ->add_option_function<std::string>(
          "--top",
          [request](const std::string& text) {
            request->top = ParseUnsigned<std::uint64_t>(text);
            if (request->top.value_or(0) == 0) {
              throw CLI::ValidationError("--top",
                                         "\"" + text + "\" is no number of rows from 1 on");
            }
          },
          "So many rows of each table, those with the most items")
      ->type_name("N");
  CLI::Option* const json = command->add_flag_callback(
      "--json", [request] { request->format = eStatisticsFormat::Json; }, "One JSON object");
  command
      ->add_flag_callback(
          "--csv", [request] { request->format = eStatisticsFormat::Csv; },
          "One table of comma-separated values (RFC 4180)")
      ->excludes(json);
  AddSelectionOptions(*command, request->selection);
  AddHelp(*command, Help());
  command->callback([request, &exitCode] {
    if (request->format == eStatisticsFormat::Csv) {
      MakeStandardOutputBinary();
    }
    exitCode = ShowStatistics(*request, std::cout, std::cerr);
  });
}

}  // namespace corvane::tools
