#include "reader/item_follower.h"

#include <array>
#include <tuple>
#include <utility>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

// What is recorded is given within a second, also when it has to be held back.
static_assert(kLookInterval * (cItemFollower::kMostHeldBack + 1) < 1000);

eFollowing cItemFollower::Look() {
  if (state != eFollowing::Going) {
    return state;
  }
  if (file == nullptr) {
    if (!Open()) {
      return state;
    }
  } else {
    file->Refresh();
  }
  if (file->Size() < size) {
    return Lose({"the file has become shorter while it was followed", file->Size()});
  }
  if (!IsSameCapture()) {
    return Lose({"another capture has taken the place of the one that was followed", {}});
  }
  size = file->Size();
  FindLimit();
  if (file->IsClosed() && limit == file->NumbersEnd()) {
    state = eFollowing::Closed;
  }
  return state;
}

// False while there is nothing to look at.
bool cItemFollower::Open() {
  std::string reason;
  std::unique_ptr<cFileSource> source = cFileSource::Open(name, reason);
  if (source == nullptr) {
    std::ignore = Lose({"the file cannot be opened (" + reason + ")", {}});
    return false;
  }
  // The recorder makes an empty file first.
  const std::optional<std::uint64_t> bytes = source->Size();
  if (bytes && *bytes < isf::kHeaderSize) {
    return false;
  }
  sCaptureError error;
  file = cCaptureFile::Open(std::move(source), error);
  if (file == nullptr) {
    std::ignore = Lose(std::move(error));
  }
  return file != nullptr;
}

// Whether the capture under the path is still this one. The time of its first item tells: another
// capture, in the same file or in a new one, begins later.
bool cItemFollower::IsSameCapture() {
  if (file->Blocks().empty()) {
    return true;
  }
  std::string reason;
  const std::unique_ptr<cFileSource> source = cFileSource::Open(name, reason);
  if (source == nullptr) {
    return true;  // removed or renamed; its recorder still has it open
  }
  std::array<std::uint8_t, isf::kBlockTailSize> tail{};
  const std::uint64_t place = isf::kHeaderSize + isf::kDirectorySize;
  if (source->ReadAt(place, tail) != tail.size()) {
    return false;
  }
  const std::uint64_t time = isf::LoadBlockTail(tail).baseTime;
  if (!firstTime) {
    firstTime = time;
  }
  return time == *firstTime;
}

eFollowing cItemFollower::Lose(sCaptureError why) {
  trouble = std::move(why);
  limit = next;
  return state = eFollowing::Lost;
}

void cItemFollower::FindLimit() {
  const std::uint64_t end = file->NumbersEnd();
  const sOddity odd{file->GapBytes(), file->PassedOver(), file->AllDamage().Count()};
  if (odd != accepted && heldForOddity < kMostHeldBack) {
    ++heldForOddity;
    return;
  }
  accepted = odd;
  heldForOddity = 0;

  // Behind the newest record stand the bytes of the next one, or of this one.
  const bool isProven = file->IsClosed() || file->Size() == file->ItemsEnd();
  if (isProven || end == limit) {
    limit = end;
    return;
  }
  heldForTail = heldItem == end ? heldForTail + 1 : 1;
  heldItem = end;
  limit = heldForTail > kMostHeldBack ? end : end - 1;
}

bool cItemFollower::Next(sCaptureItem& item) {
  while (next < limit) {
    const std::optional<std::uint64_t> number = file->NextItem(next);
    if (!number || *number >= limit) {
      next = limit;
      return false;
    }
    next = *number + 1;
    auto wrong = file->ReadItem(*number, item);
    if (!wrong) {
      return true;
    }
    if (!unreadable) {
      unreadable = std::move(wrong);
    }
  }
  return false;
}

}  // namespace corvane
