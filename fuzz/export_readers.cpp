#include "fuzz/export_readers.h"

#include <algorithm>

#include "fuzz/checks.h"

namespace corvane {
namespace {

using View = std::span<const std::uint8_t>;

constexpr std::uint16_t kDiagPackets = 147;
constexpr std::uint16_t kExportedPdus = 252;

// Takes numbers and bytes off the front.
class cCursor {
 public:
  cCursor(View bytes, const char* whatEnds) : rest(bytes), what(whatEnds) {}

  [[nodiscard]] View Take(std::size_t count) {
    Require(count <= rest.size(), what);
    const View taken = rest.first(count);
    rest = rest.subspan(count);
    return taken;
  }
  [[nodiscard]] std::uint32_t Little(std::size_t size) {
    const View bytes = Take(size);
    std::uint32_t number = 0;
    for (std::size_t at = size; at-- != 0;) {
      number = number << 8 | bytes[at];
    }
    return number;
  }
  [[nodiscard]] std::uint32_t Big(std::size_t size) {
    std::uint32_t number = 0;
    for (const std::uint8_t byte : Take(size)) {
      number = number << 8 | byte;
    }
    return number;
  }
  // Takes `count` bytes and the zeros that fill the last word.
  [[nodiscard]] View TakePadded(std::size_t count) {
    const View taken = Take(count);
    for (const std::uint8_t byte : Take((4 - count % 4) % 4)) {
      Require(byte == 0, "words are filled with zeros");
    }
    return taken;
  }
  [[nodiscard]] bool IsAtEnd() const { return rest.empty(); }
  [[nodiscard]] View Rest() const { return rest; }

