#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/packet_head.h"
#include "analysis/time_span.h"
#include "capture/isf/layout.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// How many there are of something. Times are in milliseconds since 1601-01-01 UTC.
struct sItemTotals {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;           // of the packets that they came in
  std::uint64_t first = UINT64_MAX;  // the earliest time
  std::uint64_t last = 0;            // the latest time

  void Add(std::uint64_t packetBytes, std::uint64_t time);
};

// The totals of things that have numbers of 16 bits: log codes, event IDs, subsystem IDs. They take
// 2 MB at most.
class cNumberedTotals {
 public:
  void Add(std::uint16_t number, std::uint64_t packetBytes, std::uint64_t time);

  // Of the numbers that came, in ascending order.
  [[nodiscard]] std::vector<std::pair<std::uint16_t, sItemTotals>> All() const;

 private:
  static constexpr std::size_t kPageSize = 256;
  using Page = std::array<sItemTotals, kPageSize>;
  std::array<std::unique_ptr<Page>, 0x10000 / kPageSize> pages;
};

// What tells requests apart, and replies; and packets of no known sort.
struct sCommandKey {
  eItemSort sort = eItemSort::Unknown;  // Request, Reply or Unknown
  std::optional<std::uint8_t> code;     // empty where the packet has none
  std::optional<std::uint8_t> subsystem;
  std::optional<std::uint16_t> subsystemCommand;

  friend auto operator<=>(const sCommandKey&, const sCommandKey&) = default;
};

// In the field's words: CommandWords (analysis/command_names.h).
[[nodiscard]] std::string CommandKeyName(const sCommandKey& key);

// Counts the items of a capture by all that they are, in constant memory.
class cStatistics {
 public:
  // Items come in file order.
  void Add(const sCaptureItem& item, const sPacketHead& head);

  [[nodiscard]] const sItemTotals& All() const { return all; }
  // What rates are by, in milliseconds; 0 for a capture of a single moment.
  [[nodiscard]] std::uint64_t Span() const { return span.Length(); }

  [[nodiscard]] const std::array<sItemTotals, isf::kItemTypes>& Types() const { return types; }
  [[nodiscard]] const cNumberedTotals& LogCodes() const { return logCodes; }
  // Events, not packets of them: a report that was not split has several.
  [[nodiscard]] const cNumberedTotals& Events() const { return events; }
  // Of debug messages.
  [[nodiscard]] const cNumberedTotals& Ssids() const { return ssids; }
  // By the numbers of the bits: 0 low, 1 medium, 2 high, 3 error, 4 fatal. A message of several
  // levels counts for each.
  [[nodiscard]] const std::array<sItemTotals, 32>& Levels() const { return levels; }
  // At most kMostCommands; and the packets of others.
  [[nodiscard]] const std::map<sCommandKey, sItemTotals>& Commands() const { return commands; }
  [[nodiscard]] const sItemTotals& OtherCommands() const { return otherCommands; }

  static constexpr std::size_t kMostCommands = 1000;

 private:
  void AddCommand(const sCaptureItem& item, const sPacketHead& head);

  sItemTotals all;
  cTimeSpan span;
  std::array<sItemTotals, isf::kItemTypes> types;
  cNumberedTotals logCodes;
  cNumberedTotals events;
  cNumberedTotals ssids;
  std::array<sItemTotals, 32> levels;
  std::map<sCommandKey, sItemTotals> commands;
  sItemTotals otherCommands;
};

}  // namespace corvane
