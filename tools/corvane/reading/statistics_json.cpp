#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>

#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "corvane/reading/statistics_output.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

[[nodiscard]] Json RateJson(std::uint64_t count, std::uint64_t span) {
  const std::optional<double> rate = RateOf(count, span);
  if (!rate) {
    return {};
  }
  const double unit = std::pow(10.0, RateDecimals(*rate, 3, 3));
  return std::round(*rate * unit) / unit;
}

[[nodiscard]] double Seconds(std::uint64_t milliseconds) {
  return static_cast<double>(milliseconds) / 1000;
}

[[nodiscard]] Json TimeJson(std::uint64_t time) { return FormatUtc(time); }

void AddTotals(Json& row, const sItemTotals& totals, std::uint64_t span) {
  const bool isAny = totals.items != 0;
  row["items"] = totals.items;
  row["bytes"] = totals.bytes;
  row["items_per_second"] = RateJson(totals.items, span);
  row["bytes_per_second"] = RateJson(totals.bytes, span);
  row["first"] = isAny ? TimeJson(totals.first) : Json();
  row["last"] = isAny ? TimeJson(totals.last) : Json();
}

[[nodiscard]] Json ConnectionJson(const sConnection& connection) {
  return {{"connection", connection.number},
          {"merged_from", connection.capture},
          {connection.imported ? "imported_from" : "port", connection.port},
          {"begins_before_file", !connection.hasBeginning},
          {"subscriptions", connection.subscriptions},
          {"first_item", connection.firstItem},
          {"last_item", connection.lastItem},
          {"start", TimeJson(connection.start)},
          {"end", TimeJson(connection.end)},
          {"seconds", Seconds(connection.Length())},
          {"items", connection.items},
          {"ended", EndName(connection.howEnded)}};
}

[[nodiscard]] Json GapJson(const sGap& gap) {
  return {{"item_before", gap.before},        {"item_after", gap.after},
          {"start", TimeJson(gap.start)},     {"end", TimeJson(gap.end)},
          {"seconds", Seconds(gap.Length())}, {"connection_change", gap.hasConnectionChange}};
}

[[nodiscard]] Json ClockStepJson(const sClockStep& step) {
  return {{"item_before", step.before},
          {"item_after", step.after},
          {"from", TimeJson(step.from)},
          {"to", TimeJson(step.to)}};
}

[[nodiscard]] Json RequestJson(const sRequest& request) {
  Json row = {{"item", request.number},
              {"time", TimeJson(request.time)},
              {"connection", request.connection},
              {"name", request.name}};
  if (request.replyNumber) {
    row["refusal"] = request.refusal;
    row["reply_item"] = *request.replyNumber;
    const std::optional<std::uint64_t> trip = request.RoundTrip();
    row["reply_milliseconds"] = trip ? Json(*trip) : Json();
  }
  return row;
}

void AddRequestTotals(Json& row, const sRequestTotals& totals, const cTimeSpread& trips) {
  row["sent"] = totals.sent;
  row["answered"] = totals.answered;
  row["refused"] = totals.refused;
  row["unanswered"] = totals.Unanswered();
  row["reply_milliseconds"] = Json();
  if (trips.Count() != 0) {
    row["reply_milliseconds"] = {{"least", trips.Least()},
                                 {"median", trips.Median()},
                                 {"percentile_95", trips.Percentile(95)},
                                 {"greatest", trips.Greatest()}};
  }
}

// An object that is written member by member. Arrays are written row by row: whole ones of a large
// capture would take more memory than all that was gathered.
class cJsonObject {
 public:
  explicit cJsonObject(std::ostream& stream) : out(stream) { out << '{'; }

  void Add(const char* name, const Json& value) { Name(name) << JsonText(value); }

  void AddMembers(const Json& object) {
    for (const auto& [name, value] : object.items()) {
      Add(name.c_str(), value);
    }
  }

  template <typename Rows, typename Make>
  void AddArray(const char* name, const Rows& rows, Make make) {
    BeginArray(name);
    for (const auto& row : rows) {
      AddRow(make(row));
    }
    EndArray();
  }

  void BeginArray(const char* name) {
    Name(name) << '[';
    isFirstRow = true;
  }
  void AddRow(const Json& row) {
    out << (std::exchange(isFirstRow, false) ? "\n" : ",\n") << JsonText(row);
  }
  void EndArray() { out << ']'; }

  void End() { out << '}'; }
  // The value of a member that is an object of its own.
  [[nodiscard]] cJsonObject Begin(const char* name) {
    Name(name);
    return cJsonObject(out);
  }

 private:
  std::ostream& Name(const char* name) {
    return out << (std::exchange(isFirst, false) ? "\n" : ",\n") << JsonText(Json(name)) << ": ";
  }

  std::ostream& out;
  bool isFirst = true;
  bool isFirstRow = true;
};