 private:
  View rest;
  const char* what;
};

[[nodiscard]] std::string_view TextOf(View bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Goes through the options that end a block; `check` is asked about each.
template <typename Check>
void ReadOptions(cCursor& block, Check check) {
  if (block.IsAtEnd()) {
    return;
  }
  for (;;) {
    const std::uint32_t code = block.Little(2);
    const std::uint32_t length = block.Little(2);
    if (code == 0) {
      Require(length == 0 && block.IsAtEnd(), "the end of options is the end of its block");
      return;
    }
    Require(check(code, block.TakePadded(length)), "an option is one of its block's");
  }
}

void ReadSectionHeader(cCursor& block) {
  Require(block.Little(4) == 0x1A2B3C4D, "a section is little-endian");
  Require(block.Little(2) == 1 && block.Little(2) == 0, "the version is 1.0");
  Require(block.Little(4) == 0xFFFFFFFF && block.Little(4) == 0xFFFFFFFF,
          "the length of the section is left open");
  ReadOptions(block,
              [](std::uint32_t code, View value) { return code == 4 && IsUtf8(TextOf(value)); });
}

[[nodiscard]] std::uint16_t ReadInterface(cCursor& block) {
  const auto linkType = static_cast<std::uint16_t>(block.Little(2));
  Require(linkType == kDiagPackets || linkType == kExportedPdus, "a link type is one of two");
  Require(block.Little(2) == 0 && block.Little(4) == 0, "an interface has no snap length");
  bool hasResolution = false;
  bool hasName = false;
  ReadOptions(block, [&](std::uint32_t code, View value) {
    hasName = hasName || (code == 2 && !value.empty());
    hasResolution = hasResolution || (code == 9 && value.size() == 1 && value[0] == 9);
    return code == 9 || ((code == 2 || code == 3) && IsUtf8(TextOf(value)));
  });
  Require(hasResolution && hasName, "an interface has a name and counts nanoseconds");
  return linkType;
}

// Tags, then the message.
void CheckExportedPdu(View data) {
  cCursor pdu(data, "an exported PDU is whole");
  bool hasDissector = false;
  for (;;) {
    const std::uint32_t tag = pdu.Big(2);
    const std::uint32_t length = pdu.Big(2);
    const View value = pdu.Take(length);
    if (tag == 0) {
      Require(length == 0 && hasDissector, "an exported PDU names its dissector");
      return;
    }
    if (tag == 12 || tag == 33) {
      hasDissector = hasDissector || tag == 12;
      const View name = value.first(
          static_cast<std::size_t>(std::ranges::find(value, std::uint8_t{0}) - value.begin()));
      Require(!name.empty() && value.size() % 4 == 0 && value.size() - name.size() < 4 &&
                  std::ranges::all_of(name, [](auto byte) { return byte >= 0x20 && byte < 0x7F; }),
              "a dissector and a protocol have names");
    } else {
      Require((tag == 20 || tag == 21 || tag == 35) && length == 4, "a tag is a known one");
    }
  }
}

[[nodiscard]] sReadFrame ReadPacket(cCursor& block, const std::vector<std::uint16_t>& linkTypes) {
  const std::uint32_t number = block.Little(4);
  Require(number < linkTypes.size(), "a packet's interface was described before");
  Require(block.Little(4) < 0x80000000, "a time is not negative");
  static_cast<void>(block.Little(4));
  const std::uint32_t captured = block.Little(4);
  Require(block.Little(4) >= captured, "no more is captured than there was");
  const View data = block.TakePadded(captured);
  ReadOptions(block, [](std::uint32_t code, View value) {
    return code == 2 ? value.size() == 4 && (value[0] == 1 || value[0] == 2)
                     : code == 1 && !value.empty() && IsUtf8(TextOf(value));
  });
  if (linkTypes[number] == kExportedPdus) {
    CheckExportedPdu(data);
  }
  return {linkTypes[number], {data.begin(), data.end()}};
}

void CheckIpAndUdp(View packet) {
  cCursor header(packet, "a packet has its headers");
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < 20; at += 2) {
    sum += packet[at] * 256u + packet[at + 1];
  }
  Require(sum % 0xFFFF == 0, "the checksum of IPv4 is right");
  Require(header.Big(2) == 0x4500 && header.Big(2) == packet.size(), "IPv4 has its length");
  static_cast<void>(header.Take(5));
  Require(header.Big(1) == 17, "IPv4 carries UDP");
  static_cast<void>(header.Take(10));
  Require(header.Big(2) == 4729 && header.Big(2) == 4729, "the port is GSMTAP's");
  Require(header.Big(2) == packet.size() - 20, "UDP has its length");
  static_cast<void>(header.Big(2));
  const View gsmtap = header.Rest();
  Require(gsmtap.size() > 16 && gsmtap[0] == 2 && gsmtap[1] == 4, "a message is in GSMTAP");
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto lead = static_cast<std::uint8_t>(text[0]);
    const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || text.size() < size) {
      return false;
    }
    std::uint32_t code = size == 1 ? lead : lead & (0x7Fu >> size);
    for (std::size_t at = 1; at < size; ++at) {
      const auto byte = static_cast<std::uint8_t>(text[at]);
      if (byte < 0x80 || byte > 0xBF) {
        return false;
      }
      code = code << 6 | (byte & 0x3F);
    }
    const bool isTooLong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
    if (isTooLong || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

sReadPcapng ReadPcapng(View file) {
  cCursor blocks(file, "a block is whole");
  sReadPcapng read;
  std::vector<std::uint16_t> linkTypes;
  for (bool isFirst = true; isFirst || !blocks.IsAtEnd(); isFirst = false) {
    const std::uint32_t type = blocks.Little(4);
    const std::uint32_t length = blocks.Little(4);
    Require(length >= 12 && length % 4 == 0, "a block's length is one");
    cCursor block(blocks.Take(length - 12), "a block holds what it counts");
    Require(blocks.Little(4) == length, "a block ends with its length");
    Require(isFirst == (type == 0x0A0D0D0A), "a file has one section");
    if (isFirst) {
      ReadSectionHeader(block);
    } else if (type == 1) {
      linkTypes.push_back(ReadInterface(block));
    } else {
      Require(type == 6, "a block is an interface or a packet");
      read.frames.push_back(ReadPacket(block, linkTypes));
    }
  }
  read.interfaces = linkTypes.size();
  return read;
}

std::size_t ReadGsmtapPcap(View file) {
  cCursor rest(file, "a record is whole");
  Require(rest.Little(4) == 0xA1B23C4D && rest.Little(2) == 2 && rest.Little(2) == 4,
          "a file is pcap with nanoseconds");
  static_cast<void>(rest.Take(12));
  Require(rest.Little(4) == 228, "its packets are IPv4");
  std::size_t packets = 0;
  for (; !rest.IsAtEnd(); ++packets) {
    static_cast<void>(rest.Little(4));
    Require(rest.Little(4) < 1'000'000'000, "a second has so many nanoseconds");
    const std::uint32_t captured = rest.Little(4);
    Require(rest.Little(4) == captured && captured >= 44 && captured <= 65'535,
            "a packet is captured whole");
    CheckIpAndUdp(rest.Take(captured));
  }
  return packets;
}

std::vector<std::vector<std::string>> ReadCsv(std::string_view file) {
  std::vector<std::vector<std::string>> rows;
  bool isNewRow = true;
  while (!file.empty()) {
    if (isNewRow) {
      rows.emplace_back();
    }
    std::string& field = rows.back().emplace_back();
    if (file[0] == '"') {
      for (file.remove_prefix(1);; file.remove_prefix(1)) {
        Require(!file.empty(), "a quotation mark is closed");
        if (file[0] == '"') {
          file.remove_prefix(1);
          if (file.empty() || file[0] != '"') {
            break;
          }
        }
        field += file[0];
      }
    } else {
      const std::size_t end = std::min(file.find_first_of(",\r\n"), file.size());
      field = file.substr(0, end);
      Require(field.find('"') == std::string::npos, "quotation marks stand in quoted fields");
      file.remove_prefix(end);
    }
    isNewRow = file.starts_with("\r\n");
    Require(isNewRow || file.starts_with(","), "a field ends at a comma or at the line's end");
    file.remove_prefix(isNewRow ? 2 : 1);
  }
  Require(isNewRow, "the last line is whole");
  return rows;
}

}  // namespace corvane
