#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/reader_loop.h"
#include "capture/receive_path.h"
#include "capture/session_fixture.h"
#include "platform/error_codes.h"
#include "support/at_allocation.h"
#include "support/failing_allocation.h"

// Packets in the wrappers of modems with several SIMs, on both transports.
namespace corvane {
namespace {

const ByteVector kLog = {0x10, 0x00, 0x0C, 0x00, 0x0C, 0x00, 0x34, 0x12, 1, 2, 3, 4, 5, 6, 7, 8};
const ByteVector kShortLog = {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, 0x34, 0x12};
const ByteVector kReply = {0x4B, 0x0F, 0x00, 0x00, 0x01};

[[nodiscard]] ByteVector Wrapped(std::uint32_t subscription, const ByteVector& packet) {
  ByteVector wrapper = {0x98, 1, 0, 0};
  for (int shift = 0; shift < 32; shift += 8) {
    wrapper.push_back(static_cast<std::uint8_t>(subscription >> shift));
  }
  wrapper.insert(wrapper.end(), packet.begin(), packet.end());
  return wrapper;
}

enum class eWay { SerialPort, MobileBroadband };

// The same bytes come through the reader of a serial port, or as blocks of the other transport.
class MultiSimTest : public cSessionTest, public testing::WithParamInterface<eWay> {
 protected:
  MultiSimTest() {
    NameDevice("COM7");
    Start();
    UseTransport(GetParam() == eWay::SerialPort ? serial : broadband);
    session.unwrapsSubscriptions = true;
    startItems = Items().size();
  }

  // Returns what was printed.
  std::string Receive(const std::vector<ByteVector>& packets) {
    cPrinted printed;
    for (const ByteVector& packet : packets) {
      const ByteVector frame = Framed(packet);
      if (GetParam() == eWay::SerialPort) {
        std::copy(frame.begin(), frame.end(), loop.Room().begin());
        loop.Received(frame.size());
        loop.Pump();
      } else {
        const cBufferReference data(MakeBuffer(frame, kOriginDevice));
        OnDeviceData(&session, data.Get());
      }
    }
    return printed.Take();
  }

  [[nodiscard]] std::vector<sFileItem> Stored() const {
    std::vector<sFileItem> items = Items();
    items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(startItems));
    return items;
  }

  [[nodiscard]] std::vector<ByteVector> Sent() const {
    return GetParam() == eWay::SerialPort ? serial.writes : broadband.writes;
  }

  cReaderLoop loop{session};
  std::size_t startItems = 0;
};

INSTANTIATE_TEST_SUITE_P(Transports, MultiSimTest,
                         testing::Values(eWay::SerialPort, eWay::MobileBroadband),
                         [](const auto& way) {
                           return way.param == eWay::SerialPort ? "SerialPort" : "MobileBroadband";
                         });

TEST_P(MultiSimTest, WithoutTheSettingAWrapperIsAnUnknownPacket) {
  session.unwrapsSubscriptions = false;
  const std::string printed = Receive({Wrapped(2, kLog)});
  EXPECT_EQ(printed, GetParam() == eWay::SerialPort ? "" : "error 160 writing item\n");
  EXPECT_TRUE(Stored().empty());
}

TEST_P(MultiSimTest, WithoutTheSettingAWrapperCountsAsAReply) {
  session.unwrapsSubscriptions = false;
  Push({0x1D});
  Push({0x00});
  std::ignore = Receive({{0x79}, Wrapped(2, kLog)});
  EXPECT_EQ(Sent().size(), 2U);
}

TEST_P(MultiSimTest, ThePacketInsideIsTypedAsIfItHadComeBare) {
  EXPECT_EQ(Receive({Wrapped(1, kLog), Wrapped(1, kShortLog), Wrapped(1, kReply),
                     Wrapped(1, {0x79, 1, 2, 3}), Wrapped(1, {0x0C})}),
            "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{{isf::kLogItem, kLog},
                                              {isf::kShortLogItem, kShortLog},
                                              {isf::kSubsystemItem, kReply},
                                              {isf::kMessageItem, {0x79, 1, 2, 3}},
                                              {isf::kPacketItem, {0x0C}}}));
}

TEST_P(MultiSimTest, TheEventsOfAReportInsideAreTakenApart) {
  // One event, 256, with a full time and no payload.
  const ByteVector report = {0x60, 0x0A, 0x00, 0x00, 0x01, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(Receive({Wrapped(1, report)}), "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{{isf::kEventItem, report}}));
}

TEST_P(MultiSimTest, ATextTellsEachChangeOfSubscriptionFrom1On) {
  EXPECT_EQ(Receive({Wrapped(1, kLog), Wrapped(2, kLog), Wrapped(2, kShortLog), Wrapped(1, kLog),
                     Wrapped(4294967294, kLog)}),
            "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{{isf::kLogItem, kLog},
                                              TextItem("Subscription 2"),
                                              {isf::kLogItem, kLog},
                                              {isf::kShortLogItem, kShortLog},
                                              TextItem("Subscription 1"),
                                              {isf::kLogItem, kLog},
                                              TextItem("Subscription 4294967294"),
                                              {isf::kLogItem, kLog}}));
}

