#include "modem_sim/selection.h"

#include <algorithm>
#include <limits>

#include "common/quantities.h"

namespace corvane::modem_sim {

using tools::ParseDecimal;
using tools::ParseUnsigned;

std::optional<cSelection::sItem> cSelection::ParseItem(std::string_view text) {
  sItem item;
  if (text == "all") {
    item.last = std::numeric_limits<std::uint64_t>::max();
    return item;
  }
  if (text.ends_with('%')) {
    const auto percent = ParseDecimal(text.substr(0, text.size() - 1), 100);
    if (!percent) {
      return std::nullopt;
    }
    item.form = sItem::Probability;
    item.percent = *percent;
    return item;
  }
  if (text.starts_with("0x") || text.starts_with("0X")) {
    const auto command = ParseUnsigned<std::uint8_t>(text.substr(2), 16);
    if (!command) {
      return std::nullopt;
    }
    item.form = sItem::Command;
    item.command = *command;
    return item;
  }
  const std::size_t dash = text.find('-');
  const auto first = ParseUnsigned<std::uint64_t>(text.substr(0, dash));
  const auto last =
      dash == std::string_view::npos ? first : ParseUnsigned<std::uint64_t>(text.substr(dash + 1));
  if (!first || !last || *first > *last) {
    return std::nullopt;
  }
  item.first = *first;
  item.last = *last;
  return item;
}

std::optional<cSelection> cSelection::Parse(std::string_view text) {
  cSelection selection;
  while (true) {
    const std::size_t comma = text.find(',');
    const auto item = ParseItem(text.substr(0, comma));
    if (!item) {
      return std::nullopt;
    }
    selection.items.push_back(*item);
    if (comma == std::string_view::npos) {
      return selection;
    }
    text.remove_prefix(comma + 1);
  }
}

bool cSelection::Selects(std::uint64_t number, std::optional<std::uint8_t> command,
                         cRandom& random) const {
  bool selected = false;
  for (const sItem& item : items) {
    switch (item.form) {
      case sItem::Range:
        selected |= number >= item.first && number <= item.last;
        break;
      case sItem::Probability:
        selected |= random.Chance(item.percent);
        break;
      case sItem::Command:
        selected |= command == item.command;
        break;
    }
  }
  return selected;
}

bool cSelection::NamesCommand() const {
  return std::any_of(items.begin(), items.end(),
                     [](const sItem& item) { return item.form == sItem::Command; });
}

}  // namespace corvane::modem_sim
