#include "capture/session_fixture.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "capture/connection.h"
#include "capture/data_delivery.h"
#include "capture/isf/layout.h"
#include "capture/reader_thread.h"
#include "capture/receive_path.h"
#include "diag/hdlc.h"
#include "diag/little_endian.h"

namespace corvane {

sTrafficStarts gTrafficStarts;

bool StartReaderThread(cCaptureSession& session) {
  gTrafficStarts.readerThreads.push_back(&session);
  return gTrafficStarts.readerThreadCanStart;
}

void StartDataDelivery(cCaptureSession& session) {
  gTrafficStarts.dataDeliveries.push_back(&session);
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

cTemporaryFolder::cTemporaryFolder() {
  std::random_device random;
  do {
    path = std::filesystem::temp_directory_path() / ("corvane-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(path));
}

cTemporaryFolder::~cTemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string cTemporaryFolder::File(std::string_view name) const { return (path / name).string(); }

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

namespace {

// The item that the directory entry at `entry` of the block at `block` tells of; none when the
// entry is not used.
std::optional<sFileItem> ReadItem(const ByteVector& file, std::size_t block, std::size_t entry) {
  const std::size_t length = Load16(&file[entry + isf::kEntryLength]);
  if (length == 0) {
    return std::nullopt;
  }
  const std::uint32_t flags = file[entry + isf::kEntryFlags];
  const std::size_t timeSize = std::size_t{1} << ((flags >> isf::kFlagsWidthShift) & 3);
  const std::size_t extraSize = (flags & isf::kFlagsExtraField) != 0 ? 4 : 0;
  const std::size_t start =
      block + isf::kBlockSize + Load32(&file[entry + isf::kEntryPosition]) + timeSize + extraSize;
  if (start + length > file.size()) {
    throw std::runtime_error("an item lies outside the file");
  }
  const auto first = file.begin() + static_cast<std::ptrdiff_t>(start);
  return sFileItem{flags & isf::kFlagsTypeMask,
                   ByteVector(first, first + static_cast<std::ptrdiff_t>(length))};
}

}  // namespace

std::vector<sFileItem> ReadItems(const std::string& path) {
  const ByteVector file = ReadFileBytes(path);
  std::vector<sFileItem> items;
  if (file.size() == isf::kHeaderSize) {
    return items;
  }
  for (std::size_t block = isf::kHeaderSize; block != 0;) {
    if (block + isf::kBlockSize > file.size()) {
      throw std::runtime_error("a block is cut off");
    }
    for (std::size_t i = 0; i < isf::kItemsPerBlock; ++i) {
      auto item = ReadItem(file, block, block + i * isf::kDirectoryEntrySize);
      if (!item) {
        break;
      }
      items.push_back(*std::move(item));
    }
    block = static_cast<std::size_t>(Load64(&file[block + isf::kNextBlockOffset]));
  }
  return items;
}

bool IsClosedCapture(const std::string& path) {
  const ByteVector file = ReadFileBytes(path);
  return file.size() >= isf::kHeaderSize + isf::kTrailerSize &&
         Load32(&file[file.size() - 4]) == isf::kTrailerMagic;
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
  return {isf::kInformationItem, packet};
}

sFileItem InformationItem() {
  return {isf::kInformationItem,
          {0xC0, 0xFF, 0xFF, 0xFF, 'C', 0,   'o', 0,   'r', 0,   'v', 0,   'a', 0,   'n',
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
  gTrafficStarts = {};
  NameDevice("COM3");
  session.transport = &serial;
}

cSessionTest::~cSessionTest() { ClearRequests(session); }

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
  auto* const buffer =
      new sSharedBuffer(request.data(), static_cast<std::int32_t>(request.size()), kOriginLibrary);
  AddRef(buffer);
  ASSERT_TRUE(PushRequest(session.requestQueue, buffer));
}

std::vector<ByteVector> cSessionTest::Queued() {
  std::vector<ByteVector> queued;
  for (const sSharedBuffer* request : session.requestQueue.entries) {
    queued.emplace_back(request->Bytes().begin(), request->Bytes().end());
  }
  return queued;
}

}  // namespace corvane
