#include "analysis/connections.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/made_items.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConnectionsTest : public ::testing::Test {
 protected:
  void Text(std::uint64_t time, const std::string& text) {
    connections.Add(items.Text(time, text));
  }
  void Packet(std::uint64_t time, ByteVector packet = {0x10}) {
    connections.Add(items.Make(kPacket, time, std::move(packet)));
  }

  cMadeItems items;
  cConnections connections;
};

TEST_F(ConnectionsTest, AConnectionLastsUntilItsPortIsGone) {
  Text(1000, "Corvane version 1.0");
  Text(2000, "Port COM7 connected");
  Packet(2500);
  Packet(3000);
  Text(5000, "Port COM7 disconnected");
  Packet(5001);
  ASSERT_EQ(connections.Count(), 1U);
  const sConnection& connection = connections.Kept()[0];
  EXPECT_EQ(connection.number, 1U);
  EXPECT_EQ(connection.port, "COM7");
  EXPECT_TRUE(connection.hasBeginning);
  EXPECT_FALSE(connection.imported);
  EXPECT_EQ(connection.firstItem, 1U);
  EXPECT_EQ(connection.lastItem, 4U);
  EXPECT_EQ(connection.items, 4U);
  EXPECT_EQ(connection.start, 2000U);
  EXPECT_EQ(connection.Length(), 3000U);
  EXPECT_EQ(connection.howEnded, eConnectionEnd::Disconnected);
  EXPECT_EQ(connections.ItemsOutside(), 2U);
}

TEST_F(ConnectionsTest, TheTenthReconnectionIsTold) {
  for (std::uint64_t number = 0; number < 11; ++number) {
    Text(number * 100, "Port COM7 connected");
    Packet(number * 100 + 10);
    if (number != 10) {
      Text(number * 100 + 20, "Port COM7 disconnected");
    }
  }
  ASSERT_EQ(connections.Kept().size(), 11U);
  EXPECT_EQ(connections.Kept()[9].Length(), 20U);
  EXPECT_EQ(connections.Kept()[10].number, 11U);
  EXPECT_EQ(connections.Kept()[10].howEnded, eConnectionEnd::Open);
  EXPECT_EQ(connections.Kept()[10].Length(), 10U);
}

TEST_F(ConnectionsTest, ACaptureMayBeginInTheMidstOfAConnection) {
  Packet(10);
  Packet(20);
  Text(30, "Port COM7 disconnected");
  Text(40, "Port COM7 connected");
  Packet(50);
  ASSERT_EQ(connections.Kept().size(), 2U);
  EXPECT_FALSE(connections.Kept()[0].hasBeginning);
  EXPECT_EQ(connections.Kept()[0].number, 0U);
  EXPECT_EQ(connections.Kept()[0].port, "COM7");
  EXPECT_EQ(connections.Kept()[0].Length(), 20U);
  EXPECT_EQ(connections.Kept()[0].howEnded, eConnectionEnd::Disconnected);
  EXPECT_EQ(connections.Kept()[1].number, 1U);
  EXPECT_EQ(connections.Kept()[1].items, 2U);
}

TEST_F(ConnectionsTest, WhatComesBehindADisconnectionIsOfNoConnection) {
  Packet(10);
  Text(20, "Port COM7 disconnected");
  Packet(30);
  ASSERT_EQ(connections.Kept().size(), 1U);
  EXPECT_EQ(connections.Kept()[0].items, 2U);
  EXPECT_EQ(connections.ItemsOutside(), 1U);
}

TEST_F(ConnectionsTest, APortThatIsConnectedAgainReplacesItsConnection) {
  Text(10, "Port COM7 connected");
  Packet(20);
  Text(30, "Port COM7 connected");
  ASSERT_EQ(connections.Kept().size(), 2U);
  EXPECT_EQ(connections.Kept()[0].howEnded, eConnectionEnd::Replaced);
  EXPECT_EQ(connections.Kept()[0].Length(), 10U);
}

TEST_F(ConnectionsTest, MergedPortsHaveAConnectionEach) {
  Text(10, "Port COM7 connected");
  Packet(11);
  Text(12, "Port COM8 connected");
  Packet(13);
  Text(14, "Port COM7 connected");
  Packet(15);
  Text(16, "Port COM8 connected");
  Packet(17);
  ASSERT_EQ(connections.Kept().size(), 2U);
  EXPECT_EQ(connections.Kept()[0].items, 4U);
  EXPECT_EQ(connections.Kept()[0].end, 15U);
  EXPECT_EQ(connections.Kept()[1].items, 4U);
  EXPECT_EQ(connections.Kept()[1].end, 17U);
}

