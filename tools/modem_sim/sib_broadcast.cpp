#include "modem_sim/sib_broadcast.h"

#include <algorithm>
#include <array>

namespace corvane::modem_sim {
namespace {

constexpr std::array<std::uint8_t, 3> kBearers = {0, 1, 7};
constexpr double kRepeatPercent = 3;
constexpr double kSwapPercent = 6;
constexpr double kEndsWithoutLastPercent = 6;
constexpr std::size_t kMaxListItems = 16;

void PutRandomBits(cRandom& random, cBitString& bits, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    bits.Put(static_cast<std::uint32_t>(random.Below(2)), 1);
  }
}

bool IsLed(eSibChoice choice) {
  return choice != kFirstSegment && choice != kCompleteSibList && choice != kCompleteAndFirst &&
         choice != kCompleteSib;
}

bool HasList(eSibChoice choice) {
  return choice >= kLastAndComplete && choice <= kCompleteAndFirst;
}

bool EndsWithFirst(eSibChoice choice) {
  return choice == kFirstSegment || choice == kLastAndFirst || choice == kLastAndCompleteAndFirst ||
         choice == kCompleteAndFirst;
}

// A block of one part, complete in its message.
sSibMessage::sPart WholePart(cRandom& random, const sSibMessage& message, unsigned sibType,
                             std::size_t bits) {
  auto block = std::make_shared<sSourceBlock>();
  block->channel = message.channel;
  block->bearer = message.bearer;
  block->sibType = sibType;
  PutRandomBits(random, block->data, bits);
  block->ends = {bits};
  return {std::move(block), 0, eSibRole::Complete};
}

// Appends a list of blocks that takes at most `room` bits, of which there are enough for one.
// Returns how many it took.
std::size_t AddList(cRandom& random, sSibMessage& message, std::size_t room) {
  const bool leads = message.parts.empty();
  std::size_t left = room - kListCountBits;
  const std::size_t most = std::min(leads ? MaxLeadingListCount(message.channel) : kMaxListItems,
                                    left / (kListItemHeadBits + 1));
  const std::size_t count = random.Between(1, most);
  for (std::size_t i = count; i > 0; --i) {
    const std::size_t forOthers = (i - 1) * (kListItemHeadBits + 1);
    const std::size_t bits =
        random.Between(1, std::min(kMaxShortBits, left - forOthers - kListItemHeadBits));
    message.parts.push_back(
        WholePart(random, message, static_cast<unsigned>(random.Below(32)), bits));
    left -= kListItemHeadBits + bits;
  }
  return room - left;
}

std::size_t SegmentCount(cRandom& random) {
  switch (random.Below(10)) {
    case 0:
      return 1;
    case 1:
      return random.Between(6, 16);
    default:
      return random.Between(2, 5);
  }
}

}  // namespace

Bytes sSibMessage::Encode(unsigned frame) const {
  std::vector<sSibPiece> pieces;
  for (const sPart& part : parts) {
    const sSourceBlock& block = *part.block;
    sSibPiece piece;
    piece.role = part.role;
    piece.sibType = block.sibType;
    piece.segments = static_cast<unsigned>(block.ends.size());
    piece.index = static_cast<unsigned>(part.segment);
    const std::size_t begin = block.Begin(part.segment);
    piece.data.Append(block.data, begin, block.ends[part.segment] - begin);
    pieces.push_back(std::move(piece));
  }
  return EncodeSibMessage(channel, choice, frame, pieces);
}

eSibRole cSibBroadcast::sUnderWay::NextRole() const {
  return NextSegment() + 1 == block->ends.size() ? lastRole : eSibRole::Subsequent;
}

bool cSibBroadcast::sUnderWay::NextIsShort() const {
  return NextRole() == eSibRole::Last && lastIsShort;
}

