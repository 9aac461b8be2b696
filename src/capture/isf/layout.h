#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "diag/little_endian.h"

// The layout of a capture file (an ISF item store), and load and store of each of its records. All
// numbers in the file are little-endian. docs/capture-format.md describes it in words.
//
// Load takes bytes apart and judges nothing: whoever reads a file checks what comes out. Store
// makes the bytes that Load takes apart. What is done for each item of a file that is read stands
// here to be inlined: a call would take longer.
namespace corvane::isf {

// The file: header, then blocks and item records interleaved in the order written, then (written
// when the capture is closed) the block index and the trailer.
inline constexpr std::uint32_t kHeaderMagic = 0xAB603108;
inline constexpr std::uint32_t kHeaderSize = 4;

// A block: the directory of its items, the position of the block after it, and its base time.
inline constexpr std::uint32_t kItemsPerBlock = 8192;
inline constexpr std::uint32_t kDirectoryEntrySize = 7;
inline constexpr std::uint32_t kDirectorySize = kItemsPerBlock * kDirectoryEntrySize;
inline constexpr std::uint32_t kNextBlockOffset = kDirectorySize;  // 64-bit, 0 for the last one
inline constexpr std::uint32_t kBaseTimeOffset = kNextBlockOffset + 8;  // 64-bit, ms since 1601 UTC
inline constexpr std::uint32_t kBlockSize = kBaseTimeOffset + 8;
static_assert(kDirectorySize == 57344);
static_assert(kBlockSize == 57360);

// The block index: one entry a block, in file order.
inline constexpr std::uint32_t kIndexEntrySize = 16;
inline constexpr std::uint32_t kIndexBlockOffset = 0;
inline constexpr std::uint32_t kIndexBaseTime = 8;

// The trailer: 64 bits of zero, the item count and the closing magic.
inline constexpr std::uint32_t kTrailerMagic = 0xAB603107;
inline constexpr std::uint32_t kTrailerItemCount = 8;
inline constexpr std::uint32_t kTrailerMagicOffset = 12;
inline constexpr std::uint32_t kTrailerSize = 16;

// FILETIME units (100 ns) in a millisecond.
inline constexpr std::uint64_t kFileTimeUnitsPerMillisecond = 10'000;

// Item types, bits 0 to 4 of an entry's flags.
inline constexpr std::uint32_t kShortLogItem = 0;           // log packet shorter than 16 bytes
inline constexpr std::uint32_t kPacketItem = 1;             // any other packet of the device
inline constexpr std::uint32_t kRequestItem = 2;            // request of the library
inline constexpr std::uint32_t kEventItem = 4;              // one event, out of an event report
inline constexpr std::uint32_t kLogItem = 5;                // log packet
inline constexpr std::uint32_t kMessageItem = 6;            // debug message packet
inline constexpr std::uint32_t kInformationItem = 7;        // text of the library
inline constexpr std::uint32_t kSignallingLogItem = 8;      // log packet of the signalling set
inline constexpr std::uint32_t kSubsystemItem = 9;          // subsystem packet of the device
inline constexpr std::uint32_t kSubsystemRequestItem = 10;  // subsystem request of the library
inline constexpr std::uint32_t kItemTypes = 32;             // that five bits tell apart

// The packets that the recorder writes have 1 byte to this many.
inline constexpr std::uint32_t kLongestPacket = 16640;

// The latest time that a file can hold, in milliseconds since 1601: clocks count 64 bits of 100 ns.
inline constexpr std::uint64_t kLatestTime = UINT64_MAX / kFileTimeUnitsPerMillisecond;

// --- Header

[[nodiscard]] std::array<std::uint8_t, kHeaderSize> StoreHeader();
[[nodiscard]] bool IsHeader(std::span<const std::uint8_t, kHeaderSize> bytes);

// --- Block

// What stands behind a block's directory.
struct sBlockTail {
  std::uint64_t nextBlock = 0;  // file position; 0 until that block is written
  std::uint64_t baseTime = 0;   // milliseconds since 1601-01-01 UTC
};
inline constexpr std::uint32_t kBlockTailSize = kBlockSize - kDirectorySize;
[[nodiscard]] sBlockTail LoadBlockTail(std::span<const std::uint8_t, kBlockTailSize> bytes);
[[nodiscard]] std::array<std::uint8_t, kBlockTailSize> StoreBlockTail(const sBlockTail& tail);

// The position of the next block alone, which is written when that block is.
inline constexpr std::uint32_t kNextBlockSize = 8;
[[nodiscard]] std::array<std::uint8_t, kNextBlockSize> StoreNextBlock(std::uint64_t nextBlock);

// --- Directory entry

// A directory entry, in bytes from its start.
inline constexpr std::size_t kEntryFlags = 0;
inline constexpr std::size_t kEntryPosition = 1;
inline constexpr std::size_t kEntryLength = 5;

// A directory entry's flags.
inline constexpr std::uint32_t kFlagsTypeMask = 0x1F;
inline constexpr std::uint32_t kFlagsWidthShift = 5;
inline constexpr std::uint32_t kFlagsWidthMask = 0x60;
inline constexpr std::uint32_t kFlagsExtraField = 0x80;

// One entry of a block's directory. An unused one is all zero.
struct sDirectoryEntry {
  std::uint8_t flags = 0;      // item type, width code and whether there is an extra field
  std::uint32_t position = 0;  // of the record, counted from the end of its block
  std::uint16_t length = 0;    // of the packet, without the fields in front of it

