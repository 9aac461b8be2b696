#include "fuzz/diag_model.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane {
namespace {

constexpr std::uint32_t kDevice = 3;
constexpr std::uint32_t kLibrary = 4;

// Reads the bytes of a report; remembers when they run out.
class cReportBytes {
 public:
  explicit cReportBytes(ModelView all) : bytes(all) {}

  [[nodiscard]] std::uint8_t Next() {
    if (at == bytes.size()) {
      ranOut = true;
      return 0;
    }
    return bytes[at++];
  }
  [[nodiscard]] bool IsAtEnd() const { return at == bytes.size(); }
  [[nodiscard]] bool RanOut() const { return ranOut; }

 private:
  ModelView bytes;
  std::size_t at = 0;
  bool ranOut = false;
};

// The next event; `time` has the time of the one before.
[[nodiscard]] ModelBytes NextEvent(std::uint8_t code, cReportBytes& bytes,
                                   std::uint8_t (&time)[8]) {
  const std::uint8_t low = bytes.Next();
  const std::uint8_t high = bytes.Next();
  const bool isShort = (high & 0x80) != 0;
  for (std::size_t byte = isShort ? 1 : 0; byte < (isShort ? 3u : 8u); ++byte) {
    time[byte] = bytes.Next();
  }
  ModelBytes payload;
  std::size_t count = (high >> 5) & 3;
  if (count == 3) {
    count = bytes.Next();
    payload.push_back(static_cast<std::uint8_t>(count));
  }
  while (count-- != 0 && !bytes.RanOut()) {
    payload.push_back(bytes.Next());
  }
  const std::size_t length = payload.size() + 10;
  ModelBytes event = {code, static_cast<std::uint8_t>(length & 0xFF),
                      static_cast<std::uint8_t>(length >> 8), low,
                      static_cast<std::uint8_t>(high & 0x6F)};
  event.insert(event.end(), std::begin(time), std::end(time));
  event.insert(event.end(), payload.begin(), payload.end());
  return event;
}

[[nodiscard]] bool HasTechnology(std::uint32_t code) {
  constexpr std::uint16_t kCodes[] = {0x1004, 0x1005, 0x1006, 0x1007, 0x1008,
                                      0x1090, 0x1091, 0x10D6, 0x10D7, 0x10D8,
                                      0x1388, 0x1389, 0x138B, 0x138C, 0x138D};
  return std::ranges::find(kCodes, code) != std::end(kCodes);
}

[[nodiscard]] bool IsSignalling(std::uint32_t code) {
  constexpr std::uint16_t kCodes[] = {0x1048, 0x1049, 0x104C, 0x104D, 0x1052, 0x1053, 0x1076,
                                      0x1077, 0x1078, 0x1079, 0x107C, 0x1085, 0x1086, 0x141B,
                                      0x141C, 0x149F, 0x412F, 0x512F, 0x5226, 0x5230, 0x713A,
                                      0x7B3A, 0xA000, 0xA100, 0xA101, 0xA102, 0xA103};
  return HasTechnology(code) || std::ranges::find(kCodes, code) != std::end(kCodes);
}

}  // namespace

std::uint32_t ModelNumber(ModelView bytes, std::size_t at, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t byte = size; byte-- != 0;) {
    number = number * 256 + bytes[at + byte];
  }
  return number;
}

unsigned ModelCrc(ModelView bytes) {
  unsigned crc = 0xFFFF;
  for (const unsigned byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc % 2 != 0 ? crc / 2 ^ 0x8408u : crc / 2;
    }
  }
  return ~crc & 0xFFFF;
}

ModelBytes ModelFrame(ModelView packet) {
  ModelBytes plain(packet.begin(), packet.end());
  const unsigned crc = ModelCrc(packet);
  plain.push_back(static_cast<std::uint8_t>(crc));
  plain.push_back(static_cast<std::uint8_t>(crc >> 8));
  ModelBytes frame;
  for (const std::uint8_t byte : plain) {
    if (byte == 0x7D || byte == 0x7E) {
      frame.push_back(0x7D);
      frame.push_back(byte == 0x7D ? 0x5D : 0x5E);
    } else {
      frame.push_back(byte);
    }
  }
  frame.push_back(0x7E);
  return frame;
}

