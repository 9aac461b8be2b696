#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "capture/isf/item_types.h"
#include "capture/ota_recorder.h"
#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/controllable_clock.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class IsfStoreTypesTest : public cStoreTest {
 protected:
  // The only item after this packet was added with its type to be chosen.
  [[nodiscard]] sDecodedItem ItemOf(const ByteVector& packet,
                                    std::uint32_t origin = kOriginDevice) {
    EXPECT_EQ(Add(packet, kAutomaticType, origin), kErrorSuccess);
    const auto items = Items();
    EXPECT_FALSE(items.empty());
    EXPECT_EQ(items.back().packet, packet);
    return items.back();
  }

  [[nodiscard]] unsigned TypeOf(const ByteVector& packet, std::uint32_t origin = kOriginDevice) {
    return ItemOf(packet, origin).type;
  }

  // 60 of an event 0x103 that tells the technology, as an item of the library.
  [[nodiscard]] static ByteVector TechnologyEvent(std::uint8_t technology) {
    ByteVector event = {0x60, 0x0B, 0x00, 0x03, 0x21, 0, 0, 0, 0, 0, 0, 0, 0};
    event.push_back(technology);
    return event;
  }

  [[nodiscard]] std::optional<std::uint32_t> TechnologyField() {
    return ItemOf(LogPacket(0x1004)).extra;
  }
  [[nodiscard]] std::optional<std::uint32_t> CellField() { return ItemOf(LogPacket(0x412F)).extra; }
};

TEST_F(IsfStoreTypesTest, ALogPacketShorterThan16BytesIsType0) {
  for (const std::size_t size : {1U, 7U, 8U, 15U}) {
    EXPECT_EQ(TypeOf(Packet({0x10}, size)), 0U) << size;
  }
  // Even one whose bytes 6 and 7 hold a signalling code.
  EXPECT_EQ(TypeOf(Packet({0x10, 0, 0, 0, 0, 0, 0x2F, 0x41}, 15)), 0U);
}

TEST_F(IsfStoreTypesTest, ALogPacketOf16BytesOrMoreIsType5) {
  EXPECT_EQ(TypeOf(LogPacket(0x1001, 16)), 5U);
  EXPECT_EQ(TypeOf(LogPacket(0xB0C0, 300)), 5U);
}

TEST_F(IsfStoreTypesTest, ASignallingLogPacketOf16BytesOrMoreIsType8) {
  EXPECT_EQ(TypeOf(LogPacket(0x412F, 16)), 8U);
  EXPECT_EQ(TypeOf(LogPacket(0x1004, 300)), 8U);
}

TEST_F(IsfStoreTypesTest, DebugMessagesAreType6) {
  for (const std::uint8_t code : ByteVector{0x1F, 0x79, 0x92}) {
    EXPECT_EQ(TypeOf({code}), 6U);
    EXPECT_EQ(TypeOf(Packet({code}, 40)), 6U);
  }
}

TEST_F(IsfStoreTypesTest, SubsystemPacketsOfTheDeviceAreType9) {
  EXPECT_EQ(TypeOf({0x4B, 0x0F, 0x00, 0x00}), 9U);
  EXPECT_EQ(TypeOf(Packet({0x80, 0x0F, 0x00, 0x00}, 12)), 9U);
}

TEST_F(IsfStoreTypesTest, ASubsystemPacketThatIsTooShortIsStillTypedByItsCode) {
  EXPECT_EQ(TypeOf({0x4B}), 9U);
  EXPECT_EQ(TypeOf({0x4B, 0x25, 0x08}), 9U);
  EXPECT_EQ(TypeOf(Packet({0x80, 0x25, 0x08, 0x00}, 11)), 9U);
  EXPECT_EQ(TypeOf({0x4B}, kOriginLibrary), 10U);
  EXPECT_EQ(TypeOf({0x80}, kOriginLibrary), 10U);
}

TEST_F(IsfStoreTypesTest, TheShortAnswerToTheEventReportRequestIsType1) {
  EXPECT_EQ(TypeOf({0x60, 0x00, 0x00}), 1U);
}

