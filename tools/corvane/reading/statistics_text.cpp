#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <ostream>
#include <span>
#include <utility>

#include "capture/isf/layout.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "corvane/reading/statistics_output.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

// As many lines of a list as a reader may want; other formats have the whole of it.
constexpr std::size_t kMostLines = 20;

constexpr std::array<std::uint32_t, 10> kColumnTypes = {
    isf::kShortLogItem,  isf::kPacketItem,          isf::kRequestItem,     isf::kEventItem,
    isf::kLogItem,       isf::kMessageItem,         isf::kInformationItem, isf::kSignallingLogItem,
    isf::kSubsystemItem, isf::kSubsystemRequestItem};

// "1:02:03.456"
[[nodiscard]] std::string LengthText(std::uint64_t milliseconds) {
  using namespace std::chrono_literals;
  const std::chrono::duration<std::uint64_t, std::milli> length(milliseconds);
  return fmt::format("{}:{:02}:{:02}.{:03}", length / 1h, length % 1h / 1min, length % 1min / 1s,
                     (length % 1s).count());
}

[[nodiscard]] std::string RateText(std::uint64_t count, std::uint64_t span) {
  const std::optional<double> rate = RateOf(count, span);
  return rate ? fmt::format("{:.{}f}", *rate, RateDecimals(*rate, 1, 2)) : "-";
}

[[nodiscard]] std::string SecondsText(std::uint64_t milliseconds) {
  return fmt::format("{}.{:03} s", milliseconds / 1000, milliseconds % 1000);
}

class cTextReport {
 public:
  cTextReport(const cCaptureStatistics& gathered, std::ostream& stream)
      : statistics(gathered), out(stream) {}

  void WriteHead(const sStatisticsSubject& subject, bool isSelection) {
    const sItemTotals& all = statistics.Counts().All();
    const std::uint64_t span = statistics.Counts().Span();
    Print("File:         {}\nState:        {}\nItems:        {}", Readable(subject.path),
          subject.state, FormatCount(all.items));
    if (isSelection) {
      Print(" selected of {}", FormatCount(subject.fileItems));
    }
    Print("\nBytes:        {}\n", FormatCount(all.bytes));
    if (all.items != 0) {
      Print("First time:   {}\nLast time:    {}\nSpan:         {}\n", FormatUtc(all.first),
            FormatUtc(all.last), LengthText(span));
    }
    if (span != 0) {
      Print("Rate:         {} items/s, {} bytes/s\n", RateText(all.items, span),
            RateText(all.bytes, span));
    }
  }

  void WriteTable(const sTotalsTable& table) {
    Print("\n{:<47} {:>10} {:>13} {:>9} {:>11}  {:<24}  {}\n", table.title, "items", "bytes",
          "items/s", "bytes/s", "first", "last");
    std::size_t keyWidth = 6;
    for (const sTotalsRow& row : table.rows) {
      keyWidth = std::max(keyWidth, row.key.size());
    }
    for (const sTotalsRow& row : table.rows) {
      // Numbers end below each other; the codes of commands, of one part or three, begin so.
      const std::string key = row.key.starts_with("0x") ? fmt::format("{:<{}}", row.key, keyWidth)
                                                        : fmt::format("{:>{}}", row.key, keyWidth);
      WriteRow(fmt::format("{} {}", key, row.name), row.totals);
    }
    if (table.others.items != 0) {
      WriteRow("others", table.others);
    }
  }

  void WriteConnections() {
    const cConnections& connections = statistics.Connections();
    bool hasTitle = false;
    for (const sConnection& connection : connections.Kept()) {
      // Of a connection that lies outside of the selection, only texts were passed.
      if (connection.items == 0) {
        continue;
      }
      if (!std::exchange(hasTitle, true)) {
        Print("\nConnections\n");
      }
      Print("  {:>4} {}  {}  {}  {}  {}{}\n", connection.number, FormatUtc(connection.start),
            LengthText(connection.Length()), FormatItems(connection.items), NameOf(connection),
            EndName(connection.howEnded), SubscriptionsOf(connection));
    }
    WriteMore(connections.Others());
  }

