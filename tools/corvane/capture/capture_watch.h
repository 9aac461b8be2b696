#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "corvane/capture/capture_console.h"
#include "corvane/capture/capture_follower.h"
#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"
#include "corvane/capture/device_presence.h"
#include "corvane/capture/disk_room.h"
#include "corvane/capture/printed_lines.h"

// A running capture as its user sees it, until it is to end.
namespace corvane::tools {

// One line for the user: "0:00:07  1,204 items  118.4 kB  171 items/s  set-up 12 of 18", without a
// line break. The rate is that since `previous`; 0 when no time has passed. A silence of kPatience
// or more is added: "  nothing received for 5 s".
[[nodiscard]] std::string FormatStatus(const sProgress& now, const sProgress& previous);

// Why the capture has to end so that its file can still be completed, as a sentence for the user,
// or nothing.
[[nodiscard]] std::optional<std::string> FindShortage(const sCaptureRequest& request,
                                                      std::optional<std::uint64_t> freeSpace);

// Why a capture, or one file of it, ends.
enum class eWatchEnd {
  StopRequested,
  DurationOver,
  NotConnected,  // within the time that it was waited for
  EnoughItems,
  EnoughBytes,
  ShortOfRoom,
  FileFull,  // it goes on in the next file
};
// "requested", "duration", "no_connection", "items", "size", "disk" and "file_full".
[[nodiscard]] const char* ReasonName(eWatchEnd end);

// The file that is captured into, and what came before it.
struct sWatchedFile {
  std::string path;
  std::chrono::milliseconds began{};  // since the start of the capture
  std::uint64_t earlierItems = 0;     // in the files before
  std::uint64_t earlierBytes = 0;
  std::uint64_t earlierReceived = 0;
  std::function<void()> afterLook = {};  // called after each look at the file
};

class cCaptureWatch {
 public:
  // None of these is owned, and all must outlive this.
  cCaptureWatch(const sCaptureRequest& wanted, cCaptureHost& machine, cDevicePresence& device,
                cCaptureConsole& terminal, const cPrintedLines& printedLines)
      : request(wanted),
        host(machine),
        presence(device),
        console(terminal),
        printed(printedLines) {}

  // Returns when the capture is to end, or the file is full. Tells meanwhile how far it has come,
  // and of everything that the user should know of; sets the markers that the user types.
  [[nodiscard]] eWatchEnd Watch(const sWatchedFile& file, cCaptureFollower& follower);

  // The set-up of the newest connection, as long as it was there.
  [[nodiscard]] const sSetUpProgress& LastSetUp() const { return lastSetUp; }
  // Whether the disk took nothing more at any time.
  [[nodiscard]] bool WasDiskFull() const { return disk.WasNone(); }
  // A problem of the running capture, for the user and for the supervisor.
  void Warn(const std::string& text);

 private:
  using milliseconds = std::chrono::milliseconds;

  [[nodiscard]] milliseconds NextWait() const;
  [[nodiscard]] sProgress LookAt(const sWatchedFile& file, cCaptureFollower& follower);
  void LookAtDisk(const sWatchedFile& file, sProgress& now);
  void TellPortChanges(cCaptureFollower& follower, milliseconds elapsed);
  void TellSetUp(const sProgress& now, const cRequestReplies& requests);
  void TellStatus(const sProgress& now, bool isLast);
  void SetMarkers(const std::string& path);
  [[nodiscard]] std::optional<eWatchEnd> FindEnd(const sWatchedFile& file, const sProgress& now);
  [[nodiscard]] bool IsFull(const sWatchedFile& file, const sProgress& now) const;
  [[nodiscard]] std::optional<eWatchEnd> EndFor(eWatchEnd end, const std::string& why);

  const sCaptureRequest& request;
  cCaptureHost& host;
  cDevicePresence& presence;
  cCaptureConsole& console;
  const cPrintedLines& printed;

  std::optional<milliseconds> firstConnected;
  milliseconds nextStatus = std::chrono::seconds(1);
  sProgress previous;  // of the status before
  sSetUpProgress lastSetUp;
  bool toldSetUp = false;  // of the present connection
  bool toldStuck = false;

  std::optional<std::uint64_t> freeSpace;  // at the last look
  cDiskRoom disk;
};

}  // namespace corvane::tools
