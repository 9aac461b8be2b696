#include "convert/hdlc_export.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "convert/framing.h"
#include "convert/import.h"
#include "convert/memory_sink.h"
#include "convert/modem_time.h"
#include "diag/shared_buffer.h"
#include "platform/error_codes.h"
#include "reader/capture_builder.h"
#include "support/replaced_call.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const ByteVector kLog = Hex("10 00 0D 00 0D 00 C0 B0 01 02 03 04 05 06 07 08 09");
const ByteVector kEvent = Hex("60 0B 00 46 26 11 12 13 14 15 16 17 18 04");
const ByteVector kMessage =
    Hex("79 00 00 00 01 02 03 04 05 06 07 08 10 00 05 00 02 00 00 00 41 00");

// A system-information block of the recorder's (channel 254), stamped with kNoon, 2024-05-17
// 12:00:00 UTC.
[[nodiscard]] ByteVector Rebuilt() {
  ByteVector packet = Hex("10 00 11 00 11 00 2F 41 00 00 00 00 00 00 00 00 FE 00 01 00 AA");
  Put(packet, 8, StampAt(kNoon), 8);
  return packet;
}

[[nodiscard]] ByteVector GetItem(const ByteVector& packet) {
  ByteVector response = Hex("4B 25 08 00 00 00 00 00 00 00 00 00 00");
  response.insert(response.end(), packet.begin(), packet.end());
  return response;
}

[[nodiscard]] ByteVector Wrapped(std::uint32_t subscription, const ByteVector& packet) {
  ByteVector wrapper = Hex("98 01 00 00 00 00 00 00");
  Put(wrapper, 4, subscription, 4);
  wrapper.insert(wrapper.end(), packet.begin(), packet.end());
  return wrapper;
}

[[nodiscard]] ByteVector StreamOf(std::initializer_list<ByteVector> packets) {
  ByteVector stream;
  for (const ByteVector& packet : packets) {
    AppendFrame(stream, packet);
  }
  return stream;
}

struct sItem {
  std::uint32_t type = 0;
  ByteVector packet;
  std::uint64_t time = kNoon;
};

[[nodiscard]] sItem Text(std::string_view text) { return {7, TextItem(text)}; }

struct sExported {
  ByteVector stream;
  std::vector<std::string> notes;
};

[[nodiscard]] sExported Export(std::initializer_list<sItem> items,
                               const sExportOptions& options = {}) {
  cMemorySink sink;
  const auto exported = MakeExport(eExportFormat::Hdlc, options, sink);
  sCaptureItem item;
  for (const auto& [type, packet, time] : items) {
    item.type = type;
    item.time = time;
    item.bytes = packet;
    exported->Add(item);
    ++item.number;
  }
  exported->Finish();
  return {sink.Bytes(), exported->Notes()};
}

TEST(HdlcExportTest, AFrameIsThePacketItsChecksumAndAFlag) {
  // The published check value of CRC-16/X.25: 0x906E for "123456789".
  EXPECT_EQ(Export({{1, Hex("31 32 33 34 35 36 37 38 39")}}).stream,
            Hex("31 32 33 34 35 36 37 38 39 6E 90 7E"));
}

TEST(HdlcExportTest, FlagsAndEscapesAreStuffed) {
  const ByteVector packet = Hex("1D 7E 7D 5E 7E");
  const ByteVector stream = Export({{1, packet}}).stream;
  EXPECT_EQ(stream, FrameOf(packet));
  EXPECT_EQ(ByteVector(stream.begin(), stream.begin() + 8), Hex("1D 7D 5E 7D 5D 5E 7D 5E"));
}

TEST(HdlcExportTest, EveryReceivedPacketIsWrittenInOrder) {
  const ByteVector shortLog = Hex("10 00 01");
  const ByteVector reply = Hex("4B 0F 00 00 01");
  EXPECT_EQ(Export({{5, kLog},
                    {4, kEvent},
                    {6, kMessage},
                    {0, shortLog},
                    {9, reply},
                    {8, kLog},
                    {1, Hex("60 00 00")}})
                .stream,
            StreamOf({kLog, kEvent, kMessage, shortLog, reply, kLog, Hex("60 00 00")}));
}

TEST(HdlcExportTest, TextsAndRequestsAreLeftOut) {
  const sExported exported =
      Export({Text("Corvane version 1.0"), {2, Hex("73 00")}, {10, Hex("4B 0F 00 00")}});
  EXPECT_THAT(exported.stream, IsEmpty());
  EXPECT_THAT(exported.notes, IsEmpty());
}

TEST(HdlcExportTest, ItemsOfUnknownTypesAreLeftOutAndTold) {
  const sExported exported = Export({{3, kLog}, {31, kLog}});
  EXPECT_THAT(exported.stream, IsEmpty());
  EXPECT_THAT(exported.notes, ElementsAre("2 items of unknown types are left out"));
}

