#include "analysis/ladder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace corvane {
namespace {

[[nodiscard]] sSignalling Message(eSyntax syntax, std::string_view channel, std::string_view name,
                                  eLink link = eLink::Downlink) {
  sSignalling message;
  message.syntax = syntax;
  message.channel = channel;
  message.messageName = name;
  message.link = link;
  return message;
}

const sSignalling kRelease = Message(eSyntax::LteDlDcch, "DL-DCCH", "RRC connection release");
const sSignalling kPaging = Message(eSyntax::LtePcch, "PCCH", "Paging");

struct LadderTest : ::testing::Test {
  cLadder ladder;
  cWholeMessages whole;
  std::uint64_t next = 0;

  void Add(const sSignalling& signalling) {
    sCaptureItem item;
    item.number = next;
    item.time = 1000 + next++;
    sDescription description;
    description.technology = eTechnology::Lte;
    description.logCode = 0xB0C0;
    description.signalling = signalling;
    for (const sWholeMessage& message : whole.Add(item.number, description, {})) {
      ladder.Add(item, description, message, std::nullopt);
    }
  }
};

TEST_F(LadderTest, MessagesStandInTheirOrderWithWhatTheyAre) {
  Add(kPaging);
  Add(Message(eSyntax::LteNas, "", "", eLink::Uplink));
  ASSERT_EQ(ladder.Messages().size(), 2u);
  const sLadderMessage paging = ladder.Messages()[0];
  EXPECT_EQ(paging.item, 0u);
  EXPECT_EQ(paging.time, 1000u);
  EXPECT_EQ(paging.name, "Paging");
  EXPECT_EQ(paging.channel, "PCCH");
  EXPECT_EQ(paging.link, eLink::Downlink);
  EXPECT_TRUE(paging.isBroadcast);
  const sLadderMessage unknown = ladder.Messages()[1];
  EXPECT_EQ(unknown.name, "(unknown)");
  EXPECT_EQ(unknown.channel, "NAS");
  EXPECT_EQ(unknown.link, eLink::Uplink);
  EXPECT_FALSE(unknown.isBroadcast);
}

TEST_F(LadderTest, ACipheredMessageIsToldAsOne) {
  sSignalling ciphered = Message(eSyntax::LteNas, "", "");
  ciphered.message = {0x27, 0x9A, 0x8B, 0x7C, 0x6D, 0x0A, 0xF3, 0x5C, 0x91, 0x44, 0x07};
  Add(ciphered);
  EXPECT_EQ(ladder.Messages().at(0).name, "(ciphered)");
}

TEST_F(LadderTest, PartsBecomeOneMessageAndIpPacketsNone) {
  sSignalling part = kRelease;
  part.segment = eSegment::Part;
  part.segmentNumber = 1;
  part.message = {0x28};
  Add(part);
  EXPECT_TRUE(ladder.Messages().empty());
  part.segment = eSegment::Last;
  part.segmentNumber = 7;
  part.message = {0x02};
  Add(part);
  Add(Message(eSyntax::Ip, "", "IPv4 TCP"));
  ASSERT_EQ(ladder.Messages().size(), 1u);
  EXPECT_EQ(ladder.Messages()[0].items, 2u);
  EXPECT_EQ(ladder.Messages()[0].name, "RRC connection release");
  EXPECT_EQ(ladder.Count(), 1u);
}

TEST_F(LadderTest, BroadcastMessagesGiveWayToOthers) {
  for (std::size_t pair = 0; pair < cLadder::kMostMessages / 2; ++pair) {
    Add(kPaging);
    Add(kRelease);
  }
  EXPECT_EQ(ladder.Messages().size(), ladder.Count());
  Add(kPaging);
  Add(kRelease);
  const std::vector<sLadderMessage> messages = ladder.Messages();
  EXPECT_EQ(messages.size(), cLadder::kMostMessages);
  EXPECT_EQ(ladder.Count(), cLadder::kMostMessages + 2);
  EXPECT_EQ(ladder.BroadcastLeftOut(), 2u);
  EXPECT_EQ(ladder.OthersLeftOut(), 0u);
  EXPECT_TRUE(std::ranges::is_sorted(messages, {}, &sLadderMessage::item));
  EXPECT_EQ(messages.front().name, "Paging");
  EXPECT_EQ(messages.back().item, next - 1);
}

TEST_F(LadderTest, OfEachKindTheLastOnesAreLeftOut) {
  for (std::size_t number = 0; number < cLadder::kMostMessages + 3; ++number) {
    Add(kPaging);
  }
  EXPECT_EQ(ladder.Messages().size(), cLadder::kMostMessages);
  EXPECT_EQ(ladder.Messages().back().item, cLadder::kMostMessages - 1);
  EXPECT_EQ(ladder.BroadcastLeftOut(), 3u);
  for (std::size_t number = 0; number < cLadder::kMostMessages + 5; ++number) {
    Add(kRelease);
  }
  EXPECT_EQ(ladder.Messages().size(), cLadder::kMostMessages);
  EXPECT_EQ(ladder.Messages().front().name, "RRC connection release");
  EXPECT_EQ(ladder.BroadcastLeftOut(), cLadder::kMostMessages + 3);
  EXPECT_EQ(ladder.OthersLeftOut(), 5u);
}

TEST(BroadcastTest, GsmChannelsHaveBothKinds) {
  const auto gsm = [](std::string_view name) {
    return IsBroadcast(Message(eSyntax::GsmPseudoLength, "CCCH", name));
  };
  EXPECT_TRUE(gsm("Paging request type 1"));
  EXPECT_TRUE(gsm("System information type 3"));
  EXPECT_FALSE(gsm("Immediate assignment"));
  EXPECT_FALSE(IsBroadcast(kRelease));
}

}  // namespace
}  // namespace corvane
