#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string_view>

#include "corvane/reading/capture_statistics.h"

// How `corvane stats` writes what was gathered (docs/statistics.md). Memory does not grow with the
// tables' length: rows are written one by one.
namespace corvane::tools {

// What the gathered statistics are of.
struct sStatisticsSubject {
  std::string_view path;
  std::string_view state;       // "complete", "not closed", "damaged"
  std::uint64_t fileItems = 0;  // items of the file, selected or not
};

// Tables for a reader.
void WriteStatisticsText(const sStatisticsSubject& subject, const cCaptureStatistics& statistics,
                         const sStatisticsRequest& request, std::ostream& out);
// One object.
void WriteStatisticsJson(const sStatisticsSubject& subject, const cCaptureStatistics& statistics,
                         const sStatisticsRequest& request, std::ostream& out);
// One flat table; with an interval, the table over time instead.
void WriteStatisticsCsv(const cCaptureStatistics& statistics, const sStatisticsRequest& request,
                        std::ostream& out);

// What the connection that ended so is called: "open", "disconnected", "replaced".
[[nodiscard]] std::string_view EndName(eConnectionEnd end);

// The item types that have a name, in the order of their columns in a table over time. All others
// share a column behind them.
[[nodiscard]] std::span<const std::uint32_t> ColumnTypes();
// The items of a bucket in none of these columns.
[[nodiscard]] std::uint64_t ItemsOfOtherTypes(const sTimeBucket& bucket);

// Hands on each row of a table over time: number of the interval, and what came in it. Intervals
// without items are rows as well, unless there are more than 100,000 intervals from the first to
// the last.
template <typename Take>
void ForEachInterval(const cIntervals& intervals, Take take) {
  constexpr std::int64_t kMostRows = 100'000;
  if (intervals.Kept().empty()) {
    return;
  }
  const std::int64_t first = intervals.Kept().begin()->first;
  const bool showsEmpty = intervals.Kept().rbegin()->first - first < kMostRows;
  std::int64_t next = first;
  for (const auto& [number, bucket] : intervals.Kept()) {
    for (; showsEmpty && next < number; ++next) {
      take(next, sTimeBucket());
    }
    take(number, bucket);
    next = number + 1;
  }
}

}  // namespace corvane::tools
