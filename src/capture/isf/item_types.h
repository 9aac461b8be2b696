#pragma once

#include <cstdint>
#include <optional>

#include "diag/shared_buffer.h"

namespace corvane {

// What the store learns from the library's own packets and writes beside some log packets.
// 0xFFFFFFFF: not known yet.
inline constexpr std::uint32_t kNotLearned = 0xFFFFFFFF;
struct sLearnedValues {
  std::uint32_t technology = kNotLearned;  // 0 to 12
  std::uint32_t cellValue = kNotLearned;   // 24 bits

  // Learns from `item`, which must be usable. Only the library's own packets teach anything.
  void LearnFrom(const sSharedBuffer& item);
};

// How an item is recorded.
struct sItemKind {
  std::uint32_t type = 0;                   // an item type of capture/isf/layout.h
  std::optional<std::uint32_t> extra = {};  // the record's extra field, if it has one
};

// True for an event report of the device, which is recorded as its single events. The short answer
// to the event-reporting request, 60 00 00, is not one. `item` must be usable.
[[nodiscard]] bool IsEventReport(const sSharedBuffer& item);

// The packet inside a get-item response of the debug subsystem, as a packet of the device: it is
// recorded after the response. Nothing when `item` is something else, when the response reports a
// failure or is bare, or when there is no memory. `item` must be usable and held by a counted
// reference.
[[nodiscard]] cBufferReference UnwrapGetItemResponse(sSharedBuffer& item);

// Chooses how to record `item`, which must be usable and no event report, from its command code.
[[nodiscard]] sItemKind ChooseItemKind(const sSharedBuffer& item, const sLearnedValues& learned);

// True for the logs whose items carry the learned technology. All of them are signalling logs.
[[nodiscard]] bool IsTechnologyLog(std::uint16_t logCode);

// True for the logs that are recorded with a type of their own and offered to the reassembly of
// system information.
[[nodiscard]] bool IsSignallingLog(std::uint16_t logCode);

}  // namespace corvane
