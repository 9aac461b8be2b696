#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "describe/description.h"

namespace corvane {

// A cell that a capture tells of.
struct sSeenCell {
  std::size_t number = 0;  // from 0, in the order in which cells were seen first
  eTechnology technology = eTechnology::None;
  sCell cell;               // all that is known of it, but for the numbers of a frame
  std::uint64_t first = 0;  // time of the first item that tells of it
  std::uint64_t last = 0;   // of the last
  std::uint64_t items = 0;  // that tell of it
};

// The cells that a capture tells of, each with when it was seen first and last.
//
// Most messages tell a cell only by its carrier and by its number on it. They count for the cell
// with both that was last told with its network's identity, so that a cell is not shown twice.
class cCellsSeen {
 public:
  // Takes note of the cell that a packet tells of, if it does. `time` is the item's. Returns the
  // cell's number; nothing where none is told, and of a cell that is not kept.
  std::optional<std::size_t> Add(std::uint64_t time, const sDescription& description);
  // The same where the cell is known from elsewhere.
  std::optional<std::size_t> Add(std::uint64_t time, eTechnology technology, const sCell& told);

  // The cells by technology, carrier and number.
  [[nodiscard]] std::vector<sSeenCell> Cells() const;
  // How often cells were seen that are not kept.
  [[nodiscard]] std::uint64_t Others() const { return others; }

  // As many cells are kept as a user may want to read.
  static constexpr std::size_t kMostCells = 1000;

 private:
  // What tells a cell apart on the air.
  using RadioKey = std::tuple<eTechnology, std::optional<std::uint32_t>,
                              std::optional<std::uint16_t>, std::optional<std::uint8_t>>;
  // What the network calls it: MCC, MNC, MNC digits; and the cell's identity.
  using Network = std::tuple<std::uint16_t, std::uint16_t, std::uint8_t>;
  using Identity = std::tuple<std::optional<Network>, std::optional<std::uint64_t>>;
  using Key = std::tuple<RadioKey, Identity>;

  [[nodiscard]] sSeenCell* Find(const RadioKey& radio, const sCell& cell);

  std::map<Key, sSeenCell> cells;
  std::map<RadioKey, Identity> latest;  // the cell that was told last by its carrier and number
  std::uint64_t others = 0;
};

}  // namespace corvane
