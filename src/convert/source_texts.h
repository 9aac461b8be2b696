#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What the text items of a capture say about the packets behind them.
namespace corvane {

// Where the packets come from that follow in a capture: the port that was connected last, or the
// stream of another recorder that the capture was made of; and the subscription of a multi-SIM
// modem whose packets were taken out of their wrappers.
struct sSource {
  std::string port;  // "COM7", or the name of the stream; empty before the first connection
  std::optional<std::uint32_t> subscription = {};  // counted from 1; empty where none was told
  // From a stream: item times are the modem's, and no packet was rebuilt by this recorder.
  bool imported = false;

  friend auto operator<=>(const sSource&, const sSource&) = default;
};

// Changes `source` as a text item tells: "Port COM7 connected", "Imported from drive.hdlc",
// "Subscription 2", "Subscription none". Another port or stream begins without a subscription. Any
// other text changes nothing.
void ApplySourceText(std::string_view text, sSource& source);

// The text that tells the stream that the packets behind it come from: "Imported from drive.hdlc".
// `name` is not empty.
[[nodiscard]] std::string ImportText(std::string_view name);

// The text that tells a subscription: "Subscription 2", "Subscription none".
[[nodiscard]] std::string SubscriptionText(std::optional<std::uint32_t> subscription);

}  // namespace corvane