  void WriteGaps() {
    const cGaps& gaps = statistics.Gaps();
    const std::vector<sGap> kept = gaps.Kept();
    if (gaps.Count() != 0) {
      Print("\nGaps of more than {}: {}, together {}, the longest {}\n",
            SecondsText(statistics.GapLimit()), FormatCount(gaps.Count()), LengthText(gaps.Total()),
            LengthText(gaps.Longest()));
    }
    for (const sGap& gap : First(kept)) {
      Print("  {}  {}  items {} to {}{}\n", FormatUtc(gap.start), LengthText(gap.Length()),
            gap.before, gap.after, gap.hasConnectionChange ? "  port gone or come" : "");
    }
    WriteMore(gaps.Count() - First(kept).size());
    if (gaps.ClockStepCount() != 0) {
      Print("\nClock set back: {}\n", FormatCount(gaps.ClockStepCount()));
    }
    for (const sClockStep& step : First(gaps.ClockSteps())) {
      Print("  {}  back to {}  items {} to {}\n", FormatUtc(step.from), FormatUtc(step.to),
            step.before, step.after);
    }
    WriteMore(gaps.ClockStepCount() - First(gaps.ClockSteps()).size());
  }

  void WriteRequests() {
    const cRequestReplies* const requests = statistics.Requests();
    if (requests == nullptr || requests->Totals().sent == 0) {
      return;
    }
    const sRequestTotals& totals = requests->Totals();
    Print("\nRequests: {} sent, {} answered, {} refused, {} without a reply\n",
          FormatCount(totals.sent), FormatCount(totals.answered), FormatCount(totals.refused),
          FormatCount(totals.Unanswered()));
    Print("{:<47} {:>8} {:>8} {:>8} {:>8} {:>7} {:>7} {:>7} {:>7}\n", "Reply times in milliseconds",
          "sent", "answered", "refused", "none", "least", "median", "95 %", "most");
    for (const auto& [name, named] : requests->ByName()) {
      WriteNamed(name, named.totals, named.roundTrips);
    }
    if (requests->OtherNames().totals.sent != 0) {
      WriteNamed("others", requests->OtherNames().totals, requests->OtherNames().roundTrips);
    }
    WriteNamed("all", totals, requests->RoundTrips());
    WriteList("Requests without a reply", requests->Unanswered(), totals.Unanswered());
    WriteList("Refused requests", requests->Refused(), totals.refused);
  }

  void WriteIntervals(const cIntervals& intervals) {
    std::vector<std::uint32_t> columns;
    for (const std::uint32_t type : ColumnTypes()) {
      if (statistics.Counts().Types()[type].items != 0) {
        columns.push_back(type);
      }
    }
    Print("\n{:<24} {:>9} {:>12} {:>9} {:>11}", "Time", "items", "bytes", "items/s", "bytes/s");
    for (const std::uint32_t type : columns) {
      Print(" {:>{}}", ItemTypeName(type), ColumnWidth(type));
    }
    Print("\n");
    ForEachInterval(intervals, [this, &intervals, &columns](std::int64_t number,
                                                            const sTimeBucket& bucket) {
      Print("{:<24} {:>9} {:>12} {:>9} {:>11}", FormatUtc(intervals.StartOf(number)),
            FormatCount(bucket.items), FormatCount(bucket.bytes),
            RateText(bucket.items, intervals.Width()), RateText(bucket.bytes, intervals.Width()));
      for (const std::uint32_t type : columns) {
        Print(" {:>{}}", FormatCount(bucket.byType[type]), ColumnWidth(type));
      }
      Print("\n");
    });
    if (intervals.Elsewhere().items != 0) {
      Print("and {} in intervals that are not kept\n", FormatItems(intervals.Elsewhere().items));
    }
  }

