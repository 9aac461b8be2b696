#include "corvane/capture/capture_watch.h"

#include <fmt/format.h>

#include <algorithm>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_events.h"
#include "corvane/capture/capture_tally.h"
#include "corvane/capture/typed_marker.h"
#include "corvane/command/readable_text.h"
#include "reader/markers.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// How often the growing file is looked at, and how often its status is told.
constexpr milliseconds kLook(200);
constexpr milliseconds kStatusInterval(1000);
// Where no terminal rewrites the status, this often after the first while.
constexpr seconds kEveryStatus(10);

[[nodiscard]] double RateOf(const sProgress& now, const sProgress& previous) {
  const std::uint64_t newItems = now.items < previous.items ? 0 : now.items - previous.items;
  const auto passed = (now.elapsed - previous.elapsed).count();
  return passed <= 0 ? 0.0 : static_cast<double>(newItems) * 1000.0 / static_cast<double>(passed);
}

[[nodiscard]] std::string FormatSetUp(const sSetUpProgress& setUp) {
  if (setUp.IsComplete()) {
    return "  set up";
  }
  return fmt::format("  set-up {} of {}", setUp.answered + setUp.refused, setUp.wanted);
}

[[nodiscard]] auto SecondsOf(milliseconds time) {
  return std::chrono::floor<seconds>(time).count();
}

[[nodiscard]] std::string DescribeStuck(const sSetUpProgress& setUp,
                                        const cRequestReplies& requests) {
  if (setUp.waiting) {
    return fmt::format(
        "the set-up is stuck: request {} of {} ({}) is without a reply for {} s, and "
        "the modem is asked nothing more before it comes",
        setUp.sent, setUp.wanted, requests.Waiting()->name, SecondsOf(*setUp.waiting));
  }
  return fmt::format(
      "the set-up is stuck: {} of {} requests were sent, and for {} s no other was, though none "
      "is without a reply",
      setUp.sent, setUp.wanted, SecondsOf(*setUp.idle));
}

}  // namespace

std::optional<std::string> FindShortage(const sCaptureRequest& request,
                                        std::optional<std::uint64_t> freeSpace) {
  if (request.stopBelow == 0 || !freeSpace || *freeSpace >= request.stopBelow) {
    return std::nullopt;
  }
  return fmt::format("only {} are left on the disk of {}, and --stop-below is {}: the capture ends",
                     FormatBytes(*freeSpace), request.output, FormatBytes(request.stopBelow));
}

std::string FormatStatus(const sProgress& now, const sProgress& previous) {
  std::string line =
      fmt::format("{}  {}  {}  {:.0f} items/s", FormatElapsed(now.elapsed), FormatItems(now.items),
                  FormatBytes(now.bytes), RateOf(now, previous));
  if (now.isConnected && now.setUp.wanted != 0) {
    line += FormatSetUp(now.setUp);
  }
  if (now.disk == eDiskRoom::None) {
    return line + "  the disk is full";
  }
  if (now.disk == eDiskRoom::Scarce) {
    line += "  the disk is nearly full";
  }
  if (now.silence >= kPatience) {
    line += fmt::format("  nothing received for {} s", SecondsOf(now.silence));
  }
  return line;
}

const char* ReasonName(eWatchEnd end) {
  switch (end) {
    case eWatchEnd::StopRequested:
      return "requested";
    case eWatchEnd::DurationOver:
      return "duration";
    case eWatchEnd::NotConnected:
      return "no_connection";
    case eWatchEnd::EnoughItems:
      return "items";
    case eWatchEnd::EnoughBytes:
      return "size";
    case eWatchEnd::ShortOfRoom:
      return "disk";
    case eWatchEnd::FileFull:
      return "file_full";
  }
  return "unknown";
}

void cCaptureWatch::Warn(const std::string& text) { console.Warn(host.Now(), text); }

eWatchEnd cCaptureWatch::Watch(const sWatchedFile& file, cCaptureFollower& follower) {
  while (true) {
    const bool stopped = host.WaitForStop(NextWait());
    SetMarkers(file.path);
    const sProgress now = LookAt(file, follower);
    TellPortChanges(follower, now.elapsed);
    // The connection comes first, which what is told here belongs to.
    if (file.afterLook) {
      file.afterLook();
    }
    TellSetUp(now, follower.Requests());
    const bool isDue = now.elapsed >= nextStatus;
    const auto end = stopped ? std::optional(eWatchEnd::StopRequested) : FindEnd(file, now);
    if (isDue || (end && *end != eWatchEnd::FileFull)) {
      TellStatus(now, end.has_value());
    }
    if (end) {
      return *end;
    }
    if (isDue) {
      presence.Look(follower.IsConnected(), console);
    }
  }
}

milliseconds cCaptureWatch::NextWait() const {
  const milliseconds elapsed = host.Elapsed();
  milliseconds until = std::min(elapsed + kLook, nextStatus);
  if (firstConnected && request.duration) {
    until = std::min(until, *firstConnected + *request.duration);
  } else if (const auto wait = request.LongestWait(); !firstConnected && wait) {
    until = std::min(until, *wait);
  }
  return std::max(until - elapsed, milliseconds(0));
}