void AddTable(cJsonObject& object, const sTotalsTable& table, std::uint64_t span) {
  object.AddArray(table.name, table.rows, [&table, span](const sTotalsRow& row) {
    Json json;
    json[table.keyName] = table.isNumbered ? Json(std::stoull(row.key)) : Json(row.key);
    json["name"] = row.name;
    AddTotals(json, row.totals, span);
    return json;
  });
  if (table.others.items != 0) {
    Json others;
    AddTotals(others, table.others, span);
    object.Add((std::string("other_") + table.name).c_str(), others);
  }
}

void AddConnections(cJsonObject& object, const cConnections& connections) {
  object.BeginArray("connections");
  for (const sConnection& connection : connections.Kept()) {
    if (connection.items != 0) {
      object.AddRow(ConnectionJson(connection));
    }
  }
  object.EndArray();
  object.Add("connections_not_listed", connections.Others());
}

void AddGaps(cJsonObject& object, const cGaps& gaps, std::uint64_t limit) {
  cJsonObject member = object.Begin("gaps");
  member.AddMembers({{"longer_than_seconds", Seconds(limit)},
                     {"count", gaps.Count()},
                     {"seconds", Seconds(gaps.Total())},
                     {"longest_seconds", Seconds(gaps.Longest())}});
  member.AddArray("list", gaps.Kept(), GapJson);
  member.End();
  cJsonObject steps = object.Begin("clock_set_back");
  steps.Add("count", gaps.ClockStepCount());
  steps.AddArray("list", gaps.ClockSteps(), ClockStepJson);
  steps.End();
}

// Without what was paired, an object without members: a 0 would tell that there is none.
void AddRequests(cJsonObject& object, const cRequestReplies* paired) {
  cJsonObject member = object.Begin("requests");
  if (paired == nullptr) {
    member.End();
    return;
  }
  const cRequestReplies& requests = *paired;
  Json totals;
  AddRequestTotals(totals, requests.Totals(), requests.RoundTrips());
  member.AddMembers(totals);
  member.Add("replies_to_none", requests.RepliesToNone());
  member.AddArray("by_name", requests.ByName(), [](const auto& entry) {
    Json row = {{"name", entry.first}};
    AddRequestTotals(row, entry.second.totals, entry.second.roundTrips);
    return row;
  });
  if (requests.OtherNames().totals.sent != 0) {
    Json others;
    AddRequestTotals(others, requests.OtherNames().totals, requests.OtherNames().roundTrips);
    member.Add("other_names", others);
  }
  member.AddArray("unanswered_list", requests.Unanswered(), RequestJson);
  member.AddArray("refused_list", requests.Refused(), RequestJson);
  member.End();
}

[[nodiscard]] Json IntervalJson(const cIntervals& intervals, std::int64_t number,
                                const sTimeBucket& bucket) {
  Json types = Json::object();
  for (const std::uint32_t type : ColumnTypes()) {
    types[std::string(ItemTypeName(type))] = bucket.byType[type];
  }
  types["other"] = ItemsOfOtherTypes(bucket);
  return {{"start", TimeJson(intervals.StartOf(number))},
          {"items", bucket.items},
          {"bytes", bucket.bytes},
          {"items_per_second", RateJson(bucket.items, intervals.Width())},
          {"bytes_per_second", RateJson(bucket.bytes, intervals.Width())},
          {"types", types}};
}

void AddIntervals(cJsonObject& object, const cIntervals& intervals) {
  object.Add("interval_seconds", Seconds(intervals.Width()));
  object.BeginArray("intervals");
  ForEachInterval(intervals, [&](std::int64_t number, const sTimeBucket& bucket) {
    object.AddRow(IntervalJson(intervals, number, bucket));
  });
  object.EndArray();
  object.Add("items_in_no_interval", intervals.Elsewhere().items);
}

}  // namespace

void WriteStatisticsJson(const sStatisticsSubject& subject, const cCaptureStatistics& statistics,
                         const sStatisticsRequest& request, std::ostream& out) {
  const cStatistics& counts = statistics.Counts();
  cJsonObject object(out);
  object.AddMembers({{"file", subject.path},
                     {"state", subject.state},
                     {"file_items", subject.fileItems},
                     {"span_seconds", Seconds(counts.Span())}});
  Json totals;
  AddTotals(totals, counts.All(), counts.Span());
  object.AddMembers(totals);
  for (const sTotalsTable& table : MakeTables(counts, request.top)) {
    AddTable(object, table, counts.Span());
  }
  AddConnections(object, statistics.Connections());
  AddGaps(object, statistics.Gaps(), statistics.GapLimit());
  AddRequests(object, statistics.Requests());
  if (const cIntervals* const intervals = statistics.Intervals()) {
    AddIntervals(object, *intervals);
  }
  object.End();
  out << '\n';
}

}  // namespace corvane::tools
