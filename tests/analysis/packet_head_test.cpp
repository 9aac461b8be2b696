#include "analysis/packet_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "analysis/made_items.h"
#include "convert/item_description.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

[[nodiscard]] sPacketHead HeadOf(std::uint32_t type, ByteVector packet) {
  sPacketHead head;
  ReadPacketHead(cMadeItems().Make(type, 0, std::move(packet)), head);
  return head;
}

TEST(PacketHeadTest, ALogTellsItsCode) {
  const sPacketHead head = HeadOf(5, {0x10, 0, 12, 0, 12, 0, 0xC0, 0xB0, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(head.sort, eItemSort::Log);
  EXPECT_EQ(head.logCode, 0xB0C0);
  EXPECT_EQ(HeadOf(0, {0x10, 0, 3, 0, 3, 0, 0xC0}).logCode, std::nullopt);
}

TEST(PacketHeadTest, AMessageTellsSubsystemAndLevels) {
  ByteVector packet(20);
  packet[0] = 0x79;
  packet[14] = 0x2A;
  packet[16] = 0x04;
  EXPECT_EQ(HeadOf(6, packet).ssid, 42);
  EXPECT_EQ(HeadOf(6, packet).levels, 4U);
  packet.resize(19);
  EXPECT_EQ(HeadOf(6, packet).levels, std::nullopt);
  EXPECT_EQ(HeadOf(6, {0x1F}).ssid, std::nullopt);
}

TEST(PacketHeadTest, EveryEventOfAReportIsTold) {
  // Two events: 0x101 with a whole time and one byte, 0x202 with a short time and none.
  EXPECT_THAT(
      HeadOf(1, {0x60, 15, 0, 0x01, 0x21, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x02, 0x82, 1, 2}).events,
      ElementsAre(0x101, 0x202));
  EXPECT_THAT(HeadOf(4, {0x60, 10, 0, 0x46, 0x06, 1, 2, 3, 4, 5, 6, 7, 8}).events,
              ElementsAre(1606));
  EXPECT_THAT(HeadOf(1, {0x60, 0, 0}).events, IsEmpty());
}

TEST(PacketHeadTest, AWrapperTellsTheSubscription) {
  const sPacketHead head =
      HeadOf(1, {0x98, 1, 0, 0, 2, 0, 0, 0, 0x10, 0, 12, 0, 12, 0, 0xC0, 0xB0});
  EXPECT_EQ(head.subscription, 2U);
  EXPECT_EQ(head.logCode, 0xB0C0);
}

void ExpectSame(const sPacketHead& head, const sDescription& description) {
  EXPECT_EQ(head.sort, description.sort);
  EXPECT_EQ(head.subscription, description.subscription);
  EXPECT_EQ(head.logCode, description.logCode);
  std::vector<std::uint16_t> events;
  for (const sEvent& event : description.events) {
    events.push_back(event.id);
  }
  EXPECT_EQ(head.events, events);
  const sDebugMessage message = description.message.value_or(sDebugMessage());
  EXPECT_EQ(head.ssid, message.ssid);
  EXPECT_EQ(head.levels, message.levels);
  const bool hasCommand = description.command.has_value();
  EXPECT_EQ(head.command.has_value(), hasCommand);
  const sCommand command = description.command.value_or(sCommand());
  EXPECT_EQ(head.command.value_or(0), command.code);
  EXPECT_EQ(head.subsystem, command.subsystem);
  EXPECT_EQ(head.subsystemCommand, command.subsystemCommand);
}

// The packets that the describing fuzzer starts from, each cut off anywhere, as items of all types:
// the head says what the description does.
TEST(PacketHeadTest, TheHeadAgreesWithTheDescription) {
  std::size_t inputs = 0;
  sPacketHead head;
  for (const auto& entry : std::filesystem::directory_iterator(CORVANE_DESCRIBE_CORPUS)) {
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream file(entry.path(), std::ios::binary);
    ByteVector packet((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    // In front stands the way in which the fuzzer describes it.
    packet.erase(packet.begin());
    while (!packet.empty()) {
      for (const std::uint32_t type : {0U, 1U, 2U, 4U, 5U, 6U, 7U, 9U, 10U, 31U}) {
        const sCaptureItem item = cMadeItems().Make(type, 0, packet);
        ReadPacketHead(item, head);
        ExpectSame(head, DescribeItem(item));
        ASSERT_FALSE(::testing::Test::HasFailure()) << "type " << type << ", " << packet.size();
      }
      // Long packets have nothing new to tell in their middle.
      packet.resize(packet.size() - 1 - packet.size() / 40);
    }
    ++inputs;
  }
  EXPECT_GE(inputs, 100U);
}

}  // namespace
}  // namespace corvane