 private:
  template <typename... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    line.clear();
    fmt::format_to(std::back_inserter(line), format, std::forward<Arguments>(arguments)...);
    out << line;
  }

  void WriteRow(const std::string& what, const sItemTotals& totals) {
    const std::uint64_t span = statistics.Counts().Span();
    Print("{:<47} {:>10} {:>13} {:>9} {:>11}  {:<24}  {}\n", what, FormatCount(totals.items),
          FormatCount(totals.bytes), RateText(totals.items, span), RateText(totals.bytes, span),
          FormatUtc(totals.first), FormatUtc(totals.last));
  }

  void WriteNamed(std::string_view name, const sRequestTotals& totals, const cTimeSpread& trips) {
    Print("  {:<45} {:>8} {:>8} {:>8} {:>8}", name, FormatCount(totals.sent),
          FormatCount(totals.answered), FormatCount(totals.refused),
          FormatCount(totals.Unanswered()));
    if (trips.Count() != 0) {
      Print(" {:>7} {:>7} {:>7} {:>7}", trips.Least(), trips.Median(), trips.Percentile(95),
            trips.Greatest());
    }
    Print("\n");
  }

  void WriteList(const char* title, const std::vector<sRequest>& requests, std::uint64_t all) {
    if (all == 0) {
      return;
    }
    Print("\n{}\n", title);
    for (const sRequest& request : First(requests)) {
      Print("  {:>8}  {}  {}{}{}\n", request.number, FormatUtc(request.time), request.name,
            request.refusal.empty() ? "" : ": ", request.refusal);
    }
    WriteMore(all - First(requests).size());
  }

  void WriteMore(std::uint64_t more) {
    if (more != 0) {
      Print("  and {} more\n", FormatCount(more));
    }
  }

  template <typename Record>
  [[nodiscard]] static std::span<const Record> First(const std::vector<Record>& records) {
    return std::span(records).first(std::min(records.size(), kMostLines));
  }

  // Names of files and ports are what users called them.
  [[nodiscard]] static std::string NameOf(const sConnection& connection) {
    std::string name = "port not told";
    if (!connection.port.empty()) {
      name = (connection.imported ? "imported from " : "port ") + Quote(connection.port);
    }
    return connection.capture.empty() ? name : name + " of " + Quote(connection.capture);
  }

  [[nodiscard]] static std::string SubscriptionsOf(const sConnection& connection) {
    std::string text;
    for (const std::uint32_t subscription : connection.subscriptions) {
      text += fmt::format("{}{}", text.empty() ? "  subscriptions " : ", ", subscription);
    }
    return text;
  }

  [[nodiscard]] static std::size_t ColumnWidth(std::uint32_t type) {
    return std::max<std::size_t>(ItemTypeName(type).size(), 8);
  }

  const cCaptureStatistics& statistics;
  std::ostream& out;
  std::string line;  // its memory is reused
};

}  // namespace

std::string_view EndName(eConnectionEnd end) {
  switch (end) {
    case eConnectionEnd::Disconnected:
      return "disconnected";
    case eConnectionEnd::Replaced:
      return "replaced";
    default:
      return "open";
  }
}

std::span<const std::uint32_t> ColumnTypes() { return kColumnTypes; }

std::uint64_t ItemsOfOtherTypes(const sTimeBucket& bucket) {
  std::uint64_t others = bucket.items;
  for (const std::uint32_t type : kColumnTypes) {
    others -= std::min<std::uint64_t>(others, bucket.byType[type]);
  }
  return others;
}

void WriteStatisticsText(const sStatisticsSubject& subject, const cCaptureStatistics& statistics,
                         const sStatisticsRequest& request, std::ostream& out) {
  cTextReport report(statistics, out);
  report.WriteHead(subject, !request.selection.IsEverything());
  if (const cIntervals* const intervals = statistics.Intervals()) {
    report.WriteIntervals(*intervals);
    return;
  }
  for (const sTotalsTable& table : MakeTables(statistics.Counts(), request.top)) {
    if (!table.IsEmpty()) {
      report.WriteTable(table);
    }
  }
  report.WriteConnections();
  report.WriteGaps();
  report.WriteRequests();
}

}  // namespace corvane::tools
