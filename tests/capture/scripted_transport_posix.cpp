#include "capture/scripted_transport_posix.h"

namespace corvane {

ByteVector TrafficPacket(cDice& dice, std::uint8_t source, std::uint16_t number) {
  const bool isMessage = dice.OneIn(3);
  ByteVector packet(20 + dice.Below(200), static_cast<std::uint8_t>(0x70 + dice.Below(16)));
  packet[0] = isMessage ? 0x79 : 0x10;
  packet[16] = source;
  packet[17] = static_cast<std::uint8_t>(number % 256);
  packet[18] = static_cast<std::uint8_t>(number / 256);
  return packet;
}

ByteVector ReplyPacket(std::uint8_t source, std::uint16_t number) {
  return {0x13, source, static_cast<std::uint8_t>(number % 256),
          static_cast<std::uint8_t>(number / 256)};
}

const ByteVector kEventReply = {0x60, 0, 0};

sSchedule::sSchedule(std::uint64_t seedOfAll) : seed(seedOfAll) {
  cDice dice(seed);
  isSerial = dice.OneIn(2);
  order = dice.OneIn(4) ? cTurns::eOrder::Loose : cTurns::eOrder::Strict;
  stopsWhenQuiet = dice.OneIn(4);
  // In loose order a request of a lost connection may go out in the next one, which then takes the
  // reply for one of its own and may wait for nothing: only one alone becomes quiet for certain.
  const bool isAlone = stopsWhenQuiet && !isSerial && order == cTurns::eOrder::Loose;
  connections = isAlone ? 1 : 1 + dice.Below(4);
  stopBehind = dice.Below(dice.OneIn(3) ? 400 : 100);
}

cScriptedTransport::cScriptedTransport(const sSchedule& chosen, cTurns& allTurns,
                                       std::uint32_t kindOfTransport)
    : cIO(kindOfTransport), schedule(chosen), turns(allTurns) {}

void cScriptedTransport::CallConnected() {
  calls.fetch_add(1, std::memory_order_relaxed);
  ++connected;
  onConnected(context);
}

void cScriptedTransport::CallDisconnected() {
  calls.fetch_add(1, std::memory_order_relaxed);
  ++disconnected;
  onDisconnected(context);
}

}  // namespace corvane
