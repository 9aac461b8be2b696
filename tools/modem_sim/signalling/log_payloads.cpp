#include "modem_sim/signalling/log_payloads.h"

namespace corvane::modem_sim {
namespace {

void AppendZeros(Bytes& bytes, std::size_t count) { bytes.resize(bytes.size() + count, 0); }

void PutU16(Bytes& bytes, std::size_t at, std::uint32_t value) {
  bytes[at] = static_cast<std::uint8_t>(value);
  bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

void PutU32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  PutU16(bytes, at, value);
  PutU16(bytes, at + 2, value >> 16);
}

std::uint32_t SizeOf(ByteView message) { return static_cast<std::uint32_t>(message.size()); }

std::uint8_t DirectionAndChannel(bool uplink, unsigned channel) {
  return static_cast<std::uint8_t>((uplink ? 0 : 0x80) | channel);
}

constexpr std::uint32_t kMcc = 1;
constexpr std::uint32_t kMnc = 1;
constexpr std::uint32_t kAreaCode = 7;  // the tracking area of LTE and NR

}  // namespace

Bytes GsmRrPayload(eGsmChannel channel, bool uplink, ByteView message) {
  // Broadcast and common messages begin with their length, before the protocol and the type.
  const bool hasLength = channel == kGsmBcch || channel == kGsmCcch;
  Bytes payload = {DirectionAndChannel(uplink, channel), message[hasLength ? 2 : 1],
                   static_cast<std::uint8_t>(message.size())};
  AppendBytes(payload, message);
  return payload;
}

Bytes GprsMacPayload(bool uplink, ByteView message) {
  constexpr unsigned kPacch = 3;
  Bytes payload = {DirectionAndChannel(uplink, kPacch), static_cast<std::uint8_t>(message[0] >> 2),
                   static_cast<std::uint8_t>(message.size())};
  AppendBytes(payload, message);
  return payload;
}

Bytes GprsNasPayload(bool uplink, ByteView message) {
  constexpr std::size_t kBuffer = 64;
  Bytes payload = {static_cast<std::uint8_t>(uplink ? 0 : 1), message[1]};
  AppendU16(payload, SizeOf(message));
  AppendBytes(payload, message);
  while (payload.size() < kBuffer) {
    payload.push_back(0xA5);
  }
  return payload;
}

Bytes UmtsNasPayload(bool uplink, ByteView message) {
  Bytes payload = {static_cast<std::uint8_t>(uplink ? 1 : 0)};
  AppendU32(payload, SizeOf(message));
  AppendBytes(payload, message);
  return payload;
}

Bytes GsmCellPayload() {
  Bytes payload;
  AppendU16(payload, 66);  // ARFCN
  payload.push_back(2);    // BCC
  payload.push_back(3);    // NCC
  AppendU16(payload, 0x1A2B);
  AppendBytes(payload, Bytes{0x00, 0xF1, 0x10, 0x01, 0x02});  // location area
  return payload;
}

Bytes WcdmaRrcPayload(eWcdmaChannel channel, bool newer, ByteView message) {
  const bool dedicated = channel == kUlDcch || channel == kDlDcch;
  Bytes payload = {static_cast<std::uint8_t>(channel | (newer ? 0x80 : 0)),
                   static_cast<std::uint8_t>(dedicated ? 3 : 0)};
  AppendU16(payload, SizeOf(message));
  if (newer) {
    AppendU16(payload, 10687);  // UARFCN
    AppendU16(payload, 324);    // primary scrambling code
  }
  AppendBytes(payload, message);
  return payload;
}

Bytes WcdmaCellPayload() {
  Bytes payload(32, 0);
  PutU32(payload, 0, 9737);
  PutU32(payload, 4, 10687);
  PutU32(payload, 8, 0x0A1B2C3);
  PutU16(payload, 16, 324U << 4);
  payload[20] = kMcc;
  payload[22] = kMnc;
  payload[23] = 0xFF;  // the MNC has two digits
  PutU32(payload, 24, 0x0102);
  PutU32(payload, 28, 5);
  return payload;
}

Bytes LteNasPayload(ByteView message) {
  Bytes payload = {1, 9, 5, 0};  // version and release
  AppendBytes(payload, message);
  return payload;
}

Bytes LteMibPayload(std::uint8_t version, const sServingCell& cell) {
  constexpr std::uint16_t kFrame = 0x154;
  Bytes payload = {version};
  AppendU16(payload, cell.physicalCell);
  if (version == 1) {
    AppendU16(payload, cell.frequency);
  } else {
    AppendU32(payload, cell.frequency);
  }
  AppendU16(payload, kFrame);
  payload.push_back(2);   // antennas
  payload.push_back(50);  // physical resource blocks
  return payload;
}

Bytes LteServingCellPayload(std::uint8_t version, const sServingCell& cell) {
  Bytes payload = {version};
  AppendU16(payload, cell.physicalCell);
  if (version == 2) {
    AppendU16(payload, cell.frequency);
    AppendU16(payload, cell.uplinkFrequency);
  } else {
    AppendU32(payload, cell.frequency);
    AppendU32(payload, cell.uplinkFrequency);
  }
  AppendBytes(payload, Bytes{50, 50});  // physical resource blocks
  AppendU32(payload, cell.cellIdentity);
  AppendU16(payload, kAreaCode);
  AppendU32(payload, 3);  // band
  AppendU16(payload, kMcc);
  payload.push_back(2);  // digits of the MNC
  AppendU16(payload, kMnc);
  payload.push_back(0);  // access
  return payload;
}

Bytes LteCellPayload(std::uint8_t version, const sServingCell& cell, ByteView mib) {
  const std::size_t wider = version == 1 ? 0 : 4;
  Bytes payload(28 + wider, 0);
  payload[0] = version;
  if (version == 1) {
    PutU16(payload, 4, cell.frequency);
    PutU16(payload, 6, cell.physicalCell);
  } else {
    PutU32(payload, 4, cell.frequency);
    PutU16(payload, 8, cell.physicalCell);
  }
  payload[27 + wider] = mib[0];
  payload[26 + wider] = mib[1];
  payload[25 + wider] = mib[2];
  return payload;
}

Bytes EmmStatePayload(std::uint8_t state, std::uint16_t substate) {
  Bytes payload = {2, state};
  AppendU16(payload, substate);
  AppendBytes(payload, Bytes{0x00, 0xF1, 0x10, 1});  // PLMN; there is a GUTI
  AppendBytes(payload, Bytes{0x06, 0x00, 0xF1, 0x10, 0x01, 0x80, 0x01, 0x42, 0x01, 0x00, 0xC0});
  return payload;
}

Bytes NrNasPayload(ByteView message) {
  Bytes payload;
  AppendU32(payload, 1);                          // version
  AppendBytes(payload, Bytes{0x0F, 0x04, 0x00});  // release
  AppendBytes(payload, message);
  return payload;
}

Bytes NrMibPayload(const sServingCell& cell) {
  Bytes payload;
  AppendU16(payload, 0);  // version, minor
  AppendU16(payload, 2);  // major
  AppendU16(payload, cell.physicalCell);
  AppendU32(payload, cell.frequency);
  AppendU16(payload, 0x2A8);  // SFN
  AppendZeros(payload, 4);
  return payload;
}

Bytes NrServingCellPayload(bool older, const sServingCell& cell) {
  Bytes payload;
  AppendU16(payload, older ? 4 : 2);  // version, minor
  AppendU16(payload, older ? 0 : 3);  // major
  if (!older) {
    AppendZeros(payload, 3);
  }
  AppendU16(payload, cell.physicalCell);
  if (!older) {
    AppendU64(payload, cell.cellIdentity);  // NCGI
  }
  AppendU32(payload, cell.frequency);
  AppendU32(payload, cell.uplinkFrequency);
  AppendU16(payload, 100);  // bandwidths, MHz
  AppendU16(payload, 100);
  AppendU64(payload, cell.cellIdentity);
  AppendU16(payload, kMcc);
  payload.push_back(2);  // digits of the MNC
  AppendU16(payload, kMnc);
  payload.push_back(0);  // access
  AppendU32(payload, kAreaCode);
  AppendU16(payload, 77);  // band
  return payload;
}

Bytes IpPayload(bool sent, std::uint16_t number, std::uint16_t segment, bool last, ByteView data) {
  Bytes payload = {0, 1, 0, static_cast<std::uint8_t>(sent ? 0x40 : 0)};
  AppendU16(payload, number);
  AppendU16(payload, segment | (last ? 0x8000U : 0U));
  AppendBytes(payload, data);
  return payload;
}

Bytes SipPayload(bool uplink, std::string_view callId, std::string_view text) {
  Bytes payload = {1, static_cast<std::uint8_t>(uplink ? 1 : 0),
                   0, static_cast<std::uint8_t>(callId.size() + 1),
                   0, 0};
  AppendU16(payload, static_cast<std::uint32_t>(text.size() + 1));
  AppendZeros(payload, 8);
  AppendText(payload, callId);
  payload.push_back(0);
  AppendText(payload, text);
  payload.push_back(0);
  return payload;
}

}  // namespace corvane::modem_sim
