#include "convert/import.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "capture/failing_file.h"
#include "convert/framing.h"
#include "convert/modem_time.h"
#include "platform/error_codes.h"
#include "reader/capture_builder.h"
#include "support/capture_decoder.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint64_t kUnknown = 11'960'438'400'000;  // 1980-01-06 00:00:00 UTC

// A log packet of 16 bytes and `payload`, with its stamp at `time`, in milliseconds since 1601.
[[nodiscard]] ByteVector Log(std::uint64_t time, unsigned logCode = 0xB0C0,
                             const ByteVector& payload = {}) {
  ByteVector packet = Hex("10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  packet.insert(packet.end(), payload.begin(), payload.end());
  Put(packet, 2, packet.size() - 4, 2);
  Put(packet, 4, packet.size() - 4, 2);
  Put(packet, 6, logCode, 2);
  Put(packet, 8, StampAt(time), 8);
  return packet;
}

// A packet in the wrapper of a multi-SIM modem.
[[nodiscard]] ByteVector Wrapped(std::uint32_t subscription, const ByteVector& packet) {
  ByteVector wrapper = Hex("98 01 00 00 00 00 00 00");
  Put(wrapper, 4, subscription, 4);
  wrapper.insert(wrapper.end(), packet.begin(), packet.end());
  return wrapper;
}

// A get-item response with a packet inside.
[[nodiscard]] ByteVector GetItem(const ByteVector& packet) {
  ByteVector response = Hex("4B 25 08 00 00 00 00 00 00 00 00 00 00");
  response.insert(response.end(), packet.begin(), packet.end());
  return response;
}

[[nodiscard]] ByteVector StreamOf(std::initializer_list<ByteVector> packets) {
  ByteVector stream;
  for (const ByteVector& packet : packets) {
    AppendFrame(stream, packet);
  }
  return stream;
}

// An item, as the tests expect it.
struct sExpected {
  unsigned type;
  std::uint64_t time;
  ByteVector packet;

  friend bool operator==(const sExpected&, const sExpected&) = default;
  friend void PrintTo(const sExpected& item, std::ostream* out) {
    *out << "type " << item.type << " at " << item.time << ": "
         << ::testing::PrintToString(item.packet);
  }
};

[[nodiscard]] sExpected Text(std::string_view text, std::uint64_t time) {
  return {7, time, TextItem(text)};
}

class ImportTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::unique_ptr<std::ofstream> Create() const {
    auto file = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    EXPECT_TRUE(file->is_open());
    return file;
  }

  // Imports a stream in pieces, and reads back what came of it.
  std::vector<sExpected> Import(const ByteVector& stream, eWrapped wrapped = eWrapped::Open,
                                std::size_t piece = SIZE_MAX) {
    cImport import(Create(), {"drive.hdlc", wrapped});
    for (std::size_t at = 0; at < stream.size();) {
      const std::size_t length = std::min(piece, stream.size() - at);
      EXPECT_EQ(import.Feed(std::span(stream).subspan(at, length)), kErrorSuccess);
      at += length;
    }
    EXPECT_EQ(import.Finish(), kErrorSuccess);
    report = import.Report();
    return ReadBack();
  }
  std::vector<sExpected> Import(std::initializer_list<ByteVector> packets,
                                eWrapped wrapped = eWrapped::Open) {
    return Import(StreamOf(packets), wrapped);
  }

  [[nodiscard]] ByteVector FileBytes() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // The items, of which the first has to be the text that names the stream; that one is left out.
  std::vector<sExpected> ReadBack() {
    const ByteVector bytes = FileBytes();
    EXPECT_EQ(ErrorOf(bytes), "");
    EXPECT_TRUE(OpenBytes(bytes).file->IsComplete());
    std::vector<sExpected> items;
    for (const sDecodedItem& item : DecodeCapture(bytes).Items()) {
      items.push_back({item.type, item.time, item.packet});
      EXPECT_EQ(item.extra, std::nullopt);
    }
    EXPECT_EQ(items.size(), report.items);
    EXPECT_EQ(items.at(0),
              Text("Imported from drive.hdlc", items.size() > 1 ? items[1].time : kUnknown));
    items.erase(items.begin());
    return items;
  }

  cTempDirectory folder;
  const std::string path = folder.Path("imported.isf");
  sImportReport report;
};

