#pragma once

#include <optional>
#include <string_view>

#include "modem_sim/bytes.h"
#include "modem_sim/random.h"

namespace corvane::modem_sim {

// Which packets or requests a fault is for: a list of items separated by commas, each of them
//   17        the one with this number (the first is 0)
//   20-25     these numbers, both ends included
//   2.5%      each with this probability, by the seed
//   0x73      every request with this command code (requests only)
//   all       every one
class cSelection {
 public:
  cSelection() = default;

  // Nothing when `text` is no such list.
  [[nodiscard]] static std::optional<cSelection> Parse(std::string_view text);

  // Whether the item with this number, and of a request this command, is selected. Draws one number
  // of `random` for each probability in the list, selected or not.
  [[nodiscard]] bool Selects(std::uint64_t number, std::optional<std::uint8_t> command,
                             cRandom& random) const;

  [[nodiscard]] bool Empty() const { return items.empty(); }
  // Whether a command code stands in the list.
  [[nodiscard]] bool NamesCommand() const;

 private:
  struct sItem {
    enum eForm { Range, Probability, Command } form = Range;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    double percent = 0;
    std::uint8_t command = 0;
  };
  [[nodiscard]] static std::optional<sItem> ParseItem(std::string_view text);

  std::vector<sItem> items;
};

}  // namespace corvane::modem_sim
