// A capture that is there to be killed: kill_host OUTPUT serial|broadband REQUESTS ITEMS
//
// Descriptors 0 and 3 are sockets that keep the bounds of what is sent (SOCK_SEQPACKET). On 0 each
// message that comes is one read of a serial port, or one notification of mobile broadband, and
// each frame goes out as one message. On 3, four bytes follow each message once it has been dealt
// with, which tell how many that were: everything in them has been recorded then. The capture asks
// for REQUESTS message levels, and has ITEMS items of its own in front, so that a block ends soon.
// It goes on until there are no more messages.
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <tuple>
#include <utility>

#include "capture/connection.h"
#include "capture/reader_loop.h"
#include "capture/receive_path.h"
#include "capture/session.h"
#include "capture/transport.h"

namespace corvane {
namespace {

constexpr int kLine = 0;
constexpr int kDealtWith = 3;

[[nodiscard]] bool SendAll(int socket, const void* bytes, std::size_t length) {
  return send(socket, bytes, length, MSG_NOSIGNAL) == static_cast<ssize_t>(length);
}

class cLine final : public cIO, public cReaderPort {
 public:
  using cIO::cIO;
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    return SendAll(kLine, data, length);
  }
  [[nodiscard]] bool HasEnded() const override { return false; }
};

// The reader of the serial port is the program's own thread.
class cNoReader final : public cReaderThread {
 public:
  [[nodiscard]] bool HasEnded() const override { return true; }
  void WaitForEnd() override {}
};

class cLineTraffic final : public cTraffic {
 public:
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession&) override {
    return std::make_unique<cNoReader>();
  }
  void StartDataDelivery(cCaptureSession& session) override { OnDeviceData(&session, nullptr); }
};

// Tells that one more message has been dealt with.
[[nodiscard]] bool Tell(std::uint32_t& messages) {
  ++messages;
  return SendAll(kDealtWith, &messages, sizeof messages);
}

void ReadPort(cCaptureSession& session, cLine& line) {
  cReaderLoop loop(session, &line);
  std::uint32_t messages = 0;
  for (;;) {
    loop.Pump();
    const std::span<std::uint8_t> room = loop.Room();
    const ssize_t count = recv(kLine, room.data(), room.size(), 0);
    if (count <= 0) {
      return;
    }
    loop.Received(static_cast<std::size_t>(count));
    if (!Tell(messages)) {
      return;
    }
  }
}

void TakeNotifications(cCaptureSession& session) {
  std::array<std::uint8_t, kMaxBufferSize> bytes;
  std::uint32_t messages = 0;
  for (;;) {
    const ssize_t count = recv(kLine, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
      return;
    }
    const cBufferReference data(
        MakeBuffer({bytes.data(), static_cast<std::size_t>(count)}, kOriginDevice));
    OnDeviceData(&session, data.Get());
    if (!Tell(messages)) {
      return;
    }
  }
}

[[nodiscard]] bool AddItems(cCaptureSession& session, unsigned long count) {
  constexpr std::array<std::uint8_t, 2> kPacket = {0x05, 0x05};
  const cBufferReference item(MakeBuffer(kPacket, kOriginDevice));
  const std::lock_guard guard(session.storeLock);
  for (; count > 0; --count) {
    if (session.AddItem(item.Get(), kAutomaticType) != 0) {
      return false;
    }
  }
  return true;
}

[[nodiscard]] int Run(const char* output, bool isSerial, unsigned long requests,
                      unsigned long items) {
  cLineTraffic traffic;
  cLine line(isSerial ? kSerialPort : kMobileBroadband);
  cCaptureSession session(traffic);
  MessageLevelMap levels;
  for (std::uint32_t ssid = 0; ssid < requests; ++ssid) {
    levels[ssid] = {1};
  }
  if (!StartCapture(session,
                    std::make_unique<std::ofstream>(output, std::ios::binary | std::ios::trunc), {},
                    {}, levels) ||
      !AddItems(session, items)) {
    return 1;
  }
  session.transport = TransportOwner(&line, {[](cIO*) {}});
  OnConnected(&session);
  if (isSerial) {
    ReadPort(session, line);
  } else {
    TakeNotifications(session);
  }
  OnDisconnected(&session);
  session.transport = nullptr;
  session.Close();
  return 0;
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
  if (argc != 5) {
    return 2;
  }
  return corvane::Run(argv[1], std::string_view(argv[2]) == "serial",
                      std::strtoul(argv[3], nullptr, 10), std::strtoul(argv[4], nullptr, 10));
}
