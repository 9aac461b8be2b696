#include "analysis/request_replies.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "analysis/command_names.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// Where replies tell what requests tell elsewhere, or not at all.
constexpr std::size_t kLogMaskReplyStatus = 8;  // 32 bits, 0 is success
constexpr std::size_t kLogMaskReplyEquipmentId = 12;
constexpr std::size_t kEventMaskReplyStatus = 1;  // one byte, 0 is success

[[nodiscard]] std::optional<std::uint32_t> LongAt(Packet packet, std::size_t offset) {
  return packet.size() >= offset + 4 ? std::optional(Load32(&packet[offset])) : std::nullopt;
}

[[nodiscard]] std::optional<std::uint32_t> ByteAt(Packet packet, std::size_t offset) {
  return packet.size() > offset ? std::optional<std::uint32_t>(packet[offset]) : std::nullopt;
}

// First and last SSID: 4 bytes that follow each other.
[[nodiscard]] std::optional<std::uint32_t> SsidsOf(Packet packet) {
  return ByteAt(packet, message_levels::kOperation) == message_levels::kSetAll
             ? std::nullopt
             : LongAt(packet, message_levels::kFirstSsid);
}

// Why a reply that is no refusal by its command refuses all the same; empty if it does not.
[[nodiscard]] std::string StatusRefusal(Packet reply) {
  std::optional<std::uint32_t> status;
  if (reply[0] == command::kLogMask) {
    status = LongAt(reply, kLogMaskReplyStatus);
  } else if (reply[0] == command::kEventMask) {
    status = ByteAt(reply, kEventMaskReplyStatus);
  }
  return status.value_or(0) == 0 ? std::string() : "status " + std::to_string(*status);
}

void KeepFirst(std::vector<sRequest>& requests, const sRequest& request) {
  if (requests.size() < cRequestReplies::kMostKept) {
    requests.push_back(request);
  }
}

}  // namespace

std::optional<std::uint64_t> sRequest::RoundTrip() const {
  return replyTime && *replyTime >= time ? std::optional(*replyTime - time) : std::nullopt;
}

bool cRequestReplies::sKey::Fits(const sKey& other) const {
  return command == other.command &&
         (!operation || !other.operation || *operation == *other.operation) &&
         (!subject || !other.subject || *subject == *other.subject);
}

cRequestReplies::sKey cRequestReplies::KeyOfRequest(Packet packet) {
  sKey key{packet[0], {}, {}};
  if (command::IsSubsystem(key.command)) {
    // The two forms of a subsystem's command differ in nothing that tells it apart.
    key.command = command::kSubsystem;
    if (packet.size() >= subsystem::kHeadSize) {
      key.operation = Load32(packet.data()) >> 8;
    }
  } else if (key.command == command::kLogMask) {
    key.operation = LongAt(packet, log_mask::kOperation);
    key.subject = LongAt(packet, log_mask::kEquipmentId);
  } else if (key.command == command::kMessageLevels) {
    key.operation = ByteAt(packet, message_levels::kOperation);
    key.subject = SsidsOf(packet);
  }
  return key;
}

cRequestReplies::sKey cRequestReplies::KeyOfReply(Packet packet) {
  sKey key = KeyOfRequest(packet);
  if (key.command == command::kLogMask) {
    key.subject = LongAt(packet, kLogMaskReplyEquipmentId);
  }
  return key;
}

void cRequestReplies::Add(const sCaptureItem& item, const sDescription& description) {
  switch (description.sort) {
    case eItemSort::Text:
      AddText(description);
      return;
    case eItemSort::Request:
    case eItemSort::Reply:
    case eItemSort::Unknown:
      break;
    default:
      return;
  }
  if (!description.command) {
    return;
  }
  const Packet packet = Unwrap(item.bytes).packet;
  if (description.sort == eItemSort::Request) {
    AddRequest(item, packet);
  } else {
    AddReply(item, packet, description);
  }
}

void cRequestReplies::AddText(const sDescription& description) {
  const sConnectionChange change = texts.Add(description.text);
  if (change.kind == eConnectionChange::Ended) {
    GiveUp(change.connection);
  } else if (change.replaced) {
    GiveUp(*change.replaced);
  }
}

void cRequestReplies::AddRequest(const sCaptureItem& item, Packet packet) {
  if (waiting.size() == kMostWaiting) {
    GiveUpOldest();
  }
  sWaiting added{KeyOfRequest(packet), {}, {}};
  added.request.number = item.number;
  added.request.time = item.time;
  added.request.connection = texts.Present();
  added.request.name = RequestName(packet);
  if (kept.size() < kMostKept) {
    added.place = kept.size();
    kept.push_back(added.request);
  }
  ++totals.sent;
  sNamedRequests& named = Named(added.request.name);
  named.first = named.totals.sent == 0 ? item.time : named.first;
  named.last = item.time;
  ++named.totals.sent;

  sSetUp* setUp = FindSetUp(texts.Present());
  if (setUp == nullptr) {
    const sSetUp begun{texts.Present(), {}, item.time, item.time, item.number, false};
    setUp = setUps.size() < kMostKept ? &setUps.emplace_back(begun) : &(newestSetUp = begun);
  }
  ++setUp->totals.sent;
  setUp->lastTime = item.time;
  setUp->newestRequest = item.number;
  ++waitingByCommand[added.key.command];
  waiting.push_back(std::move(added));
}

