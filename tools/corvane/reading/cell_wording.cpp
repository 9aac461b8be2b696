#include "corvane/reading/cell_wording.h"

#include <fmt/format.h>

#include <iterator>
#include <optional>

#include "describe/names.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

// What the networks call the same things.
struct sWords {
  std::string_view cell;       // what tells cells on a carrier apart
  std::string_view frequency;  // the number of a carrier
  std::string_view area;       // the number of an area
};

[[nodiscard]] sWords WordsOf(eTechnology technology) {
  switch (technology) {
    case eTechnology::Gsm:
      return {"BSIC", "ARFCN", "LAC"};
    case eTechnology::Wcdma:
      return {"PSC", "UARFCN", "LAC"};
    case eTechnology::Lte:
      return {"PCI", "EARFCN", "TAC"};
    case eTechnology::Nr:
      return {"PCI", "NR-ARFCN", "TAC"};
    default:
      return {"cell", "frequency", "area"};
  }
}

// Words with blanks between them, and `before` in front of the first.
class cGroup {
 public:
  cGroup(std::string& into, std::string_view inFront) : text(into), before(inFront) {}

  template <typename Number>
  void Add(std::string_view name, const std::optional<Number>& number) {
    if (number) {
      Begin(name);
      fmt::format_to(std::back_inserter(text), " {}", *number);
    }
  }

  // Two numbers of one name, of the downlink and the uplink: "1825/19825".
  void AddPair(std::string_view name, const std::optional<std::uint32_t>& downlink,
               const std::optional<std::uint32_t>& uplink) {
    Add(name, downlink);
    if (downlink && uplink) {
      fmt::format_to(std::back_inserter(text), "/{}", *uplink);
    }
  }

  void Begin(std::string_view name) {
    text += before;
    text += name;
    before = " ";
  }

 private:
  std::string& text;
  std::string_view before;
};

void AddCellNumber(cGroup& group, const sWords& words, const sCell& cell) {
  if (cell.bsic) {
    group.Add(words.cell, cell.bsic);
  } else {
    group.Add(words.cell, cell.physicalCell);
  }
}

void AppendNetwork(std::string& text, const sWords& words, const sCell& cell) {
  cGroup group(text, "  ");
  if (cell.plmn) {
    group.Begin("PLMN");
    (text += ' ') += PlmnText(*cell.plmn);
  }
  group.Add(words.area, cell.areaCode);
  group.Add("RAC", cell.routingArea);
  if (cell.cellIdentity) {
    group.Begin("cell");
    fmt::format_to(std::back_inserter(text), " 0x{:X}", *cell.cellIdentity);
  }
  if (cell.globalIdentity) {
    group.Begin("NCGI");
    fmt::format_to(std::back_inserter(text), " 0x{:X}", *cell.globalIdentity);
  }
}

}  // namespace

void AppendCarrier(std::string& text, std::string_view before, eTechnology technology,
                   const sCell& cell) {
  const sWords words = WordsOf(technology);
  cGroup group(text, before);
  AddCellNumber(group, words, cell);
  group.Add(words.frequency, cell.frequency);
}

void AppendCell(std::string& text, eTechnology technology, const sCell& cell) {
  const sWords words = WordsOf(technology);
  cGroup carrier(text, "  ");
  AddCellNumber(carrier, words, cell);
  carrier.AddPair(words.frequency, cell.frequency, cell.uplinkFrequency);
  AppendNetwork(text, words, cell);
  cGroup radio(text, "  ");
  radio.Add("band", cell.band);
  radio.AddPair("bandwidth", cell.bandwidth, cell.uplinkBandwidth);
  radio.Add("antennas", cell.antennas);
  radio.Add("SFN", cell.systemFrame);
}

void AppendCellTable(std::string& text, const cCellsSeen& cells) {
  const std::vector<sSeenCell> found = cells.Cells();
  if (found.empty()) {
    return;
  }
  text += "\nCells seen: first time, last time, packets\n";
  const auto out = std::back_inserter(text);
  for (const sSeenCell& seen : found) {
    fmt::format_to(out, "  {}  {}  {:>8}  {}", FormatUtc(seen.first), FormatUtc(seen.last),
                   seen.items, TechnologyName(seen.technology));
    AppendCell(text, seen.technology, seen.cell);
    text += '\n';
  }
  if (cells.Others() != 0) {
    fmt::format_to(out, "  and others, {} time{}\n", cells.Others(),
                   cells.Others() == 1 ? "" : "s");
  }
}

}  // namespace corvane::tools
