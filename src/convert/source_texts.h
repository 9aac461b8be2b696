#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What the text items of a capture say about the packets behind them.
namespace corvane {

// Where the packets come from that follow in a capture: the port that was connected last, and the
// subscription of a multi-SIM modem whose packets were taken out of their wrappers.
struct sSource {
  std::string port;                           // "COM7"; empty before the first connection
  std::optional<std::uint32_t> subscription;  // counted from 1; empty where none was told

  friend bool operator==(const sSource&, const sSource&) = default;
};

// Changes `source` as a text item tells: "Port COM7 connected", "Subscription 2", "Subscription
// none". A connection to another port begins without a subscription. Any other text changes
// nothing.
void ApplySourceText(std::string_view text, sSource& source);

// The text that tells a subscription: "Subscription 2", "Subscription none".
[[nodiscard]] std::string SubscriptionText(std::optional<std::uint32_t> subscription);

}  // namespace corvane
