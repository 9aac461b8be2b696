#include "convert/source_texts.h"

#include <charconv>
#include <system_error>

#include "capture/isf/layout.h"
#include "convert/row_text.h"

namespace corvane {
namespace {

constexpr std::string_view kPort = "Port ";
constexpr std::string_view kConnected = " connected";
constexpr std::string_view kDisconnected = " disconnected";
constexpr std::string_view kImported = "Imported from ";
constexpr std::string_view kMerged = "Merged from ";
constexpr std::string_view kSubscription = "Subscription ";
constexpr std::string_view kNone = "none";

// Nothing for text that is not a number of 32 bits.
[[nodiscard]] std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || next != end) {
    return std::nullopt;
  }
  return number;
}

void ApplySubscription(std::string_view subscription, sSource& source) {
  if (subscription == kNone) {
    source.subscription.reset();
  } else if (const auto number = ParseNumber(subscription)) {
    source.subscription = number;
  }
}

// The port of "Port COM7 connected"; empty for another text.
[[nodiscard]] std::string_view PortIn(std::string_view text) {
  if (!text.starts_with(kPort) || !text.ends_with(kConnected) ||
      text.size() <= kPort.size() + kConnected.size()) {
    return {};
  }
  return text.substr(kPort.size(), text.size() - kPort.size() - kConnected.size());
}

// What stands behind `words`; empty for a text that does not begin with them.
[[nodiscard]] std::string_view NameBehind(std::string_view text, std::string_view words) {
  return text.starts_with(words) ? text.substr(words.size()) : std::string_view();
}

// Takes the first character off well-formed UTF-8 that is not empty.
[[nodiscard]] std::uint32_t TakeCharacter(std::string_view& text) {
  std::uint32_t character = static_cast<std::uint8_t>(text.front());
  text.remove_prefix(1);
  if (character >= 0xC0) {
    character &= character >= 0xF0 ? 0x07U : character >= 0xE0 ? 0x0FU : 0x1FU;
  }
  while (!text.empty() && (static_cast<std::uint8_t>(text.front()) & 0xC0) == 0x80) {
    character = (character << 6) | (static_cast<std::uint8_t>(text.front()) & 0x3FU);
    text.remove_prefix(1);
  }
  return character;
}

void AppendUnit(tTextPacket& packet, std::uint32_t unit) {
  packet.push_back(static_cast<std::uint8_t>(unit & 0xFF));
  packet.push_back(static_cast<std::uint8_t>(unit >> 8));
}

}  // namespace

void ApplySourceText(std::string_view text, sSource& source) {
  if (text.starts_with(kSubscription)) {
    ApplySubscription(text.substr(kSubscription.size()), source);
  } else if (const std::string_view stream = NameBehind(text, kImported); !stream.empty()) {
    source = {std::string(stream), std::nullopt, true, source.capture};
  } else if (const std::string_view capture = NameBehind(text, kMerged); !capture.empty()) {
    source = {{}, std::nullopt, false, std::string(capture)};
  } else if (const std::string_view port = PortIn(text);
             !port.empty() && (source.port != port || source.imported)) {
    source = {std::string(port), std::nullopt, false, source.capture};
  }
}

eSourceText KindOfSourceText(std::string_view text) {
  if (!NameBehind(text, kMerged).empty()) {
    return eSourceText::Capture;
  }
  if (!NameBehind(text, kImported).empty() || !PortIn(text).empty()) {
    return eSourceText::Port;
  }
  if (!NameBehind(text, kPort).empty() && text.ends_with(kDisconnected)) {
    return eSourceText::PortGone;
  }
  const std::string_view subscription = NameBehind(text, kSubscription);
  const bool isOne = subscription == kNone || ParseNumber(subscription);
  return isOne ? eSourceText::Subscription : eSourceText::None;
}

std::string ImportText(std::string_view name) { return std::string(kImported) += name; }

std::string MergeText(std::string_view name) { return std::string(kMerged) += name; }

std::string SubscriptionText(std::optional<std::uint32_t> subscription) {
  return std::string(kSubscription) + (subscription ? std::to_string(*subscription) : "none");
}

tTextPacket MakeTextPacket(std::string_view text) {
  tTextPacket packet(isf::kTextItemHeaderSize);
  isf::StoreTextItem(std::nullopt, packet);
  const std::string wellFormed = WellFormed(text);
  for (std::string_view left = wellFormed; !left.empty();) {
    const std::uint32_t character = TakeCharacter(left);
    if (character < 0x10000) {
      AppendUnit(packet, character);
    } else {
      AppendUnit(packet, 0xD800 + ((character - 0x10000) >> 10));
      AppendUnit(packet, 0xDC00 + ((character - 0x10000) & 0x3FF));
    }
  }
  AppendUnit(packet, 0);
  return packet;
}

}  // namespace corvane
