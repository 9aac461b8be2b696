#include <array>
#include <cstddef>
#include <string>

#include "describe/fields.h"
#include "describe/log_packets.h"
#include "describe/signalling_log.h"

namespace corvane {
namespace {

using Payload = std::span<const std::uint8_t>;

// A cell that is being told, with the numbers of its payload.
class cTelling {
 public:
  cTelling(Payload payload, eTechnology technology, sDescription& told)
      : fields(payload, told.cutOff), description(told) {
    description.technology = technology;
  }

  // A layout whose first byte is its version.
  [[nodiscard]] std::uint32_t TakeVersion() {
    description.version = fields.Byte(0);
    return description.version.value_or(0);
  }

  void Finish() const { TellCell(cell, description); }

  cFields fields;
  sCell cell;
  sDescription& description;
};

[[nodiscard]] bool IsMnc(unsigned mnc, unsigned digits) {
  return (digits == 2 && mnc < 100) || (digits == 3 && mnc < 1000);
}

// MCC and MNC as numbers: `offset` has 16 bits of MCC, the number of MNC digits, 16 bits of MNC.
[[nodiscard]] std::optional<sPlmn> PlmnOfNumbers(cFields& fields, std::size_t offset) {
  const auto mcc = fields.Word(offset);
  const auto digits = fields.Byte(offset + 2);
  const auto mnc = fields.Word(offset + 3);
  if (!mcc || !digits || !mnc || *mcc > 999 || !IsMnc(*mnc, *digits)) {
    return std::nullopt;
  }
  return sPlmn{*mcc, *mnc, *digits};
}

// Three digits of MCC; then two of MNC, or three when the third is one. Nothing when they are none.
[[nodiscard]] std::optional<sPlmn> PlmnOfDigits(const std::array<unsigned, 6>& digits) {
  for (std::size_t place = 0; place < 5; ++place) {
    if (digits[place] > 9) {
      return std::nullopt;
    }
  }
  const auto mcc = static_cast<std::uint16_t>(digits[0] * 100 + digits[1] * 10 + digits[2]);
  const auto mnc = static_cast<std::uint16_t>(digits[3] * 10 + digits[4]);
  if (digits[5] > 9) {
    return sPlmn{mcc, mnc, 2};
  }
  return sPlmn{mcc, static_cast<std::uint16_t>(mnc * 10 + digits[5]), 3};
}

// One digit in each byte.
[[nodiscard]] std::optional<sPlmn> PlmnOfBytes(cFields& fields, std::size_t offset) {
  std::array<unsigned, 6> digits{};
  for (std::size_t place = 0; place < digits.size(); ++place) {
    const auto digit = fields.Byte(offset + place);
    if (!digit) {
      return std::nullopt;
    }
    digits[place] = *digit;
  }
  return PlmnOfDigits(digits);
}

// 3GPP TS 24.008, 10.5.1.3: two digits in each byte, the first one in the lower half, and the third
// digit of the MNC between those of the MCC and the others.
[[nodiscard]] std::optional<sPlmn> PlmnOfHalfBytes(cFields& fields, std::size_t offset) {
  std::array<unsigned, 6> halves{};  // the lower half of each byte, then the upper one
  for (std::size_t place = 0; place < 3; ++place) {
    const auto byte = fields.Byte(offset + place);
    if (!byte) {
      return std::nullopt;
    }
    halves[2 * place] = *byte & 0xFu;
    halves[2 * place + 1] = static_cast<unsigned>(*byte) >> 4;
  }
  return PlmnOfDigits({halves[0], halves[1], halves[2], halves[4], halves[5], halves[3]});
}

void AppendDetail(std::string& details, const char* name, std::optional<unsigned> value) {
  if (value) {
    details += (details.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(*value);
  }
}

// --- LTE

void DescribeLteMib(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Lte, description);
  cFields& fields = told.fields;
  sCell& cell = told.cell;
  switch (told.TakeVersion()) {
    case 1:
      cell.physicalCell = fields.Word(1);
      cell.frequency = fields.Word(3);
      cell.systemFrame = fields.Word(5);
      cell.antennas = fields.Byte(7);
      cell.bandwidth = fields.Byte(8);
      break;
    case 2:
      cell.physicalCell = fields.Word(1);
      cell.frequency = fields.Long(3);
      cell.systemFrame = fields.Word(7);
      cell.antennas = fields.Byte(9);
      cell.bandwidth = fields.Byte(10);
      break;
    case 17:  // NB-IoT, whose carriers have one width
      cell.physicalCell = fields.Word(1);
      cell.frequency = fields.Long(3);
      cell.systemFrame = fields.Word(7);
      cell.antennas = fields.Byte(17);
      break;
    default:
      break;
  }
  told.Finish();
}

// What versions 2 and 3 have in common; `offset` is behind the frequencies.
void DescribeLteServingCellRest(cTelling& told, std::size_t offset) {
  cFields& fields = told.fields;
  sCell& cell = told.cell;
  cell.bandwidth = fields.Byte(offset);
  cell.uplinkBandwidth = fields.Byte(offset + 1);
  cell.cellIdentity = fields.Long(offset + 2);
  cell.areaCode = fields.Word(offset + 6);
  cell.band = fields.Long(offset + 8);
  cell.plmn = PlmnOfNumbers(fields, offset + 12);
  AppendDetail(told.description.details, "access", fields.Byte(offset + 17));
}

void DescribeLteServingCell(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Lte, description);
  cFields& fields = told.fields;
  switch (told.TakeVersion()) {
    case 2:
      told.cell.physicalCell = fields.Word(1);
      told.cell.frequency = fields.Word(3);
      told.cell.uplinkFrequency = fields.Word(5);
      DescribeLteServingCellRest(told, 7);
      break;
    case 3:
      told.cell.physicalCell = fields.Word(1);
      told.cell.frequency = fields.Long(3);
      told.cell.uplinkFrequency = fields.Long(7);
      DescribeLteServingCellRest(told, 11);
      break;
    default:
      break;
  }
  told.Finish();
}

void DescribeEmmState(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Lte, description);
  if (told.TakeVersion() == 2) {
    AppendDetail(description.details, "EMM state", told.fields.Byte(1));
    AppendDetail(description.details, "substate", told.fields.Word(2));
    told.cell.plmn = PlmnOfHalfBytes(told.fields, 4);
    if (const auto isValid = told.fields.Byte(7)) {
      description.details += *isValid != 0 ? ", GUTI valid" : ", GUTI not valid";
    }
  }
  told.Finish();
}

