#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <optional>
#include <tuple>

#include "analysis/selected_items.h"
#include "analysis/selected_markers.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/making/capture_output.h"
#include "corvane/making/rewriting_commands.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "reader/utc_time.h"
#include "rewrite/source_texts_in_force.h"

namespace corvane::tools {
namespace {

class cCutRun {
 public:
  cCutRun(const sCutRequest& asked, std::ostream& outStream, std::ostream& errorStream)
      : request(asked),
        out(outStream),
        errors(errorStream),
        output(asked.output, asked.overwrite),
        markers(MarkedCapture(asked.input)) {}

  [[nodiscard]] int Run() {
    sCaptureError error;
    file = OpenCapture(request.input, error);
    if (file == nullptr) {
      return ReportUnreadable("cut", request.input, error, errors);
    }
    if (const auto obstacle = output.Begin({request.input})) {
      return Fail(*obstacle);
    }
    cSelectedItems items(*file, request.selection);
    if (!Write(items)) {
      return Fail(output.WriteProblem());
    }
    // All of a complete capture without items is one, too.
    if (output.Writer().Items() == 0 && !(request.selection.IsEverything() && file->IsComplete())) {
      ReportNothingSelected("cut", request.input, items.Outcome(), errors);
      std::ignore = ReportState("cut", request.input, *file, items.Unreadable(), errors);
      return Fail("no item was kept, so no capture was made");
    }
    if (const auto obstacle = output.Complete()) {
      return Fail(*obstacle);
    }
    ReportResult(items.Outcome().selected);
    return ReportState("cut", request.input, *file, items.Unreadable(), errors);
  }

 private:
  [[nodiscard]] int Fail(const std::string& why) {
    errors << fmt::format("corvane cut: {}\n", why);
    return kExitFailed;
  }

  // False when the new file cannot be written.
  [[nodiscard]] bool Write(cSelectedItems& items) {
    cProgress progress(InputName(request.input), file->NumbersEnd());
    cSourcedWriter sourced(output.Writer());
    cTextsInForce inForce;
    items.TellSearch([&progress](std::uint64_t number) { progress.ShowNow(number); });
    items.TellPassed([&inForce](const sCaptureItem& text) { inForce.Pass(text.type, text.bytes); });
    bool isFirst = true;
    while (items.Next()) {
      progress.Show(items.Position());
      const sCaptureItem& item = items.Current().Item();
      if (std::exchange(isFirst, false)) {
        firstTime = item.time;
        markers.PassBefore(*file, items.Matcher());
      }
      lastTime = item.time;
      while (const auto marker = markers.NextUntil(item.time, items.Matcher())) {
        output.AddMarker(*marker);
      }
      if (!sourced.Add({item.type, item.time, item.extra}, item.bytes, inForce)) {
        return false;
      }
      inForce.Pass(item.type, item.bytes);
    }
    while (const auto marker = markers.NextBehind(*file, items.Matcher())) {
      output.AddMarker(*marker);
    }
    texts = sourced.Texts();
    return true;
  }

  void ReportResult(std::uint64_t selected) {
    std::string text = fmt::format("Kept:   {}", FormatItems(selected));
    if (selected != 0) {
      text += fmt::format(", from {} to {}", FormatUtc(firstTime), FormatUtc(lastTime));
    }
    text += '\n';
    if (texts != 0) {
      text += fmt::format("Added:  {} text{} that tell{} where they come from\n",
                          FormatCount(texts), texts == 1 ? "" : "s", texts == 1 ? "s" : "");
    }
    out << text << std::flush;
  }

  const sCutRequest& request;
  std::ostream& out;
  std::ostream& errors;
  cCaptureOutput output;
  cSelectedMarkers markers;
  std::unique_ptr<cCaptureFile> file;
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;
  std::uint64_t texts = 0;  // that were added
};

}  // namespace

int CutFile(const sCutRequest& request, std::ostream& out, std::ostream& errors) {
  return EndWithMarkers("cut", request.input, cCutRun(request, out, errors).Run(), errors);
}

void AddCutCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("cut", "Makes a capture file of selected items of another");
  const auto request = std::make_shared<sCutRequest>();
  AddCaptureArgument(*command, request->input);
  AddNewFileOptions(*command, "The capture file to make", request->output, request->overwrite);
  AddSelectionOptions(*command, request->selection);
  static const std::string notes =
      std::string(kSelectionNotes) +
      " The items keep their times, types and bytes. Texts that tell which connection and "
      "subscription are in force are written in front of the first item, and again wherever these "
      "change between two items that are kept. Markers go along as `list` shows them between the "
      "items. All items "
      "of a complete capture make the same file again.";
  AddHelp(
      *command,
      {{{"corvane cut drive.isf --from +60s --to +120s -o minute.isf", "One minute of a capture"},
        {"corvane cut drive.isf --log-code 0xB0C0 -o rrc.isf", "Only the logs of one code"},
        {"corvane cut drive.isf --type message --invert -o small.isf",
         "Everything but debug messages"}},
       notes.c_str(),
       {"0 the capture is complete",
        "1 the capture is damaged (its good items are in the new "
        "file), or no item was selected, or the new file cannot be written",
        "2 wrong usage", "3 the capture was not closed"}});
  command->callback([request, &exitCode] { exitCode = CutFile(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
