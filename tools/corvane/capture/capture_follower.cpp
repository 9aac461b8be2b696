#include "corvane/capture/capture_follower.h"

#include <utility>

#include "convert/item_description.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

// What the recorder's texts tell of the port: "Port COM7 connected", "Port COM7 disconnected".
enum class eSign { None, Connected, Disconnected };

[[nodiscard]] eSign SignOfText(const std::optional<std::string>& text) {
  if (!text || !text->starts_with("Port ")) {
    return eSign::None;
  }
  if (text->ends_with(" connected")) {
    return eSign::Connected;
  }
  return text->ends_with(" disconnected") ? eSign::Disconnected : eSign::None;
}

[[nodiscard]] bool IsRequest(std::uint32_t type) {
  return type == isf::kRequestItem || type == isf::kSubsystemRequestItem;
}

// Replies are packets of these types; everything else that the device sends is sent on its own.
[[nodiscard]] bool MayBeReply(std::uint32_t type) {
  return type == isf::kPacketItem || type == isf::kSubsystemItem;
}

}  // namespace

cCaptureFollower::cCaptureFollower(const std::string& path, std::size_t requestCount)
    : wantedRequests(requestCount) {
  sCaptureError error;  // the capture's end tells what is wrong with its file
  file = cCaptureFile::Open(path, error);
}

sProgress cCaptureFollower::Follow(milliseconds elapsed) { return FollowTo(elapsed, false); }

sProgress cCaptureFollower::FollowToEnd(milliseconds elapsed) { return FollowTo(elapsed, true); }

sProgress cCaptureFollower::FollowTo(milliseconds elapsed, bool isEnd) {
  sProgress now;
  now.elapsed = elapsed;
  if (file == nullptr) {
    return now;
  }
  file->Refresh();
  now.items = file->ItemCount();
  now.bytes = file->Size();
  // An entry can be read while half of it is written, and then describes a shorter record than
  // there is. The newest item is whole when its record ends where the file does, or when it was
  // there at the look before.
  const std::uint64_t end = file->NumbersEnd();
  const bool isWhole =
      isEnd || file->IsClosed() || file->Size() == file->ItemsEnd() || end == lastEnd;
  lastEnd = end;
  TakeUpTo(isWhole || end == 0 ? end : end - 1, elapsed);
  if (connectedOrHeard) {
    now.silence = elapsed - *connectedOrHeard;
  }
  now.received = received;
  now.isConnected = IsConnected();
  now.setUp = SetUp(elapsed);
  return now;
}

void cCaptureFollower::TakeUpTo(std::uint64_t end, milliseconds elapsed) {
  while (next < end) {
    const std::optional<std::uint64_t> number = file->NextItem(next);
    if (!number || *number >= end) {
      next = end;
      return;
    }
    next = *number + 1;
    if (const auto type = file->TypeOf(*number)) {
      TakeItem(*number, *type, elapsed);
    }
  }
}

void cCaptureFollower::TakeItem(std::uint64_t number, std::uint32_t type, milliseconds elapsed) {
  ++byType[type];
  if (type == isf::kInformationItem || IsRequest(type) || MayBeReply(type)) {
    ReadFully(number, elapsed);
  }
  if (type != isf::kInformationItem && !IsRequest(type)) {
    TakeReceived(number, elapsed);
  }
}

void cCaptureFollower::TakeReceived(std::uint64_t number, milliseconds elapsed) {
  if (lastHeard && elapsed - *lastHeard >= kPatience) {
    const auto from = LastReceived();
    const auto to = TimeOf(number);
    ++silenceCount;
    if (from && to && silences.size() < kMostSilences) {
      silences.push_back({*from, *to});
    }
  }
  ++received;
  lastReceived = number;
  if (!firstReceived) {
    firstReceived = number;
  }
  lastHeard = elapsed;
  connectedOrHeard = elapsed;
}

void cCaptureFollower::ReadFully(std::uint64_t number, milliseconds elapsed) {
  if (file->ReadItem(number, item)) {
    return;  // an item that cannot be read tells nothing
  }
  if (item.type == isf::kInformationItem) {
    const eSign sign = SignOfText(isf::LoadTextItem(item.bytes));
    if (sign == eSign::Connected) {
      Connect(item.time, elapsed);
    } else if (sign == eSign::Disconnected) {
      connectedOrHeard.reset();
      portChanges.push_back({false, item.time});
    }
  } else if (IsRequest(item.type) && connections == 0) {
    Connect(item.time, elapsed);  // a device name so long that the texts about it are left out
  }
  requests.Add(item, DescribeItem(item));
}

void cCaptureFollower::Connect(std::uint64_t time, milliseconds elapsed) {
  ++connections;
  connectedOrHeard = elapsed;
  portChanges.push_back({true, time});
}

sSetUpProgress cCaptureFollower::SetUp(milliseconds elapsed) {
  sSetUpProgress progress;
  progress.wanted = wantedRequests;
  if (const sSetUp* const present = requests.Present(); present != nullptr && !present->isOver) {
    progress.sent = present->totals.sent;
    progress.answered = present->totals.answered;
    progress.refused = present->totals.refused;
  }
  const sRequest* const waiting = requests.Waiting();
  if (waiting == nullptr || !IsConnected()) {
    waitingRequest.reset();
    if (IsConnected() && progress.sent < wantedRequests) {
      progress.idle = IdleTime(progress.sent, elapsed);
    } else {
      idle.reset();
    }
    return progress;
  }
  idle.reset();
  if (waitingRequest != waiting->number) {
    waitingRequest = waiting->number;
    waitingSince = elapsed;
  }
  progress.waiting = elapsed - waitingSince;
  return progress;
}

milliseconds cCaptureFollower::IdleTime(std::uint64_t sent, milliseconds elapsed) {
  if (!idle || idle->connection != connections || idle->sent != sent) {
    idle = sIdle{connections, sent, elapsed};
  }
  return elapsed - idle->since;
}

std::vector<sPortChange> cCaptureFollower::TakePortChanges() {
  return std::exchange(portChanges, {});
}

std::optional<std::uint64_t> cCaptureFollower::FirstReceived() { return TimeOf(firstReceived); }

std::optional<std::uint64_t> cCaptureFollower::LastReceived() { return TimeOf(lastReceived); }

std::optional<std::uint64_t> cCaptureFollower::TimeOf(std::optional<std::uint64_t> number) {
  std::uint64_t time = 0;
  if (!number || file->ReadTime(*number, time)) {
    return std::nullopt;
  }
  return time;
}

}  // namespace corvane::tools
