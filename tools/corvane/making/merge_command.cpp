#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "convert/row_text.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/making/capture_output.h"
#include "corvane/making/rewriting_commands.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "platform/file_names.h"
#include "reader/markers.h"
#include "rewrite/merge.h"

namespace corvane::tools {
namespace {

// The markers of several captures, in the order of time.
class cMergedMarkers {
 public:
  explicit cMergedMarkers(const std::vector<std::string>& captures) {
    for (const std::string& capture : captures) {
      std::error_code ignored;  // what cannot be looked at is not there
      if (capture != kStandardInput &&
          std::filesystem::exists(PathOf(MarkerPath(capture)), ignored)) {
        readers.emplace_back(capture);
        Refill(readers.size() - 1);
      }
    }
  }

  [[nodiscard]] std::optional<sMarker> Next() {
    if (due.empty()) {
      return std::nullopt;
    }
    auto first = due.extract(due.begin());
    Refill(first.key().second);
    return std::move(first.mapped());
  }

 private:
  void Refill(std::size_t reader) {
    if (auto marker = readers[reader].NextUntil(UINT64_MAX)) {
      due.emplace(std::pair(marker->time, reader), std::move(*marker));
    }
  }

  std::vector<cMarkerReader> readers;
  std::map<std::pair<std::uint64_t, std::size_t>, sMarker> due;
};

// What the captures are called in the texts: by their files' names, and by their whole paths where
// several have the same.
[[nodiscard]] std::vector<sMergeInput> NameInputs(const std::vector<std::string>& paths) {
  std::map<std::string, int> uses;
  std::vector<sMergeInput> inputs;
  for (const std::string& path : paths) {
    const std::u8string name = PathOf(InputName(path)).filename().u8string();
    inputs.push_back({path, WellFormed(std::string(name.begin(), name.end()))});
    ++uses[inputs.back().name];
  }
  std::set<std::string> taken;
  for (sMergeInput& input : inputs) {
    if (uses[input.name] > 1) {
      input.name = WellFormed(input.path);
    }
    // Two names may differ in bytes alone that are no text.
    const std::string name = input.name;
    for (int number = 2; !taken.insert(input.name).second; ++number) {
      input.name = fmt::format("{} ({})", name, number);
    }
  }
  return inputs;
}

class cMergeRun {
 public:
  cMergeRun(const sMergeRequest& asked, std::ostream& output, std::ostream& errorOutput)
      : request(asked), out(output), errors(errorOutput) {}

  [[nodiscard]] int Run() {
    if (const auto twice = FindTwice()) {
      errors << fmt::format("corvane merge: {} is named twice\n", InputName(*twice));
      return kExitUsage;
    }
    cMerge merge(NameInputs(request.inputs), OpenCapture,
                 [this](const sMergeInput& input, const cCaptureFile& file,
                        const std::optional<sCaptureError>& unreadable) {
                   Judge(ReportState("merge", input.path, file, unreadable, errors));
                 });
    if (const auto problem = merge.Begin()) {
      return ReportUnreadable("merge", problem->path, problem->error, errors);
    }
    cCaptureOutput output(request.output, request.overwrite);
    if (const auto obstacle = output.Begin(request.inputs)) {
      return Fail(*obstacle);
    }
    if (const auto failed = Write(merge, output)) {
      return *failed;
    }
    // Complete captures without items make one, as cut makes one of all of such a capture.
    if (output.Writer().Items() == 0 && worst != kExitGood) {
      return Fail("no capture has an item, so none was made");
    }
    cMergedMarkers markers(request.inputs);
    while (const auto marker = markers.Next()) {
      output.AddMarker(*marker);
    }
    if (const auto obstacle = output.Complete()) {
      return Fail(*obstacle);
    }
    ReportResult(output.Writer().Items());
    return worst;
  }

 private:
  [[nodiscard]] int Fail(const std::string& why) {
    errors << fmt::format("corvane merge: {}\n", why);
    return kExitFailed;
  }

  [[nodiscard]] std::optional<std::string> FindTwice() const {
    for (auto one = request.inputs.begin(); one != request.inputs.end(); ++one) {
      const auto other = std::find_if(one + 1, request.inputs.end(), [one](const auto& path) {
        return path == *one || AreSameFile(*one, path);
      });
      if (other != request.inputs.end()) {
        return *other;
      }
    }
    return std::nullopt;
  }

  // The exit code of a failure, which was told.
  [[nodiscard]] std::optional<int> Write(cMerge& merge, cCaptureOutput& output) {
    std::optional<sMergeProblem> problem;
    {
      cProgress progress(request.output, merge.ItemsToMerge());
      problem = merge.Run(output.Writer(), [this, &progress](std::uint64_t items) {
        merged = items;
        progress.Show(items);
      });
    }
    if (!problem) {
      return std::nullopt;
    }
    return problem->path.empty() ? Fail(output.WriteProblem())
                                 : ReportUnreadable("merge", problem->path, problem->error, errors);
  }

  // Damage is worse than a file that was not closed.
  void Judge(int state) {
    const bool isWorse = state == kExitFailed || worst == kExitGood;
    worst = isWorse ? state : worst;
  }

  void ReportResult(std::uint64_t written) {
    const std::uint64_t texts = written - merged;
    out << fmt::format(
               "Merged: {} of {} capture{}\nAdded:  {} text{} that tell{} where they come from\n",
               FormatItems(merged), request.inputs.size(), request.inputs.size() == 1 ? "" : "s",
               FormatCount(texts), texts == 1 ? "" : "s", texts == 1 ? "s" : "")
        << std::flush;
  }

  const sMergeRequest& request;
  std::ostream& out;
  std::ostream& errors;
  std::uint64_t merged = 0;  // items
  int worst = kExitGood;
};

}  // namespace

int MergeFiles(const sMergeRequest& request, std::ostream& out, std::ostream& errors) {
  int exitCode = cMergeRun(request, out, errors).Run();
  for (const std::string& input : request.inputs) {
    exitCode = EndWithMarkers("merge", input, exitCode, errors);
  }
  return exitCode;
}

void AddMergeCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("merge", "Makes one capture file of several, in the order of time");
  const auto request = std::make_shared<sMergeRequest>();
  command->add_option("FILES", request->inputs, "The capture files; - is standard input")
      ->required();
  AddNewFileOptions(*command, "The capture file to make", request->output, request->overwrite);
  AddHelp(
      *command,
      {{{"corvane merge before.isf after.isf -o drive.isf", "Two captures in one"},
        {"corvane merge phone1.isf phone2.isf -o both.isf --overwrite",
         "Two modems on one time line"}},
       "The items keep their times, types and bytes; those of one capture keep their order too, "
       "where a clock was set back. Wherever the items of another capture follow, a text names "
       "it (\"Merged from drive.isf\"), and the texts that tell its connection and subscription "
       "are repeated. Markers go along. The times are those of each recorder's clock: clocks "
       "that differ are not put right. Captures that follow each other in time may be any "
       "number; of captures of the same time, 100 can be merged at once.",
       {"0 all captures are complete",
        "1 one is damaged (its good items are in the new file), "
        "or is no capture, or the new file cannot be written",
        "2 wrong usage", "3 one was not closed"}});
  command->callback(
      [request, &exitCode] { exitCode = MergeFiles(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
