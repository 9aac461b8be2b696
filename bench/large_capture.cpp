// Writes a large capture with the store, as fast as it goes: large_capture FILE ITEMS
//
// Its items are as an LTE modem's would be, in sizes of 20 to 420 bytes: a tenth signalling, most
// of the others logs, some events, debug messages, requests and replies, two a millisecond. The
// same items come with every run.

#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <string_view>
#include <vector>

#include "capture/isf/layout.h"
#include "capture/isf/store.h"
#include "capture/text_item.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace {

using namespace corvane;
using Packet = std::vector<std::uint8_t>;

// 2024-05-17 12:00:00 UTC: FILETIME units, and DIAG time stamps of 1.25 ms in the upper 48 bits.
constexpr std::uint64_t kStart = 133'604'208'000'000'000;
constexpr std::uint64_t kDiagStart = std::uint64_t{1'400'000'000} * 800 << 16;

class cTraffic {
 public:
  // The packet with this number, counted from 0, of the modem or (every thousandth) of the
  // recorder.
  [[nodiscard]] const Packet& Make(std::uint64_t number) {
    stamp = kDiagStart + (number * 2 / 5 << 16);
    switch (number % 100) {
      case 3:
      case 53:
        MakeEvent();
        break;
      case 7:
      case 57:
        MakeMessage();
        break;
      case 9:
        packet = {0x0C, 1, 2, 3};
        break;
      default:
        if (number % 10 == 0) {
          MakeRrc();
        } else {
          MakeLog(0xB061, 20 + random() % 400);
        }
        break;
    }
    return packet;
  }

 private:
  void MakeLog(std::uint16_t code, std::size_t size) {
    packet.assign(std::max<std::size_t>(size, log_packet::kHeaderSize), 0);
    packet[0] = command::kLog;
    const auto length = static_cast<std::uint16_t>(packet.size() - log_packet::kUncountedBytes);
    Store16(&packet[log_packet::kLength], length);
    Store16(&packet[log_packet::kLengthAgain], length);
    Store16(&packet[log_packet::kLogCode], code);
    Store64(&packet[log_packet::kTimestamp], stamp);
    for (std::size_t at = log_packet::kHeaderSize; at < packet.size(); ++at) {
      packet[at] = static_cast<std::uint8_t>(at * 7);
    }
  }

  // An LTE paging message, version 2 of the log's layout.
  void MakeRrc() {
    constexpr std::uint8_t kMessage[] = {0x02, 0x09, 0x00, 0x01, 0x44, 0x01, 0x21,
                                         0x07, 0x00, 0x00, 0x01, 0x01, 0x00, 0x2A};
    MakeLog(0xB0C0, log_packet::kHeaderSize);
    packet.insert(packet.end(), std::begin(kMessage), std::end(kMessage));
    const auto length = static_cast<std::uint16_t>(packet.size() - log_packet::kUncountedBytes);
    Store16(&packet[log_packet::kLength], length);
    Store16(&packet[log_packet::kLengthAgain], length);
  }

  void MakeEvent() {
    packet = {0x60, 0x0B, 0x00, 0x46, 0x26};  // 1606, with a payload of one byte
    packet.resize(14);
    Store64(&packet[5], stamp);
    packet[13] = static_cast<std::uint8_t>(random() % 8);
  }

  void MakeMessage() {
    constexpr std::string_view kText("state change in cell.c\0cell.c\0", 30);
    packet.assign(20, 0);
    packet[0] = command::kExtendedMessage;
    Store64(&packet[4], stamp);
    Store16(&packet[12], 120);
    Store16(&packet[14], static_cast<std::uint16_t>(5000 + random() % 16));
    Store32(&packet[16], 1U << random() % 5);
    packet.insert(packet.end(), kText.begin(), kText.end());
  }

  std::mt19937 random{1};
  std::uint64_t stamp = 0;
  Packet packet;
};

[[nodiscard]] bool Write(const char* path, std::uint64_t items) {
  std::uint64_t recorded = 0;
  sStoreSeams seams;
  seams.now = [&recorded] { return kStart + recorded * 5000; };
  cISFStore store(std::move(seams));
  store.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
  const std::lock_guard guard(store.storeLock);
  const OwnedBuffer information = MakeTextItem(kInformationText);
  if (store.AddItem(information.get(), isf::kInformationItem) != 0) {
    return false;
  }
  cTraffic traffic;
  while (++recorded < items) {
    const bool isRequest = recorded % 1000 == 0;
    const Packet request = {0x1D};
    const cBufferReference packet(MakeBuffer(isRequest ? request : traffic.Make(recorded),
                                             isRequest ? kOriginLibrary : kOriginDevice));
    if (store.AddItem(packet.Get(), kAutomaticType) != 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t items = 0;
  if (argc != 3 ||
      std::from_chars(argv[2], argv[2] + std::strlen(argv[2]), items).ec != std::errc() ||
      items == 0) {
    std::fprintf(stderr, "large_capture FILE ITEMS\n");
    return 2;
  }
  if (!Write(argv[1], items)) {
    std::fprintf(stderr, "large_capture: %s cannot be written\n", argv[1]);
    return 1;
  }
  return 0;
}
