#include "corvane/item_names.h"

#include <array>

#include "capture/isf/layout.h"

namespace corvane::tools {

std::string_view ItemTypeName(std::uint32_t type) {
  switch (type) {
    case isf::kShortLogItem:
      return "short-log";
    case isf::kPacketItem:
      return "packet";
    case isf::kRequestItem:
      return "request";
    case isf::kEventItem:
      return "event";
    case isf::kLogItem:
      return "log";
    case isf::kMessageItem:
      return "message";
    case isf::kInformationItem:
      return "information";
    case isf::kSignallingLogItem:
      return "signalling-log";
    case isf::kSubsystemItem:
      return "subsystem";
    case isf::kSubsystemRequestItem:
      return "subsystem-request";
    default:
      return "unknown";
  }
}

std::optional<std::string_view> CommandName(std::uint8_t command) {
  switch (command) {
    case 0x00:
      return "version";
    case 0x0C:
      return "status";
    case 0x1C:
      return "protocol version";
    case 0x1D:
      return "time stamp";
    case 0x60:
      return "event report";
    case 0x63:
      return "feature query";
    case 0x73:
      return "log mask";
    case 0x7C:
      return "build ID";
    case 0x7D:
      return "message level";
    case 0x82:
      return "event mask";
    default:
      return std::nullopt;
  }
}

std::optional<std::string_view> SibTypeName(std::uint8_t sibType) {
  static constexpr std::array<std::string_view, 32> kNames = {
      "MIB",
      "SIB1",
      "SIB2",
      "SIB3",
      "SIB4",
      "SIB5",
      "SIB6",
      "SIB7",
      "SIB8",
      "SIB9",
      "SIB10",
      "SIB11",
      "SIB12",
      "SIB13",
      "SIB13.1",
      "SIB13.2",
      "SIB13.3",
      "SIB13.4",
      "SIB14",
      "SIB15",
      "SIB15.1",
      "SIB15.2",
      "SIB15.3",
      "SIB16",
      "SIB17",
      "SIB15.4",
      "SIB18",
      "scheduling block 1",
      "scheduling block 2",
      "SIB15.5",
      "SIB5bis",
      "extension",
  };
  if (sibType >= kNames.size()) {
    return std::nullopt;
  }
  return kNames[sibType];
}

std::optional<std::string_view> OtaChannelName(std::uint8_t channel) {
  static constexpr std::array<std::string_view, 11> kNames = {
      "UL-CCCH",
      "UL-DCCH",
      "DL-CCCH",
      "DL-DCCH",
      "BCCH-BCH",
      "BCCH-FACH",
      "PCCH",
      "MCCH",
      "MSCH",
      "extension SIB",
      "system information container",
  };
  if (channel >= kNames.size()) {
    return std::nullopt;
  }
  return kNames[channel];
}

}  // namespace corvane::tools