TEST_P(MultiSimTest, Subscriptions0AndAllOnesCountAs1) {
  EXPECT_EQ(Receive({Wrapped(0, kLog), Wrapped(0xFFFFFFFF, kLog), Wrapped(2, kLog),
                     Wrapped(0, kLog), Wrapped(0xFFFFFFFF, kLog)}),
            "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{{isf::kLogItem, kLog},
                                              {isf::kLogItem, kLog},
                                              TextItem("Subscription 2"),
                                              {isf::kLogItem, kLog},
                                              TextItem("Subscription 1"),
                                              {isf::kLogItem, kLog},
                                              {isf::kLogItem, kLog}}));
}

TEST_P(MultiSimTest, ABarePacketChangesNoSubscription) {
  EXPECT_EQ(Receive({Wrapped(2, kLog), kLog, Wrapped(2, kLog)}), "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{TextItem("Subscription 2"),
                                              {isf::kLogItem, kLog},
                                              {isf::kLogItem, kLog},
                                              {isf::kLogItem, kLog}}));
}

TEST_P(MultiSimTest, TheSubscriptionGoesOnOverAReconnection) {
  std::ignore = Receive({Wrapped(2, kLog)});
  {
    cPrinted printed;
    OnDisconnected(&session);
    EXPECT_EQ(printed.Take(), "Port COM7 disconnected\n");
  }
  EXPECT_EQ(Receive({Wrapped(2, kLog), Wrapped(1, kLog)}), "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{TextItem("Subscription 2"),
                                              {isf::kLogItem, kLog},
                                              TextItem("Port COM7 disconnected"),
                                              {isf::kLogItem, kLog},
                                              TextItem("Subscription 1"),
                                              {isf::kLogItem, kLog}}));
}

TEST_P(MultiSimTest, AWrapperInAWrapperIsOpenedToo) {
  EXPECT_EQ(Receive({Wrapped(3, Wrapped(2, kLog))}), "");
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{TextItem("Subscription 2"), {isf::kLogItem, kLog}}));
}

TEST_P(MultiSimTest, AWrapperWithNothingInItStaysUnknown) {
  const std::string refused = GetParam() == eWay::SerialPort ? "" : "error 160 writing item\n";
  EXPECT_EQ(Receive({Wrapped(2, {})}), refused);
  EXPECT_EQ(Receive({{0x98, 1, 0}}), refused);
  EXPECT_TRUE(Stored().empty());
}

TEST_P(MultiSimTest, AnUnknownPacketInsideIsRefused) {
  EXPECT_EQ(Receive({Wrapped(1, {0x99, 1, 2})}),
            GetParam() == eWay::SerialPort ? "" : "error 160 writing item\n");
  EXPECT_TRUE(Stored().empty());
}

TEST_P(MultiSimTest, TheReplyRuleLooksAtThePacketInside) {
  Push({0x1D});
  Push({0x00});
  Push({0x7C});
  // What a modem sends on its own answers nothing; it makes the first request go out.
  std::ignore = Receive({Wrapped(1, kLog)});
  EXPECT_EQ(Sent().size(), 1U);
  std::ignore = Receive({Wrapped(2, kLog), Wrapped(1, {0x79, 1}), Wrapped(1, {0x60, 1, 2})});
  EXPECT_EQ(Sent().size(), 1U);
  std::ignore = Receive({Wrapped(2, kReply)});
  EXPECT_EQ(Sent().size(), 2U);
  std::ignore = Receive({Wrapped(1, {0x60, 0, 0})});
  EXPECT_EQ(Sent().size(), 3U);
}

TEST_P(MultiSimTest, APacketWithoutMemoryIsLostAndItsReplyCounts) {
  Push({0x1D});
  Push({0x00});
  std::ignore = Receive({{0x79}});
  ASSERT_EQ(Sent().size(), 1U);
  const std::size_t before = Stored().size();
  const ByteVector packet = Wrapped(2, kReply);
  const cBufferReference received(MakeBuffer(packet, kOriginDevice));
  {
    cAllocationFailure failure(eHeap::Blocks, 1);
    EXPECT_EQ(RecordReceived(session, *received), 8U);
    EXPECT_TRUE(failure.Disarm());
  }
  EXPECT_EQ(ReplyIn(session, *received), eReply::Response);
  EXPECT_EQ(Stored().size(), before);
}

TEST_P(MultiSimTest, NoPacketIsTakenForAnotherSubscriptions) {
  const cBufferReference received(MakeBuffer(Wrapped(2, kLog), kOriginDevice));
  // The packet's own allocations, and those of its text in front of it.
  std::uint32_t failed = 0;
  for (std::uint32_t result = 1; result != 0; failed += result != 0 ? 1U : 0U) {
    cAllocationFailure failure(eHeap::Blocks, failed + 1);
    result = RecordReceived(session, *received);
    std::ignore = failure.Disarm();
    ASSERT_LT(failed, 100U);
    if (result != 0) {
      EXPECT_EQ(result, kErrorNotEnoughMemory);
      const auto stored = Stored();
      EXPECT_TRUE(stored.empty() || stored.back() == TextItem("Subscription 2"));
    }
  }
  EXPECT_GE(failed, 2U);
  EXPECT_EQ(Stored(), (std::vector<sFileItem>{TextItem("Subscription 2"), {isf::kLogItem, kLog}}));
}

}  // namespace
}  // namespace corvane
