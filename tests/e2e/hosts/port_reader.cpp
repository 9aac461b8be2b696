// What recording a COM port costs at least: reads the port as the library's reader does, and either
// writes nothing or makes the three positioned writes that each packet costs.
//
//   port_reader DEVICE read BYTES           reads so many bytes
//   port_reader DEVICE write BYTES OUTPUT   the same, and writes the packets
//
// Says "ready" once the port is open, and "done" at the end; then it waits for the end of its
// input. A packet ends in front of the CRC and the flag; no byte of it may need an escape. The
// places of the writes are those of a capture file, whose first block begins at 0.
#include <windows.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "e2e/hosts/command_lines.h"
#include "platform/windows_handle.h"

namespace {

using corvane::FileHandle;
using corvane::test::Say;

constexpr std::size_t kBufferSize = 8192;
constexpr std::uint64_t kBlockItems = 8192;
constexpr std::uint64_t kEntrySize = 7;
constexpr std::uint64_t kBlockSize = 57360;
constexpr std::size_t kFrameTail = 3;

[[nodiscard]] bool SetLine(HANDLE port) {
  DCB state{};
  state.DCBlength = sizeof state;
  COMMTIMEOUTS timeouts{};
  timeouts.ReadIntervalTimeout = 2;
  if (!GetCommState(port, &state) || !SetCommTimeouts(port, &timeouts)) {
    return false;
  }
  state.ByteSize = 8;
  state.fOutX = FALSE;
  state.fInX = FALSE;
  state.fErrorChar = FALSE;
  state.fAbortOnError = FALSE;
  return SetCommState(port, &state) != FALSE;
}

class cWriter {
 public:
  explicit cWriter(const char* path)
      : file(CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr)) {}

  [[nodiscard]] bool IsOpen() const { return static_cast<bool>(file); }

  [[nodiscard]] bool Add(std::span<const std::uint8_t> packet) {
    if (items % kBlockItems == 0) {
      static const std::array<std::uint8_t, kBlockSize> zeros{};
      block = end;
      end += kBlockSize;
      if (!MoveTo(block) || !Write(zeros)) {
        return false;
      }
    }
    const std::array<std::uint8_t, 1> time{};
    const std::array<std::uint8_t, kEntrySize> entry{};
    // The packet stands behind the time.
    const bool written = MoveTo(end) && Write(time) && Write(packet) &&
                         MoveTo(block + items % kBlockItems * kEntrySize) && Write(entry);
    end += 1 + packet.size();
    ++items;
    return written;
  }

 private:
  // With a position in an OVERLAPPED, Wine's server takes part in each write.
  [[nodiscard]] bool MoveTo(std::uint64_t position) {
    LARGE_INTEGER place{};
    place.QuadPart = static_cast<LONGLONG>(position);
    return SetFilePointerEx(file.Get(), place, nullptr, FILE_BEGIN) != FALSE;
  }

  [[nodiscard]] bool Write(std::span<const std::uint8_t> bytes) {
    DWORD written = 0;
    return WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                     nullptr) &&
           written == bytes.size();
  }

  FileHandle file;
  std::uint64_t block = 0;
  std::uint64_t end = 0;
  std::uint64_t items = 0;
};

// Hands the packets at the front of `bytes` to the writer. -> how many bytes their frames took
[[nodiscard]] std::size_t WritePackets(cWriter& writer, std::span<const std::uint8_t> bytes) {
  std::size_t taken = 0;
  while (const void* flag = std::memchr(bytes.data() + taken, 0x7E, bytes.size() - taken)) {
    const auto end =
        static_cast<std::size_t>(static_cast<const std::uint8_t*>(flag) - bytes.data()) + 1;
    if (!writer.Add(bytes.subspan(taken, end - kFrameTail - taken))) {
      Say("a write failed");
      std::exit(4);
    }
    taken = end;
  }
  return taken;
}

// Reads `left` bytes from the port.
[[nodiscard]] bool Run(HANDLE port, std::uint64_t left, cWriter* writer) {
  std::array<std::uint8_t, kBufferSize> buffer;
  std::size_t kept = 0;
  while (left != 0) {
    DWORD count = 0;
    if (!ReadFile(port, buffer.data() + kept, static_cast<DWORD>(buffer.size() - kept), &count,
                  nullptr) ||
        count == 0) {
      return false;
    }
    left -= count;
    if (writer != nullptr) {
      const std::span received(buffer.data(), kept + count);
      const auto rest = received.subspan(WritePackets(*writer, received));
      std::memmove(buffer.data(), rest.data(), rest.size());
      kept = rest.size();
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  corvane::test::UnbufferOutput();
  const bool writes = argc == 5 && std::string_view(argv[2]) == "write";
  if (!writes && (argc != 4 || std::string_view(argv[2]) != "read")) {
    return 2;
  }
  const FileHandle port(CreateFileA(argv[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!port || !SetLine(port.Get())) {
    return 3;
  }
  cWriter writer(writes ? argv[4] : "NUL");
  if (!writer.IsOpen()) {
    return 3;
  }
  Say("ready");
  if (!Run(port.Get(), std::strtoull(argv[3], nullptr, 10), writes ? &writer : nullptr)) {
    return 4;
  }
  Say("done");
  while (!corvane::test::NextCommand().empty()) {
  }
  return 0;
}
