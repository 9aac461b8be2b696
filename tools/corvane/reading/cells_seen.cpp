#include "corvane/reading/cells_seen.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "corvane/reading/cell_wording.h"
#include "describe/names.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

[[nodiscard]] bool IsCell(const sCell& cell) {
  return cell.frequency || cell.physicalCell || cell.bsic || cell.cellIdentity;
}

// What is known of the cell beyond the numbers of a frame, which are another each time.
[[nodiscard]] sCell WithoutFrame(sCell cell) {
  cell.systemFrame.reset();
  cell.subframe.reset();
  return cell;
}

template <typename Value>
void Fill(std::optional<Value>& known, const std::optional<Value>& told) {
  if (told) {
    known = told;
  }
}

// Takes over what `told` tells.
void Merge(sCell& known, const sCell& told) {
  Fill(known.uplinkFrequency, told.uplinkFrequency);
  Fill(known.plmn, told.plmn);
  Fill(known.cellIdentity, told.cellIdentity);
  Fill(known.globalIdentity, told.globalIdentity);
  Fill(known.areaCode, told.areaCode);
  Fill(known.routingArea, told.routingArea);
  Fill(known.band, told.band);
  Fill(known.bandwidth, told.bandwidth);
  Fill(known.uplinkBandwidth, told.uplinkBandwidth);
  Fill(known.antennas, told.antennas);
}

}  // namespace

void cCellsSeen::Add(std::uint64_t time, const sDescription& description) {
  if (!description.cell || !IsCell(*description.cell)) {
    return;
  }
  const sCell cell = WithoutFrame(*description.cell);
  const RadioKey radio(description.technology, cell.frequency, cell.physicalCell, cell.bsic);
  sSeen* const seen = Find(radio, cell);
  if (seen == nullptr) {
    ++others;
    return;
  }
  Merge(seen->cell, cell);
  seen->first = seen->times == 0 ? time : std::min(seen->first, time);
  seen->last = std::max(seen->last, time);
  ++seen->times;
}

// The cell's place among those kept; null when there is no room for another one.
cCellsSeen::sSeen* cCellsSeen::Find(const RadioKey& radio, const sCell& cell) {
  Identity identity{std::nullopt, cell.cellIdentity};
  if (cell.plmn) {
    std::get<0>(identity) = Network(cell.plmn->mcc, cell.plmn->mnc, cell.plmn->mncDigits);
  }
  const auto known = latest.find(radio);
  if (known != latest.end() && identity == Identity{}) {
    identity = known->second;
  }
  auto found = cells.find({radio, identity});
  if (found == cells.end() && known != latest.end() && known->second == Identity{}) {
    // Until now the cell had no identity.
    auto node = cells.extract({radio, Identity{}});
    node.key() = {radio, identity};
    found = cells.insert(std::move(node)).position;
  } else if (found == cells.end()) {
    if (cells.size() == kMostCells) {
      return nullptr;
    }
    found = cells.emplace(Key(radio, identity), sSeen{cell, 0, 0, 0}).first;
  }
  latest[radio] = identity;
  return &found->second;
}

void cCellsSeen::AppendTo(std::string& text) const {
  if (cells.empty()) {
    return;
  }
  text += "\nCells seen: first time, last time, packets\n";
  const auto out = std::back_inserter(text);
  for (const auto& [key, seen] : cells) {
    fmt::format_to(out, "  {}  {}  {:>8}  {}", FormatUtc(seen.first), FormatUtc(seen.last),
                   seen.times, TechnologyName(std::get<0>(std::get<0>(key))));
    AppendCell(text, std::get<0>(std::get<0>(key)), seen.cell);
    text += '\n';
  }
  if (others != 0) {
    fmt::format_to(out, "  and others, {} time{}\n", others, others == 1 ? "" : "s");
  }
}

}  // namespace corvane::tools
