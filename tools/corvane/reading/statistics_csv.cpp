#include <fmt/format.h>

#include <initializer_list>
#include <ostream>
#include <string_view>

#include "convert/row_text.h"
#include "corvane/reading/item_wording.h"
#include "corvane/reading/statistics_output.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::string RateText(std::uint64_t count, std::uint64_t span) {
  const std::optional<double> rate = RateOf(count, span);
  return rate ? fmt::format("{:.3f}", *rate) : std::string();
}

class cCsvTable {
 public:
  explicit cCsvTable(std::ostream& stream) : out(stream) {}

  void Add(std::initializer_list<std::string_view> fields) {
    row.clear();
    const char* between = "";
    for (const std::string_view field : fields) {
      row += between;
      AppendCsvField(row, field);
      between = ",";
    }
    Write();
  }

  void AddTotals(std::string_view kind, std::string_view key, std::string_view name,
                 const sItemTotals& totals, std::uint64_t span) {
    const bool isAny = totals.items != 0;
    Add({kind, key, name, std::to_string(totals.items), std::to_string(totals.bytes),
         RateText(totals.items, span), RateText(totals.bytes, span),
         isAny ? FormatUtc(totals.first) : std::string(),
         isAny ? FormatUtc(totals.last) : std::string()});
  }

  // What has no bytes and no rate.
  void AddPlain(std::string_view kind, std::uint64_t key, std::string_view name,
                std::uint64_t items, std::uint64_t first, std::optional<std::uint64_t> last) {
    Add({kind, std::to_string(key), name, std::to_string(items), "", "", "", FormatUtc(first),
         last ? FormatUtc(*last) : std::string()});
  }

  void AddInterval(const cIntervals& intervals, std::int64_t number, const sTimeBucket& bucket) {
    row = FormatUtc(intervals.StartOf(number));
    row += fmt::format(",{},{},{},{}", bucket.items, bucket.bytes,
                       RateText(bucket.items, intervals.Width()),
                       RateText(bucket.bytes, intervals.Width()));
    for (const std::uint32_t type : ColumnTypes()) {
      row += fmt::format(",{}", bucket.byType[type]);
    }
    row += fmt::format(",{}", ItemsOfOtherTypes(bucket));
    Write();
  }

  void AddIntervalNames() {
    row = "start,items,bytes,items_per_second,bytes_per_second";
    for (const std::uint32_t type : ColumnTypes()) {
      (row += ',') += ItemTypeName(type);
    }
    row += ",other";
    Write();
  }

 private:
  void Write() { out << row << "\r\n"; }

  std::ostream& out;
  std::string row;
};

void WriteRequests(const cRequestReplies& requests, cCsvTable& table) {
  for (const sRequest& request : requests.Unanswered()) {
    table.AddPlain("unanswered", request.number, request.name, 1, request.time, std::nullopt);
  }
  for (const sRequest& request : requests.Refused()) {
    table.AddPlain("refused", request.number, request.name + ": " + request.refusal, 1,
                   request.time, request.replyTime);
  }
}

void WriteTotals(const cCaptureStatistics& statistics, const sStatisticsRequest& request,
                 cCsvTable& csv) {
  const cStatistics& counts = statistics.Counts();
  csv.Add({"kind", "key", "name", "items", "bytes", "items_per_second", "bytes_per_second", "first",
           "last"});
  csv.AddTotals("all", "", "", counts.All(), counts.Span());
  for (const sTotalsTable& table : MakeTables(counts, request.top)) {
    for (const sTotalsRow& row : table.rows) {
      csv.AddTotals(table.kind, row.key, row.name, row.totals, counts.Span());
    }
    if (table.others.items != 0) {
      csv.AddTotals(table.kind, "", "others", table.others, counts.Span());
    }
  }
  for (const sConnection& connection : statistics.Connections().Kept()) {
    if (connection.items != 0) {
      csv.AddPlain("connection", connection.number, connection.port, connection.items,
                   connection.start, connection.end);
    }
  }
  for (const sGap& gap : statistics.Gaps().Kept()) {
    csv.AddPlain("gap", gap.before, gap.hasConnectionChange ? "port gone or come" : "", 0,
                 gap.start, gap.end);
  }
  for (const sClockStep& step : statistics.Gaps().ClockSteps()) {
    csv.AddPlain("clock-set-back", step.before, "", 0, step.from, step.to);
  }
  if (const cRequestReplies* const requests = statistics.Requests()) {
    WriteRequests(*requests, csv);
  }
}

}  // namespace

void WriteStatisticsCsv(const cCaptureStatistics& statistics, const sStatisticsRequest& request,
                        std::ostream& out) {
  cCsvTable csv(out);
  const cIntervals* const intervals = statistics.Intervals();
  if (intervals == nullptr) {
    WriteTotals(statistics, request, csv);
    return;
  }
  csv.AddIntervalNames();
  ForEachInterval(*intervals, [&csv, intervals](std::int64_t number, const sTimeBucket& bucket) {
    csv.AddInterval(*intervals, number, bucket);
  });
}

}  // namespace corvane::tools
