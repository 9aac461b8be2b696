#include "capture/session_fixture.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "diag/hdlc.h"
#include "support/capture_decoder.h"

namespace corvane {

namespace {

class cFakeReaderThread final : public cReaderThread {
 public:
  explicit cFakeReaderThread(std::shared_ptr<sFakeReader> told) : reader(std::move(told)) {}
  ~cFakeReaderThread() override { reader->isKnown = false; }
  [[nodiscard]] bool HasEnded() const override { return reader->hasEnded; }
  void WaitForEnd() override {
    ++reader->waits;
    reader->hasEnded = true;
  }

 private:
  std::shared_ptr<sFakeReader> reader;
};

}  // namespace

std::unique_ptr<cReaderThread> cFakeTraffic::StartReader(cCaptureSession& session) {
  readerThreads.push_back(&session);
  if (!readerThreadCanStart) {
    return nullptr;
  }
  try {
    auto reader = std::make_shared<sFakeReader>();
    readers.push_back(reader);
    return std::make_unique<cFakeReaderThread>(std::move(reader));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void cFakeTraffic::StartDataDelivery(cCaptureSession& session) {
  dataDeliveries.push_back(&session);
  OnDeviceData(&session, nullptr);
}

const std::vector<ByteVector> kStartUpPackets = {
    {0x1D},
    {0x00},
    {0x7C},
    {0x1C},
    {0x0C},
    {0x63},
    {0x4B, 0x0F, 0x00, 0x00},
    {0x4B, 0x09, 0x00, 0x00},
    {0x4B, 0x08, 0x00, 0x00},
    {0x4B, 0x08, 0x01, 0x00},
    {0x4B, 0x04, 0x00, 0x00},
    {0x4B, 0x04, 0x0F, 0x00},
    {0x60, 0x01},
};

ByteVector ReadFileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  return {text.begin(), text.end()};
}

void WriteFileText(const std::string& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::ostream& operator<<(std::ostream& stream, const sFileItem& item) {
  stream << "type " << item.type << ":" << std::hex << std::setfill('0');
  for (const std::uint8_t byte : item.packet) {
    stream << ' ' << std::setw(2) << unsigned{byte};
  }
  return stream << std::dec;
}

std::vector<sFileItem> ReadItems(const std::string& path) {
  std::vector<sFileItem> items;
  for (const sDecodedItem& item : DecodeCapture(ReadFileBytes(path)).Items()) {
    items.push_back({item.type, item.packet});
  }
  return items;
}

bool IsClosedCapture(const std::string& path) {
  const ByteVector file = ReadFileBytes(path);
  const sDecodedCapture capture = DecodeCapture(file);
  if (!HasTrailer(file)) {
    return false;
  }
  return DecodeEnd(file, capture.blocks.size()).itemCount == capture.Items().size();
}

ByteVector Framed(const ByteVector& packet) {
  const sSharedBuffer buffer(packet.data(), static_cast<std::int32_t>(packet.size()),
                             kOriginDevice);
  const OwnedBuffer frame = FramePacket(&buffer);
  return {frame->Bytes().begin(), frame->Bytes().end()};
}

ByteVector Joined(const std::vector<ByteVector>& parts) {
  ByteVector joined;
  for (const ByteVector& part : parts) {
    joined.insert(joined.end(), part.begin(), part.end());
  }
  return joined;
}

ByteVector PacketIn(std::span<const std::uint8_t> frame) {
  ByteVector packet;
  for (std::size_t at = 0; at < frame.size() && frame[at] != 0x7E; ++at) {
    const bool isEscaped = frame[at] == 0x7D;
    at += isEscaped ? 1 : 0;
    packet.push_back(static_cast<std::uint8_t>(isEscaped ? frame[at] ^ 0x20 : frame[at]));
  }
  packet.resize(packet.size() - 2);
  return packet;
}

ByteVector BadFrame(const ByteVector& packet) {
  ByteVector frame = Framed(packet);
  frame[0] ^= 0x01;
  return frame;
}

sFileItem TextItem(std::string_view text) {
  ByteVector packet = {0xC0, 0xFF, 0xFF, 0xFF};
  for (const char character : text) {
    packet.push_back(static_cast<std::uint8_t>(character));
    packet.push_back(0);
  }
  packet.insert(packet.end(), {0, 0});
  return {7, packet};
}

sFileItem InformationItem() {
  return {7, {0xC0, 0xFF, 0xFF, 0xFF, 'C', 0,   'o', 0,   'r', 0,   'v', 0,   'a', 0,   'n',
              0,    'e',  0,    ' ',  0,   'v', 0,   'e', 0,   'r', 0,   's', 0,   'i', 0,
              'o',  0,    'n',  0,    ' ', 0,   '1', 0,   '.', 0,   '0', 0,   0,   0}};
}

bool cFakeTransport::Write(const void* data, std::uint32_t length) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  ++writeCount;
  if (keepsWrites) {
    writes.emplace_back(bytes, bytes + length);
  }
  if (duringWrite) {
    duringWrite();
  }
  return writeResult;
}

cPrinted::cPrinted() { testing::internal::CaptureStdout(); }

cPrinted::~cPrinted() {
  if (!taken) {
    std::ignore = Take();
  }
}

std::string cPrinted::Take() {
  taken = true;
  return testing::internal::GetCapturedStdout();
}

cSessionTest::cSessionTest() {
  NameDevice("COM3");
  UseTransport(serial);
}

cSessionTest::~cSessionTest() { ClearRequests(session); }

void cSessionTest::UseTransport(cIO& transport) {
  session.transport = TransportOwner(&transport, {[](cIO*) {}});
}

void cSessionTest::NameDevice(std::string_view name) {
  session.deviceName.reset(static_cast<char*>(std::calloc(name.size() + 1, 1)));
  std::memcpy(session.deviceName.get(), name.data(), name.size());
}

std::unique_ptr<std::ofstream> cSessionTest::OpenFile() const {
  return std::make_unique<std::ofstream>(capturePath,
                                         std::ios::out | std::ios::trunc | std::ios::binary);
}

void cSessionTest::AttachFile() {
  session.Close();  // before the file is emptied, which may be the same
  session.Attach(OpenFile());
}

void cSessionTest::Start(const EventIdSet& eventIds, const LogCodeSet& logCodes,
                         const MessageLevelMap& messageLevels) {
  const cPrinted printed;
  ASSERT_TRUE(StartCapture(session, OpenFile(), eventIds, logCodes, messageLevels));
}

void cSessionTest::Push(const ByteVector& request) {
  ASSERT_TRUE(
      PushRequest(session.requestQueue, cBufferReference(MakeBuffer(request, kOriginLibrary))));
}

std::vector<ByteVector> cSessionTest::Queued() {
  std::vector<ByteVector> queued;
  for (const cBufferReference& request : session.requestQueue.entries) {
    queued.emplace_back(request->Bytes().begin(), request->Bytes().end());
  }
  return queued;
}

}  // namespace corvane
