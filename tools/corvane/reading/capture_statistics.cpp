#include "corvane/reading/capture_statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "analysis/command_names.h"
#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "corvane/reading/item_wording.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

// Nothing but where to begin and to end.
[[nodiscard]] bool IsStretch(const sSelection& selection) {
  sSelection rest = selection;
  rest.from = {};
  rest.to = {};
  return rest.IsEverything();
}

[[nodiscard]] sTotalsTable TypesTable(const cStatistics& counts) {
  sTotalsTable table{"Item types", "type", "types", "type", true, {}, {}};
  for (std::uint32_t type = 0; type < counts.Types().size(); ++type) {
    if (counts.Types()[type].items != 0) {
      table.rows.push_back(
          {std::to_string(type), std::string(ItemTypeName(type)), counts.Types()[type]});
    }
  }
  return table;
}

[[nodiscard]] sTotalsTable LogsTable(const cStatistics& counts) {
  sTotalsTable table{"Log codes", "log-code", "log_codes", "log_code", false, {}, {}};
  for (const auto& [code, totals] : counts.LogCodes().All()) {
    const sLogCodeName* const name = FindLogCode(code);
    table.rows.push_back({fmt::format("0x{:04X}", code),
                          std::string(name != nullptr ? name->name : std::string_view()), totals});
  }
  return table;
}

[[nodiscard]] sTotalsTable EventsTable(const cStatistics& counts) {
  sTotalsTable table{"Events", "event", "events", "event", true, {}, {}};
  for (const auto& [id, totals] : counts.Events().All()) {
    table.rows.push_back({std::to_string(id), std::string(EventName(id)), totals});
  }
  return table;
}

[[nodiscard]] sTotalsTable SsidsTable(const cStatistics& counts) {
  sTotalsTable table{"Debug messages by subsystem", "ssid", "subsystems", "ssid", true, {}, {}};
  for (const auto& [ssid, totals] : counts.Ssids().All()) {
    table.rows.push_back({std::to_string(ssid), std::string(SsidName(ssid)), totals});
  }
  return table;
}

[[nodiscard]] sTotalsTable LevelsTable(const cStatistics& counts) {
  sTotalsTable table{"Debug messages by level", "level", "levels", "level", true, {}, {}};
  for (std::size_t level = 0; level < counts.Levels().size(); ++level) {
    if (counts.Levels()[level].items != 0) {
      table.rows.push_back({std::to_string(level),
                            std::string(MessageLevelName(static_cast<std::uint32_t>(level))),
                            counts.Levels()[level]});
    }
  }
  return table;
}

// "0x73", "0x4B 0x08 0x0001"
[[nodiscard]] std::string CommandKeyText(const sCommandKey& key) {
  std::string text = key.code ? fmt::format("0x{:02X}", *key.code) : "-";
  if (key.subsystem && key.subsystemCommand) {
    text += fmt::format(" 0x{:02X} 0x{:04X}", *key.subsystem, *key.subsystemCommand);
  }
  return text;
}

[[nodiscard]] sTotalsTable CommandsTable(const cStatistics& counts, eItemSort sort,
                                         sTotalsTable table) {
  for (const auto& [key, totals] : counts.Commands()) {
    if (key.sort == sort) {
      table.rows.push_back({CommandKeyText(key), CommandKeyName(key), totals});
    }
  }
  return table;
}

void AddTo(sItemTotals& sum, const sItemTotals& totals) {
  sum.items += totals.items;
  sum.bytes += totals.bytes;
  sum.first = std::min(sum.first, totals.first);
  sum.last = std::max(sum.last, totals.last);
}

void KeepTop(sTotalsTable& table, std::uint64_t top) {
  std::ranges::stable_sort(table.rows, [](const sTotalsRow& a, const sTotalsRow& b) {
    return a.totals.items > b.totals.items;
  });
  while (table.rows.size() > top) {
    AddTo(table.others, table.rows.back().totals);
    table.rows.pop_back();
  }
}

}  // namespace

cCaptureStatistics::cCaptureStatistics(const sStatisticsRequest& request)
    : gaps(request.gap), gapLimit(request.gap) {
  if (IsStretch(request.selection)) {
    requests.emplace();
  }
  if (request.interval) {
    intervals = std::make_unique<cIntervals>(*request.interval);
  }
}

void cCaptureStatistics::Add(const sCaptureItem& item) {
  ReadPacketHead(item, head);
  counts.Add(item, head);
  gaps.Add(item);
  connections.Add(item);
  // Nothing else is worth the time of a description.
  if (requests && (head.command || head.sort == eItemSort::Text)) {
    requests->Add(item, DescribeItem(item));
  }
  if (intervals) {
    intervals->Add(item);
  }
}

void cCaptureStatistics::Pass(const sCaptureItem& text) {
  gaps.Pass(text);
  connections.Pass(text);
  if (requests) {
    requests->Add(text, DescribeItem(text));
  }
}

std::vector<sTotalsTable> MakeTables(const cStatistics& counts, std::optional<std::uint64_t> top) {
  std::vector<sTotalsTable> tables;
  tables.push_back(TypesTable(counts));
  tables.push_back(LogsTable(counts));
  tables.push_back(EventsTable(counts));
  tables.push_back(SsidsTable(counts));
  tables.push_back(LevelsTable(counts));
  tables.push_back(
      CommandsTable(counts, eItemSort::Request,
                    {"Requests", "request", "requests_sent", "command", false, {}, {}}));
  tables.push_back(CommandsTable(counts, eItemSort::Reply,
                                 {"Replies", "reply", "replies", "command", false, {}, {}}));
  tables.push_back(CommandsTable(counts, eItemSort::Unknown,
                                 {"Other packets", "packet", "packets", "command", false, {}, {}}));
  tables.back().others = counts.OtherCommands();
  if (top) {
    for (sTotalsTable& table : tables) {
      KeepTop(table, *top);
    }
  }
  return tables;
}

std::optional<double> RateOf(std::uint64_t count, std::uint64_t span) {
  constexpr double kMillisecondsPerSecond = 1000;
  if (span == 0) {
    return std::nullopt;
  }
  return static_cast<double>(count) * kMillisecondsPerSecond / static_cast<double>(span);
}

int RateDecimals(double rate, int usual, int significant) {
  constexpr double kSmall = 0.1;
  if (rate <= 0 || rate >= kSmall) {
    return usual;
  }
  return std::max(usual, significant - 1 - static_cast<int>(std::floor(std::log10(rate))));
}

}  // namespace corvane::tools
