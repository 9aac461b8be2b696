#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "capture/store_fixture.h"
#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"
#include "support/controllable_clock.h"
#include "support/failing_allocation.h"

// The reassembly inside the real store, as the capture file shows it.
namespace corvane {
namespace {

constexpr std::uint64_t kGpsEpoch = 119604384000000000;
constexpr unsigned kSignallingLog = 8;

// The clock starts 13,895,616,000,000,000 steps of 100 ns behind the GPS epoch: as many times
// 1.25 ms, in the upper 48 bits.
constexpr std::uint64_t kTimestampOfStart = std::uint64_t{1'111'649'280'000} << 16;

class ProcessOtaLogItem : public cStoreTest {
 protected:
  ProcessOtaLogItem() : cStoreTest(corvane::ProcessOtaLogItem) {}

  [[nodiscard]] static ByteVector Captured(unsigned choice, const Bits& content) {
    return LogPacket(kFach, 7, BytesOf(Message(kFach, choice, content)));
  }
  [[nodiscard]] static ByteVector Rebuilt(unsigned sibType, const Bits& data,
                                          std::uint64_t timestamp = kTimestampOfStart) {
    return RebuiltPacket(kFach, 7, sibType, data, timestamp);
  }
  // Fills the first block of the file but for one item.
  void FillBlockButForOneItem() {
    for (int k = 0; k < 8191; ++k) {
      ASSERT_EQ(Add(other), 0u);
    }
  }
  void AddAll(const Packets& packets) {
    for (const ByteVector& packet : packets) {
      EXPECT_EQ(Add(packet), 0u);
    }
  }
  [[nodiscard]] Packets PacketsOfFile() const {
    Packets packets;
    for (const sDecodedItem& item : Items()) {
      packets.push_back(item.packet);
    }
    return packets;
  }

