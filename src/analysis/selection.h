#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Which items of a capture a user wants to see, count, export or keep.
namespace corvane {

enum class eDirection : std::uint8_t { FromModem, ToModem };

// Numbers from `first` to `last`, both included.
struct sNumberRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;

  [[nodiscard]] bool Holds(std::uint32_t number) const { return first <= number && number <= last; }
};

// An end of the wanted stretch. Items are in file order, which is not always that of their times: a
// clock may be set back. So a time does not tell where to begin or to stop, it selects items.
struct sSelectionBound {
  std::optional<std::uint64_t> number;  // of an item, counted from 0
  std::optional<std::uint64_t> time;    // milliseconds since 1601-01-01 UTC
  // Milliseconds from the time of the capture's first item.
  std::optional<std::uint64_t> sinceStart;
  // Milliseconds from the midnight that began the day of the capture's first item, on a clock that
  // is so many milliseconds ahead of UTC. An upper bound that is earlier than a lower one of this
  // kind is one of the next day.
  std::optional<std::uint64_t> timeOfDay;
  std::int64_t clockAhead = 0;

  [[nodiscard]] bool IsOpen() const { return !number && !time && !sinceStart && !timeOfDay; }
};

// What is empty demands nothing. The first four widen each other: an item is wanted that fits one
// of them. Each of the others narrows.
struct sSelection {
  std::vector<std::uint32_t> types;     // item types
  std::vector<sNumberRange> logCodes;   // of log packets
  std::vector<sNumberRange> events;     // event IDs
  std::vector<sNumberRange> ssids;      // subsystem IDs of debug messages
  std::uint32_t levels = 0;             // bits of debug messages; one of them is enough
  std::optional<eDirection> direction;  // of packets; the recorder's own texts have none
  // Stands in a text of the recorder or of a debug message, letter case as it is here.
  std::string contains;
  bool invert = false;   // what the above does not want; the bounds stay
  sSelectionBound from;  // bounds are inclusive
  sSelectionBound to;

  // Every item of a capture is wanted.
  [[nodiscard]] bool IsEverything() const;
  // Demands something else than a stretch of the capture.
  [[nodiscard]] bool DemandsContent() const;
};

}  // namespace corvane