sProgress cCaptureWatch::LookAt(const sWatchedFile& file, cCaptureFollower& follower) {
  sProgress now = follower.Follow(host.Elapsed());
  now.items += file.earlierItems;
  now.bytes += file.earlierBytes;
  now.received += file.earlierReceived;
  LookAtDisk(file, now);
  if (now.isConnected) {
    lastSetUp = now.setUp;
  }
  return now;
}

// Tells when the disk gets full, and when it is over. `now` is of all files.
void cCaptureWatch::LookAtDisk(const sWatchedFile& file, sProgress& now) {
  freeSpace = host.FreeSpace(file.path);
  const cDiskRoom::sNews news =
      disk.Look({file.path, now.elapsed, now.items - file.earlierItems, now.bytes, now.isConnected,
                 freeSpace, printed.Counts().unwritten});
  if (news.warning) {
    Warn(*news.warning);
  }
  if (news.relief) {
    console.Tell(*news.relief);
  }
  now.disk = disk.Room();
}

void cCaptureWatch::TellPortChanges(cCaptureFollower& follower, milliseconds elapsed) {
  // The library prints the same for the user.
  for (const sPortChange& change : follower.TakePortChanges()) {
    console.Report(PortEvent(change));
    if (change.connected) {
      toldSetUp = toldStuck = false;
      firstConnected = firstConnected ? firstConnected : elapsed;
    }
  }
}

void cCaptureWatch::TellSetUp(const sProgress& now, const cRequestReplies& requests) {
  if (!now.isConnected || now.setUp.wanted == 0 || toldSetUp) {
    return;
  }
  if (now.setUp.IsStuck() && !toldStuck) {
    toldStuck = true;
    Warn(DescribeStuck(now.setUp, requests));
  }
  if (now.setUp.IsComplete()) {
    toldSetUp = true;
    const sVerdict verdict = VerdictOf(requests, now.setUp);
    for (const std::string& line : DescribeVerdict(verdict)) {
      console.Tell(line);
    }
    console.Report(SetUpEvent(host.Now(), verdict));
  }
}

void cCaptureWatch::TellStatus(const sProgress& now, bool isLast) {
  while (nextStatus <= now.elapsed) {
    nextStatus += kStatusInterval;
  }
  const bool isRare = !console.Manner().isTerminal && now.elapsed >= kEveryStatus + kStatusInterval;
  if (isLast || !isRare || SecondsOf(now.elapsed) % kEveryStatus.count() == 0) {
    console.ShowStatus(FormatStatus(now, previous));
  }
  console.Report(StatusEvent(host.Now(), now, RateOf(now, previous), printed.Counts().badFrames));
  previous = now;
}

void cCaptureWatch::SetMarkers(const std::string& path) {
  for (const sTypedLine& line : host.TypedLines()) {
    const auto text = MarkerTyped(line.text);
    if (!text) {
      console.Tell("Type m and a text to set a marker: m tunnel entry");
    } else if (AddMarker(path, {line.time, *text})) {
      console.Tell("Marker set: " + (text->empty() ? std::string("without a text") : Quote(*text)));
      console.Report(MarkerEvent(line.time, *text));
    } else {
      Warn(fmt::format("the marker could not be written into {}", MarkerPath(path)));
    }
  }
}

std::optional<eWatchEnd> cCaptureWatch::EndFor(eWatchEnd end, const std::string& why) {
  console.Tell(why);
  return end;
}

std::optional<eWatchEnd> cCaptureWatch::FindEnd(const sWatchedFile& file, const sProgress& now) {
  if (firstConnected && request.duration && now.elapsed >= *firstConnected + *request.duration) {
    return eWatchEnd::DurationOver;
  }
  if (const auto wait = request.LongestWait(); !firstConnected && wait && now.elapsed >= *wait) {
    console.Complain(fmt::format("{} was not connected within {}: the capture ends", request.device,
                                 FormatWait(*wait)));
    return eWatchEnd::NotConnected;
  }
  if (request.items != 0 && now.received >= request.items) {
    return EndFor(eWatchEnd::EnoughItems,
                  fmt::format("{} of the device {} captured: the capture ends",
                              FormatItems(now.received), now.received == 1 ? "is" : "are"));
  }
  if (request.size != 0 && now.bytes >= request.size) {
    return EndFor(eWatchEnd::EnoughBytes,
                  fmt::format("{} are captured: the capture ends", FormatBytes(now.bytes)));
  }
  if (const auto shortage = FindShortage(request, freeSpace)) {
    console.Complain(*shortage);
    return eWatchEnd::ShortOfRoom;
  }
  return IsFull(file, now) ? std::optional(eWatchEnd::FileFull) : std::nullopt;
}

bool cCaptureWatch::IsFull(const sWatchedFile& file, const sProgress& now) const {
  // A file into which the device has sent nothing goes on: otherwise a modem that is away for a
  // night would leave a row of empty files, and --keep would remove those that hold something for
  // them.
  if (now.received == file.earlierReceived) {
    return false;
  }
  return (request.rotateSize != 0 && now.bytes - file.earlierBytes >= request.rotateSize) ||
         (request.rotateTime && now.elapsed - file.began >= *request.rotateTime);
}

}  // namespace corvane::tools
