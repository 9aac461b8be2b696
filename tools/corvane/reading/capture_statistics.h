#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/connections.h"
#include "analysis/gaps.h"
#include "analysis/request_replies.h"
#include "analysis/selected_items.h"
#include "analysis/statistics.h"
#include "analysis/time_line.h"

// What `corvane stats` tells of a capture, gathered and put into tables.
namespace corvane::tools {

enum class eStatisticsFormat : std::uint8_t { Text, Json, Csv };

// What `corvane stats` was asked for.
struct sStatisticsRequest {
  std::string path;
  sSelection selection;
  eStatisticsFormat format = eStatisticsFormat::Text;
  std::uint64_t gap = 5000;               // milliseconds
  std::optional<std::uint64_t> interval;  // milliseconds, not 0
  std::optional<std::uint64_t> top;       // rows of a table; empty: all
};

// Gathered item by item, in constant memory.
class cCaptureStatistics {
 public:
  explicit cCaptureStatistics(const sStatisticsRequest& request);

  // A selected item, and a text of the recorder that was not selected, in file order.
  void Add(const sCaptureItem& item);
  void Pass(const sCaptureItem& text);

  [[nodiscard]] const cStatistics& Counts() const { return counts; }
  [[nodiscard]] const cGaps& Gaps() const { return gaps; }
  [[nodiscard]] std::uint64_t GapLimit() const { return gapLimit; }
  [[nodiscard]] const cConnections& Connections() const { return connections; }
  // Null where the selection leaves out packets for what they are: a request whose reply was left
  // out would seem to have none.
  [[nodiscard]] const cRequestReplies* Requests() const { return requests ? &*requests : nullptr; }
  // Null unless a table over time is wanted.
  [[nodiscard]] const cIntervals* Intervals() const { return intervals.get(); }

 private:
  cStatistics counts;
  cGaps gaps;
  std::uint64_t gapLimit;
  cConnections connections;
  std::optional<cRequestReplies> requests;
  std::unique_ptr<cIntervals> intervals;
  sPacketHead head;  // of the latest item
};

// A row of a table of totals.
struct sTotalsRow {
  std::string key;   // "5", "0xB0C0"
  std::string name;  // may be empty
  sItemTotals totals;
};

struct sTotalsTable {
  const char* title = "";    // "Log codes"
  const char* kind = "";     // of each row, where tables are one: "log-code"
  const char* name = "";     // of the table: "log_codes"
  const char* keyName = "";  // of the key: "log_code"
  bool isNumbered = false;   // keys are decimal numbers
  std::vector<sTotalsRow> rows;
  sItemTotals others;  // of what has no row of its own

  [[nodiscard]] bool IsEmpty() const { return rows.empty() && others.items == 0; }
};

// All tables, in their order. With `top` each has so many rows, those with the most items first.
[[nodiscard]] std::vector<sTotalsTable> MakeTables(const cStatistics& counts,
                                                   std::optional<std::uint64_t> top);

// `corvane stats`. The result goes to `out`, and what is wrong to `errors`, a line led by the
// command's name and the file's. Returns an exit code (command_line.h).
[[nodiscard]] int ShowStatistics(const sStatisticsRequest& request, std::ostream& out,
                                 std::ostream& errors);

// How many a second over a span of milliseconds; nothing over none.
[[nodiscard]] std::optional<double> RateOf(std::uint64_t count, std::uint64_t span);
// With how many decimals a rate is shown: `usual` ones, and more where these leave fewer than
// `significant` digits of a rate below a tenth.
[[nodiscard]] int RateDecimals(double rate, int usual, int significant);

}  // namespace corvane::tools
