#include "corvane/capture/capture_course.h"

#include <fmt/format.h>

#include <fstream>
#include <future>
#include <iterator>
#include <thread>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_events.h"
#include "corvane/capture/capture_start.h"
#include "corvane/command/command_line.h"
#include "corvane/command/readable_text.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

[[nodiscard]] sProfileRequests RequestsIn(const std::string& configuration) {
  std::ifstream file(configuration, std::ios::binary);
  return RequestsOf(std::string(std::istreambuf_iterator<char>(file), {}));
}

// That the file stays which a capture of nothing would have replaced.
[[nodiscard]] std::string DescribeSpared(const cOutputFile& output) {
  return output.Replaces() ? fmt::format("; {} stays as it was", output.Path()) : "";
}

// " (12 packets)"
[[nodiscard]] std::string DescribeUnwritten(std::uint64_t packets) {
  return packets == 0
             ? ""
             : fmt::format(" ({} packet{})", FormatCount(packets), packets == 1 ? "" : "s");
}

}  // namespace

void StopLibrary(cCaptureLibrary& library, cCaptureReporter& reporter, milliseconds patience) {
  std::promise<void> stopped;
  const std::future<void> isStopped = stopped.get_future();
  std::thread stopping([&] {
    library.Stop();
    stopped.set_value();
  });
  if (isStopped.wait_for(patience) != std::future_status::ready) {
    reporter.Tell(
        "The capture is being closed; it is complete as soon as the device lets go of its port");
  }
  stopping.join();
}

sCaptureResult ReadResult(const std::string& path) {
  sCaptureError error;
  // The directories alone: a file of many gigabytes must not hold up the next one.
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error, eCheck::Directories);
  sCaptureResult result;
  if (file == nullptr || !file->IsComplete()) {
    const std::string reason = file == nullptr ? error.Text()
                               : file->Damage()
                                   ? file->Damage()->Text()
                                   : std::string("it has no index and trailer; is the disk full?");
    const char* const help = file == nullptr ? "" : "; corvane recover saves what it holds";
    result.text = fmt::format("{} is not complete: {}{}", path, reason, help);
    return result;
  }
  result.isComplete = true;
  result.items = file->ItemCount();
  result.bytes = file->Size();
  result.isEmpty = result.items <= 1;  // the first item is the library's own
  result.text = fmt::format("{} is complete: {}, {}", path, FormatItems(result.items),
                            FormatBytes(result.bytes));
  return result;
}

cCaptureCourse::cCaptureCourse(const sCaptureRequest& prepared, const sParts& used)
    : request(prepared),
      parts(used),
      watch(request, parts.host, parts.presence, parts.console, parts.printed),
      kept(request.keep),
      asked(RequestsIn(request.configuration)),
      missingLogs(asked) {}

cCaptureCourse::~cCaptureCourse() {
  if (isRunning) {
    parts.library.Stop();
  }
}

void cCaptureCourse::Fail(const std::string& problem) {
  parts.console.Complain(problem);
  parts.console.Report(ProblemEvent(parts.host.Now(), "error", problem));
}

int cCaptureCourse::Run() {
  if (!StartFile()) {
    return kExitFailed;
  }
  while (true) {
    const eWatchEnd end = watch.Watch({output->WritePath(), fileBegan, tally.Items(), tally.Bytes(),
                                       tally.Received(), [this] { AfterLook(); }},
                                      *follower);
    if (end != eWatchEnd::FileFull) {
      parts.console.EndStatus();
      parts.console.Report(StoppedEvent(parts.host.Now(), ReasonName(end)));
      wasTooLate = end == eWatchEnd::NotConnected;
      return Finish(FinishFile());
    }
    const eNext next = ChangeFile();
    if (next != eNext::GoesOn) {
      parts.console.EndStatus();
      parts.console.Report(StoppedEvent(parts.host.Now(), ReasonOf(next)));
      return Finish(next != eNext::Failed);
    }
  }
}

