#include "convert/pcapng_writer.h"

#include <array>
#include <cstddef>

#include "convert/byte_order.h"
#include "convert/characters.h"
#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceDescription = 1;
constexpr std::uint32_t kEnhancedPacket = 6;

constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr std::uint16_t kMajorVersion = 1;
constexpr std::uint16_t kMinorVersion = 0;
constexpr std::uint64_t kSectionLengthUnknown = UINT64_MAX;

constexpr std::uint16_t kEndOfOptions = 0;
constexpr std::uint16_t kComment = 1;
constexpr std::uint16_t kSectionApplication = 4;
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kInterfaceText = 3;
constexpr std::uint16_t kInterfaceTimeResolution = 9;
constexpr std::uint16_t kPacketFlags = 2;

constexpr std::uint8_t kNanoseconds = 9;  // the negative power of ten
constexpr std::uint32_t kInbound = 1;
constexpr std::uint32_t kOutbound = 2;

constexpr std::size_t kLengthOffset = 4;

// As much of a text as an option holds. A character of UTF-8 has up to three bytes behind its
// first.
[[nodiscard]] std::string_view Cut(std::string_view text) {
  constexpr std::size_t kMostBehindFirst = 3;
  std::size_t length = cPcapngWriter::kLongestText;
  if (text.size() <= length) {
    return text;
  }
  const std::size_t least = length - kMostBehindFirst;
  while (length > least && (static_cast<std::uint8_t>(text[length]) & 0xC0) == 0x80) {
    --length;
  }
  return text.substr(0, length);
}

}  // namespace

cPcapngWriter::cPcapngWriter(cByteSink& sink, std::string_view application) : output(sink) {
  Begin(kSectionHeader);
  AppendLittleEndian(block, kByteOrderMagic);
  AppendLittleEndian(block, kMajorVersion);
  AppendLittleEndian(block, kMinorVersion);
  AppendLittleEndian(block, kSectionLengthUnknown);
  AddText(kSectionApplication, application);
  AddOption(kEndOfOptions, {});
  End();
}

std::uint32_t cPcapngWriter::AddInterface(const sPcapngInterface& interface) {
  constexpr std::uint16_t kReserved = 0;
  constexpr std::uint32_t kNoSnapLength = 0;
  Begin(kInterfaceDescription);
  AppendLittleEndian(block, interface.linkType);
  AppendLittleEndian(block, kReserved);
  AppendLittleEndian(block, kNoSnapLength);
  AddText(kInterfaceName, interface.name);
  AddText(kInterfaceText, interface.description);
  AddOption(kInterfaceTimeResolution, std::array{kNanoseconds});
  AddOption(kEndOfOptions, {});
  End();
  return interfaces++;
}

void cPcapngWriter::AddPacket(const sPcapngPacket& packet) {
  const auto time = static_cast<std::uint64_t>(packet.time);
  const auto length = static_cast<std::uint32_t>(packet.data.size());
  Begin(kEnhancedPacket);
  AppendLittleEndian(block, packet.interface);
  AppendLittleEndian(block, static_cast<std::uint32_t>(time >> 32));
  AppendLittleEndian(block, static_cast<std::uint32_t>(time));
  AppendLittleEndian(block, length);                                               // captured
  AppendLittleEndian(block, static_cast<std::uint32_t>(length + packet.missing));  // original
  block.insert(block.end(), packet.data.begin(), packet.data.end());
  PadToWord(block);
  if (!packet.comment.empty()) {
    AddText(kComment, packet.comment);
  }
  if (packet.link) {
    std::array<std::uint8_t, 4> flags{};
    Store32(flags.data(), *packet.link == eLink::Downlink ? kInbound : kOutbound);
    AddOption(kPacketFlags, flags);
  }
  if (!packet.comment.empty() || packet.link) {
    AddOption(kEndOfOptions, {});
  }
  End();
}

void cPcapngWriter::Begin(std::uint32_t type) {
  block.clear();
  AppendLittleEndian(block, type);
  AppendLittleEndian(block, std::uint32_t{0});  // the length, when it is known
}

void cPcapngWriter::AddOption(std::uint16_t code, std::span<const std::uint8_t> value) {
  AppendLittleEndian(block, code);
  AppendLittleEndian(block, static_cast<std::uint16_t>(value.size()));
  block.insert(block.end(), value.begin(), value.end());
  PadToWord(block);
}

void cPcapngWriter::AddText(std::uint16_t code, std::string_view text) {
  AddOption(code, BytesOf(Cut(text)));
}

void cPcapngWriter::End() {
  const auto length = static_cast<std::uint32_t>(block.size() + sizeof(std::uint32_t));
  AppendLittleEndian(block, length);
  Store32(&block[kLengthOffset], length);
  output.Write(block);
}

}  // namespace corvane
