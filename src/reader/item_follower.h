#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "reader/capture_file.h"

namespace corvane {

// How often a follower that is waiting should look at its file, in milliseconds.
inline constexpr int kLookInterval = 100;

enum class eFollowing {
  Going,   // more may be written
  Closed,  // the file has its trailer: once the items that are there are taken, there are no more
  Lost,    // the capture cannot be followed any further, and Trouble() says why
};

// Follows a capture file that another process writes, and gives each of its items once, in the
// order of their numbers.
//
// The recorder writes a record first and its directory entry after it, so an item that a whole
// entry leads to is whole. An entry can be read while half of it is written; it then describes a
// shorter record than there is. So the newest item is given as soon as its record ends where the
// file ends, or where the next record begins. What cannot be proven that way, such as an item
// before a torn write on a full disk, is given unchanged after kMostHeldBack looks.
//
// A file whose recorder has died never ends: it is Going for ever. Not for use from two threads at
// once.
class cItemFollower {
 public:
  // How many looks a doubtful item is held back for.
  static constexpr int kMostHeldBack = 5;

  // `path` is an 8-bit path as the system takes it. The file need not have its header yet, but it
  // must exist.
  explicit cItemFollower(std::string path) : name(std::move(path)) {}

  // Looks at the file: takes up what was written since the last call. After Lost, or Closed, the
  // answer stays the same. The capture is lost when the file cannot be opened, is none, has become
  // shorter, or when another capture has taken its place under its path. A file that is removed or
  // renamed while it is written goes on being followed.
  [[nodiscard]] eFollowing Look();

  // Takes the next item that was there at the last look into `item`, whose memory is reused. False
  // when there is none. Items that cannot be read are passed over.
  [[nodiscard]] bool Next(sCaptureItem& item);

  // Why the capture was lost; nothing unless it was.
  [[nodiscard]] const std::optional<sCaptureError>& Trouble() const { return trouble; }
  // The first item that could not be read.
  [[nodiscard]] const std::optional<sCaptureError>& Unreadable() const { return unreadable; }
  // The file as it was at the last look; null while it has no header.
  [[nodiscard]] const cCaptureFile* File() const { return file.get(); }

 private:
  // What makes the newest items doubtful.
  struct sOddity {
    std::uint64_t gapBytes = 0;
    std::uint64_t passedOver = 0;
    std::uint64_t wrong = 0;  // places that are wrong

    friend bool operator==(const sOddity&, const sOddity&) = default;
  };

  [[nodiscard]] bool Open();
  [[nodiscard]] bool IsSameCapture();
  [[nodiscard]] eFollowing Lose(sCaptureError why);
  void FindLimit();

  const std::string name;
  std::unique_ptr<cCaptureFile> file;
  eFollowing state = eFollowing::Going;
  std::optional<sCaptureError> trouble;
  std::optional<sCaptureError> unreadable;

  std::uint64_t size = 0;                  // at the last look
  std::optional<std::uint64_t> firstTime;  // of the first block, as it stands there
  std::uint64_t next = 0;                  // the number of the next item to give, or one before it
  std::uint64_t limit = 0;                 // items from this number on are not given yet
  sOddity accepted;                        // is no reason any more to hold items back
  int heldForOddity = 0;                   // looks
  std::uint64_t heldItem = 0;              // one more than the number of the newest item, held back
  int heldForTail = 0;                     // looks
};

}  // namespace corvane
