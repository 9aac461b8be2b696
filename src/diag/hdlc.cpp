#include "diag/hdlc.h"

#include <cstddef>
#include <span>
#include <utility>

#include "diag/crc16.h"

namespace corvane {
namespace {

constexpr std::int32_t kCrcSize = 2;

// Writes `byte` in its stuffed form and returns the position behind it.
[[nodiscard]] std::uint8_t* Stuff(std::uint8_t* output, std::uint8_t byte) {
  if (byte == kFrameFlag || byte == kFrameEscape) {
    *output++ = kFrameEscape;
    byte ^= kFrameStuffing;
  }
  *output++ = byte;
  return output;
}

// The length of the frame at the front of `bytes`, closing flag included, or 0 when its closing
// flag is not there yet.
[[nodiscard]] std::uint32_t MeasureFrame(std::span<const std::uint8_t> bytes) {
  // A flag among the first three bytes never ends a frame that more bytes follow: the shortest
  // frame with a packet in it is one byte, two CRC bytes and the flag.
  for (std::size_t i = 3; i < bytes.size(); ++i) {
    if (bytes[i] == kFrameFlag && bytes[i - 1] != kFrameEscape) {
      return static_cast<std::uint32_t>(i + 1);
    }
  }
  // The last byte is tested without regard to the one before it: a stretch that ends in an escape
  // and a flag is a frame, not an incomplete one.
  if (bytes.empty() || bytes.back() != kFrameFlag) {
    return 0;
  }
  return static_cast<std::uint32_t>(bytes.size());
}

// Undoes the stuffing of `body`, the frame without its flag, into `output`, which has room for as
// many bytes. Returns how many were written. An escape with nothing behind it stands for itself.
[[nodiscard]] std::int32_t Unstuff(std::span<const std::uint8_t> body, std::uint8_t* output) {
  std::int32_t written = 0;
  for (std::size_t i = 0; i < body.size(); ++i) {
    std::uint8_t byte = body[i];
    if (byte == kFrameEscape && i + 1 < body.size()) {
      byte = static_cast<std::uint8_t>(body[++i] ^ kFrameStuffing);
    }
    output[written++] = byte;
  }
  return written;
}

}  // namespace

OwnedBuffer FramePacket(const sSharedBuffer* packet) {
  if (!IsUsable(packet)) {
    return nullptr;
  }

  // Room for the worst case, in which every byte is stuffed.
  HeapBlock frame = AllocateBlock(std::size_t{2} * packet->size + 8);
  if (frame == nullptr) {
    return nullptr;
  }

  std::uint8_t* end = frame.get();
  for (const std::uint8_t byte : packet->Bytes()) {
    end = Stuff(end, byte);
  }
  const std::uint16_t crc = Crc16X25(packet->data, packet->size);
  end = Stuff(end, static_cast<std::uint8_t>(crc & 0xFF));
  end = Stuff(end, static_cast<std::uint8_t>(crc >> 8));
  *end++ = kFrameFlag;

  const auto length = static_cast<std::int32_t>(end - frame.get());
  return AdoptBlock(length, std::move(frame), packet->origin);
}

OwnedBuffer UnframePacket(const sSharedBuffer* received, std::uint32_t* consumed) {
  if (!IsUsable(received) || consumed == nullptr) {
    return nullptr;
  }
  *consumed = 0;

  std::span<const std::uint8_t> bytes = received->Bytes();
  if (bytes.front() == kFrameFlag) {
    bytes = bytes.subspan(1);
  }
  const std::uint32_t frameLength = MeasureFrame(bytes);
  if (frameLength == 0) {
    return nullptr;
  }
  *consumed = frameLength;

  const std::span<const std::uint8_t> body = bytes.first(frameLength - 1);
  HeapBlock packet = AllocateBlock(body.size());
  if (packet == nullptr) {
    return nullptr;
  }
  const std::int32_t length = Unstuff(body, packet.get());
  if (Crc16X25(packet.get(), static_cast<std::size_t>(length)) != kCrc16GoodResidue) {
    return nullptr;
  }

  // The CRC bytes stay in the block, behind what counts as the packet.
  return AdoptBlock(length - kCrcSize, std::move(packet), received->origin);
}

}  // namespace corvane
