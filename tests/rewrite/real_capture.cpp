#include "rewrite/real_capture.h"

#include <algorithm>

namespace corvane {
namespace {

void AppendTime(ByteVector& packet, std::uint64_t time) {
  // 1980-01-06 00:00:00 UTC in milliseconds since 1601, as `date -d 1980-01-06 +%s` has it:
  // (315964800 + 11644473600) * 1000.
  constexpr std::uint64_t kGpsEpoch = 11'960'438'400'000;
  Append(packet, (time - kGpsEpoch) * 4 / 5 << 16, 8);
}

void AppendText(ByteVector& packet, std::string_view text) {
  packet.insert(packet.end(), text.begin(), text.end());
  packet.push_back(0);
}

}  // namespace

ByteVector LogPacket(std::uint16_t code, std::uint64_t time, const ByteVector& payload) {
  ByteVector packet = Hex("10 00");
  Append(packet, 12 + payload.size(), 2);
  Append(packet, 12 + payload.size(), 2);
  Append(packet, code, 2);
  AppendTime(packet, time);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

ByteVector EventPacket(std::uint16_t id, std::uint64_t time) {
  ByteVector packet = Hex("60 0C 00");
  Append(packet, id | 2u << 13, 2);
  AppendTime(packet, time);
  packet.push_back(0x11);
  packet.push_back(0x22);
  return packet;
}

ByteVector MessagePacket(std::uint64_t time, std::string_view text) {
  ByteVector packet = Hex("79 00 01 00");
  AppendTime(packet, time);
  Append(packet, 123, 2);
  Append(packet, 9500, 2);
  Append(packet, 2, 4);
  Append(packet, 77, 4);
  AppendText(packet, text);
  AppendText(packet, "rrc.c");
  return packet;
}

std::vector<sBuiltItem> RealItems() {
  std::uint64_t now = kNoon;
  ByteVector inside = Hex("4B 25 08 00 01 00 00 00 02 00 00 00 00");
  const ByteVector kept = LogPacket(0xB0C0, kNoon, ByteVector(30, 0x5A));
  inside.insert(inside.end(), kept.begin(), kept.end());
  ByteVector terse = Hex("92 00 01 00");
  AppendTime(terse, now);
  Append(terse, 0x0002'251C'0017, 8);
  Append(terse, 0x1234'5678, 4);
  Append(terse, 9, 4);
  return {
      {7, now, TextItem("Corvane version 1.0"), {}},
      {7, now, TextItem("Port COM7 connected"), {}},
      {2, now += 3, Hex("00"), {}},
      {1, now += 9, Hex("00 4D 61 79 20 31 37 20 32 30 32 34 31 32 3A 30 30"), {}},
      {10, now += 1, Hex("4B 0F 00 00 01 02"), {}},
      {9, now += 12, Hex("4B 0F 00 00 10 20 30 40 50"), {}},
      {5, now += 100, LogPacket(0xB0C0, now, ByteVector(25, 0x31)), {}},
      {8, now += 140, LogPacket(0x412F, now, Hex("02 00 02 00 31 42")), 0x00A1B2},
      {8, now += 7, LogPacket(0x1004, now, Hex("01 02 03")), 5},
      {8, now += 1, LogPacket(0x713A, now, ByteVector(9, 0x71)), {}},
      {0, now += 2, Hex("10 00 06 00 06 00 2F 41 01 02"), {}},
      {4, now += 60, EventPacket(0x1FF, now), {}},
      {6, now += 0, MessagePacket(now, "state %d"), {}},
      {6, now += 5, terse, {}},
      {6, now += 5, Hex("1F 00 01 02 03 04 05"), {}},
      {9, now += 5, inside, {}},
      {5, now, kept, {}},
      {5, now += 70'000, LogPacket(0xB0E2, now, ByteVector(40, 0)), {}},
      {1, now += 3, Hex("60 00 00"), {}},
      {5, now = kNoon - 5000, LogPacket(0xB0E3, now, ByteVector(12, 0xFF)), {}},
      {1, now += 10, Hex("1D 01 02 03 04 05 06 07 08"), {}},
      {5, now = kNoon + 80'000, LogPacket(0xB0E3, now, ByteVector(5, 0x10)), {}},
  };
}

std::vector<sBuiltItem> ManyRealItems(std::uint32_t count) {
  std::vector<sBuiltItem> items;
  for (std::uint64_t round = 0; items.size() < count; ++round) {
    for (sBuiltItem item : RealItems()) {
      if (items.size() == count) {
        break;
      }
      item.time = kNoon + 20 * items.size();
      if (item.type == 5 || item.type == 8) {
        item.packet.back() = static_cast<std::uint8_t>(round);
      }
      items.push_back(std::move(item));
    }
  }
  return items;
}

cCaptureBuilder BuildItems(const std::vector<sBuiltItem>& items) {
  cCaptureBuilder builder;
  for (const sBuiltItem& item : items) {
    builder.Add(item);
  }
  return builder;
}

void Fill(ByteVector& file, std::size_t from, std::size_t to, std::uint8_t value) {
  std::fill(file.begin() + static_cast<std::ptrdiff_t>(from),
            file.begin() + static_cast<std::ptrdiff_t>(to), value);
}

}  // namespace corvane
