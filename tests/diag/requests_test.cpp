#include "diag/requests.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

#include "diag/made_packets.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

using LevelSet = std::set<std::uint32_t>;

TEST(StartUpRequestsTest, ThirteenRequestsComeInTheirOrder) {
  std::vector<ByteVector> requests;
  for (const auto& request : StartUpRequests()) {
    requests.emplace_back(request.begin(), request.end());
  }
  EXPECT_EQ(requests, (std::vector<ByteVector>{{0x1D},
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
                                               {0x60, 0x01}}));
}

TEST(EventMaskRequestTest, Events0And9GiveARequestOfEightBytes) {
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({0, 9})),
            (ByteVector{0x82, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x01, 0x02}));
}

TEST(EventMaskRequestTest, TheMaskEndsWithTheByteOfTheLargestId) {
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({0})), (ByteVector{0x82, 0, 0, 0, 1, 0, 0x01}));
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({7})), (ByteVector{0x82, 0, 0, 0, 8, 0, 0x80}));
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({8})), (ByteVector{0x82, 0, 0, 0, 9, 0, 0, 0x01}));
}

TEST(EventMaskRequestTest, Event4095IsTheLastThatSetsABit) {
  ByteVector expected(518);
  expected[0] = 0x82;
  expected[5] = 0x10;  // 4096 IDs
  expected[6] = 0x02;
  expected[517] = 0x80;
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({1, 4095})), expected);
}

TEST(EventMaskRequestTest, Event4096GivesARequestOf519BytesWithAnAllZeroMask) {
  ByteVector expected(519);
  expected[0] = 0x82;
  expected[4] = 0x01;  // 4097 IDs
  expected[5] = 0x10;
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({4096})), expected);
}

TEST(EventMaskRequestTest, AnIdAbove4095SwitchesTheSmallerOnesOffToo) {
  ByteVector expected(519);
  expected[0] = 0x82;
  expected[4] = 0x01;
  expected[5] = 0x10;
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({0, 9, 4096})), expected);
}

TEST(EventMaskRequestTest, Event65607GivesTheLongestRequestWithItsCountCutTo16Bits) {
  ByteVector expected(8207);
  expected[0] = 0x82;
  expected[4] = 0x48;  // 65608 is 0x10048
  EXPECT_EQ(ContentOf(BuildEventMaskRequest({65607})), expected);
}

TEST(EventMaskRequestTest, Event65535CountsAsZero) {
  const ByteVector request = ContentOf(BuildEventMaskRequest({65535}));
  ASSERT_EQ(request.size(), 8198U);
  EXPECT_EQ(request[4], 0);
  EXPECT_EQ(request[5], 0);
}

TEST(EventMaskRequestTest, ALargestIdOf65608OrMoreGivesNoRequest) {
  EXPECT_EQ(BuildEventMaskRequest({65608}), nullptr);
  EXPECT_EQ(BuildEventMaskRequest({1, 65608}), nullptr);
  EXPECT_EQ(BuildEventMaskRequest({0xFFFFFFFF}), nullptr);
}

TEST(EventMaskRequestTest, NoEventsGiveNoRequest) { EXPECT_EQ(BuildEventMaskRequest({}), nullptr); }

TEST(EventMaskRequestTest, TheRequestIsTheLibrarysOwn) {
  EXPECT_EQ(BuildEventMaskRequest({1})->origin, kOriginLibrary);
}

TEST(EventMaskRequestTest, NoMemoryForTheRequestOrItsBufferGivesNull) {
  const EventIdSet eventIds = {1};
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer request = BuildEventMaskRequest(eventIds);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(request, nullptr);
  }
}

ByteVector MessageLevels(std::uint32_t first, std::uint32_t last,
                         const std::vector<LevelSet>& levelSets) {
  return ContentOf(BuildMessageLevelsRequest(first, last, levelSets));
}

TEST(MessageLevelsRequestTest, Levels0And3And40OfSsid5GiveTwelveBytesWithoutLevel40) {
  EXPECT_EQ(MessageLevels(5, 5, {{0, 3, 40}}),
            (ByteVector{0x7D, 0x04, 0x05, 0x00, 0x05, 0x00, 0x00, 0x00, 0x09, 0x00, 0x00, 0x00}));
}

