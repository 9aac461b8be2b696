#include "convert/row_export.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "convert/row_text.h"
#include "reader/utc_time.h"

namespace corvane {
namespace {

constexpr std::string_view kCsvLineEnd = "\r\n";
constexpr std::string_view kSort = "sort";
constexpr std::string_view kText = "text";

void AppendNumber(std::string& line, std::uint64_t number) {
  std::array<char, 20> digits{};  // of the greatest number of 64 bits
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  line.append(digits.data(), result.ptr);
}

[[nodiscard]] std::string_view SeparatorOf(eRowFormat format, std::string_view wanted) {
  return format == eRowFormat::Separated ? wanted : ",";
}

}  // namespace

cRowExport::cRowExport(eRowFormat wanted, const sExportOptions& options, cByteSink& output)
    : format(wanted),
      leapSeconds(options.leapSeconds),
      separator(SeparatorOf(wanted, options.separator)),
      fields(options.fields),
      sink(output) {
  if (fields.empty()) {
    for (const sItemField& field : ItemFields()) {
      fields.push_back(&field);
    }
  }
  if (format == eRowFormat::Csv) {
    for (const sItemField* const field : fields) {
      line += line.empty() ? "" : separator;
      line += field->name;
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
  Write([this, &row](const sItemField& field) { field.fill(row, value); });
}

void cRowExport::Pass(const sCaptureItem& item) {
  ApplySourceText(DescribeItem(item).text, source);
}

void cRowExport::Mark(const sMarker& marker) {
  const bool namesItself = std::any_of(fields.begin(), fields.end(), [](const sItemField* field) {
    return field->name == kSort || field->name == kText;
  });
  if (!namesItself) {
    return;
  }
  Write([this, &marker](const sItemField& field) {
    if (field.name == kSort) {
      value.SetText("marker");
    } else if (field.name == "time") {
      value.SetText(FormatUtc(marker.time));
    } else if (field.name == kText) {
      value.SetText(marker.text);
    }
  });
}

template <typename Filler>
void cRowExport::Write(const Filler& fill) {
  const bool isJson = format == eRowFormat::JsonLines;
  line.clear();
  std::string_view before = isJson ? "{" : "";
  for (const sItemField* const field : fields) {
    value.Clear();
    fill(*field);
    if (isJson && value.Kind() == cFieldValue::eKind::None) {
      continue;
    }
    line += std::exchange(before, separator);
    if (isJson) {
      ((line += '"') += field->name) += "\":";
    }
    AppendValue();
  }
  if (isJson) {
    line += before == "{" ? "{}\n" : "}\n";
  } else {
    line += format == eRowFormat::Csv ? kCsvLineEnd : "\n";
  }
  sink.Write(line);
}

void cRowExport::AppendValue() {
  if (value.Kind() == cFieldValue::eKind::Number) {
    AppendNumber(line, value.Number());
  } else if (value.Kind() == cFieldValue::eKind::Text) {
    switch (format) {
      case eRowFormat::JsonLines:
        AppendJsonString(line, value.Text());
        break;
      case eRowFormat::Csv:
        AppendCsvField(line, value.Text());
        break;
      case eRowFormat::Separated:
        AppendSeparatedField(line, value.Text());
        break;
    }
  }
}

}  // namespace corvane
