#include "rewrite/recovery.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <utility>

#include "rewrite/block_search.h"
#include "rewrite/loss_text.h"
#include "rewrite/part_recovery.h"
#include "rewrite/part_source.h"
#include "rewrite/realignment.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

[[nodiscard]] bool HasHeader(cByteWindow& bytes, std::uint64_t offset) {
  const auto header = bytes.Read(offset, isf::kHeaderSize);
  return header && isf::IsHeader(header->first<isf::kHeaderSize>());
}

[[nodiscard]] bool HasTrailerOfNone(cByteWindow& bytes, std::uint64_t offset) {
  const auto found = bytes.Read(offset, isf::kTrailerSize);
  if (!found) {
    return false;
  }
  const isf::sTrailer trailer = isf::LoadTrailer(found->first<isf::kTrailerSize>());
  return trailer.magic == isf::kTrailerMagic && trailer.zero == 0 && trailer.itemCount == 0;
}

class cRecovery {
 public:
  // What is found out is added to `begun`.
  cRecovery(cByteSource& bytes, std::uint64_t fileSize, const RecoveredItemTaker& taker,
            sRecoveryReport begun)
      : source(bytes), looks(bytes), size(fileSize), take(taker), report(std::move(begun)) {}

  [[nodiscard]] sRecoveryReport Recover() {
    std::uint64_t origin = 0;
    std::optional<std::uint64_t> first = FindFirst(origin);
    while (first) {
      const std::uint64_t here = *first;
      const std::uint64_t thisOrigin = origin;
      first = FindNext(here, origin);
      std::uint64_t end = size;
      if (first) {
        end = origin != thisOrigin ? origin : *first;
      }
      cPartRecovery part(source,
                         {thisOrigin, here - thisOrigin, end, size, first && origin == thisOrigin},
                         take, report);
      if (!part.Recover()) {
        break;
      }
    }
    return std::move(report);
  }

 private:
  // Where the first block stands. `origin` receives where its capture begins.
  [[nodiscard]] std::optional<std::uint64_t> FindFirst(std::uint64_t& origin) {
    // Captures without items have nothing to recover, but for what follows them.
    while (HasHeader(looks, origin) && HasTrailerOfNone(looks, origin + isf::kHeaderSize) &&
           HasHeader(looks, origin + isf::kHeaderSize + isf::kTrailerSize)) {
      origin += isf::kHeaderSize + isf::kTrailerSize;
      AddCapture(origin);
    }
    // So has one of which there is only the header.
    while (HasHeader(looks, origin) && HasHeader(looks, origin + isf::kHeaderSize)) {
      origin += isf::kHeaderSize;
      AddCapture(origin);
    }
    if (HasHeader(looks, origin)) {
      return origin + isf::kHeaderSize;
    }
    if (ProvesBlock(source, size, isf::kHeaderSize) || EndsAsBlock(isf::kHeaderSize)) {
      report.mended.Add({"the file does not begin as a capture file does", 0});
      return isf::kHeaderSize;
    }
    const auto found = FindBlock(source, size, 0);
    if (found == std::uint64_t{0}) {
      report.mended.Add({"the file lacks its header and begins with a block", 0});
    } else if (found) {
      report.losses.Add({"the first " + Count(*found, "byte") + " lead to no item", 0});
      report.lostBytes += *found;
      EnterCapture(*found, origin);
    }
    return found;
  }

  // Whether a block's link and base time stand at the end of what may be one. A beginning of a file
  // that was overwritten took the first directory entries along, which would prove the block.
  [[nodiscard]] bool EndsAsBlock(std::uint64_t offset) {
    std::array<std::uint8_t, isf::kBlockTailSize> bytes{};
    if (source.ReadAt(offset + isf::kDirectorySize, bytes) != bytes.size()) {
      return false;
    }
    const isf::sBlockTail tail = isf::LoadBlockTail(bytes);
    const bool isLink = tail.nextBlock == 0 || (tail.nextBlock > offset + isf::kBlockSize &&
                                                ProvesBlock(source, size, tail.nextBlock));
    return isLink && IsLikelyTime(tail.baseTime);
  }

  // Where the chain goes on that begins at `first`, once it has broken off: behind a lost block, or
  // in another capture.
  [[nodiscard]] std::optional<std::uint64_t> FindNext(std::uint64_t first, std::uint64_t& origin) {
    sRecoveryReport ignored;
    cPartRecovery part(source, {origin, first - origin, size, size}, take, ignored);
    const auto found = part.FindNextPart();
    if (found) {
      EnterCapture(*found, origin);
    }
    return found;
  }

  // A block behind a header is the first of another capture, whose positions count from there.
  void EnterCapture(std::uint64_t block, std::uint64_t& origin) {
    if (block >= origin + isf::kHeaderSize + 1 && block > isf::kHeaderSize &&
        HasHeader(looks, block - isf::kHeaderSize)) {
      origin = block - isf::kHeaderSize;
      AddCapture(origin);
    }
  }

  void AddCapture(std::uint64_t origin) {
    if (report.captures++ < cDamage::kMostKept) {
      report.moreCaptures.push_back(origin);
    }
  }

  cByteSource& source;
  cByteWindow looks;
  const std::uint64_t size;
  const RecoveredItemTaker& take;
  sRecoveryReport report;
};

// Says where bytes were removed or put in. The places that are told are those of the file as it
// was.
void TellMoved(const sRealignment& was, sRecoveryReport& report) {
  std::int64_t distance = 0;
  for (const sMovedPiece& piece : was.pieces) {
    if (piece.distance != distance) {
      const std::int64_t more = piece.distance - distance;
      report.mended.Add({"bytes were removed or put in: from here on all stands " +
                             Count(static_cast<std::uint64_t>(std::abs(more)), "byte") +
                             (more > 0 ? " behind" : " before") +
                             " its place, and places are told as they were",
                         piece.begin});
    }
    distance = piece.distance;
  }
}

}  // namespace

sRecoveryReport RecoverCapture(cByteSource& source, const RecoveredItemTaker& take) {
  const std::optional<std::uint64_t> size = source.Size();
  sRecoveryReport report;
  if (!size) {
    report.losses.Add({"the file's size cannot be found out", {}});
    return report;
  }
  sCaptureError ignored;
  const auto file = cCaptureFile::Open(std::make_unique<cPartSource>(source, 0, *size), ignored);
  if (file != nullptr) {
    report.state = file->State();
  }
  const auto was =
      report.state == eCaptureState::Complete ? std::nullopt : FindRealignment(source, *size);
  if (!was) {
    return cRecovery(source, *size, take, std::move(report)).Recover();
  }
  TellMoved(*was, report);
  cRealignedSource realigned(source, *was);
  const RecoveredItemTaker takeMoved = [&](sRecoveredItem item) {
    item.offset = was->PlaceNow(item.offset);
    return take(item);
  };
  return cRecovery(realigned, was->size, takeMoved, std::move(report)).Recover();
}

}  // namespace corvane
