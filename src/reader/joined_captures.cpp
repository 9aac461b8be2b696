#include "reader/joined_captures.h"

#include <algorithm>
#include <array>
#include <span>

#include "capture/isf/layout.h"
#include "reader/directory.h"

namespace corvane {
namespace {

constexpr std::size_t kPiece = 65'536;

// What a capture at this offset has for certain, if it has items: a time that a clock can show, and
// a first record at that time. The record is in the file.
[[nodiscard]] bool HasFirstItem(cByteSource& source, std::uint64_t offset) {
  const std::uint64_t block = offset + isf::kHeaderSize;
  std::array<std::uint8_t, isf::kBlockTailSize + 1> bytes{};
  if (source.ReadAt(block + isf::kDirectorySize, bytes) != bytes.size()) {
    return false;
  }
  const isf::sBlockTail tail = isf::LoadBlockTail(
      std::span<const std::uint8_t, bytes.size()>(bytes).first<isf::kBlockTailSize>());
  return tail.baseTime != 0 && tail.baseTime <= isf::kLatestTime && bytes.back() == 0;
}

}  // namespace

std::optional<std::uint64_t> cFirstCaptureBytes::Size() {
  const std::optional<std::uint64_t> size = file->Size();
  return size ? std::optional(std::min(*size, end)) : std::nullopt;
}

std::size_t cFirstCaptureBytes::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) {
  const std::uint64_t left = end - std::min(end, offset);
  return file->ReadAt(
      offset, bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left))));
}

bool IsCaptureAt(cByteSource& source, std::uint64_t offset, std::uint64_t size) {
  if (offset >= size || size - offset < isf::kHeaderSize + isf::kTrailerSize) {
    return false;
  }
  std::array<std::uint8_t, isf::kHeaderSize> header{};
  std::array<std::uint8_t, isf::kTrailerSize> first{};
  if (source.ReadAt(offset, header) != header.size() || !isf::IsHeader(header) ||
      source.ReadAt(offset + isf::kHeaderSize, first) != first.size()) {
    return false;
  }
  const isf::sTrailer trailer = isf::LoadTrailer(first);
  if (trailer.magic == isf::kTrailerMagic && trailer.zero == 0 && trailer.itemCount == 0) {
    return true;
  }
  if (size - offset < isf::kHeaderSize + isf::kBlockSize) {
    return false;
  }
  const isf::sDirectoryEntry entry = isf::LoadDirectoryEntry(
      std::span<const std::uint8_t, isf::kTrailerSize>(first).first<isf::kDirectoryEntrySize>());
  return entry.position == 0 && entry.WidthCode() == isf::kTimeDelta8 &&
         FindBrokenRule(entry).problem == nullptr;
}

std::optional<std::uint64_t> FindCaptureBehind(cByteSource& source, std::uint64_t from,
                                               std::uint64_t size) {
  const auto header = isf::StoreHeader();
  std::array<std::uint8_t, kPiece> bytes{};
  // Each piece begins with the last bytes of the one before: a header may stand across two.
  for (std::uint64_t begin = from;
       size >= begin && size - begin >= isf::kHeaderSize + isf::kBlockSize;
       begin += kPiece - (header.size() - 1)) {
    const std::span piece(bytes.data(), source.ReadAt(begin, bytes));
    for (auto found = piece.begin();; ++found) {
      found = std::search(found, piece.end(), header.begin(), header.end());
      if (found == piece.end()) {
        break;
      }
      const std::uint64_t offset = begin + static_cast<std::uint64_t>(found - piece.begin());
      if (IsCaptureAt(source, offset, size) && HasFirstItem(source, offset)) {
        return offset;
      }
    }
    if (piece.size() != kPiece) {
      break;
    }
  }
  return std::nullopt;
}

}  // namespace corvane
