#pragma once

#include <cstddef>
#include <string>

#include "convert/export.h"
#include "convert/source_texts.h"

namespace corvane::tools {

// The items of a capture as lines that a user reads: number, UTC time, item type, DIAG command,
// length, and what it is, in the field's words. A marker has a line in the same columns.
class cItemLines final : public cItemExport {
 public:
  // Numbers are right-aligned in `width` columns. `withBytes`: each item's bytes follow its line.
  cItemLines(std::size_t width, bool withBytes, cByteSink& output)
      : numberWidth(width), hex(withBytes), sink(output) {}

  void Add(const sCaptureItem& item) override;
  void Pass(const sCaptureItem& item) override;
  void Mark(const sMarker& marker) override;

 private:
  const std::size_t numberWidth;
  const bool hex;
  cByteSink& sink;
  sSource source;
  std::string text;  // kept for its memory
};

}  // namespace corvane::tools