// As merging writes them: the port is told anew behind each change of the capture.
TEST_F(ConnectionsTest, CapturesOfOnePortThatAreMergedKeepTheirConnections) {
  Text(10, "Merged from a.isf");
  Text(10, "Port COM7 connected");
  Packet(11);
  Text(12, "Merged from b.isf");
  Text(12, "Port COM7 connected");
  Packet(13);
  Text(14, "Merged from a.isf");
  Text(14, "Port COM7 connected");
  Packet(15);
  Text(16, "Port COM7 disconnected");
  Text(17, "Merged from b.isf");
  Text(17, "Port COM7 connected");
  Packet(18);
  Text(19, "Merged from a.isf");
  Text(20, "Port COM7 connected");
  ASSERT_EQ(connections.Kept().size(), 3U);
  EXPECT_EQ(connections.Kept()[0].capture, "a.isf");
  EXPECT_EQ(connections.Kept()[0].howEnded, eConnectionEnd::Disconnected);
  EXPECT_EQ(connections.Kept()[0].Length(), 6U);
  EXPECT_EQ(connections.Kept()[1].capture, "b.isf");
  EXPECT_EQ(connections.Kept()[1].howEnded, eConnectionEnd::Open);
  EXPECT_EQ(connections.Kept()[1].end, 18U);
  EXPECT_EQ(connections.Kept()[2].capture, "a.isf");
  EXPECT_EQ(connections.Kept()[2].start, 20U);
}

TEST_F(ConnectionsTest, AnImportedStreamIsAConnectionOfItsOwnKind) {
  Text(10, "Imported from drive.hdlc");
  Packet(20, {0x98, 1, 0, 0, 2, 0, 0, 0, 0x10});
  Packet(30, {0x98, 1, 0, 0, 0, 0, 0, 0, 0x10});
  Packet(40, {0x98, 1, 0, 0, 2, 0, 0, 0, 0x10});
  ASSERT_EQ(connections.Kept().size(), 1U);
  EXPECT_TRUE(connections.Kept()[0].imported);
  EXPECT_EQ(connections.Kept()[0].port, "drive.hdlc");
  EXPECT_THAT(connections.Kept()[0].subscriptions, ElementsAre(2U, 1U));
}

TEST_F(ConnectionsTest, TextsTellSubscriptions) {
  Text(10, "Port COM7 connected");
  Text(10, "Subscription 1");
  Text(11, "Subscription 2");
  Text(12, "Subscription none");
  ASSERT_EQ(connections.Kept().size(), 1U);
  EXPECT_THAT(connections.Kept()[0].subscriptions, ElementsAre(1U, 2U));
  EXPECT_EQ(connections.Kept()[0].items, 4U);
}

TEST_F(ConnectionsTest, AClockThatIsSetBackGivesNoLength) {
  Text(1000, "Port COM7 connected");
  Packet(400);
  EXPECT_EQ(connections.Kept()[0].Length(), 0U);
}

TEST_F(ConnectionsTest, ConnectionsWithoutEndAreCounted) {
  const std::size_t number = cConnections::kMostConnections + 3;
  for (std::size_t connection = 0; connection < number; ++connection) {
    Text(connection, "Port COM7 connected");
    Packet(connection);
    Text(connection, "Port COM7 disconnected");
  }
  EXPECT_EQ(connections.Kept().size(), cConnections::kMostConnections);
  EXPECT_EQ(connections.Count(), number);
  EXPECT_EQ(connections.Others(), 3U);
  EXPECT_EQ(connections.ItemsOutside(), 0U);
  EXPECT_EQ(connections.Kept().back().items, 3U);
}

TEST_F(ConnectionsTest, TextsThatArePassedAreNotCounted) {
  connections.Pass(items.Text(0, "Corvane version 1.0"));
  connections.Pass(items.Text(10, "Port COM7 connected"));
  connections.Pass(items.Text(20, "Port COM7 disconnected"));
  connections.Pass(items.Text(30, "Port COM7 connected"));
  Packet(40);
  ASSERT_EQ(connections.Kept().size(), 2U);
  EXPECT_EQ(connections.Kept()[0].items, 0U);
  EXPECT_EQ(connections.Kept()[0].howEnded, eConnectionEnd::Disconnected);
  EXPECT_EQ(connections.Kept()[1].number, 2U);
  EXPECT_EQ(connections.Kept()[1].items, 1U);
  EXPECT_EQ(connections.ItemsOutside(), 0U);
}

TEST_F(ConnectionsTest, TextsAloneAreNoConnection) {
  Text(0, "Corvane version 1.0");
  Text(1, "Port  connected");
  EXPECT_THAT(connections.Kept(), IsEmpty());
  EXPECT_EQ(connections.ItemsOutside(), 2U);
}

}  // namespace
}  // namespace corvane
