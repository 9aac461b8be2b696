#include "convert/segment_join.h"

#include <tuple>
#include <utility>

#include "describe/ip_packet.h"
#include "describe/message_names.h"
#include "describe/nr_messages.h"

namespace corvane {
namespace {

// The longest packet of IPv6 that is no jumbogram. RRC messages are shorter.
constexpr std::size_t kLongestMessage = 40 + 65535;

// Whether the part begins a message, where none waits for it.
[[nodiscard]] bool IsFirstPart(const sSignalling& part) {
  if (part.syntax != eSyntax::Ip) {
    return part.segmentNumber == 1;
  }
  // Segment 1 shows whether a log counts from 0 or from 1: it begins a packet, or does not.
  return part.segmentNumber == 0 ||
         (part.segmentNumber == 1 && StatedIpLength(part.message) >= part.message.size());
}

[[nodiscard]] bool IsLastPart(const sSignalling& part) { return part.segment == eSegment::Last; }

}  // namespace

std::optional<sJoinedMessage> cSegmentJoin::Add(const sSource& source, std::uint64_t item,
                                                const sDescription& description) {
  if (!description.signalling || !description.logCode) {
    return std::nullopt;
  }
  const sSignalling& part = *description.signalling;
  const bool isWhole = part.segment == eSegment::Whole;
  if (isWhole && messages.Entries().empty()) {
    return std::nullopt;
  }
  const sKey key{source,           {*description.logCode, description.version},
                 part.channel,     part.link,
                 part.radioBearer, part.packetNumber};
  if (isWhole) {
    Drop(key);
    return std::nullopt;
  }
  if (!Continue(key, item, part) || !IsLastPart(part)) {
    return std::nullopt;
  }
  return Take(key, description);
}

bool cSegmentJoin::Continue(const sKey& key, std::uint64_t item, const sSignalling& part) {
  sMessage* const message = messages.Find(key);
  const bool isWaiting = message != nullptr && !message->broken;
  // The last part of an RRC message has a number of its own.
  const bool isWanted = isWaiting && (part.segmentNumber == message->next ||
                                      (part.syntax != eSyntax::Ip && IsLastPart(part)));
  if (isWanted && message->signalling.message.size() + part.message.size() <= kLongestMessage) {
    message->signalling.message.insert(message->signalling.message.end(), part.message.begin(),
                                       part.message.end());
    message->items.push_back(item);
    ++message->next;
    return true;
  }
  if (!isWanted && IsFirstPart(part)) {
    Drop(key);
    Keep(key, {part, {item}, part.segmentNumber + 1u});
    return true;
  }
  Break(key, message, part);
  return false;
}

void cSegmentJoin::Break(const sKey& key, const sMessage* message, const sSignalling& part) {
  // The parts behind the missing one are of the message that was counted at the first of them.
  if (message == nullptr || !message->broken) {
    ++dropped[key.log];
  }
  if (IsLastPart(part)) {
    messages.Erase(key);
    return;
  }
  sMessage rest;
  rest.broken = true;
  Keep(key, std::move(rest));
}

void cSegmentJoin::Keep(const sKey& key, sMessage message) {
  const auto forgotten = messages.Put(key, std::move(message));
  if (forgotten && !forgotten->second.broken) {
    ++dropped[forgotten->first.log];
  }
}

void cSegmentJoin::Drop(const sKey& key) {
  const sMessage* const message = messages.Find(key);
  if (message == nullptr) {
    return;
  }
  if (!message->broken) {
    ++dropped[key.log];
  }
  messages.Erase(key);
}

sJoinedMessage cSegmentJoin::Take(const sKey& key, const sDescription& last) {
  sMessage& message = *messages.Find(key);
  sJoinedMessage joined{std::move(message.signalling), std::move(message.items), last.modemTime};
  messages.Erase(key);
  joined.signalling.segment = eSegment::Whole;
  joined.signalling.segmentNumber = 0;
  PutIntoChannel(joined.signalling);
  joined.signalling.messageName = MessageName(joined.signalling.syntax, joined.signalling.message);
  return joined;
}

std::map<sLogLayout, std::uint64_t> cSegmentJoin::Incomplete() const {
  auto counts = dropped;
  for (const auto& [key, message] : messages.Entries()) {
    if (!message.broken) {
      ++counts[key.log];
    }
  }
  return counts;
}

}  // namespace corvane
