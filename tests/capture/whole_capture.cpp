#include "capture/whole_capture.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <tuple>
#include <utility>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "ota/bits.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

constexpr std::uint32_t kShortLog = 0;
constexpr std::uint32_t kPacket = 1;
constexpr std::uint32_t kRequest = 2;
constexpr std::uint32_t kEvent = 4;
constexpr std::uint32_t kLog = 5;
constexpr std::uint32_t kMessage = 6;
constexpr std::uint32_t kSignallingLog = 8;
constexpr std::uint32_t kSubsystem = 9;
constexpr std::uint32_t kSubsystemRequest = 10;

[[nodiscard]] ByteVector LongLog(std::uint16_t code, std::uint8_t mark) {
  ByteVector packet(20, mark);
  packet[0] = 0x10;
  packet[6] = static_cast<std::uint8_t>(code % 256);
  packet[7] = static_cast<std::uint8_t>(code / 256);
  return packet;
}

[[nodiscard]] ByteVector Message(std::uint8_t code, std::size_t size) {
  ByteVector packet(size, 0x7E);
  packet[0] = code;
  return packet;
}

// Packets in one delivery, each recorded as it is.
[[nodiscard]] sDelivery Plain(const std::vector<sFileItem>& items) {
  sDelivery delivery;
  for (const sFileItem& item : items) {
    const ByteVector frame = Framed(item.packet);
    delivery.bytes.insert(delivery.bytes.end(), frame.begin(), frame.end());
    delivery.items.push_back({item, eTold::Packet});
  }
  return delivery;
}

// A packet that is recorded as something else, or not at all.
[[nodiscard]] sDelivery Other(const ByteVector& packet, std::vector<sExpectedItem> items) {
  return {Framed(packet), std::move(items), false};
}

[[nodiscard]] sDelivery Wrapped(std::uint8_t subscription, const ByteVector& packet) {
  ByteVector wrapper = {0x98, 1, 0, 0, subscription, 0, 0, 0};
  wrapper.insert(wrapper.end(), packet.begin(), packet.end());
  return Other(wrapper, {{TextItem("Subscription " + std::to_string(subscription)), eTold::Never},
                         {{kLog, packet}, eTold::Packet}});
}

// Two events: one with a full time, one with a short time and a byte.
[[nodiscard]] sDelivery EventReport() {
  return Other(
      {0x60, 15, 0, 0x23, 0x01, 1, 2, 3, 4, 5, 6, 7, 8, 0x24, 0xA1, 9, 10, 0x55},
      {{{kEvent, {0x60, 10, 0, 0x23, 0x01, 1, 2, 3, 4, 5, 6, 7, 8}}, eTold::Never},
       {{kEvent, {0x60, 11, 0, 0x24, 0x21, 1, 9, 10, 4, 5, 6, 7, 8, 0x55}}, eTold::Never}});
}

// Breaks off in its second event.
[[nodiscard]] sDelivery BrokenReport() { return Other({0x60, 5, 0, 0x25, 0x81, 9, 10, 0x26}, {}); }

