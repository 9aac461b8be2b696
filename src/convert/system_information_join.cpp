#include "convert/system_information_join.h"

#include <span>
#include <tuple>
#include <utility>

#include "describe/message_names.h"
#include "ota/bit_cursor.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

using sSegment = cSystemInformationJoin::sSegment;
using sPlace = cSystemInformationJoin::sPlace;

constexpr std::uint8_t kExtension = 31;  // SIB-Type of a block whose type stands elsewhere

// 3GPP TS 25.331, SystemInformation-BCH: the choices of its payload.
enum ePayload : std::uint32_t {
  kNoSegment = 0,
  kFirst = 1,
  kSubsequent = 2,
  kLastShort = 3,
  kLastAndFirst = 4,
  kLastAndComplete = 5,
  kLastAndCompleteAndFirst = 6,
  kCompleteList = 7,
  kCompleteAndFirst = 8,
  kComplete = 9,
  kLast = 10,
};

constexpr unsigned kStepBits = 16;  // of a DIAG timestamp, below its units of 1.25 ms

constexpr std::uint32_t kFixedBits = 222;
constexpr std::uint32_t kCompleteBits = 226;
constexpr std::uint32_t kLongestShortData = 214;

enum class eForm { Fixed, Complete, Short };

// Reads the segments of one message. What cannot be read fails the whole message.
class cSegmentReader {
 public:
  explicit cSegmentReader(std::span<const std::uint8_t> message)
      : reader{message.data(), 0, static_cast<std::uint32_t>(message.size() * 8),
               kMostSignificantBitFirst} {}

  // Nothing when the message breaks off or contradicts itself.
  [[nodiscard]] std::optional<std::vector<sSegment>> Read(eSyntax syntax) {
    bool isSystemInformation = false;
    if (syntax == eSyntax::WcdmaBcchBch) {
      frames = Field(11);
      isSystemInformation = frames.has_value();
    } else {
      isSystemInformation = Field(2) == 0;  // the choice of the message
    }
    const auto payload = Field(4);
    if (!isSystemInformation || !payload || !ReadPayload(*payload)) {
      return std::nullopt;
    }
    if (*payload == kCompleteList || *payload == kLastAndComplete) {
      // Nothing but filler follows: where the list breaks off, the blocks in front of that count.
      std::ignore = PassCompleteList();
    }
    return std::move(segments);
  }

  // The count of system frames that the message came with, in twos; on BCCH-BCH alone.
  [[nodiscard]] std::optional<std::uint32_t> Frames() const { return frames; }

  // The types of the blocks that the message has in lists, whole.
  [[nodiscard]] const std::vector<std::uint8_t>& ListedTypes() const { return listed; }

 private:
  [[nodiscard]] bool ReadPayload(std::uint32_t payload) {
    switch (payload) {
      case kFirst:
        return First(eForm::Fixed);
      case kSubsequent:
        return Later(eForm::Fixed, false);
      case kLastShort:
      case kLastAndComplete:
        // The complete blocks behind it are no segments.
        return Later(eForm::Short, true);
      case kLastAndFirst:
        return Later(eForm::Short, true) && First(eForm::Short);
      case kLastAndCompleteAndFirst:
        return Later(eForm::Short, true) && PassCompleteList() && First(eForm::Short);
      case kCompleteAndFirst:
        return PassCompleteList() && First(eForm::Short);
      case kComplete:
        return Complete();
      case kLast:
        return Later(eForm::Fixed, true);
      default:
        return true;
    }
  }

  [[nodiscard]] bool First(eForm form) {
    const auto type = Field(5);
    const auto count = Field(4);
    if (!type || !count) {
      return false;
    }
    return Data(form, {.sibType = static_cast<std::uint8_t>(*type), .count = *count + 1});
  }

  // A block that fills the message is read as a block of one segment.
  [[nodiscard]] bool Complete() {
    const auto type = Field(5);
    return type && Data(eForm::Complete, {.sibType = static_cast<std::uint8_t>(*type), .count = 1});
  }

