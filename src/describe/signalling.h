#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Signalling messages out of log packets.
namespace corvane {

enum class eTechnology : std::uint8_t { None, Cdma, EvDo, Gsm, Wcdma, TdScdma, Lte, Nr, Ims, Ip };

enum class eLink : std::uint8_t { Uplink, Downlink };

// The syntax that a message is written in.
enum class eSyntax : std::uint8_t {
  // 3GPP TS 24.008, 44.018: from the protocol discriminator on, nothing in front.
  GsmLayer3,
  // 3GPP TS 44.018: 23 octets that begin with the L2 pseudo length.
  GsmPseudoLength,
  // 3GPP TS 44.018: one or two octets on the random-access channel.
  GsmAccessBurst,
  // 3GPP TS 44.060.
  GprsRlcMacDownlink,
  GprsRlcMacUplink,
  // 3GPP TS 25.331.
  WcdmaUlCcch,
  WcdmaUlDcch,
  WcdmaDlCcch,
  WcdmaDlDcch,
  WcdmaBcchBch,
  WcdmaBcchFach,
  WcdmaPcch,
  WcdmaMcch,
  WcdmaMsch,
  WcdmaSystemInformationContainer,
  WcdmaSystemInformationBlock,  // a whole block; sSignalling::sibType says which
  // 3GPP TS 36.331.
  LteBcchBch,
  LteBcchDlSch,
  LteMcch,
  LtePcch,
  LteDlCcch,
  LteDlDcch,
  LteUlCcch,
  LteUlDcch,
  LteNbBcchBch,
  LteNbBcchDlSch,
  LteNbPcch,
  LteNbDlCcch,
  LteNbDlDcch,
  LteNbUlCcch,
  LteNbUlDcch,
  // 3GPP TS 24.301: plain; or behind a security header, which a plain one may lack.
  LteNasPlain,
  LteNas,
  // 3GPP TS 38.331.
  NrBcchBch,
  NrBcchDlSch,
  NrDlCcch,
  NrDlDcch,
  NrMcch,
  NrPcch,
  NrUlCcch,
  NrUlCcch1,
  NrUlDcch,
  NrReconfiguration,
  NrReconfigurationComplete,  // only segments: a whole one is NrUlDcch (describe/nr_messages.h)
  NrRadioBearerConfig,
  NrMrdcCapability,
  NrCapability,
  // 3GPP TS 24.501.
  NrNas,
  Ip,   // an IPv4 or IPv6 packet
  Sip,  // RFC 3261
};

// What modems call two of the blocks whose SIB-Type is no number of 3GPP TS 25.331, but
// "extension".
inline constexpr std::uint8_t kSib11bis = 66;
inline constexpr std::uint8_t kSib19 = 67;

// Whether a packet has the whole message or a part of it.
enum class eSegment : std::uint8_t { Whole, Part, Last };

// A message out of a log packet.
struct sSignalling {
  eSyntax syntax = eSyntax::GsmLayer3;
  std::string_view channel;  // in the field's words: "DL-DCCH", "SACCH"; empty for NAS, IP and SIP
  std::optional<eLink> link;
  // The message as its syntax has it. Of a segment the bytes of this packet alone.
  std::vector<std::uint8_t> message;
  // "RRC connection reconfiguration", "Attach request". Empty when it is not known, and for the
  // later segments of a message.
  std::string_view messageName;
  // 3GPP TS 25.331 SIB-Type, kSib11bis or kSib19; only of whole blocks.
  std::optional<std::uint8_t> sibType;
  std::optional<std::uint8_t> radioBearer;
  eSegment segment = eSegment::Whole;
  // RRC: 0 whole, 1 to 6 a part, 7 the last. IP: the place of the segment, as the log counts it.
  std::uint16_t segmentNumber = 0;
  // IP: the number of the packet that this is a segment of.
  std::uint16_t packetNumber = 0;
};

}  // namespace corvane
