#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"
#include "corvane/capture/device_presence.h"
#include "reader/capture_file.h"

// A running capture as its user sees it, until it is to end. All that is known of it stands in the
// growing capture file, which is read as any other program could read it.
namespace corvane::tools {

// The user is told of a device that is connected and sends nothing for so long, and of a COM port
// that does not exist so long after the start.
inline constexpr std::chrono::milliseconds kPatience = std::chrono::seconds(5);

// How far a capture has come.
struct sProgress {
  std::chrono::milliseconds elapsed{};  // since the capture was started
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;              // of the capture file
  std::chrono::milliseconds silence{};  // since the connected device sent something; 0 without one
};

// One line for the user: "0:00:07  1,204 items  118.4 kB  171 items/s", without a line break. The
// rate is that since `previous`; 0 when no time has passed. A silence of kPatience or more is
// added: "  nothing received for 5 s".
[[nodiscard]] std::string FormatStatus(const sProgress& now, const sProgress& previous);

// Follows the growth of a capture file.
class cCaptureFollower {
 public:
  // A file that cannot be opened stays without items.
  explicit cCaptureFollower(const std::string& path);

  // How far the capture has come, `elapsed` after its start. Takes up what was written since the
  // last call.
  [[nodiscard]] sProgress Follow(std::chrono::milliseconds elapsed);

  // Whether the device was connected when the file was last looked at.
  [[nodiscard]] bool IsConnected() const { return connectedOrHeard.has_value(); }

 private:
  void LookAtNewItems(std::chrono::milliseconds elapsed);

  std::unique_ptr<cCaptureFile> file;
  std::uint64_t seenItems = 0;
  // When the device was connected, or sent something after that. Nothing while it is not connected.
  std::optional<std::chrono::milliseconds> connectedOrHeard;
};

// Why the capture has to end so that its file can still be completed, as a sentence for the user,
// or nothing.
[[nodiscard]] std::optional<std::string> FindShortage(const sCaptureRequest& request,
                                                      std::optional<std::uint64_t> freeSpace);

// Returns when the capture is to end: a stop is requested, its duration is over, or its disk has
// less room than it was asked to leave. Writes a status line every second to `status`; in a
// terminal each takes the place of the one before. Tells there of a disk without room, and once of
// a COM port that does not exist.
void WatchCapture(const sCaptureRequest& request, cCaptureHost& host, cDevicePresence& presence,
                  std::ostream& status, bool isTerminal);

}  // namespace corvane::tools