TEST_F(IsfStoreTypesTest, EveryOtherCodeOfTheDeviceIsType1) {
  for (unsigned code = 0; code <= 0x92; ++code) {
    const std::string listed{0x10, 0x1F, 0x4B, 0x60, 0x74, 0x79, '\x80', '\x92'};
    if (listed.find(static_cast<char>(code)) != std::string::npos) {
      continue;
    }
    EXPECT_EQ(TypeOf(Packet({static_cast<std::uint8_t>(code)}, 20)), 1U) << code;
  }
}

TEST_F(IsfStoreTypesTest, SubsystemRequestsOfTheLibraryAreType10) {
  EXPECT_EQ(TypeOf({0x4B, 0x0F, 0x00, 0x00}, kOriginLibrary), 10U);
  EXPECT_EQ(TypeOf({0x80, 0x0F, 0x00, 0x00}, kOriginLibrary), 10U);
}

TEST_F(IsfStoreTypesTest, EveryOtherRequestOfTheLibraryIsType2) {
  for (unsigned code = 0; code <= 0x92; ++code) {
    if (code == 0x4B || code == 0x80) {
      continue;
    }
    EXPECT_EQ(TypeOf(Packet({static_cast<std::uint8_t>(code)}, 20), kOriginLibrary), 2U) << code;
  }
}

TEST_F(IsfStoreTypesTest, TheEventReportRequestsOfTheLibraryAreOrdinaryRequests) {
  EXPECT_EQ(TypeOf({0x60, 0x01}, kOriginLibrary), 2U);
  EXPECT_EQ(TypeOf({0x60, 0x00, 0x00}, kOriginLibrary), 2U);
  EXPECT_EQ(TypeOf({0x74, 0x01}, kOriginLibrary), 2U);
}

