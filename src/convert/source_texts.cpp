#include "convert/source_texts.h"

#include <charconv>
#include <system_error>

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

std::string AsciiOf(std::string_view text) {
  std::string ascii;
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    const bool isInside = (byte & 0xC0) == 0x80;  // of a UTF-8 character, whose first byte counts
    if (byte < 0x80) {
      ascii += character;
    } else if (!isInside) {
      ascii += '?';
    }
  }
  return ascii;
}

std::string SubscriptionText(std::optional<std::uint32_t> subscription) {
  return std::string(kSubscription) + (subscription ? std::to_string(*subscription) : "none");
}

}  // namespace corvane
