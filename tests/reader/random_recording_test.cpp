#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <tuple>
#include <utility>

#include "capture/failing_file.h"
#include "capture/isf/store.h"
#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "support/capture_decoder.h"
#include "support/controllable_clock.h"
#include "support/failing_allocation.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

constexpr std::uint32_t kRefused = 160;
constexpr std::uint32_t kFailed = 9;
constexpr std::uint32_t kNoMemory = 8;

// --- What a modem and the library send

class cRandomPackets {
 public:
  explicit cRandomPackets(std::uint32_t seed) : random(seed) {}

  [[nodiscard]] std::uint32_t Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(random()) % bound;
  }

  // `size` random bytes behind `start`.
  [[nodiscard]] ByteVector Behind(ByteVector start, std::uint32_t size) {
    while (size-- > 0) {
      start.push_back(static_cast<std::uint8_t>(random()));
    }
    return start;
  }

  // Mostly short; now and then of any length that a packet can have, and just above.
  [[nodiscard]] std::uint32_t Length() {
    switch (Below(50)) {
      case 0:
        return 16639 + Below(3);
      case 1:
        return Below(16640);
      default:
        return 1 + Below(60);
    }
  }

  [[nodiscard]] ByteVector Log() {
    constexpr unsigned kCodes[] = {0x1004, 0x1091, 0x10D7, 0x138B, 0x138A, 0x1048, 0x141C,
                                   0x412F, 0x412F, 0x512F, 0x713A, 0xA103, 0x4125, 0xB0C0};
    ByteVector packet = Hex("10 00");
    Append(packet, random(), 4);
    Append(packet, kCodes[Below(std::size(kCodes))], 2);
    packet = Behind(std::move(packet), Length());
    packet.resize(Below(8) == 0 ? 1 + Below(15) : packet.size());
    return packet;
  }

  // A report of up to five events of every form, which may break off.
  [[nodiscard]] ByteVector EventReport() {
    ByteVector events;
    for (std::uint32_t left = Below(6); left > 0; --left) {
      const std::uint32_t form = Below(4);
      const bool isShort = Below(2) == 0;
      Append(events, Below(0x1000) | form << 13 | (isShort ? 0x8000U : 0U), 2);
      events = Behind(std::move(events), isShort ? 2 : 8);
      if (form == 3) {
        const std::uint32_t count = Below(256);
        events.push_back(static_cast<std::uint8_t>(count));
        events = Behind(std::move(events), count);
      } else {
        events = Behind(std::move(events), form);
      }
    }
    if (Below(6) == 0 && !events.empty()) {
      events.pop_back();
    }
    ByteVector report = {static_cast<std::uint8_t>(Below(2) == 0 ? 0x60 : 0x74)};
    Append(report, events.size(), 2);
    report.insert(report.end(), events.begin(), events.end());
    return report;
  }

  // A packet that the modem had kept, in a get-item response; or in several, one in the other.
  [[nodiscard]] ByteVector GetItemResponse() {
    ByteVector response = Hex("4B 25 08 00 00 00 00 00 00");
    Append(response, Below(8) == 0 ? 1 : 0, 4);
    const ByteVector kept = Below(3) == 0 ? GetItemResponse() : OfDevice();
    response.insert(response.end(), kept.begin(), kept.end());
    return response;
  }

  [[nodiscard]] ByteVector OfDevice() {
    constexpr std::uint8_t kMessages[] = {0x1F, 0x79, 0x92};
    switch (Below(8)) {
      case 0:
      case 1:
        return Log();
      case 2:
        return EventReport();
      case 3:
        return Hex("60 00 00");
      case 4:
        return Behind({kMessages[Below(3)]}, Length());
      case 5:
        return Behind({static_cast<std::uint8_t>(Below(2) == 0 ? 0x4B : 0x80)}, Length());
      case 6:
        return GetItemResponse();
      default:
        return Behind({}, Below(30) == 0 ? 0 : Length());
    }
  }

  // The library's requests; some of them teach the store a technology or a cell.
  [[nodiscard]] ByteVector OfLibrary() {
    switch (Below(4)) {
      case 0:
        return Behind({0x63}, 27);
      case 1:
        return Behind(Hex("4B 09 00 00"), 3);
      case 2:
        return Behind(Hex("60 0B 00 03 01"), 9);
      default:
        return Behind({static_cast<std::uint8_t>(Below(2) == 0 ? 0x80 : 0x73)}, Length());
    }
  }

  // How far the clock moves, in milliseconds: seldom over a bound of the time field, or back.
  [[nodiscard]] std::int64_t ClockStep() {
    constexpr std::int64_t kSteps[] = {254, 255, 65534, 65535, 4294967294, 4294967295, -1, -70000};
    return Below(20) == 0 ? kSteps[Below(std::size(kSteps))] : std::int64_t{Below(20)};
  }

 private:
  std::mt19937 random;
};

