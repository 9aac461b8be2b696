#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "describe/signalling.h"
#include "support/bytes.h"

// Well-formed messages of every syntax with the names that Wireshark shows: messages.tsv.
namespace corvane {

struct sMessageRow {
  eSyntax syntax = eSyntax::GsmLayer3;
  std::string dissector;  // Wireshark's, as an exported PDU names it
  ByteVector message;
  std::string name;                     // as Wireshark shows it; empty where it shows none
  std::optional<std::uint8_t> sibType;  // of whole system information blocks
};

// All rows, in the file's order. Throws std::runtime_error for a row that cannot be read.
[[nodiscard]] const std::vector<sMessageRow>& MessageTable();

// The letters and digits of a name, in lower case.
[[nodiscard]] std::string LettersAndDigits(std::string_view name);

// "LteDlDcch", and the other way round; std::runtime_error for a name that no syntax has.
[[nodiscard]] std::string_view SyntaxName(eSyntax syntax);
[[nodiscard]] eSyntax SyntaxByName(std::string_view name);

}  // namespace corvane
