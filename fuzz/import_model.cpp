#include "fuzz/import_model.h"

#include <algorithm>
#include <optional>
#include <string>

namespace corvane {
namespace {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr std::size_t kLongestItem = 16640;
constexpr std::size_t kLongestFrame = 131072 + 2;  // packet and CRC

[[nodiscard]] unsigned CrcOf(View bytes) {
  unsigned crc = 0xFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc % 2 != 0 ? 0x8408u : 0u) ^ (crc / 2);
    }
  }
  return crc ^ 0xFFFF;
}

[[nodiscard]] unsigned Number16(View bytes, std::size_t at) {
  return bytes[at] + 256u * bytes[at + 1];
}

[[nodiscard]] bool IsZero(View bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](auto byte) { return byte == 0; });
}

// The packet of what stands between two flags.
[[nodiscard]] std::optional<Bytes> Unframe(View frame) {
  Bytes bytes;
  for (std::size_t at = 0; at < frame.size(); ++at) {
    if (frame[at] != 0x7D) {
      bytes.push_back(frame[at]);
    } else if (++at == frame.size()) {
      return std::nullopt;
    } else {
      bytes.push_back(frame[at] ^ 0x20);
    }
  }
  if (bytes.size() < 3 || bytes.size() > kLongestFrame) {
    return std::nullopt;
  }
  const View packet = View(bytes).first(bytes.size() - 2);
  if (CrcOf(packet) != Number16(bytes, packet.size())) {
    return std::nullopt;
  }
  return Bytes(packet.begin(), packet.end());
}

[[nodiscard]] bool IsReport(View packet) {
  const bool isShortAnswer =
      packet.size() == 3 && packet[0] == 0x60 && packet[1] == 0 && packet[2] == 0;
  return (packet[0] == 0x60 || packet[0] == 0x74) && !isShortAnswer;
}

// One packet for each event of a report; nothing for a report with a fault.
[[nodiscard]] std::optional<std::vector<Bytes>> SplitReport(View report) {
  if (report.size() < 4 || Number16(report, 1) != report.size() - 3) {
    return std::nullopt;
  }
  std::vector<Bytes> events;
  Bytes time(8);
  for (std::size_t at = 3; at < report.size();) {
    if (report.size() - at < 2) {
      return std::nullopt;
    }
    const unsigned word = Number16(report, at);
    const bool isShort = word >= 0x8000;
    const std::size_t timeSize = isShort ? 2 : 8;
    at += 2;
    if (report.size() - at < timeSize) {
      return std::nullopt;
    }
    std::copy_n(report.begin() + static_cast<std::ptrdiff_t>(at), timeSize,
                time.begin() + (isShort ? 1 : 0));
    at += timeSize;
    std::size_t length = (word / 0x2000) % 4;
    if (length == 3) {
      if (at == report.size()) {
        return std::nullopt;
      }
      length = report[at] + 1u;
    }
    if (report.size() - at < length) {
      return std::nullopt;
    }
    Bytes event = {report[0], static_cast<std::uint8_t>(length + 10),
                   static_cast<std::uint8_t>((length + 10) / 256),
                   static_cast<std::uint8_t>(word % 256),
                   static_cast<std::uint8_t>(word / 256 & 0x6F)};
    event.insert(event.end(), time.begin(), time.end());
    event.insert(event.end(), report.begin() + static_cast<std::ptrdiff_t>(at),
                 report.begin() + static_cast<std::ptrdiff_t>(at + length));
    events.push_back(event);
    at += length;
  }
  return events;
}

// Whether another packet lies in this one, behind 13 bytes.
[[nodiscard]] bool IsGetItemResponse(View packet) {
  return packet.size() > 13 && (packet[0] == 0x4B || packet[0] == 0x80) && packet[1] == 0x25 &&
         packet[2] == 8 && packet[3] == 0 && IsZero(packet.subspan(9, 4));
}

// Adds what is recorded of a packet. Returns whether there is anything.
bool AddItems(View packet, std::vector<Bytes>& items, std::size_t& left) {
  const std::size_t before = items.size();
  while (packet[0] <= 0x92 && packet.size() <= kLongestItem) {
    if (IsReport(packet)) {
      const auto events = SplitReport(packet);
      left += events ? 0u : 1u;
      for (const Bytes& event : events.value_or(std::vector<Bytes>())) {
        items.push_back(event);
      }
      return items.size() != before;
    }
    items.emplace_back(packet.begin(), packet.end());
    if (!IsGetItemResponse(packet)) {
      return true;
    }
    packet = packet.subspan(13);
  }
  ++left;
  return items.size() != before;
}

[[nodiscard]] Bytes TextOf(const std::string& text) { return {text.begin(), text.end()}; }

// Takes packets out of their wrappers and tells whose they are.
class cModelledCapture {
 public:
  cModelledCapture(sImportModel& whole, bool drops) : model(whole), dropsWrapped(drops) {
    model.items.push_back(TextOf("Imported from fuzz"));
  }

  void Add(View packet) {
    ++model.packets;
    std::string subscription = "Subscription none";
    if (packet[0] == 0x98 && dropsWrapped) {
      return;
    }
    while (packet[0] == 0x98 && packet.size() > 8) {
      const std::uint64_t number =
          Number16(packet, 4) + std::uint64_t{65'536} * Number16(packet, 6);
      const bool isNone = number == 0 || number == 0xFFFFFFFF;
      subscription = "Subscription " + std::to_string(isNone ? 1 : number);
      packet = packet.subspan(8);
    }
    std::vector<Bytes> items;
    if (!AddItems(packet, items, model.left)) {
      return;
    }
    if (subscription != told) {
      told = subscription;
      model.items.push_back(TextOf(subscription));
    }
    model.items.insert(model.items.end(), items.begin(), items.end());
  }

 private:
  sImportModel& model;
  bool dropsWrapped;
  std::string told = "Subscription none";
};

}  // namespace

sImportModel ModelImport(View stream, bool dropsWrapped) {
  sImportModel model;
  cModelledCapture capture(model, dropsWrapped);
  while (!stream.empty()) {
    const auto flag = std::find(stream.begin(), stream.end(), 0x7E);
    const auto length = static_cast<std::size_t>(flag - stream.begin());
    if (flag == stream.end()) {
      ++model.badFrames;
      break;
    }
    if (length != 0) {
      const auto packet = Unframe(stream.first(length));
      model.badFrames += packet ? 0u : 1u;
      if (packet) {
        capture.Add(*packet);
      }
    }
    stream = stream.subspan(length + 1);
  }
  return model;
}

std::vector<std::uint8_t> ModelFrame(View packet) {
  Bytes bytes(packet.begin(), packet.end());
  const unsigned crc = CrcOf(packet);
  bytes.push_back(static_cast<std::uint8_t>(crc % 256));
  bytes.push_back(static_cast<std::uint8_t>(crc / 256));
  Bytes frame;
  for (const std::uint8_t byte : bytes) {
    if (byte == 0x7D || byte == 0x7E) {
      frame.push_back(0x7D);
      frame.push_back(byte ^ 0x20);
    } else {
      frame.push_back(byte);
    }
  }
  frame.push_back(0x7E);
  return frame;
}

}  // namespace corvane