TEST(MessageLevelsRequestTest, Level31IsTheLastThatIsSent) {
  EXPECT_EQ(MessageLevels(0, 0, {{31, 32, 33, 63, 64, 0xFFFFFFFF}}),
            (ByteVector{0x7D, 0x04, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0x00, 0x80}));
}

TEST(MessageLevelsRequestTest, ARangeHasOneMaskForEachSsidInOrder) {
  EXPECT_EQ(MessageLevels(0x0102, 0x0104, {{8}, {}, {0, 16}}),
            (ByteVector{0x7D, 0x04, 0x02, 0x01, 0x04, 0x01, 0, 0,  //
                        0,    1,    0,    0,    0,    0,    0, 0, 1, 0, 1, 0}));
}

TEST(MessageLevelsRequestTest, SsidsAreSentAsTheirLow16Bits) {
  EXPECT_EQ(MessageLevels(0x12345, 0x12345, {{1}}),
            (ByteVector{0x7D, 0x04, 0x45, 0x23, 0x45, 0x23, 0, 0, 0x02, 0, 0, 0}));
  EXPECT_EQ(MessageLevels(0xFFFFFFFF, 0xFFFFFFFF, {{1}}),
            (ByteVector{0x7D, 0x04, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0x02, 0, 0, 0}));
}

TEST(MessageLevelsRequestTest, ADescendingRangeGivesNoRequest) {
  EXPECT_EQ(BuildMessageLevelsRequest(6, 5, {}), nullptr);
  const std::vector<LevelSet> one(1);
  EXPECT_EQ(BuildMessageLevelsRequest(6, 5, one), nullptr);
}

TEST(MessageLevelsRequestTest, AnotherNumberOfLevelSetsThanOfSsidsGivesNoRequest) {
  const std::vector<LevelSet> two(2);
  EXPECT_EQ(BuildMessageLevelsRequest(5, 5, two), nullptr);
  EXPECT_EQ(BuildMessageLevelsRequest(5, 7, two), nullptr);
  EXPECT_NE(BuildMessageLevelsRequest(5, 6, two), nullptr);
  EXPECT_EQ(BuildMessageLevelsRequest(5, 5, {}), nullptr);
}

TEST(MessageLevelsRequestTest, TheRangeOfAllSsidsDoesNotCountAsNone) {
  EXPECT_EQ(BuildMessageLevelsRequest(0, 0xFFFFFFFF, {}), nullptr);
}

TEST(MessageLevelsRequestTest, ARequestMayHave8208BytesAndNoMore) {
  const std::vector<LevelSet> most(2050, {2});
  const OwnedBuffer longest = BuildMessageLevelsRequest(1, 2050, most);
  ASSERT_NE(longest, nullptr);
  EXPECT_EQ(longest->size, 8208U);
  EXPECT_EQ(longest->data[8204], 0x04);

  const std::vector<LevelSet> tooMany(2051);
  EXPECT_EQ(BuildMessageLevelsRequest(1, 2051, tooMany), nullptr);
}

TEST(MessageLevelsRequestTest, TheRequestIsTheLibrarysOwn) {
  const std::vector<LevelSet> one(1);
  EXPECT_EQ(BuildMessageLevelsRequest(1, 1, one)->origin, kOriginLibrary);
}

TEST(MessageLevelsRequestTest, NoMemoryForTheRequestOrItsBufferGivesNull) {
  const std::vector<LevelSet> one(1);
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer request = BuildMessageLevelsRequest(1, 1, one);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(request, nullptr);
  }
}

TEST(AllLevelsRequestTest, NoLevelsGiveAZeroMask) {
  EXPECT_EQ(ContentOf(BuildAllLevelsRequest({})), (ByteVector{0x7D, 0x05, 0, 0, 0, 0, 0, 0}));
}

TEST(AllLevelsRequestTest, TheMaskHasTheBitOfEveryLevelBelow32) {
  EXPECT_EQ(ContentOf(BuildAllLevelsRequest({0, 9, 31, 32})),
            (ByteVector{0x7D, 0x05, 0, 0, 0x01, 0x02, 0x00, 0x80}));
}

TEST(AllLevelsRequestTest, TheRequestIsTheLibrarysOwn) {
  EXPECT_EQ(BuildAllLevelsRequest({})->origin, kOriginLibrary);
}

TEST(AllLevelsRequestTest, NoMemoryForTheRequestOrItsBufferGivesNull) {
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer request = BuildAllLevelsRequest({});
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(request, nullptr);
  }
}

}  // namespace
}  // namespace corvane
