#include <fmt/format.h>

#include <map>

#include "corvane/command/readable_text.h"
#include "corvane/reading/cell_wording.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_sections.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

// What one cell broadcasts on one bearer, as a list: "SIB2 ×12".
using tBearers = std::map<std::string, std::string>;

// By the cells' numbers; those of no known cell by a number that no cell has.
using tByCell = std::map<std::pair<std::size_t, eTechnology>, tBearers>;
constexpr std::size_t kNoCell = SIZE_MAX;

[[nodiscard]] std::string BearerName(const sSeenBlock& block) {
  return std::string(block.bearer) + (block.isRebuilt ? ", rebuilt by the recorder" : "");
}

[[nodiscard]] tByCell BlocksByCell(const std::vector<sSeenBlock>& blocks) {
  tByCell byCell;
  for (const sSeenBlock& block : blocks) {
    std::string& list = byCell[{block.cell.value_or(kNoCell), block.technology}][BearerName(block)];
    list += fmt::format("<li>{} ×{}", HtmlText(block.name), FormatCount(block.times));
  }
  return byCell;
}

[[nodiscard]] std::string BearersText(const tBearers& bearers) {
  std::string html;
  for (const auto& [bearer, list] : bearers) {
    html += fmt::format("{}<ul class=\"blocks\">{}</ul>", HtmlText(bearer), list);
  }
  return html;
}

// "PCI 330 EARFCN 675  bandwidth 25" without the blanks in front.
[[nodiscard]] std::string CellText(const sSeenCell& seen) {
  std::string text;
  AppendCell(text, seen.technology, seen.cell);
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

void CellRow(cHtmlTable& table, const sSeenCell& seen, const tByCell& blocks) {
  table.Row();
  table.Cell(TechnologyName(seen.technology));
  table.Cell(CellText(seen));
  table.Cell(HtmlTime(seen.first));
  table.Cell(HtmlTime(seen.last));
  table.Cell(FormatCount(seen.items));
  const auto found = blocks.find({seen.number, seen.technology});
  table.RawCell(found == blocks.end() ? std::string() : BearersText(found->second));
}

}  // namespace

std::string CellsSection(const sReportFindings& findings) {
  const cSystemInformationSeen& seen = findings.systemInformation;
  const std::vector<sSeenCell> cells = seen.Cells().Cells();
  const tByCell blocks = BlocksByCell(seen.Blocks());
  if (cells.empty() && blocks.empty()) {
    return "<p>Nothing tells of a cell.</p>\n";
  }
  std::string html;
  {
    cHtmlTable table(html, "Cells, and the system information that each was heard to broadcast",
                     {{"Technology"},
                      {"Cell"},
                      {"First (UTC)", eColumn::Time},
                      {"Last (UTC)", eColumn::Time},
                      {"Packets", eColumn::Number},
                      {"System information by bearer"}},
                     cells.size());
    for (const sSeenCell& cell : cells) {
      CellRow(table, cell, blocks);
    }
    for (const auto& [key, bearers] : blocks) {
      if (key.first == kNoCell) {
        table.Row({TechnologyName(key.second), "not told", "", "", ""});
        table.RawCell(BearersText(bearers));
      }
    }
  }
  if (seen.Cells().Others() != 0) {
    html += fmt::format("<p class=\"more\">and other cells, {} times</p>\n",
                        FormatCount(seen.Cells().Others()));
  }
  if (seen.Others() != 0) {
    html += fmt::format("<p class=\"more\">and other system information, {} times</p>\n",
                        FormatCount(seen.Others()));
  }
  return html;
}

}  // namespace corvane::tools