  [[nodiscard]] constexpr std::uint32_t Type() const { return flags & kFlagsTypeMask; }
  [[nodiscard]] constexpr std::uint8_t WidthCode() const {
    return static_cast<std::uint8_t>((flags & kFlagsWidthMask) >> kFlagsWidthShift);
  }
  [[nodiscard]] constexpr bool HasExtra() const { return (flags & kFlagsExtraField) != 0; }
  // Sizes in bytes: of the time, of time and extra field, and of the whole record.
  [[nodiscard]] constexpr std::uint32_t TimeSize() const { return 1u << WidthCode(); }
  [[nodiscard]] constexpr std::uint32_t HeadSize() const {
    return TimeSize() + (HasExtra() ? 4u : 0u);
  }
  [[nodiscard]] constexpr std::uint32_t RecordSize() const { return HeadSize() + length; }

  friend bool operator==(const sDirectoryEntry&, const sDirectoryEntry&) = default;
};
// The flags of an entry. `type` is below kItemTypes, `widthCode` at most kTimeAbsolute64.
[[nodiscard]] std::uint8_t EntryFlags(std::uint32_t type, std::uint8_t widthCode, bool hasExtra);
[[nodiscard]] inline sDirectoryEntry LoadDirectoryEntry(
    std::span<const std::uint8_t, kDirectoryEntrySize> bytes) {
  return {bytes[kEntryFlags], Load32(&bytes[kEntryPosition]), Load16(&bytes[kEntryLength])};
}
[[nodiscard]] std::array<std::uint8_t, kDirectoryEntrySize> StoreDirectoryEntry(
    const sDirectoryEntry& entry);

// --- Record head

// Width codes of a record's time field. 0 to 2 count from the block's base time, in milliseconds.
inline constexpr std::uint8_t kTimeDelta8 = 0;
inline constexpr std::uint8_t kTimeDelta16 = 1;
inline constexpr std::uint8_t kTimeDelta32 = 2;
inline constexpr std::uint8_t kTimeAbsolute64 = 3;  // milliseconds since 1601-01-01 UTC

// The width code that the recorder chooses for an item's time.
[[nodiscard]] inline std::uint8_t ChooseTimeWidth(std::uint64_t itemTime, std::uint64_t baseTime) {
  if (itemTime < baseTime) {
    return kTimeAbsolute64;
  }
  // The bounds are 255, 65535 and 0xFFFFFFFF, not one more: a time field never has all its bits
  // set.
  const std::uint64_t delta = itemTime - baseTime;
  if (delta < 0xFF) {
    return kTimeDelta8;
  }
  if (delta < 0xFFFF) {
    return kTimeDelta16;
  }
  if (delta < 0xFFFFFFFF) {
    return kTimeDelta32;
  }
  return kTimeAbsolute64;
}

// What stands before the packet in a record, together with the flags that say so.
struct sRecordHead {
  std::uint32_t type = 0;
  std::uint64_t time = 0;              // milliseconds since 1601-01-01 UTC
  std::optional<std::uint32_t> extra;  // a log packet's learned value
};
inline constexpr std::uint32_t kLongestRecordHead = 12;  // an absolute time and the extra field

// The flags of a stored head's directory entry, and its bytes.
struct sStoredRecordHead {
  std::uint8_t flags = 0;
  std::uint32_t size = 0;
  std::array<std::uint8_t, kLongestRecordHead> bytes{};