TEST_F(IsfStoreTypesTest, ALogPacketOfTheLibraryIsARequestWithoutExtraField) {
  ASSERT_EQ(AddRequest(TechnologyEvent(3)), kErrorSuccess);
  const cOtaRecorder recorder;
  const sDecodedItem item = ItemOf(LogPacket(0x1004), kOriginLibrary);
  EXPECT_EQ(item.type, 2U);
  EXPECT_EQ(item.extra, std::nullopt);
  EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST_F(IsfStoreTypesTest, TheTypeThatTheCallerGivesIsTaken) {
  for (std::uint32_t type = 0; type < 32; ++type) {
    ASSERT_EQ(Add({0xC0, 0xFF, 0xFF, 0xFF, 0x43, 0x00, 0x00, 0x00}, type, kOriginLibrary),
              kErrorSuccess);
    EXPECT_EQ(Items().back().type, type);
  }
}

TEST_F(IsfStoreTypesTest, AGivenTypeBeyondFiveBitsLeavesTheOtherFlagsAlone) {
  ASSERT_EQ(Add({0x0A}, 0xFFFFFFE7), kErrorSuccess);
  EXPECT_EQ(Items().back().type, 7U);
  EXPECT_EQ(Items().back().widthCode, 0U);
  EXPECT_EQ(Items().back().extra, std::nullopt);
}

TEST_F(IsfStoreTypesTest, WithAGivenTypeAnEventReportIsRecordedAsItIs) {
  ASSERT_EQ(Add({0x60, 0x01, 0x02, 0x03}, 1), kErrorSuccess);
  EXPECT_EQ(Items().back().packet, (ByteVector{0x60, 0x01, 0x02, 0x03}));
}

TEST_F(IsfStoreTypesTest, WithAGivenTypeASignallingLogHasNoExtraField) {
  ASSERT_EQ(AddRequest(TechnologyEvent(3)), kErrorSuccess);
  ASSERT_EQ(Add(LogPacket(0x1004), 8), kErrorSuccess);
  EXPECT_EQ(Items().back().extra, std::nullopt);
}

// First and last codes of each range; single codes twice.
using RangeList = std::vector<std::pair<unsigned, unsigned>>;
const RangeList kTechnologySet = {
    {0x1004, 0x1008}, {0x1090, 0x1091}, {0x10D6, 0x10D8}, {0x1388, 0x1389}, {0x138B, 0x138D}};
const RangeList kRestOfSignallingSet = {
    {0x1048, 0x1049}, {0x104C, 0x104D}, {0x1052, 0x1053}, {0x1076, 0x1079},
    {0x107C, 0x107C}, {0x1085, 0x1086}, {0x141B, 0x141C}, {0x149F, 0x149F},
    {0x412F, 0x412F}, {0x512F, 0x512F}, {0x5226, 0x5226}, {0x5230, 0x5230},
    {0x713A, 0x713A}, {0x7B3A, 0x7B3A}, {0xA000, 0xA000}, {0xA100, 0xA103}};

[[nodiscard]] bool IsIn(const RangeList& ranges, unsigned code) {
  for (const auto& [first, last] : ranges) {
    if (code >= first && code <= last) {
      return true;
    }
  }
  return false;
}

TEST(LogSetsTest, HoldExactlyTheirMembersOfAll65536Codes) {
  for (unsigned code = 0; code <= 0xFFFF; ++code) {
    const bool isTechnology = IsIn(kTechnologySet, code);
    const bool isSignalling = isTechnology || IsIn(kRestOfSignallingSet, code);
    ASSERT_EQ(IsTechnologyLog(static_cast<std::uint16_t>(code)), isTechnology) << code;
    ASSERT_EQ(IsSignallingLog(static_cast<std::uint16_t>(code)), isSignalling) << code;
  }
}

TEST_F(IsfStoreTypesTest, MembersOfTheLogSetsAreType8AndTheirNeighboursType5) {
  for (const RangeList& ranges : {kTechnologySet, kRestOfSignallingSet}) {
    for (const auto& [first, last] : ranges) {
      for (unsigned code = first - 1; code <= last + 1; ++code) {
        const bool isMember = IsIn(kTechnologySet, code) || IsIn(kRestOfSignallingSet, code);
        EXPECT_EQ(TypeOf(LogPacket(static_cast<std::uint16_t>(code))), isMember ? 8U : 5U) << code;
      }
    }
  }
}

TEST_F(IsfStoreTypesTest, TechnologyLogsCarryTheTechnologyAndTheOtaLogTheCellValue) {
  ASSERT_EQ(AddRequest(TechnologyEvent(5)), kErrorSuccess);
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x00, 0x01, 0x02, 0x03}), kErrorSuccess);
  for (const auto& [first, last] : kTechnologySet) {
    for (unsigned code = first; code <= last; ++code) {
      EXPECT_EQ(ItemOf(LogPacket(static_cast<std::uint16_t>(code))).extra, 5U) << code;
    }
  }
  for (const auto& [first, last] : kRestOfSignallingSet) {
    for (unsigned code = first; code <= last; ++code) {
      const auto expected = code == 0x412F ? std::optional(0x030201U) : std::nullopt;
      EXPECT_EQ(ItemOf(LogPacket(static_cast<std::uint16_t>(code))).extra, expected) << code;
    }
  }
  EXPECT_EQ(ItemOf(LogPacket(0x1003)).extra, std::nullopt);
  // Too short to be known as a signalling log.
  EXPECT_EQ(ItemOf(Packet({0x10, 0, 0, 0, 0, 0, 0x04, 0x10}, 15)).extra, std::nullopt);
}

TEST_F(IsfStoreTypesTest, NothingLearnedMeansNoExtraField) {
  EXPECT_EQ(TechnologyField(), std::nullopt);
  EXPECT_EQ(CellField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, TheTechnologyIsLearnedFromAnEventOfTheLibrary) {
  ASSERT_EQ(AddRequest(TechnologyEvent(0)), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), 0U);
  EXPECT_EQ(CellField(), std::nullopt);
  ByteVector second = TechnologyEvent(12);
  second[0] = 0x74;
  ASSERT_EQ(AddRequest(second), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), 12U);
}

TEST_F(IsfStoreTypesTest, ATechnologyOf13OrMoreIsNotLearned) {
  ASSERT_EQ(AddRequest(TechnologyEvent(7)), kErrorSuccess);
  for (const std::uint8_t technology : ByteVector{13, 14, 255}) {
    ASSERT_EQ(AddRequest(TechnologyEvent(technology)), kErrorSuccess);
    ASSERT_EQ(AddRequest([&] {
                ByteVector status = Packet({0x63}, 28);
                status[27] = technology;
                return status;
              }()),
              kErrorSuccess);
    EXPECT_EQ(TechnologyField(), 7U) << unsigned{technology};
  }
}

