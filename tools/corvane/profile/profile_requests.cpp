#include "corvane/profile/profile_requests.h"

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

void AddMessages(std::string_view text, sProfileRequests& requests) {
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
    requests.messageLevels.erase(ssid);
    if (mask != 0) {
      requests.messageLevels.emplace(ssid, mask);
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
  AddMessages(text, requests);
  AddLogCodes(text, requests);
  requests.unwraps = ParseMultiSim(text);
  return requests;
}

}  // namespace corvane::tools
