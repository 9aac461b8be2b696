#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>

#include "describe/description.h"

namespace corvane::tools {

// The cells that a capture tells of, each with when it was seen first and last.
//
// Most messages tell a cell only by its carrier and by its number on it. They count for the cell
// with both that was last told with its network's identity, so that a cell is not shown twice.
class cCellsSeen {
 public:
  // Takes note of the cell that a packet tells of, if it does. `time` is the item's.
  void Add(std::uint64_t time, const sDescription& description);

  // Appends a table with a line for each cell; nothing when there was none.
  void AppendTo(std::string& text) const;

  // As many cells are kept as a user may want to read. Of others only the number of times they were
  // seen is told.
  static constexpr std::size_t kMostCells = 1000;

 private:
  // What tells a cell apart on the air.
  using RadioKey = std::tuple<eTechnology, std::optional<std::uint32_t>,
                              std::optional<std::uint16_t>, std::optional<std::uint8_t>>;
  // What the network calls it: MCC, MNC, MNC digits; and the cell's identity.
  using Network = std::tuple<std::uint16_t, std::uint16_t, std::uint8_t>;
  using Identity = std::tuple<std::optional<Network>, std::optional<std::uint64_t>>;
  using Key = std::tuple<RadioKey, Identity>;
  struct sSeen {
    sCell cell;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint64_t times = 0;
  };

  [[nodiscard]] sSeen* Find(const RadioKey& radio, const sCell& cell);

  std::map<Key, sSeen> cells;
  std::map<RadioKey, Identity> latest;  // the cell that was told last by its carrier and number
  std::uint64_t others = 0;             // how often cells were seen that are not kept
};

}  // namespace corvane::tools
