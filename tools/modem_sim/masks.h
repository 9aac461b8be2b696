#pragma once

#include <map>

#include "modem_sim/bytes.h"

namespace corvane::modem_sim {

// A subsystem's message level that was switched on: `level` is the bit number in its mask.
struct sMessageSource {
  std::uint16_t ssid = 0;
  unsigned level = 0;

  friend bool operator==(const sMessageSource&, const sMessageSource&) = default;
};

// What the host has asked the modem to report. Everything is off until a request switches it on.
class cMasks {
 public:
  // Replaces one equipment ID's log mask: bit (n & 7) of byte (n >> 3) is item n, for n below
  // `bits` (at most 4096). `equipmentId` is 0 to 15; `mask` holds all these bits.
  void SetLogMask(std::uint32_t equipmentId, std::uint32_t bits, ByteView mask);
  void ClearLogMasks();

  // Replaces the event mask, in the same bit order, for IDs below `bits`. IDs from 4096 up do not
  // exist on the wire and are passed over.
  void SetEventMask(std::uint32_t bits, ByteView mask);
  // Events are reported only while reporting is on as well.
  void SetEventReporting(bool on);

  // Replaces the levels, a bit for each, of the SSIDs from `firstSsid` on: one mask for each SSID,
  // of which there are no more than SSIDs are left.
  void SetMessageLevels(std::uint16_t firstSsid, const std::vector<std::uint32_t>& levels);
  void ClearMessageLevels();
  [[nodiscard]] std::uint32_t MessageLevels(std::uint16_t ssid) const;

  // As for the setter, with one byte for each 8 bits.
  [[nodiscard]] Bytes LogMask(std::uint32_t equipmentId, std::uint32_t bits) const;
  [[nodiscard]] Bytes EventMask(std::uint32_t bits) const;

  // What may be sent now, in ascending order.
  [[nodiscard]] const std::vector<std::uint16_t>& LogCodes() const { return logCodes; }
  [[nodiscard]] const std::vector<std::uint16_t>& EventIds() const { return reportedEvents; }
  [[nodiscard]] const std::vector<sMessageSource>& MessageSources() const { return sources; }
  [[nodiscard]] bool AnythingOn() const;

  // Back to nothing, as when the host has gone.
  void Clear();

 private:
  void RefreshEvents();
  void RefreshSources();

  std::vector<std::uint16_t> logCodes;
  std::vector<std::uint16_t> eventIds;        // switched on by the mask
  std::vector<std::uint16_t> reportedEvents;  // these while reporting is on, else none
  bool eventReporting = false;
  std::map<std::uint16_t, std::uint32_t> messageLevels;
  std::vector<sMessageSource> sources;
};

}  // namespace corvane::modem_sim
