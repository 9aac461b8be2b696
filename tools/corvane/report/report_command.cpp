#include "corvane/report/report_command.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "analysis/selected_items.h"
#include "analysis/selected_markers.h"
#include "convert/byte_sink.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/making/export_command.h"
#include "corvane/making/new_file.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_page.h"
#include "corvane/report/report_sections.h"
#include "platform/file_names.h"
#include "reader/byte_source.h"

namespace corvane::tools {
namespace {

constexpr char kCommand[] = "report";

void Tell(const std::string& what, std::ostream& errors) {
  errors << fmt::format("corvane {}: {}\n", kCommand, what);
}

// Gathers the selected items, with the markers that belong among them.
class cGathering {
 public:
  cGathering(cCaptureFile& opened, const sReportRequest& request)
      : file(opened),
        items(opened, request.selection),
        markers(MarkedCapture(request.path)),
        progress(InputName(request.path), opened.NumbersEnd()) {}

  void Run(sReportFindings& findings) {
    items.TellPassed([&findings](const sCaptureItem& text) { findings.Pass(text); });
    items.TellSearch([this](std::uint64_t number) { progress.ShowNow(number); });
    markers.PassBefore(file, items.Matcher());
    while (items.Next()) {
      const sCaptureItem& item = items.Current().Item();
      while (const auto marker = markers.NextUntil(item.time, items.Matcher())) {
        findings.AddMarker(*marker, item.number);
      }
      findings.Add(items.Current());
      progress.Show(items.Position());
    }
    while (const auto marker = markers.NextBehind(file, items.Matcher())) {
      findings.AddMarker(*marker, findings.lastItem + 1);
    }
  }

  [[nodiscard]] const cSelectedItems& Items() const { return items; }

 private:
  cCaptureFile& file;
  cSelectedItems items;
  cSelectedMarkers markers;
  cProgress progress;
};

// What a damaged file breaks: the reader keeps the first few places only, in words of its own.
[[nodiscard]] sViolations ViolationsOf(const std::string& path, const cCaptureFile& file) {
  sViolations violations;
  std::string reason;
  std::unique_ptr<cByteSource> source;
  if (file.State() == eCaptureState::Damaged) {
    source = OpenBytes(path, reason);
  }
  if (source == nullptr) {
    return violations;
  }
  sVerifyRequest request;
  request.onViolation = [&violations](const sViolation& violation) {
    if (violations.first.size() < sViolations::kMostKept) {
      violations.first.push_back(violation);
    }
    return true;
  };
  violations.count = VerifyCapture(std::move(source), request).violations;
  return violations;
}

// What fills the places of the page.
[[nodiscard]] std::map<std::string_view, std::function<std::string()>> Fillings(
    const sReportSource& source, const std::vector<sTrouble>& troubles) {
  const sReportFindings& findings = source.findings;
  return {
      {"title", [&] { return HtmlText(source.name) + " – Corvane"; }},
      {"name", [&] { return HtmlText(source.name); }},
      {"version", [] { return std::string(CORVANE_VERSION); }},
      {"verdict", [&] { return VerdictSection(source, troubles); }},
      {"facts", [&] { return FactsSection(source); }},
      {"wrong", [&] { return TroubleSection(troubles); }},
      {"stretches", [&] { return StretchesTable(findings); }},
      {"types", [&] { return TypesTable(findings); }},
      {"markers", [&] { return MarkersTable(findings); }},
      {"connections", [&] { return ConnectionsSection(findings); }},
      {"gaps", [&] { return GapsSection(findings); }},
      {"requests", [&] { return RequestsSection(findings); }},
      {"most", [&] { return MostFrequentSection(findings); }},
      {"ladder", [&] { return LadderSection(findings); }},
      {"cells", [&] { return CellsSection(findings); }},
      {"data", [&] { return ChartData(findings); }},
  };
}

[[nodiscard]] std::string Page(const sReportSource& source) {
  const std::vector<sTrouble> troubles = TroublesOf(source);
  const auto fillings = Fillings(source, troubles);
  std::string page;
  for (const sPagePiece& piece : PagePieces()) {
    page += piece.text;
    if (!piece.place.empty()) {
      page += fillings.at(piece.place)();
    }
  }
  return page;
}

// Writes the page into the file at `path`. Returns why that failed, or nothing.
[[nodiscard]] std::optional<std::string> Write(const std::string& page, const std::string& path) {
  errno = 0;
  const std::unique_ptr<cStreamSink> sink = cStreamSink::Open(path);
  if (sink == nullptr) {
    return std::generic_category().message(errno);
  }
  sink->Write({reinterpret_cast<const std::uint8_t*>(page.data()), page.size()});
  sink->Close();
  return sink->IsGood() ? std::nullopt : std::optional<std::string>(sink->Problem());
}

// Why the page may not be made there, as a sentence for the user, or nothing.
[[nodiscard]] std::optional<std::string> ObstacleTo(const sReportRequest& request) {
  if (AreSameFile(request.path, request.output)) {
    return fmt::format("the page would overwrite the capture {}", request.path);
  }
  return std::nullopt;
}

}  // namespace

int MakeReport(const sReportRequest& request, std::ostream& errors) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = OpenCapture(request.path, error);
  if (file == nullptr) {
    return ReportUnreadable(kCommand, request.path, error, errors);
  }
  cNewFile output(request.output, request.overwrite);
  auto obstacle = ObstacleTo(request);
  if (!obstacle) {
    obstacle = output.Begin();
  }
  if (obstacle) {
    Tell(*obstacle, errors);
    return kExitFailed;
  }
  const auto findings = std::make_unique<sReportFindings>();
  findings->tellsRequests = !request.selection.DemandsContent();
  cGathering gathering(*file, request);
  gathering.Run(*findings);
  const std::optional<sCaptureError> unreadable = gathering.Items().Unreadable();
  const std::string page = Page({CaptureNameOf(InputName(request.path)), request.selectionText,
                                 *file, *findings, unreadable, ViolationsOf(request.path, *file)});
  if (const auto problem = Write(page, output.WritePath())) {
    Tell(fmt::format("{} cannot be written: {}", request.output, *problem), errors);
    return kExitFailed;
  }
  if (const auto problem = output.Complete()) {
    Tell(*problem, errors);
    return kExitFailed;
  }
  ReportNothingSelected(kCommand, request.path, gathering.Items().Outcome(), errors);
  return EndWithMarkers(kCommand, request.path,
                        ReportState(kCommand, request.path, *file, unreadable, errors), errors);
}

