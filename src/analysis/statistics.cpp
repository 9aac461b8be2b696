#include "analysis/statistics.h"

#include <algorithm>

#include "analysis/command_names.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {

void sItemTotals::Add(std::uint64_t packetBytes, std::uint64_t time) {
  ++items;
  bytes += packetBytes;
  first = std::min(first, time);
  last = std::max(last, time);
}

void cNumberedTotals::Add(std::uint16_t number, std::uint64_t packetBytes, std::uint64_t time) {
  std::unique_ptr<Page>& page = pages[number / kPageSize];
  if (page == nullptr) {
    page = std::make_unique<Page>();
  }
  (*page)[number % kPageSize].Add(packetBytes, time);
}

std::vector<std::pair<std::uint16_t, sItemTotals>> cNumberedTotals::All() const {
  std::vector<std::pair<std::uint16_t, sItemTotals>> found;
  for (std::size_t number = 0; number < pages.size() * kPageSize; ++number) {
    const std::unique_ptr<Page>& page = pages[number / kPageSize];
    if (page != nullptr && (*page)[number % kPageSize].items != 0) {
      found.emplace_back(static_cast<std::uint16_t>(number), (*page)[number % kPageSize]);
    }
  }
  return found;
}

std::string CommandKeyName(const sCommandKey& key) {
  if (!key.code) {
    return "no command";
  }
  std::vector<std::uint8_t> packet{*key.code};
  if (key.subsystem && key.subsystemCommand) {
    packet.push_back(*key.subsystem);
    packet.resize(subsystem::kHeadSize);
    Store16(&packet[subsystem::kCommand], *key.subsystemCommand);
  }
  if (key.sort == eItemSort::Reply && *key.code == command::kEventReport) {
    packet.resize(event_report::kShortAnswerSize);
  }
  return CommandWords(packet, key.sort == eItemSort::Request ? eSender::Host : eSender::Modem);
}

void cStatistics::Add(const sCaptureItem& item, const sPacketHead& head) {
  const std::uint64_t bytes = item.bytes.size();
  all.Add(bytes, item.time);
  span.Add(item.time);
  types[item.type % isf::kItemTypes].Add(bytes, item.time);
  switch (head.sort) {
    case eItemSort::Log:
      if (head.logCode) {
        logCodes.Add(*head.logCode, bytes, item.time);
      }
      break;
    case eItemSort::Event:
      for (const std::uint16_t event : head.events) {
        events.Add(event, bytes, item.time);
      }
      break;
    case eItemSort::Message:
      if (head.ssid) {
        ssids.Add(*head.ssid, bytes, item.time);
      }
      for (std::size_t level = 0; level < levels.size(); ++level) {
        if ((head.levels.value_or(0) >> level & 1) != 0) {
          levels[level].Add(bytes, item.time);
        }
      }
      break;
    case eItemSort::Text:
      break;
    default:
      AddCommand(item, head);
  }
}

void cStatistics::AddCommand(const sCaptureItem& item, const sPacketHead& head) {
  const sCommandKey key{head.sort, head.command, head.subsystem, head.subsystemCommand};
  auto found = commands.find(key);
  if (found == commands.end() && commands.size() < kMostCommands) {
    found = commands.emplace(key, sItemTotals()).first;
  }
  (found == commands.end() ? otherCommands : found->second).Add(item.bytes.size(), item.time);
}

}  // namespace corvane
