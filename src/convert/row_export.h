#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/export.h"
#include "convert/item_fields.h"
#include "convert/source_texts.h"

namespace corvane {

enum class eRowFormat : std::uint8_t {
  // A line of JSON an item: an object of the fields that it has.
  JsonLines,
  // A line of names, then a line an item, with every field; lines end with CR LF.
  Csv,
  // A line an item, with every field and a separator between them.
  Separated,
};

// All items of a capture as rows of the fields of convert/item_fields.h, in UTF-8. A marker is a
// row of its sort, time and text; it is left out where rows have neither its `sort` nor a `text`.
class cRowExport final : public cItemExport {
 public:
  // CSV begins with its line of names.
  cRowExport(eRowFormat wanted, const sExportOptions& options, cByteSink& output);

  void Add(const sCaptureItem& item) override;
  void Pass(const sCaptureItem& item) override;
  void Mark(const sMarker& marker) override;

 private:
  // Fills `value`, which is clear, with a field of the row.
  template <typename Filler>
  void Write(const Filler& fill);
  void AppendValue();

  const eRowFormat format;
  const std::uint32_t leapSeconds;
  const std::string separator;
  std::vector<const sItemField*> fields;
  cByteSink& sink;
  sSource source;
  // Both kept for their memory.
  cFieldValue value;
  std::string line;
};

}  // namespace corvane
