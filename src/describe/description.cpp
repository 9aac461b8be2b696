#include "describe/description.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "describe/fields.h"
#include "describe/log_packets.h"
#include "describe/names.h"
#include "describe/packet_kinds.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

void DescribeLogCode(std::uint16_t code, sDescription& description) {
  description.logCode = code;
  if (const sLogCodeName* const name = FindLogCode(code)) {
    description.logName = name->name;
    description.logKey = name->key;
  }
}

void DescribeLog(Packet packet, sDescription& description) {
  description.sort = eItemSort::Log;
  cFields fields(packet, description.cutOff);
  // What the packet says to be its size.
  const std::size_t size =
      log_packet::kUncountedBytes + std::max(fields.Word(log_packet::kLength).value_or(0),
                                             fields.Word(log_packet::kLengthAgain).value_or(0));
  if (packet.size() < size) {
    description.cutOff = true;
  }
  const std::optional<std::uint16_t> code = fields.Word(log_packet::kLogCode);
  if (code) {
    DescribeLogCode(*code, description);
  }
  description.modemTime = fields.Quad(log_packet::kTimestamp);
  if (!description.modemTime) {
    return;
  }
  // What follows behind is none of a message that goes on to the end of the packet.
  const bool isLonger = size >= log_packet::kHeaderSize && size < packet.size();
  const Packet payload =
      packet.first(isLonger ? size : packet.size()).subspan(log_packet::kHeaderSize);
  if (!DescribeSignallingLog(*code, payload, description)) {
    std::ignore = DescribeCellLog(*code, payload, description);
  }
}

void DescribeSecuredLog(Packet packet, sDescription& description) {
  description.sort = eItemSort::Log;
  description.details = "encrypted";
  if (const auto code = cFields(packet, description.cutOff).Word(secured_log::kLogCode)) {
    DescribeLogCode(*code, description);
  }
}

void DescribeFromModem(Packet packet, sDescription& description) {
  switch (packet[0]) {
    case command::kLog:
      DescribeLog(packet, description);
      break;
    case command::kSecuredLog:
      DescribeSecuredLog(packet, description);
      break;
    case command::kMessage:
    case command::kExtendedMessage:
    case command::kTerseMessage:
    case command::kNewTerseMessage:
      DescribeDebugMessage(packet, description);
      break;
    case command::kEventReport:
    case command::kSecondEventReport:
      if (!IsShortEventAnswer(packet)) {
        DescribeEventReport(packet, description);
        break;
      }
      [[fallthrough]];
    default:
      DescribeReply(packet, description);
  }
}

[[nodiscard]] std::string Padded(unsigned number, std::size_t digits) {
  const std::string plain = std::to_string(number);
  return std::string(digits - std::min(digits, plain.size()), '0') + plain;
}

}  // namespace

std::string PlmnText(const sPlmn& plmn) {
  return Padded(plmn.mcc, 3) + '-' + Padded(plmn.mnc, plmn.mncDigits);
}

sDescription DescribePacket(Packet wrapped, eSender sender) {
  const auto [packet, subscription] = Unwrap(wrapped);
  sDescription description;
  description.subscription = subscription;
  if (packet.empty()) {
    description.sort = sender == eSender::Host ? eItemSort::Request : eItemSort::Unknown;
    description.cutOff = true;
  } else if (sender == eSender::Host) {
    DescribeRequest(packet, description);
  } else {
    DescribeFromModem(packet, description);
    description.cutOff = description.cutOff || packet[0] == command::kWrapper;
  }
  return description;
}

sDescription DescribeSingleEvent(Packet packet) {
  sDescription description;
  if (packet.empty() || !command::IsEventReport(packet[0])) {
    return DescribePacket(packet, eSender::Modem);
  }
  // The time of a single event is always whole, so that a report is all that it can be.
  DescribeEventReport(packet, description);
  return description;
}

}  // namespace corvane
