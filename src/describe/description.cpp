#include "describe/description.h"

#include <tuple>

#include "describe/log_packets.h"
#include "describe/names.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

void DescribeLog(Packet packet, sDescription& description) {
  description.sort = eItemSort::Log;
  if (packet.size() < log_packet::kLogCode + 2) {
    description.cutOff = true;
    return;
  }
  const std::uint16_t code = Load16(&packet[log_packet::kLogCode]);
  description.logCode = code;
  if (const sLogCodeName* const name = FindLogCode(code)) {
    description.logName = name->name;
    description.logKey = name->key;
  }
  if (packet.size() < log_packet::kHeaderSize) {
    description.cutOff = true;
    return;
  }
  description.modemTime = Load64(&packet[log_packet::kTimestamp]);
  const Packet payload = packet.subspan(log_packet::kHeaderSize);
  if (!DescribeSignallingLog(code, payload, description)) {
    std::ignore = DescribeCellLog(code, payload, description);
  }
}

}  // namespace

sUnwrapped Unwrap(Packet packet) {
  if (packet.size() <= wrapper::kPacket || packet[0] != command::kWrapper) {
    return {packet, std::nullopt};
  }
  const std::uint32_t told = Load32(&packet[wrapper::kSubscription]);
  const bool isNone = told == 0 || told == UINT32_MAX;
  return {packet.subspan(wrapper::kPacket), isNone ? 1 : told};
}

sDescription DescribePacket(Packet wrapped, eSender sender) {
  const auto [packet, subscription] = Unwrap(wrapped);
  sDescription description;
  description.subscription = subscription;
  if (sender == eSender::Host) {
    description.sort = eItemSort::Request;
  } else if (!packet.empty() && packet[0] == command::kLog) {
    DescribeLog(packet, description);
  }
  return description;
}

sDescription DescribeSingleEvent(Packet) {
  sDescription description;
  description.sort = eItemSort::Event;
  return description;
}

}  // namespace corvane
