#include "reader/closing_check.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "reader/directory_entry.h"

namespace corvane {
namespace {

[[nodiscard]] std::uint64_t IndexSize(const cBlockChain& chain) {
  return std::uint64_t{chain.Blocks().size()} * isf::kIndexEntrySize;
}

[[nodiscard]] sCaptureError IndexError(std::size_t entry, const char* problem,
                                       std::uint64_t offset) {
  return {"block index entry " + std::to_string(entry) + " " + problem, offset};
}

// Compares the index of all blocks, which begins at `offset`, with the blocks.
[[nodiscard]] std::optional<sCaptureError> CheckIndex(cByteSource& source, const cBlockChain& chain,
                                                      std::uint64_t offset) {
  constexpr std::size_t kEntriesAtATime = 4096;
  std::vector<std::uint8_t> bytes;
  for (std::size_t entry = 0; entry < chain.Blocks().size(); ++entry) {
    const std::size_t place = entry % kEntriesAtATime * isf::kIndexEntrySize;
    const std::uint64_t here = offset + std::uint64_t{entry} * isf::kIndexEntrySize;
    if (place == 0) {
      const std::size_t entries = std::min(kEntriesAtATime, chain.Blocks().size() - entry);
      bytes.resize(entries * isf::kIndexEntrySize);
      if (source.ReadAt(here, bytes) != bytes.size()) {
        return IndexError(entry, "cannot be read", here);
      }
    }
    const sCaptureBlock& block = chain.Blocks()[entry];
    if (Load64(&bytes[place + isf::kIndexBlockOffset]) != block.offset) {
      return IndexError(entry, "does not have its block's position", here + isf::kIndexBlockOffset);
    }
    if (Load64(&bytes[place + isf::kIndexBaseTime]) != block.baseTime) {
      return IndexError(entry, "does not have its block's base time", here + isf::kIndexBaseTime);
    }
  }
  return std::nullopt;
}

// The file claims to be closed: everything has to be right.
[[nodiscard]] std::optional<sCaptureError> CheckTrailer(
    cByteSource& source, const cBlockChain& chain, std::uint64_t size,
    std::span<const std::uint8_t, isf::kTrailerSize> trailer) {
  const std::uint64_t offset = size - isf::kTrailerSize;
  if (Load64(trailer.data()) != 0) {
    return sCaptureError{"the first 64 bits of the trailer are not zero", offset};
  }
  const std::uint32_t count = Load32(&trailer[isf::kTrailerItemCount]);
  // The trailer has 32 bits for the count; a longer capture's count has gone round.
  if (count != static_cast<std::uint32_t>(chain.ItemCount())) {
    return sCaptureError{"the trailer counts " + std::to_string(count) +
                             " items, the directories hold " + std::to_string(chain.ItemCount()),
                         offset + isf::kTrailerItemCount};
  }
  if (!chain.Blocks().empty() && chain.Blocks().back().items == 0) {
    return sCaptureError{"the last block has no items", chain.Blocks().back().offset};
  }
  if (offset < chain.End() || offset - chain.End() < IndexSize(chain)) {
    return sCaptureError{"the block index does not fit between the last record and the trailer",
                         chain.End()};
  }
  return CheckIndex(source, chain, offset - IndexSize(chain));
}

// A file without blocks that has no trailer either: what there is must be the beginning of a block.
[[nodiscard]] std::optional<sCaptureError> CheckBlockBegun(cByteSource& source,
                                                           std::uint64_t size) {
  const std::uint64_t directoryEnd = isf::kHeaderSize + isf::kDirectorySize;
  std::vector<std::uint8_t> bytes(
      static_cast<std::size_t>(std::min(size, directoryEnd) - isf::kHeaderSize));
  if (source.ReadAt(isf::kHeaderSize, bytes) != bytes.size()) {
    return sCaptureError{"the first block cannot be read", isf::kHeaderSize};
  }
  if (IsAllZero(bytes)) {
    return std::nullopt;
  }
  const auto used =
      std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
  const char* const what = size == isf::kHeaderSize + isf::kTrailerSize
                               ? "what follows the header is neither a block nor a trailer"
                               : "the first block is cut off, although its directory is in use";
  return sCaptureError{what, isf::kHeaderSize + static_cast<std::uint64_t>(used - bytes.begin())};
}

}  // namespace

sFileEnd CheckFileEnd(cByteSource& source, const cBlockChain& chain, std::uint64_t size) {
  if (size < chain.End()) {
    return {false, sCaptureError{"the file has become shorter than its items need", size}};
  }

  if (size - isf::kHeaderSize >= isf::kTrailerSize) {
    std::array<std::uint8_t, isf::kTrailerSize> trailer{};
    const std::uint64_t offset = size - isf::kTrailerSize;
    if (source.ReadAt(offset, trailer) != trailer.size()) {
      return {false, sCaptureError{"the end of the file cannot be read", offset}};
    }
    if (Load32(&trailer[isf::kTrailerMagicOffset]) == isf::kTrailerMagic) {
      auto error = CheckTrailer(source, chain, size, trailer);
      return {!error, std::move(error)};
    }
    // A whole index where that of a closed file would be was followed by a trailer once.
    const std::uint64_t closing = IndexSize(chain) + isf::kTrailerSize;
    if (!chain.Blocks().empty() && size - chain.End() >= closing &&
        !CheckIndex(source, chain, size - closing)) {
      return {false, sCaptureError{"the trailer does not end in its closing number",
                                   offset + isf::kTrailerMagicOffset}};
    }
  }
  if (chain.Blocks().empty()) {
    return {false, CheckBlockBegun(source, size)};
  }
  return {};
}

}  // namespace corvane
