#pragma once

#include <vector>

#include "modem_sim/bytes.h"

// Payloads of log packets with signalling, from the modem's side. Like the packets around them
// (diag_packets.h) they are written down a second time here, apart from what reads them.
namespace corvane::modem_sim {

inline constexpr std::uint16_t kIpLog = 0x11EB;
inline constexpr std::uint16_t kSipLog = 0x156E;
inline constexpr std::uint16_t kWcdmaCellLog = 0x4127;
inline constexpr std::uint16_t kWcdmaRrcLog = 0x412F;
inline constexpr std::uint16_t kGsmRrLog = 0x512F;
inline constexpr std::uint16_t kGsmCellLog = 0x5134;
inline constexpr std::uint16_t kGprsMacLog = 0x5226;
inline constexpr std::uint16_t kGprsNasLog = 0x5230;
inline constexpr std::uint16_t kSecondGsmRrLog = 0x5B2F;
inline constexpr std::uint16_t kUmtsNasLog = 0x713A;
inline constexpr std::uint16_t kSecondUmtsNasLog = 0x7B3A;
inline constexpr std::uint16_t kLteRrcLog = 0xB0C0;
inline constexpr std::uint16_t kLteMibLog = 0xB0C1;
inline constexpr std::uint16_t kLteServingCellLog = 0xB0C2;
inline constexpr std::uint16_t kEmmStateLog = 0xB0EE;
inline constexpr std::uint16_t kLteCellLog = 0xB197;
inline constexpr std::uint16_t kNrRrcLog = 0xB821;
inline constexpr std::uint16_t kNrMibLog = 0xB822;
inline constexpr std::uint16_t kNrServingCellLog = 0xB823;

enum eGsmChannel : std::uint8_t {
  kGsmDcch = 0,
  kGsmBcch = 1,
  kGsmCcch = 3,
  kGsmSacch = 4,
  kGsmSdcch = 5,
  kGsmFacchFull = 6,
  kGsmFacchHalf = 7,
};

// 0x512F.
[[nodiscard]] Bytes GsmRrPayload(eGsmChannel channel, bool uplink, ByteView message);
// 0x5226: without the message's MAC header octet.
[[nodiscard]] Bytes GprsMacPayload(bool uplink, ByteView message);
// 0x5230. Stale memory follows the message.
[[nodiscard]] Bytes GprsNasPayload(bool uplink, ByteView message);
// 0x713A.
[[nodiscard]] Bytes UmtsNasPayload(bool uplink, ByteView message);
// 0x5134.
[[nodiscard]] Bytes GsmCellPayload();

enum eWcdmaChannel : std::uint8_t {
  kUlCcch = 0,
  kUlDcch = 1,
  kDlCcch = 2,
  kDlDcch = 3,
  kBcchBch = 4,
  kBcchFach = 5,
  kPcch = 6,
};

// 0x412F, in the newer layout with frequency and scrambling code or in the older one.
[[nodiscard]] Bytes WcdmaRrcPayload(eWcdmaChannel channel, bool newer, ByteView message);
// 0x4127.
[[nodiscard]] Bytes WcdmaCellPayload();

// Where a phone is on LTE or NR.
struct sServingCell {
  std::uint16_t physicalCell = 0;
  std::uint32_t frequency = 0;  // EARFCN or NR-ARFCN of the downlink
  std::uint32_t uplinkFrequency = 0;
  std::uint32_t cellIdentity = 0;
};

// A part of a message in the field that later versions have for it.
enum eSegment : std::uint8_t { kWholeMessage = 0, kFirstPart = 1, kLastPart = 7 };

// In the order of the channel numbers of 0xB0C0.
enum class eLteChannel { BcchBch, BcchDlSch, Pcch, DlCcch, DlDcch, UlCcch, UlDcch };

[[nodiscard]] const std::vector<std::uint8_t>& LteRrcVersions();
[[nodiscard]] bool LteRrcHasSegments(std::uint8_t version);
// 0xB0C0 of one of these versions. `segment` is kWholeMessage for those without that field.
[[nodiscard]] Bytes LteRrcPayload(std::uint8_t version, eLteChannel channel,
                                  const sServingCell& cell, eSegment segment, ByteView message);
// 0xB0E0 to 0xB0ED.
[[nodiscard]] Bytes LteNasPayload(ByteView message);
// 0xB0C1, version 1 or 2.
[[nodiscard]] Bytes LteMibPayload(std::uint8_t version, const sServingCell& cell);
// 0xB0C2, version 2 or 3.
[[nodiscard]] Bytes LteServingCellPayload(std::uint8_t version, const sServingCell& cell);
// 0xB197, version 1 or 2, with the three octets of a MIB.
[[nodiscard]] Bytes LteCellPayload(std::uint8_t version, const sServingCell& cell, ByteView mib);
// 0xB0EE, version 2.
[[nodiscard]] Bytes EmmStatePayload(std::uint8_t state, std::uint16_t substate);

// In the order of the channel numbers of 0xB821, where versions do not differ.
enum class eNrChannel {
  BcchBch,
  BcchDlSch,
  DlCcch,
  DlDcch,
  Pcch,
  UlCcch,
  UlDcch,
  Reconfiguration,
  ReconfigurationComplete,
  RadioBearers,
};

[[nodiscard]] const std::vector<std::uint8_t>& NrRrcVersions();
[[nodiscard]] bool NrRrcHasSegments(std::uint8_t version);
// 0xB821, as 0xB0C0.
[[nodiscard]] Bytes NrRrcPayload(std::uint8_t version, eNrChannel channel, const sServingCell& cell,
                                 eSegment segment, ByteView message);
// 0xB800 to 0xB80B.
[[nodiscard]] Bytes NrNasPayload(ByteView message);
// 0xB822.
[[nodiscard]] Bytes NrMibPayload(const sServingCell& cell);
// 0xB823, version 3.2 or the older 0.4.
[[nodiscard]] Bytes NrServingCellPayload(bool older, const sServingCell& cell);

// 0x11EB: one packet, or a segment of one. The segments of a packet have its number in common.
[[nodiscard]] Bytes IpPayload(bool sent, std::uint16_t number, std::uint16_t segment, bool last,
                              ByteView data);
// 0x156E.
[[nodiscard]] Bytes SipPayload(bool uplink, std::string_view callId, std::string_view text);

}  // namespace corvane::modem_sim