cSibBroadcast::sUnderWay cSibBroadcast::MakeBlock(cRandom& random, const SibKey& key,
                                                  std::size_t firstBits) {
  auto block = std::make_shared<sSourceBlock>();
  std::tie(block->channel, block->bearer, block->sibType) = key;
  sUnderWay made;
  // A few blocks end in a segment that is not marked as the last one.
  made.lastRole = random.Chance(kEndsWithoutLastPercent) ? eSibRole::Subsequent : eSibRole::Last;
  made.lastIsShort = made.lastRole == eSibRole::Last && random.Below(5) != 0;
  const std::size_t segments = SegmentCount(random);
  block->ends = {firstBits};
  for (std::size_t segment = 1; segment < segments; ++segment) {
    const bool isShort = segment + 1 == segments && made.lastIsShort;
    // Most short ends leave room for something behind them in their message.
    const std::size_t most = random.Below(4) == 0 ? kMaxShortBits : kMaxShortBits / 2;
    block->ends.push_back(block->ends.back() + (isShort ? random.Between(1, most) : kSegmentBits));
    made.order.push_back(segment);
  }
  PutRandomBits(random, block->data, block->ends.back());
  made.block = std::move(block);
  if (made.order.size() >= 2 && random.Chance(kSwapPercent)) {
    const std::size_t at = random.Below(made.order.size() - 1);
    std::swap(made.order[at], made.order[at + 1]);
  }
  return made;
}

cSibBroadcast::sHeard cSibBroadcast::Next(cRandom& random, bool delivered) {
  if (delivered && previous && random.Chance(kRepeatPercent)) {
    return {*previous, listener.Hear(*previous)};
  }
  while (true) {
    const bool lost = random.Chance(loss);
    sSibMessage message = Compose(random, delivered && !lost);
    Commit(message);
    previous.reset();
    if (lost) {
      continue;
    }
    if (!delivered) {
      return {std::move(message), {}};
    }
    previous = message;
    return {*previous, listener.Hear(*previous)};
  }
}

void cSibBroadcast::HostGone() {
  underWay.clear();
  previous.reset();
  listener.Forget();
}

sSibMessage cSibBroadcast::Compose(cRandom& random, bool startsAnything) {
  for (int attempt = 0; attempt < 32; ++attempt) {
    sSibMessage message;
    message.channel = random.Below(2) == 0 ? kBch : kFach;
    message.bearer = kBearers[random.Below(kBearers.size())];
    message.choice = static_cast<eSibChoice>(random.Between(kFirstSegment, kLastSegment));
    starting.reset();
    if (AddParts(random, message, startsAnything)) {
      return message;
    }
  }
  // Whatever is under way, a list of complete blocks can always be sent.
  sSibMessage message;
  message.choice = kCompleteSibList;
  starting.reset();
  AddList(random, message, kMessageBits);
  return message;
}

bool cSibBroadcast::AddParts(cRandom& random, sSibMessage& message, bool startsAnything) {
  std::size_t room = kMessageBits;
  if (IsLed(message.choice)) {
    if (!AddContinuation(random, message)) {
      return false;
    }
    const sSibMessage::sPart& part = message.parts.back();
    const std::size_t bits = part.block->ends[part.segment] - part.block->Begin(part.segment);
    room -= std::min(room, kShortHeadBits + bits);
  }
  const std::size_t forFirst = EndsWithFirst(message.choice) ? kShortHeadBits + 1 : 0;
  if (HasList(message.choice)) {
    if (room < kListCountBits + kListItemHeadBits + 1 + forFirst) {
      return false;
    }
    room -= AddList(random, message, room - forFirst);
  }
  if (message.choice == kCompleteSib) {
    const auto sibType =
        static_cast<unsigned>(random.Below(MaxLeadingSibType(message.channel) + 1));
    message.parts.push_back(WholePart(random, message, sibType, kCompleteBits));
  }
  return forFirst == 0 || (room >= forFirst && AddFirst(random, message, room, startsAnything));
}

