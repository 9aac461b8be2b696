#include "convert/signalling_export.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "convert/modem_time.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

constexpr std::uint32_t kPacketItem = 1;
constexpr std::uint32_t kRequestItem = 2;
constexpr std::uint32_t kEventItem = 4;
constexpr std::uint32_t kLogItem = 5;
constexpr std::uint32_t kMessageItem = 6;
constexpr std::uint32_t kTextItem = 7;

// Keeps what the frames have, in place of a file.
class cKeptFrames final : public cFrameWriter {
 public:
  struct sKept {
    std::string comment;
    std::int64_t time = 0;
    ByteVector bytes;
    std::string dissector = {};
    std::string protocol = {};
    std::optional<eLink> link = {};
  };

  explicit cKeptFrames(std::vector<sKept>& keeper) : kept(keeper) {}

  bool refusesMessages = false;

  [[nodiscard]] bool Add(const sFrame& frame) override {
    if (refusesMessages && frame.sort == eFrameSort::Message) {
      return false;
    }
    const ByteVector bytes = frame.signalling == nullptr
                                 ? ByteVector(frame.bytes.begin(), frame.bytes.end())
                                 : frame.signalling->message;
    kept.push_back({std::string(frame.comment), frame.time, bytes,
                    std::string(frame.dissector.name), std::string(frame.dissector.protocol),
                    frame.link});
    return true;
  }

 private:
  std::vector<sKept>& kept;
};

struct sExport {
  std::vector<cKeptFrames::sKept> frames;
  cSignallingExport exported;
  std::uint64_t number = 0;

  explicit sExport(const sExportOptions& options = {}, bool refusesMessages = false)
      : exported(options, Writer(refusesMessages)) {}