void cRequestReplies::AddReply(const sCaptureItem& item, Packet packet,
                               const sDescription& description) {
  std::string refusal(description.command->refusal);
  std::optional<sKey> key;
  if (refusal.empty()) {
    key = KeyOfReply(packet);
    refusal = StatusRefusal(packet);
  } else if (packet.size() > 1) {
    key = KeyOfRequest(packet.subspan(1));
  }
  const auto found = FindWaiting(key);
  if (found == waiting.end()) {
    ++repliesToNone;
  } else {
    Settle(found, item, refusal);
  }
}

std::deque<cRequestReplies::sWaiting>::iterator cRequestReplies::FindWaiting(
    const std::optional<sKey>& key) {
  const std::uint64_t connection = texts.Present();
  const auto isHere = [connection](const sWaiting& candidate) {
    return candidate.request.connection == connection;
  };
  if (!key) {
    const auto newest = std::find_if(waiting.rbegin(), waiting.rend(), isHere);
    return newest == waiting.rend() ? waiting.end() : std::prev(newest.base());
  }
  if (waitingByCommand[key->command] == 0) {
    return waiting.end();
  }
  return std::ranges::find_if(waiting, [&key, isHere](const sWaiting& candidate) {
    return isHere(candidate) && candidate.key.Fits(*key);
  });
}

void cRequestReplies::Settle(std::deque<sWaiting>::iterator found, const sCaptureItem& item,
                             const std::string& refusal) {
  sRequest& request = found->request;
  const bool isRefused = !refusal.empty();
  request.state = isRefused ? eRequestState::Refused : eRequestState::Answered;
  request.refusal = refusal;
  request.replyNumber = item.number;
  request.replyTime = item.time;

  const auto count = [isRefused](sRequestTotals& counted) {
    ++(isRefused ? counted.refused : counted.answered);
  };
  count(totals);
  sNamedRequests& named = Named(request.name);
  count(named.totals);
  if (const auto roundTrip = request.RoundTrip()) {
    named.roundTrips.Add(*roundTrip);
    roundTrips.Add(*roundTrip);
  }
  if (sSetUp* const setUp = FindSetUp(request.connection)) {
    count(setUp->totals);
    setUp->lastTime = item.time;
  }
  if (found->place) {
    kept[*found->place] = request;
  }
  if (isRefused) {
    KeepFirst(refused, request);
  }
  Forget(found);
}

void cRequestReplies::GiveUp(std::uint64_t connection) {
  if (sSetUp* const setUp = FindSetUp(connection)) {
    setUp->isOver = true;
  }
  std::erase_if(waiting, [this, connection](const sWaiting& each) {
    if (each.request.connection != connection) {
      return false;
    }
    KeepFirst(givenUp, each.request);
    --waitingByCommand[each.key.command];
    return true;
  });
}

void cRequestReplies::GiveUpOldest() {
  KeepFirst(givenUp, waiting.front().request);
  Forget(waiting.begin());
}

void cRequestReplies::Forget(std::deque<sWaiting>::iterator found) {
  --waitingByCommand[found->key.command];
  waiting.erase(found);
}

sNamedRequests& cRequestReplies::Named(const std::string& name) {
  const auto found = byName.find(name);
  if (found != byName.end()) {
    return found->second;
  }
  return byName.size() < kMostNames ? byName[name] : otherNames;
}

const sSetUp* cRequestReplies::FindSetUp(std::uint64_t connection) const {
  if (newestSetUp.totals.sent != 0 && newestSetUp.connection == connection) {
    return newestSetUp.isOver ? nullptr : &newestSetUp;
  }
  // The one that is wanted is the newest, or one of the few that are open beside it.
  const auto found = std::find_if(
      setUps.rbegin(), setUps.rend(),
      [connection](const sSetUp& candidate) { return candidate.connection == connection; });
  return found == setUps.rend() || found->isOver ? nullptr : &*found;
}

sSetUp* cRequestReplies::FindSetUp(std::uint64_t connection) {
  return const_cast<sSetUp*>(std::as_const(*this).FindSetUp(connection));
}

std::vector<sRequest> cRequestReplies::Unanswered() const {
  std::vector<sRequest> all = givenUp;
  for (const sWaiting& each : waiting) {
    KeepFirst(all, each.request);
  }
  std::ranges::sort(all, {}, &sRequest::number);
  return all;
}

const sSetUp* cRequestReplies::Present() const { return FindSetUp(texts.Present()); }

const sRequest* cRequestReplies::Waiting() const {
  const sSetUp* const setUp = Present();
  const auto newest = std::find_if(waiting.rbegin(), waiting.rend(), [this](const sWaiting& each) {
    return each.request.connection == texts.Present();
  });
  const bool isInFlight = newest != waiting.rend() && setUp != nullptr &&
                          newest->request.number == setUp->newestRequest;
  return isInFlight ? &newest->request : nullptr;
}

}  // namespace corvane
