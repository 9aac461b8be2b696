#include "diag/packets.h"

#include <gtest/gtest.h>

#include <set>

#include "diag/made_packets.h"

namespace corvane {
namespace {

eReply Classify(const ByteVector& bytes) { return ClassifyReply(MakePacket(bytes)->Bytes()); }

TEST(ReplyTest, EveryCodeBesideTheStreamingOnesIsAResponse) {
  const std::set<std::uint32_t> streaming = {0x10, 0x1F, 0x60, 0x74, 0x79, 0x92};
  for (std::uint32_t code = 0; code < 256; ++code) {
    const eReply expected = streaming.contains(code) ? eReply::None : eReply::Response;
    EXPECT_EQ(Classify({static_cast<std::uint8_t>(code)}), expected) << "code " << code;
    EXPECT_EQ(Classify({static_cast<std::uint8_t>(code), 1, 2, 3}), expected) << "code " << code;
  }
}

TEST(ReplyTest, ALogPacketIsNoReply) { EXPECT_EQ(Classify({0x10, 0x00, 0x00}), eReply::None); }

TEST(ReplyTest, SixtyZeroZeroOfThreeBytesAnswersTheEventReportRequest) {
  EXPECT_EQ(Classify({0x60, 0x00, 0x00}), eReply::EventReport);
}

TEST(ReplyTest, AnyOtherPacketWithTheEventReportCodeIsAnEventReport) {
  EXPECT_EQ(Classify({0x60}), eReply::None);
  EXPECT_EQ(Classify({0x60, 0x00}), eReply::None);
  EXPECT_EQ(Classify({0x60, 0x01, 0x00}), eReply::None);
  EXPECT_EQ(Classify({0x60, 0x00, 0x01}), eReply::None);
  EXPECT_EQ(Classify({0x60, 0x00, 0x00, 0x00}), eReply::None);
}

TEST(ReplyTest, NoOtherStreamingPacketOfThatFormIsAReply) {
  for (const int code : {0x10, 0x1F, 0x74, 0x79, 0x92}) {
    EXPECT_EQ(Classify({static_cast<std::uint8_t>(code), 0x00, 0x00}), eReply::None);
  }
}

TEST(ReplyTest, AnEmptyPacketIsNoReply) { EXPECT_EQ(Classify({}), eReply::None); }

TEST(ReplyTest, AResponseIsNotComparedWithTheRequestsCommand) {
  EXPECT_EQ(Classify({0x13, 0x1D}), eReply::Response);
  EXPECT_EQ(Classify({0x4B, 0x0F, 0x00, 0x00}), eReply::Response);
}

}  // namespace
}  // namespace corvane