  const ByteVector first = Captured(1, FirstFixed(2, 2, Pattern(222, 1)));
  const ByteVector last = Captured(10, SegmentFixed(2, 1, Pattern(222, 2)));
  const ByteVector complete = Captured(9, Number(3, 5) + Pattern(226, 3));
  const ByteVector twoComplete = Captured(7, SibList({{4, "11"}, {5, "01"}}));
  const ByteVector other = Packet({0x1C, 0x01}, 5);
};

TEST_F(ProcessOtaLogItem, ACompletedBlockStandsRightBehindThePacketThatCompletedIt) {
  AddAll({first, other, last, other});
  const std::vector<sDecodedItem> items = Items();
  ASSERT_EQ(PacketsOfFile(),
            (Packets{first, other, last, Rebuilt(2, Pattern(222, 1) + Pattern(222, 2)), other}));
  EXPECT_EQ(items[3].position, items[2].end);
  EXPECT_EQ(items[2].type, kSignallingLog);
  EXPECT_EQ(items[3].type, kSignallingLog);
}

TEST_F(ProcessOtaLogItem, SeveralBlocksOfOnePacketStandBehindItInMessageOrder) {
  const ByteVector both = Captured(
      6, SegmentShort(2, 1, "101") + SibList({{4, "11"}, {5, "01"}}) + FirstShort(6, 1, "0"));
  AddAll({first, both});
  EXPECT_EQ(PacketsOfFile(), (Packets{first, both, Rebuilt(2, Pattern(222, 1) + "101"),
                                      Rebuilt(4, "11"), Rebuilt(5, "01"), Rebuilt(6, "0")}));
}

TEST_F(ProcessOtaLogItem, ABlockCompletedByTheLastPacketOfAFileBlockOpensTheNextOne) {
  FillBlockButForOneItem();
  AddAll({twoComplete});
  const sDecodedCapture capture = DecodeCapture(Contents());
  ASSERT_EQ(capture.blocks.size(), 2u);
  ASSERT_EQ(capture.blocks[0].items.size(), 8192u);
  EXPECT_EQ(capture.blocks[0].items.back().packet, twoComplete);
  ASSERT_EQ(capture.blocks[1].items.size(), 2u);
  EXPECT_EQ(capture.blocks[1].items[0].packet, Rebuilt(4, "11"));
  EXPECT_EQ(capture.blocks[1].items[1].packet, Rebuilt(5, "01"));
}

TEST_F(ProcessOtaLogItem, TheCapturedPacketsAreWrittenUnchanged) {
  const ByteVector broken = LogPacket(kFach, 7, {});
  AddAll({broken, complete});
  ASSERT_EQ(Items().size(), 3u);
  EXPECT_EQ(Items()[0].packet, broken);
  EXPECT_EQ(Items()[1].packet, complete);
}

// 12345 steps of 100 ns: 12345 * 49152 / 12500 = 48542.5 fractions of a unit.
TEST_F(ProcessOtaLogItem, ARebuiltPacketCarriesTheArrivalTimeOfItsLastPart) {
  AddAll({first});
  SetFileTime(kClockStart + 12345);
  AddAll({last});
  ASSERT_EQ(Items().size(), 3u);
  EXPECT_EQ(Items()[2].packet,
            Rebuilt(2, Pattern(222, 1) + Pattern(222, 2), kTimestampOfStart + 48542));
}

// Rounded up, because the fraction was truncated: a step of 100 ns is almost four of its parts.
std::uint64_t FileTimeOf(std::uint64_t timestamp) {
  return kGpsEpoch + (timestamp >> 16) * 12500 + ((timestamp & 0xFFFF) * 12500 + 49151) / 49152;
}

TEST_F(ProcessOtaLogItem, ItsTimestampLiesWithinTheMillisecondOfTheItemBeforeIt) {
  for (const std::uint64_t steps : {0u, 1u, 9999u, 10000u, 12499u, 12500u, 19999u, 123456789u}) {
    StartAnew();
    SetFileTime(kClockStart + steps);
    AddAll({complete});
    const std::vector<sDecodedItem> items = Items();
    ASSERT_EQ(items.size(), 2u);
    std::uint64_t timestamp = 0;
    for (std::size_t k = 16; k-- > 8;) {
      timestamp = timestamp * 256 + items[1].packet[k];
    }
    EXPECT_EQ(FileTimeOf(timestamp), kClockStart + steps);
    EXPECT_EQ(FileTimeOf(timestamp) / 10000, items[0].time);
  }
}

// If it did, the packet that it added would add another, without end.
TEST_F(ProcessOtaLogItem, ARebuiltPacketAddsNothingFurther) {
  AddAll({complete, complete});
  EXPECT_EQ(Items().size(), 4u);
  AddAll({Rebuilt(3, Pattern(226, 3))});
  EXPECT_EQ(Items().size(), 5u);
}

TEST_F(ProcessOtaLogItem, AnItemBeforeTheGpsEpochYieldsNothingThoughItIsAValidPacket) {
  SetFileTime(kGpsEpoch - 1);
  AddAll({complete, first});
  EXPECT_EQ(PacketsOfFile(), (Packets{complete, first}));
  EXPECT_TRUE(store.SibAssemblies().empty());

  SetFileTime(kGpsEpoch);
  AddAll({complete});
  EXPECT_EQ(PacketsOfFile(), (Packets{complete, first, complete, Rebuilt(3, Pattern(226, 3), 0)}));
}

TEST_F(ProcessOtaLogItem, BlocksAreReassembledAcrossTheFilesOfOneStore) {
  AddAll({first});
  StartAnew();
  AddAll({last});
  EXPECT_EQ(PacketsOfFile(), (Packets{last, Rebuilt(2, Pattern(222, 1) + Pattern(222, 2))}));
}

// Two SIMs in cells that broadcast blocks of the same type, bearer and channel.
TEST_F(ProcessOtaLogItem, EachSubscriptionIsReassembledOnItsOwn) {
  const auto select = [this](std::uint32_t subscription) {
    const std::lock_guard guard(store.storeLock);
    store.SelectSubscription(subscription);
  };
  AddAll({first});
  select(2);
  AddAll({last});
  EXPECT_EQ(PacketsOfFile(), (Packets{first, last}));
  AddAll({first});
  select(1);
  AddAll({last});
  select(2);
  AddAll({last});
  const ByteVector rebuilt = Rebuilt(2, Pattern(222, 1) + Pattern(222, 2));
  EXPECT_EQ(PacketsOfFile(), (Packets{first, last, first, last, rebuilt, last, rebuilt}));
}

// Classified by their content, they carry what every 0x412F packet carries.
TEST_F(ProcessOtaLogItem, RebuiltPacketsCarryTheCellLikeCapturedOnes) {
  EXPECT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x00, 0x33, 0x22, 0x11}), 0u);
  AddAll({complete});
  const std::vector<sDecodedItem> items = Items();
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[1].extra, 0x112233u);
  EXPECT_EQ(items[2].extra, 0x112233u);
}

