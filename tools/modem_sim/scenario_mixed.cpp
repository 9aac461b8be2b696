#include <algorithm>
#include <utility>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {
namespace {

enum eKind { kLogKind, kEventKind, kMessageKind };
enum eSize { kSmall, kMedium, kLarge };

constexpr std::size_t kSmallPayload = 64;
constexpr std::size_t kMediumPayload = 1024;

// Every 16th byte or so needs stuffing.
Bytes RandomPayload(cRandom& random, std::size_t size) {
  Bytes payload(size);
  for (std::uint8_t& byte : payload) {
    byte = random.Below(16) == 0 ? (random.Below(2) == 0 ? kFlag : kEscape) : random.Byte();
  }
  return payload;
}

std::string RandomText(cRandom& random, std::size_t size) {
  static constexpr std::string_view kWords = "state timer %d cell %x link ~ grant } power %u ";
  std::string text;
  while (text.size() < size) {
    text += kWords[random.Below(kWords.size())];
  }
  return text;
}

// The over-the-air log's own header (channel, bearer, length) before the payload as the message.
Bytes OtaPayload(cRandom& random, ByteView message) {
  // Up- and downlink common and dedicated control, paging, and two of them in the newer layout; no
  // broadcast channel.
  static constexpr std::uint8_t kChannels[] = {0, 1, 2, 3, 6, 0x83, 0x86};
  Bytes payload = {kChannels[random.Below(std::size(kChannels))],
                   static_cast<std::uint8_t>(random.Below(4))};
  AppendU16(payload, static_cast<std::uint32_t>(message.size()));
  if (payload[0] >= 0x80) {
    AppendU16(payload, 10562);                                          // UARFCN
    AppendU16(payload, static_cast<std::uint32_t>(random.Below(512)));  // primary scrambling code
  }
  AppendBytes(payload, message);
  return payload;
}

Bytes LogPayload(cRandom& random, std::uint16_t code, ByteView content) {
  if (code == kOtaLogCode) {
    return OtaPayload(random, content);
  }
  return Bytes(content.begin(), content.end());
}

}  // namespace

std::uint64_t PacketTime(const sStreamOptions& options, std::uint64_t number, cRandom& random) {
  return DiagTime(options.clockStart + number * kUnitsPerPacket,
                  static_cast<std::uint32_t>(random.Below(kFractionsPerUnit)));
}

cMixedScenario::cMixedScenario(sStreamOptions streamOptions) : options(std::move(streamOptions)) {}

std::vector<std::uint16_t> cMixedScenario::SendableCodes(const cMasks& masks) const {
  if (options.logCodes.empty()) {
    return masks.LogCodes();
  }
  std::vector<std::uint16_t> codes;
  for (const std::uint16_t code : masks.LogCodes()) {
    if (std::find(options.logCodes.begin(), options.logCodes.end(), code) !=
        options.logCodes.end()) {
      codes.push_back(code);
    }
  }
  return codes;
}

bool cMixedScenario::CanSend(const cMasks& masks) const {
  return (options.logWeight > 0 && !SendableCodes(masks).empty()) ||
         (options.eventWeight > 0 && !masks.EventIds().empty()) ||
         (options.messageWeight > 0 && !masks.MessageSources().empty());
}

sStreamPacket cMixedScenario::Make(std::uint64_t number, bool, const cMasks& masks) {
  cRandom random(options.seed, eDraw::Content, number);
  const std::vector<std::uint16_t> codes = SendableCodes(masks);
  const std::vector<unsigned> weights = {
      codes.empty() ? 0 : options.logWeight,
      masks.EventIds().empty() ? 0 : options.eventWeight,
      masks.MessageSources().empty() ? 0 : options.messageWeight,
  };
  switch (random.Weighted(weights)) {
    case kEventKind:
      return MakeEvents(number, random, masks.EventIds());
    case kMessageKind:
      return MakeMessage(number, random, masks.MessageSources());
    default:
      return MakeLog(number, random, codes);
  }
}