[[nodiscard]] sDelivery KeptPacket() {
  const ByteVector kept = LongLog(0xB0C0, 7);
  ByteVector response = {0x4B, 0x25, 0x08, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  response.insert(response.end(), kept.begin(), kept.end());
  return Other(response, {{{kSubsystem, response}, eTold::Packet}, {{kLog, kept}, eTold::Never}});
}

// The two segments of a block of system information; the second one completes it.
[[nodiscard]] std::array<sDelivery, 2> Segments(unsigned sibType) {
  const Bits start = Pattern(222, sibType);
  const Bits end = Pattern(222, sibType + 1);
  const ByteVector first =
      LogPacket(kFach, 7, BytesOf(corvane::Message(kFach, 1, FirstFixed(sibType, 2, start))));
  const ByteVector last =
      LogPacket(kFach, 7, BytesOf(corvane::Message(kFach, 10, SegmentFixed(sibType, 1, end))));
  sDelivery completing = Plain({{kSignallingLog, last}});
  completing.items.push_back(
      {{kSignallingLog, RebuiltPacket(kFach, 7, sibType, start + end, 0)}, eTold::Never});
  return {Plain({{kSignallingLog, first}}), completing};
}

// A frame of which one half comes first: mobile broadband keeps no bytes of an incomplete frame.
[[nodiscard]] std::array<sDelivery, 2> InTwoHalves(eWay way, const sFileItem& item) {
  sDelivery whole = Plain({item});
  const auto middle = whole.bytes.begin() + static_cast<std::ptrdiff_t>(whole.bytes.size() / 2);
  sDelivery end = {ByteVector(middle, whole.bytes.end()), {}, false};
  if (way == eWay::SerialPort) {
    end.items = whole.items;
  }
  return {sDelivery{ByteVector(whole.bytes.begin(), middle), {}, true}, end};
}

[[nodiscard]] sDelivery BehindABadFrame(const sFileItem& item) {
  sDelivery delivery = Plain({item});
  const ByteVector bad = BadFrame({0x10, 1, 2, 3});
  delivery.bytes.insert(delivery.bytes.begin(), bad.begin(), bad.end());
  return delivery;
}

[[nodiscard]] std::vector<sDelivery> FirstConnection(eWay way) {
  const auto [firstSegment, lastSegment] = Segments(2);
  const auto [firstHalf, secondHalf] = InTwoHalves(way, {kLog, LongLog(0xB0C1, 3)});
  return {
      Plain({{kShortLog, {0x10, 0, 4, 0, 4, 0, 0xC0, 0xB0}}, {kLog, LongLog(0xB0C0, 1)}}),
      Plain({{kSignallingLog, LongLog(0x1004, 2)}}),
      firstSegment,
      EventReport(),
      lastSegment,
      BehindABadFrame({kMessage, Message(0x79, 30)}),
      Plain({{kMessage, Message(0x1F, 5)}, {kMessage, Message(0x92, 300)}}),
      KeptPacket(),
      BrokenReport(),
      firstHalf,
      secondHalf,
      Wrapped(2, LongLog(0xB0C2, 4)),
      Wrapped(1, LongLog(0xB0C2, 5)),
      Other({0xFE, 1, 2}, {}),  // refused: no code of the protocol
      Plain({{kMessage, Message(0x79, 3000)}}),
      Plain({{kSubsystem, {0x80, 9, 9, 9}}, {kPacket, {0x05, 1}}}),
  };
}

[[nodiscard]] std::vector<sDelivery> SecondConnection() {
  const auto [firstSegment, lastSegment] = Segments(5);
  return {firstSegment, EventReport(), lastSegment, KeptPacket(),
          Plain({{kMessage, Message(0x79, 20)}, {kLog, LongLog(0xB0C0, 6)}})};
}

// A device without memory for its name does not open.
[[nodiscard]] bool NameDevice(cCaptureSession& session) {
  constexpr std::string_view kName = "COM3";
  session.deviceName.reset(static_cast<char*>(BlockHeap().allocate(kName.size() + 1)));
  if (session.deviceName == nullptr) {
    return false;
  }
  std::copy(kName.begin(), kName.end(), session.deviceName.get());
  session.deviceName[kName.size()] = 0;
  return true;
}

[[nodiscard]] bool IsRebuilt(const ByteVector& packet) {
  return packet.size() > 16 && packet[0] == 0x10 && packet[6] == 0x2F && packet[7] == 0x41 &&
         packet[16] >= 254;
}

}  // namespace

std::array<std::vector<sDelivery>, 2> ScriptOf(eWay way) {
  return {FirstConnection(way), SecondConnection()};
}

std::vector<sFileItem> ComparableItems(std::vector<sFileItem> items) {
  for (sFileItem& item : items) {
    if (IsRebuilt(item.packet)) {
      std::fill_n(item.packet.begin() + 8, 8, std::uint8_t{0});
    }
  }
  return items;
}

cScriptedModem::cScriptedModem(eWay way)
    : script(ScriptOf(way)), eventReply(Plain({{kPacket, {0x60, 0, 0}}})) {
  for (std::uint8_t number = 0; number < 64; ++number) {
    replies.push_back(Plain({{kPacket, {0x13, number}}}));
  }
}

void cScriptedModem::Connect(std::size_t connection) {
  traffic = &script.at(connection);
  trafficSent = 0;
  pendingFirst = pendingEnd = 0;
  isTrafficsTurn = false;
}

void cScriptedModem::TakeFrame(std::span<const std::uint8_t> frame) {
  ++framesTaken;
  if (expected != nullptr) {
    const ByteVector packet = PacketIn(frame);
    expected->push_back({{packet[0] == 0x4B ? kSubsystemRequest : kRequest, packet}});
  }
  pending.at(pendingEnd++) = frame[0] == 0x60 ? &eventReply : &replies.at(repliesSent++);
}

std::span<const std::uint8_t> cScriptedModem::Next() {
  const bool hasTraffic = trafficSent < traffic->size();
  const bool hasReply = pendingFirst < pendingEnd;
  if (!hasTraffic && !hasReply) {
    return {};
  }
  const bool sendsTraffic = hasTraffic && (isTrafficsTurn || !hasReply);
  const sDelivery& delivery =
      sendsTraffic ? (*traffic)[trafficSent++] : *pending.at(pendingFirst++);
  isTrafficsTurn = !sendsTraffic || delivery.goesOn;
  Expect(delivery.items);
  return delivery.bytes;
}

