#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the text items of a capture say about the packets behind them.
namespace corvane {

// Where the packets come from that follow in a capture: the port that was connected last, or the
// stream of another recorder that the capture was made of; the subscription of a multi-SIM modem
// whose packets were taken out of their wrappers; and in a merged capture the one that they were
// in.
struct sSource {
  std::string port;  // "COM7", or the name of the stream; empty before the first connection
  std::optional<std::uint32_t> subscription = {};  // counted from 1; empty where none was told
  // From a stream: item times are the modem's, and no packet was rebuilt by this recorder.
  bool imported = false;
  std::string capture = {};  // "drive.isf"; empty in a capture that is not merged

  friend auto operator<=>(const sSource&, const sSource&) = default;
};

// Changes `source` as a text item tells: "Port COM7 connected", "Imported from drive.hdlc",
// "Merged from drive.isf", "Subscription 2", "Subscription none". Another port or stream begins
// without a subscription, what another capture brings without a port too. Any other text changes
// nothing.
void ApplySourceText(std::string_view text, sSource& source);

// What a text is about: of a port that it is connected, or that it is no more.
enum class eSourceText : std::uint8_t { None, Capture, Port, PortGone, Subscription };
[[nodiscard]] eSourceText KindOfSourceText(std::string_view text);

// The text that tells the stream that the packets behind it come from: "Imported from drive.hdlc".
// `name` is not empty.
[[nodiscard]] std::string ImportText(std::string_view name);

// The text that tells the capture that the items behind it were in: "Merged from drive.isf". `name`
// is not empty.
[[nodiscard]] std::string MergeText(std::string_view name);

// The text that tells a subscription: "Subscription 2", "Subscription none".
[[nodiscard]] std::string SubscriptionText(std::optional<std::uint32_t> subscription);

// A text item as it is recorded: its packet.
using tTextPacket = std::vector<std::uint8_t>;

// The packet of a text item, whose characters are UTF-16 there. `text` is UTF-8; U+FFFD stands for
// what is ill-formed in it.
[[nodiscard]] tTextPacket MakeTextPacket(std::string_view text);

}  // namespace corvane