namespace {

// The options of the command line that select items: "--type log --from +90s".
[[nodiscard]] std::string SelectionText(const std::vector<CLI::Option*>& options) {
  std::string text;
  for (const CLI::Option* const option : options) {
    if (option->count() == 0) {
      continue;
    }
    text += fmt::format("{}{}", text.empty() ? "" : " ", option->get_name());
    if (option->get_items_expected_max() != 0) {
      text += fmt::format(" {}", fmt::join(option->results(), ","));
    }
  }
  return text;
}

}  // namespace

void AddReportCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "report", "Makes a page of a capture file that shows at a glance what is in it");
  const auto request = std::make_shared<sReportRequest>();
  AddCaptureArgument(*command, request->path);
  AddNewFileOptions(*command, "The page to make, such as report.html", request->output,
                    request->overwrite);
  const std::size_t others = command->get_options().size();
  AddSelectionOptions(*command, request->selection);
  std::vector<CLI::Option*> selecting = command->get_options();
  selecting.erase(selecting.begin(), selecting.begin() + static_cast<std::ptrdiff_t>(others));
  AddHelp(*command,
          {{{"corvane report drive.isf -o drive.html", "All that is in drive.isf, as a page"},
            {"corvane report drive.isf -o start.html --to +90s", "Its first 90 seconds"},
            {"corvane report drive.isf -o lte.html --log-code lte-rrc-ota --overwrite",
             "LTE RRC alone, in place of an older page"}},
           "The page is one file that loads nothing: it can be mailed, and read without a network. "
           "docs/report.md tells what its parts mean.",
           {"0 the capture is complete", "1 it is damaged, or the page could not be made",
            "2 wrong usage", "3 the capture was not closed"}});
  command->callback([request, selecting, &exitCode] {
    request->selectionText = SelectionText(selecting);
    exitCode = MakeReport(*request, std::cerr);
  });
}

}  // namespace corvane::tools
