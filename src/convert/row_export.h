#pragma once

#include <cstdint>
#include <string>

#include "convert/export.h"
#include "convert/item_fields.h"
#include "convert/source_texts.h"

namespace corvane {

enum class eRowFormat : std::uint8_t {
  // A line of JSON an item: an object of the fields that it has.
  JsonLines,
  // A line of names, then a line an item, with every field; lines end with CR LF.
  Csv,
};

// All items of a capture as rows of the fields of convert/item_fields.h, in UTF-8.
class cRowExport final : public cItemExport {
 public:
  // CSV begins with its line of names.
  cRowExport(eRowFormat wanted, const sExportOptions& options, cByteSink& output);

  void Add(const sCaptureItem& item) override;

 private:
  void AppendJson(const sItemRow& row);
  void AppendCsv(const sItemRow& row);

  const eRowFormat format;
  const std::uint32_t leapSeconds;
  cByteSink& sink;
  sSource source;
  // Both kept for their memory.
  cFieldValue value;
  std::string line;
};

}  // namespace corvane
