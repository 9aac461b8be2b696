#include "corvane/capture/capture_watch.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <vector>

#include "capture/isf/layout.h"
#include "corvane/capture/capture_checks.h"
#include "corvane/command/readable_text.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStatusInterval(1000);

// What an item tells of the connection.
enum class eSign { None, Connected, Disconnected, Received };

// The library's own texts about the port are "Port COM7 connected" and "Port COM7 disconnected".
[[nodiscard]] eSign SignOfText(const std::optional<std::string>& text) {
  if (!text || !text->starts_with("Port ")) {
    return eSign::None;
  }
  if (text->ends_with(" connected")) {
    return eSign::Connected;
  }
  return text->ends_with(" disconnected") ? eSign::Disconnected : eSign::None;
}

[[nodiscard]] eSign SignOf(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kInformationItem:
      return SignOfText(isf::LoadTextItem(item.bytes));
    case isf::kRequestItem:
    case isf::kSubsystemRequestItem:
      return eSign::None;
    default:
      return eSign::Received;
  }
}

// The line that tells how far the capture has come.
class cStatusLine final : public cCaptureReporter {
 public:
  cStatusLine(std::ostream& stream, bool terminal) : output(stream), isTerminal(terminal) {}

  // In a terminal the library's own messages stand behind the line that was current when they came.
  void Show(const sProgress& now) {
    const std::string line = FormatStatus(now, previous);
    previous = now;
    if (!isTerminal) {
      output << line << '\n' << std::flush;
      return;
    }
    // Blanks wipe out what is left of a longer line.
    const std::size_t leftOver = length > line.size() ? length - line.size() : 0;
    output << '\r' << line << std::string(leftOver + 2, ' ') << std::flush;
    length = line.size();
  }

  // A line of its own, behind the status line, which begins anew.
  void Tell(const std::string& text) override {
    End();
    output << text << '\n' << std::flush;
  }
  void Complain(const std::string& problem) override { Tell("corvane capture: " + problem); }

  // Ends the status line that stands in the terminal.
  void End() {
    if (length != 0) {
      output << '\n' << std::flush;
    }
    length = 0;
  }

 private:
  std::ostream& output;
  const bool isTerminal;
  std::size_t length = 0;  // of the line that stands in the terminal
  sProgress previous;
};

// The room on the disk of the capture, where it matters.
[[nodiscard]] std::optional<std::uint64_t> FreeSpaceFor(const sCaptureRequest& request,
                                                        cCaptureHost& host) {
  return request.stopBelow == 0 ? std::nullopt : host.FreeSpace(request.output);
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
  const std::uint64_t newItems = now.items < previous.items ? 0 : now.items - previous.items;
  const auto milliseconds = (now.elapsed - previous.elapsed).count();
  const double rate = milliseconds <= 0 ? 0.0
                                        : static_cast<double>(newItems) * 1000.0 /
                                              static_cast<double>(milliseconds);
  std::string line = fmt::format("{}  {}  {}  {:.0f} items/s", FormatElapsed(now.elapsed),
                                 FormatItems(now.items), FormatBytes(now.bytes), rate);
  if (now.silence >= kPatience) {
    line += fmt::format("  nothing received for {} s",
                        std::chrono::floor<std::chrono::seconds>(now.silence).count());
  }
  return line;
}

cCaptureFollower::cCaptureFollower(const std::string& path) {
  sCaptureError error;  // the capture's end tells what is wrong with its file
  file = cCaptureFile::Open(path, error);
}

sProgress cCaptureFollower::Follow(milliseconds elapsed) {
  sProgress now;
  now.elapsed = elapsed;
  if (file == nullptr) {
    return now;
  }
  file->Refresh();
  now.items = file->ItemCount();
  now.bytes = file->Size();
  LookAtNewItems(elapsed);
  if (connectedOrHeard) {
    now.silence = elapsed - *connectedOrHeard;
  }
  return now;
}

void cCaptureFollower::LookAtNewItems(milliseconds elapsed) {
  // The newest item that tells anything decides. It is found at once while the device sends: then
  // the newest of all is a packet, and the thousands before it need not be read.
  sCaptureItem item;
  for (std::uint64_t number = file->ItemCount(); number > seenItems;) {
    if (file->ReadItem(--number, item)) {
      continue;  // an item that cannot be read tells nothing
    }
    const eSign sign = SignOf(item);
    if (sign == eSign::None) {
      continue;
    }
    connectedOrHeard = sign == eSign::Disconnected ? std::nullopt : std::optional(elapsed);
    break;
  }
  seenItems = file->ItemCount();
}

void WatchCapture(const sCaptureRequest& request, cCaptureHost& host, cDevicePresence& presence,
                  std::ostream& status, bool isTerminal) {
  cCaptureFollower follower(request.output);
  cStatusLine line(status, isTerminal);
  while (true) {
    milliseconds wait = kStatusInterval;
    if (request.duration) {
      wait = std::clamp(*request.duration - host.Elapsed(), milliseconds(0), kStatusInterval);
    }
    const bool stopped = host.WaitForStop(wait);
    const milliseconds elapsed = host.Elapsed();
    const bool over = request.duration && elapsed >= *request.duration;
    const sProgress now = follower.Follow(elapsed);
    line.Show(now);
    if (stopped || over) {
      line.End();
      return;
    }
    if (const auto shortage = FindShortage(request, FreeSpaceFor(request, host))) {
      line.Complain(*shortage);
      return;
    }
    presence.Look(follower.IsConnected(), line);
  }
}

}  // namespace corvane::tools
