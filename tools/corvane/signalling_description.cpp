#include "corvane/signalling_description.h"

#include <fmt/format.h>

#include "corvane/item_names.h"
#include "corvane/log_packet.h"
#include "diag/little_endian.h"

namespace corvane::tools {
namespace {

// Where the fields of a 0x412F packet stand.
constexpr std::size_t kChannel = 16;
constexpr std::size_t kRadioBearer = 17;
constexpr std::size_t kMessageLength = 18;
constexpr std::size_t kMessage = 20;
// The newer layout, whose channels have bit 7 set, has two more fields in front of the message.
constexpr std::uint8_t kNewLayout = 0x80;
constexpr std::size_t kUarfcn = 20;
constexpr std::size_t kScramblingCode = 22;
constexpr std::size_t kNewMessage = 24;

// Channels of synthetic packets: which channel the segments came from.
constexpr std::uint8_t kSibFromBch = 254;
constexpr std::uint8_t kSibFromFach = 255;

[[nodiscard]] bool IsSynthetic(std::uint8_t channel) {
  return channel == kSibFromBch || channel == kSibFromFach;
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
  const std::uint8_t channel = packet[kChannel];
  if (const auto name = OtaChannelName(channel)) {
    return std::string(*name);
  }
  const auto name = channel >= kNewLayout
                        ? OtaChannelName(static_cast<std::uint8_t>(channel - kNewLayout))
                        : std::nullopt;
  if (!name) {
    return fmt::format("channel {}", channel);
  }
  if (packet.size() < kNewMessage) {
    return std::string(*name);
  }
  return fmt::format("{}, UARFCN {}, PSC {}", *name, Load16(&packet[kUarfcn]),
                     Load16(&packet[kScramblingCode]));
}

}  // namespace

std::string DescribeOtaLog(const sCaptureItem& item) {
  std::string text = "log 0x412F";
  if (item.bytes.size() < kMessage) {
    return text + " that is cut off";
  }
  if (IsSynthetic(item.bytes[kChannel])) {
    text += fmt::format(", {} from {}, synthetic", DescribeSibType(SyntheticSibType(item)),
                        item.bytes[kChannel] == kSibFromBch ? "BCCH-BCH" : "BCCH-FACH");
  } else {
    text += fmt::format(", {}, captured", DescribeChannel(item.bytes));
  }
  if (item.bytes[kRadioBearer] != 0) {
    text += fmt::format(", bearer {}", item.bytes[kRadioBearer]);
  }
  if (item.extra) {
    text += fmt::format(", cell 0x{:06X}", *item.extra);
  }
  return text;
}

std::optional<std::uint8_t> SyntheticSibType(const sCaptureItem& item) {
  if (LogCode(item) != kOtaLogCode || item.bytes.size() <= kMessage) {
    return std::nullopt;
  }
  if (!IsSynthetic(item.bytes[kChannel])) {
    return std::nullopt;
  }
  if (Load16(&item.bytes[kMessageLength]) == 0) {
    return std::nullopt;
  }
  return item.bytes[kMessage];
}

}  // namespace corvane::tools
