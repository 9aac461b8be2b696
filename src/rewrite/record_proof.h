#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "capture/isf/layout.h"

// What the bytes of a packet tell about themselves, where a directory cannot be relied on.
namespace corvane {

inline constexpr std::uint64_t kLongestRecord = isf::kLongestRecordHead + isf::kLongestPacket;

// Whether the recorder can have given this type to a packet of these bytes. `packet` is not empty.
[[nodiscard]] bool IsTypeFor(std::uint32_t type, std::span<const std::uint8_t> packet);

// Whether the recorder can have written an item of this type and extra field: by every rule that
// its packet and its extra field keep, while IsTypeFor holds requests and texts to fewer and to
// other ones. `packet` is not empty.
[[nodiscard]] bool IsAsRecorded(const isf::sRecordHead& head, std::span<const std::uint8_t> packet);

// The type of a packet whose bytes alone decide it: log and text items, events and debug messages.
// Nothing for requests and replies, which look alike.
[[nodiscard]] std::optional<std::uint32_t> TypeByContent(std::span<const std::uint8_t> packet);

// The type that a packet has rather than `type`, which is none for it: that by its content if the
// packet tells its own length too, or the one for the same direction. Nothing where neither is
// known.
[[nodiscard]] std::optional<std::uint32_t> FittingType(std::uint32_t type,
                                                       std::span<const std::uint8_t> packet);

// How long the packet is that `bytes` begin with, by its own account: a log packet, which says its
// length twice, an event, a text up to its end, a debug message with its texts. Nothing for other
// packets, and where `bytes` end before the packet does.
[[nodiscard]] std::optional<std::size_t> OwnLength(std::span<const std::uint8_t> bytes);

// Whether the recorder can have learned this extra field for a packet.
[[nodiscard]] bool IsExtraFor(std::uint32_t extra, std::span<const std::uint8_t> packet);

// The modem's time in a packet, in milliseconds since 1601-01-01; nothing where it has none that
// lies between 1990 and 2100.
[[nodiscard]] std::optional<std::uint64_t> ModemTimeIn(std::span<const std::uint8_t> packet);

// Whether a time, in milliseconds since 1601-01-01, is one of the years in which modems are
// recorded: 1980 to 2199.
[[nodiscard]] bool IsLikelyTime(std::uint64_t time);

}  // namespace corvane
