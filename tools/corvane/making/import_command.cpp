#include "corvane/making/import_command.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <system_error>
#include <tuple>
#include <utility>

#include "capture/isf/layout.h"
#include "corvane/command/choice_option.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/command/standard_streams.h"
#include "corvane/making/capture_output.h"
#include "corvane/making/new_file.h"
#include "corvane/reading/open_capture.h"
#include "platform/file_names.h"
#include "reader/capture_file.h"
#include "reader/markers.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

[[nodiscard]] bool IsStandardInput(const std::string& path) { return path == kStandardInput; }

// What the stream is called: without its folders, which are nobody else's business.
[[nodiscard]] std::string NameOf(const std::string& path) {
  const std::u8string name = PathOf(InputName(path)).filename().u8string();
  return name.empty() ? path : std::string(name.begin(), name.end());
}

[[nodiscard]] bool BeginsAsCapture(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= isf::kHeaderSize && isf::IsHeader(bytes.first<isf::kHeaderSize>());
}

// "1 packet is", "1,204 packets are"
[[nodiscard]] std::string Are(std::uint64_t count, const char* what) {
  return fmt::format("{} {}{}", FormatCount(count), what, count == 1 ? " is" : "s are");
}

[[nodiscard]] std::string UtcOf(std::uint64_t fileTime) {
  return FormatUtc(fileTime / isf::kFileTimeUnitsPerMillisecond);
}

void ReportResult(const sImportReport& report, std::ostream& out) {
  std::string text = fmt::format("Packets:      {}\n", FormatCount(report.packets));
  text += fmt::format("Items:        {}, from {} to {}\n", FormatCount(report.items),
                      UtcOf(report.firstTime), UtcOf(report.lastTime));
  if (report.opened != 0) {
    text += fmt::format("Wrappers:     {} opened\n", FormatCount(report.opened));
  }
  if (report.dropped != 0) {
    text += fmt::format("Wrappers:     {} dropped\n", FormatCount(report.dropped));
  }
  if (report.unstamped != 0) {
    text += fmt::format("Times:        {} without a time stamp, dated like the item before\n",
                        FormatItems(report.unstamped));
  }
  if (report.nonsensicalTimes != 0) {
    text += fmt::format("Times:        {} with a nonsensical stamp, dated like the item before\n",
                        FormatItems(report.nonsensicalTimes));
  }
  if (report.undated != 0) {
    text += fmt::format("Times:        {} dated 1980-01-06, where the clock of a modem begins\n",
                        FormatItems(report.undated));
  }
  out << text << std::flush;
}

// What of the stream is not in the capture, a sentence each.
[[nodiscard]] std::vector<std::string> Losses(const sImportReport& report) {
  std::vector<std::string> losses;
  for (const sBadFrame& frame : report.firstBadFrames) {
    losses.push_back(
        fmt::format("the frame at offset {} {}", frame.offset, FaultText(frame.fault)));
  }
  const std::uint64_t more = report.badFrames - report.firstBadFrames.size();
  if (more != 0) {
    losses.push_back(fmt::format("{} bad", Are(more, "more frame")));
  }
  for (std::size_t first = 0; first < report.refused.size(); ++first) {
    if (report.refused[first] != 0) {
      losses.push_back(fmt::format("{} left out: a capture holds none with the first byte 0x{:02X}",
                                   Are(report.refused[first], "packet"), first));
    }
  }
  if (report.tooLong != 0) {
    losses.push_back(fmt::format("{} left out: longer than {} bytes", Are(report.tooLong, "packet"),
                                 FormatCount(isf::kLongestPacket)));
  }
  if (report.brokenReports != 0) {
    losses.push_back(
        fmt::format("{} left out: not whole", Are(report.brokenReports, "event report")));
  }
  return losses;
}

// Whether no frame ends in the stream: it is empty, or has nothing but flags, or is something else
// altogether.
[[nodiscard]] bool HasNoFrame(const sImportReport& report) {
  if (report.packets != 0 || report.badFrames > 1) {
    return false;
  }
  if (report.badFrames == 0) {
    return true;
  }
  const eFrameFault fault = report.firstBadFrames.front().fault;
  return fault == eFrameFault::Unfinished || fault == eFrameFault::TooLong;
}

// One run of the command.
class cImportRun {
 public:
  cImportRun(const sImportRequest& asked, std::ostream& result, std::ostream& complaints)
      : request(asked), out(result), errors(complaints) {}

  [[nodiscard]] int Run() {
    if (!OpenInput()) {
      return kExitFailed;
    }
    cNewFile output(request.output, request.overwrite);
    if (const auto obstacle = FindObstacle(output)) {
      return Fail(*obstacle);
    }
    // The capture has no markers: those that are there are another one's.
    cNewFile markers(MarkerPath(request.output), request.overwrite, cNewFile::eLinks::Replaced);
    if (const auto obstacle = markers.BeginCapture()) {
      return Fail(*obstacle);
    }
    if (!Import(output.WritePath())) {
      return kExitFailed;
    }
    if (report.packets == 0) {
      TellLosses();
      return Fail(
          fmt::format("no capture was made: {} has no good DIAG frame", InputName(request.input)));
    }
    if (const auto obstacle = output.Complete()) {
      return Fail(*obstacle);
    }
    if (const auto obstacle = request.overwrite ? RemoveMarkers(request.output) : std::nullopt) {
      return Fail(*obstacle);
    }
    ReportResult(report, out);
    TellLosses();
    return out ? kExitGood : Fail("the output cannot be written");
  }

