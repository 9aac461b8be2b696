#include "convert/gsmtap_frames.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "convert/byte_order.h"
#include "convert/pcapng_writer.h"
#include "describe/diag_time.h"

namespace corvane {
namespace {

using Bytes = std::vector<std::uint8_t>;

// --- pcap

constexpr std::uint32_t kNanosecondMagic = 0xA1B23C4D;
constexpr std::uint16_t kPcapMajorVersion = 2;
constexpr std::uint16_t kPcapMinorVersion = 4;
constexpr std::uint32_t kSnapLength = 65'535;

[[nodiscard]] Bytes FileHeader() {
  Bytes header;
  AppendLittleEndian(header, kNanosecondMagic);
  AppendLittleEndian(header, kPcapMajorVersion);
  AppendLittleEndian(header, kPcapMinorVersion);
  AppendLittleEndian(header, std::uint32_t{0});  // times are UTC
  AppendLittleEndian(header, std::uint32_t{0});  // and nothing is said of their accuracy
  AppendLittleEndian(header, kSnapLength);
  AppendLittleEndian(header, std::uint32_t{kLinkTypeIpv4});
  return header;
}

void AppendRecordHead(Bytes& record, std::int64_t time, std::uint32_t length) {
  const std::int64_t seconds = std::min<std::int64_t>(time / kNanosecondsPerSecond, UINT32_MAX);
  AppendLittleEndian(record, static_cast<std::uint32_t>(seconds));
  AppendLittleEndian(record, static_cast<std::uint32_t>(time % kNanosecondsPerSecond));
  AppendLittleEndian(record, length);  // captured
  AppendLittleEndian(record, length);  // original
}

// --- IPv4 and UDP (RFC 791, RFC 768)

constexpr std::size_t kIpHeaderSize = 20;
constexpr std::size_t kUdpHeaderSize = 8;
constexpr std::size_t kLongestDatagram = 65'535;
constexpr std::size_t kLongestPayload = kLongestDatagram - kIpHeaderSize - kUdpHeaderSize;
constexpr std::uint16_t kGsmtapPort = 4729;

[[nodiscard]] std::uint16_t InternetChecksum(std::span<const std::uint8_t> bytes) {
  std::uint32_t sum = 0;
  for (std::size_t place = 0; place + 1 < bytes.size(); place += 2) {
    sum += std::uint32_t{bytes[place]} << 8 | bytes[place + 1];
  }
  while (sum > 0xFFFF) {
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return static_cast<std::uint16_t>(~sum);
}

void AppendIpAndUdpHeaders(Bytes& record, bool isUplink, std::size_t payloadSize) {
  constexpr std::uint16_t kVersionAndHeaderWords = 0x4500;
  constexpr std::uint16_t kDontFragment = 0x4000;
  constexpr std::uint16_t kTimeToLiveAndUdp = 0x4011;
  const std::size_t header = record.size();
  const auto udpLength = static_cast<std::uint16_t>(kUdpHeaderSize + payloadSize);
  AppendBigEndian(record, kVersionAndHeaderWords);
  AppendBigEndian(record, static_cast<std::uint16_t>(kIpHeaderSize + udpLength));
  AppendBigEndian(record, std::uint16_t{0});  // identification, of no use without fragments
  AppendBigEndian(record, kDontFragment);
  AppendBigEndian(record, kTimeToLiveAndUdp);
  const std::size_t checksum = record.size();
  AppendBigEndian(record, std::uint16_t{0});
  AppendBigEndian(record, isUplink ? kDeviceAddress : kNetworkAddress);
  AppendBigEndian(record, isUplink ? kNetworkAddress : kDeviceAddress);
  const std::uint16_t sum = InternetChecksum(std::span(record).subspan(header));
  record[checksum] = static_cast<std::uint8_t>(sum >> 8);
  record[checksum + 1] = static_cast<std::uint8_t>(sum);

  AppendBigEndian(record, kGsmtapPort);
  AppendBigEndian(record, kGsmtapPort);
  AppendBigEndian(record, udpLength);
  AppendBigEndian(record, std::uint16_t{0});  // no checksum
}

// --- GSMTAP version 2

constexpr std::uint8_t kVersion = 2;
constexpr std::uint8_t kHeaderWords = 4;
constexpr std::uint32_t kMostChannelNumber = 0x3FFF;
constexpr std::uint16_t kUplinkBit = 0x4000;

constexpr std::uint8_t kBcch = 1;
constexpr std::uint8_t kSdcch8 = 8;
constexpr std::uint8_t kSacch = 0x88;

// The longest message whose length LAPDm's octet can tell (3GPP TS 44.006).
constexpr std::size_t kLongestInLapdm = 63;

[[nodiscard]] bool IsUplink(const sFrame& frame) { return frame.link == eLink::Uplink; }

// The channel's number. One that 14 bits do not hold is left out.
[[nodiscard]] std::uint16_t ChannelNumber(const sFrame& frame) {
  std::optional<std::uint32_t> number;
  if (frame.cell != nullptr) {
    number = IsUplink(frame) && frame.cell->uplinkFrequency ? frame.cell->uplinkFrequency
                                                            : frame.cell->frequency;
  }
  const std::uint32_t told = number.value_or(0);
  return static_cast<std::uint16_t>((told > kMostChannelNumber ? 0 : told) |
                                    (IsUplink(frame) ? kUplinkBit : 0));
}

// A layer 3 message on one of GSM's signalling channels is carried with the frame of the layer
// below as long as that can tell its length. On others it goes as it is.
[[nodiscard]] sGsmtapType TypeOnChannel(const sSignalling& signalling, sGsmtapType type) {
  if (signalling.syntax == eSyntax::GsmPseudoLength && signalling.channel == "BCCH") {
    return {kGsmtapUm, kBcch};
  }
  if (signalling.syntax == eSyntax::GsmLayer3 && signalling.message.size() <= kLongestInLapdm) {
    if (signalling.channel == "SDCCH") {
      return {kGsmtapUm, kSdcch8};
    }
    if (signalling.channel == "SACCH") {
      return {kGsmtapUm, kSacch};
    }
  }
  return type;
}

// What the lower layers of the channel put in front of the message.
void AppendLowerLayers(Bytes& payload, sGsmtapType type, std::size_t messageSize) {
  const bool isSacch = type.type == kGsmtapUm && type.subtype == kSacch;
  if (isSacch) {
    payload.insert(payload.end(), {0, 0});  // power and timing advance
  }
  if (isSacch || (type.type == kGsmtapUm && type.subtype == kSdcch8)) {
    // 3GPP TS 44.006: address (SAPI 0), control (unnumbered information), length.
    const auto length = static_cast<std::uint8_t>(messageSize << 2 | 1);
    payload.insert(payload.end(), {0x01, 0x03, length});
  }
}

void MakeGsmtap(const sFrame& frame, sGsmtapType type, Bytes& payload) {
  const std::uint32_t frameNumber = frame.cell == nullptr ? 0 : frame.cell->systemFrame.value_or(0);
  payload.assign({kVersion, kHeaderWords, type.type, 0});
  AppendBigEndian(payload, ChannelNumber(frame));
  AppendBigEndian(payload, std::uint16_t{0});  // signal and noise, which are not known
  AppendBigEndian(payload, frameNumber);
  payload.insert(payload.end(), {type.subtype, 0, 0, 0});
  AppendLowerLayers(payload, type, frame.signalling->message.size());
  payload.insert(payload.end(), frame.signalling->message.begin(), frame.signalling->message.end());
}

}  // namespace

cGsmtapFrames::cGsmtapFrames(cByteSink& sink) : output(sink) { output.Write(FileHeader()); }

bool cGsmtapFrames::Add(const sFrame& frame) {
  if (frame.sort != eFrameSort::Message) {
    return false;
  }
  const std::optional<sGsmtapType> type = GsmtapTypeOf(*frame.signalling);
  if (!type) {
    return false;
  }
  MakeGsmtap(frame, TypeOnChannel(*frame.signalling, *type), payload);
  if (payload.size() > kLongestPayload) {
    return false;
  }
  record.clear();
  AppendRecordHead(record, frame.time,
                   static_cast<std::uint32_t>(kIpHeaderSize + kUdpHeaderSize + payload.size()));
  AppendIpAndUdpHeaders(record, IsUplink(frame), payload.size());
  record.insert(record.end(), payload.begin(), payload.end());
  output.Write(record);
  return true;
}

}  // namespace corvane
