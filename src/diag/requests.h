#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <span>

#include "diag/shared_buffer.h"
#include "filters/mask_lists.h"

namespace corvane {

// The requests that open every connection, in the order in which they are sent. Their answers are
// recorded, not interpreted.
[[nodiscard]] std::span<const std::span<const std::uint8_t>> StartUpRequests();

// Builders of the requests that carry the filter records. Each returns a new buffer of
// kOriginLibrary, or null when the request cannot be built. Nothing is printed.

// Command 0x73, operation 3: which log items of one equipment ID (0..15) are wanted. 528 bytes.
[[nodiscard]] sOwnedBuffer BuildLogMaskRequest(std::uint32_t equipmentId,
                                               const LogCodeSet& logCodes);

// Clears the 512 mask bytes and sets the bit of each item of `equipmentId`. Does nothing with a
// null mask or an equipment ID above 15.
void FillLogMask(std::uint8_t* mask, std::uint32_t equipmentId, const LogCodeSet& logCodes);

// Command 0x82: which events are wanted. `eventIds` must not be empty. An ID above 4095 leaves the
// whole mask zero: such a configuration switches every event off.
[[nodiscard]] sOwnedBuffer BuildEventMaskRequest(const EventIdSet& eventIds);

// Command 0x7D, operation 4: the message levels of the SSIDs `firstSsid`..`lastSsid`, one level set
// for each. Levels of 32 and above are left out; SSIDs are sent as their low 16 bits.
[[nodiscard]] sOwnedBuffer BuildMessageLevelsRequest(
    std::uint32_t firstSsid, std::uint32_t lastSsid,
    std::span<const std::set<std::uint32_t>> levelSets);

// Command 0x7D, operation 5: one level mask for all SSIDs, made from `levels`.
[[nodiscard]] sOwnedBuffer BuildAllLevelsRequest(const std::set<std::uint32_t>& levels);

}  // namespace corvane