bool cSibBroadcast::AddContinuation(cRandom& random, sSibMessage& message) const {
  const eSibRole role =
      message.choice == kSubsequentSegment ? eSibRole::Subsequent : eSibRole::Last;
  const bool isShort = message.choice != kSubsequentSegment && message.choice != kLastSegment;
  std::vector<const sUnderWay*> candidates;
  for (const auto& [key, block] : underWay) {
    if (block.block->channel == message.channel && block.block->bearer == message.bearer &&
        block.NextRole() == role && block.NextIsShort() == isShort) {
      candidates.push_back(&block);
    }
  }
  if (candidates.empty()) {
    return false;
  }
  const sUnderWay& chosen = *candidates[random.Below(candidates.size())];
  message.parts.push_back({chosen.block, chosen.NextSegment(), role});
  return true;
}

bool cSibBroadcast::AddFirst(cRandom& random, sSibMessage& message, std::size_t room,
                             bool startsAnything) {
  // The type limit holds for every block here, since its later segments lead their messages.
  std::vector<SibKey> candidates;
  for (unsigned sibType = 0; sibType <= MaxLeadingSibType(message.channel); ++sibType) {
    const SibKey key = {message.channel, message.bearer, sibType};
    if (!underWay.contains(key) && (startsAnything || !listener.MayHoldSegments(key))) {
      candidates.push_back(key);
    }
  }
  if (candidates.empty()) {
    return false;
  }
  const std::size_t bits = message.choice == kFirstSegment
                               ? kSegmentBits
                               : random.Between(1, std::min(kMaxShortBits, room - kShortHeadBits));
  starting = MakeBlock(random, candidates[random.Below(candidates.size())], bits);
  message.parts.push_back({starting->block, 0, eSibRole::First});
  return true;
}

void cSibBroadcast::Commit(const sSibMessage& message) {
  for (const sSibMessage::sPart& part : message.parts) {
    if (part.role == eSibRole::Complete || part.role == eSibRole::First) {
      continue;
    }
    const auto block = underWay.find(part.block->Key());
    if (++block->second.sent == block->second.order.size()) {
      underWay.erase(block);
    }
  }
  if (starting && !starting->order.empty()) {
    underWay[starting->block->Key()] = *starting;
  }
  starting.reset();
}

std::vector<Bytes> cSibListener::Hear(const sSibMessage& message) {
  std::vector<Bytes> blocks;
  for (const sSibMessage::sPart& part : message.parts) {
    if (HearPart(part)) {
      blocks.push_back(WholeBlockPacket(part.block->channel, part.block->bearer,
                                        part.block->sibType, part.block->data));
    }
  }
  return blocks;
}

bool cSibListener::HearPart(const sSibMessage::sPart& part) {
  if (part.role == eSibRole::Complete) {
    return true;
  }
  const SibKey key = part.block->Key();
  const std::size_t segments = part.block->ends.size();
  if (part.role == eSibRole::First) {
    // A block of one segment leaves alone what else there is under its key.
    if (segments == 1) {
      return true;
    }
    progress[key] = {part.block, 1};
    ended[key] = false;
    return false;
  }
  const auto entry = progress.find(key);
  const bool inOrder = entry != progress.end() && entry->second.block == part.block &&
                       entry->second.next == part.segment;
  const bool complete = inOrder && part.segment + 1 == segments;
  if (inOrder) {
    ++entry->second.next;
  }
  if (entry != progress.end() && (!inOrder || complete)) {
    progress.erase(entry);
  }
  // Whatever a host had of a block, its last segment makes an end of it.
  if (part.role == eSibRole::Last) {
    progress.erase(key);
    ended[key] = true;
  }
  return complete;
}

bool cSibListener::MayHoldSegments(const SibKey& key) const {
  const auto entry = ended.find(key);
  return entry == ended.end() ? nothingIsCertain : !entry->second;
}

void cSibListener::Forget() {
  progress.clear();
  ended.clear();
  nothingIsCertain = true;
}

}  // namespace corvane::modem_sim
