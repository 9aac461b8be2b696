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
  return rate ? fmt::format("{:.{}f}", *rate, RateDecimals(*rate, 3, 3)) : std::string();
}

// Of the flat table. Rows of most kinds have nothing in those behind "last".
constexpr std::size_t kColumns = 16;

class cCsvTable {
 public:
  explicit cCsvTable(std::ostream& stream) : out(stream) {}

  // A row of the flat table. The columns behind those that are given stay empty.
  void Add(std::initializer_list<std::string_view> fields) {
    row.clear();
    const char* between = "";
    for (const std::string_view field : fields) {
      row += between;
      AppendCsvField(row, field);
      between = ",";
    }
    row.append(kColumns - fields.size(), ',');
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

  // How many more there are of a kind than have a row.
  void AddOthers(std::string_view kind, std::uint64_t count) {
    if (count != 0) {
      Add({kind, "", "others", std::to_string(count)});
    }
  }

  void AddReplies(std::string_view kind, std::string_view name, const sRequestTotals& totals,
                  const cTimeSpread& trips, const std::string& first, const std::string& last) {
    const auto tripText = [&trips](std::uint64_t milliseconds) {
      return trips.Count() == 0 ? std::string() : std::to_string(milliseconds);
    };
    Add({kind, "", name, std::to_string(totals.sent), "", "", "", first, last,
         std::to_string(totals.answered), std::to_string(totals.refused),
         std::to_string(totals.Unanswered()), tripText(trips.Least()), tripText(trips.Median()),
         tripText(trips.Percentile(95)), tripText(trips.Greatest())});
  }

  void AddInterval(const cIntervals& intervals, std::int64_t number, const sTimeBucket& bucket) {
    row = FormatUtc(intervals.StartOf(number));
    row += fmt::format(",{},{},{},{}", bucket.items, bucket.bytes,
                       RateText(bucket.items, intervals.Width()),
                       RateText(bucket.bytes, intervals.Width()));
    AddTypes(bucket);
    Write();
  }

  // What came in intervals that have no row: no one knows how many those are.
  void AddOtherIntervals(const sTimeBucket& bucket) {
    row = fmt::format("others,{},{},,", bucket.items, bucket.bytes);
    AddTypes(bucket);
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
  void AddTypes(const sTimeBucket& bucket) {
    for (const std::uint32_t type : ColumnTypes()) {
      row += fmt::format(",{}", bucket.byType[type]);
    }
    row += fmt::format(",{}", ItemsOfOtherTypes(bucket));
  }

  void Write() { out << row << "\r\n"; }

  std::ostream& out;
  std::string row;
};

void WriteNamed(std::string_view name, const sNamedRequests& named, cCsvTable& table) {
  table.AddReplies("request-reply", name, named.totals, named.roundTrips, FormatUtc(named.first),
                   FormatUtc(named.last));
}

void WriteRequests(const cRequestReplies& requests, cCsvTable& table) {
  if (requests.Totals().sent != 0) {
    table.AddReplies("request-reply-all", "", requests.Totals(), requests.RoundTrips(), "", "");
  }
  for (const auto& [name, named] : requests.ByName()) {
    WriteNamed(name, named, table);
  }
  if (requests.OtherNames().totals.sent != 0) {
    WriteNamed("others", requests.OtherNames(), table);
  }
  const std::vector<sRequest> unanswered = requests.Unanswered();
  for (const sRequest& request : unanswered) {
    table.AddPlain("unanswered", request.number, request.name, 1, request.time, std::nullopt);
  }
  table.AddOthers("unanswered", requests.Totals().Unanswered() - unanswered.size());
  for (const sRequest& request : requests.Refused()) {
    table.AddPlain("refused", request.number, request.name + ": " + request.refusal, 1,
                   request.time, request.replyTime);
  }
  table.AddOthers("refused", requests.Totals().refused - requests.Refused().size());
}

void WriteGaps(const cGaps& gaps, cCsvTable& table) {
  const std::vector<sGap> kept = gaps.Kept();
  for (const sGap& gap : kept) {
    table.AddPlain("gap", gap.before, gap.hasConnectionChange ? "port gone or come" : "", 0,
                   gap.start, gap.end);
  }
  table.AddOthers("gap", gaps.Count() - kept.size());
  for (const sClockStep& step : gaps.ClockSteps()) {
    table.AddPlain("clock-set-back", step.before, "", 0, step.from, step.to);
  }
  table.AddOthers("clock-set-back", gaps.ClockStepCount() - gaps.ClockSteps().size());
}

void WriteTotals(const cCaptureStatistics& statistics, const sStatisticsRequest& request,
                 cCsvTable& csv) {
  const cStatistics& counts = statistics.Counts();
  csv.Add({"kind", "key", "name", "items", "bytes", "items_per_second", "bytes_per_second", "first",
           "last", "answered", "refused", "unanswered", "least_ms", "median_ms", "percentile_95_ms",
           "greatest_ms"});
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
  csv.AddOthers("connection", statistics.Connections().Others());
  WriteGaps(statistics.Gaps(), csv);
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
  if (intervals->Elsewhere().items != 0) {
    csv.AddOtherIntervals(intervals->Elsewhere());
  }
}

}  // namespace corvane::tools
