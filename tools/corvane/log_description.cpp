#include "corvane/log_description.h"

#include <fmt/format.h>

#include <array>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane::tools {
namespace {

[[nodiscard]] bool IsSynthetic(std::uint8_t channel) {
  return channel == ota_log::kSibFromBch || channel == ota_log::kSibFromFach;
}

// What a synthetic packet holds. The library puts a SIB type into each of them.
[[nodiscard]] std::string DescribeSibType(std::optional<std::uint8_t> sibType) {
  if (!sibType) {
    return "no SIB type,";
  }
  const auto name = SibTypeName(*sibType);
  return name ? std::string(*name) : fmt::format("SIB type {}", *sibType);
}

[[nodiscard]] std::string DescribeChannel(const std::vector<std::uint8_t>& packet) {
  const std::uint8_t channel = packet[ota_log::kChannel];
  if (const auto name = OtaChannelName(channel)) {
    return std::string(*name);
  }
  const auto name = channel >= ota_log::kNewLayout
                        ? OtaChannelName(static_cast<std::uint8_t>(channel - ota_log::kNewLayout))
                        : std::nullopt;
  if (!name) {
    return fmt::format("channel {}", channel);
  }
  if (packet.size() < ota_log::kNewMessage) {
    return std::string(*name);
  }
  return fmt::format("{}, UARFCN {}, PSC {}", *name, Load16(&packet[ota_log::kUarfcn]),
                     Load16(&packet[ota_log::kScramblingCode]));
}

[[nodiscard]] std::string DescribeOtaLog(const sCaptureItem& item) {
  std::string text = fmt::format("log 0x{:04X}", ota_log::kLogCode);
  if (item.bytes.size() < ota_log::kMessage) {
    return text + " that is cut off";
  }
  if (IsSynthetic(item.bytes[ota_log::kChannel])) {
    text += fmt::format(
        ", {} from {}, synthetic", DescribeSibType(SyntheticSibType(item)),
        item.bytes[ota_log::kChannel] == ota_log::kSibFromBch ? "BCCH-BCH" : "BCCH-FACH");
  } else {
    text += fmt::format(", {}, captured", DescribeChannel(item.bytes));
  }
  if (item.bytes[ota_log::kRadioBearer] != 0) {
    text += fmt::format(", bearer {}", item.bytes[ota_log::kRadioBearer]);
  }
  if (item.extra) {
    text += fmt::format(", cell 0x{:06X}", *item.extra);
  }
  return text;
}

}  // namespace

std::optional<std::uint16_t> LogCode(const sCaptureItem& item) {
  if (item.type != isf::kShortLogItem && item.type != isf::kLogItem &&
      item.type != isf::kSignallingLogItem) {
    return std::nullopt;
  }
  if (item.bytes.size() < log_packet::kLogCode + 2 || item.bytes[0] != command::kLog) {
    return std::nullopt;
  }
  return Load16(&item.bytes[log_packet::kLogCode]);
}

std::string DescribeLog(const sCaptureItem& item) {
  const std::optional<std::uint16_t> code = LogCode(item);
  if (!code) {
    return "log packet without a log code";
  }
  if (*code == ota_log::kLogCode) {
    return DescribeOtaLog(item);
  }
  std::string text = fmt::format("log 0x{:04X}", *code);
  if (item.extra) {
    text += fmt::format(", technology {}", *item.extra);
  }
  return text;
}

std::optional<std::uint8_t> SyntheticSibType(const sCaptureItem& item) {
  if (LogCode(item) != ota_log::kLogCode || item.bytes.size() <= ota_log::kMessage) {
    return std::nullopt;
  }
  if (!IsSynthetic(item.bytes[ota_log::kChannel])) {
    return std::nullopt;
  }
  if (Load16(&item.bytes[ota_log::kMessageLength]) == 0) {
    return std::nullopt;
  }
  return item.bytes[ota_log::kMessage];
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
