#include "corvane/profile/profile_requests.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "capture/request_queue.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "diag/requests.h"
#include "diag/shared_buffer.h"
#include "filters/mask_lists.h"

namespace corvane::tools {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Adds the number of each bit that is set, counted from `base`.
void AddBits(Bytes mask, std::uint32_t base, std::set<std::uint16_t>& numbers) {
  for (std::uint32_t bit = 0; bit < 8 * mask.size(); ++bit) {
    if ((mask[bit / 8] >> (bit % 8) & 1) != 0) {
      numbers.insert(static_cast<std::uint16_t>(base + bit));
    }
  }
}

void AddEvents(std::string_view text, sProfileRequests& requests) {
  if (const OwnedBuffer request = BuildEventMaskRequest(ParseEventIDs(text))) {
    ++requests.forEvents;
    AddBits(request->Bytes().subspan(event_mask::kMask), 0, requests.eventIds);
  }
}

// Returns the subsystems of the requests, in their order.
[[nodiscard]] std::vector<std::uint16_t> AddMessages(std::string_view text,
                                                     sProfileRequests& requests) {
  std::vector<std::uint16_t> order;
  for (const auto& [number, levels] : ParseMessageLevels(text)) {
    const OwnedBuffer request = BuildMessageLevelsRequest(number, number, {&levels, 1});
    if (request == nullptr) {
      continue;
    }
    ++requests.forMessages;
    const Bytes bytes = request->Bytes();
    // A longer number is cut, and the last request for an SSID is what counts.
    const std::uint16_t ssid = Load16(&bytes[message_levels::kFirstSsid]);
    const std::uint32_t mask = Load32(&bytes[message_levels::kMasks]);
    order.push_back(ssid);
    requests.messageLevels.erase(ssid);
    if (mask != 0) {
      requests.messageLevels.emplace(ssid, mask);
    }
  }
  return order;
}

// The library keeps its last requests. Those of log codes are never among the lost: there are no
// more of them than equipment IDs.
void DropLost(const std::vector<std::uint16_t>& messageOrder, sProfileRequests& requests) {
  const std::size_t withoutLoss = sRequestQueue::kCapacity + requests.startUp + requests.forEvents;
  if (requests.Count() > sRequestQueue::kCapacity + requests.startUp) {
    requests.lostEventIds.swap(requests.eventIds);
  }
  const std::size_t lost = requests.Count() - std::min(requests.Count(), withoutLoss);
  // A later request may ask for the same subsystem.
  const std::set<std::uint16_t> kept(messageOrder.begin() + static_cast<std::ptrdiff_t>(lost),
                                     messageOrder.end());
  for (std::size_t place = 0; place < lost; ++place) {
    const std::uint16_t ssid = messageOrder[place];
    if (!kept.contains(ssid) && requests.messageLevels.erase(ssid) != 0) {
      requests.lostSsids.insert(ssid);
    }
  }
}

void AddLogCodes(std::string_view text, sProfileRequests& requests) {
  const LogCodeSet codes = ParseLogCodes(text);
  std::set<std::uint32_t> equipmentIds;
  for (const std::uint32_t code : codes) {
    equipmentIds.insert((code >> log_packet::kEquipmentIdShift) % log_packet::kEquipmentIds);
  }
  for (const std::uint32_t id : equipmentIds) {
    if (const OwnedBuffer request = BuildLogMaskRequest(id, codes)) {
      ++requests.forLogCodes;
      AddBits(request->Bytes().subspan(log_mask::kMask), id << log_packet::kEquipmentIdShift,
              requests.logCodes);
    }
  }
}

}  // namespace

sProfileRequests RequestsOf(std::string_view text) {
  sProfileRequests requests;
  requests.startUp = StartUpRequests().size();
  AddEvents(text, requests);
  const std::vector<std::uint16_t> messageOrder = AddMessages(text, requests);
  AddLogCodes(text, requests);
  DropLost(messageOrder, requests);
  requests.unwraps = ParseMultiSim(text);
  return requests;
}

}  // namespace corvane::tools
