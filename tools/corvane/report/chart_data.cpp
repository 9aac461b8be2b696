#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_sections.h"

namespace corvane::tools {
namespace {

using tJson = nlohmann::ordered_json;

// How many entries a lane has at most: no chart has as many pixels.
constexpr std::size_t kMostEntries = 1000;

// The end of the year 9999, in milliseconds since 1601.
constexpr std::uint64_t kLastTime = 265'046'774'399'999;

// Milliseconds since 1970, as scripts count.
[[nodiscard]] std::int64_t ScriptTime(std::uint64_t time) {
  constexpr std::int64_t kUnixEpoch = 11'644'473'600'000;
  return static_cast<std::int64_t>(std::min(time, kLastTime)) - kUnixEpoch;
}

[[nodiscard]] std::vector<std::size_t> UsedTypes(const sReportFindings& findings) {
  const auto& types = findings.statistics.Types();
  std::vector<std::size_t> used;
  for (std::size_t type = 0; type < types.size(); ++type) {
    if (types[type].items != 0) {
      used.push_back(type);
    }
  }
  return used;
}

[[nodiscard]] tJson Stretch(const sTimeLine& line, const std::vector<std::size_t>& types) {
  tJson counts = tJson::array();
  for (const std::size_t type : types) {
    tJson ofType = tJson::array();
    for (const sTimeBucket& bucket : line.buckets) {
      ofType.push_back(bucket.byType[type]);
    }
    counts.push_back(std::move(ofType));
  }
  return {{"name", fmt::format("{}, {}", HtmlTime(line.first), FormatItems(line.Items()))},
          {"start", ScriptTime(line.start)},
          {"width", line.width},
          {"counts", std::move(counts)}};
}

// A lane of the time line: entries of [from, to, text] in the order of their beginnings.
class cLane {
 public:
  void Add(std::uint64_t from, std::uint64_t to, const std::string& text) {
    if (entries.size() < kMostEntries) {
      entries.push_back({ScriptTime(from), ScriptTime(std::max(from, to)), ShownText(text)});
    }
  }

  [[nodiscard]] tJson Take(const char* name) {
    std::ranges::stable_sort(entries, {}, &sEntry::from);
    tJson list = tJson::array();
    for (const sEntry& entry : entries) {
      list.push_back({entry.from, entry.to, entry.text});
    }
    return {{"name", name}, {"entries", std::move(list)}};
  }

 private:
  struct sEntry {
    std::int64_t from;
    std::int64_t to;
    std::string text;
  };
  std::vector<sEntry> entries;
};

[[nodiscard]] tJson ConnectionLane(const cConnections& connections) {
  cLane lane;
  for (const sConnection& connection : connections.Kept()) {
    lane.Add(connection.start, connection.end,
             fmt::format("{}, {}", connection.port, LengthText(connection.Length())));
  }
  return lane.Take("Connections");
}

[[nodiscard]] tJson GapLane(const cGaps& gaps) {
  cLane lane;
  for (const sGap& gap : gaps.Kept()) {
    lane.Add(gap.start, gap.end, LengthText(gap.Length()));
  }
  return lane.Take("Gaps");
}

// From each request to its reply.
[[nodiscard]] tJson AnsweredLane(const cRequestReplies& requests) {
  cLane lane;
  for (const sRequest& request : requests.Kept()) {
    if (request.state == eRequestState::Answered) {
      lane.Add(request.time, request.replyTime.value_or(request.time),
               request.RoundTrip() ? fmt::format("{}, {} ms", request.name, *request.RoundTrip())
                                   : request.name);
    }
  }
  return lane.Take("Answered");
}

[[nodiscard]] tJson FailedLane(const cRequestReplies& requests) {
  cLane lane;
  for (const sRequest& request : requests.Refused()) {
    lane.Add(request.time, request.replyTime.value_or(request.time),
             fmt::format("{}: refused, {}", request.name, request.refusal));
  }
  for (const sRequest& request : requests.Unanswered()) {
    lane.Add(request.time, request.time, request.name + ": no reply");
  }
  return lane.Take("Failed");
}

[[nodiscard]] tJson MarkerLane(const sRemarks& markers) {
  cLane lane;
  for (const sRemark& marker : markers.kept) {
    lane.Add(marker.time, marker.time, marker.text.substr(0, 100));
  }
  return lane.Take("Markers");
}

}  // namespace

std::string ChartData(const sReportFindings& findings) {
  const std::vector<std::size_t> types = UsedTypes(findings);
  tJson names = tJson::array();
  for (const std::size_t type : types) {
    names.push_back(ItemTypeName(static_cast<std::uint32_t>(type)));
  }
  // No script has a calendar for other times.
  std::vector<sTimeLine> lines = findings.timeLines.Lines();
  std::erase_if(lines, [](const sTimeLine& line) { return line.last > kLastTime; });
  tJson stretches = tJson::array();
  for (const sTimeLine& line : lines) {
    stretches.push_back(Stretch(line, types));
  }
  const auto longest = std::ranges::max_element(lines, {}, &sTimeLine::Items);
  const tJson data = {
      {"types", std::move(names)},
      {"stretches", std::move(stretches)},
      {"shown", longest - lines.begin()},
      {"lanes", tJson::array({ConnectionLane(findings.connections), GapLane(findings.gaps),
                              AnsweredLane(findings.requests), FailedLane(findings.requests),
                              MarkerLane(findings.markers)})},
  };
  return JsonInHtml(data.dump());
}

}  // namespace corvane::tools
