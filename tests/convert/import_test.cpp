#include "convert/import.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "capture/failing_file.h"
#include "convert/export.h"
#include "convert/import_fixture.h"
#include "convert/memory_sink.h"
#include "diag/shared_buffer.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ImportTest : public cImportTest {};

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
  // One block, complete in one message, of which the recorder makes a packet of its own.
  const ByteVector log = LogPacket(
      kFach, 7, BytesOf(Message(kFach, 9, Number(3, 5) + Pattern(226, 3))), StampAt(kNoon));
  SibAssemblyMap map;
  ASSERT_EQ(DecodeOtaPacket(map, *Item(log), 0).size(), 1U);
  EXPECT_THAT(Import({log}), ElementsAre(sExpected{8, kNoon, log}));
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

TEST_F(ImportTest, ANameBeyondAsciiIsToldWhole) {
  cImport import(Create(), {"K\xC3\xB6ln \xF0\x9F\x93\xA1.hdlc", eWrapped::Open});
  EXPECT_EQ(import.Finish(), kErrorSuccess);
  const auto items = DecodeCapture(FileBytes()).Items();
  ASSERT_THAT(items, SizeIs(1));
  EXPECT_EQ(items[0].packet,
            Hex("C0 FF FF FF 49 00 6D 00 70 00 6F 00 72 00 74 00 65 00 64 00 20 00 66 00 "
                "72 00 6F 00 6D 00 20 00 4B 00 F6 00 6C 00 6E 00 20 00 3D D8 E1 DC 2E 00 "
                "68 00 64 00 6C 00 63 00 00 00"));
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

// Counts down to the one allocation of a packet's bytes that finds no memory.
std::uint32_t allocationsToGo = 0;
void* (*allocateBlock)(std::size_t) = nullptr;
void* AllocateUnlessItIsTheOne(std::size_t size) {
  return allocationsToGo != 0 && --allocationsToGo == 0 ? nullptr : allocateBlock(size);
}

TEST_F(ImportTest, WithoutMemoryForAPacketOrATextTheImportEnds) {
  constexpr std::uint32_t kNotEnoughMemory = 8;  // ERROR_NOT_ENOUGH_MEMORY
  const ByteVector stream =
      StreamOf({Wrapped(1, Log(kNoon)), Wrapped(2, Log(kNoon + 1)), Wrapped(2, Log(kNoon + 2))});
  const auto whole = Import(stream);
  ASSERT_THAT(whole, SizeIs(5));  // with two texts of subscriptions
  allocateBlock = BlockHeap().allocate;
  const cReplacedCall replaced(BlockHeap().allocate, AllocateUnlessItIsTheOne);
  // Three packets, the name of the stream and two subscriptions each take bytes.
  for (std::uint32_t nth = 1; nth <= 6; ++nth) {
    cImport import(Create(), {"drive.hdlc", eWrapped::Open});
    allocationsToGo = nth;
    std::uint32_t error = import.Feed(stream);
    if (error != kErrorSuccess) {
      EXPECT_EQ(import.Feed(stream), error);
    }
    error = import.Finish();
    EXPECT_EQ(allocationsToGo, 0U);
    EXPECT_EQ(error, kNotEnoughMemory) << nth;
    // What was recorded until then is a complete capture, and nothing is missing in between.
    EXPECT_TRUE(OpenBytes(FileBytes()).file->IsComplete());
    auto items = DecodeCapture(FileBytes()).Items();
    if (!items.empty()) {
      items.erase(items.begin());
    }
    ASSERT_LT(items.size(), whole.size());
    for (std::size_t place = 0; place < items.size(); ++place) {
      EXPECT_EQ(items[place].packet, whole[place].packet) << nth;
    }
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

// The raw stream that a capture is exported to.
[[nodiscard]] ByteVector ExportOf(const ByteVector& capture) {
  const sOpened opened = OpenBytes(capture);
  cMemorySink sink;
  const auto exported = MakeExport(eExportFormat::Hdlc, {}, sink);
  sCaptureItem item;
  for (std::uint64_t number = 0; number < opened.file->ItemCount(); ++number) {
    EXPECT_EQ(opened.file->ReadItem(number, item), std::nullopt);
    exported->Add(item);
  }
  exported->Finish();
  return sink.Bytes();
}

TEST_F(ImportTest, AnExportedRecordingIsImportedWithItsReceivedPackets) {
  const ByteVector block = LogPacket(
      kFach, 7, BytesOf(Message(kFach, 9, Number(3, 5) + Pattern(226, 3))), StampAt(kNoon));
  const ByteVector answer = GetItem(Log(kNoon + 4));
  const sEventReport events = TwoEvents(0x60);
  const Packets received = {Hex("00 01"),    Log(kNoon),      block,
                            answer,          events.packet,   GetItem(events.packet),
                            GetItem(answer), Hex("92 00 11"), Log(kNoon + 9, 0x512F)};
  cISFStore store;
  store.Attach(Create());
  const auto record = [&store](const ByteVector& packet, std::uint32_t origin) {
    const cBufferReference item(MakeBuffer(packet, origin));
    EXPECT_EQ(store.AddItem(item.Get(), kAutomaticType), kErrorSuccess);
  };
  for (const ByteVector& packet : received) {
    record(Hex("1D"), kOriginLibrary);
    record(packet, kOriginDevice);
  }
  store.Close();
  const ByteVector recording = FileBytes();
  // Each packet is recorded behind a request; of the block and of the replies more is made.
  EXPECT_EQ(OpenBytes(recording).file->ItemCount(), 9U + 9 + 1 + 1 + 1 + 2 + 2);

  std::vector<ByteVector> imported;
  for (const sExpected& item : Import(ExportOf(recording))) {
    imported.push_back(item.packet);
  }
  const ByteVector one = events.items[0].packet;
  const ByteVector two = events.items[1].packet;
  EXPECT_EQ(imported,
            (Packets{received[0], received[1], block, answer, Log(kNoon + 4), one, two, received[5],
                     one, two, received[6], answer, Log(kNoon + 4), received[7], received[8]}));
}

TEST_F(ImportTest, AnExportedImportIsTheStreamAgain) {
  const ByteVector stream =
      StreamOf({Hex("00 01"), Wrapped(1, Log(kNoon)), Wrapped(2, Log(kNoon + 1, 0x512F)),
                Wrapped(2, Hex("60 00 00")), Log(kNoon + 2), TwoEvents(0x60).items[0].packet,
                GetItem(Log(kNoon + 3)), Log(kNoon + 4, 0x412F, Hex("FE 00 02 00 05 AA")),
                Wrapped(1, ByteVector(16'640, 0x7E)), Hex("7E 7D 7E")});
  std::ignore = Import(stream);
  EXPECT_EQ(report.packets, 10U);
  EXPECT_EQ(ExportOf(FileBytes()), stream);
}

}  // namespace
}  // namespace corvane
