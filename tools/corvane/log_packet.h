#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "reader/capture_file.h"

namespace corvane::tools {

// The command code of a log packet, and where its log code stands.
inline constexpr std::uint8_t kLogCommand = 0x10;
inline constexpr std::size_t kLogCodeOffset = 6;

// The log code of an item that is a log packet with room for one; nothing for any other item.
[[nodiscard]] inline std::optional<std::uint16_t> LogCode(const sCaptureItem& item) {
  if (item.type != isf::kShortLogItem && item.type != isf::kLogItem &&
      item.type != isf::kSignallingLogItem) {
    return std::nullopt;
  }
  if (item.bytes.size() < kLogCodeOffset + 2 || item.bytes[0] != kLogCommand) {
    return std::nullopt;
  }
  return Load16(&item.bytes[kLogCodeOffset]);
}

}  // namespace corvane::tools
