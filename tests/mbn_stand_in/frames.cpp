#include "mbn_stand_in/frames.h"

#include <stdexcept>

#include "support/reference_crc.h"

namespace mbn_stand_in {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  throw std::invalid_argument("not a hexadecimal digit");
}

}  // namespace

ByteVector Frame(const ByteVector& packet) {
  const std::uint16_t crc = corvane::ReferenceCrc(packet);
  ByteVector body = packet;
  body.push_back(static_cast<std::uint8_t>(crc & 0xFF));
  body.push_back(static_cast<std::uint8_t>(crc >> 8));
  ByteVector frame;
  for (const std::uint8_t byte : body) {
    if (byte == 0x7D || byte == 0x7E) {
      frame.push_back(0x7D);
      frame.push_back(static_cast<std::uint8_t>(byte ^ 0x20));
    } else {
      frame.push_back(byte);
    }
  }
  frame.push_back(0x7E);
  return frame;
}

ByteVector Unframe(const ByteVector& frame) {
  ByteVector body;
  bool escaped = false;
  for (const std::uint8_t byte : frame) {
    if (byte == 0x7E) {
      break;
    }
    if (byte == 0x7D) {
      escaped = true;
      continue;
    }
    body.push_back(escaped ? static_cast<std::uint8_t>(byte ^ 0x20) : byte);
    escaped = false;
  }
  if (body.size() < 3) {
    return {};
  }
  ByteVector packet(body.begin(), body.end() - 2);
  const std::uint16_t crc = corvane::ReferenceCrc(packet);
  const bool isGood = body[body.size() - 2] == (crc & 0xFF) && body[body.size() - 1] == (crc >> 8);
  return isGood ? packet : ByteVector{};
}

ByteVector BytesFromHex(const std::string& text) {
  if (text.size() % 2 != 0) {
    throw std::invalid_argument("an odd number of hexadecimal digits");
  }
  ByteVector bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(HexDigit(text[i]) * 16 + HexDigit(text[i + 1])));
  }
  return bytes;
}

std::string HexFromBytes(const ByteVector& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace mbn_stand_in