  [[nodiscard]] bool Later(eForm form, bool last) {
    const auto type = Field(5);
    const auto index = Field(4);
    if (!type || !index) {
      return false;
    }
    return Data(form,
                {.sibType = static_cast<std::uint8_t>(*type), .index = *index + 1, .last = last});
  }

  // Reads the data of `segment` and keeps it.
  [[nodiscard]] bool Data(eForm form, sSegment segment) {
    const auto length = Length(form);
    if (!length) {
      return false;
    }
    segment.bitCount = *length;
    segment.bits.resize((*length + 7) / 8);
    sBitWriter writer{segment.bits.data(), 0, 0, *length, kMostSignificantBitFirst};
    if (!CopyBits(reader, writer, *length)) {
      return false;
    }
    segments.push_back(std::move(segment));
    return true;
  }

  [[nodiscard]] bool PassCompleteList() {
    const auto count = Field(4);
    if (!count) {
      return false;
    }
    for (std::uint32_t block = 0; block <= *count; ++block) {
      const auto type = Field(5);
      const auto length = ShortLength();
      if (!type || !length || reader.bitCount - reader.position < *length) {
        return false;
      }
      reader.position += *length;
      if (*type != kExtension) {
        listed.push_back(static_cast<std::uint8_t>(*type));
      }
    }
    return true;
  }

  [[nodiscard]] std::optional<std::uint32_t> Length(eForm form) {
    switch (form) {
      case eForm::Fixed:
        return kFixedBits;
      case eForm::Complete:
        return kCompleteBits;
      default:
        return ShortLength();
    }
  }

  [[nodiscard]] std::optional<std::uint32_t> ShortLength() {
    const auto length = Field(8);
    if (!length || *length >= kLongestShortData) {
      return std::nullopt;
    }
    return *length + 1;
  }

  [[nodiscard]] std::optional<std::uint32_t> Field(std::uint32_t bits) {
    std::uint32_t value = 0;
    if (ReadBits32(reader, bits, value) != kErrorSuccess) {
      return std::nullopt;
    }
    return value;
  }

  sBitReader reader;
  std::vector<sSegment> segments;
  std::vector<std::uint8_t> listed;
  std::optional<std::uint32_t> frames;
};

[[nodiscard]] bool IsBroadcast(eSyntax syntax) {
  return syntax == eSyntax::WcdmaBcchBch || syntax == eSyntax::WcdmaBcchFach;
}

// Whether a segment that came at `now` can belong to a block that began at `began`.
[[nodiscard]] bool IsOneRound(std::optional<std::uint64_t> began,
                              std::optional<std::uint64_t> now) {
  if (!began || !now) {
    return true;
  }
  constexpr std::uint64_t kRound = std::uint64_t{4096} * 8;  // of frames, in 1.25 ms
  const std::uint64_t from = *began >> kStepBits;
  const std::uint64_t to = *now >> kStepBits;
  // A clock that was set back meanwhile tells as little as one that was set forward.
  return (from < to ? to - from : from - to) <= kRound;
}

// Whether the frames of two messages are as far apart as the times of their packets, which they are
// not where the messages are of two cells. A second is left for the modem's clock.
[[nodiscard]] bool AreOfOneCount(const sPlace& before, const sPlace& now) {
  if (!before.frames || !now.frames || !before.time || !now.time) {
    return true;
  }
  constexpr std::uint64_t kUnitsPerCount = 16;  // of 1.25 ms: two frames are 20 ms
  constexpr std::uint64_t kRound = 2048 * kUnitsPerCount;
  constexpr std::uint64_t kSecond = 800;
  const std::uint64_t passed = (*now.time >> kStepBits) - (*before.time >> kStepBits);
  const std::uint64_t counted =
      (std::uint64_t{*now.frames} - std::uint64_t{*before.frames}) * kUnitsPerCount;
  // All of it goes round, below zero too.
  const std::uint64_t apart = (passed - counted) % kRound;
  return apart <= kSecond || apart >= kRound - kSecond;
}

