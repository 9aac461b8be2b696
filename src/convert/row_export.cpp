#include "convert/row_export.h"

#include <array>
#include <charconv>
#include <string_view>

#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "convert/row_text.h"

namespace corvane {
namespace {

constexpr std::string_view kCsvLineEnd = "\r\n";

void AppendNumber(std::string& line, std::uint64_t number) {
  std::array<char, 20> digits{};  // of the greatest number of 64 bits
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  line.append(digits.data(), result.ptr);
}

}  // namespace

cRowExport::cRowExport(eRowFormat wanted, const sExportOptions& options, cByteSink& output)
    : format(wanted), leapSeconds(options.leapSeconds), sink(output) {
  if (format == eRowFormat::Csv) {
    for (const sItemField& field : ItemFields()) {
      line += line.empty() ? "" : ",";
      line += field.name;
    }
    line += kCsvLineEnd;
    sink.Write(line);
  }
}

void cRowExport::Add(const sCaptureItem& item) {
  const sDescription description = DescribeItem(item);
  if (description.sort == eItemSort::Text) {
    ApplySourceText(description.text, source);
  }
  const sItemRow row{item, description, source, IsRebuilt(item, description, source), leapSeconds};
  line.clear();
  if (format == eRowFormat::Csv) {
    AppendCsv(row);
  } else {
    AppendJson(row);
  }
  sink.Write(line);
}

void cRowExport::AppendJson(const sItemRow& row) {
  char separator = '{';
  for (const sItemField& field : ItemFields()) {
    value.Clear();
    field.fill(row, value);
    if (value.Kind() == cFieldValue::eKind::None) {
      continue;
    }
    line += separator;
    separator = ',';
    ((line += '"') += field.name) += "\":";
    if (value.Kind() == cFieldValue::eKind::Number) {
      AppendNumber(line, value.Number());
    } else {
      AppendJsonString(line, value.Text());
    }
  }
  line += "}\n";
}

void cRowExport::AppendCsv(const sItemRow& row) {
  bool isFirst = true;
  for (const sItemField& field : ItemFields()) {
    if (!isFirst) {
      line += ',';
    }
    isFirst = false;
    value.Clear();
    field.fill(row, value);
    if (value.Kind() == cFieldValue::eKind::Number) {
      AppendNumber(line, value.Number());
    } else if (value.Kind() == cFieldValue::eKind::Text) {
      AppendCsvField(line, value.Text());
    }
  }
  line += kCsvLineEnd;
}

}  // namespace corvane
