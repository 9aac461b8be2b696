#include "describe/message_table.h"

#include <array>
#include <cctype>
#include <charconv>
#include <fstream>
#include <stdexcept>

namespace corvane {
namespace {

// In the enumeration's order.
constexpr std::array kSyntaxes = std::to_array<std::string_view>({
    "GsmLayer3",
    "GsmPseudoLength",
    "GsmAccessBurst",
    "GprsRlcMacDownlink",
    "GprsRlcMacUplink",
    "WcdmaUlCcch",
    "WcdmaUlDcch",
    "WcdmaDlCcch",
    "WcdmaDlDcch",
    "WcdmaBcchBch",
    "WcdmaBcchFach",
    "WcdmaPcch",
    "WcdmaMcch",
    "WcdmaMsch",
    "WcdmaSystemInformationContainer",
    "WcdmaSystemInformationBlock",
    "LteBcchBch",
    "LteBcchDlSch",
    "LteMcch",
    "LtePcch",
    "LteDlCcch",
    "LteDlDcch",
    "LteUlCcch",
    "LteUlDcch",
    "LteNbBcchBch",
    "LteNbBcchDlSch",
    "LteNbPcch",
    "LteNbDlCcch",
    "LteNbDlDcch",
    "LteNbUlCcch",
    "LteNbUlDcch",
    "LteNasPlain",
    "LteNas",
    "NrBcchBch",
    "NrBcchDlSch",
    "NrDlCcch",
    "NrDlDcch",
    "NrMcch",
    "NrPcch",
    "NrUlCcch",
    "NrUlCcch1",
    "NrUlDcch",
    "NrReconfiguration",
    "NrReconfigurationComplete",
    "NrRadioBearerConfig",
    "NrMrdcCapability",
    "NrCapability",
    "NrNas",
    "Ip",
    "Sip",
});
static_assert(kSyntaxes.size() == static_cast<std::size_t>(eSyntax::Sip) + 1);

[[nodiscard]] ByteVector ParseHex(std::string_view text) {
  ByteVector bytes;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    std::uint8_t byte = 0;
    const std::string_view digits = text.substr(at, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, byte, 16);
    if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2) {
      throw std::runtime_error("not hexadecimal: " + std::string(text));
    }
    bytes.push_back(byte);
  }
  return bytes;
}

[[nodiscard]] sMessageRow ParseRow(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char character : line) {
    if (character == '\t') {
      fields.emplace_back();
    } else {
      fields.back().push_back(character);
    }
  }
  if (fields.size() < 4 || fields.size() > 5) {
    throw std::runtime_error("not a row of messages: " + line);
  }
  sMessageRow row{SyntaxByName(fields[0]), fields[1], ParseHex(fields[2]), fields[3], std::nullopt};
  if (fields.size() == 5) {
    row.sibType = static_cast<std::uint8_t>(std::stoul(fields[4]));
  }
  return row;
}

[[nodiscard]] std::vector<sMessageRow> ReadTable() {
  std::ifstream file(CORVANE_MESSAGES);
  std::vector<sMessageRow> rows;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') {
      rows.push_back(ParseRow(line));
    }
  }
  if (rows.empty()) {
    throw std::runtime_error("no messages in " CORVANE_MESSAGES);
  }
  return rows;
}

}  // namespace

const std::vector<sMessageRow>& MessageTable() {
  static const std::vector<sMessageRow> rows = ReadTable();
  return rows;
}

std::string LettersAndDigits(std::string_view name) {
  std::string kept;
  for (const char character : name) {
    const auto byte = static_cast<unsigned char>(character);
    if (std::isalnum(byte) != 0) {
      kept.push_back(static_cast<char>(std::tolower(byte)));
    }
  }
  return kept;
}

std::string_view SyntaxName(eSyntax syntax) {
  return kSyntaxes.at(static_cast<std::size_t>(syntax));
}

eSyntax SyntaxByName(std::string_view name) {
  for (std::size_t number = 0; number < kSyntaxes.size(); ++number) {
    if (kSyntaxes[number] == name) {
      return static_cast<eSyntax>(number);
    }
  }
  throw std::runtime_error("no syntax " + std::string(name));
}

}  // namespace corvane
