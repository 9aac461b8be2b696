#include "analysis/request_replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/made_items.h"
#include "convert/item_description.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A log mask of one log code as the recorder sends it: operation 3, 4096 items.
ByteVector LogMask(std::uint8_t equipmentId) {
  ByteVector request(528);
  request[0] = 0x73;
  request[4] = 3;
  request[8] = equipmentId;
  request[13] = 0x10;
  request[16] = 1;
  return request;
}

// The modem's answer has the status between the operation and the rest of the request.
ByteVector LogMaskReply(std::uint8_t equipmentId, std::uint8_t status = 0) {
  ByteVector reply = LogMask(equipmentId);
  reply.insert(reply.begin() + 8, {status, 0, 0, 0});
  return reply;
}

ByteVector Levels(std::uint8_t ssid) { return {0x7D, 4, ssid, 0, ssid, 0, 0, 0, 0x1F, 0, 0, 0}; }

ByteVector Refusal(std::uint8_t code, ByteVector request) {
  request.insert(request.begin(), code);
  return request;
}

class RequestRepliesTest : public ::testing::Test {
 protected:
  void Add(const sCaptureItem& item) { replies.Add(item, DescribeItem(item)); }
  void Text(std::uint64_t time, const std::string& text) { Add(items.Text(time, text)); }
  void Request(std::uint64_t time, ByteVector packet) {
    const bool isSubsystem = packet[0] == 0x4B;
    Add(items.Make(isSubsystem ? kSubsystemRequest : kRequest, time, std::move(packet)));
  }
  void Reply(std::uint64_t time, ByteVector packet) {
    const bool isSubsystem = packet[0] == 0x4B || packet[0] == 0x80;
    Add(items.Make(isSubsystem ? kSubsystemReply : kPacket, time, std::move(packet)));
  }
  // What became of request number `place` of the capture's: 'a', 'r' or '-'.
  [[nodiscard]] std::string States() const {
    std::string states;
    for (const sRequest& request : replies.Kept()) {
      states += "-ar"[static_cast<std::size_t>(request.state)];
    }
    return states;
  }

  cMadeItems items;
  cRequestReplies replies;
};

TEST_F(RequestRepliesTest, AReplyAnswersTheRequestOfItsCommand) {
  Text(1000, "Port COM7 connected");
  Request(1000, {0x1D});
  Reply(1012, {0x1D, 1, 2, 3, 4, 5, 6, 7, 8});
  ASSERT_EQ(replies.Kept().size(), 1U);
  const sRequest& request = replies.Kept()[0];
  EXPECT_EQ(request.number, 1U);
  EXPECT_EQ(request.name, "time stamp");
  EXPECT_EQ(request.connection, 1U);
  EXPECT_EQ(request.state, eRequestState::Answered);
  EXPECT_EQ(request.replyNumber, 2U);
  EXPECT_EQ(request.replyTime, 1012U);
  EXPECT_EQ(request.RoundTrip(), 12U);
  EXPECT_EQ(replies.Waiting(), nullptr);
}

TEST_F(RequestRepliesTest, APacketThatNobodyAskedForAnswersNothing) {
  Text(1000, "Port COM7 connected");
  Request(1000, {0x7C});
  Reply(1001, {0x0C, 0});
  Reply(1002, {0x29, 1});
  EXPECT_EQ(States(), "-");
  EXPECT_EQ(replies.RepliesToNone(), 2U);
  ASSERT_NE(replies.Waiting(), nullptr);
  EXPECT_EQ(replies.Waiting()->name, "build ID");
  Reply(1003, {0x7C, 0});
  EXPECT_EQ(States(), "a");
}