// A packet is 16,640 bytes at most; stuffed, twice that.
TEST(HdlcExportTest, TheLongestPacketOfFlagsIsWritten) {
  const ByteVector packet(16'640, 0x7E);
  EXPECT_EQ(Export({{1, packet}}).stream, FrameOf(packet));
}

// --- What the recorder added

TEST(HdlcExportTest, ALogThatEndsBeforeItsCodeIsWritten) {
  for (const ByteVector& packet :
       {Hex("10"), Hex("10 00 03 00 03 00"), Hex("10 00 03 00 03 00 2F")}) {
    EXPECT_EQ(Export({{5, packet}}).stream, FrameOf(packet));
  }
}

TEST(HdlcExportTest, RebuiltBlocksAreLeftOutAndTold) {
  const sExported exported = Export({{8, kLog}, {8, Rebuilt()}});
  EXPECT_EQ(exported.stream, StreamOf({kLog}));
  EXPECT_THAT(exported.notes,
              ElementsAre("1 system-information block that the recorder rebuilt is left out "
                          "(--synthetic keep)"));
}

TEST(HdlcExportTest, RebuiltBlocksCanBeKept) {
  sExportOptions options;
  options.keepRebuilt = true;
  EXPECT_EQ(Export({{8, Rebuilt()}}, options).stream, StreamOf({Rebuilt()}));
}

TEST(HdlcExportTest, BlocksOfTheModemAreReceivedPackets) {
  EXPECT_EQ(Export({{8, Rebuilt(), kNoon + 2}}).stream, StreamOf({Rebuilt()}));
  EXPECT_EQ(Export({Text("Imported from drive.hdlc"), {8, Rebuilt()}}).stream,
            StreamOf({Rebuilt()}));
}

TEST(HdlcExportTest, APacketOutOfTheReplyBeforeItIsLeftOut) {
  const sExported exported = Export({{9, GetItem(kLog)}, {5, kLog}, {5, kLog}});
  EXPECT_EQ(exported.stream, StreamOf({GetItem(kLog), kLog}));
  EXPECT_THAT(exported.notes,
              ElementsAre("1 packet is left out, because the reply in front holds the same"));
}

TEST(HdlcExportTest, OnlyThePacketThatTheReplyHoldsIsLeftOut) {
  ByteVector other = kLog;
  other.back() ^= 1;
  EXPECT_EQ(Export({{9, GetItem(kLog)}, {5, other}, {5, kLog}}).stream,
            StreamOf({GetItem(kLog), other, kLog}));
  // A request in between: the packet came by itself.
  EXPECT_EQ(Export({{9, GetItem(kLog)}, {2, Hex("00")}, {5, kLog}}).stream,
            StreamOf({GetItem(kLog), kLog}));
}

TEST(HdlcExportTest, OtherRepliesHoldNoPacket) {
  for (const auto& [at, value] : std::initializer_list<std::pair<std::size_t, std::uint8_t>>{
           {1, 0x26}, {2, 9}, {3, 1}, {9, 1}, {10, 1}, {11, 1}, {12, 1}}) {
    ByteVector reply = GetItem(kLog);
    reply[at] = value;
    EXPECT_EQ(Export({{9, reply}, {5, kLog}}).stream, StreamOf({reply, kLog})) << at;
  }
  const ByteVector bare = GetItem({});
  EXPECT_EQ(Export({{9, bare}, {5, kLog}}).stream, StreamOf({bare, kLog}));
}

TEST(HdlcExportTest, BothSubsystemCommandsCanHoldAPacket) {
  ByteVector reply = GetItem(kLog);
  reply[0] = 0x80;
  EXPECT_EQ(Export({{9, reply}, {5, kLog}}).stream, StreamOf({reply}));
}

TEST(HdlcExportTest, RepliesWithinRepliesHoldPackets) {
  const ByteVector inner = GetItem(kLog);
  const ByteVector outer = GetItem(inner);
  EXPECT_EQ(Export({{9, outer}, {9, inner}, {5, kLog}, {5, kLog}}).stream, StreamOf({outer, kLog}));
}

TEST(HdlcExportTest, EventsOfAReportInAReplyAreLeftOut) {
  // Two events; the second one has a short time.
  const ByteVector report = Hex("60 10 00 46 26 11 12 13 14 15 16 17 18 04 47 A6 21 22 05");
  const ByteVector second = Hex("60 0B 00 47 26 11 21 22 14 15 16 17 18 05");
  EXPECT_EQ(Export({{9, GetItem(report)}, {4, kEvent}, {4, second}, {4, second}}).stream,
            StreamOf({GetItem(report), second}));
  // A report that breaks off gives no events.
  ByteVector broken = report;
  broken.pop_back();
  EXPECT_EQ(Export({{9, GetItem(broken)}, {4, kEvent}}).stream,
            StreamOf({GetItem(broken), kEvent}));
}

// --- Subscriptions

TEST(HdlcExportTest, APacketOfASubscriptionGoesIntoItsWrapper) {
  EXPECT_EQ(Export({Text("Imported from drive.hdlc"),
                    {5, kLog},
                    Text("Subscription 2"),
                    {5, kLog},
                    {4, kEvent},
                    Text("Subscription none"),
                    {5, kLog}})
                .stream,
            StreamOf({kLog, Wrapped(2, kLog), Wrapped(2, kEvent), kLog}));
}

TEST(HdlcExportTest, OfARecordedSubscriptionOnlyLogsAreWrapped) {
  EXPECT_EQ(Export({Text("Port COM7 connected"),
                    Text("Subscription 2"),
                    {5, kLog},
                    {4, kEvent},
                    {1, {0x0C, 1}},
                    {5, kLog}})
                .stream,
            StreamOf({Wrapped(2, kLog), kEvent, {0x0C, 1}, Wrapped(2, kLog)}));
}

TEST(HdlcExportTest, AnotherPortHasNoSubscriptionUntilItIsTold) {
  EXPECT_EQ(Export({Text("Subscription 2"), Text("Port COM8 connected"), {5, kLog}}).stream,
            StreamOf({kLog}));
}

TEST(HdlcExportTest, AWrapperIsNotWrappedAgain) {
  EXPECT_EQ(Export({Text("Subscription 2"), {1, Wrapped(1, kLog)}}).stream,
            StreamOf({Wrapped(1, kLog)}));
}

TEST(HdlcExportTest, APacketOutOfAReplyIsLeftOutWithItsSubscription) {
  EXPECT_EQ(
      Export(
          {Text("Imported from drive.hdlc"), Text("Subscription 2"), {9, GetItem(kLog)}, {5, kLog}})
          .stream,
      StreamOf({Wrapped(2, GetItem(kLog))}));
}

TEST(HdlcExportTest, ATextThatIsPassedOverStillTellsTheSubscription) {
  cMemorySink sink;
  const auto exported = MakeExport(eExportFormat::Hdlc, {}, sink);
  sCaptureItem item;
  item.type = 7;
  for (const char* const text : {"Imported from drive.hdlc", "Subscription 2"}) {
    item.bytes = TextItem(text);
    exported->Pass(item);
    ++item.number;
  }
  item.type = 5;
  item.bytes = kLog;
  exported->Add(item);
  exported->Finish();
  EXPECT_EQ(sink.Bytes(), StreamOf({Wrapped(2, kLog)}));
}

// The block heap of a system that has no memory left.
void* AllocateNothing(std::size_t) { return nullptr; }

// The reply is known, but not what it holds: its packet then is one that the modem sent.
TEST(HdlcExportTest, WithoutMemoryAPacketOutOfAReplyIsWrittenTwice) {
  const cReplacedCall replaced(BlockHeap().allocate, AllocateNothing);
  EXPECT_EQ(Export({{9, GetItem(kLog)}, {5, kLog}}).stream, StreamOf({GetItem(kLog), kLog}));
}

// --- The way there and back

class HdlcRoundTripTest : public ::testing::Test {
 protected:
  // The capture that an import makes of `stream`.
  [[nodiscard]] ByteVector Import(const ByteVector& stream) const {
    auto file = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    cImport import(std::move(file), {"drive.hdlc", eWrapped::Open});
    EXPECT_EQ(import.Feed(stream), kErrorSuccess);
    EXPECT_EQ(import.Finish(), kErrorSuccess);
    std::ifstream made(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(made), std::istreambuf_iterator<char>()};
  }

  [[nodiscard]] static ByteVector ExportAgain(const ByteVector& capture) {
    const auto [file, error] = OpenBytes(capture);
    cMemorySink sink;
    const auto exported = MakeExport(eExportFormat::Hdlc, {}, sink);
    sCaptureItem item;
    for (auto number = file->NextItem(0); number; number = file->NextItem(*number + 1)) {
      EXPECT_FALSE(file->ReadItem(*number, item));
      exported->Add(item);
    }
    exported->Finish();
    return sink.Bytes();
  }

  cTempDirectory directory;
  const std::string path = directory.Path("made.isf");
};

TEST_F(HdlcRoundTripTest, AnImportedStreamIsExportedAsItWas) {
  ByteVector later = kLog;
  Put(later, 8, StampAt(kNoon), 8);
  const ByteVector stream =
      StreamOf({kLog, Wrapped(1, later), Wrapped(2, kEvent), Wrapped(2, GetItem(GetItem(later))),
                later, later, GetItem(later), GetItem(later), kEvent, kMessage, Rebuilt(),
                Hex("60 00 00"), Hex("00 7E 7D")});
  const ByteVector capture = Import(stream);
  EXPECT_EQ(ExportAgain(capture), stream);
  EXPECT_EQ(Import(ExportAgain(capture)), capture);
}

// A report of several events comes back as one report for each, with the whole time.
TEST_F(HdlcRoundTripTest, EventsComeBackAsReportsOfTheirOwn) {
  const ByteVector capture =
      Import(StreamOf({Hex("60 10 00 46 26 11 12 13 14 15 16 17 18 04 47 A6 21 22 05")}));
  const ByteVector stream = ExportAgain(capture);
  EXPECT_EQ(stream, StreamOf({kEvent, Hex("60 0B 00 47 26 11 21 22 14 15 16 17 18 05")}));
  EXPECT_EQ(Import(stream), capture);
}

}  // namespace
}  // namespace corvane
