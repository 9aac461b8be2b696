#include "rewrite/record_guess.h"

#include <algorithm>
#include <array>

#include "reader/directory.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// How much each thing that speaks for a record counts. An entry that is right in all its fields is
// enough, and so are its position or the beginning of the next record with most of the rest.
constexpr int kFlagsWeight = 4;
constexpr int kLengthWeight = 4;
constexpr int kPositionWeight = 6;
constexpr int kSureNextWeight = 6;
constexpr int kNextWeight = 2;
constexpr int kOwnLengthWeight = 6;
constexpr int kTimeWeight = 1;
constexpr int kEnough = 14;

// An absolute time that is further than this (139 years) from the times around it is none.
constexpr std::uint64_t kFarAway = std::uint64_t{1} << 42;

class cGuesser {
 public:
  cGuesser(std::span<const std::uint8_t> bytesThere, const sRecordHints& known)
      : bytes(bytesThere), hints(known) {}

  [[nodiscard]] std::optional<sRecordGuess> Guess() {
    for (std::uint8_t width = isf::kTimeDelta8; width <= isf::kTimeAbsolute64; ++width) {
      for (const bool hasExtra : {false, true}) {
        WeighHead(width, hasExtra);
      }
    }
    return isTied ? std::nullopt : best;
  }

 private:
  void WeighHead(std::uint8_t width, bool hasExtra) {
    const std::size_t headSize = (std::size_t{1} << width) + (hasExtra ? 4 : 0);
    if (headSize >= bytes.size()) {
      return;
    }
    const auto rest = bytes.subspan(headSize);
    const std::uint64_t begin = hints.offset + headSize;
    const std::optional<std::size_t> own = OwnLength(rest);
    std::array<std::size_t, 3> lengths{
        own.value_or(0), hints.entry ? hints.entry->length : 0u,
        hints.next && *hints.next > begin ? static_cast<std::size_t>(*hints.next - begin) : 0u};
    for (std::size_t number = 0; number < lengths.size(); ++number) {
      const std::size_t length = lengths[number];
      const bool isNew =
          std::find(lengths.begin(), lengths.begin() + number, length) == lengths.begin() + number;
      if (isNew && length != 0 &&
          length <= std::min<std::size_t>(rest.size(), isf::kLongestPacket)) {
        WeighPacket(width, hasExtra, rest.first(length), own == length);
      }
    }
  }

  void WeighPacket(std::uint8_t width, bool hasExtra, std::span<const std::uint8_t> packet,
                   bool tellsLength) {
    const auto sure = TypeByContent(packet);
    if (sure) {
      WeighRecord(width, hasExtra, *sure, packet, tellsLength);
    }
    // Of two types that look alike, only the entry's flags tell which it is.
    if (hints.entry && hints.entry->Type() != sure) {
      WeighRecord(width, hasExtra, hints.entry->Type(), packet, tellsLength);
    }
  }

  void WeighRecord(std::uint8_t width, bool hasExtra, std::uint32_t type,
                   std::span<const std::uint8_t> packet, bool tellsLength) {
    const isf::sDirectoryEntry entry{isf::EntryFlags(type, width, hasExtra),
                                     static_cast<std::uint32_t>(hints.offset - hints.blockEnd),
                                     static_cast<std::uint16_t>(packet.size())};
    const isf::sRecordHead head = isf::LoadRecordHead(entry, hints.baseTime, bytes);
    const bool hasFlags = hints.entry && hints.entry->flags == entry.flags;
    const bool hasLength = hints.entry && hints.entry->length == entry.length;
    if (!IsTypeFor(type, packet) ||
        FindBrokenRule(entry, head, hints.place, hints.baseTime).problem != nullptr ||
        (!hasFlags && !IsLikelyHead(entry, head, packet)) ||
        (!hasFlags && !hasLength && !tellsLength)) {
      return;
    }
    const std::uint64_t end = hints.offset + entry.RecordSize();
    sRecordGuess guess{entry, head.time};
    guess.isAsEntered = hints.entry && *hints.entry == entry;
    guess.tellsLength = tellsLength;
    guess.endsAtNext = hints.next == end;
    guess.isTimely =
        hints.earliest > hints.latest || (head.time >= hints.earliest && head.time <= hints.latest);
    Take(guess, Weigh(guess, hasFlags));
  }

  // Without the flags of an entry, the head must not be taken for something else.
  [[nodiscard]] bool IsLikelyHead(const isf::sDirectoryEntry& entry, const isf::sRecordHead& head,
                                  std::span<const std::uint8_t> packet) const {
    if (head.extra && !IsExtraFor(*head.extra, packet)) {
      return false;
    }
    if (entry.WidthCode() != isf::kTimeAbsolute64) {
      return true;
    }
    const auto [less, more] = std::minmax(head.time, hints.baseTime);
    return more - less < kFarAway;
  }

  [[nodiscard]] int Weigh(const sRecordGuess& guess, bool hasFlags) const {
    int weight = hasFlags ? kFlagsWeight : 0;
    if (hints.entry) {
      weight += hints.entry->length == guess.entry.length ? kLengthWeight : 0;
      weight += hints.entry->position == guess.entry.position ? kPositionWeight : 0;
    }
    if (guess.endsAtNext) {
      weight += hints.isNextSure ? kSureNextWeight : kNextWeight;
    }
    weight += guess.tellsLength ? kOwnLengthWeight : 0;
    weight += guess.isTimely ? kTimeWeight : 0;
    return weight;
  }

  void Take(const sRecordGuess& guess, int weight) {
    if (weight < kEnough && !guess.tellsLength) {
      return;
    }
    if (weight > bestWeight) {
      best = guess;
      bestWeight = weight;
      isTied = false;
    } else if (weight == bestWeight) {
      isTied = true;
    }
  }

  std::span<const std::uint8_t> bytes;
  const sRecordHints& hints;
  std::optional<sRecordGuess> best;
  int bestWeight = 0;
  bool isTied = false;
};

}  // namespace

std::optional<sRecordGuess> GuessRecord(cByteWindow& window, const sRecordHints& hints) {
  const std::uint64_t room = hints.limit > hints.offset ? hints.limit - hints.offset : 0;
  const auto bytes =
      window.Read(hints.offset, static_cast<std::size_t>(std::min(room, kLongestRecord)));
  if (!bytes || bytes->size() < 2) {
    return std::nullopt;
  }
  return cGuesser(*bytes, hints).Guess();
}

}  // namespace corvane
