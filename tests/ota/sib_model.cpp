#include "ota/sib_model.h"

#include <algorithm>

namespace corvane {
namespace {

constexpr std::size_t kMostBits = 8208 * 8;

unsigned Small(const Bits& bits) { return static_cast<unsigned>(NumberOf(bits)); }

void AppendNumber(ByteVector& bytes, std::uint64_t value, int count) {
  for (; count != 0; --count, value /= 256) {
    bytes.push_back(static_cast<std::uint8_t>(value % 256));
  }
}

}  // namespace

std::vector<ByteVector> cSibModel::Decode(const ByteVector& packet, std::uint64_t timestamp) {
  touched.clear();
  if (packet.size() <= 20 || packet.size() > 16640) {
    return {};
  }
  if (packet[6] + packet[7] * 256 != 0x412F) {
    return {};
  }
  const std::size_t length = packet[18] + packet[19] * 256u;
  if (length > packet.size() - 20) {
    return {};
  }

  // The choice is read with each byte's bits turned round.
  Bits message;
  Bits turned;
  for (std::size_t k = 0; k < length; ++k) {
    const Bits byte = Number(packet[20 + k], 8);
    message += byte;
    turned += Bits(byte.rbegin(), byte.rend());
  }
  const int channel = packet[16];
  std::size_t choiceAt = 0;
  if (channel == 4) {
    choiceAt = 11;
  } else if (channel == 5) {
    choiceAt = 2;
    if (turned.substr(0, 2).find('1') != Bits::npos) {
      return {};
    }
  } else {
    return {};
  }
  if (turned.size() < choiceAt + 4) {
    return {};
  }
  const Bits lowestFirst = turned.substr(choiceAt, 4);
  const unsigned choice = Small(Bits(lowestFirst.rbegin(), lowestFirst.rend()));
  if (choice == 0 || choice > 10) {
    return {};
  }
  return DecodeMessage(choice, channel, packet[17], message, timestamp);
}

std::vector<ByteVector> cSibModel::DecodeMessage(unsigned choice, int channel, int rbId,
                                                 const Bits& message, std::uint64_t timestamp) {
  touched.clear();
  emitted.clear();
  currentChoice = choice;
  marker = channel == 4 ? 254 : 255;
  bearer = rbId;
  stamp = timestamp;
  rest = message.substr(std::min<std::size_t>(message.size(), channel == 4 ? 15 : 6));
  switch (choice) {
    case 1:
      First(false);
      break;
    case 2:
      Subsequent();
      break;
    case 3:
      Last(true);
      break;
    case 4:
      if (LastBeforeMore()) {
        First(true);
      }
      break;
    case 5:
      if (LastBeforeMore()) {
        List();
      }
      break;
    case 6:
      if (LastBeforeMore() && List()) {
        First(true);
      }
      break;
    case 7:
      List();
      break;
    case 8:
      if (List()) {
        First(true);
      }
      break;
    case 9:
      Single();
      break;
    case 10:
      Last(false);
      break;
    default:
      break;
  }
  return emitted;
}

bool cSibModel::Take(std::size_t count, Bits& taken) {
  if (rest.size() < count) {
    return false;
  }
  taken = rest.substr(0, count);
  rest = rest.substr(count);
  return true;
}

void cSibModel::Note(const std::string& outcome) {
  ++outcomes[std::to_string(currentChoice) + " " + outcome];
}

BlockKey cSibModel::KeyOf(const Bits& type) {
  const BlockKey key(marker, bearer, static_cast<int>(Small(type)));
  touched.insert(key);
  return key;
}

void cSibModel::First(bool isShort) {
  Bits type, count, length, data;
  if (!Take(5, type) || !Take(4, count)) {
    return Note("first: header cut");
  }
  std::size_t size = 222;
  if (isShort) {
    if (!Take(8, length)) {
      return Note("first: header cut");
    }
    size = (Small(length) + 1) % 256;
    if (size == 0) {
      Note("first: no data");
    }
  }
  if (!Take(size, data)) {
    return Note("first: data cut");
  }
  const BlockKey key = KeyOf(type);
  sBlock block{Small(count) + 1, 1, Bits(40, '0') + data};
  if (block.expected == 1) {
    Note("first: complete");
    Emit(key, block);
  } else {
    Note(blocks.count(key) != 0 ? "first: replaced" : "first: stored");
    blocks[key] = block;
  }
}

void cSibModel::Subsequent() {
  Bits type, index;
  if (!Take(5, type)) {
    return Note("subsequent: type cut");
  }
  const BlockKey key = KeyOf(type);
  if (blocks.count(key) == 0) {
    return Note("subsequent: no block");
  }
  const std::string outcome =
      Take(4, index) ? Append(key, Small(index) + 1, 222) : std::string("index cut");
  Note("subsequent: " + outcome);
  if (outcome != "appended" && outcome != "completed") {
    blocks.erase(key);
  }
}

void cSibModel::Last(bool isShort) {
  Bits type, index, length;
  if (!Take(5, type)) {
    return Note("last: type cut");
  }
  const BlockKey key = KeyOf(type);
  if (blocks.count(key) == 0) {
    return Note("last: no block");
  }
  std::string outcome = "header cut";
  if (Take(4, index)) {
    if (!isShort) {
      outcome = Append(key, Small(index) + 1, 222);
    } else if (Take(8, length)) {
      outcome = Append(key, Small(index) + 1, (Small(length) + 1) % 256);
    }
  }
  Note("last: " + outcome);
  blocks.erase(key);
}

bool cSibModel::LastBeforeMore() {
  Bits type, index, length;
  if (!Take(5, type) || !Take(4, index) || !Take(8, length)) {
    Note("last: header cut");
    return false;
  }
  // What follows starts here, whatever the segment takes.
  const Bits next = rest.substr(std::min<std::size_t>(rest.size(), Small(length) + 1));
  const BlockKey key = KeyOf(type);
  if (blocks.count(key) == 0) {
    Note("last: no block");
  } else {
    Note("last: " + Append(key, Small(index) + 1, (Small(length) + 1) % 256));
    blocks.erase(key);
  }
  rest = next;
  return true;
}

bool cSibModel::List() {
  Bits count;
  if (!Take(4, count)) {
    Note("list: count cut");
    return false;
  }
  for (unsigned k = 0; k <= Small(count); ++k) {
    Bits type, length, data;
    if (!Take(5, type) || !Take(8, length)) {
      Note("list: header cut");
      return false;
    }
    if (!Take((Small(length) + 1) % 256, data)) {
      Note("list: data cut");
      return false;
    }
    sBlock block{1, 1, Bits(40, '0') + data};
    Emit(BlockKey(marker, bearer, static_cast<int>(Small(type))), block);
  }
  Note(count == "1111" ? "list: all of sixteen" : "list: all");
  return true;
}

void cSibModel::Single() {
  Bits type, data;
  if (!Take(5, type)) {
    return Note("single: type cut");
  }
  if (!Take(226, data)) {
    return Note("single: data cut");
  }
  Note("single: complete");
  sBlock block{1, 1, Bits(40, '0') + data};
  Emit(BlockKey(marker, bearer, static_cast<int>(Small(type))), block);
}

// Appends a segment's data to the block there is, and says what came of it.
std::string cSibModel::Append(const BlockKey& key, unsigned index, std::size_t count) {
  sBlock& block = blocks[key];
  if (block.received != index) {
    return "out of order";
  }
  Bits data;
  if (!Take(count, data)) {
    return "data cut";
  }
  if (block.bits.size() + count > kMostBits && count != 0) {
    return "no room";
  }
  if (count == 0) {
    Note("no data appended");
  }
  block.bits += data;
  ++block.received;
  if (block.received != block.expected) {
    return "appended";
  }
  Emit(key, block);
  return "completed";
}

void cSibModel::Emit(const BlockKey& key, sBlock& block) {
  while (block.bits.size() % 8 != 0) {
    block.bits += '0';
  }
  const std::size_t size = block.bits.size() / 8;
  const auto [keyMarker, keyBearer, type] = key;
  ByteVector header = {static_cast<std::uint8_t>(keyMarker), static_cast<std::uint8_t>(keyBearer)};
  AppendNumber(header, size - 4, 2);
  header.push_back(static_cast<std::uint8_t>(type));
  block.bits = BitsOf(header) + block.bits.substr(40);

  const std::size_t kept = std::min<std::size_t>(size, 8192);
  if (size > kept) {
    Note("emitted cut");
  }
  ByteVector packet;
  AppendNumber(packet, 16, 2);
  AppendNumber(packet, kept + 12, 2);
  AppendNumber(packet, kept + 12, 2);
  AppendNumber(packet, 0x412F, 2);
  AppendNumber(packet, stamp, 8);
  const ByteVector content = BytesOf(block.bits.substr(0, kept * 8));
  packet.insert(packet.end(), content.begin(), content.end());
  emitted.push_back(packet);
}

}  // namespace corvane
