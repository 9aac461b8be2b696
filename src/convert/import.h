#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capture/isf/store.h"
#include "convert/item_times.h"
#include "convert/raw_stream.h"
#include "diag/shared_buffer.h"

namespace corvane {

// What becomes of packets in the wrappers of multi-SIM modems.
enum class eWrapped : std::uint8_t {
  Open,  // the packet inside is imported; text items tell its subscription
  Drop,  // they are left out
};

struct sImportOptions {
  // What the stream is called in the capture, as "Imported from <name>": 1 to 8,000 characters of
  // UTF-8.
  std::string name;
  eWrapped wrapped = eWrapped::Open;
};

struct sBadFrame {
  std::uint64_t offset = 0;  // of its first byte in the stream
  eFrameFault fault = eFrameFault::Checksum;
};

// What became of a stream.
struct sImportReport {
  // The first bad frames are kept; the rest is only counted.
  static constexpr std::size_t kMostFrames = 10;

  std::uint64_t packets = 0;  // in good frames
  std::uint64_t items = 0;    // in the capture, texts included
  std::uint64_t opened = 0;   // packets taken out of wrappers, whatever became of them
  std::uint64_t dropped = 0;  // packets left out because of their wrappers

  std::uint64_t badFrames = 0;
  std::vector<sBadFrame> firstBadFrames;

  // What a capture cannot hold: packets whose first byte is above 0x92, by that byte, those that
  // are too long, and event reports that break off midway.
  std::array<std::uint64_t, 256> refused{};
  std::uint64_t tooLong = 0;
  std::uint64_t brokenReports = 0;

  // Items whose times are not their own (item_times.h says more).
  std::uint64_t nonsensicalTimes = 0;
  std::uint64_t unstamped = 0;
  std::uint64_t undated = 0;

  // The times of the first and the last item, FILETIME values; 0 without packets.
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;
};

// Makes a capture file of a raw DIAG stream. The packets become what the recorder would have made
// of them: items of the same types, event reports as their single events, get-item responses
// followed by the packet inside; but system information is not rebuilt. Item times are those of the
// packets (item_times.h). The first item is a text that names the stream.
//
// Memory is bounded, but for the 16 bytes that each 8,192 items take in the store.
class cImport final : private cRawPacketSink {
 public:
  // `file` is open for writing and empty.
  cImport(std::unique_ptr<std::ofstream> file, sImportOptions chosen);
  cImport(const cImport&) = delete;
  cImport& operator=(const cImport&) = delete;
  ~cImport() = default;

  // The next bytes of the stream. Returns the Win32 error code of the first item that could not be
  // written (platform/error_codes.h), after which nothing more is taken, or 0.
  [[nodiscard]] std::uint32_t Feed(std::span<const std::uint8_t> bytes);

  // The stream has ended: writes what waited, and closes the file. To be called once. Returns as
  // Feed does; the writing of the file's end is not looked at: read the file back.
  [[nodiscard]] std::uint32_t Finish();

  // Complete after Finish.
  [[nodiscard]] const sImportReport& Report() const { return report; }

 private:
  // A packet whose items wait for their times.
  struct sWaiting {
    cBufferReference packet;
    std::optional<std::uint32_t> subscription;
    std::size_t items = 0;  // 1 or more
  };

  // So much may wait, in packets and in bytes.
  static constexpr std::size_t kMostWaiting = 4096;
  static constexpr std::size_t kMostWaitingBytes = std::size_t{1} << 20;

  void OnPacket(std::uint64_t offset, std::span<const std::uint8_t> packet) override;
  void OnBadFrame(std::uint64_t offset, eFrameFault fault) override;

  // Counts and refuses what the store would refuse.
  [[nodiscard]] bool IsRefused(std::span<const std::uint8_t> packet);
  // Adds the stamps of the items that the store will make of `packet`; returns how many.
  [[nodiscard]] std::size_t AddStamps(cBufferReference packet);
  [[nodiscard]] std::size_t AddEventStamps(sSharedBuffer& eventReport);
  void WriteDecided();
  void Write(const sWaiting& waiting);
  void WriteText(std::string_view text, std::uint64_t time);
  void Record(sSharedBuffer& item, std::uint32_t type, std::vector<std::uint64_t> itemTimes);
  [[nodiscard]] std::uint64_t NextTime();

  const sImportOptions options;
  sImportReport report;
  std::uint32_t error = 0;
  cRawStream stream{*this};

  cItemTimes times;
  std::deque<sWaiting> queue;
  std::size_t queuedBytes = 0;

  // Of the items that are being recorded, in order. The store asks for one an item.
  std::vector<std::uint64_t> recordTimes;
  std::size_t recordTimesTaken = 0;
  std::optional<std::uint32_t> subscription;  // that the capture tells so far
  cISFStore store;
};

}  // namespace corvane
