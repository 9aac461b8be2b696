#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "reader/capture_file.h"
#include "support/bytes.h"

// Items as a capture file gives them, one behind the other.
namespace corvane {

// Item types.
inline constexpr std::uint32_t kPacket = 1;
inline constexpr std::uint32_t kRequest = 2;
inline constexpr std::uint32_t kText = 7;
inline constexpr std::uint32_t kSubsystemReply = 9;
inline constexpr std::uint32_t kSubsystemRequest = 10;

// Numbers them from 0.
class cMadeItems {
 public:
  // `time` in milliseconds.
  [[nodiscard]] sCaptureItem Make(std::uint32_t type, std::uint64_t time, ByteVector packet) {
    sCaptureItem item;
    item.number = number++;
    item.time = time;
    item.type = type;
    item.bytes = std::move(packet);
    return item;
  }

  [[nodiscard]] sCaptureItem Text(std::uint64_t time, const std::string& text) {
    ByteVector packet = {0xC0, 0xFF, 0xFF, 0xFF};
    for (const char character : text) {
      packet.push_back(static_cast<std::uint8_t>(character));
      packet.push_back(0);
    }
    packet.insert(packet.end(), {0, 0});
    return Make(kText, time, packet);
  }

 private:
  std::uint64_t number = 0;
};

}  // namespace corvane
