#include "corvane/capture/disk_room.h"

#include <fmt/format.h>

#include <utility>

#include "capture/isf/layout.h"
#include "corvane/capture/capture_follower.h"

namespace corvane::tools {
namespace {

// Disks give room away in clusters; this is a usual one.
constexpr std::uint64_t kCluster = 4096;

// Whether the next item finds no room. What is left of the file's last cluster may take a few.
[[nodiscard]] bool IsOut(const sDiskLook& look) {
  const std::uint64_t needed =
      look.fileItems % isf::kItemsPerBlock == 0 ? isf::kBlockSize : kCluster;
  return look.freeSpace.value_or(needed) < needed;
}

}  // namespace

cDiskRoom::sNews cDiskRoom::Lose(const sDiskLook& look, std::string warning) {
  room = eDiskRoom::None;
  wasNone = true;
  bytesWhenLost = look.bytes;
  return {std::move(warning), {}};
}

cDiskRoom::sNews cDiskRoom::Look(const sDiskLook& look) {
  const bool isLosing = std::exchange(unwritten, look.unwritten) != look.unwritten;
  if (std::exchange(bytes, look.bytes) != look.bytes || !look.isConnected) {
    grown = look.elapsed;
  }
  const bool isScarce = look.freeSpace.value_or(isf::kBlockSize) < isf::kBlockSize;
  if (room == eDiskRoom::None) {
    if (isScarce || isLosing || look.bytes <= bytesWhenLost) {
      return {};
    }
    room = eDiskRoom::Enough;
    return {{}, fmt::format("{} is written again", look.path)};
  }
  // On a COM port the library says of no packet that it could not be written: all that shows is a
  // file that grows no more.
  if (isScarce && (isLosing || (IsOut(look) && look.elapsed - grown >= kPatience))) {
    return Lose(look,
                fmt::format("the disk of {} is full: what the device sends is lost", look.path));
  }
  if (isLosing) {
    return Lose(
        look, fmt::format("{} can no longer be written: what the device sends is lost", look.path));
  }
  const eDiskRoom before = std::exchange(room, isScarce ? eDiskRoom::Scarce : eDiskRoom::Enough);
  if (room == eDiskRoom::Scarce && before != eDiskRoom::Scarce) {
    return {fmt::format("the disk of {} is nearly full: soon what the device sends will be lost",
                        look.path),
            {}};
  }
  return {};
}

}  // namespace corvane::tools
