#include "analysis/statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/made_items.h"

namespace corvane {
namespace {

using ::testing::IsEmpty;

class StatisticsTest : public ::testing::Test {
 protected:
  void Add(std::uint32_t type, std::uint64_t time, ByteVector packet) {
    const sCaptureItem item = items.Make(type, time, std::move(packet));
    sPacketHead head;
    ReadPacketHead(item, head);
    statistics.Add(item, head);
  }
  void AddLog(std::uint16_t code, std::uint64_t time, std::uint8_t payload) {
    ByteVector packet(16U + payload);
    packet[0] = 0x10;
    packet[2] = packet[4] = static_cast<std::uint8_t>(12 + payload);
    packet[6] = static_cast<std::uint8_t>(code);
    packet[7] = static_cast<std::uint8_t>(code >> 8);
    Add(5, time, packet);
  }

  static void ExpectTotals(const sItemTotals& totals, std::uint64_t count, std::uint64_t bytes,
                           std::uint64_t first, std::uint64_t last) {
    EXPECT_EQ(totals.items, count);
    EXPECT_EQ(totals.bytes, bytes);
    EXPECT_EQ(totals.first, first);
    EXPECT_EQ(totals.last, last);
  }

  cMadeItems items;
  cStatistics statistics;
};

TEST_F(StatisticsTest, LogsAreCountedByCode) {
  AddLog(0xB0C0, 1000, 4);
  AddLog(0x412F, 1500, 0);
  AddLog(0xB0C0, 3000, 0);
  ExpectTotals(statistics.All(), 3, 52, 1000, 3000);
  ExpectTotals(statistics.Types()[5], 3, 52, 1000, 3000);
  EXPECT_EQ(statistics.Span(), 2000U);
  const auto logs = statistics.LogCodes().All();
  ASSERT_EQ(logs.size(), 2U);
  EXPECT_EQ(logs[0].first, 0x412F);
  ExpectTotals(logs[0].second, 1, 16, 1500, 1500);
  EXPECT_EQ(logs[1].first, 0xB0C0);
  ExpectTotals(logs[1].second, 2, 36, 1000, 3000);
}

TEST_F(StatisticsTest, TimesAreTheEarliestAndTheLatest) {
  AddLog(0xB0C0, 3000, 0);
  AddLog(0xB0C0, 1000, 0);
  AddLog(0xB0C0, 2000, 0);
  ExpectTotals(statistics.All(), 3, 48, 1000, 3000);
}

TEST_F(StatisticsTest, EventsAreCountedOneByOne) {
  Add(1, 10, {0x60, 15, 0, 0x01, 0x21, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x01, 0x81, 1, 2});
  const auto events = statistics.Events().All();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].first, 0x101);
  EXPECT_EQ(events[0].second.items, 2U);
}

TEST_F(StatisticsTest, MessagesAreCountedBySubsystemAndLevel) {
  ByteVector packet(20);
  packet[0] = 0x79;
  packet[14] = 42;
  packet[16] = 0x0A;  // medium and error
  Add(6, 10, packet);
  packet[16] = 0x02;
  Add(6, 30, packet);
  const auto ssids = statistics.Ssids().All();
  ASSERT_EQ(ssids.size(), 1U);
  EXPECT_EQ(ssids[0].first, 42);
  ExpectTotals(ssids[0].second, 2, 40, 10, 30);
  ExpectTotals(statistics.Levels()[1], 2, 40, 10, 30);
  ExpectTotals(statistics.Levels()[3], 1, 20, 10, 10);
  EXPECT_EQ(statistics.Levels()[0].items, 0U);
}

TEST_F(StatisticsTest, CommandsAreCountedByDirection) {
  Add(2, 1, {0x00});
  Add(1, 2, {0x00, 1, 2});
  Add(10, 3, {0x4B, 8, 1, 0});
  Add(9, 4, {0x4B, 8, 1, 0});
  Add(1, 5, {0x60, 0, 0});
  Add(1, 6, {0x15, 0x00});
  Add(1, 7, {0x29});
  std::vector<std::string> lines;
  for (const auto& [key, totals] : statistics.Commands()) {
    const char* const sort = key.sort == eItemSort::Request ? "request"
                             : key.sort == eItemSort::Reply ? "reply"
                                                            : "unknown";
    lines.push_back(std::string(sort) + ": " + CommandKeyName(key));
  }
  EXPECT_THAT(lines, ::testing::UnorderedElementsAre("request: version", "reply: version",
                                                     "request: subsystem 0x08 command 0x0001",
                                                     "reply: subsystem 0x08 command 0x0001",
                                                     "reply: event report", "reply: bad length",
                                                     "unknown: packet 0x29"));
}

TEST_F(StatisticsTest, CommandsWithoutEndAreCounted) {
  for (unsigned number = 0; number < cStatistics::kMostCommands + 7; ++number) {
    Add(9, number,
        {0x4B, 1, static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8)});
  }
  EXPECT_EQ(statistics.Commands().size(), cStatistics::kMostCommands);
  EXPECT_EQ(statistics.OtherCommands().items, 7U);
  EXPECT_EQ(statistics.All().items, cStatistics::kMostCommands + 7);
}

TEST_F(StatisticsTest, NothingIsCountedOfNothing) {
  EXPECT_EQ(statistics.All().items, 0U);
  EXPECT_EQ(statistics.Span(), 0U);
  EXPECT_THAT(statistics.LogCodes().All(), IsEmpty());
  EXPECT_THAT(statistics.Commands(), IsEmpty());
}

}  // namespace
}  // namespace corvane