TEST_F(IsfStoreTypesTest, AnEventOf13BytesTeachesNothing) {
  ByteVector event = TechnologyEvent(4);
  event.resize(13);
  ASSERT_EQ(AddRequest(event), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, ALongerEventTeachesByItsByte13) {
  ByteVector event = TechnologyEvent(4);
  event.push_back(9);
  ASSERT_EQ(AddRequest(event), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), 4U);
}

TEST_F(IsfStoreTypesTest, OnlyTheLow12BitsOfTheEventWordAreTheEvent) {
  for (const std::uint8_t high : ByteVector{0x01, 0x11, 0x21, 0x41, 0x81, 0xF1}) {
    ByteVector event = TechnologyEvent(static_cast<std::uint8_t>(high & 7));
    event[4] = high;
    ASSERT_EQ(AddRequest(event), kErrorSuccess);
    EXPECT_EQ(TechnologyField(), high & 7U);
  }
}

TEST_F(IsfStoreTypesTest, AnotherEventTeachesNothing) {
  for (const auto& [low, high] :
       {std::pair{0x02, 0x21}, {0x04, 0x21}, {0x03, 0x20}, {0x03, 0x23}}) {
    ByteVector event = TechnologyEvent(4);
    event[3] = static_cast<std::uint8_t>(low);
    event[4] = static_cast<std::uint8_t>(high);
    ASSERT_EQ(AddRequest(event), kErrorSuccess);
  }
  EXPECT_EQ(TechnologyField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, TheTechnologyIsLearnedFromByte27OfA63OfTheLibrary) {
  ByteVector status = Packet({0x63}, 28);
  status[26] = 5;
  status[27] = 6;
  ASSERT_EQ(AddRequest(status), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), 6U);
}

TEST_F(IsfStoreTypesTest, A63Of27BytesTeachesNothing) {
  ASSERT_EQ(AddRequest(Packet({0x63}, 27)), kErrorSuccess);
  ASSERT_EQ(AddRequest({0x63}), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, TheCellValueIsLearnedFromASubsystemRequestOfTheLibrary) {
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x00, 0x11, 0x22, 0xF3}), kErrorSuccess);
  EXPECT_EQ(CellField(), 0xF32211U);
  EXPECT_EQ(TechnologyField(), std::nullopt);
  ASSERT_EQ(AddRequest({0x80, 0x09, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x77}), kErrorSuccess);
  EXPECT_EQ(CellField(), 0xFFFFFFU);
}

TEST_F(IsfStoreTypesTest, ASubsystemRequestOf6BytesTeachesNothing) {
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x00, 0x11, 0x22}), kErrorSuccess);
  EXPECT_EQ(CellField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, AnotherSubsystemRequestTeachesNothing) {
  ASSERT_EQ(AddRequest({0x4B, 0x08, 0x00, 0x00, 1, 2, 3}), kErrorSuccess);
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x01, 0x00, 1, 2, 3}), kErrorSuccess);
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x01, 1, 2, 3}), kErrorSuccess);
  ASSERT_EQ(AddRequest({0x4C, 0x09, 0x00, 0x00, 1, 2, 3}), kErrorSuccess);
  EXPECT_EQ(CellField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, ItemsOfTheDeviceTeachNothing) {
  ASSERT_EQ(Add(TechnologyEvent(4), 4), kErrorSuccess);
  ByteVector status = Packet({0x63}, 28);
  ASSERT_EQ(Add(status), kErrorSuccess);
  ASSERT_EQ(Add({0x4B, 0x09, 0x00, 0x00, 1, 2, 3}), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), std::nullopt);
  EXPECT_EQ(CellField(), std::nullopt);
}

TEST_F(IsfStoreTypesTest, ItemsOfTheLibraryTeachWhateverTheirType) {
  ASSERT_EQ(Add(TechnologyEvent(4), 7, kOriginLibrary), kErrorSuccess);
  ASSERT_EQ(Add({0x4B, 0x09, 0x00, 0x00, 1, 0, 0}, 1, kOriginLibrary), kErrorSuccess);
  EXPECT_EQ(TechnologyField(), 4U);
  EXPECT_EQ(CellField(), 1U);
}

TEST_F(IsfStoreTypesTest, AnItemThatNoFileTakesTeachesAllTheSame) {
  store.Close();
  ASSERT_EQ(AddRequest(TechnologyEvent(4)), kErrorInvalidBlock);
  StartAnew();
  EXPECT_EQ(TechnologyField(), 4U);
}