std::size_t cMixedScenario::PayloadSize(cRandom& random) const {
  const std::vector<unsigned> weights(options.sizeWeights.begin(), options.sizeWeights.end());
  switch (random.Weighted(weights)) {
    case kSmall:
      return random.Below(kSmallPayload + 1);
    case kMedium:
      return random.Between(kSmallPayload + 1, kMediumPayload);
    default:
      // One large packet in four is as large as its frame may be.
      return random.Below(4) == 0 ? options.maxFrame
                                  : random.Between(kMediumPayload + 1,
                                                   std::max(kMediumPayload + 1, options.maxFrame));
  }
}

sStreamPacket cMixedScenario::MakeLog(std::uint64_t number, cRandom& random,
                                      const std::vector<std::uint16_t>& codes) const {
  const std::uint16_t code = codes[random.Below(codes.size())];
  const std::uint64_t time = PacketTime(options, number, random);
  Bytes content = RandomPayload(random, std::min(PayloadSize(random), options.maxFrame));
  const cRandom layout = random;
  while (true) {
    cRandom sameLayout = layout;
    sStreamPacket made{
        "log", LogPacket(code, time, LogPayload(sameLayout, code, content)), {}, {}, {}};
    const std::size_t frame = FrameSizeBound(made.packet);
    if (frame <= options.maxFrame || content.empty()) {
      return made;
    }
    // A byte of content takes one or two bytes of the frame.
    content.resize(content.size() - std::min(content.size(), (frame - options.maxFrame + 1) / 2));
  }
}

sStreamPacket cMixedScenario::MakeEvents(std::uint64_t number, cRandom& random,
                                         const std::vector<std::uint16_t>& ids) const {
  std::vector<sEvent> events;
  std::uint64_t time = PacketTime(options, number, random);
  const std::size_t count = random.Between(1, 8);
  for (std::size_t i = 0; i < count; ++i) {
    sEvent event;
    event.id = ids[random.Below(ids.size())];
    event.lengthCode = static_cast<unsigned>(random.Below(4));
    if (i > 0) {
      const std::uint64_t before = time;
      time += std::uint64_t{random.Below(4)} << 16;
      // A short time has bits 8 to 23 only: the rest must be as in the event before.
      event.shortTime = before >> 24 == time >> 24 && random.Below(4) != 0;
    }
    event.time = time;
    const std::size_t size =
        event.lengthCode == 3 ? random.Below(random.Below(8) == 0 ? 256 : 24) : event.lengthCode;
    event.payload = RandomPayload(random, size);
    events.push_back(event);
    // A report that outgrows the frame is sent without its last event.
    if (FrameSizeBound(EventReport(events)) > options.maxFrame && events.size() > 1) {
      events.pop_back();
      break;
    }
  }
  sStreamPacket made{"event", EventReport(events), {}, {}, {}};
  for (const sEvent& event : events) {
    made.events.push_back(SingleEvent(event));
  }
  return made;
}

sStreamPacket cMixedScenario::MakeMessage(std::uint64_t number, cRandom& random,
                                          const std::vector<sMessageSource>& sources) const {
  const sMessageSource source = sources[random.Below(sources.size())];
  sMessage message;
  message.ssid = source.ssid;
  message.level = source.level;
  message.line = static_cast<std::uint16_t>(random.Between(1, 9999));
  message.time = PacketTime(options, number, random);
  message.file = "source.c";
  message.format = RandomText(random, std::min(PayloadSize(random), options.maxFrame / 4));
  message.arguments.resize(random.Below(6));
  for (std::uint32_t& argument : message.arguments) {
    argument = static_cast<std::uint32_t>(random.Next());
  }
  const auto hash = static_cast<std::uint32_t>(random.Next());
  // Terse and legacy messages are the rarer forms. The legacy one knows the levels 0 to 4 only.
  const std::size_t form = random.Below(8);
  if (form == 0) {
    return {"message", TerseMessage(message, hash), {}, {}, {}};
  }
  if (form == 1 && message.level <= 4) {
    return {"message", LegacyMessage(message), {}, {}, {}};
  }
  return {"message", ExtendedMessage(message), {}, {}, {}};
}

}  // namespace corvane::modem_sim