// --- The recording

// Whether rebuilt packets come out of signalling logs: a failing allocation is meant for the store.
bool canRebuild = true;

// Stands in for the reassembly: of every third log item, one or two packets are rebuilt.
void Rebuild(SibAssemblyMap& /*assemblies*/, const sSharedBuffer& item, std::uint64_t /*time*/,
             cRebuiltPacketSink& sink) {
  const bool isRebuilt = item.size > 16 && item.data[16] >= 254;
  if (!canRebuild || isRebuilt || item.size % 3 != 0) {
    return;
  }
  ByteVector packet = Hex("10 00 15 00 15 00 2F 41 00 00 00 00 00 00 00 00 FE 00 02 00 01 02");
  for (std::uint32_t count = 1 + item.size % 2; count > 0; --count) {
    sink.AddRebuiltPacket(MakeBuffer(packet, kOriginDevice));
  }
}

class RandomRecordingTest : public ::testing::TestWithParam<std::uint32_t> {
 protected:
  RandomRecordingTest() {
    SetFileTime(kClockStart);
    auto opened = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    stream = opened.get();
    store.Attach(std::move(opened));
  }
  ~RandomRecordingTest() override { store.Close(); }

  // Adds a random packet. Returns the store's result.
  std::uint32_t AddAny() {
    AdvanceClock(packets.ClockStep());
    if (packets.Below(40) == 0) {
      return Add(TextItem("Port COM7 connected"), kOriginLibrary, 7);
    }
    return packets.Below(6) == 0 ? Add(packets.OfLibrary(), kOriginLibrary)
                                 : Add(packets.OfDevice(), kOriginDevice);
  }

  // Adds a packet that the store needs memory for, and that it may not get.
  std::uint32_t AddWithoutMemory() {
    canRebuild = false;
    const eHeap heap = packets.Below(2) == 0 ? eHeap::Blocks : eHeap::New;
    failedAllocation = {heap, 1 + packets.Below(6)};
    const std::uint32_t result = Add(
        packets.Below(2) == 0 ? packets.EventReport() : packets.GetItemResponse(), kOriginDevice);
    failedAllocation = {};
    canRebuild = true;
    return result;
  }

  std::uint32_t Add(const ByteVector& packet, std::uint32_t origin,
                    std::uint32_t type = kAutomaticType) {
    const cBufferReference item(std::make_unique<sSharedBuffer>(
        packet.data(), static_cast<std::int32_t>(packet.size()), origin));
    const std::lock_guard guard(store.storeLock);
    if (!failedAllocation) {
      return store.AddItem(item.Get(), type);
    }
    cAllocationFailure failure(failedAllocation->first, failedAllocation->second);
    return store.AddItem(item.Get(), type);
  }

  [[nodiscard]] ByteVector Contents() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Opens the bytes and compares each item with what the independent decoder makes of them.
  [[nodiscard]] static eCaptureState ReadAndCompare(const ByteVector& bytes) {
    const sOpened opened = OpenBytes(bytes);
    if (opened.file == nullptr) {
      ADD_FAILURE() << opened.error.Text();
      return eCaptureState::Damaged;
    }
    EXPECT_EQ(ErrorOf(bytes), "");
    const std::vector<sDecodedItem> expected = DecodeCapture(bytes).Items();
    EXPECT_EQ(opened.file->ItemCount(), expected.size());
    EXPECT_EQ(opened.file->PassedOver(), 0U);
    sCaptureItem item;
    for (std::size_t number = 0; number < expected.size(); ++number) {
      EXPECT_EQ(opened.file->ReadItem(number, item), std::nullopt);
      EXPECT_EQ(item.type, expected[number].type);
      EXPECT_EQ(item.time, expected[number].time);
      EXPECT_EQ(item.extra, expected[number].extra);
      EXPECT_EQ(item.bytes, expected[number].packet);
      EXPECT_EQ(item.offset, expected[number].position);
    }
    return opened.file->State();
  }

