#include "convert/signalling_export.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "convert/modem_time.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

constexpr std::uint32_t kPacketItem = 1;
constexpr std::uint32_t kEventItem = 4;
constexpr std::uint32_t kLogItem = 5;

// Keeps what the frames have, in place of a file.
class cKeptFrames final : public cFrameWriter {
 public:
  struct sKept {
    std::string comment;
    std::int64_t time = 0;
    ByteVector bytes;
  };

  explicit cKeptFrames(std::vector<sKept>& keeper) : kept(keeper) {}

  [[nodiscard]] bool Add(const sFrame& frame) override {
    const ByteVector bytes = frame.signalling == nullptr
                                 ? ByteVector(frame.bytes.begin(), frame.bytes.end())
                                 : frame.signalling->message;
    kept.push_back({std::string(frame.comment), frame.time, bytes});
    return true;
  }

 private:
  std::vector<sKept>& kept;
};

struct sExport {
  std::vector<cKeptFrames::sKept> frames;
  cSignallingExport exported;
  std::uint64_t number = 0;

  explicit sExport(const sExportOptions& options = {})
      : exported(options, std::make_unique<cKeptFrames>(frames)) {}

  void Add(std::uint32_t type, const ByteVector& packet) {
    sCaptureItem item;
    item.number = number++;
    item.type = type;
    item.time = kNoon;
    item.bytes = packet;
    exported.Add(item);
  }
};

[[nodiscard]] sExportOptions WithEvents() {
  sExportOptions options;
  options.events = true;
  return options;
}

// --- Markers

TEST(SignallingExportTest, AMarkerIsALineOfTextAmongMessages) {
  sExportOptions options;
  options.messages = true;
  sExport exported(options);
  sCaptureItem text;
  text.type = 7;
  text.bytes = TextItem("Port COM7 connected");
  exported.exported.Pass(text);
  exported.exported.Mark({kNoon + 5, "tunnel"});
  ASSERT_EQ(exported.frames.size(), 1U);
  EXPECT_EQ(exported.frames[0].comment, "marker, COM7");
  EXPECT_EQ(exported.frames[0].time, UnixNanosecondsOfItem(kNoon + 5));
  EXPECT_EQ(std::string(exported.frames[0].bytes.begin(), exported.frames[0].bytes.end()),
            "<14>marker  tunnel");
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages and 1 other frame of 0 items"));
}

TEST(SignallingExportTest, MarkersThatAreNotShownAreCounted) {
  sExport exported;
  exported.exported.Mark({kNoon, "tunnel"});
  EXPECT_TRUE(exported.frames.empty());
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages of 0 items",
                                   "1 marker is not shown (pcapng shows them with --messages)"));
}

// --- Times of events

TEST(SignallingExportTest, AStampThatIsNotBelievedCountsOnce) {
  sExport exported(WithEvents());
  // Event 1606, stamped 1980.
  exported.Add(kEventItem, Hex("60 0B 00 46 26 00 00 00 00 00 00 00 00 04"));
  ASSERT_EQ(exported.frames.size(), 1U);
  EXPECT_EQ(exported.frames[0].time, UnixNanosecondsOfItem(kNoon));
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages and 1 other frame of 1 item",
                                   testing::StartsWith("1 modem time is ")));
}

TEST(SignallingExportTest, EachStampOfAReportCountsOnce) {
  // Three events without a payload: 1980, noon, 1980.
  ByteVector report = Hex("60 1E 00");
  for (const std::uint64_t stamp :
       {std::uint64_t{0}, StampAt(kNoon) + (1U << 16), std::uint64_t{0}}) {
    Append(report, 256, 2);
    Append(report, stamp, 8);
  }
  sExport exported(WithEvents());
  exported.Add(kPacketItem, report);
  ASSERT_EQ(exported.frames.size(), 3U);
  const std::int64_t noon = UnixNanosecondsOfItem(kNoon);
  EXPECT_EQ(exported.frames[0].time, noon);
  EXPECT_EQ(exported.frames[1].time, noon + 1'250'000);
  EXPECT_EQ(exported.frames[2].time, noon);
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages and 3 other frames of 1 item",
                                   testing::StartsWith("2 modem times are ")));
}

// LTE RRC, laid out as version 2 has it, stamped 1980.
[[nodiscard]] ByteVector RrcOf1980(std::uint8_t version) {
  ByteVector packet =
      Hex("10 00 1A 00 1A 00 C0 B0 00 00 00 00 00 00 00 00"
          "02 09 00 01 44 01 21 07 00 00 01 01 00 2A");
  packet[16] = version;
  return packet;
}

