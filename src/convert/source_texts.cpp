#include "convert/source_texts.h"

#include <charconv>
#include <system_error>

namespace corvane {
namespace {

constexpr std::string_view kPort = "Port ";
constexpr std::string_view kConnected = " connected";
constexpr std::string_view kImported = "Imported from ";
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

}  // namespace

void ApplySourceText(std::string_view text, sSource& source) {
  if (text.starts_with(kSubscription)) {
    ApplySubscription(text.substr(kSubscription.size()), source);
    return;
  }
  if (text.starts_with(kImported) && text.size() > kImported.size()) {
    source = {std::string(text.substr(kImported.size())), std::nullopt, true};
    return;
  }
  if (!text.starts_with(kPort) || !text.ends_with(kConnected) ||
      text.size() <= kPort.size() + kConnected.size()) {
    return;
  }
  const std::string_view port =
      text.substr(kPort.size(), text.size() - kPort.size() - kConnected.size());
  if (source.port != port || source.imported) {
    source = {std::string(port), std::nullopt, false};
  }
}

std::string ImportText(std::string_view name) { return std::string(kImported) += name; }

std::string SubscriptionText(std::optional<std::uint32_t> subscription) {
  return std::string(kSubscription) + (subscription ? std::to_string(*subscription) : "none");
}

}  // namespace corvane