TEST_F(ImportTest, EveryKindOfPacketBecomesTheItemOfTheRecorder) {
  const ByteVector shortLog = Hex("10 00 04 00 04 00 34 12");
  const ByteVector message =
      Hex("79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 6F 6B 00 66 00");
  const ByteVector version = Hex("00 01 02");
  const ByteVector subsystem = Hex("4B 0F 00 00 01");
  const ByteVector shortAnswer = Hex("60 00 00");
  const auto items = Import({Log(kNoon), Log(kNoon, 0x512F), shortLog, message, version, subsystem,
                             shortAnswer, Log(kNoon, 0x1004)});
  EXPECT_THAT(
      items,
      ElementsAre(sExpected{5, kNoon, Log(kNoon)}, sExpected{8, kNoon, Log(kNoon, 0x512F)},
                  sExpected{0, kNoon, shortLog}, sExpected{6, kNoon, message},
                  sExpected{1, kNoon, version}, sExpected{9, kNoon, subsystem},
                  sExpected{1, kNoon, shortAnswer}, sExpected{8, kNoon, Log(kNoon, 0x1004)}));
  EXPECT_EQ(report.packets, 8U);
  EXPECT_EQ(report.badFrames, 0U);
}

TEST_F(ImportTest, AnEmptyStreamBecomesACompleteCapture) {
  EXPECT_THAT(Import(ByteVector{}), IsEmpty());
  EXPECT_EQ(report.items, 1U);
  EXPECT_EQ(report.packets, 0U);
}

TEST_F(ImportTest, BytesWithoutAFrameBecomeACompleteCapture) {
  EXPECT_THAT(Import(ByteVector(1000, 0xA5)), IsEmpty());
  EXPECT_EQ(report.badFrames, 1U);
}

TEST_F(ImportTest, SystemInformationIsNotRebuilt) {
  // MIB and a scheduling block, complete in one message of BCCH-BCH (3GPP TS 25.331): SFN, choice
  // 9, SIB type 0 and 226 bits of data. The recorder makes a packet of channel 254 of it.
  ByteVector payload = Hex("04 00 1F 00");
  payload.resize(4 + 31, 0x55);
  payload[4 + 1] = 0x12;
  payload[4 + 2] = 0x00;
  const ByteVector log = Log(kNoon, 0x412F, payload);
  EXPECT_THAT(Import({log}), ElementsAre(sExpected{8, kNoon, log}));
}

