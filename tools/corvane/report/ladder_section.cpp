#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "corvane/command/readable_text.h"
#include "corvane/reading/cell_wording.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_sections.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

// A line between the messages: what else happened.
struct sLine {
  std::uint64_t item = 0;  // the line stands in front of this one's messages
  std::uint64_t time = 0;
  std::string text;
};

constexpr std::size_t kMostLines = 1000;

void AddConnectionLines(const cConnections& connections, std::vector<sLine>& lines) {
  for (const sConnection& connection : connections.Kept()) {
    if (connection.hasBeginning) {
      lines.push_back({connection.firstItem, connection.start,
                       (connection.imported ? "Imported from " : "Connected: ") + connection.port});
    }
    if (connection.howEnded == eConnectionEnd::Disconnected) {
      lines.push_back({connection.lastItem, connection.end, "Disconnected: " + connection.port});
    }
  }
}

// In the order of their items; the first kMostLines of them.
[[nodiscard]] std::vector<sLine> LinesOf(const sReportFindings& findings) {
  std::vector<sLine> lines;
  AddConnectionLines(findings.connections, lines);
  for (const sGap& gap : findings.gaps.Kept()) {
    lines.push_back({gap.after, gap.start, "Gap of " + LengthText(gap.Length())});
  }
  for (const sClockStep& step : findings.gaps.ClockSteps()) {
    lines.push_back({step.after, step.to, "Clock set back by " + LengthText(step.from - step.to)});
  }
  for (const sRemark& marker : findings.markers.kept) {
    lines.push_back({marker.item, marker.time, "Marker: " + marker.text});
  }
  std::ranges::stable_sort(lines, {}, &sLine::item);
  lines.resize(std::min(lines.size(), kMostLines));
  return lines;
}

void AppendLine(std::string& html, const sLine& line) {
  fmt::format_to(std::back_inserter(html), "<tr class=\"r\"><td>{}<td>{}<td colspan=\"5\">{}\n",
                 HtmlTime(line.time), line.item, HtmlText(line.text));
}

// u and d: to and from the network; b: to every mobile.
[[nodiscard]] std::string ClassesOf(const sLadderMessage& message) {
  std::string classes;
  if (message.link) {
    classes = *message.link == eLink::Uplink ? "u" : "d";
  }
  if (message.isBroadcast) {
    classes += classes.empty() ? "b" : " b";
  }
  return classes;
}

[[nodiscard]] std::string_view DirectionOf(const sLadderMessage& message) {
  if (!message.link) {
    return "";
  }
  return *message.link == eLink::Uplink ? "→ up" : "← down";
}

[[nodiscard]] std::string NameOf(const sLadderMessage& message) {
  std::string name(message.name);
  if (!message.firstBlock.empty()) {
    name += fmt::format(" ({})", message.firstBlock);
  }
  if (message.items > 1) {
    name += fmt::format(", in {} parts", message.items);
  }
  return name;
}

[[nodiscard]] std::string CellOf(const sLadderMessage& message) {
  std::string text;
  AppendCarrier(text, "", message.technology, message.cell);
  if (message.subscription) {
    text += fmt::format("{}subscription {}", text.empty() ? "" : ", ", *message.subscription);
  }
  return text;
}

void AppendMessage(std::string& html, const sLadderMessage& message) {
  fmt::format_to(std::back_inserter(html),
                 "<tr class=\"{}\"><td>{}<td>{}<td>{}<td>{}<td>{}<td>{}<td>{}\n",
                 ClassesOf(message), HtmlTime(message.time), message.item, DirectionOf(message),
                 HtmlText(TechnologyName(message.technology)), HtmlText(message.channel),
                 HtmlText(NameOf(message)), HtmlText(CellOf(message)));
}

[[nodiscard]] std::string CaptionOf(const cLadder& ladder, std::size_t shown) {
  if (shown == ladder.Count()) {
    return fmt::format("All {} messages between mobile and network", FormatCount(shown));
  }
  return fmt::format(
      "{} of {} messages between mobile and network; left out are {} of broadcast channels and {} "
      "others, the last ones (a selection such as --from and --to shows them)",
      FormatCount(shown), FormatCount(ladder.Count()), FormatCount(ladder.BroadcastLeftOut()),
      FormatCount(ladder.OthersLeftOut()));
}

constexpr char kFilter[] = R"(<div class="filter" id="filter" hidden>
<label>Filter <input type="search" id="filter-text" placeholder="words, such as: release PCI 330"></label>
<label>Technology <select id="filter-technology"><option value="">all</option></select></label>
<label>Direction <select id="filter-link"><option value="">both</option><option value="u">up</option><option value="d">down</option></select></label>
<label class="check"><input type="checkbox" id="filter-broadcast" checked> Broadcast</label>
<output id="filter-count" for="filter-text filter-technology filter-link filter-broadcast"></output>
</div>
)";

constexpr char kHead[] =
    "<thead><tr><th scope=\"col\">Time (UTC)</th><th scope=\"col\" class=\"number\">Item</th>"
    "<th scope=\"col\">Direction</th><th scope=\"col\">Technology</th><th "
    "scope=\"col\">Channel</th>"
    "<th scope=\"col\">Message</th><th scope=\"col\">Cell</th></tr></thead>\n<tbody>\n";

}  // namespace

std::string LadderSection(const sReportFindings& findings) {
  const std::vector<sLadderMessage> messages = findings.ladder.Messages();
  if (messages.empty()) {
    return "<p>No signalling messages.</p>\n";
  }
  const std::vector<sLine> lines = LinesOf(findings);
  const std::string caption = CaptionOf(findings.ladder, messages.size());
  std::string html = kFilter;
  html +=
      "<div class=\"table long\" tabindex=\"0\" role=\"region\" aria-label=\"Signalling messages\">"
      "<table id=\"ladder\"><caption>" +
      caption + "</caption>\n" + kHead;
  auto line = lines.begin();
  for (const sLadderMessage& message : messages) {
    for (; line != lines.end() && line->item <= message.item; ++line) {
      AppendLine(html, *line);
    }
    AppendMessage(html, message);
  }
  for (; line != lines.end(); ++line) {
    AppendLine(html, *line);
  }
  return html + "</tbody></table></div>\n";
}

}  // namespace corvane::tools
