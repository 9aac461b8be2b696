#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_sections.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

// How many rows of a table are of use to a reader.
constexpr std::size_t kMostRows = 200;
constexpr std::size_t kMostFrequent = 20;

constexpr const char* kHowEnded[] = {"still open at the end", "disconnected", "connected anew"};

// "and 12 more"; nothing where the table has all.
[[nodiscard]] std::string More(std::uint64_t count, std::size_t shown) {
  return count > shown
             ? fmt::format("<p class=\"more\">and {} more</p>\n", FormatCount(count - shown))
             : std::string();
}

[[nodiscard]] std::string RateText(std::uint64_t count, std::uint64_t milliseconds) {
  if (milliseconds == 0) {
    return "–";
  }
  const double rate = static_cast<double>(count) * 1000.0 / static_cast<double>(milliseconds);
  return fmt::format("{:.{}f}", rate, rate < 10 ? 2 : 0);
}

// A bar as long as the part that `items` has of `all`.
[[nodiscard]] std::string Share(std::uint64_t items, std::uint64_t all) {
  return fmt::format(
      "<meter min=\"0\" max=\"{}\" value=\"{}\">{:.0f} %</meter>", all, items,
      all == 0 ? 0.0 : 100.0 * static_cast<double>(items) / static_cast<double>(all));
}

class cFacts {
 public:
  void Add(std::string_view name, std::string_view value) {
    if (!value.empty()) {
      html += fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", name, HtmlText(value));
    }
  }
  [[nodiscard]] std::string Take() { return "<dl>\n" + html + "</dl>\n"; }

 private:
  std::string html;
};

// "COM7, COM8", "drive.hdlc (imported)"
[[nodiscard]] std::string SourcesText(const cConnections& connections) {
  std::vector<std::string> names;
  for (const sConnection& connection : connections.Kept()) {
    std::string name = connection.port.empty() ? std::string("not told") : connection.port;
    name += connection.imported ? " (imported)" : "";
    if (std::ranges::find(names, name) == names.end()) {
      names.push_back(std::move(name));
    }
  }
  constexpr std::size_t kMostNames = 10;
  std::string text = fmt::format(
      "{}",
      fmt::join(names.begin(),
                names.begin() + static_cast<std::ptrdiff_t>(std::min(names.size(), kMostNames)),
                ", "));
  return names.size() > kMostNames ? text + " and others" : text;
}

[[nodiscard]] std::string SubscriptionsText(const std::vector<std::uint32_t>& subscriptions) {
  return fmt::format("{}", fmt::join(subscriptions, ", "));
}

}  // namespace

std::string FactsSection(const sReportSource& source) {
  const sReportFindings& findings = source.findings;
  const std::uint64_t items = findings.statistics.All().items;
  const char* state = source.file.State() == eCaptureState::Damaged    ? "damaged"
                      : source.file.State() == eCaptureState::Unclosed ? "not closed"
                                                                       : "complete";
  cFacts facts;
  facts.Add("File", source.name);
  facts.Add("State", state);
  facts.Add("Size", fmt::format("{} bytes ({})", FormatCount(source.file.Size()),
                                FormatBytes(source.file.Size())));
  facts.Add("Items", source.selection.empty() ? FormatCount(items)
                                              : fmt::format("{} of {} selected", FormatCount(items),
                                                            FormatCount(source.file.ItemCount())));
  facts.Add("Selection", source.selection);
  if (findings.firstItem) {
    facts.Add("First item (UTC)", HtmlTime(findings.firstTime));
    facts.Add("Last item (UTC)", HtmlTime(findings.lastTime));
    facts.Add("Span, without leaps of the clock", LengthText(findings.statistics.Span()));
  }
  facts.Add("Device", SourcesText(findings.connections));
  facts.Add("Profile", "unknown: a capture does not tell it");
  return facts.Take();
}

std::string StretchesTable(const sReportFindings& findings) {
  const auto& lines = findings.timeLines.Lines();
  std::string html;
  if (lines.size() < 2) {
    return html;
  }
  {
    cHtmlTable table(html, "Stretches of time: the clock leaps by a day or more between them",
                     {{"From (UTC)", eColumn::Time},
                      {"To (UTC)", eColumn::Time},
                      {"Length", eColumn::Number},
                      {"Items", eColumn::Number}},
                     lines.size());
    for (const sTimeLine& line : lines) {
      table.Row({HtmlTime(line.first), HtmlTime(line.last), LengthText(line.last - line.first),
                 FormatCount(line.Items())});
    }
  }
  if (findings.timeLines.ItemsElsewhere() != 0) {
    html += fmt::format("<p class=\"more\">and {} at other times</p>\n",
                        FormatItems(findings.timeLines.ItemsElsewhere()));
  }
  return html;
}

