#include "analysis/system_information_seen.h"

#include <algorithm>
#include <array>
#include <utility>

#include "describe/message_names.h"
#include "describe/system_information.h"
#include "diag/packets.h"

namespace corvane {
namespace {

// Logs that tell what a cell's master information block says, without the block.
constexpr std::uint16_t kLteMibLog = 0xB0C1;
constexpr std::uint16_t kNrMibLog = 0xB822;
constexpr std::string_view kBroadcastChannel = "BCCH-BCH";
constexpr std::string_view kMasterBlock = "MIB";

// The field's short forms of names.
struct sShortForm {
  std::string_view beginning;
  std::string_view shortened;
};
constexpr std::array<sShortForm, 6> kShortForms = {{
    {"System information block type ", "SIB"},
    {"System information type ", "SI "},
    {"Packet system info ", "PSI "},
    {"SysInfo type ", "SIB"},
    {"Master information block", kMasterBlock},
    {"MIB", kMasterBlock},
}};

[[nodiscard]] std::string ShortName(std::string_view name) {
  for (const sShortForm& form : kShortForms) {
    if (name.starts_with(form.beginning)) {
      return std::string(form.shortened).append(name.substr(form.beginning.size()));
    }
  }
  return std::string(name);
}

// What a message says which blocks it has; empty for one that has none.
[[nodiscard]] std::string BlocksOf(const sSignalling& message) {
  if (const auto content = SystemInformationContent(message); !content.firstBlock.empty()) {
    std::string name(content.firstBlock);
    if (content.blocks > 1) {
      name += " and " + std::to_string(content.blocks - 1) + " more";
    }
    return name;
  }
  switch (message.syntax) {
    case eSyntax::WcdmaSystemInformationBlock:
    case eSyntax::LteBcchBch:
    case eSyntax::LteBcchDlSch:
    case eSyntax::LteNbBcchBch:
    case eSyntax::LteNbBcchDlSch:
    case eSyntax::NrBcchBch:
    case eSyntax::NrBcchDlSch:
      return ShortName(message.messageName);
    default:
      break;
  }
  const std::string_view name = message.messageName;
  const bool isGsm =
      name.starts_with("System information type ") || name.starts_with("Packet system info ");
  return isGsm ? ShortName(name) : std::string();
}

}  // namespace

void cSystemInformationSeen::Add(const sCaptureItem& item, const sDescription& description,
                                 std::span<const sWholeMessage> messages, const sSource& source,
                                 bool isRebuilt) {
  const std::optional<std::size_t> cell = CellOf(item, description, source);
  if (description.logCode == kLteMibLog || description.logCode == kNrMibLog) {
    Count(item.time,
          {cell, description.technology, kBroadcastChannel, false, std::string(kMasterBlock)});
  }
  for (const sWholeMessage& message : messages) {
    const sSignalling& signalling = *message.signalling;
    if (std::string name = BlocksOf(signalling); !name.empty()) {
      Count(item.time,
            {cell, description.technology, signalling.channel, isRebuilt, std::move(name)});
    }
    for (const std::uint8_t type : ListedBlocks(signalling)) {
      Count(item.time, {cell, description.technology, signalling.channel, isRebuilt,
                        ShortName(SystemInformationBlockName(type))});
    }
  }
}

std::optional<std::size_t> cSystemInformationSeen::CellOf(const sCaptureItem& item,
                                                          const sDescription& description,
                                                          const sSource& source) {
  const std::optional<std::size_t> told = cells.Add(item.time, description);
  if (description.technology == eTechnology::Gsm) {
    if (told || source != lastSource) {
      lastGsm = told;
      lastSource = source;
    }
    return lastGsm;
  }
  if (!told && !description.cell && description.logCode == ota_log::kLogCode && item.extra) {
    sCell learned;
    learned.cellIdentity = item.extra;
    return cells.Add(item.time, eTechnology::Wcdma, learned);
  }
  return told;
}

void cSystemInformationSeen::Count(std::uint64_t time, const Key& key) {
  auto found = blocks.find(key);
  if (found == blocks.end()) {
    if (blocks.size() == kMostBlocks) {
      ++others;
      return;
    }
    const auto& [cell, technology, bearer, isRebuilt, name] = key;
    found =
        blocks.emplace(key, sSeenBlock{cell, technology, bearer, name, isRebuilt, 0, time, time})
            .first;
  }
  sSeenBlock& seen = found->second;
  ++seen.times;
  seen.first = std::min(seen.first, time);
  seen.last = std::max(seen.last, time);
}

std::vector<sSeenBlock> cSystemInformationSeen::Blocks() const {
  std::vector<sSeenBlock> found;
  found.reserve(blocks.size());
  for (const auto& [key, block] : blocks) {
    found.push_back(block);
  }
  return found;
}

}  // namespace corvane
