#include "convert/raw_stream.h"

#include <algorithm>

#include "diag/hdlc.h"

namespace corvane {
namespace {

constexpr std::size_t kCrcSize = 2;

[[nodiscard]] bool IsSpecial(std::uint8_t byte) {
  return byte == kFrameFlag || byte == kFrameEscape;
}

}  // namespace

std::string_view FaultText(eFrameFault fault) {
  switch (fault) {
    case eFrameFault::Checksum:
      return "has a wrong checksum";
    case eFrameFault::TooShort:
      return "is too short for a packet";
    case eFrameFault::TooLong:
      return "is too long for a packet";
    case eFrameFault::Aborted:
      return "breaks off behind an escape";
    case eFrameFault::Unfinished:
      return "is cut off by the end of the stream";
  }
  return "";
}

void cRawStream::Feed(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    std::size_t taken = 1;
    if (bytes[0] == kFrameFlag) {
      EndFrame();
      frameStart = position + 1;
    } else if (isEscaped) {
      const std::uint8_t unstuffed = bytes[0] ^ kFrameStuffing;
      Append({&unstuffed, 1});
      isEscaped = false;
    } else if (bytes[0] == kFrameEscape) {
      isEscaped = true;
    } else {
      const auto end = std::find_if(bytes.begin(), bytes.end(), IsSpecial);
      taken = static_cast<std::size_t>(end - bytes.begin());
      Append(bytes.first(taken));
    }
    position += taken;
    bytes = bytes.subspan(taken);
  }
}

void cRawStream::Finish() {
  if (position != frameStart) {
    sink.OnBadFrame(frameStart, eFrameFault::Unfinished);
  }
}

void cRawStream::Append(std::span<const std::uint8_t> unstuffed) {
  if (unstuffed.size() > kLongestPacket + kCrcSize - packet.size()) {
    isTooLong = true;
    return;
  }
  packet.insert(packet.end(), unstuffed.begin(), unstuffed.end());
}

void cRawStream::EndFrame() {
  if (position != frameStart) {
    if (const auto fault = FindFault()) {
      sink.OnBadFrame(frameStart, *fault);
    } else {
      sink.OnPacket(frameStart, std::span(packet).first(packet.size() - kCrcSize));
    }
  }
  packet.clear();
  isEscaped = false;
  isTooLong = false;
}

std::optional<eFrameFault> cRawStream::FindFault() const {
  if (isTooLong) {
    return eFrameFault::TooLong;
  }
  if (isEscaped) {
    return eFrameFault::Aborted;
  }
  if (packet.size() <= kCrcSize) {
    return eFrameFault::TooShort;
  }
  if (Crc16X25(packet.data(), packet.size()) != kCrc16GoodResidue) {
    return eFrameFault::Checksum;
  }
  return std::nullopt;
}

}  // namespace corvane