TEST(SignallingExportTest, StampsOfWhatIsNotShownDoNotCount) {
  sExport exported;
  exported.Add(kLogItem, RrcOf1980(1));
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages of 1 item",
                                   testing::HasSubstr("0xB0C0 LTE RRC OTA message, version 1")));
}

TEST(SignallingExportTest, AStampCountsOnceForAllFramesOfItsItem) {
  sExportOptions options;
  options.raw = true;
  sExport exported(options);
  exported.Add(kLogItem, RrcOf1980(2));
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("1 message and 1 other frame of 1 item",
                                   testing::StartsWith("1 modem time is ")));
}

// --- Comments

// Part `number` of an IP packet that was logged byte by byte, but for its header.
[[nodiscard]] ByteVector IpPart(std::uint16_t number, bool isLast) {
  ByteVector packet = Hex("10 00 00 00 00 00 EB 11");
  Append(packet, StampAt(kNoon), 8);
  const ByteVector front = Hex("00 01 00 00 05 00");
  packet.insert(packet.end(), front.begin(), front.end());
  Append(packet, number | (isLast ? 0x8000U : 0U), 2);
  const ByteVector bytes =
      number == 0 ? Hex("45 00 FF FF 00 01 00 00 40 01 00 00 7F 00 00 01 7F 00 00 01") : Hex("AA");
  packet.insert(packet.end(), bytes.begin(), bytes.end());
  Put(packet, 2, packet.size() - 4, 2);
  Put(packet, 4, packet.size() - 4, 2);
  return packet;
}

// What the comment says of a packet in so many parts.
[[nodiscard]] std::string JoinedFrom(std::uint16_t parts) {
  sExport exported;
  for (std::uint16_t number = 0; number < parts; ++number) {
    exported.Add(kLogItem, IpPart(number, number + 1 == parts));
  }
  EXPECT_EQ(exported.frames.size(), 1U);
  const std::string comment = exported.frames.empty() ? "" : exported.frames[0].comment;
  return comment.substr(comment.find("joined"));
}

TEST(SignallingExportTest, TheItemsOfAMessageAreNamed) {
  EXPECT_EQ(JoinedFrom(3), "joined from items 0, 1, 2");
  EXPECT_EQ(JoinedFrom(16),
            "joined from items 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15");
}

TEST(SignallingExportTest, OfManyItemsTheFirstAreNamed) {
  EXPECT_EQ(
      JoinedFrom(20'000),
      "joined from items 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15 and 19984 more");
}

// --- What the recorder rebuilt

// A block that came on BCH, stamped as its item: its type and a byte of it.
[[nodiscard]] ByteVector RebuiltBlock(const char* block) {
  const ByteVector bytes = Hex(block);
  ByteVector packet = Hex("10 00 00 00 00 00 2F 41");
  Append(packet, StampAt(kNoon), 8);
  Append(packet, 0xFE, 2);
  Append(packet, bytes.size(), 2);
  packet.insert(packet.end(), bytes.begin(), bytes.end());
  Put(packet, 2, packet.size() - 4, 2);
  Put(packet, 4, packet.size() - 4, 2);
  return packet;
}

// The recorder's mistakes are no messages of the modem's that were lost.
TEST(SignallingExportTest, ARebuiltBlockOfNoTypeIsLeftOutAsRebuilt) {
  sExport exported;
  for (const char* const block : {"05 AA", "1F AA", "C8 AA", ""}) {
    exported.Add(kLogItem, RebuiltBlock(block));
  }
  EXPECT_TRUE(exported.frames.empty());
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages of 4 items",
                                   testing::StartsWith("4 system-information blocks that the "
                                                       "recorder rebuilt are left out")));
}

TEST(SignallingExportTest, AKeptRebuiltBlockOfNoTypeIsNotShown) {
  sExportOptions options;
  options.keepRebuilt = true;
  sExport exported(options);
  exported.Add(kLogItem, RebuiltBlock("05 AA"));
  exported.Add(kLogItem, RebuiltBlock("1F AA"));
  ASSERT_EQ(exported.frames.size(), 1U);
  EXPECT_THAT(exported.frames[0].comment, testing::EndsWith("rebuilt by the recorder"));
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("1 message of 2 items", testing::EndsWith("SIB type 31")));
}

}  // namespace
}  // namespace corvane