std::optional<ModelBytes> ModelChecked(ModelView unstuffed) {
  if (unstuffed.size() < 2) {
    return std::nullopt;
  }
  const ModelView packet = unstuffed.first(unstuffed.size() - 2);
  if (ModelCrc(packet) != ModelNumber(unstuffed, packet.size(), 2)) {
    return std::nullopt;
  }
  return ModelBytes(packet.begin(), packet.end());
}

bool ModelIsSubsystem(ModelView packet, std::uint32_t origin) {
  const std::size_t least = packet[0] == 0x80 && origin == kDevice ? 12 : 4;
  return (origin == kDevice || origin == kLibrary) && (packet[0] == 0x4B || packet[0] == 0x80) &&
         packet.size() >= least;
}

bool ModelIsGetItem(ModelView packet, std::uint32_t origin) {
  return ModelIsSubsystem(packet, origin) && packet.size() >= 13 && packet[1] == 0x25 &&
         packet[2] == 8 && packet[3] == 0;
}

ModelView ModelPacketInside(ModelView packet, std::uint32_t origin) {
  const bool hasOne = ModelIsGetItem(packet, origin) && ModelNumber(packet, 9, 4) == 0;
  return hasOne ? packet.subspan(13) : ModelView();
}

ModelView ModelUnwrap(ModelView packet, std::optional<std::uint32_t>& subscription) {
  while (packet.size() > 8 && packet[0] == 0x98) {
    const std::uint32_t told = ModelNumber(packet, 4, 4);
    subscription = told == 0 || told == 0xFFFFFFFF ? 1 : told;
    packet = packet.subspan(8);
  }
  return packet;
}

bool ModelIsShortAnswer(ModelView packet) {
  constexpr std::uint8_t kAnswer[] = {0x60, 0, 0};
  return std::ranges::equal(packet, kAnswer);
}

bool ModelIsReport(ModelView packet) {
  return (packet[0] == 0x60 || packet[0] == 0x74) && !ModelIsShortAnswer(packet);
}

sModelEvents ModelSplitReport(ModelView report) {
  if (report.size() < 4 || (report[0] != 0x60 && report[0] != 0x74) ||
      ModelNumber(report, 1, 2) != report.size() - 3) {
    return {};
  }
  sModelEvents split{.isWhole = true, .events = {}};
  cReportBytes bytes(report.subspan(3));
  std::uint8_t time[8] = {};
  while (!bytes.IsAtEnd()) {
    ModelBytes event = NextEvent(report[0], bytes, time);
    if (bytes.RanOut()) {
      split.isWhole = false;
      break;
    }
    split.events.push_back(std::move(event));
  }
  return split;
}

void sModelLearned::Learn(ModelView request) {
  const std::uint8_t code = request[0];
  if ((code == 0x60 || code == 0x74) && request.size() >= 14 &&
      ModelNumber(request, 3, 2) % 0x1000 == 0x103 && request[13] < 13) {
    technology = request[13];
  }
  if (code == 0x63 && request.size() >= 28 && request[27] < 13) {
    technology = request[27];
  }
  if ((code == 0x4B || code == 0x80) && request.size() >= 7 &&
      ModelNumber(request, 1, 3) == 0x000009) {
    cell = ModelNumber(request, 4, 3);
  }
}

sModelKind ModelKind(ModelView packet, std::uint32_t origin, const sModelLearned& learned) {
  const std::uint8_t code = packet[0];
  const bool isSubsystem = code == 0x4B || code == 0x80;
  if (origin == kLibrary) {
    return {isSubsystem ? 10u : 2u};
  }
  if (code != 0x10) {
    const bool isMessage = code == 0x1F || code == 0x79 || code == 0x92;
    return {isSubsystem ? 9u : (isMessage ? 6u : 1u)};
  }
  if (packet.size() < 16) {
    return {0};
  }
  const std::uint32_t logCode = ModelNumber(packet, 6, 2);
  if (!IsSignalling(logCode)) {
    return {5};
  }
  const std::uint32_t cell = logCode == 0x412F ? learned.cell : kModelUnknown;
  return {8, HasTechnology(logCode) ? learned.technology : cell};
}

}  // namespace corvane
