#include "analysis/cells_seen.h"

#include <algorithm>
#include <utility>

namespace corvane {
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

std::optional<std::size_t> cCellsSeen::Add(std::uint64_t time, const sDescription& description) {
  return description.cell ? Add(time, description.technology, *description.cell) : std::nullopt;
}

std::optional<std::size_t> cCellsSeen::Add(std::uint64_t time, eTechnology technology,
                                           const sCell& told) {
  if (!IsCell(told)) {
    return std::nullopt;
  }
  const sCell cell = WithoutFrame(told);
  const RadioKey radio(technology, cell.frequency, cell.physicalCell, cell.bsic);
  sSeenCell* const seen = Find(radio, cell);
  if (seen == nullptr) {
    ++others;
    return std::nullopt;
  }
  Merge(seen->cell, cell);
  seen->first = seen->items == 0 ? time : std::min(seen->first, time);
  seen->last = std::max(seen->last, time);
  ++seen->items;
  return seen->number;
}

// The cell's place among those kept; null when there is no room for another one.
sSeenCell* cCellsSeen::Find(const RadioKey& radio, const sCell& cell) {
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
    found = cells.emplace(Key(radio, identity), sSeenCell{cells.size(), std::get<0>(radio), cell})
                .first;
  }
  latest[radio] = identity;
  return &found->second;
}

std::vector<sSeenCell> cCellsSeen::Cells() const {
  std::vector<sSeenCell> found;
  found.reserve(cells.size());
  for (const auto& [key, seen] : cells) {
    found.push_back(seen);
  }
  return found;
}

}  // namespace corvane