std::string TypesTable(const sReportFindings& findings) {
  const auto& types = findings.statistics.Types();
  const sItemTotals& all = findings.statistics.All();
  const auto used = static_cast<std::size_t>(
      std::ranges::count_if(types, [](const sItemTotals& totals) { return totals.items != 0; }));
  std::string html;
  cHtmlTable table(html, "Items by type",
                   {{"Type"},
                    {"Items", eColumn::Number},
                    {"Share"},
                    {"Bytes", eColumn::Number},
                    {"A second", eColumn::Number},
                    {"First (UTC)", eColumn::Time},
                    {"Last (UTC)", eColumn::Time}},
                   used);
  for (std::uint32_t type = 0; type < types.size(); ++type) {
    const sItemTotals& totals = types[type];
    if (totals.items == 0) {
      continue;
    }
    table.Row();
    table.Cell(fmt::format("{} {}", type, ItemTypeName(type)));
    table.Cell(FormatCount(totals.items));
    table.RawCell(Share(totals.items, all.items), "share");
    table.Cell(FormatCount(totals.bytes));
    table.Cell(RateText(totals.items, findings.statistics.Span()));
    table.Cell(HtmlTime(totals.first));
    table.Cell(HtmlTime(totals.last));
  }
  return html;
}

namespace {

[[nodiscard]] std::string RemarksTable(const char* caption, const sRemarks& remarks) {
  std::string html;
  if (remarks.kept.empty()) {
    return html;
  }
  {
    const std::size_t rows = std::min(remarks.kept.size(), kMostRows);
    cHtmlTable table(html, caption,
                     {{"Time (UTC)", eColumn::Time}, {"Item", eColumn::Number}, {"Text"}}, rows);
    for (std::size_t row = 0; row < rows; ++row) {
      const sRemark& remark = remarks.kept[row];
      table.Row({HtmlTime(remark.time), FormatCount(remark.item), remark.text});
    }
  }
  return html + More(remarks.kept.size() + remarks.others, kMostRows);
}

}  // namespace

std::string MarkersTable(const sReportFindings& findings) {
  return RemarksTable("Markers, with the item behind each", findings.markers) +
         RemarksTable("Texts of the recorder", findings.texts);
}

std::string ConnectionsSection(const sReportFindings& findings) {
  const auto& connections = findings.connections.Kept();
  if (connections.empty()) {
    return "<p>No text of the recorder tells of a connection.</p>\n";
  }
  std::string html;
  const std::size_t rows = std::min(connections.size(), kMostRows);
  {
    cHtmlTable table(html, "Connections",
                     {{"Device"},
                      {"From (UTC)", eColumn::Time},
                      {"To (UTC)", eColumn::Time},
                      {"Length", eColumn::Number},
                      {"Items", eColumn::Number},
                      {"Subscriptions"},
                      {"How it ended"}},
                     rows);
    for (std::size_t row = 0; row < rows; ++row) {
      const sConnection& connection = connections[row];
      table.Row({connection.port + (connection.imported ? " (imported)" : ""),
                 connection.hasBeginning ? HtmlTime(connection.start) : "before the first item",
                 HtmlTime(connection.end), LengthText(connection.Length()),
                 FormatCount(connection.items), SubscriptionsText(connection.subscriptions),
                 kHowEnded[static_cast<std::size_t>(connection.howEnded)]});
    }
  }
  return html + More(findings.connections.Count(), rows);
}

std::string GapsSection(const sReportFindings& findings) {
  const std::vector<sGap> gaps = findings.gaps.Kept();
  std::string html;
  if (gaps.empty()) {
    return fmt::format("<p>No gap: there is no time of more than {} s without a packet.</p>\n",
                       sReportFindings::kGapLimit / 1000);
  }
  const std::size_t rows = std::min(gaps.size(), kMostRows);
  {
    cHtmlTable table(
        html,
        fmt::format("Gaps: more than {} s without a packet", sReportFindings::kGapLimit / 1000),
        {{"From (UTC)", eColumn::Time}, {"Length", eColumn::Number}, {"Between items"}, {"Remark"}},
        rows);
    for (std::size_t row = 0; row < rows; ++row) {
      const sGap& gap = gaps[row];
      table.Row({HtmlTime(gap.start), LengthText(gap.Length()),
                 fmt::format("{} and {}", gap.before, gap.after),
                 gap.hasConnectionChange ? "the connection changed in it" : ""});
    }
  }
  return html + More(findings.gaps.Count(), rows);
}

