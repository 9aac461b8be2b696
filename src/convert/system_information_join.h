#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "convert/joined_message.h"
#include "convert/recent_map.h"
#include "convert/source_texts.h"
#include "describe/description.h"

namespace corvane {

// The types (3GPP TS 25.331, SIB-Type) of the system-information blocks that a message of WCDMA's
// BCCH holds whole, in a list, in their order. Blocks of type "extension" are left out.
[[nodiscard]] std::vector<std::uint8_t> ListedBlocks(const sSignalling& message);

// Joins WCDMA system-information blocks (3GPP TS 25.331) from the segments that the BCCH messages
// of a capture carry. A block that fills a message (226 bits) is given out too. Those of lists are
// not: Wireshark finds them in the message itself, but not the one that fills it. A segment of type
// "extension" is left, because its message does not tell which block it belongs to.
//
// A broadcast repeats for ever, so a block that cannot be joined comes again. A block is its first
// segment, then the others strictly in their order, within one round of the system frame number
// (40.96 s by the modem's clock). Another segment of its type drops what was collected, but for a
// repetition of the newest one, bit by bit the same, which is passed over. So does one on BCCH-BCH
// whose system frame number is not as far from the newest one's as their times are, by a second:
// not every log tells which cell a message is of. A message that breaks off or contradicts itself
// is passed over whole.
class cSystemInformationJoin {
 public:
  // Takes the next item of a capture. `source` is where its packet came from. Returns the block
  // that it completes.
  [[nodiscard]] std::optional<sJoinedMessage> Add(const sSource& source, std::uint64_t item,
                                                  const sDescription& description);

  // What tells the blocks under construction apart.
  struct sKey {
    sSource source;
    eSyntax channel = eSyntax::WcdmaBcchBch;
    std::optional<std::uint32_t> frequency;
    std::optional<std::uint16_t> scramblingCode;
    std::uint8_t sibType = 0;

    friend auto operator<=>(const sKey&, const sKey&) = default;
  };

  // One segment of a message: `bits` has a whole number of bytes, filled up with zeros.
  struct sSegment {
    std::uint8_t sibType = 0;
    std::uint32_t index = 0;  // 0 the first
    std::uint32_t count = 0;  // of segments; only the first one tells
    bool last = false;
    std::uint32_t bitCount = 0;
    std::vector<std::uint8_t> bits = {};

    friend bool operator==(const sSegment&, const sSegment&) = default;
  };

  // Where a segment's message stands.
  struct sPlace {
    std::uint64_t item = 0;
    std::optional<std::uint64_t> time;    // DIAG timestamp
    std::optional<std::uint32_t> frames;  // system frame number, divided by two; of BCCH-BCH alone
  };

 private:
  struct sBlock {
    std::vector<sSegment> segments;
    std::vector<std::uint64_t> items;
    std::optional<std::uint64_t> began;  // DIAG timestamp
    sPlace newest = {};                  // of the newest segment
  };

  [[nodiscard]] bool Continue(const sKey& key, const sSegment& segment, const sPlace& place);

  // As many unfinished blocks as a few dozen cells leave behind.
  cRecentMap<sKey, sBlock> blocks{1024};
};

}  // namespace corvane