  [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return std::span(bytes).first(size); }
};

// `bytes` has the entry's HeadSize() bytes or more. `baseTime` is at most kLatestTime.
[[nodiscard]] inline sRecordHead LoadRecordHead(const sDirectoryEntry& entry,
                                                std::uint64_t baseTime,
                                                std::span<const std::uint8_t> bytes) {
  sRecordHead head{entry.Type(), baseTime, {}};
  switch (entry.WidthCode()) {
    case kTimeDelta8:
      head.time += bytes[0];
      break;
    case kTimeDelta16:
      head.time += Load16(bytes.data());
      break;
    case kTimeDelta32:
      head.time += Load32(bytes.data());
      break;
    default:
      head.time = Load64(bytes.data());
  }
  if (entry.HasExtra()) {
    head.extra = Load32(&bytes[entry.TimeSize()]);
  }
  return head;
}
[[nodiscard]] sStoredRecordHead StoreRecordHead(const sRecordHead& head, std::uint64_t baseTime);

// --- Block index and trailer

// One entry of the block index.
struct sIndexEntry {
  std::uint64_t blockOffset = 0;  // file position of the block
  std::uint64_t baseTime = 0;     // the block's base time again

  friend bool operator==(const sIndexEntry&, const sIndexEntry&) = default;
};
[[nodiscard]] sIndexEntry LoadIndexEntry(std::span<const std::uint8_t, kIndexEntrySize> bytes);
[[nodiscard]] std::array<std::uint8_t, kIndexEntrySize> StoreIndexEntry(const sIndexEntry& entry);

struct sTrailer {
  std::uint64_t zero = 0;
  std::uint32_t itemCount = 0;  // a longer capture's count has gone round
  std::uint32_t magic = kTrailerMagic;
};
[[nodiscard]] sTrailer LoadTrailer(std::span<const std::uint8_t, kTrailerSize> bytes);
[[nodiscard]] std::array<std::uint8_t, kTrailerSize> StoreTrailer(const sTrailer& trailer);

// --- Text item

// A text item: 32 bits that mark it, UTF-16LE text and a 16-bit terminator.
inline constexpr std::uint32_t kTextItemHeader = 0xFFFFFFC0;
inline constexpr std::size_t kTextItemHeaderSize = 4;
inline constexpr std::size_t kTextCharacterSize = 2;

// The text of an item as UTF-8, up to its terminator or, where that is missing, the item's end.
// Half a surrogate pair becomes U+FFFD. Nothing when the item does not begin as a text item does.
[[nodiscard]] std::optional<std::string> LoadTextItem(std::span<const std::uint8_t> bytes);

// The size of the item for `text`; the header alone when there is no text.
[[nodiscard]] std::size_t TextItemSize(std::optional<std::string_view> text);
// Fills `bytes`, which has TextItemSize(text) bytes. Each byte of the text becomes one character by
// sign extension: bytes of 0x80 and above turn into 0xFF80 and above.
void StoreTextItem(std::optional<std::string_view> text, std::span<std::uint8_t> bytes);

}  // namespace corvane::isf
