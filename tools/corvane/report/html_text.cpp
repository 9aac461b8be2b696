#include "corvane/report/html_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "corvane/command/readable_text.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::string_view ClassOf(eColumn kind) {
  switch (kind) {
    case eColumn::Number:
      return "number";
    case eColumn::Time:
      return "time";
    default:
      return {};
  }
}

// " class=..." for none, one or both.
[[nodiscard]] std::string ClassAttribute(std::string_view one, std::string_view other) {
  if (one.empty() && other.empty()) {
    return {};
  }
  return fmt::format(" class=\"{}{}{}\"", one, one.empty() || other.empty() ? "" : " ", other);
}

}  // namespace

std::string ShownText(std::string_view text, std::size_t most) {
  std::size_t end = std::min(most, text.size());
  // No character of up to four bytes is cut in two.
  const auto isWithin = [&text](std::size_t place) {
    return place != 0 && place < text.size() &&
           (static_cast<std::uint8_t>(text[place]) & 0xC0) == 0x80;
  };
  for (int step = 0; step < 3 && isWithin(end); ++step) {
    --end;
  }
  std::string shown = Readable(text.substr(0, end));
  if (end < text.size()) {
    shown += "...";
  }
  return shown;
}

std::string HtmlText(std::string_view text, std::size_t most) {
  const std::string shown = ShownText(text, most);
  std::string html;
  html.reserve(shown.size());
  for (const char character : shown) {
    switch (character) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += character;
    }
  }
  return html;
}

std::string JsonInHtml(std::string_view json) {
  std::string html;
  html.reserve(json.size());
  for (const char character : json) {
    // Only strings have one.
    if (character == '<') {
      html += "\\u003C";
    } else {
      html += character;
    }
  }
  return html;
}

std::string HtmlTime(std::uint64_t time) {
  std::string text = FormatUtc(time);
  text[text.find('T')] = ' ';
  text.pop_back();
  return text;
}

std::string LengthText(std::uint64_t milliseconds) {
  constexpr std::uint64_t kMinute = 60'000;
  if (milliseconds < kMinute) {
    return fmt::format("{}.{:03} s", milliseconds / 1000, milliseconds % 1000);
  }
  const std::uint64_t seconds = milliseconds / 1000;
  return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

cHtmlTable::cHtmlTable(std::string& html, std::string_view caption,
                       std::initializer_list<sColumn> titles, std::size_t rows)
    : out(html) {
  // What scrolls has to be within reach of the keyboard.
  out += rows > kMostUnframed
             ? fmt::format(
                   "<div class=\"table long\" tabindex=\"0\" role=\"region\" aria-label=\"{}\">",
                   HtmlText(caption))
             : "<div class=\"table\">";
  out += fmt::format("<table><caption>{}</caption>\n<thead><tr>", HtmlText(caption));
  for (const sColumn& title : titles) {
    kinds.push_back(title.kind);
    out += fmt::format("<th scope=\"col\"{}>{}</th>", ClassAttribute(ClassOf(title.kind), {}),
                       title.title);
  }
  out += "</tr></thead>\n<tbody>\n";
}

cHtmlTable::~cHtmlTable() { out += "</tbody></table></div>\n"; }

// The end tags of rows and cells may be left out, and are.
void cHtmlTable::Row() {
  out += "<tr>";
  column = 0;
}

void cHtmlTable::Cell(std::string_view text, std::string_view name) {
  RawCell(HtmlText(text), name);
}

void cHtmlTable::RawCell(std::string_view inner, std::string_view name) {
  const eColumn kind = column < kinds.size() ? kinds[column] : eColumn::Text;
  ++column;
  out += fmt::format("<td{}>{}", ClassAttribute(ClassOf(kind), name), inner);
}

void cHtmlTable::Row(std::initializer_list<std::string_view> cells) {
  Row();
  for (const std::string_view cell : cells) {
    Cell(cell);
  }
  out += '\n';
}

}  // namespace corvane::tools