 private:
  void Tell(const std::string& what) { errors << fmt::format("corvane import: {}\n", what); }
  int Fail(const std::string& what) {
    Tell(what);
    return kExitFailed;
  }
  void TellLosses() {
    for (const std::string& loss : Losses(report)) {
      Tell(fmt::format("{}: {}", InputName(request.input), loss));
    }
  }

  [[nodiscard]] bool OpenInput() {
    if (IsStandardInput(request.input)) {
      MakeStandardInputBinary();
      return true;
    }
    std::error_code ignored;  // what cannot be looked at is told by opening it
    if (std::filesystem::is_directory(PathOf(request.input), ignored)) {
      Tell(fmt::format("{} is a folder", request.input));
      return false;
    }
    errno = 0;
    file.open(request.input, std::ios::binary);
    if (!file.is_open()) {
      Tell(fmt::format("{} cannot be read: {}", request.input,
                       std::generic_category().message(errno)));
    }
    return file.is_open();
  }

  [[nodiscard]] std::optional<std::string> FindObstacle(cNewFile& output) const {
    if (AreSameFile(request.input, request.output)) {
      return fmt::format("the capture would overwrite the stream {}", request.input);
    }
    return output.BeginCapture();
  }

  // In bytes; 0 where that is not known beforehand.
  [[nodiscard]] std::uint64_t SizeOfInput() const {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(PathOf(request.input), error);
    return error || IsStandardInput(request.input) ? 0 : size;
  }

  // Writes the capture into `path`. What goes wrong is told.
  [[nodiscard]] bool Import(const std::string& path) {
    errno = 0;
    auto capture = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    if (!capture->is_open()) {
      Tell(DescribeUnwritable(request.output, errno));
      return false;
    }
    cImport import(std::move(capture), {NameOf(request.input), request.wrapped});
    reasonAtBegin = errno;
    if (!FeedAll(import)) {
      return false;
    }
    errno = 0;
    const std::uint32_t error = import.Finish();
    const int reason = WriteReason();
    report = import.Report();
    if (error == 0 && HasNoFrame(report)) {
      Tell(fmt::format("no DIAG frame was found in {}: is it a raw DIAG stream?",
                       InputName(request.input)));
      return false;
    }
    if (error != 0 || !IsWhole(path)) {
      Tell(DescribeUnwritable(request.output, reason));
      return false;
    }
    return true;
  }

  // A value of errno. The file that cannot be begun makes all that follows fail without one.
  [[nodiscard]] int WriteReason() const { return errno != 0 ? errno : reasonAtBegin; }

  [[nodiscard]] bool FeedAll(cImport& import) {
    std::istream& in = IsStandardInput(request.input) ? std::cin : file;
    std::array<char, 65'536> piece{};
    bool isFirst = true;
    cProgress progress(InputName(request.input), SizeOfInput());
    std::uint64_t done = 0;
    while (in) {
      progress.Show(done);
      in.read(piece.data(), piece.size());
      // The one place where the stream's characters become bytes.
      const std::span bytes(reinterpret_cast<const std::uint8_t*>(piece.data()),
                            static_cast<std::size_t>(in.gcount()));
      done += bytes.size();
      if (std::exchange(isFirst, false) && BeginsAsCapture(bytes)) {
        progress.Wipe();
        Tell(fmt::format("{} is a capture file already", InputName(request.input)));
        return false;
      }
      errno = 0;
      if (import.Feed(bytes) != 0) {
        const int reason = WriteReason();
        progress.Wipe();
        Tell(DescribeUnwritable(request.output, reason));
        return false;
      }
    }
    progress.Wipe();
    if (in.bad()) {
      Tell(fmt::format("{} cannot be read to its end", request.input));
      return false;
    }
    return true;
  }

  // Whether the disk took all of the capture: its end is written when it is closed.
  [[nodiscard]] bool IsWhole(const std::string& path) const {
    sCaptureError ignored;
    const std::unique_ptr<cCaptureFile> capture = cCaptureFile::Open(path, ignored);
    return capture != nullptr && capture->IsComplete() && capture->ItemCount() == report.items;
  }

  const sImportRequest& request;
  std::ostream& out;
  std::ostream& errors;
  std::ifstream file;
  int reasonAtBegin = 0;
  sImportReport report;
};

}  // namespace

int ImportStream(const sImportRequest& request, std::ostream& out, std::ostream& errors) {
  return cImportRun(request, out, errors).Run();
}

void AddImportCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "import",
      "Makes a capture file of a raw DIAG stream, as other recorders write it: HDLC frames, one "
      "behind the other");
  const auto request = std::make_shared<sImportRequest>();
  command->add_option("RAW", request->input, "The stream; - is standard input")->required();
  AddNewFileOptions(*command, "The capture file to make", request->output, request->overwrite);
  AddChoiceOption(*command, "--wrapped", request->wrapped,
                  tChoices<eWrapped>{{"open", eWrapped::Open}, {"drop", eWrapped::Drop}},
                  "What becomes of packets in the wrappers of multi-SIM modems: opened, with "
                  "texts that tell their subscriptions, or dropped");
  AddHelp(*command,
          {.examples = {{"corvane import drive.hdlc -o drive.isf", "One stream"},
                        {"cat drive-1.hdlc drive-2.hdlc | corvane import - -o whole.isf",
                         "A stream that was written in pieces"},
                        {"corvane import drive.hdlc -o drive.isf --overwrite",
                         "Again, in place of the capture that is there"}},
           .exitCodes = {"0 the capture is complete; what could not be imported is told",
                         "1 it could not be made, or the stream not be read, or it has no good "
                         "DIAG frame",
                         "2 wrong usage"}});
  command->callback(
      [request, &exitCode] { exitCode = ImportStream(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
