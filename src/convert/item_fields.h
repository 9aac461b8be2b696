#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "convert/source_texts.h"
#include "describe/description.h"
#include "reader/capture_file.h"

// The items of a capture as rows of named fields. This table is the one home of the fields: rows of
// every format have them, and may choose among them by name.
namespace corvane {

// An item and all that is known of it. Everything is borrowed.
struct sItemRow {
  const sCaptureItem& item;
  const sDescription& description;  // convert/item_description.h
  const sSource& source;            // what the texts in front of it tell
  bool rebuilt = false;             // convert/rebuilt_blocks.h
  std::uint32_t leapSeconds = 0;    // how far the modem's clock is ahead of UTC
};

// The value of a field, whose memory is reused from row to row.
class cFieldValue {
 public:
  enum class eKind : std::uint8_t { None, Number, Text };

  void Clear() { kind = eKind::None; }
  // What is empty leaves the value as it is.
  void SetNumber(std::optional<std::uint64_t> value);
  void SetText(std::string_view value);
  // Digits in capitals, an even number of them, without "0x".
  void SetHex(std::span<const std::uint8_t> bytes);
  // "0xB0C0"
  void SetHexNumber(std::optional<std::uint64_t> value, unsigned digits);

  [[nodiscard]] eKind Kind() const { return kind; }
  [[nodiscard]] std::uint64_t Number() const { return number; }
  // UTF-8 as a rule, but a modem may send anything.
  [[nodiscard]] std::string_view Text() const { return text; }

 private:
  eKind kind = eKind::None;
  std::uint64_t number = 0;
  std::string text;
};

struct sItemField {
  std::string_view name;     // lower case: "log_code"
  std::string_view meaning;  // for help and documents
  // Fills a value that is clear; leaves it so where the row has nothing to tell.
  void (*fill)(const sItemRow& row, cFieldValue& value);
};

// All fields, in the order of columns.
[[nodiscard]] std::span<const sItemField> ItemFields();
// Null when there is none of that name.
[[nodiscard]] const sItemField* FindItemField(std::string_view name);

}  // namespace corvane
