#include <algorithm>

#include "modem_sim/diag_packets.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {
namespace {

// How many of the packets are other than system information, where they may be.
constexpr double kOthersPercent = 20;

}  // namespace

cSibScenario::cSibScenario(const sStreamOptions& streamOptions)
    : options(streamOptions), others(streamOptions), broadcast(streamOptions.sibLoss) {}

bool cSibScenario::CanSend(const cMasks& masks) const {
  return std::binary_search(masks.LogCodes().begin(), masks.LogCodes().end(), kOtaLogCode) ||
         others.CanSend(masks);
}

sStreamPacket cSibScenario::Make(std::uint64_t number, bool delivered, const cMasks& masks) {
  cRandom random(options.seed, eDraw::SystemInformation, number);
  const bool sibAllowed =
      std::binary_search(masks.LogCodes().begin(), masks.LogCodes().end(), kOtaLogCode);
  if (!sibAllowed || (random.Chance(kOthersPercent) && others.CanSend(masks))) {
    return others.Make(number, delivered, masks);
  }
  cSibBroadcast::sHeard heard = broadcast.Next(random, delivered);
  const Bytes message = heard.message.Encode(static_cast<unsigned>(number * 8));
  Bytes payload = {heard.message.channel, heard.message.bearer};
  AppendU16(payload, static_cast<std::uint32_t>(message.size()));
  AppendBytes(payload, message);
  sStreamPacket made;
  made.kind = "log";
  made.packet = LogPacket(kOtaLogCode, PacketTime(options, number, random), payload);
  made.blocks = std::move(heard.blocks);
  made.sib = sSibNote{heard.message.channel, heard.message.bearer, heard.message.choice};
  return made;
}

}  // namespace corvane::modem_sim
