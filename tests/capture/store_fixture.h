#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <vector>

#include "capture/failing_file.h"
#include "capture/isf/store.h"
#include "capture/ota_recorder.h"
#include "diag/shared_buffer.h"
#include "support/capture_decoder.h"
#include "support/temp_directory.h"

namespace corvane {

// Reaches the counters of a store.
struct sStoreCounters {
  explicit sStoreCounters(cISFStore& store);

  std::uint32_t& itemCount;
  std::uint32_t& blockItems;

  [[nodiscard]] std::size_t Blocks() const;
  // Puts so many entries before the newest one: positions 0, 1, 2 and on, and times twice as big.
  void PutBlocksBeforeTheNewest(std::size_t count);
  void DropBlocks();

 private:
  cISFStore& store;
};

// `size` bytes: `start`, then zeros.
[[nodiscard]] ByteVector Packet(std::initializer_list<std::uint8_t> start, std::size_t size);

// A log packet of `size` bytes, 16 or more, with the given log code.
[[nodiscard]] ByteVector LogPacket(std::uint16_t logCode, std::size_t size = 24);

// What a test does with one of its store's files is seen through a second stream, as another
// process sees it.
[[nodiscard]] ByteVector ReadFile(const std::filesystem::path& path);

// A store with a file attached and the clock at kClockStart (support/controllable_clock.h).
class cStoreTest : public ::testing::Test {
 protected:
  // The store offers its log items to `offerLogItem`.
  explicit cStoreTest(LogItemHandler offerLogItem = cOtaRecorder::Offer);
  void TearDown() override { store.Close(); }

  // A new binary stream over the file of that name.
  [[nodiscard]] std::unique_ptr<std::ofstream> Create(const char* name) const;
  // Attaches the file of that name; `stream` is the store's stream until it is closed.
  void Attach(const char* name);
  // Closes the first file and attaches it again, empty.
  void StartAnew();

  // Puts itself between a stream and its file, and stays there for the rest of the test.
  cFailingFile& Intercept(std::ofstream& between);

  // Adds a packet, as its callers do: under the lock, with one reference to it held.
  std::uint32_t Add(const ByteVector& packet, std::uint32_t type = kAutomaticType,
                    std::uint32_t origin = kOriginDevice);
  std::uint32_t AddRequest(const ByteVector& packet) {
    return Add(packet, kAutomaticType, kOriginLibrary);
  }

  // What the first file holds by now.
  [[nodiscard]] ByteVector Contents() const { return ReadFile(scratch.Path(kFileName)); }
  [[nodiscard]] std::vector<sDecodedItem> Items() const {
    return DecodeCapture(Contents()).Items();
  }

  static constexpr const char* kFileName = "first.isf";

  cTempDirectory scratch;
  std::vector<std::unique_ptr<cFailingFile>> interceptors;
  cISFStore store;
  std::ofstream* stream = nullptr;
};

}  // namespace corvane
