#include "corvane/reading/item_lines.h"

#include <fmt/format.h>

#include <iterator>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "reader/utc_time.h"

namespace corvane::tools {

void cItemLines::Add(const sCaptureItem& item) {
  const sDescription description = DescribeItem(item);
  if (item.type == isf::kInformationItem) {
    ApplySourceText(description.text, source);
  }
  text.clear();
  const auto out = std::back_inserter(text);
  fmt::format_to(out, "{:>{}}  {}  {:>2} {:<17}  ", item.number, numberWidth, FormatUtc(item.time),
                 item.type, ItemTypeName(item.type));
  if (HasCommand(item)) {
    fmt::format_to(out, "0x{:02X}", item.bytes[0]);
  } else {
    text += "   -";
  }
  fmt::format_to(out, "  {:>5}  ", item.bytes.size());
  AppendWords(text, item, description, IsRebuilt(item, description, source));
  text += '\n';
  if (hex) {
    AppendHexDump(text, item.bytes, "    ");
  }
  sink.Write(text);
}

void cItemLines::Pass(const sCaptureItem& item) {
  ApplySourceText(DescribeItem(item).text, source);
}

void cItemLines::Mark(const sMarker& marker) {
  sink.Write(fmt::format("{:>{}}  {}  {:>2} {:<17}  {:>4}  {:>5}  {}\n", "-", numberWidth,
                         FormatUtc(marker.time), "-", "marker", "-", "-", Quote(marker.text)));
}

}  // namespace corvane::tools