TEST_F(RequestRepliesTest, SubsystemCommandsAreToldApart) {
  Request(0, {0x4B, 0x08, 0, 0});
  Request(0, {0x4B, 0x08, 1, 0});
  Reply(5, {0x4B, 0x08, 1, 0, 9});
  EXPECT_EQ(States(), "-a");
  // The second form of the command, with its status and delayed-response header.
  Reply(6, {0x80, 0x08, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(States(), "aa");
  EXPECT_EQ(replies.Kept()[1].name, "subsystem 0x08 command 0x0001");
}

TEST_F(RequestRepliesTest, MasksAreToldApartByTheirSubjects) {
  Request(0, Levels(3));
  Request(0, Levels(5));
  Request(0, LogMask(1));
  Request(0, LogMask(11));
  Reply(1, LogMaskReply(11));
  ByteVector levels = Levels(5);
  levels[6] = 1;
  Reply(2, levels);
  EXPECT_EQ(States(), "-a-a");
  std::vector<std::string> names;
  for (const auto& [name, requests] : replies.ByName()) {
    names.push_back(name);
  }
  EXPECT_THAT(names, ElementsAre("log mask, equipment ID 1", "log mask, equipment ID 11",
                                 "message level, SSID 3", "message level, SSID 5"));
}

TEST_F(RequestRepliesTest, AShortReplyToAMaskAnswersTheOldestOne) {
  Request(0, LogMask(1));
  Request(0, LogMask(4));
  Reply(1, {0x73, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(States(), "a-");
}

TEST_F(RequestRepliesTest, AReplyOfAnotherOperationIsNone) {
  Request(0, LogMask(1));
  Reply(1, {0x73, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(States(), "-");
}

TEST_F(RequestRepliesTest, TheShortEventAnswerIsOfTheEventSwitch) {
  Request(0, {0x60, 1});
  // A report of one event, which the modem sends by itself.
  Add(items.Make(kPacket, 1, {0x60, 4, 0, 0x01, 0x80, 0, 0}));
  EXPECT_EQ(States(), "-");
  Reply(2, {0x60, 0, 0});
  EXPECT_EQ(States(), "a");
  EXPECT_EQ(replies.Kept()[0].name, "event report, on");
}

TEST_F(RequestRepliesTest, ARefusalIsOfTheRequestBehindIt) {
  Request(0, {0x63});
  Request(0, LogMask(1));
  Request(0, LogMask(9));
  Reply(7, Refusal(0x15, LogMask(9)));
  Reply(8, Refusal(0x13, {0x63}));
  EXPECT_EQ(States(), "r-r");
  EXPECT_EQ(replies.Kept()[0].refusal, "bad command");
  EXPECT_EQ(replies.Kept()[2].refusal, "bad length");
  ASSERT_EQ(replies.Refused().size(), 2U);
  EXPECT_EQ(replies.Refused()[0].number, 2U);
  EXPECT_EQ(replies.Totals().refused, 2U);
  EXPECT_EQ(replies.Totals().Unanswered(), 1U);
}

TEST_F(RequestRepliesTest, ARefusalOfNothingIsOfTheNewestRequest) {
  Request(0, {0x00});
  Request(0, {0x7C});
  Reply(1, {0x13});
  EXPECT_EQ(States(), "-r");
}

TEST_F(RequestRepliesTest, ARefusalOfAnotherRequestRefusesNone) {
  Request(0, {0x00});
  Reply(1, {0x13, 0x7C});
  EXPECT_EQ(States(), "-");
  EXPECT_EQ(replies.RepliesToNone(), 1U);
}

TEST_F(RequestRepliesTest, AStatusThatIsNotZeroRefusesAMask) {
  Request(0, LogMask(15));
  Request(0, {0x82, 0, 0, 0, 8, 0, 0xFF});
  Reply(1, LogMaskReply(15, 2));
  Reply(1, {0x82, 1, 0, 0, 8, 0, 0});
  EXPECT_EQ(States(), "rr");
  EXPECT_EQ(replies.Kept()[0].refusal, "status 2");
  EXPECT_EQ(replies.Kept()[1].refusal, "status 1");
}

TEST_F(RequestRepliesTest, ARequestThatIsSentTwiceIsAnsweredInOrder) {
  Request(0, {0x00});
  Request(10, {0x00});
  Reply(11, {0x00, 1});
  EXPECT_EQ(States(), "a-");
  Reply(12, {0x00, 1});
  EXPECT_EQ(States(), "aa");
  Reply(13, {0x00, 1});
  EXPECT_EQ(replies.RepliesToNone(), 1U);
}

TEST_F(RequestRepliesTest, AReplyInFrontOfItsRequestIsNone) {
  Reply(0, {0x00, 1});
  Request(1, {0x00});
  EXPECT_EQ(States(), "-");
}

TEST_F(RequestRepliesTest, NoReplyIsAwaitedBehindADisconnection) {
  Text(0, "Port COM7 connected");
  Request(1, {0x00});
  Reply(2, {0x00, 1});
  Request(3, {0x7C});
  Text(4, "Port COM7 disconnected");
  Reply(5, {0x7C, 1});
  EXPECT_EQ(replies.Waiting(), nullptr);
  EXPECT_EQ(replies.Present(), nullptr);
  Text(6, "Port COM7 connected");
  Request(7, {0x7C});
  Reply(8, {0x7C, 1});
  EXPECT_EQ(States(), "a-a");
  ASSERT_EQ(replies.SetUps().size(), 2U);
  EXPECT_TRUE(replies.SetUps()[0].isOver);
  EXPECT_EQ(replies.SetUps()[0].totals.Unanswered(), 1U);
  ASSERT_NE(replies.Present(), nullptr);
  EXPECT_EQ(replies.Present()->connection, 2U);
  EXPECT_EQ(replies.Present()->totals.answered, 1U);
  ASSERT_EQ(replies.Unanswered().size(), 1U);
  EXPECT_EQ(replies.Unanswered()[0].name, "build ID");
}

TEST_F(RequestRepliesTest, PortsThatAreMergedKeepTheirRequests) {
  Text(0, "Port COM7 connected");
  Request(1, {0x00});
  Text(2, "Port COM8 connected");
  Request(3, {0x00});
  Reply(4, {0x00, 1});
  EXPECT_EQ(States(), "-a");
  Text(5, "Port COM7 connected");
  Reply(6, {0x00, 1});
  EXPECT_EQ(States(), "aa");
}

TEST_F(RequestRepliesTest, TheRecorderWaitsForItsNewestRequestOnly) {
  Text(0, "Port COM7 connected");
  Request(1, {0x00});
  Request(2, {0x7C});
  Reply(3, {0x7C, 1});
  // The first one was passed over, and the recorder went on.
  EXPECT_EQ(replies.Waiting(), nullptr);
  EXPECT_EQ(replies.Totals().Unanswered(), 1U);
}

TEST_F(RequestRepliesTest, AClockThatIsSetBackGivesNoRoundTrip) {
  Request(1000, {0x00});
  Reply(400, {0x00, 1});
  EXPECT_EQ(States(), "a");
  EXPECT_EQ(replies.Kept()[0].RoundTrip(), std::nullopt);
  EXPECT_EQ(replies.RoundTrips().Count(), 0U);
}

TEST_F(RequestRepliesTest, RoundTripsAreByName) {
  for (const std::uint64_t trip : {5U, 1U, 9U}) {
    Request(0, {0x00});
    Reply(trip, {0x00, 1});
  }
  const sNamedRequests& version = replies.ByName().at("version");
  EXPECT_EQ(version.roundTrips.Least(), 1U);
  EXPECT_EQ(version.roundTrips.Median(), 5U);
  EXPECT_EQ(version.roundTrips.Greatest(), 9U);
  EXPECT_EQ(replies.RoundTrips().Count(), 3U);
}

TEST_F(RequestRepliesTest, PacketsInWrappersAnswerAsWell) {
  Request(0, {0x00});
  Reply(1, {0x98, 1, 0, 0, 2, 0, 0, 0, 0x00, 0x55});
  EXPECT_EQ(States(), "a");
}

TEST_F(RequestRepliesTest, RequestsWithoutEndTakeNoMoreMemory) {
  const std::size_t sent = cRequestReplies::kMostKept + 5;
  for (std::size_t number = 0; number < sent; ++number) {
    Request(number, {static_cast<std::uint8_t>(0x4B), static_cast<std::uint8_t>(number >> 8), 0,
                     static_cast<std::uint8_t>(number)});
  }
  EXPECT_EQ(replies.Totals().sent, sent);
  EXPECT_EQ(replies.Kept().size(), cRequestReplies::kMostKept);
  EXPECT_EQ(replies.ByName().size(), cRequestReplies::kMostNames);
  EXPECT_EQ(replies.OtherNames().totals.sent, sent - cRequestReplies::kMostNames);
  EXPECT_EQ(replies.Unanswered().size(), cRequestReplies::kMostKept);
  // The oldest ones were given up, the newest ones wait.
  Reply(0, {0x4B, 0, 0, 0});
  EXPECT_EQ(replies.Totals().answered, 0U);
  Reply(0,
        {0x4B, static_cast<std::uint8_t>((sent - 1) >> 8), 0, static_cast<std::uint8_t>(sent - 1)});
  EXPECT_EQ(replies.Totals().answered, 1U);
}

TEST_F(RequestRepliesTest, NothingComesOfNothing) {
  EXPECT_THAT(replies.Kept(), IsEmpty());
  EXPECT_THAT(replies.Unanswered(), IsEmpty());
  EXPECT_EQ(replies.Present(), nullptr);
  EXPECT_EQ(replies.Waiting(), nullptr);
}

}  // namespace
}  // namespace corvane