bool cCaptureCourse::StartFile() {
  sCaptureRequest started = request;
  if (request.IsInTurn()) {
    started.output = NameInTurn(request.output, fileNumber + 1, parts.host.Now());
  }
  output = BeginOutput(started, parts.host, parts.console);
  if (output == nullptr) {
    return false;
  }
  if (fileNumber == 0) {
    Announce();
  }
  if (!parts.library.Start(request.device, request.configuration, output->WritePath())) {
    started.output = output->WritePath();
    Fail(DescribeRefusal(started));
    output.reset();
    return false;
  }
  isRunning = true;
  if (fileNumber == 0) {
    parts.host.CaptureStarts();
  }
  ++fileNumber;
  fileBegan = parts.host.Elapsed();
  follower = std::make_unique<cCaptureFollower>(output->WritePath(), asked.Count());
  hasReceived = false;
  if (fileNumber == 1) {
    parts.console.Report(StartedEvent(parts.host.Now(), {request.device, request.configuration,
                                                         output->WritePath(), asked.Count()}));
  }
  return true;
}

void cCaptureCourse::Announce() {
  const std::string path = output->WritePath();
  const std::string replaced =
      output->Replaces() ? fmt::format(", which replaces {} in the end", output->Path()) : "";
  parts.console.Tell(fmt::format("Capturing {} into {}{}; Ctrl-C ends the capture", request.device,
                                 path, replaced));
  parts.presence.LookBeforeStart(parts.console);
}

void cCaptureCourse::Stop() {
  stopped = parts.host.Now();
  StopLibrary(parts.library, parts.console, kPatience);
  isRunning = false;
}

// Closes the present file, and gives it its name. False when something is wrong with it.
bool cCaptureCourse::FinishFile() {
  Stop();
  std::ignore = follower->FollowToEnd(parts.host.Elapsed());
  LookForLogs();
  const std::string path = output->WritePath();
  const sCaptureResult result = ReadResult(path);
  const bool isDropped = result.isComplete && IsWorthNothing(result);
  if (result.isComplete && !isDropped) {
    TellFirstReceived();
  }
  tally.AddFile({result.isComplete ? output->Path() : path, result.isComplete, !isDropped,
                 result.items, result.bytes},
                *follower, watch.LastSetUp());
  follower.reset();  // Windows renames and removes no file that is open
  if (!result.isComplete) {
    output->KeepApart();
    Fail(result.text);
    return false;
  }
  if (isDropped) {
    return true;  // the file goes with its object
  }
  parts.console.Tell(result.text);
  if (const auto problem = output->Keep()) {
    Fail(*problem);
    return false;
  }
  return true;
}

// Whether nobody would miss the complete file that was just closed.
bool cCaptureCourse::IsWorthNothing(const sCaptureResult& result) const {
  // A device that comes while the capture that gave it up is being closed adds what nobody waits
  // for any more: it must not replace an old capture.
  if (result.isEmpty || wasTooLate) {
    return true;
  }
  if (follower->Received() != 0 || follower->ItemCount() != result.items) {
    return false;
  }
  // A first file that replaces nothing tells how far the set-up of a silent modem came.
  return fileNumber > 1 || output->Replaces();
}

cCaptureCourse::eNext cCaptureCourse::ChangeFile() {
  const milliseconds began = parts.host.Elapsed();
  const std::string closed = output->Path();
  if (!FinishFile()) {
    return eNext::Failed;
  }
  const eNext next = StartNext();
  if (next != eNext::GoesOn) {
    return next;
  }
  TellChange(closed, parts.host.Elapsed() - began);
  return eNext::GoesOn;
}

const char* cCaptureCourse::ReasonOf(eNext next) {
  switch (next) {
    case eNext::Ends:
      return ReasonName(eWatchEnd::StopRequested);
    case eNext::ShortOfRoom:
      return ReasonName(eWatchEnd::ShortOfRoom);
    default:
      return "failed";
  }
}

// Tells it where it is so.
bool cCaptureCourse::IsShortOfRoom() {
  const auto shortage = FindShortage(request, parts.host.FreeSpace(request.output));
  if (shortage) {
    parts.console.Complain(*shortage);
  }
  return shortage.has_value();
}

cCaptureCourse::eNext cCaptureCourse::StartNext() {
  for (int start = 1; !StartFile(); ++start) {
    // The disk may have filled since the last look.
    if (IsShortOfRoom()) {
      return eNext::ShortOfRoom;
    }
    if (start == kMostStarts) {
      Fail("the next file could not be begun: the capture ends");
      return eNext::Failed;
    }
    if (start == 1) {
      watch.Warn(
          "nothing is captured until the next file is begun, which is tried again every "
          "second");
    }
    if (parts.host.WaitForStop(seconds(1))) {
      return eNext::Ends;
    }
  }
  return eNext::GoesOn;
}

