#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>

#include "corvane/item_description.h"
#include "corvane/log_description.h"
#include "corvane/packet_description.h"
#include "reader/capture_builder.h"

namespace corvane::tools {
namespace {

[[nodiscard]] sCaptureItem Item(std::uint32_t type, ByteVector bytes,
                                std::optional<std::uint32_t> extra = {}) {
  sCaptureItem item;
  item.type = type;
  item.bytes = std::move(bytes);
  item.extra = extra;
  return item;
}

[[nodiscard]] std::string Describe(std::uint32_t type, const char* hex,
                                   std::optional<std::uint32_t> extra = {}) {
  return DescribeItem(Item(type, Hex(hex), extra));
}

// The channels of 0x412F packets, from 0 on.
constexpr std::array<const char*, 11> kChannels = {
    "UL-CCCH",
    "UL-DCCH",
    "DL-CCCH",
    "DL-DCCH",
    "BCCH-BCH",
    "BCCH-FACH",
    "PCCH",
    "MCCH",
    "MSCH",
    "extension SIB",
    "system information container",
};

// 3GPP TS 25.331, SIB-Type.
constexpr std::array<const char*, 32> kSibTypes = {
    "MIB",                 // 0
    "SIB1",                // 1
    "SIB2",                // 2
    "SIB3",                // 3
    "SIB4",                // 4
    "SIB5",                // 5
    "SIB6",                // 6
    "SIB7",                // 7
    "SIB8",                // 8
    "SIB9",                // 9
    "SIB10",               // 10
    "SIB11",               // 11
    "SIB12",               // 12
    "SIB13",               // 13
    "SIB13.1",             // 14
    "SIB13.2",             // 15
    "SIB13.3",             // 16
    "SIB13.4",             // 17
    "SIB14",               // 18
    "SIB15",               // 19
    "SIB15.1",             // 20
    "SIB15.2",             // 21
    "SIB15.3",             // 22
    "SIB16",               // 23
    "SIB17",               // 24
    "SIB15.4",             // 25
    "SIB18",               // 26
    "scheduling block 1",  // 27
    "scheduling block 2",  // 28
    "SIB15.5",             // 29
    "SIB5bis",             // 30
    "extension",           // 31
};

// A 0x412F log packet with `fields` from offset 16 on.
[[nodiscard]] sCaptureItem OtaItem(const char* fields, std::optional<std::uint32_t> extra = {}) {
  ByteVector packet = Hex("10 00 00 00 00 00 2F 41 00 00 00 00 00 00 00 00");
  const ByteVector rest = Hex(fields);
  packet.insert(packet.end(), rest.begin(), rest.end());
  return Item(8, std::move(packet), extra);
}

TEST(ItemDescriptionTest, TextItemsShowTheirText) {
  EXPECT_EQ(DescribeItem(Item(7, TextItem("Port COM7 connected"))), "text \"Port COM7 connected\"");
  EXPECT_EQ(DescribeItem(Item(7, Hex("C0 FF FF FF"))), "text \"\"");
}

TEST(ItemDescriptionTest, AnInformationItemThatIsNoTextIsNotShownAsOne) {
  EXPECT_EQ(Describe(7, "01 02 03 04 05"), "information without a text header");
}

TEST(ItemDescriptionTest, LogPacketsShowTheirLogCode) {
  EXPECT_EQ(Describe(5, "10 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"), "log 0x1234");
  EXPECT_EQ(Describe(8, "10 00 0C 00 0C 00 3A 7B 00 00 00 00 00 00 00 00"), "log 0x7B3A");
  EXPECT_EQ(Describe(0, "10 00 04 00 04 00 34 12"), "log 0x1234");
}

TEST(ItemDescriptionTest, TheExtraFieldOfALogPacketIsItsTechnology) {
  EXPECT_EQ(Describe(8, "10 00 0C 00 0C 00 04 10 00 00 00 00 00 00 00 00", 5),
            "log 0x1004, technology 5");
}

TEST(ItemDescriptionTest, AShortLogPacketWithoutRoomForACodeSaysSo) {
  EXPECT_EQ(Describe(0, "10"), "log packet without a log code");
  EXPECT_EQ(Describe(0, "10 00 03 00 03 00 34"), "log packet without a log code");
}

TEST(ItemDescriptionTest, EventsShowTheirIdAndPayload) {
  // Event word 6100: payload code 3, event ID 256. Payload of 3 bytes.
  EXPECT_EQ(Describe(4, "60 0D 00 00 61 01 02 03 04 05 06 07 08 02 AA BB"),
            "event 256, 3 bytes of payload");
  EXPECT_EQ(Describe(4, "74 0A 00 FF 0F 01 02 03 04 05 06 07 08"), "event 4095");
  EXPECT_EQ(Describe(4, "60 0B 00 01 20 01 02 03 04 05 06 07 08 AA"), "event 1, 1 byte of payload");
  EXPECT_EQ(Describe(4, "60 0A 00 FF 0F 01 02 03 04 05 06 07"), "event that is cut off");
}

TEST(ItemDescriptionTest, TheStartUpRequestsAreNamed) {
  EXPECT_EQ(Describe(2, "1D"), "time stamp request");
  EXPECT_EQ(Describe(2, "00"), "version request");
  EXPECT_EQ(Describe(2, "7C"), "build ID request");
  EXPECT_EQ(Describe(2, "1C"), "protocol version request");
  EXPECT_EQ(Describe(2, "0C"), "status request");
  EXPECT_EQ(Describe(2, "63"), "feature query request");
  EXPECT_EQ(Describe(10, "4B 0F 00 00"), "subsystem 0x0F command 0x0000 request");
  EXPECT_EQ(Describe(10, "4B 04 0F 00"), "subsystem 0x04 command 0x000F request");
  EXPECT_EQ(Describe(2, "60 01"), "event report request, on");
  EXPECT_EQ(Describe(2, "60 00"), "event report request, off");
}

TEST(ItemDescriptionTest, LogMaskRequestsShowTheirEquipmentIdAndHowMuchTheySwitchOn) {
  ByteVector request(528);
  request[0] = 0x73;
  request[4] = 3;
  request[8] = 1;
  request[13] = 0x10;
  request[16 + 0x46] = 0x30;
  EXPECT_EQ(DescribeItem(Item(2, request)), "log mask request, equipment ID 1, 2 log codes");
  request[527] = 0x80;
  request[8] = 4;
  EXPECT_EQ(DescribeItem(Item(2, request)), "log mask request, equipment ID 4, 3 log codes");
  request.pop_back();
  EXPECT_EQ(DescribeItem(Item(2, request)), "log mask request");
  request.push_back(0);
  request[4] = 1;
  EXPECT_EQ(DescribeItem(Item(2, request)), "log mask request");
}

TEST(ItemDescriptionTest, EventMaskRequestsShowHowManyEventsTheySwitchOn) {
  EXPECT_EQ(Describe(2, "82 00 00 00 0A 00 01 02"), "event mask request, 2 events");
  EXPECT_EQ(Describe(2, "82 00 00 00 08 00 80"), "event mask request, 1 event");
  EXPECT_EQ(Describe(2, "82 00 00 00 08 00"), "event mask request");
}

TEST(ItemDescriptionTest, MessageLevelRequestsShowTheirSubsystemAndLevels) {
  EXPECT_EQ(Describe(2, "7D 04 05 00 05 00 00 00 09 00 00 00"),
            "message level request, SSID 5, levels 0x00000009");
  EXPECT_EQ(Describe(2, "7D 04 05 00 06 00 00 00 09 00 00 00 01 00 00 00"),
            "message level request, SSIDs 5 to 6");
  EXPECT_EQ(Describe(2, "7D 04 05 00 05 00 00 00"), "message level request, SSID 5");
  EXPECT_EQ(Describe(2, "7D 05 00 00 1F 00 00 00"),
            "message level request, all SSIDs, levels 0x0000001F");
  EXPECT_EQ(Describe(2, "7D 04"), "message level request");
  EXPECT_EQ(Describe(2, "7D"), "message level request");
}

TEST(ItemDescriptionTest, RequestsThatAreNotKnownShowTheirCommand) {
  EXPECT_EQ(Describe(2, "29 02 00"), "request 0x29");
  EXPECT_EQ(Describe(10, "4B 09 00"), "request 0x4B");
}

TEST(ItemDescriptionTest, RepliesAreNamedLikeTheirRequests) {
  EXPECT_EQ(Describe(1, "73 00 00 00 03 00 00 00"), "log mask reply");
  EXPECT_EQ(Describe(1, "60 00 00"), "event report reply");
  EXPECT_EQ(Describe(1, "29 00"), "packet 0x29");
  EXPECT_EQ(Describe(9, "4B 09 00 00 01"), "subsystem 0x09 command 0x0000 reply");
  EXPECT_EQ(Describe(9, "80 12 34 12 00 00 00 00 00 00 00 00"),
            "subsystem 0x12 command 0x1234 reply");
  EXPECT_EQ(Describe(9, "4B 09"), "packet 0x4B");
}

TEST(ItemDescriptionTest, RefusedRequestsSayWhy) {
  EXPECT_EQ(Describe(1, "13 63"), "request refused: unknown command");
  EXPECT_EQ(Describe(1, "14 73"), "request refused: bad parameters");
  EXPECT_EQ(Describe(1, "15 73"), "request refused: bad length");
}

TEST(ItemDescriptionTest, GetItemRepliesShowWhatTheyHold) {
  EXPECT_EQ(Describe(9, "4B 25 08 00 00 00 00 00 00 00 00 00 00 10 00 00"),
            "get-item reply, holds a packet of 3 bytes");
  EXPECT_EQ(Describe(9, "80 25 08 00 00 00 00 00 00 02 01 00 00 10"),
            "get-item reply, status 0x102");
  EXPECT_EQ(Describe(9, "4B 25 08 00 00 00 00 00 00 00 00 00"),
            "subsystem 0x25 command 0x0008 reply");
}

TEST(ItemDescriptionTest, MessagesAreToldApart) {
  EXPECT_EQ(Describe(6, "1F 00 00"), "debug message");
  EXPECT_EQ(Describe(6, "92 00 00"), "terse message");
  EXPECT_EQ(Describe(6, "79"), "extended message");
  EXPECT_EQ(Describe(6, "92 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 12 34 56 78"),
            "terse message, SSID 5");
}

TEST(ItemDescriptionTest, ExtendedMessagesShowTheirSubsystemAndFormatText) {
  // Two arguments, line 7, SSID 5, then "ok %d" and the file's name.
  EXPECT_EQ(Describe(6,
                     "79 00 02 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 "
                     "01 00 00 00 02 00 00 00 6F 6B 20 25 64 00 61 2E 63 00"),
            "extended message, SSID 5, \"ok %d\"");
}

TEST(ItemDescriptionTest, ExtendedMessagesWithoutReadableTextShowNone) {
  const std::string head = "79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00";
  const std::string expected = "extended message, SSID 5";
  EXPECT_EQ(Describe(6, head.c_str()), expected);
  EXPECT_EQ(Describe(6, (head + " 00").c_str()), expected);
  EXPECT_EQ(Describe(6, (head + " 6F 6B").c_str()), expected);
  EXPECT_EQ(Describe(6, (head + " 6F 1B 00").c_str()), expected);
  EXPECT_EQ(Describe(6, (head + " 6F FF 00").c_str()), expected);
  EXPECT_EQ(Describe(6, "79 00 FF 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 6F 00"),
            expected);
}

TEST(ItemDescriptionTest, CapturedSignallingShowsItsChannel) {
  EXPECT_EQ(DescribeItem(OtaItem("00 00 01 00 AA")), "log 0x412F, UL-CCCH, captured");
  EXPECT_EQ(DescribeItem(OtaItem("03 02 01 00 AA")), "log 0x412F, DL-DCCH, captured, bearer 2");
  EXPECT_EQ(DescribeItem(OtaItem("04 00 01 00 AA", 0x123456)),
            "log 0x412F, BCCH-BCH, captured, cell 0x123456");
  EXPECT_EQ(DescribeItem(OtaItem("0A 00 01 00 AA")),
            "log 0x412F, system information container, captured");
  EXPECT_EQ(DescribeItem(OtaItem("0B 00 01 00 AA")), "log 0x412F, channel 11, captured");
}

TEST(ItemDescriptionTest, SignallingInTheNewerLayoutShowsItsCarrierAndScramblingCode) {
  EXPECT_EQ(DescribeItem(OtaItem("82 00 01 00 10 27 23 01 AA")),
            "log 0x412F, DL-CCCH, UARFCN 10000, PSC 291, captured");
  EXPECT_EQ(DescribeItem(OtaItem("8A 00 01 00 10 27 23")),
            "log 0x412F, system information container, captured");
  EXPECT_EQ(DescribeItem(OtaItem("8B 00 01 00 AA")), "log 0x412F, channel 139, captured");
}

TEST(ItemDescriptionTest, TheNewerLayoutHasTheSameChannels) {
  for (std::uint8_t channel = 0; channel <= 10; ++channel) {
    sCaptureItem item = OtaItem("00 00 01 00 10 27 23 01 AA");
    item.bytes[16] = static_cast<std::uint8_t>(0x80 + channel);
    EXPECT_EQ(DescribeItem(item),
              fmt::format("log 0x412F, {}, UARFCN 10000, PSC 291, captured", kChannels[channel]));
  }
}

TEST(ItemDescriptionTest, RebuiltBlocksShowTheirSibTypeAndOrigin) {
  EXPECT_EQ(DescribeItem(OtaItem("FE 00 02 00 05 AA")),
            "log 0x412F, SIB5 from BCCH-BCH, synthetic");
  EXPECT_EQ(DescribeItem(OtaItem("FF 03 02 00 00 AA", 1)),
            "log 0x412F, MIB from BCCH-FACH, synthetic, bearer 3, cell 0x000001");
  EXPECT_EQ(DescribeItem(OtaItem("FE 00 02 00 20 AA")),
            "log 0x412F, SIB type 32 from BCCH-BCH, synthetic");
}

TEST(ItemDescriptionTest, ARebuiltBlockWithoutItsTypeIsSyntheticByItsChannelAlone) {
  EXPECT_EQ(DescribeItem(OtaItem("FE 00 00 00 05")),
            "log 0x412F, no SIB type, from BCCH-BCH, synthetic");
  EXPECT_EQ(DescribeItem(OtaItem("FF 03 01 00", 1)),
            "log 0x412F, no SIB type, from BCCH-FACH, synthetic, bearer 3, cell 0x000001");
  EXPECT_EQ(DescribeItem(OtaItem("FE 00 01")), "log 0x412F that is cut off");
}

TEST(ItemDescriptionTest, OnlySyntheticSignallingHasASibType) {
  EXPECT_EQ(SyntheticSibType(OtaItem("FE 00 02 00 1E AA")), 30);
  EXPECT_EQ(SyntheticSibType(OtaItem("04 00 02 00 1E AA")), std::nullopt);
  EXPECT_EQ(SyntheticSibType(OtaItem("FE 00 00 00 1E AA")), std::nullopt);
  EXPECT_EQ(SyntheticSibType(OtaItem("FF 00 01 00")), std::nullopt);
  sCaptureItem other = OtaItem("FE 00 02 00 1E AA");
  other.bytes[6] = 0x2E;
  EXPECT_EQ(SyntheticSibType(other), std::nullopt);
  other = OtaItem("FE 00 02 00 1E AA");
  other.type = 1;
  EXPECT_EQ(SyntheticSibType(other), std::nullopt);
}

TEST(ItemDescriptionTest, UnknownTypesAndItemsNotAsTheirTypePromisesAreDescribed) {
  EXPECT_EQ(Describe(3, "10"), "item of an unknown type");
  EXPECT_EQ(Describe(31, "10"), "item of an unknown type");
  EXPECT_EQ(Describe(5, "42 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"),
            "log packet without a log code");
}

TEST(ItemDescriptionTest, EveryItemOfUpTo40BytesIsDescribedWithoutReadingPastItsEnd) {
  for (std::uint32_t type = 0; type < 32; ++type) {
    for (unsigned command = 0; command < 256; ++command) {
      for (std::size_t length = 1; length <= 40; ++length) {
        // A vector of exactly this capacity, so that the sanitizers see a read past its end.
        sCaptureItem item = Item(type, ByteVector(length, static_cast<std::uint8_t>(length * 37)));
        item.bytes[0] = static_cast<std::uint8_t>(command);
        item.bytes.shrink_to_fit();
        ASSERT_FALSE(DescribeItem(item).empty());
      }
    }
  }
}

TEST(ItemNamesTest, SibTypesHaveTheNamesOfTheStandard) {
  for (std::uint8_t type = 0; type < 32; ++type) {
    EXPECT_EQ(SibTypeName(type), kSibTypes[type]);
  }
  for (unsigned type = 32; type < 256; ++type) {
    EXPECT_EQ(SibTypeName(static_cast<std::uint8_t>(type)), std::nullopt);
  }
}

TEST(ItemNamesTest, ChannelsHaveTheirNames) {
  for (std::uint8_t channel = 0; channel < 11; ++channel) {
    EXPECT_EQ(OtaChannelName(channel), kChannels[channel]);
  }
  for (unsigned channel = 11; channel < 256; ++channel) {
    EXPECT_EQ(OtaChannelName(static_cast<std::uint8_t>(channel)), std::nullopt);
  }
}

TEST(ItemNamesTest, ItemTypesHaveNamesOfOneWord) {
  const char* const names[] = {"short-log",      "packet",    "request",           "unknown",
                               "event",          "log",       "message",           "information",
                               "signalling-log", "subsystem", "subsystem-request", "unknown"};
  for (std::uint32_t type = 0; type < 12; ++type) {
    EXPECT_EQ(ItemTypeName(type), names[type]);
  }
}

}  // namespace
}  // namespace corvane::tools
