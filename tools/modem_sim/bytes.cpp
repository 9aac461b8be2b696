#include "modem_sim/bytes.h"

namespace corvane::modem_sim {
namespace {

void AppendLittleEndian(Bytes& bytes, std::uint64_t value, unsigned count) {
  for (unsigned i = 0; i < count; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

std::optional<unsigned> HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<unsigned>(digit - '0');
  }
  if (digit >= 'a' && digit <= 'f') {
    return static_cast<unsigned>(digit - 'a' + 10);
  }
  if (digit >= 'A' && digit <= 'F') {
    return static_cast<unsigned>(digit - 'A' + 10);
  }
  return std::nullopt;
}

}  // namespace

void AppendU16(Bytes& bytes, std::uint32_t value) { AppendLittleEndian(bytes, value, 2); }

void AppendU32(Bytes& bytes, std::uint32_t value) { AppendLittleEndian(bytes, value, 4); }

void AppendU64(Bytes& bytes, std::uint64_t value) { AppendLittleEndian(bytes, value, 8); }

void AppendText(Bytes& bytes, std::string_view text) {
  for (const char character : text) {
    bytes.push_back(static_cast<std::uint8_t>(character));
  }
}

void AppendBytes(Bytes& bytes, ByteView more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

std::uint16_t ReadU16(ByteView bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

std::uint32_t ReadU32(ByteView bytes, std::size_t at) {
  return ReadU16(bytes, at) | static_cast<std::uint32_t>(ReadU16(bytes, at + 2)) << 16;
}

std::string ToHex(ByteView bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(bytes.size() * 2, '0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = kDigits[bytes[i] >> 4];
    text[2 * i + 1] = kDigits[bytes[i] & 0xF];
  }
  return text;
}

std::optional<Bytes> FromHex(std::string_view text) {
  Bytes bytes;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      ++i;
      continue;
    }
    if (i + 1 >= text.size()) {
      return std::nullopt;
    }
    const auto high = HexDigit(text[i]);
    const auto low = HexDigit(text[i + 1]);
    if (!high || !low) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
    i += 2;
  }
  return bytes;
}

}  // namespace corvane::modem_sim
