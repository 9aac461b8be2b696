#include <fmt/format.h>
#include <cerrno>

#include <CLI/App.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/selected_items.h"
#include "analysis/selection_matcher.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/reading/selection_options.h"
#include "platform/clock.h"
#include "reader/capture_file.h"
#include "reader/markers.h"

namespace corvane::tools {
namespace {

struct sMarkRequest {
  std::string capture;
  std::vector<std::string> words;
  sSelectionBound at;  // open: now
};

[[nodiscard]] int Fail(const std::string& problem) {
  std::cerr << "corvane mark: " << problem << '\n';
  return kExitFailed;
}

[[nodiscard]] int SetMarker(const sMarkRequest& request) {
  sCaptureError error;
  const auto file = cCaptureFile::Open(request.capture, error, eCheck::Directories);
  if (file == nullptr) {
    return Fail(fmt::format("{}: {}", request.capture, error.Text()));
  }
  if (file->IsClosed() && request.at.IsOpen()) {
    return Fail(
        fmt::format("{} is complete, and a marker of now would stand behind its end: give "
                    "the time of the marker by --at",
                    request.capture));
  }
  const std::uint64_t now = SystemFileTime() / isf::kFileTimeUnitsPerMillisecond;
  const sMarker marker{TimeOf(request.at, FirstTimeOf(*file).value_or(now)).value_or(now),
                       fmt::format("{}", fmt::join(request.words, " "))};
  errno = 0;
  if (!AddMarker(request.capture, marker)) {
    return Fail(DescribeUnwritable(MarkerPath(request.capture), errno));
  }
  std::cout << MarkerLine(marker) << std::flush;
  return kExitGood;
}

void TakeMarkerTime(const std::string& text, sSelectionBound& at) {
  if (!TakeTime(text, false, at)) {
    throw CLI::ValidationError(
        "--at",
        fmt::format("\"{}\" is no time: write 2026-03-01T10:00:00.250Z, 10:00 or +90s", text));
  }
}

}  // namespace

void AddMarkCommand(CLI::App& app, int& exitCode) {
  const auto request = std::make_shared<sMarkRequest>();
  CLI::App* const command =
      app.add_subcommand("mark", "Sets a marker in a capture that is being recorded");
  command->add_option("FILE", request->capture, "Capture file")->required();
  command->add_option("TEXT", request->words, "What the marker says; several words are one text");
  command
      ->add_option_function<std::string>(
          "--at", [request](const std::string& text) { TakeMarkerTime(text, request->at); },
          "The time that is marked, instead of now; a complete capture is marked by it alone. It "
          "is "
          "written as --from of corvane list takes it: 2026-03-01T10:00:00Z, a time on the first "
          "item's day (10:00), or one counted from the first item (+90s)")
      ->type_name("TIME");
  AddHelp(*command,
          {.examples = {{"corvane mark drive.isf tunnel entry", "Now, while drive.isf is recorded",
                         eNeeds::Device},
                        {"corvane mark --at 2026-03-01T10:00:00Z drive.isf call dropped",
                         "At another time"}},
           .notes = "Markers stand in a file beside the capture, drive.isf.marks, a line each, and "
                    "list, report and export show them between the items. The marker is printed as "
                    "it stands there. Control characters of the text become blanks, and a text is "
                    "cut after 1,000 bytes. Several programs may set markers at once. While "
                    "corvane capture runs, \"m tunnel entry\" and Enter in its window does the "
                    "same.",
           .exitCodes = {"0 the marker is set",
                         "1 the capture is not there, is none, is complete (without --at), or the "
                         "marker cannot be written",
                         "2 wrong usage"}});
  command->callback([request, &exitCode] { exitCode = SetMarker(*request); });
}

}  // namespace corvane::tools