  cTempDirectory folder;
  std::string path = folder.Path("random.isf");
  std::ofstream* stream = nullptr;  // the store's, until it is closed
  cISFStore store{{.now = ControllableFileTime, .offerLogItem = Rebuild}};
  cRandomPackets packets{GetParam()};
  std::optional<std::pair<eHeap, std::uint32_t>> failedAllocation;
};

// The seeds whose number ends in 0 go over the end of a block.
[[nodiscard]] std::uint32_t ItemsOfSeed(std::uint32_t seed) { return seed % 10 == 0 ? 7000 : 800; }

TEST_P(RandomRecordingTest, WhatTheStoreClosesIsComplete) {
  // Without memory for its first block a file has none, until there is memory.
  failedAllocation = {eHeap::New, 1};
  EXPECT_EQ(Add(Hex("29 01"), kOriginDevice), kNoMemory);
  failedAllocation = {};
  std::set<std::uint32_t> results;
  for (std::uint32_t number = 0; number < ItemsOfSeed(GetParam()); ++number) {
    results.insert(packets.Below(5) == 0 ? AddWithoutMemory() : AddAny());
  }
  store.Close();
  EXPECT_EQ(results, (std::set<std::uint32_t>{0, kNoMemory, kRefused}));
  const ByteVector file = Contents();
  EXPECT_EQ(ReadAndCompare(file), eCaptureState::Complete);

  std::set<unsigned> types;
  for (const sDecodedItem& item : DecodeCapture(file).Items()) {
    types.insert(item.type);
  }
  EXPECT_EQ(types, (std::set<unsigned>{0, 1, 2, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_P(RandomRecordingTest, WhatAFailedWriteLeavesIsUnclosedAndGood) {
  cFailingFile failing(*stream);
  for (std::uint32_t left = packets.Below(ItemsOfSeed(GetParam())); left > 0; --left) {
    std::ignore = AddAny();
  }
  failing.FailWrite(1 + packets.Below(4));
  while (!failing.hasFailed) {
    std::ignore = AddAny();
  }
  EXPECT_EQ(Add(Hex("1D"), kOriginLibrary), kFailed);
  store.Close();
  ByteVector file = Contents();
  EXPECT_EQ(ReadAndCompare(file), eCaptureState::Unclosed);

  // A part of a record, as a full disk takes it, which ends as a trailer does.
  file = packets.Behind(std::move(file), packets.Below(40));
  Append(file, 0xAB603107, 4);
  EXPECT_EQ(ReadAndCompare(file), eCaptureState::Unclosed);
}

// Within a block: what the first item of a block leaves is another matter, see
// store_round_trip_test.cpp.
TEST_P(RandomRecordingTest, WhatAFailedSeekWithinABlockLeavesIsGood) {
  cFailingFile failing(*stream);
  for (std::uint32_t left = 1 + packets.Below(ItemsOfSeed(GetParam())); left > 0; --left) {
    std::ignore = AddAny();
  }
  failing.FailHandOver(1 + packets.Below(12));
  while (!failing.hasFailed) {
    std::ignore = AddAny();
  }
  // The end of the file could not be found out, which costs one item; or the stream has failed.
  const bool goesOn = Add(Hex("1D"), kOriginLibrary) == 0;
  store.Close();
  EXPECT_EQ(ReadAndCompare(Contents()), goesOn ? eCaptureState::Complete : eCaptureState::Unclosed);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRecordingTest, ::testing::Range(1U, 31U));

}  // namespace
}  // namespace corvane