TEST_F(ImportTest, TimesAreThoseOfThePacketsAlsoBackwards) {
  const auto items = Import({Log(kNoon), Log(kNoon + 300'000), Log(kNoon - 5), Log(kNoon + 1)});
  ASSERT_THAT(items, SizeIs(4));
  EXPECT_EQ(items[1].time, kNoon + 300'000);
  EXPECT_EQ(items[2].time, kNoon - 5);
  EXPECT_EQ(items[3].time, kNoon + 1);
  EXPECT_EQ(report.firstTime, kNoon * 10'000);
  EXPECT_EQ(report.lastTime / 10'000, kNoon + 1);
}

TEST_F(ImportTest, ANonsensicalStampTakesTheTimeBeforeIt) {
  const auto items = Import({Log(kNoon), Hex("00"), Log(kUnknown), Hex("1C"), Log(kNoon + 9)});
  ASSERT_THAT(items, SizeIs(5));
  EXPECT_EQ(items[2].time, kNoon);
  EXPECT_EQ(items[2].packet, Log(kUnknown));
  EXPECT_EQ(items[3].time, kNoon);
  EXPECT_EQ(items[4].time, kNoon + 9);
  EXPECT_EQ(report.nonsensicalTimes, 1U);
  EXPECT_EQ(report.unstamped, 2U);
  EXPECT_EQ(report.undated, 0U);
}

TEST_F(ImportTest, PacketsBeforeTheFirstStampTakeItsTime) {
  EXPECT_THAT(Import({Hex("00"), Hex("7C 01"), Log(kNoon)}),
              ElementsAre(sExpected{1, kNoon, Hex("00")}, sExpected{1, kNoon, Hex("7C 01")},
                          sExpected{5, kNoon, Log(kNoon)}));
}

TEST_F(ImportTest, AStreamWithoutStampsIsDatedWhereModemsBegin) {
  EXPECT_THAT(Import({Hex("00"), Hex("7C 01")}),
              ElementsAre(sExpected{1, kUnknown, Hex("00")}, sExpected{1, kUnknown, Hex("7C 01")}));
  EXPECT_EQ(report.undated, 2U);
}

TEST_F(ImportTest, MessagesHaveStampsOfTheirOwn) {
  ByteVector extended = Hex("79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 00 00");
  Put(extended, 4, StampAt(kNoon + 1), 8);
  ByteVector terse = Hex("92 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 11 22 33 44");
  Put(terse, 4, StampAt(kNoon + 2), 8);
  // Of another time type nothing is known, and eleven bytes hold no stamp.
  ByteVector otherType = terse;
  otherType[1] = 1;
  Put(otherType, 4, StampAt(kNoon + 99), 8);
  const ByteVector cut(terse.begin(), terse.begin() + 11);
  const auto items = Import({Log(kNoon), extended, terse, otherType, cut, Hex("79")});
  ASSERT_THAT(items, SizeIs(6));
  EXPECT_EQ(items[1].time, kNoon + 1);
  EXPECT_EQ(items[2].time, kNoon + 2);
  EXPECT_EQ(items[3].time, kNoon + 2);
  EXPECT_EQ(items[4].time, kNoon + 2);
  EXPECT_EQ(items[5].time, kNoon + 2);
  EXPECT_EQ(report.unstamped, 3U);
}

// Event 0x123 at its full time, then 0x456 with a payload of one byte 256 units of 1.25 ms and
// 0x80 steps of its low part later: a short time replaces bits 8 to 23.
struct sEventReport {
  ByteVector packet;
  std::vector<sExpected> items;
};
[[nodiscard]] sEventReport TwoEvents(std::uint8_t code) {
  const std::uint64_t first = std::uint64_t{1'119'985'920'000} << 16;  // kNoon
  const std::uint64_t later = first + (std::uint64_t{4} << 16);        // 5 ms
  ByteVector report = {code, 0, 0};
  Append(report, 0x0123, 2);
  Append(report, first, 8);
  Append(report, 0x0456 | 0x8000 | 0x2000, 2);
  Append(report, (later >> 8) & 0xFFFF, 2);
  report.push_back(0xAA);
  Put(report, 1, report.size() - 3, 2);
  ByteVector one = {code, 10, 0};
  Append(one, 0x0123, 2);
  Append(one, first, 8);
  ByteVector other = {code, 11, 0};
  Append(other, 0x2456, 2);
  Append(other, later, 8);
  other.push_back(0xAA);
  return {report, {{4, kNoon, one}, {4, kNoon + 5, other}}};
}

TEST_F(ImportTest, AnEventReportBecomesItsEventsEachAtItsTime) {
  for (const std::uint8_t code : {std::uint8_t{0x60}, std::uint8_t{0x74}}) {
    const sEventReport events = TwoEvents(code);
    const auto items = Import({Log(kNoon - 1), events.packet, Log(kNoon + 7)});
    EXPECT_THAT(items, ElementsAre(sExpected{5, kNoon - 1, Log(kNoon - 1)}, events.items[0],
                                   events.items[1], sExpected{5, kNoon + 7, Log(kNoon + 7)}));
  }
}

TEST_F(ImportTest, ABrokenEventReportIsCountedAndLeftOut) {
  ByteVector broken = TwoEvents(0x60).packet;
  broken.pop_back();
  Put(broken, 1, broken.size() - 3, 2);
  ByteVector wrongLength = TwoEvents(0x60).packet;
  ++wrongLength[1];
  EXPECT_THAT(Import({Log(kNoon), broken, wrongLength, Hex("60"), Wrapped(2, broken), Log(kNoon)}),
              ElementsAre(sExpected{5, kNoon, Log(kNoon)}, sExpected{5, kNoon, Log(kNoon)}));
  EXPECT_EQ(report.brokenReports, 4U);
}

TEST_F(ImportTest, AGetItemResponseIsFollowedByThePacketInside) {
  const ByteVector inner = Log(kNoon + 3);
  const ByteVector response = GetItem(inner);
  const ByteVector twice = GetItem(response);
  const auto items = Import({Log(kNoon), response, twice, Log(kNoon + 9)});
  EXPECT_THAT(items, ElementsAre(sExpected{5, kNoon, Log(kNoon)}, sExpected{9, kNoon, response},
                                 sExpected{5, kNoon + 3, inner}, sExpected{9, kNoon + 3, twice},
                                 sExpected{9, kNoon + 3, response}, sExpected{5, kNoon + 3, inner},
                                 sExpected{5, kNoon + 9, Log(kNoon + 9)}));
}

TEST_F(ImportTest, EventsInsideAGetItemResponseHaveTheirTimes) {
  const sEventReport events = TwoEvents(0x60);
  const ByteVector response = GetItem(events.packet);
  ByteVector broken = events.packet;
  ++broken[1];
  const auto items =
      Import({Log(kNoon + 1), response, GetItem(broken), GetItem(Hex("93 01")), Log(kNoon + 2)});
  EXPECT_THAT(
      items, ElementsAre(sExpected{5, kNoon + 1, Log(kNoon + 1)}, sExpected{9, kNoon + 1, response},
                         events.items[0], events.items[1], sExpected{9, kNoon + 5, GetItem(broken)},
                         sExpected{9, kNoon + 5, GetItem(Hex("93 01"))},
                         sExpected{5, kNoon + 2, Log(kNoon + 2)}));
  EXPECT_EQ(report.brokenReports, 1U);
  EXPECT_EQ(report.refused[0x93], 1U);
}

TEST_F(ImportTest, WrappersAreOpenedAndTheirSubscriptionsTold) {
  const auto items =
      Import({Wrapped(1, Log(kNoon)), Wrapped(1, Log(kNoon + 1)), Wrapped(2, Log(kNoon + 2)),
              Log(kNoon + 3), Wrapped(0, Log(kNoon + 4)), Wrapped(UINT32_MAX, Log(kNoon + 5))});
  EXPECT_THAT(
      items, ElementsAre(
                 Text("Subscription 1", kNoon), sExpected{5, kNoon, Log(kNoon)},
                 sExpected{5, kNoon + 1, Log(kNoon + 1)}, Text("Subscription 2", kNoon + 2),
                 sExpected{5, kNoon + 2, Log(kNoon + 2)}, Text("Subscription none", kNoon + 3),
                 sExpected{5, kNoon + 3, Log(kNoon + 3)}, Text("Subscription 1", kNoon + 4),
                 sExpected{5, kNoon + 4, Log(kNoon + 4)}, sExpected{5, kNoon + 5, Log(kNoon + 5)}));
  EXPECT_EQ(report.opened, 5U);
  EXPECT_EQ(report.packets, 6U);
}

TEST_F(ImportTest, WrappersCanBeDropped) {
  EXPECT_THAT(
      Import({Wrapped(1, Log(kNoon)), Log(kNoon + 3), Wrapped(2, Log(kNoon + 2)), Hex("98")},
             eWrapped::Drop),
      ElementsAre(sExpected{5, kNoon + 3, Log(kNoon + 3)}));
  EXPECT_EQ(report.dropped, 3U);
  EXPECT_EQ(report.opened, 0U);
  EXPECT_EQ(report.refused[0x98], 0U);
}

TEST_F(ImportTest, WrappersInWrappersAreOpenedToTheInnermost) {
  EXPECT_THAT(Import({Wrapped(1, Wrapped(2, Wrapped(3, Log(kNoon))))}),
              ElementsAre(Text("Subscription 3", kNoon), sExpected{5, kNoon, Log(kNoon)}));
  EXPECT_EQ(report.opened, 1U);
}

TEST_F(ImportTest, AWrapperWithoutAPacketIsRefused) {
  EXPECT_THAT(
      Import({Hex("98"), Hex("98 01 00 00 02 00 00 00"), Wrapped(2, Hex("98 01")), Log(kNoon)}),
      ElementsAre(sExpected{5, kNoon, Log(kNoon)}));
  EXPECT_EQ(report.refused[0x98], 3U);
}

TEST_F(ImportTest, WhatACaptureCannotHoldIsCountedByItsFirstByte) {
  EXPECT_THAT(Import({Hex("93"), Log(kNoon), Hex("99 00 01"), Hex("99"), Hex("FF"), Hex("92 00"),
                      Wrapped(2, Hex("9E 00"))}),
              ElementsAre(sExpected{5, kNoon, Log(kNoon)}, sExpected{6, kNoon, Hex("92 00")}));
  EXPECT_EQ(report.refused[0x93], 1U);
  EXPECT_EQ(report.refused[0x99], 2U);
  EXPECT_EQ(report.refused[0x9E], 1U);
  EXPECT_EQ(report.refused[0xFF], 1U);
  EXPECT_EQ(report.refused[0x92], 0U);
  EXPECT_EQ(report.packets, 7U);
}

TEST_F(ImportTest, APacketThatIsTooLongIsCounted) {
  const ByteVector longest = Log(kNoon, 0xB0C0, ByteVector(16'640 - 16, 0x7E));
  const ByteVector tooLong = Log(kNoon, 0xB0C0, ByteVector(16'641 - 16, 0x7E));
  EXPECT_THAT(Import({longest, tooLong, Wrapped(1, longest)}),
              ElementsAre(sExpected{5, kNoon, longest}, Text("Subscription 1", kNoon),
                          sExpected{5, kNoon, longest}));
  EXPECT_EQ(report.tooLong, 1U);
}

TEST_F(ImportTest, BadFramesAreCountedAndTheFirstAreKept) {
  ByteVector stream = Hex("11 22 33 44 7E");
  AppendFrame(stream, Log(kNoon));
  const std::size_t second = stream.size();
  for (int i = 0; i < 20; ++i) {
    const ByteVector bad = Hex("55 7E");
    stream.insert(stream.end(), bad.begin(), bad.end());
  }
  const ByteVector rest = Hex("10 00");
  stream.insert(stream.end(), rest.begin(), rest.end());
  EXPECT_THAT(Import(stream), ElementsAre(sExpected{5, kNoon, Log(kNoon)}));
  EXPECT_EQ(report.badFrames, 22U);
  ASSERT_THAT(report.firstBadFrames, SizeIs(10));
  EXPECT_EQ(report.firstBadFrames[0].offset, 0U);
  EXPECT_EQ(report.firstBadFrames[0].fault, eFrameFault::Checksum);
  EXPECT_EQ(report.firstBadFrames[9].offset, second + 16);
  EXPECT_EQ(report.firstBadFrames[9].fault, eFrameFault::TooShort);
}

TEST_F(ImportTest, ThePiecesOfTheStreamMakeNoDifference) {
  const ByteVector stream =
      StreamOf({Hex("00"), Wrapped(2, Log(kNoon)), TwoEvents(0x60).packet, Log(kUnknown),
                GetItem(Log(kNoon + 4)), Hex("99"), Log(kNoon + 5, 0x512F)});
  std::ignore = Import(stream);
  const ByteVector whole = FileBytes();
  for (std::size_t piece = 1; piece < 40; ++piece) {
    std::ignore = Import(stream, eWrapped::Open, piece);
    ASSERT_EQ(FileBytes(), whole) << piece;
  }
}

TEST_F(ImportTest, OfPacketsThatWaitForATimeOnlySoManyAreKept) {
  ByteVector stream;
  for (int i = 0; i < 5000; ++i) {
    AppendFrame(stream, Hex("00 01"));
  }
  AppendFrame(stream, Log(kNoon));
  AppendFrame(stream, Log(kUnknown));
  for (int i = 0; i < 5000; ++i) {
    AppendFrame(stream, Hex("00 02"));
  }
  AppendFrame(stream, Log(kNoon + 1));
  const auto items = Import(stream);
  ASSERT_THAT(items, SizeIs(10'003));
  // More than 4,096 do not wait for the first stamp, and none after them.
  EXPECT_EQ(items[0].time, kUnknown);
  EXPECT_EQ(items[4999].time, kUnknown);
  EXPECT_EQ(items[5000].time, kNoon);
  // Nor for a second neighbour, and so the stamp is kept.
  EXPECT_EQ(items[5001].time, kUnknown);
  EXPECT_EQ(items[5002].time, kUnknown);
  EXPECT_EQ(items[10'001].time, kUnknown);
  EXPECT_EQ(items[10'002].time, kNoon + 1);
  EXPECT_EQ(report.undated, 5000U);
}

TEST_F(ImportTest, SoManyBytesWait) {
  const ByteVector large(16'000, 0x00);
  ByteVector few;
  for (int i = 0; i < 65; ++i) {
    AppendFrame(few, large);
  }
  ByteVector more = few;
  AppendFrame(more, large);
  AppendFrame(few, Log(kNoon));
  AppendFrame(more, Log(kNoon));
  EXPECT_EQ(Import(few).at(0).time, kNoon);
  EXPECT_EQ(Import(more).at(0).time, kUnknown);
}

TEST_F(ImportTest, ANameIsToldInAscii) {
  cImport import(Create(), {"K\xC3\xB6ln \xF0\x9F\x93\xA1.hdlc", eWrapped::Open});
  EXPECT_EQ(import.Finish(), kErrorSuccess);
  const auto items = DecodeCapture(FileBytes()).Items();
  ASSERT_THAT(items, SizeIs(1));
  EXPECT_EQ(items[0].packet, TextItem("Imported from K?ln ?.hdlc"));
}

TEST_F(ImportTest, AFailedWriteEndsTheImport) {
  const ByteVector stream = StreamOf({Log(kNoon), Log(kNoon + 1), Log(kNoon + 2)});
  // The header, then for each item at least a head, a packet and its directory entry.
  for (std::uint32_t nth = 1; nth < 14; ++nth) {
    auto file = Create();
    cFailingFile failing(*file);
    failing.FailWrite(nth);
    cImport import(std::move(file), {"drive.hdlc", eWrapped::Open});
    std::uint32_t error = import.Feed(stream);
    if (error == kErrorSuccess) {
      error = import.Finish();
    } else {
      EXPECT_EQ(import.Feed(stream), error);
      EXPECT_EQ(import.Finish(), error);
    }
    EXPECT_EQ(error, kErrorInvalidBlock) << nth;
    EXPECT_TRUE(failing.hasFailed);
  }
}

TEST_F(ImportTest, LongStreamsFillSeveralBlocks) {
  ByteVector stream;
  for (std::uint32_t number = 0; number < 20'000; ++number) {
    AppendFrame(stream, Log(kNoon + number, 0xB0C0, NumberedPacket(number % 100)));
  }
  const auto items = Import(stream, eWrapped::Open, 65'536);
  ASSERT_THAT(items, SizeIs(20'000));
  for (std::uint32_t number = 0; number < 20'000; ++number) {
    ASSERT_EQ(
        items[number],
        (sExpected{5, kNoon + number, Log(kNoon + number, 0xB0C0, NumberedPacket(number % 100))}));
  }
}

}  // namespace
}  // namespace corvane
