#pragma once

#include <cstdint>

// The layout of a capture file (an ISF item store), shared by the store and the reader. All
// numbers in the file are little-endian. docs/capture-format.md describes it in words.
namespace corvane::isf {

// The file: header, then blocks and item records interleaved in the order written, then (written
// when the capture is closed) the block index and the trailer.
inline constexpr std::uint32_t kHeaderMagic = 0xAB603108;
inline constexpr std::uint32_t kTrailerMagic = 0xAB603107;
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

// A directory entry: flags (1 byte), position of the record counted from the end of its block
// (4 bytes), length of the packet in the record (2 bytes). Unused entries are all zero.
inline constexpr std::uint32_t kEntryFlags = 0;
inline constexpr std::uint32_t kEntryPosition = 1;
inline constexpr std::uint32_t kEntryLength = 5;

inline constexpr std::uint8_t kFlagsTypeMask = 0x1F;
inline constexpr std::uint32_t kFlagsWidthShift = 5;
inline constexpr std::uint8_t kFlagsWidthMask = 0x60;
inline constexpr std::uint8_t kFlagsExtraField = 0x80;  // a 32-bit extra field follows the time

// Width codes of a record's time field. 0 to 2 count from the block's base time, in milliseconds.
inline constexpr std::uint8_t kTimeDelta8 = 0;
inline constexpr std::uint8_t kTimeDelta16 = 1;
inline constexpr std::uint8_t kTimeDelta32 = 2;
inline constexpr std::uint8_t kTimeAbsolute64 = 3;  // milliseconds since 1601-01-01 UTC

// The block index: one entry a block, in file order.
inline constexpr std::uint32_t kIndexEntrySize = 16;
inline constexpr std::uint32_t kIndexBlockOffset = 0;  // 64-bit file position of the block
inline constexpr std::uint32_t kIndexBaseTime = 8;     // 64-bit, the block's base time again

// The trailer: 64 bits of zero, the item count and the closing magic.
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

// The first 32 bits of a text item; UTF-16LE text with a terminator follows.
inline constexpr std::uint32_t kTextItemHeader = 0xFFFFFFC0;

}  // namespace corvane::isf
