#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "capture/session.h"
#include "capture/transport.h"
#include "filters/mask_lists.h"
#include "support/bytes.h"
#include "support/temp_directory.h"

// What the tests of the capture session share: a session with a capture file in a folder of its
// own, a transport that remembers what was written to it, and a traffic that remembers what was
// started.
namespace corvane {

[[nodiscard]] ByteVector ReadFileBytes(const std::string& path);
void WriteFileText(const std::string& path, std::string_view text);

// One item of a capture file.
struct sFileItem {
  std::uint32_t type;
  ByteVector packet;

  friend bool operator==(const sFileItem&, const sFileItem&) = default;
};
std::ostream& operator<<(std::ostream& stream, const sFileItem& item);

// The items of a capture file, which may still be growing.
[[nodiscard]] std::vector<sFileItem> ReadItems(const std::string& path);

// Whether the file ends with a trailer that counts its items, as it does once the capture was
// closed.
[[nodiscard]] bool IsClosedCapture(const std::string& path);

// The packet in its frame, and frames one after the other.
[[nodiscard]] ByteVector Framed(const ByteVector& packet);
[[nodiscard]] ByteVector Joined(const std::vector<ByteVector>& parts);
// The packet that a frame holds, without a look at its CRC.
[[nodiscard]] ByteVector PacketIn(std::span<const std::uint8_t> frame);
// Framed, with a CRC that does not fit.
[[nodiscard]] ByteVector BadFrame(const ByteVector& packet);

// A text item: header, 16-bit characters, terminator. The information item is that of
// "Corvane version 1.0".
[[nodiscard]] sFileItem TextItem(std::string_view text);
[[nodiscard]] sFileItem InformationItem();

class cFakeTransport : public cIO {
 public:
  using cIO::cIO;

  bool Write(const void* data, std::uint32_t length) override;
  bool IsOpen() const override { return open; }

  bool open = false;
  bool writeResult = true;
  std::atomic<std::uint32_t> writeCount = 0;
  bool keepsWrites = true;  // false: `writes` stays empty, and a write needs no memory
  std::vector<ByteVector> writes;
  std::function<void()> duringWrite;
};

// A reader that the session has started: runs until a test has it end.
struct sFakeReader {
  bool hasEnded = false;
  int waits = 0;
  bool isKnown = true;  // false once the session has forgotten it, which closes its handle
};

// Remembers what was started.
class cFakeTraffic final : public cTraffic {
 public:
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession& session) override;
  void StartDataDelivery(cCaptureSession& session) override;

  std::vector<cCaptureSession*> readerThreads;
  std::vector<std::shared_ptr<sFakeReader>> readers;  // in the order of their starts
  std::vector<cCaptureSession*> dataDeliveries;
  bool readerThreadCanStart = true;
};

// Collects the standard output of this process from its construction to Take.
class cPrinted {
 public:
  cPrinted();
  ~cPrinted();
  cPrinted(const cPrinted&) = delete;
  cPrinted& operator=(const cPrinted&) = delete;

  [[nodiscard]] std::string Take();

 private:
  bool taken = false;
};

class cSessionTest : public testing::Test {
 protected:
  cSessionTest();
  ~cSessionTest() override;

  void NameDevice(std::string_view name);
  // Gives the session a transport, which outlives the session's use of it.
  void UseTransport(cIO& transport);

  // Opens a capture file and attaches it, without starting the capture.
  void AttachFile();
  // Starts the capture into the file, with what it prints discarded.
  void Start(const EventIdSet& eventIds = {}, const LogCodeSet& logCodes = {},
             const MessageLevelMap& messageLevels = {});

  [[nodiscard]] std::unique_ptr<std::ofstream> OpenFile() const;
  [[nodiscard]] std::vector<sFileItem> Items() const { return ReadItems(capturePath); }

  // A request in the queue, which keeps it.
  void Push(const ByteVector& request);
  // The bytes of the queued requests, in order.
  [[nodiscard]] std::vector<ByteVector> Queued();

  cTempDirectory folder;
  std::string capturePath = folder.Path("capture.isf");
  cFakeTransport serial{kSerialPort};
  cFakeTransport broadband{kMobileBroadband};
  cFakeTraffic traffic;
  cCaptureSession session{traffic};
};

// The 13 requests that open every connection.
extern const std::vector<ByteVector> kStartUpPackets;

}  // namespace corvane