namespace {

void RequestRow(cHtmlTable& table, std::string_view name, const sNamedRequests& requests) {
  const cTimeSpread& trips = requests.roundTrips;
  table.Row({name, FormatCount(requests.totals.sent), FormatCount(requests.totals.answered),
             FormatCount(requests.totals.refused), FormatCount(requests.totals.Unanswered()),
             trips.Count() == 0 ? "–" : FormatCount(trips.Median()),
             trips.Count() == 0 ? "–" : FormatCount(trips.Greatest())});
}

[[nodiscard]] std::string FailedRequests(const char* caption, const std::vector<sRequest>& requests,
                                         std::uint64_t count) {
  std::string html;
  if (requests.empty()) {
    return html;
  }
  const std::size_t rows = std::min(requests.size(), kMostRows);
  {
    cHtmlTable table(
        html, caption,
        {{"Time (UTC)", eColumn::Time}, {"Item", eColumn::Number}, {"Request"}, {"Reply"}}, rows);
    for (std::size_t row = 0; row < rows; ++row) {
      const sRequest& request = requests[row];
      table.Row({HtmlTime(request.time), FormatCount(request.number), request.name,
                 request.state == eRequestState::Refused ? request.refusal : "none"});
    }
  }
  return html + More(count, rows);
}

}  // namespace

std::string RequestsSection(const sReportFindings& findings) {
  const cRequestReplies& requests = findings.requests;
  if (!findings.tellsRequests) {
    return "<p>Not told: the selection may leave out the replies.</p>\n";
  }
  if (requests.Totals().sent == 0) {
    return "<p>The capture has no requests.</p>\n";
  }
  std::string html;
  const std::size_t rows = std::min(requests.ByName().size(), kMostRows);
  {
    cHtmlTable table(html, "Requests of the recorder by what they ask for",
                     {{"Request"},
                      {"Sent", eColumn::Number},
                      {"Answered", eColumn::Number},
                      {"Refused", eColumn::Number},
                      {"No reply", eColumn::Number},
                      {"Reply time, median (ms)", eColumn::Number},
                      {"Longest (ms)", eColumn::Number}},
                     rows);
    std::size_t row = 0;
    for (const auto& [name, named] : requests.ByName()) {
      if (row++ == rows) {
        break;
      }
      RequestRow(table, name, named);
    }
  }
  html += More(requests.ByName().size(), rows);
  html += FailedRequests("Refused requests", requests.Refused(), requests.Totals().refused);
  return html + FailedRequests("Requests without a reply", requests.Unanswered(),
                               requests.Totals().Unanswered());
}

namespace {

using tNumbered = std::vector<std::pair<std::uint16_t, sItemTotals>>;

// The most frequent ones; of several equally frequent ones the lower numbers.
[[nodiscard]] std::string MostFrequentTable(const char* caption, const char* what, tNumbered all,
                                            const std::function<std::string(std::uint16_t)>& name) {
  std::string html;
  if (all.empty()) {
    return html;
  }
  std::uint64_t items = 0;
  for (const auto& [number, totals] : all) {
    items += totals.items;
  }
  std::ranges::stable_sort(all, std::ranges::greater(),
                           [](const auto& entry) { return entry.second.items; });
  const std::size_t rows = std::min(all.size(), kMostFrequent);
  // A frame would show no more than the table's head on a phone.
  html += "<div>";
  {
    cHtmlTable table(html, caption,
                     {{what}, {"Count", eColumn::Number}, {"Share"}, {"Bytes", eColumn::Number}},
                     0);
    for (std::size_t row = 0; row < rows; ++row) {
      const auto& [number, totals] = all[row];
      table.Row();
      table.Cell(name(number));
      table.Cell(FormatCount(totals.items));
      table.RawCell(Share(totals.items, items), "share");
      table.Cell(FormatCount(totals.bytes));
    }
  }
  return html + More(all.size(), rows) + "</div>\n";
}

}  // namespace

std::string MostFrequentSection(const sReportFindings& findings) {
  const auto logName = [](std::uint16_t code) {
    const sLogCodeName* const known = FindLogCode(code);
    return fmt::format("0x{:04X} {}", code, known != nullptr ? known->name : std::string_view());
  };
  const auto eventName = [](std::uint16_t id) { return fmt::format("{} {}", id, EventName(id)); };
  const auto ssidName = [](std::uint16_t id) { return fmt::format("{} {}", id, SsidName(id)); };
  const cStatistics& statistics = findings.statistics;
  std::string html =
      MostFrequentTable("Log codes", "Log code", statistics.LogCodes().All(), logName) +
      MostFrequentTable("Events", "Event", statistics.Events().All(), eventName) +
      MostFrequentTable("Subsystems of debug messages", "Subsystem", statistics.Ssids().All(),
                        ssidName);
  return html.empty() ? "<p>No logs, events or debug messages.</p>\n" : html;
}

}  // namespace corvane::tools