void cScriptedModem::Expect(const std::vector<sExpectedItem>& items) {
  if (expected != nullptr) {
    expected->insert(expected->end(), items.begin(), items.end());
  }
}

class cWholeCapture::cTransport final : public cIO {
 public:
  cTransport(std::uint32_t kindOfTransport, cScriptedModem& answering)
      : cIO(kindOfTransport), modem(answering) {}
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    modem.TakeFrame({static_cast<const std::uint8_t*>(data), length});
    return true;
  }

 private:
  cScriptedModem& modem;
};

class cWholeCapture::cPort final : public cReaderPort {
 public:
  explicit cPort(cScriptedModem& answering) : modem(answering) {}
  [[nodiscard]] bool HasEnded() const override { return false; }
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    modem.TakeFrame({static_cast<const std::uint8_t*>(data), length});
    return true;
  }

 private:
  cScriptedModem& modem;
};

// Makes readers that the course runs itself.
class cWholeCapture::cScriptedTraffic final : public cTraffic {
 public:
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession&) override {
    class cReader final : public cReaderThread {
      [[nodiscard]] bool HasEnded() const override { return true; }
      void WaitForEnd() override {}
    };
    try {
      return std::make_unique<cReader>();
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
  void StartDataDelivery(cCaptureSession& session) override { OnDeviceData(&session, nullptr); }
};

cWholeCapture::cWholeCapture(eWay chosen) : modem(chosen), way(chosen) {}

bool cWholeCapture::Run(const Start& start) {
  cScriptedTraffic traffic;
  std::optional<cCaptureSession> session;
  bool started = false;
  try {
    session.emplace(traffic);
    started = Capture(*session, start);
  } catch (const std::bad_alloc&) {
    started = false;  // as the session's thread takes it: there is no device and no request yet
  }
  if (session) {
    if (whenStopped) {
      whenStopped(*session);
    }
    ClearRequests(*session);
  }
  return started;
}

bool cWholeCapture::Capture(cCaptureSession& session, const Start& start) {
  Expect("Corvane version 1.0", eTold::StartOnly);
  if (!start(session)) {
    session.Close();
    return false;
  }
  if (!NameDevice(session)) {
    session.capturing = false;
    session.Close();
    return false;
  }
  cTransport transport(way == eWay::SerialPort ? kSerialPort : kMobileBroadband, modem);
  session.transport = TransportOwner(&transport, {[](cIO*) {}});
  RunConnection(session, 0);
  RunConnection(session, 1);
  WaitForReaders(session);
  session.transport = nullptr;
  session.capturing = false;
  if (beforeEnd) {
    beforeEnd(session);
  }
  session.Close();
  return true;
}

void cWholeCapture::RunConnection(cCaptureSession& session, std::size_t number) {
  modem.Connect(number);
  Expect("Port COM3 connected", eTold::PortText);
  OnConnected(&session);
  if (way == eWay::SerialPort) {
    ReadPort(session);
  } else {
    DeliverData(session);
  }
  Expect("Port COM3 disconnected", eTold::PortText);
  OnDisconnected(&session);
}

void cWholeCapture::ReadPort(cCaptureSession& session) {
  if (session.readerThread == nullptr) {
    return;
  }
  cPort port(modem);
  cReaderLoop loop(session, &port);
  for (;;) {
    loop.Pump();
    const std::span<const std::uint8_t> bytes = modem.Next();
    if (bytes.empty()) {
      return;
    }
    std::copy(bytes.begin(), bytes.end(), loop.Room().begin());
    loop.Received(bytes.size());
    if (behindDelivery) {
      behindDelivery();
    }
  }
}

void cWholeCapture::DeliverData(cCaptureSession& session) {
  for (auto bytes = modem.Next(); !bytes.empty(); bytes = modem.Next()) {
    // As the transport does: a block that finds no memory is dropped.
    const cBufferReference data(MakeBuffer(bytes, kOriginDevice));
    if (data) {
      OnDeviceData(&session, data.Get());
    }
    if (behindDelivery) {
      behindDelivery();
    }
  }
}

void cWholeCapture::Expect(std::string_view text, eTold told) {
  if (modem.expected != nullptr) {
    modem.expected->push_back({TextItem(text), told});
  }
}

bool StartWithFilters(cCaptureSession& session, std::unique_ptr<std::ofstream> file) {
  session.unwrapsSubscriptions = true;
  return StartCapture(session, std::move(file), {1, 9}, {0x412F, 0xB0C0}, {{5, {0}}});
}

const std::string_view kConfigurationText =
    "<EventIDs>1,9</EventIDs><LogCodes>412F,B0C0</LogCodes><MessageLevels>5/0</MessageLevels>"
    "<MultiSim>unwrap</MultiSim>";

}  // namespace corvane
