#include "modem_sim/faults.h"

#include <algorithm>
#include <string>
#include <utility>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"

namespace corvane::modem_sim {
namespace {

constexpr std::size_t kMaxNoise = 24;

// 3 to kMaxNoise bytes that neither end a frame nor hide the flag behind them.
Bytes NoiseBytes(cRandom& random) {
  Bytes noise(random.Between(3, kMaxNoise));
  for (std::uint8_t& byte : noise) {
    do {
      byte = random.Byte();
    } while (byte == kFlag || byte == kEscape);
  }
  return noise;
}

bool AnyFrameIsGood(ByteView wire) {
  std::vector<sReceivedFrame> frames;
  cDeframer().Push(wire, frames);
  return std::any_of(frames.begin(), frames.end(),
                     [](const sReceivedFrame& frame) { return frame.good; });
}

// Noise which, with `behind` after it, does not happen to make a good frame.
Bytes SpoilingNoise(cRandom& random, ByteView behind) {
  while (true) {
    Bytes noise = NoiseBytes(random);
    Bytes wire = noise;
    AppendBytes(wire, behind);
    if (!AnyFrameIsGood(wire)) {
      return noise;
    }
  }
}

// Streams of replies are told apart by connection as well as by number.
std::uint64_t ReplyNumber(unsigned connection, std::uint64_t number) {
  return std::uint64_t{connection} << 32 | number;
}

// Different details of one packet are drawn apart from each other.
enum eDetail : std::uint64_t { kFlipped, kNoise, kOpenNoise, kCuts, kUnasked, kDetails };

cRandom Detail(std::uint64_t seed, std::uint64_t number, eDetail detail) {
  return cRandom(seed, eDraw::FaultDetail, number * kDetails + detail);
}

}  // namespace

cFaults::cFaults(std::uint64_t faultSeed, sFaultOptions faultOptions)
    : seed(faultSeed), options(std::move(faultOptions)) {}

sPacketFaults cFaults::ForPacket(std::uint64_t number) const {
  cRandom random(seed, eDraw::PacketFault, number);
  // Each fault draws from a generator of its own, so that it does not move when another is added.
  const auto selects = [&](const cSelection& selection) {
    cRandom own(random.Next(), eDraw::PacketFault, number);
    return selection.Selects(number, std::nullopt, own);
  };
  sPacketFaults faults;
  faults.badCrc = selects(options.badCrc);
  faults.noise = selects(options.noise);
  faults.openNoise = selects(options.openNoise);
  faults.split = selects(options.split);
  faults.merge = selects(options.merge);
  faults.unasked = selects(options.unasked);
  faults.hangUp = selects(options.hangUp);
  return faults;
}

sReplyFaults cFaults::ForReply(unsigned connection, std::uint64_t number,
                               std::uint8_t command) const {
  cRandom random(seed, eDraw::ReplyFault, ReplyNumber(connection, number));
  const auto selects = [&](const cSelection& selection) {
    cRandom own(random.Next(), eDraw::ReplyFault, number);
    return selection.Selects(number, command, own);
  };
  sReplyFaults faults;
  faults.withhold = selects(options.withhold);
  faults.spoil = selects(options.spoilReply);
  for (const sFaultOptions::sLate& late : options.late) {
    if (selects(late.which)) {
      faults.delay = std::max(faults.delay, late.delay);
    }
  }
  return faults;
}

sWire cFaults::Wire(std::uint64_t number, ByteView packet, const sPacketFaults& faults) const {
  sWire wire;
  const Bytes frame =
      faults.badCrc ? FrameWithFlippedBit(
                          packet, Detail(seed, number, kFlipped).Below((packet.size() + 2) * 8))
                    : Frame(packet);
  if (faults.openNoise) {
    cRandom random = Detail(seed, number, kOpenNoise);
    wire.noise = SpoilingNoise(random, frame);
  }
  wire.bytes = wire.noise;
  AppendBytes(wire.bytes, frame);
  if (faults.split) {
    cRandom random = Detail(seed, number, kCuts);
    const std::size_t count = random.Between(1, 3);
    for (std::size_t i = 0; i < count; ++i) {
      wire.cuts.push_back(random.Between(1, wire.bytes.size() - 1));
    }
    std::sort(wire.cuts.begin(), wire.cuts.end());
    wire.cuts.erase(std::unique(wire.cuts.begin(), wire.cuts.end()), wire.cuts.end());
  }
  return wire;
}

Bytes cFaults::Noise(std::uint64_t number) const {
  cRandom random = Detail(seed, number, kNoise);
  Bytes noise = SpoilingNoise(random, Bytes{kFlag});
  noise.push_back(kFlag);
  return noise;
}

Bytes cFaults::SpoiledReply(unsigned connection, std::uint64_t number, ByteView reply) const {
  cRandom random(seed, eDraw::FaultDetail, ~ReplyNumber(connection, number));
  return FrameWithFlippedBit(reply, random.Below((reply.size() + 2) * 8));
}

Bytes cFaults::UnaskedReply(std::uint64_t number, Bytes& embedded) const {
  cRandom random = Detail(seed, number, kUnasked);
  if (random.Below(2) == 0) {
    embedded.clear();
    Bytes reply = {kSubsystem, 0x0F, 0x00, 0x00};
    AppendU32(reply, static_cast<std::uint32_t>(random.Next()));
    return reply;
  }
  sMessage message;
  message.ssid = 0;
  message.level = 2;
  message.line = static_cast<std::uint16_t>(random.Between(1, 999));
  message.time = DiagTime(options.clockStart + number * kUnitsPerPacket, 0);
  message.format = "kept before the host came";
  message.file = "early.c";
  embedded = ExtendedMessage(message);
  return GetItemReply(embedded);
}

}  // namespace corvane::modem_sim
