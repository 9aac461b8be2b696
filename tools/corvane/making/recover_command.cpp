#include <fmt/format.h>

#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/making/capture_output.h"
#include "corvane/making/rewriting_commands.h"
#include "corvane/reading/open_capture.h"
#include "reader/capture_file.h"
#include "reader/utc_time.h"
#include "rewrite/loss_text.h"
#include "rewrite/recovery.h"

namespace corvane::tools {
namespace {

class cRecoverRun {
 public:
  cRecoverRun(const sRecoverRequest& asked, std::ostream& output, std::ostream& errorOutput)
      : request(asked), out(output), errors(errorOutput) {}

  [[nodiscard]] int Run() {
    std::string reason;
    const auto source = OpenBytes(request.input, reason);
    if (source == nullptr) {
      TellOfInput(fmt::format("the file cannot be opened ({})", reason));
      return kExitFailed;
    }
    cCaptureOutput output(request.output, request.overwrite);
    if (const auto obstacle = output.Begin({request.input})) {
      Tell(*obstacle);
      return kExitFailed;
    }
    if (!Recover(*source, output)) {
      Tell(output.WriteProblem());
      return kExitFailed;
    }
    TellDamage();
    if (report.items == 0) {
      TellOfInput("there is no item in it, so no capture was made");
      return kExitFailed;
    }
    CopyMarkers(output);
    if (const auto obstacle = output.Complete()) {
      Tell(*obstacle);
      return kExitFailed;
    }
    ReportResult();
    return report.losses.Count() == 0 && report.unfit.count == 0 ? kExitGood : kExitFailed;
  }

 private:
  void Tell(const std::string& what) { errors << fmt::format("corvane recover: {}\n", what); }
  void TellOfInput(const std::string& what) {
    Tell(fmt::format("{}: {}", InputName(request.input), what));
  }

  // False when the new file cannot be written.
  [[nodiscard]] bool Recover(cByteSource& source, cCaptureOutput& output) {
    cProgress progress(InputName(request.input), source.Size().value_or(0));
    report = RecoverCapture(source, [&](const sRecoveredItem& item) {
      progress.Show(item.offset);
      return output.Writer().Add(item.head, item.packet);
    });
    return output.Writer().IsGood();
  }

  void TellAll(const cDamage& damage, const char* more) {
    for (const sCaptureError& error : damage.Kept()) {
      TellOfInput(error.Text());
    }
    if (damage.Count() != damage.Kept().size()) {
      TellOfInput(fmt::format("{} more places {}; the last: {}",
                              damage.Count() - damage.Kept().size(), more, damage.Last().Text()));
    }
  }

  void TellDamage() {
    TellAll(report.mended, "were mended");
    for (const std::uint64_t offset : report.moreCaptures) {
      TellOfInput(fmt::format("another capture begins at offset {}; its items follow", offset));
    }
    if (report.captures != report.moreCaptures.size()) {
      TellOfInput(fmt::format("{} more captures begin behind that one",
                              report.captures - report.moreCaptures.size()));
    }
    TellAll(report.losses, "lost something");
    if (report.unfit.count != 0) {
      TellOfInput(
          fmt::format("{} ({}) kept as {} the bytes are none of the item's type, so they may have "
                      "been overwritten",
                      FormatItems(report.unfit.count), PlaceText(report.unfit),
                      report.unfit.count == 1 ? "it is:" : "they are:"));
    }
    if (report.unfinishedBytes != 0) {
      TellOfInput(fmt::format("the last {} were not finished when the recorder stopped",
                              FormatBytes(report.unfinishedBytes)));
    }
  }

  void CopyMarkers(cCaptureOutput& output) const {
    cMarkerReader markers(MarkedCapture(request.input));
    while (const auto marker = markers.NextUntil(std::numeric_limits<std::uint64_t>::max())) {
      output.AddMarker(*marker);
    }
  }

  void ReportResult() {
    std::string text = fmt::format("Kept:   {}, from {} to {}\n", FormatItems(report.items),
                                   FormatUtc(report.firstTime), FormatUtc(report.finalTime));
    if (report.proven != 0) {
      text += fmt::format("Proven: {} of these by what they hold, as their directory is wrong\n",
                          FormatCount(report.proven));
    }
    text += "Lost:   " + LostText();
    if (report.unfit.count != 0) {
      text += fmt::format("; {} may have been overwritten ({})", FormatItems(report.unfit.count),
                          PlaceText(report.unfit));
    }
    out << text << "\n" << std::flush;
  }

  [[nodiscard]] std::string LostText() const {
    if (report.losses.Count() == 0) {
      return report.unfit.count != 0 ? "no item"
                                     : fmt::format("nothing; the file was {}", StateOfInput());
    }
    if (report.lostItems == 0 && report.lostBytes == 0) {
      return fmt::format("what is told above; neither items nor bytes can be counted ({})",
                         PlaceOfLosses());
    }
    return fmt::format("{}{} ({})",
                       report.lostItems != 0 ? FormatItems(report.lostItems) + ", " : "",
                       FormatBytes(report.lostBytes), PlaceOfLosses());
  }

  // "at offset 57370", or where the first and the last loss begin: "from offset 57370 to 91044"
  [[nodiscard]] std::string PlaceOfLosses() const {
    const std::uint64_t first = report.losses.Kept().front().offset.value_or(0);
    const std::uint64_t last = report.losses.Last().offset.value_or(0);
    return first == last ? fmt::format("at offset {}", first)
                         : fmt::format("from offset {} to {}", first, last);
  }

  [[nodiscard]] const char* StateOfInput() const {
    if (report.state == eCaptureState::Complete) {
      return "complete already";
    }
    return report.state == eCaptureState::Unclosed ? "not closed" : "damaged";
  }

  const sRecoverRequest& request;
  std::ostream& out;
  std::ostream& errors;
  sRecoveryReport report;
};

}  // namespace

int RecoverFile(const sRecoverRequest& request, std::ostream& out, std::ostream& errors) {
  const int exitCode = cRecoverRun(request, out, errors).Run();
  return EndWithMarkers("recover", request.input, exitCode, errors);
}

void AddRecoverCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "recover", "Makes a complete capture file of a damaged, cut off or unclosed one");
  const auto request = std::make_shared<sRecoverRequest>();
  AddCaptureArgument(*command, request->input);
  AddNewFileOptions(*command, "The capture file to make", request->output, request->overwrite);
  AddHelp(*command,
          {{{"corvane recover crashed.isf -o drive.isf",
             "Close a capture whose recorder died, or whose disk was full"},
            {"corvane recover damaged.isf -o whole.isf --overwrite",
             "Save what is left of a damaged file"}},
           "Every whole item is kept with its time, type and bytes. Where a directory is torn, "
           "records are taken that still prove themselves, by what is left of their directory "
           "entries, by the records around them, and by the length that a packet tells of itself. "
           "What may be one thing or another is lost: nothing is made up. An item whose packet is "
           "none of its type is kept, and counted as one that may have been overwritten: in a "
           "packet nothing else shows that it was. Where two captures were "
           "joined into one file, the items of both are kept, one behind the other. What is lost "
           "is told on standard error, with its place in the file.",
           {"0 a complete file was made, and no damage there was cost anything",
            "1 something was lost or overwritten and the rest "
            "is in the new file, or there is no item and no new file, or it cannot be written",
            "2 wrong usage"}});
  command->callback(
      [request, &exitCode] { exitCode = RecoverFile(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
