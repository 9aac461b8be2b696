#include "capture/isf/event_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "support/bytes.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct sSplit {
  bool isWhole = false;
  std::vector<cBufferReference> events;

  [[nodiscard]] ByteVector Event(std::size_t i) const {
    const auto bytes = events.at(i)->Bytes();
    return {bytes.begin(), bytes.end()};
  }
};

[[nodiscard]] sSplit Split(const ByteVector& report, std::uint32_t origin = kOriginDevice) {
  const cBufferReference buffer(std::make_unique<sSharedBuffer>(
      report.data(), static_cast<std::int32_t>(report.size()), origin));
  const sDiagBuffer view(buffer.Get());
  sSplit split;
  split.isWhole = SplitEventReport(view, split.events);
  return split;
}

// A report around these events.
[[nodiscard]] ByteVector Report(const std::vector<ByteVector>& events, std::uint8_t code = 0x60) {
  ByteVector report = {code, 0, 0};
  for (const ByteVector& event : events) {
    report.insert(report.end(), event.begin(), event.end());
  }
  const std::size_t length = report.size() - 3;
  report[1] = static_cast<std::uint8_t>(length % 256);
  report[2] = static_cast<std::uint8_t>(length / 256);
  return report;
}

const ByteVector kFullTimeEvent = {0x23, 0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};

TEST(EventReportTest, AnEventWithoutPayloadBecomesA13BytePacket) {
  const sSplit split = Split(Report({kFullTimeEvent}));
  EXPECT_TRUE(split.isWhole);
  ASSERT_THAT(split.events, SizeIs(1));
  EXPECT_THAT(split.Event(0), ElementsAre(0x60, 0x0A, 0x00, 0x23, 0x01, 0x01, 0x02, 0x03, 0x04,
                                          0x05, 0x06, 0x07, 0x08));
}

TEST(EventReportTest, EventsComeFromTheDeviceAndAreHeldByOneReference) {
  const sSplit split = Split(Report({kFullTimeEvent, kFullTimeEvent}));
  ASSERT_THAT(split.events, SizeIs(2));
  for (const cBufferReference& event : split.events) {
    EXPECT_EQ(event->origin, kOriginDevice);
    EXPECT_EQ(event->refCount, 1U);
  }
}

TEST(EventReportTest, TheOtherReportCodeIsKeptInItsEvents) {
  const sSplit split = Split(Report({kFullTimeEvent}, 0x74));
  EXPECT_TRUE(split.isWhole);
  EXPECT_EQ(split.Event(0).at(0), 0x74);
}

TEST(EventReportTest, PayloadsOfOneAndTwoBytesAreTaken) {
  const sSplit split = Split(Report({{0x23, 0x21, 1, 2, 3, 4, 5, 6, 7, 8, 0xAA},
                                     {0x24, 0x41, 1, 2, 3, 4, 5, 6, 7, 8, 0xBB, 0xCC}}));
  EXPECT_TRUE(split.isWhole);
  ASSERT_THAT(split.events, SizeIs(2));
  EXPECT_THAT(split.Event(0),
              ElementsAre(0x60, 0x0B, 0x00, 0x23, 0x21, 1, 2, 3, 4, 5, 6, 7, 8, 0xAA));
  EXPECT_THAT(split.Event(1),
              ElementsAre(0x60, 0x0C, 0x00, 0x24, 0x41, 1, 2, 3, 4, 5, 6, 7, 8, 0xBB, 0xCC));
}