TEST_F(IsfStoreTypesTest, WhatWasLearnedOutlivesTheFile) {
  ASSERT_EQ(AddRequest(TechnologyEvent(4)), kErrorSuccess);
  StartAnew();
  EXPECT_EQ(TechnologyField(), 4U);
}

TEST_F(IsfStoreTypesTest, OnlyType8ItemsAreOfferedToTheReassemblyWithTheRawFileTime) {
  cOtaRecorder recorder;
  SetFileTime(kClockStart + 1'234'567);
  ASSERT_EQ(Add(LogPacket(0x412F)), kErrorSuccess);
  ASSERT_EQ(Add(LogPacket(0x1001)), kErrorSuccess);
  ASSERT_EQ(Add(Packet({0x10}, 15)), kErrorSuccess);
  // The type with which an item is recorded decides, and not its log code.
  ASSERT_EQ(Add(LogPacket(0x412F), 5), kErrorSuccess);
  SetFileTime(kClockStart + 7);
  ASSERT_EQ(Add(LogPacket(0xA103)), kErrorSuccess);
  ASSERT_EQ(Add({0x0A}, 8), kErrorSuccess);

  ASSERT_EQ(recorder.calls.size(), 3U);
  EXPECT_EQ(recorder.calls[0].assemblyMap, &store.SibAssemblies());
  EXPECT_EQ(recorder.calls[0].packet, LogPacket(0x412F));
  EXPECT_EQ(recorder.calls[0].arrivalTime, kClockStart + 1'234'567);
  EXPECT_EQ(recorder.calls[1].packet, LogPacket(0xA103));
  EXPECT_EQ(recorder.calls[1].arrivalTime, kClockStart + 7);
  EXPECT_THAT(recorder.calls[2].packet, ElementsAre(0x0A));
}

TEST_F(IsfStoreTypesTest, AnItemThatCouldNotBeRecordedIsNotOffered) {
  const cOtaRecorder recorder;
  store.Close();
  EXPECT_EQ(Add(LogPacket(0x412F)), kErrorInvalidBlock);
  EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST_F(IsfStoreTypesTest, TheItemIsInTheFileWhenItIsOffered) {
  std::size_t itemsInFile = 0;
  const cOtaRecorder recorder([&](cRebuiltPacketSink&) { itemsInFile = Items().size(); });
  ASSERT_EQ(Add(LogPacket(0x412F)), kErrorSuccess);
  EXPECT_EQ(itemsInFile, 1U);
}

TEST_F(IsfStoreTypesTest, TheReassemblyMayAddPacketsBehindTheItem) {
  bool isFirst = true;
  const cOtaRecorder recorder([&](cRebuiltPacketSink& sink) {
    if (std::exchange(isFirst, false)) {
      sink.AddRebuiltPacket(MakeBuffer(LogPacket(0x412F, 100), kOriginDevice));
    }
  });
  ASSERT_EQ(Add(LogPacket(0x412F)), kErrorSuccess);
  const auto items = Items();
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].packet, LogPacket(0x412F));
  EXPECT_EQ(items[1].packet, LogPacket(0x412F, 100));
  EXPECT_EQ(items[1].type, 8U);
  ASSERT_EQ(recorder.calls.size(), 2U);
  EXPECT_EQ(recorder.calls[1].packet, LogPacket(0x412F, 100));
}

TEST_F(IsfStoreTypesTest, WhatBecomesOfTheReassemblyDoesNotChangeTheResult) {
  const cOtaRecorder recorder([](cRebuiltPacketSink& sink) {
    sink.AddRebuiltPacket(nullptr);
    sink.AddRebuiltPacket(MakeBuffer({}, kOriginDevice));
  });
  EXPECT_EQ(Add(LogPacket(0x412F)), kErrorSuccess);
}

TEST_F(IsfStoreTypesTest, TheReassemblyReachesTheBlocksThatTheStoreKeeps) {
  EXPECT_TRUE(store.SibAssemblies().empty());
  store.SibAssemblies()[{254, 0, 0}].receivedSegments = 1;
  store.Close();
  EXPECT_EQ(store.SibAssemblies().size(), 1U);
}

}  // namespace
}  // namespace corvane
