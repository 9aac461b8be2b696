#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "analysis/request_replies.h"
#include "capture/isf/layout.h"
#include "corvane/capture/disk_room.h"
#include "reader/capture_file.h"

// How far a running capture has come. All that is known of it stands in the growing capture file,
// which is read as any other program could read it.
namespace corvane::tools {

// The user is told of a device that is connected and sends nothing for so long, of a set-up that
// does not go on, and of a COM port that does not exist so long after the start.
inline constexpr std::chrono::milliseconds kPatience = std::chrono::seconds(5);

// How far the modem's set-up has come: the requests of the present connection.
struct sSetUpProgress {
  std::uint64_t wanted = 0;  // requests for each connection
  std::uint64_t sent = 0;
  std::uint64_t answered = 0;
  std::uint64_t refused = 0;
  // How long the newest request has been without a reply; nothing when none waits.
  std::optional<std::chrono::milliseconds> waiting = {};
  // How long the next request has not been sent, though no reply is awaited; nothing when one is,
  // or when all were sent.
  std::optional<std::chrono::milliseconds> idle = {};

  // All were sent, and nothing is awaited any more.
  [[nodiscard]] bool IsComplete() const { return wanted != 0 && sent >= wanted && !waiting; }
  [[nodiscard]] bool IsStuck() const {
    return (waiting && *waiting >= kPatience) || (idle && *idle >= kPatience);
  }
};

struct sProgress {
  std::chrono::milliseconds elapsed{};  // since the capture was started
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;              // of the capture file
  std::chrono::milliseconds silence{};  // since the connected device sent something; 0 without one
  std::uint64_t received = 0;           // items of the device
  bool isConnected = false;
  sSetUpProgress setUp = {};  // of the present connection
  eDiskRoom disk = eDiskRoom::Enough;
};

// The port came or went.
struct sPortChange {
  bool connected = false;
  std::uint64_t time = 0;  // of its item, in milliseconds since 1601-01-01 UTC
};

// A stretch of time in which the device sent nothing, of kPatience or longer: between two items of
// it, or from its last to the end of the capture.
struct sSilence {
  std::uint64_t from = 0;  // milliseconds since 1601-01-01 UTC
  std::uint64_t to = 0;
};

// Follows the growth of a capture file. Of the items only those are read that tell of the
// connection and of requests; logs, events and messages, which come by the hundred thousand, are
// counted by their directory entries.
class cCaptureFollower {
 public:
  // A file that cannot be opened stays without items. `requests` is how many of them each
  // connection begins with.
  explicit cCaptureFollower(const std::string& path, std::size_t requests = 0);

  // How far the capture has come, `elapsed` after its start. Takes up what was written since the
  // last call.
  [[nodiscard]] sProgress Follow(std::chrono::milliseconds elapsed);
  // The same once more, when nobody writes the file any longer: the newest item, too.
  [[nodiscard]] sProgress FollowToEnd(std::chrono::milliseconds elapsed);

  // Whether the device was connected when the file was last looked at.
  [[nodiscard]] bool IsConnected() const { return connectedOrHeard.has_value(); }

  // What happened to the port since the last call, oldest first.
  [[nodiscard]] std::vector<sPortChange> TakePortChanges();

  [[nodiscard]] const std::array<std::uint64_t, isf::kItemTypes>& ItemsByType() const {
    return byType;
  }
  // All items that were taken up, and those of the device among them.
  [[nodiscard]] std::uint64_t ItemCount() const {
    return std::accumulate(byType.begin(), byType.end(), std::uint64_t{0});
  }
  [[nodiscard]] std::uint64_t Received() const { return received; }
  [[nodiscard]] std::uint64_t Connections() const { return connections; }
  [[nodiscard]] const cRequestReplies& Requests() const { return requests; }
  // The first kMostSilences, and how many there were.
  [[nodiscard]] const std::vector<sSilence>& Silences() const { return silences; }
  [[nodiscard]] std::uint64_t SilenceCount() const { return silenceCount; }
  // Times of the first and the last item that the device sent; nothing when it sent none.
  [[nodiscard]] std::optional<std::uint64_t> FirstReceived();
  [[nodiscard]] std::optional<std::uint64_t> LastReceived();

  static constexpr std::size_t kMostSilences = 100;

 private:
  [[nodiscard]] sProgress FollowTo(std::chrono::milliseconds elapsed, bool isEnd);
  void TakeUpTo(std::uint64_t end, std::chrono::milliseconds elapsed);
  void TakeItem(std::uint64_t number, std::uint32_t type, std::chrono::milliseconds elapsed);
  void TakeReceived(std::uint64_t number, std::chrono::milliseconds elapsed);
  void ReadFully(std::uint64_t number, std::chrono::milliseconds elapsed);
  void Connect(std::uint64_t time, std::chrono::milliseconds elapsed);
  [[nodiscard]] sSetUpProgress SetUp(std::chrono::milliseconds elapsed);
  [[nodiscard]] std::chrono::milliseconds IdleTime(std::uint64_t sent,
                                                   std::chrono::milliseconds elapsed);
  [[nodiscard]] std::optional<std::uint64_t> TimeOf(std::optional<std::uint64_t> number);

  std::unique_ptr<cCaptureFile> file;
  const std::uint64_t wantedRequests;
  std::uint64_t next = 0;     // number of the first item that was not taken up
  std::uint64_t lastEnd = 0;  // one more than the newest number at the last look
  // When the device was connected, or sent something after that. Nothing while it is not connected.
  std::optional<std::chrono::milliseconds> connectedOrHeard;
  std::optional<std::chrono::milliseconds> lastHeard;  // from whichever connection
  std::array<std::uint64_t, isf::kItemTypes> byType{};
  std::uint64_t received = 0;
  std::optional<std::uint64_t> firstReceived;  // item numbers
  std::optional<std::uint64_t> lastReceived;
  std::uint64_t connections = 0;
  std::vector<sPortChange> portChanges;
  cRequestReplies requests;
  std::optional<std::uint64_t> waitingRequest;  // number of its item
  std::chrono::milliseconds waitingSince{};
  // Since when the set-up has been where it is, without a request that waits.
  struct sIdle {
    std::uint64_t connection = 0;
    std::uint64_t sent = 0;
    std::chrono::milliseconds since{};
  };
  std::optional<sIdle> idle;
  std::vector<sSilence> silences;
  std::uint64_t silenceCount = 0;
  sCaptureItem item;
};

}  // namespace corvane::tools