TEST(EventReportTest, ACountedPayloadKeepsItsCountByte) {
  const sSplit split = Split(Report({{0x23, 0x61, 1, 2, 3, 4, 5, 6, 7, 8, 3, 0xAA, 0xBB, 0xCC}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_THAT(split.Event(0), ElementsAre(0x60, 0x0E, 0x00, 0x23, 0x61, 1, 2, 3, 4, 5, 6, 7, 8, 3,
                                          0xAA, 0xBB, 0xCC));
}

TEST(EventReportTest, ACountedPayloadOfNothingIsItsCountByte) {
  const sSplit split = Split(Report({{0x23, 0x61, 1, 2, 3, 4, 5, 6, 7, 8, 0}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_THAT(split.Event(0), ElementsAre(0x60, 0x0B, 0x00, 0x23, 0x61, 1, 2, 3, 4, 5, 6, 7, 8, 0));
}

TEST(EventReportTest, ACountedPayloadCanHave255Bytes) {
  ByteVector event = {0x23, 0x61, 1, 2, 3, 4, 5, 6, 7, 8, 255};
  event.resize(event.size() + 255, 0xEE);
  const sSplit split = Split(Report({event}));
  EXPECT_TRUE(split.isWhole);
  const ByteVector packet = split.Event(0);
  EXPECT_THAT(packet, SizeIs(256 + 13));
  EXPECT_EQ(packet[1], 0x0A);  // 256 + 10
  EXPECT_EQ(packet[2], 0x01);
  EXPECT_EQ(packet[13], 255);
  EXPECT_EQ(packet.back(), 0xEE);
}

TEST(EventReportTest, AShortTimeReplacesBits8To23OfTheTimeBeforeIt) {
  const sSplit split = Split(Report({kFullTimeEvent,
                                     {0x56, 0xA4, 0xAA, 0xBB, 0x11},
                                     {0xFF, 0xEF, 0xCC, 0xDD, 0x02, 0x21, 0x22}}));
  EXPECT_TRUE(split.isWhole);
  ASSERT_THAT(split.events, SizeIs(3));
  EXPECT_THAT(split.Event(1), ElementsAre(0x60, 0x0B, 0x00, 0x56, 0x24, 0x01, 0xAA, 0xBB, 0x04,
                                          0x05, 0x06, 0x07, 0x08, 0x11));
  EXPECT_THAT(split.Event(2), ElementsAre(0x60, 0x0D, 0x00, 0xFF, 0x6F, 0x01, 0xCC, 0xDD, 0x04,
                                          0x05, 0x06, 0x07, 0x08, 0x02, 0x21, 0x22));
}

TEST(EventReportTest, AShortTimeAtTheStartPatchesZero) {
  const sSplit split = Split(Report({{0x01, 0x80, 0xAA, 0xBB}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_THAT(split.Event(0),
              ElementsAre(0x60, 0x0A, 0x00, 0x01, 0x00, 0, 0xAA, 0xBB, 0, 0, 0, 0, 0));
}

TEST(EventReportTest, AFullTimeReplacesThePatchedOne) {
  const sSplit split =
      Split(Report({{0x01, 0x80, 0xAA, 0xBB}, kFullTimeEvent, {0x01, 0x80, 0x00, 0x00}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_THAT(split.Event(1), ElementsAre(0x60, 0x0A, 0x00, 0x23, 0x01, 0x01, 0x02, 0x03, 0x04,
                                          0x05, 0x06, 0x07, 0x08));
  EXPECT_THAT(split.Event(2),
              ElementsAre(0x60, 0x0A, 0x00, 0x01, 0x00, 0x01, 0, 0, 0x04, 0x05, 0x06, 0x07, 0x08));
}

TEST(EventReportTest, AllBitsOfAFullTimeAreKept) {
  const sSplit split =
      Split(Report({{0x00, 0x00, 0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9, 0xF8}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_THAT(split.Event(0), ElementsAre(0x60, 0x0A, 0x00, 0x00, 0x00, 0xFF, 0xFE, 0xFD, 0xFC,
                                          0xFB, 0xFA, 0xF9, 0xF8));
}

TEST(EventReportTest, Bits12And15OfTheEventWordAreCleared) {
  const sSplit split = Split(Report({{0xFF, 0x9F, 0xAA, 0xBB}}));
  EXPECT_TRUE(split.isWhole);
  EXPECT_EQ(split.Event(0).at(3), 0xFF);
  EXPECT_EQ(split.Event(0).at(4), 0x0F);
}

TEST(EventReportTest, AnotherCommandIsNoReport) {
  for (const std::uint8_t code : ByteVector{0x10, 0x5F, 0x61, 0x73, 0x75}) {
    const sSplit split = Split(Report({kFullTimeEvent}, code));
    EXPECT_FALSE(split.isWhole);
    EXPECT_THAT(split.events, IsEmpty());
  }
}

TEST(EventReportTest, AReportOfThreeBytesOrFewerFails) {
  EXPECT_FALSE(Split({0x60}).isWhole);
  EXPECT_FALSE(Split({0x60, 0x00}).isWhole);
  EXPECT_FALSE(Split({0x60, 0x00, 0x00}).isWhole);
  EXPECT_FALSE(Split({0x74, 0x00, 0x00}).isWhole);
}

TEST(EventReportTest, ALengthThatIsNotTheReportsFails) {
  for (const int wrongBy : {-1, 1, 256}) {
    ByteVector report = Report({kFullTimeEvent});
    const int length = report[1] + wrongBy;
    report[1] = static_cast<std::uint8_t>(length % 256);
    report[2] = static_cast<std::uint8_t>(length / 256);
    const sSplit split = Split(report);
    EXPECT_FALSE(split.isWhole) << wrongBy;
    EXPECT_THAT(split.events, IsEmpty());
  }
}

TEST(EventReportTest, AViewThatIsInvalidFails) {
  EXPECT_FALSE(Split(Report({kFullTimeEvent}), 5).isWhole);
  EXPECT_FALSE(Split({}).isWhole);
}

// Whatever the first event lacks, the whole one before it stays in the list.
class BrokenEventTest : public ::testing::TestWithParam<ByteVector> {};

TEST_P(BrokenEventTest, FailsAndLeavesTheEventsBeforeIt) {
  const sSplit split = Split(Report({kFullTimeEvent, GetParam()}));
  EXPECT_FALSE(split.isWhole);
  EXPECT_THAT(split.events, SizeIs(1));
  const sSplit alone = Split(Report({GetParam()}));
  EXPECT_FALSE(alone.isWhole);
  EXPECT_THAT(alone.events, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(HalfAnEventWord, BrokenEventTest, ::testing::Values(ByteVector{0x23}));
INSTANTIATE_TEST_SUITE_P(NoFullTime, BrokenEventTest, ::testing::Values(ByteVector{0x23, 0x01}));
INSTANTIATE_TEST_SUITE_P(SevenBytesOfAFullTime, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0x01, 1, 2, 3, 4, 5, 6, 7}));
INSTANTIATE_TEST_SUITE_P(NoShortTime, BrokenEventTest, ::testing::Values(ByteVector{0x23, 0x81}));
INSTANTIATE_TEST_SUITE_P(OneByteOfAShortTime, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0x81, 1}));
INSTANTIATE_TEST_SUITE_P(NoByteOfAPayloadOfOne, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0xA1, 1, 2}));
INSTANTIATE_TEST_SUITE_P(OneByteOfAPayloadOfTwo, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0xC1, 1, 2, 3}));
INSTANTIATE_TEST_SUITE_P(NoCountByte, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0xE1, 1, 2}));
INSTANTIATE_TEST_SUITE_P(OneByteTooFewBehindTheCount, BrokenEventTest,
                         ::testing::Values(ByteVector{0x23, 0xE1, 1, 2, 3, 0xAA, 0xBB},
                                           ByteVector{0x23, 0xE1, 1, 2, 1}));

}  // namespace
}  // namespace corvane