void cCaptureCourse::TellChange(const std::string& closed, milliseconds change) {
  tally.AddChange(change);
  parts.console.Tell(
      fmt::format("Capturing into {}; the change took {} ms", output->WritePath(), change.count()));
  parts.console.Report(RotatedEvent(parts.host.Now(), {closed, output->WritePath(), change}));
}

void cCaptureCourse::AfterLook() {
  TellFirstReceived();
  LookForLogs();
}

void cCaptureCourse::LookForLogs() {
  if (const auto missing = missingLogs.Look(*follower, parts.host.Elapsed())) {
    watch.Warn(*missing);
  }
}

// A file counts among those that are kept from its first item of the device on: until then the ones
// before it are all that there is.
void cCaptureCourse::TellFirstReceived() {
  if (hasReceived || follower->Received() == 0) {
    return;
  }
  hasReceived = true;
  TellSilenceOfChange();
  kept.Add(output->Path());
  RemoveOldFiles();
}

void cCaptureCourse::TellSilenceOfChange() {
  const auto last = tally.LastReceived();
  const auto first = follower->FirstReceived();
  if (!last || !first) {
    return;
  }
  std::optional<std::uint64_t> silence;  // unknown where the clock was set back in between
  if (*first >= *last) {
    silence = *first - *last;
    parts.console.Tell(
        fmt::format("The device is heard again; around the change of files it was not for {}",
                    FormatLength(*silence)));
  }
  parts.console.Report(ResumedEvent(parts.host.Now(), output->WritePath(), silence));
}

void cCaptureCourse::RemoveOldFiles() {
  const cKeptFiles::sRemoval removal = kept.RemoveOld();
  for (const std::string& problem : removal.problems) {
    watch.Warn(problem);
  }
  for (const std::string& path : removal.removed) {
    parts.console.Tell(path + " is removed");
  }
  if (!removal.removed.empty()) {
    parts.console.Report(RemovedEvent(parts.host.Now(), removal.removed));
  }
}

// Tells what came of the capture. Returns the exit code.
int cCaptureCourse::Finish(bool isGood) {
  tally.AddEnd(stopped);
  const int code = JudgeCapture(isGood);
  parts.console.Report(SummaryEvent(parts.host.Now(), tally, parts.printed.Counts(), code));
  return code;
}

const char* cCaptureCourse::WhyNothing() const {
  if (tally.Connections() == 0) {
    return "the device was never reached, and no file is kept";
  }
  return wasTooLate ? "the device was connected too late, and no file is kept"
                    : "the device was connected and sent nothing";
}

int cCaptureCourse::JudgeCapture(bool isGood) {
  const sVerdict& verdict = tally.Verdict();
  const bool isWrong = verdict.isStuck || verdict.refused != 0 || verdict.Unanswered() != 0;
  for (const std::string& line : DescribeVerdict(verdict)) {
    if (isWrong) {
      parts.console.Print(line);
    } else {
      parts.console.Tell(line);
    }
  }
  TellMissingLogs();
  const bool wasFull = watch.WasDiskFull();
  if ((tally.Received() == 0 || wasTooLate) && isGood && !wasFull) {
    Fail(fmt::format("nothing was captured: {}{}", WhyNothing(), DescribeSpared(*output)));
    return kExitNothing;
  }
  for (const std::string& line : DescribeCapture(tally, parts.printed.Counts())) {
    parts.console.Tell(line);
  }
  if (wasFull) {
    Fail(fmt::format("the disk of {} took nothing more: what the device sent then is lost{}",
                     request.output, DescribeUnwritten(parts.printed.Counts().unwritten)));
  }
  if (verdict.isStuck) {
    Fail(
        "the set-up of the modem was stuck: it was not asked for all that the configuration names");
    return isGood && !wasFull ? kExitNothing : kExitFailed;
  }
  return isGood && !wasFull ? kExitGood : kExitFailed;
}

void cCaptureCourse::TellMissingLogs() {
  const auto& items = tally.ItemsByType();
  const std::uint64_t logs =
      items[isf::kLogItem] + items[isf::kShortLogItem] + items[isf::kSignallingLogItem];
  if (const auto missing = missingLogs.AtEnd(logs, parts.printed.Counts().refused)) {
    watch.Warn(*missing);
  }
}

}  // namespace corvane::tools
