#include "ota/random_messages.h"

#include <vector>

#include "ota/ota_messages.h"

namespace corvane {

sRandomMessage cRandomMessages::Next(const BlockMap& blocks) {
  message = {};
  message.channel = OneIn(2) ? kBch : kFach;
  message.rbId = OneIn(2) ? 0 : 7;
  message.choice = OneIn(20) ? Below(16) : 1 + Below(10);
  Bits content = Content(blocks);
  // Half of those that are cut end within their first piece's header.
  if (OneIn(8)) {
    content = content.substr(0, Below(OneIn(2) ? 24 : static_cast<unsigned>(content.size()) + 1));
  }
  if (OneIn(8)) {
    content += Noise(Below(40));
  }
  if (message.channel == kFach && content.size() >= 2) {
    content.replace(0, 2, "00");
  }
  message.bits = Message(message.channel, message.choice, content);
  // The bits in front of the choice mean nothing, nor do the two behind it on BCH.
  const std::size_t inFront = message.channel == kBch ? 9 : 2;
  message.bits.replace(0, inFront, Noise(inFront));
  if (message.channel == kBch) {
    message.bits.replace(13, 2, Noise(2));
  }
  return message;
}

ByteVector cRandomMessages::Packet(const sRandomMessage& sent) {
  Bits bits = sent.bits;
  while (bits.size() % 8 != 0) {
    bits += OneIn(2) ? '1' : '0';
  }
  // On FACH the message type may be in those bits of the first byte.
  if (sent.channel == kFach && bits.size() == 8 && !OneIn(4)) {
    bits.replace(6, 2, "00");
  }
  ByteVector packet = LogPacket(sent.channel, sent.rbId, BytesOf(bits));
  if (OneIn(50)) {
    packet[16] = static_cast<std::uint8_t>(Below(256));
  }
  if (OneIn(50)) {
    packet[18] = static_cast<std::uint8_t>(packet[18] + Below(3) - 1);
  }
  if (OneIn(100)) {
    packet[6 + Below(2)] ^= static_cast<std::uint8_t>(1 << Below(8));
  }
  if (OneIn(100)) {
    packet[19] = static_cast<std::uint8_t>(Below(256));
  }
  if (OneIn(100)) {
    packet.resize(1 + Below(24));
  }
  if (OneIn(100)) {
    packet.resize(packet.size() + Below(300));
  }
  if (OneIn(100)) {
    packet[packet.size() - 1] ^= 0xFF;
  }
  return packet;
}

BlockKey cRandomMessages::Key() {
  return {OneIn(2) ? 254 : 255, OneIn(2) ? 0 : 7, static_cast<int>(SibType())};
}

sBlock cRandomMessages::LongBlock() {
  // Some have room for several segments, some for none; packets are cut at 65536 bits
  // and blocks end at 65664.
  const std::size_t size = 65664 - Below(OneIn(2) ? 230 : 800);
  const unsigned received = 1 + Below(3);
  sBlock block{received + (OneIn(4) ? 2 : 1), received, Bits(40, '0')};
  block.bits += Noise(size - 40);
  return block;
}

Bits cRandomMessages::Noise(std::size_t count) {
  Bits bits(count, '0');
  std::uint64_t word = 0;
  for (std::size_t k = 0; k < count; ++k) {
    if (k % 64 == 0) {
      word = engine();
    }
    bits[k] = static_cast<char>('0' + (word >> k % 64 & 1));
  }
  return bits;
}

// The length field of a short piece; `data` receives what it announces.
Bits cRandomMessages::Length(Bits& data) {
  const unsigned field = OneIn(8) ? 255 - Below(2) : OneIn(2) ? Below(24) : Below(256);
  data = Noise(field + 1);
  return Number(field, 8);
}

// Few types, so that they meet; the first two bits of a content on FACH are always 0.
unsigned cRandomMessages::SibType() {
  const unsigned type = OneIn(8) ? Below(32) : Below(4);
  return atStart && message.channel == kFach ? type % 8 : type;
}

// A subsequent or last segment: three in four continue one of the blocks.
Bits cRandomMessages::Segment(const BlockMap& blocks, bool isShort) {
  unsigned type = SibType();
  unsigned indexField = Below(16);
  std::vector<BlockKey> waiting;
  for (const auto& [key, block] : blocks) {
    const auto [marker, rbId, blockType] = key;
    const bool fits = !atStart || message.channel != kFach || blockType < 8;
    if (marker == MarkerOf(message.channel) && rbId == message.rbId && fits) {
      waiting.push_back(key);
    }
  }
  if (!waiting.empty() && !OneIn(4)) {
    const BlockKey key = waiting[Below(static_cast<unsigned>(waiting.size()))];
    type = static_cast<unsigned>(std::get<2>(key));
    if (!OneIn(5)) {
      indexField = (blocks.at(key).received - 1) % 16;
    }
  }
  atStart = false;
  Bits data;
  const Bits length = isShort ? Length(data) : "";
  if (!isShort) {
    data = Noise(222);
  }
  return Number(type, 5) + Number(indexField, 4) + length + data;
}

Bits cRandomMessages::First(bool isShort) {
  const unsigned type = SibType();
  atStart = false;
  // Two or three segments are the rule, so that blocks are completed.
  const unsigned countField = OneIn(4) ? Below(16) : 1 + Below(2);
  Bits data;
  const Bits length = isShort ? Length(data) : "";
  if (!isShort) {
    data = Noise(222);
  }
  return Number(type, 5) + Number(countField, 4) + length + data;
}

Bits cRandomMessages::List() {
  unsigned countField = OneIn(4) ? 15 - Below(2) : Below(4);
  if (atStart && message.channel == kFach) {
    countField %= 4;
  }
  atStart = false;
  Bits bits = Number(countField, 4);
  // A list may hold fewer blocks than it announces, and a length of 256 bits is not stepped over.
  for (unsigned left = OneIn(20) ? Below(countField + 1) : countField + 1; left != 0; --left) {
    Bits data;
    bits += Number(SibType(), 5);
    bits += Length(data);
    bits += data.size() == 256 ? "" : data;
  }
  return bits;
}

Bits cRandomMessages::Content(const BlockMap& blocks) {
  atStart = true;
  switch (message.choice) {
    case 1:
      return First(false);
    case 2:
      return Segment(blocks, false);
    case 3:
      return Segment(blocks, true);
    case 4: {
      const Bits last = Segment(blocks, true);
      return last + First(true);
    }
    case 5: {
      const Bits last = Segment(blocks, true);
      return last + List();
    }
    case 6: {
      const Bits last = Segment(blocks, true);
      const Bits list = List();
      return last + list + First(true);
    }
    case 7:
      return List();
    case 8: {
      const Bits list = List();
      return list + First(true);
    }
    case 9: {
      const unsigned type = SibType();
      return Number(type, 5) + Noise(226);
    }
    case 10:
      return Segment(blocks, false);
    default:
      return "00" + Noise(300);
  }
}

}  // namespace corvane
