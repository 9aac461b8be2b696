#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "analysis/cells_seen.h"
#include "analysis/whole_messages.h"
#include "describe/description.h"
#include "reader/capture_file.h"

namespace corvane {

// A block of system information that a cell broadcasts.
struct sSeenBlock {
  std::optional<std::size_t> cell;  // cCellsSeen's number; nothing where no cell is known
  eTechnology technology = eTechnology::None;
  // What carried it: "BCCH-BCH", "BCCH-FACH", "SACCH"; lasts for ever.
  std::string_view bearer;
  std::string name;        // "SIB5", "MIB", "SI 3"; "SIB2 and 2 more" for several in one message
  bool isRebuilt = false;  // the recorder itself put it together
  std::uint64_t times = 0;
  std::uint64_t first = 0;  // times of the first and the last item
  std::uint64_t last = 0;
};

// Which blocks of system information each cell of a capture was heard to broadcast, with the cells.
//
// GSM's messages do not tell their cell: they count for the cell that the modem told last. WCDMA's
// older ones count for the cell that the recorder had learned.
class cSystemInformationSeen {
 public:
  // Takes the next item of a capture: what it is, the whole messages that it completes, where it
  // comes from, and whether the recorder has rebuilt it.
  void Add(const sCaptureItem& item, const sDescription& description,
           std::span<const sWholeMessage> messages, const sSource& source, bool isRebuilt);

  [[nodiscard]] const cCellsSeen& Cells() const { return cells; }
  // The blocks by cell, those of no known cell first, and by bearer.
  [[nodiscard]] std::vector<sSeenBlock> Blocks() const;
  // How often blocks were seen that are not kept.
  [[nodiscard]] std::uint64_t Others() const { return others; }

  static constexpr std::size_t kMostBlocks = 5000;

 private:
  using Key =
      std::tuple<std::optional<std::size_t>, eTechnology, std::string_view, bool, std::string>;

  [[nodiscard]] std::optional<std::size_t> CellOf(const sCaptureItem& item,
                                                  const sDescription& description,
                                                  const sSource& source);
  void Count(std::uint64_t time, const Key& key);

  cCellsSeen cells;
  std::map<Key, sSeenBlock> blocks;
  std::uint64_t others = 0;
  sSource lastSource;                  // of the GSM cell that was told last
  std::optional<std::size_t> lastGsm;  // its number
};

}  // namespace corvane
