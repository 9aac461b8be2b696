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
// kOriginLibrary, or null when the request cannot be built or memory runs out. Nothing is printed.

// Command 0x73, operation 3: which log items of one equipment ID are wanted. 528 bytes. Null for an
// equipment ID above 15.
[[nodiscard]] OwnedBuffer BuildLogMaskRequest(std::uint32_t equipmentId,
                                              const LogCodeSet& logCodes);

// Clears the 512 mask bytes and sets the bit of each item of `equipmentId`. Does nothing with a
// null mask or an equipment ID above 15. The codes are read in ascending order up to the first one
// of a greater equipment ID.
void FillLogMask(std::uint8_t* mask, std::uint32_t equipmentId, const LogCodeSet& logCodes);

// Command 0x82: which events are wanted. Null for no event IDs, and for one above 65607, which
// makes the request too long. An ID above 4095 leaves the whole mask zero: such a configuration
// switches every event off.
[[nodiscard]] OwnedBuffer BuildEventMaskRequest(const EventIdSet& eventIds);

// Command 0x7D, operation 4: the message levels of the SSIDs `firstSsid`..`lastSsid`, one level set
// for each, in their order. Levels of 32 and above are left out; SSIDs are sent as their low 16
// bits. Null for a descending range, another number of level sets than of SSIDs, or more than 2050.
[[nodiscard]] OwnedBuffer BuildMessageLevelsRequest(
    std::uint32_t firstSsid, std::uint32_t lastSsid,
    std::span<const std::set<std::uint32_t>> levelSets);

// Command 0x7D, operation 5: one level mask for all SSIDs, made from `levels`.
[[nodiscard]] OwnedBuffer BuildAllLevelsRequest(const std::set<std::uint32_t>& levels);

}  // namespace corvane