  [[nodiscard]] std::unique_ptr<cFrameWriter> Writer(bool refusesMessages) {
    auto writer = std::make_unique<cKeptFrames>(frames);
    writer->refusesMessages = refusesMessages;
    return writer;
  }

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

// --- What is shown besides signalling

[[nodiscard]] std::string TextOf(const ByteVector& bytes) { return {bytes.begin(), bytes.end()}; }

// SSID 5, line 120, level 4, two lost before: "cell %d found" with 7, of cell.cpp.
[[nodiscard]] ByteVector DebugMessage() {
  ByteVector packet = Hex("79 00 01 02");
  Append(packet, StampAt(kNoon), 8);
  const ByteVector rest = Hex("78 00 05 00 04 00 00 00 07 00 00 00");
  packet.insert(packet.end(), rest.begin(), rest.end());
  for (const std::string_view text : {"cell %d found", "cell.cpp"}) {
    packet.insert(packet.end(), text.begin(), text.end());
    packet.push_back(0);
  }
  return packet;
}

TEST(SignallingExportTest, DebugMessagesAndTextsAreLines) {
  sExportOptions options;
  options.messages = true;
  sExport exported(options);
  exported.Add(kTextItem, TextItem("Port COM7 connected"));
  exported.Add(kMessageItem, DebugMessage());
  exported.Add(kRequestItem, Hex("1D"));
  ASSERT_EQ(exported.frames.size(), 2U);
  EXPECT_EQ(exported.frames[0].comment, "item 0, text, COM7");
  EXPECT_EQ(TextOf(exported.frames[0].bytes), "<14>Port COM7 connected");
  EXPECT_EQ(exported.frames[1].comment, "item 1, message, COM7");
  EXPECT_EQ(TextOf(exported.frames[1].bytes),
            "<13>call manager  cell.cpp:120  cell 7 found  (2 lost before)");
  EXPECT_EQ(exported.frames[1].dissector, "syslog");
  EXPECT_EQ(exported.frames[1].link, std::nullopt);
}

TEST(SignallingExportTest, RequestsRepliesAndOtherPacketsAreBytes) {
  sExportOptions options;
  options.requests = true;
  sExport exported(options);
  const ByteVector reply = Hex("1D 00 00 00 00 00 00 00 00");
  const ByteVector unknown = Hex("8E 01 02");
  const ByteVector wrapped = Hex("98 01 00 00 02 00 00 00 8E 01 02");
  exported.Add(kRequestItem, Hex("1D"));
  exported.Add(kPacketItem, reply);
  exported.Add(kPacketItem, unknown);
  exported.Add(kPacketItem, wrapped);
  exported.Add(kMessageItem, DebugMessage());
  ASSERT_EQ(exported.frames.size(), 4U);
  const auto& [request, answer, other, inner] =
      std::tie(exported.frames[0], exported.frames[1], exported.frames[2], exported.frames[3]);
  EXPECT_EQ(request.comment, "item 0, request 0x1D time stamp, DIAG");
  EXPECT_EQ(request.protocol, "DIAG request");
  EXPECT_EQ(request.link, eLink::Uplink);
  EXPECT_EQ(request.bytes, Hex("1D"));
  EXPECT_EQ(answer.comment, "item 1, reply 0x1D time stamp, DIAG");
  EXPECT_EQ(answer.protocol, "DIAG reply");
  EXPECT_EQ(answer.link, eLink::Downlink);
  EXPECT_EQ(answer.bytes, reply);
  EXPECT_EQ(other.comment, "item 2, packet 0x8E, DIAG");
  EXPECT_EQ(other.protocol, "DIAG packet");
  EXPECT_EQ(other.link, eLink::Downlink);
  EXPECT_EQ(other.dissector, "data");
  EXPECT_EQ(inner.comment, "item 3, packet 0x8E, DIAG subscription 2");
  EXPECT_EQ(inner.bytes, unknown);
}

TEST(SignallingExportTest, ARequestToASubsystemIsNamedWithIt) {
  sExportOptions options;
  options.requests = true;
  sExport exported(options);
  exported.Add(kRequestItem, Hex("4B 25 08 00"));
  ASSERT_EQ(exported.frames.size(), 1U);
  EXPECT_EQ(exported.frames[0].comment, "item 0, request 0x4B debug get-item, DIAG");
}

// --- What is counted

TEST(SignallingExportTest, LogsWithoutSignallingAreCounted) {
  // 0x1FF0 is no log that carries signalling; the second time it is told without a look at it.
  ByteVector other = Hex("10 00 0C 00 0C 00 F0 1F");
  Append(other, StampAt(kNoon), 8);
  const char* const told = "3 log packets carry no signalling";
  sExport exported;
  for (int count = 0; count < 3; ++count) {
    exported.Add(kLogItem, other);
  }
  EXPECT_THAT(exported.exported.Notes(), testing::ElementsAre("0 messages of 3 items", told));

  sExportOptions options;
  options.raw = true;
  sExport raw(options);
  for (int count = 0; count < 3; ++count) {
    raw.Add(kLogItem, other);
  }
  EXPECT_THAT(raw.exported.Notes(),
              testing::ElementsAre("0 messages and 3 other frames of 3 items", told));
}

TEST(SignallingExportTest, ALogThatEndsBeforeItsCodeIsNoMessage) {
  sExport exported;
  exported.Add(kLogItem, Hex("10 00 04 00 04 00 C0"));
  EXPECT_TRUE(exported.frames.empty());
  EXPECT_THAT(exported.exported.Notes(), testing::ElementsAre("0 messages of 1 item"));
}

TEST(SignallingExportTest, WhatTheFormatCannotCarryIsCounted) {
  sExport exported({}, true);
  exported.Add(kLogItem, RrcOf1980(2));
  EXPECT_TRUE(exported.frames.empty());
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages of 1 item",
                                   "1 packet is not shown: 0xB0C0 LTE RRC OTA message, version 2, "
                                   "the format cannot carry it"));
}

TEST(SignallingExportTest, PartsThatMakeNoMessageAreCounted) {
  sExport exported;
  // The first of the parts that a log of version 30 cuts a message into.
  exported.Add(kLogItem, Hex("10 00 25 00 25 00 C0 B0 00 60 89 67 45 23 F1 00 1E C2 C3 C4 C5"
                             "02 44 01 AA 05 01 00 17 20 09 D0 D1 D2 D3 01 00 D6 D7 01 24"));
  EXPECT_THAT(exported.exported.Notes(),
              testing::ElementsAre("0 messages of 1 item",
                                   "1 message lacks parts and is not shown: "
                                   "0xB0C0 LTE RRC OTA message, version 30"));
}

}  // namespace
}  // namespace corvane