TEST_F(ProcessOtaLogItem, WithoutAFileNothingIsAddedAndTheNextOneStartsClean) {
  store.Close();
  EXPECT_EQ(Add(complete), 9u);
  Attach(kFileName);
  EXPECT_TRUE(Items().empty());
}

TEST_F(ProcessOtaLogItem, GivesBackAllItsMemory) {
  AddAll({first, last});
  AddAll({first});
  const std::int64_t before = LiveNewAllocations();
  AddAll({last, first, last, first});
  EXPECT_EQ(LiveNewAllocations(), before);
}

// The packet itself is in the file by then; blocks without memory are missing behind it.
TEST_F(ProcessOtaLogItem, WithoutMemoryNothingIsThrownAndThePacketIsRecorded) {
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    for (std::uint32_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 200u);
      StartAnew();
      AddAll({first});
      const cBufferReference item(
          Item(Captured(4, SegmentShort(2, 1, "1") + FirstShort(3, 2, "1"))));
      const std::lock_guard guard(store.storeLock);
      cAllocationFailure failure(heap, nth);
      const std::uint32_t result = store.AddItem(item.Get(), kAutomaticType);
      const bool failed = failure.Disarm();
      const std::size_t items = Items().size();
      if (!failed) {
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(items, 3u);
        break;
      }
      EXPECT_GE(items, 2u);
      EXPECT_LE(items, 3u);
      store.SibAssemblies().clear();
    }
  }
}

// How many failures of one allocation each leave the second packet of `bytes` without the first, as
// long as no packet has to be written.
std::uint32_t FailuresThatLoseTheFirstPacket(const ByteVector& bytes) {
  const OwnedBuffer item = Item(bytes);
  std::uint32_t count = 0;
  for (std::uint32_t nth = 1;; ++nth) {
    SibAssemblyMap map;
    cAllocationFailure failure(eHeap::New, nth);
    const SibPacketList packets = DecodeOtaPacket(map, *item, kTimestampOfStart);
    if (!failure.Disarm()) {
      return count;
    }
    if (BytesOf(packets) == Packets{RebuiltPacket(kFach, 7, 5, "01", kTimestampOfStart)}) {
      ++count;
    }
  }
}

// The first of two rebuilt packets opens a block of the file, which takes memory.
TEST_F(ProcessOtaLogItem, ARebuiltPacketThatCannotBeWrittenDoesNotKeepTheNextOut) {
  std::uint32_t withoutTheFirst = 0;
  for (std::uint32_t nth = 1;; ++nth) {
    ASSERT_LT(nth, 50u);
    StartAnew();
    FillBlockButForOneItem();
    const cBufferReference item(Item(twoComplete));
    const std::lock_guard guard(store.storeLock);
    cAllocationFailure failure(eHeap::New, nth);
    const std::uint32_t result = store.AddItem(item.Get(), kAutomaticType);
    if (!failure.Disarm()) {
      break;
    }
    EXPECT_EQ(result, 0u);
    const Packets packets = PacketsOfFile();
    ASSERT_GE(packets.size(), 8192u);
    EXPECT_EQ(packets[8191], twoComplete);
    const Packets rebuilt(packets.begin() + 8192, packets.end());
    if (rebuilt == Packets{Rebuilt(5, "01")}) {
      ++withoutTheFirst;
    }
  }
  // Some of these failures are the reassembly's own: the first packet was never made. The others
  // are those of writing it.
  EXPECT_GT(withoutTheFirst, FailuresThatLoseTheFirstPacket(twoComplete));
}

}  // namespace
}  // namespace corvane