[[nodiscard]] std::vector<std::uint8_t> JoinBits(const std::vector<sSegment>& segments) {
  std::uint32_t bitCount = 0;
  for (const sSegment& segment : segments) {
    bitCount += segment.bitCount;
  }
  std::vector<std::uint8_t> bytes((bitCount + 7) / 8);
  sBitWriter writer{bytes.data(), 0, 0, bitCount, kMostSignificantBitFirst};
  for (const sSegment& segment : segments) {
    sBitReader reader{segment.bits.data(), 0, segment.bitCount, kMostSignificantBitFirst};
    std::ignore = CopyBits(reader, writer, segment.bitCount);
  }
  return bytes;
}

[[nodiscard]] sSignalling WholeBlock(const sSignalling& last,
                                     const std::vector<sSegment>& segments) {
  sSignalling block;
  block.syntax = eSyntax::WcdmaSystemInformationBlock;
  block.channel = last.channel;
  block.link = last.link;
  block.radioBearer = last.radioBearer;
  block.sibType = segments.front().sibType;
  block.message = JoinBits(segments);
  block.messageName = SystemInformationBlockName(segments.front().sibType);
  return block;
}

}  // namespace

std::optional<sJoinedMessage> cSystemInformationJoin::Add(const sSource& source, std::uint64_t item,
                                                          const sDescription& description) {
  if (!description.signalling) {
    return std::nullopt;
  }
  const sSignalling& message = *description.signalling;
  if (!IsBroadcast(message.syntax)) {
    return std::nullopt;
  }
  cSegmentReader reader(message.message);
  const auto segments = reader.Read(message.syntax);
  if (!segments) {
    return std::nullopt;
  }
  const sPlace place{item, description.modemTime, reader.Frames()};

  sKey key;
  key.source = source;
  key.channel = message.syntax;
  if (description.cell) {
    key.frequency = description.cell->frequency;
    key.scramblingCode = description.cell->physicalCell;
  }
  // One message has one last segment at most.
  std::optional<sJoinedMessage> joined;
  for (const sSegment& segment : *segments) {
    key.sibType = segment.sibType;
    if (segment.sibType == kExtension || !Continue(key, segment, place)) {
      continue;
    }
    const sBlock& block = *blocks.Find(key);
    joined = {WholeBlock(message, block.segments), block.items, description.modemTime};
    blocks.Erase(key);
  }
  return joined;
}

std::vector<std::uint8_t> ListedBlocks(const sSignalling& message) {
  if (!IsBroadcast(message.syntax)) {
    return {};
  }
  cSegmentReader reader(message.message);
  return reader.Read(message.syntax) ? reader.ListedTypes() : std::vector<std::uint8_t>();
}

// True when `segment` completes its block.
bool cSystemInformationJoin::Continue(const sKey& key, const sSegment& segment,
                                      const sPlace& place) {
  if (segment.index == 0) {
    blocks.Put(key, {{segment}, {place.item}, place.time, place});
    return segment.count == 1;
  }
  sBlock* const block = blocks.Find(key);
  if (block == nullptr) {
    return false;
  }
  const bool isInTime = IsOneRound(block->began, place.time) && AreOfOneCount(block->newest, place);
  if (isInTime && segment == block->segments.back()) {
    return false;
  }
  const std::uint32_t count = block->segments.front().count;
  const bool isLastPlace = segment.index + 1 == count;
  if (!isInTime || segment.index != block->segments.size() || segment.last != isLastPlace ||
      segment.index >= count) {
    blocks.Erase(key);
    return false;
  }
  block->segments.push_back(segment);
  block->items.push_back(place.item);
  block->newest = place;
  return segment.last;
}

}  // namespace corvane