// --- GSM and WCDMA

void DescribeGsmCell(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Gsm, description);
  cFields& fields = told.fields;
  sCell& cell = told.cell;
  if (const auto carrier = fields.Word(0)) {
    cell.frequency = *carrier & 0x0FFFu;
    AppendDetail(description.details, "band code", *carrier >> 12u);
  }
  const auto baseStationColour = fields.Byte(2);
  const auto networkColour = fields.Byte(3);
  if (baseStationColour && networkColour && *baseStationColour < 8 && *networkColour < 8) {
    cell.bsic = static_cast<std::uint8_t>(*networkColour << 3 | *baseStationColour);
  }
  cell.cellIdentity = fields.Word(4);
  // A location area identification as it is on the air, its LAC with the higher byte first.
  cell.plmn = PlmnOfHalfBytes(fields, 6);
  const auto high = fields.Byte(9);
  const auto low = fields.Byte(10);
  if (high && low) {
    cell.areaCode = std::uint32_t{*high} << 8 | *low;
  }
  told.Finish();
}

void DescribeWcdmaCell(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Wcdma, description);
  cFields& fields = told.fields;
  sCell& cell = told.cell;
  cell.uplinkFrequency = fields.Long(0);
  cell.frequency = fields.Long(4);
  cell.cellIdentity = fields.Long(8);
  if (const auto code = fields.Word(16)) {
    cell.physicalCell = static_cast<std::uint16_t>(*code >> 4);
  }
  cell.plmn = PlmnOfBytes(fields, 18);
  cell.areaCode = fields.Long(24);
  cell.routingArea = fields.Long(28);
  told.Finish();
}

// --- NR

// The minor version and then the major one, 16 bits each.
[[nodiscard]] constexpr std::uint32_t NrVersion(std::uint32_t major, std::uint32_t minor) {
  return major << 16 | minor;
}

void DescribeNrMib(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Nr, description);
  description.version = told.fields.Long(0);
  told.cell.physicalCell = told.fields.Word(4);
  told.cell.frequency = told.fields.Long(6);
  if (const auto frame = told.fields.Word(10)) {
    told.cell.systemFrame = *frame & 0x3FFu;
  }
  told.Finish();
}

// What all versions have in common; `offset` is that of the downlink's frequency.
void DescribeNrServingCellRest(cTelling& told, std::size_t offset) {
  cFields& fields = told.fields;
  sCell& cell = told.cell;
  cell.frequency = fields.Long(offset);
  cell.uplinkFrequency = fields.Long(offset + 4);
  cell.bandwidth = fields.Word(offset + 8);
  cell.uplinkBandwidth = fields.Word(offset + 10);
  cell.cellIdentity = fields.Quad(offset + 12);
  cell.plmn = PlmnOfNumbers(fields, offset + 20);
  AppendDetail(told.description.details, "access", fields.Byte(offset + 25));
  cell.areaCode = fields.Long(offset + 26);
  cell.band = fields.Word(offset + 30);
}

void DescribeNrServingCell(Payload payload, sDescription& description) {
  cTelling told(payload, eTechnology::Nr, description);
  description.version = told.fields.Long(0);
  switch (description.version.value_or(0)) {
    case NrVersion(0, 4):
      told.cell.physicalCell = told.fields.Word(4);
      DescribeNrServingCellRest(told, 6);
      break;
    case NrVersion(3, 2):
    case NrVersion(3, 3):
      told.cell.physicalCell = told.fields.Word(7);
      told.cell.globalIdentity = told.fields.Quad(9);
      DescribeNrServingCellRest(told, 17);
      break;
    default:
      break;
  }
  told.Finish();
}

}  // namespace

bool DescribeCellLog(std::uint16_t logCode, Payload payload, sDescription& description) {
  switch (logCode) {
    case 0x4127:
      DescribeWcdmaCell(payload, description);
      return true;
    case 0x5134:
      DescribeGsmCell(payload, description);
      return true;
    case 0xB0C1:
      DescribeLteMib(payload, description);
      return true;
    case 0xB0C2:
      DescribeLteServingCell(payload, description);
      return true;
    case 0xB0EE:
      DescribeEmmState(payload, description);
      return true;
    case 0xB822:
      DescribeNrMib(payload, description);
      return true;
    case 0xB823:
      DescribeNrServingCell(payload, description);
      return true;
    default:
      return false;
  }
}

}  // namespace corvane
