#include "capture/isf/layout.h"

#include "diag/little_endian.h"

namespace corvane::isf {
namespace {

constexpr std::size_t kTailNextBlock = kNextBlockOffset - kDirectorySize;
constexpr std::size_t kTailBaseTime = kBaseTimeOffset - kDirectorySize;

// What a character that is no character becomes.
constexpr std::uint32_t kReplacement = 0xFFFD;

[[nodiscard]] constexpr bool IsHighSurrogate(std::uint32_t unit) { return unit >> 10 == 0x36; }
[[nodiscard]] constexpr bool IsLowSurrogate(std::uint32_t unit) { return unit >> 10 == 0x37; }

void AppendUtf8(std::string& text, std::uint32_t character) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    append(character);
    return;
  }
  if (character < 0x800) {
    append(0xC0 | character >> 6);
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12);
    append(0x80 | (character >> 6 & 0x3F));
  } else {
    append(0xF0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3F));
    append(0x80 | (character >> 6 & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

}  // namespace

std::array<std::uint8_t, kHeaderSize> StoreHeader() {
  std::array<std::uint8_t, kHeaderSize> bytes{};
  Store32(bytes.data(), kHeaderMagic);
  return bytes;
}

bool IsHeader(std::span<const std::uint8_t, kHeaderSize> bytes) {
  return Load32(bytes.data()) == kHeaderMagic;
}

sBlockTail LoadBlockTail(std::span<const std::uint8_t, kBlockTailSize> bytes) {
  return {Load64(&bytes[kTailNextBlock]), Load64(&bytes[kTailBaseTime])};
}

std::array<std::uint8_t, kBlockTailSize> StoreBlockTail(const sBlockTail& tail) {
  std::array<std::uint8_t, kBlockTailSize> bytes{};
  Store64(&bytes[kTailNextBlock], tail.nextBlock);
  Store64(&bytes[kTailBaseTime], tail.baseTime);
  return bytes;
}

std::array<std::uint8_t, kNextBlockSize> StoreNextBlock(std::uint64_t nextBlock) {
  std::array<std::uint8_t, kNextBlockSize> bytes{};
  Store64(bytes.data(), nextBlock);
  return bytes;
}

std::uint8_t EntryFlags(std::uint32_t type, std::uint8_t widthCode, bool hasExtra) {
  return static_cast<std::uint8_t>((type & kFlagsTypeMask) |
                                   (std::uint32_t{widthCode} << kFlagsWidthShift) |
                                   (hasExtra ? kFlagsExtraField : 0u));
}

std::array<std::uint8_t, kDirectoryEntrySize> StoreDirectoryEntry(const sDirectoryEntry& entry) {
  std::array<std::uint8_t, kDirectoryEntrySize> bytes{};
  bytes[kEntryFlags] = entry.flags;
  Store32(&bytes[kEntryPosition], entry.position);
  Store16(&bytes[kEntryLength], entry.length);
  return bytes;
}

sStoredRecordHead StoreRecordHead(const sRecordHead& head, std::uint64_t baseTime) {
  sStoredRecordHead stored;
  const std::uint8_t width = ChooseTimeWidth(head.time, baseTime);
  stored.flags = EntryFlags(head.type, width, head.extra.has_value());
  Store64(stored.bytes.data(), width == kTimeAbsolute64 ? head.time : head.time - baseTime);
  stored.size = 1u << width;  // what lies behind it is overwritten
  if (head.extra) {
    Store32(&stored.bytes[stored.size], *head.extra);
    stored.size += 4;
  }
  return stored;
}

sIndexEntry LoadIndexEntry(std::span<const std::uint8_t, kIndexEntrySize> bytes) {
  return {Load64(&bytes[kIndexBlockOffset]), Load64(&bytes[kIndexBaseTime])};
}

std::array<std::uint8_t, kIndexEntrySize> StoreIndexEntry(const sIndexEntry& entry) {
  std::array<std::uint8_t, kIndexEntrySize> bytes{};
  Store64(&bytes[kIndexBlockOffset], entry.blockOffset);
  Store64(&bytes[kIndexBaseTime], entry.baseTime);
  return bytes;
}

sTrailer LoadTrailer(std::span<const std::uint8_t, kTrailerSize> bytes) {
  return {Load64(bytes.data()), Load32(&bytes[kTrailerItemCount]),
          Load32(&bytes[kTrailerMagicOffset])};
}

std::array<std::uint8_t, kTrailerSize> StoreTrailer(const sTrailer& trailer) {
  std::array<std::uint8_t, kTrailerSize> bytes{};
  Store64(bytes.data(), trailer.zero);
  Store32(&bytes[kTrailerItemCount], trailer.itemCount);
  Store32(&bytes[kTrailerMagicOffset], trailer.magic);
  return bytes;
}

std::optional<std::string> LoadTextItem(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kTextItemHeaderSize || Load32(bytes.data()) != kTextItemHeader) {
    return std::nullopt;
  }
  std::string text;
  for (bytes = bytes.subspan(kTextItemHeaderSize); bytes.size() >= kTextCharacterSize;) {
    std::uint32_t character = Load16(bytes.data());
    bytes = bytes.subspan(kTextCharacterSize);
    if (character == 0) {
      break;
    }
    if (IsHighSurrogate(character) && bytes.size() >= kTextCharacterSize &&
        IsLowSurrogate(Load16(bytes.data()))) {
      character = 0x10000 + ((character & 0x3FF) << 10) + (Load16(bytes.data()) & 0x3FFu);
      bytes = bytes.subspan(kTextCharacterSize);
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
      character = kReplacement;
    }
    AppendUtf8(text, character);
  }
  return text;
}

std::size_t TextItemSize(std::optional<std::string_view> text) {
  return kTextItemHeaderSize + (text ? (text->size() + 1) * kTextCharacterSize : 0);
}

void StoreTextItem(std::optional<std::string_view> text, std::span<std::uint8_t> bytes) {
  Store32(bytes.data(), kTextItemHeader);
  if (!text) {
    return;
  }
  std::uint8_t* position = bytes.data() + kTextItemHeaderSize;
  for (const char character : *text) {
    Store16(position, static_cast<std::uint16_t>(static_cast<signed char>(character)));
    position += kTextCharacterSize;
  }
  Store16(position, 0);
}

}  // namespace corvane::isf
