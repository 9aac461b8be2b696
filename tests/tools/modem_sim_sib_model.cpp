#include "tools/modem_sim_sib_model.h"

#include <stdexcept>

namespace corvane::modem_sim {
namespace {

constexpr std::size_t kMessageAt = 20;

std::string MostSignificantFirst(ByteView bytes) {
  std::string bits;
  for (const std::uint8_t byte : bytes) {
    for (int bit = 7; bit >= 0; --bit) {
      bits += (byte >> bit & 1) != 0 ? '1' : '0';
    }
  }
  return bits;
}

std::string LeastSignificantFirst(ByteView bytes) {
  std::string bits;
  for (const std::uint8_t byte : bytes) {
    for (int bit = 0; bit < 8; ++bit) {
      bits += (byte >> bit & 1) != 0 ? '1' : '0';
    }
  }
  return bits;
}

}  // namespace

unsigned cSibModel::Choice(ByteView packet) {
  const std::string bits = LeastSignificantFirst(packet.subspan(kMessageAt));
  std::size_t at = 11;
  if (packet[16] == 5) {
    if (bits.substr(0, 2) != "00") {
      return 0;
    }
    at = 2;
  }
  unsigned choice = 0;
  for (unsigned bit = 0; bit < 4; ++bit) {
    choice += bits[at + bit] == '1' ? 1U << bit : 0;
  }
  return choice;
}

std::vector<Bytes> cSibModel::Take(ByteView packet) {
  completed.clear();
  channel = packet[16];
  bearer = packet[17];
  left = MostSignificantFirst(packet.subspan(kMessageAt)).substr(channel == 4 ? 15 : 6);
  switch (Choice(packet)) {
    case 1:
      First(false);
      break;
    case 2:
      Continue(false, false);
      break;
    case 3:
      Continue(true, true);
      break;
    case 4:
      Continue(true, true);
      First(true);
      break;
    case 5:
      Continue(true, true);
      List();
      break;
    case 6:
      Continue(true, true);
      List();
      First(true);
      break;
    case 7:
      List();
      break;
    case 8:
      List();
      First(true);
      break;
    case 9: {
      const unsigned type = Read(5);
      Emit(type, Cut(226));
      break;
    }
    case 10:
      Continue(false, true);
      break;
    default:
      break;
  }
  return completed;
}

unsigned cSibModel::Read(unsigned count) {
  return static_cast<unsigned>(std::stoul(Cut(count), nullptr, 2));
}

std::string cSibModel::Cut(std::size_t count) {
  if (left.size() < count) {
    throw std::out_of_range("the message is too short");
  }
  const std::string bits = left.substr(0, count);
  left.erase(0, count);
  return bits;
}

void cSibModel::First(bool isShort) {
  const unsigned type = Read(5);
  const std::size_t expected = Read(4) + 1;
  const std::string bits = Cut(isShort ? Read(8) + 1 : 222);
  if (expected == 1) {
    Emit(type, bits);
  } else {
    held[KeyOf(type)] = {expected, 1, bits};
  }
}

void cSibModel::Continue(bool isShort, bool isLast) {
  const unsigned type = Read(5);
  const std::size_t place = Read(4) + 1;
  const std::string bits = Cut(isShort ? Read(8) + 1 : 222);
  const auto entry = held.find(KeyOf(type));
  if (entry == held.end()) {
    return;
  }
  sHeld& block = entry->second;
  if (block.received == place) {
    block.bits += bits;
    ++block.received;
    if (block.received == block.expected) {
      Emit(type, block.bits);
    }
    if (isLast) {
      held.erase(entry);
    }
  } else {
    held.erase(entry);
  }
}

void cSibModel::List() {
  const unsigned count = Read(4) + 1;
  for (unsigned i = 0; i < count; ++i) {
    const unsigned type = Read(5);
    Emit(type, Cut(Read(8) + 1));
  }
}

void cSibModel::Emit(unsigned type, const std::string& bits) {
  Bytes data;
  for (std::size_t at = 0; at < bits.size(); at += 8) {
    std::string byte = bits.substr(at, 8);
    byte.resize(8, '0');
    data.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 2)));
  }
  Bytes packet = {0x10, 0x00};
  AppendU16(packet, static_cast<std::uint32_t>(17 + data.size()));
  AppendU16(packet, static_cast<std::uint32_t>(17 + data.size()));
  AppendU16(packet, 0x412F);
  packet.resize(16, 0);
  packet.push_back(channel == 4 ? 254 : 255);
  packet.push_back(static_cast<std::uint8_t>(bearer));
  AppendU16(packet, static_cast<std::uint32_t>(1 + data.size()));
  packet.push_back(static_cast<std::uint8_t>(type));
  AppendBytes(packet, data);
  completed.push_back(packet);
}

}  // namespace corvane::modem_sim
