#include "analysis/ladder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "describe/message_names.h"
#include "describe/system_information.h"

namespace corvane {
namespace {

[[nodiscard]] std::string_view ChannelOf(const sSignalling& message) {
  if (!message.channel.empty()) {
    return message.channel;
  }
  return message.syntax == eSyntax::Sip ? "SIP" : "NAS";
}

[[nodiscard]] std::string_view NameOf(const sSignalling& message) {
  if (!message.messageName.empty()) {
    return message.messageName;
  }
  return IsCiphered(message.syntax, message.message) ? "(ciphered)" : "(unknown)";
}

}  // namespace

bool IsBroadcast(const sSignalling& message) {
  switch (message.syntax) {
    case eSyntax::WcdmaBcchBch:
    case eSyntax::WcdmaBcchFach:
    case eSyntax::WcdmaPcch:
    case eSyntax::WcdmaMcch:
    case eSyntax::WcdmaMsch:
    case eSyntax::WcdmaSystemInformationContainer:
    case eSyntax::WcdmaSystemInformationBlock:
    case eSyntax::LteBcchBch:
    case eSyntax::LteBcchDlSch:
    case eSyntax::LteMcch:
    case eSyntax::LtePcch:
    case eSyntax::LteNbBcchBch:
    case eSyntax::LteNbBcchDlSch:
    case eSyntax::LteNbPcch:
    case eSyntax::NrBcchBch:
    case eSyntax::NrBcchDlSch:
    case eSyntax::NrMcch:
    case eSyntax::NrPcch:
      return true;
    default:
      break;
  }
  // GSM's channels have both kinds.
  constexpr std::array<std::string_view, 4> kBeginnings = {"System information", "Paging request",
                                                           "Packet system info", "Packet paging"};
  return std::ranges::any_of(kBeginnings, [&message](std::string_view beginning) {
    return message.messageName.starts_with(beginning);
  });
}

void cLadder::Add(const sCaptureItem& item, const sDescription& description,
                  const sWholeMessage& message, std::optional<std::uint32_t> subscription) {
  const sSignalling& signalling = *message.signalling;
  // A block is in the messages of BCCH that carry its segments.
  if (signalling.syntax == eSyntax::Ip ||
      (signalling.syntax == eSyntax::WcdmaSystemInformationBlock &&
       &signalling != &*description.signalling)) {
    return;
  }
  const bool isBroadcast = IsBroadcast(signalling);
  sMessages& kind = isBroadcast ? broadcast : others;
  if (++kind.count > kMostMessages) {
    return;
  }
  sLadderMessage rung;
  rung.item = item.number;
  rung.time = item.time;
  rung.items = message.items;
  rung.technology = description.technology;
  rung.link = signalling.link;
  rung.channel = ChannelOf(signalling);
  rung.name = NameOf(signalling);
  rung.firstBlock = SystemInformationContent(signalling).firstBlock;
  rung.isBroadcast = isBroadcast;
  rung.subscription = subscription;
  rung.cell = description.cell.value_or(sCell{});
  kind.first.push_back(rung);
}

std::vector<sLadderMessage> cLadder::Messages() const {
  const auto broadcastEnd = broadcast.first.begin() + static_cast<std::ptrdiff_t>(BroadcastKept());
  std::vector<sLadderMessage> messages;
  messages.reserve(BroadcastKept() + others.first.size());
  std::ranges::merge(broadcast.first.begin(), broadcastEnd, others.first.begin(),
                     others.first.end(), std::back_inserter(messages), {}, &sLadderMessage::item,
                     &sLadderMessage::item);
  return messages;
}

std::size_t cLadder::BroadcastKept() const {
  return std::min(broadcast.first.size(), kMostMessages - others.first.size());
}

}  // namespace corvane
