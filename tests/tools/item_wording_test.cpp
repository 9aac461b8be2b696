#include "corvane/reading/item_wording.h"

#include <gtest/gtest.h>

#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
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

// The words of an item in a capture of the recorder's own.
[[nodiscard]] std::string WordsOf(const sCaptureItem& item) {
  const sDescription description = DescribeItem(item);
  std::string text;
  AppendWords(text, item, description, IsRebuilt(item, description, {}));
  return text;
}

[[nodiscard]] std::string Describe(std::uint32_t type, std::string_view hex,
                                   std::optional<std::uint32_t> extra = {}) {
  return WordsOf(Item(type, Hex(hex), extra));
}

// A log packet of `code` with the payload that `hex` names.
[[nodiscard]] std::string DescribeLog(unsigned code, std::string_view hex) {
  const ByteVector payload = Hex(hex);
  ByteVector packet = Hex("10 00");
  Append(packet, payload.size() + 12, 2);
  Append(packet, payload.size() + 12, 2);
  Append(packet, code, 2);
  Append(packet, 0, 8);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return WordsOf(Item(5, std::move(packet)));
}

// 1980-01-06 00:00:00 UTC in milliseconds since 1601, where DIAG stamps count from.
constexpr std::uint64_t kGpsEpoch = 11'960'438'400'000;

// A 0x412F log packet of that time with `fields` from offset 16 on.
[[nodiscard]] sCaptureItem OtaItem(const char* fields, std::optional<std::uint32_t> extra = {}) {
  ByteVector packet = Hex("10 00 00 00 00 00 2F 41 00 00 00 00 00 00 00 00");
  const ByteVector rest = Hex(fields);
  packet.insert(packet.end(), rest.begin(), rest.end());
  return Item(8, std::move(packet), extra);
}

TEST(ItemWordingTest, TextItemsShowTheirText) {
  EXPECT_EQ(WordsOf(Item(7, TextItem("Port COM7 connected"))), "text \"Port COM7 connected\"");
  EXPECT_EQ(WordsOf(Item(7, Hex("C0 FF FF FF"))), "text \"\"");
}

TEST(ItemWordingTest, AnInformationItemThatIsNoTextIsNotShownAsOne) {
  EXPECT_EQ(Describe(7, "01 02 03 04 05"), "information without a text header");
}

TEST(ItemWordingTest, LogPacketsShowTheirLogCode) {
  EXPECT_EQ(Describe(5, "10 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"), "log 0x1234");
  EXPECT_EQ(Describe(8, "10 00 0C 00 0C 00 3A 7B 00 00 00 00 00 00 00 00"),
            "log 0x7B3A UMTS dual-SIM NAS OTA message  cut off");
  EXPECT_EQ(Describe(0, "10 00 04 00 04 00 34 12"), "log 0x1234  cut off");
}

// An NR RRC log of version 7 (0xB821) with one byte of a message on this channel.
[[nodiscard]] std::string DescribeNrRrc(const std::string& channel) {
  return DescribeLog(0xB821, "07 00 00 00 0F 20 01 44 01 80 A9 09 00 00 00 00 00 " + channel +
                                 " 00 00 00 00 01 00 00");
}

TEST(ItemWordingTest, AMessageIsNotNamedTwice) {
  // Channels that are called as the message: "RRC reconfiguration", "radio bearer configuration".
  EXPECT_EQ(DescribeNrRrc("09"), "log 0xB821 NR RRC  RRC reconfiguration  PCI 324 NR-ARFCN 633216");
  EXPECT_EQ(DescribeNrRrc("18"), "log 0xB821 NR RRC  Radio bearer config  PCI 324 NR-ARFCN 633216");
  // BCCH-BCH.
  EXPECT_EQ(DescribeNrRrc("01"), "log 0xB821 NR RRC  BCCH-BCH  MIB  PCI 324 NR-ARFCN 633216");
}

TEST(ItemWordingTest, TheExtraFieldOfALogPacketIsItsTechnology) {
  EXPECT_EQ(Describe(8, "10 00 0C 00 0C 00 04 10 00 00 00 00 00 00 00 00", 5),
            "log 0x1004  technology 5");
}

TEST(ItemWordingTest, AShortLogPacketWithoutRoomForACodeSaysSo) {
  EXPECT_EQ(Describe(0, "10"), "log packet without a log code  cut off");
  EXPECT_EQ(Describe(0, "10 00 03 00 03 00 34"), "log packet without a log code  cut off");
}

TEST(ItemWordingTest, EventsShowTheirNameAndPayload) {
  EXPECT_EQ(Describe(4, "60 0B 00 46 26 01 02 03 04 05 06 07 08 04"),
            "event 1606 LTE RRC state: connected");
  EXPECT_EQ(Describe(4, "60 0B 00 46 26 01 02 03 04 05 06 07 08 09"),
            "event 1606 LTE RRC state change payload 09");
  // Event word 6100: payload code 3, event ID 256. Payload of 2 bytes, counted.
  EXPECT_EQ(Describe(4, "60 0D 00 00 61 01 02 03 04 05 06 07 08 02 AA BB"),
            "event 256 Band class change payload AA BB");
  EXPECT_EQ(Describe(4, "74 0A 00 FF 0F 01 02 03 04 05 06 07 08"), "event 4095");
  EXPECT_EQ(Describe(4, "60 0B 00 01 20 01 02 03 04 05 06 07 08 AA"), "event 1 payload AA");
  EXPECT_EQ(Describe(4, "60 0A 00 FF 0F 01 02 03 04 05 06 07"), "event  cut off");
}

TEST(ItemWordingTest, OfALongPayloadTheFirstBytesAreShown) {
  ByteVector event = Hex("60 25 00 FF 6F 01 02 03 04 05 06 07 08 1A");
  event.insert(event.end(), 26, 0xAA);
  EXPECT_EQ(WordsOf(Item(4, event)),
            "event 4095 payload AA AA AA AA AA AA AA AA AA AA AA AA AA AA AA AA and 10 more bytes");
}

TEST(ItemWordingTest, AReportOfSeveralEventsShowsTheFirst) {
  const std::string event = "FF 0F 01 02 03 04 05 06 07 08 ";
  EXPECT_EQ(Describe(1, "60 14 00 " + event + event), "report of 2 events: 4095; 4095");
  EXPECT_EQ(Describe(1, "60 32 00 " + event + event + event + event + event),
            "report of 5 events: 4095; 4095; 4095; 4095; and 1 more");
  EXPECT_EQ(Describe(1, "74 00 00"), "event");
}

TEST(ItemWordingTest, TheStartUpRequestsAreNamed) {
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

TEST(ItemWordingTest, LogMaskRequestsShowTheirEquipmentIdAndHowMuchTheySwitchOn) {
  ByteVector request(528);
  request[0] = 0x73;
  request[4] = 3;
  request[8] = 1;
  request[13] = 0x10;
  request[16 + 0x46] = 0x30;
  EXPECT_EQ(WordsOf(Item(2, request)), "log mask request, equipment ID 1, 2 log codes");
  request[527] = 0x80;
  request[8] = 4;
  EXPECT_EQ(WordsOf(Item(2, request)), "log mask request, equipment ID 4, 3 log codes");
  request.pop_back();
  EXPECT_EQ(WordsOf(Item(2, request)), "log mask request");
  request.push_back(0);
  request[4] = 1;
  EXPECT_EQ(WordsOf(Item(2, request)), "log mask request");
}

TEST(ItemWordingTest, EventMaskRequestsShowHowManyEventsTheySwitchOn) {
  EXPECT_EQ(Describe(2, "82 00 00 00 0A 00 01 02"), "event mask request, 2 events");
  EXPECT_EQ(Describe(2, "82 00 00 00 08 00 80"), "event mask request, 1 event");
  EXPECT_EQ(Describe(2, "82 00 00 00 08 00"), "event mask request");
}

TEST(ItemWordingTest, MessageLevelRequestsShowTheirSubsystemAndLevels) {
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

TEST(ItemWordingTest, RequestsThatAreNotKnownShowTheirCommand) {
  EXPECT_EQ(Describe(2, "29 02 00"), "request 0x29");
  EXPECT_EQ(Describe(10, "4B 09 00"), "request 0x4B  cut off");
}

TEST(ItemWordingTest, TheRequestThatTellsTheCellShowsIt) {
  EXPECT_EQ(Describe(10, "4B 09 00 00 B2 A1 00"),
            "subsystem 0x09 command 0x0000 request, cell 0x00A1B2");
}

TEST(ItemWordingTest, RepliesAreNamedLikeTheirRequests) {
  EXPECT_EQ(Describe(1, "73 00 00 00 03 00 00 00"), "log mask reply");
  EXPECT_EQ(Describe(1, "60 00 00"), "event report reply");
  EXPECT_EQ(Describe(1, "29 00"), "packet 0x29");
  EXPECT_EQ(Describe(9, "4B 09 00 00 01"), "subsystem 0x09 command 0x0000 reply");
  EXPECT_EQ(Describe(9, "80 12 34 12 00 00 00 00 00 00 00 00"),
            "subsystem 0x12 command 0x1234 reply");
  EXPECT_EQ(Describe(9, "4B 09"), "packet 0x4B  cut off");
}

TEST(ItemWordingTest, RefusedRequestsSayWhy) {
  EXPECT_EQ(Describe(1, "13 63"), "request refused: bad command");
  EXPECT_EQ(Describe(1, "14 73"), "request refused: bad parameters");
  EXPECT_EQ(Describe(1, "15 73"), "request refused: bad length");
}

TEST(ItemWordingTest, GetItemRepliesShowWhatTheyHold) {
  EXPECT_EQ(Describe(9, "4B 25 08 00 00 00 00 00 00 00 00 00 00 10 00 00"),
            "get-item reply, holds a packet of 3 bytes");
  EXPECT_EQ(Describe(9, "80 25 08 00 00 00 00 00 00 02 01 00 00 10"),
            "get-item reply, status 0x102");
  EXPECT_EQ(Describe(9, "4B 25 08 00 00 00 00 00 00 00 00 00"), "get-item reply  cut off");
  EXPECT_EQ(Describe(9, "4B 25 09 00"), "subsystem 0x25 debug command 0x0009 reply");
}

TEST(ItemWordingTest, MessagesShowTheirPlaceAndText) {
  // One argument, line 123, SSID 5, level high, then the text and the file's name.
  const std::string head = "79 00 01 00 00 00 00 00 00 00 00 00 7B 00 05 00 ";
  const std::string rest = " 02 00 00 00 6F 6B 20 25 64 00 66 69 6C 65 2E 63 00";
  EXPECT_EQ(Describe(6, head + "04 00 00 00" + rest),
            "message SSID 5 call manager high file.c:123 \"ok 2\"");
  EXPECT_EQ(Describe(6, head + "1F 00 00 00" + rest),
            "message SSID 5 call manager low/medium/high/error/fatal file.c:123 \"ok 2\"");
  EXPECT_EQ(Describe(6, head + "08 01 00 80" + rest),
            "message SSID 5 call manager error/0x80000100 file.c:123 \"ok 2\"");
  EXPECT_EQ(Describe(6, head + "00 00 00 00" + rest),
            "message SSID 5 call manager file.c:123 \"ok 2\"");
}

TEST(ItemWordingTest, ArgumentsThatAreNotInTheTextFollowIt) {
  const std::string head = "79 00 02 00 00 00 00 00 00 00 00 00 7B 00 05 00 04 00 00 00 ";
  const std::string arguments = "02 00 00 00 FF 00 00 00 ";
  const std::string expected = "message SSID 5 call manager high c:123 ";
  EXPECT_EQ(Describe(6, head + arguments + "25 66 00 63 00"),
            expected + "\"%f\" arguments 0x2 0xFF");
  EXPECT_EQ(Describe(6, head + arguments + "25 64 00 63 00"),
            expected + "\"2\" arguments 0x2 0xFF");
  EXPECT_EQ(Describe(6, head + arguments + "25 64 25 64 00 63 00"), expected + "\"2255\"");
}

TEST(ItemWordingTest, AMessageTellsHowManyWereLost) {
  EXPECT_EQ(Describe(6,
                     "79 00 00 07 00 00 00 00 00 00 00 00 7B 00 87 00 01 00 00 00 6F 6B 00 61 2E "
                     "63 00"),
            "message SSID 135 low a.c:123 \"ok\"  7 lost before it");
}

TEST(ItemWordingTest, TextsThatAModemSendsCannotSpeakToTheTerminal) {
  EXPECT_EQ(Describe(6,
                     "79 00 01 00 00 00 00 00 00 00 00 00 7B 00 05 00 01 00 00 00 1B 00 00 00 "
                     "61 09 22 25 63 00 62 0A 2E 63 00"),
            "message SSID 5 call manager low b\\x0A.c:123 \"a\\x09\\\"\\\\x1B\"");
}

TEST(ItemWordingTest, AMessageShowsWhatThereIsOfItsText) {
  const std::string head = "79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00";
  const std::string expected = "message SSID 5 call manager high line 7";
  EXPECT_EQ(Describe(6, head), expected + "  cut off");
  EXPECT_EQ(Describe(6, head + " 00 00"), expected);
  EXPECT_EQ(Describe(6, head + " 6F 6B"), expected + " \"ok\"  cut off");
  EXPECT_EQ(Describe(6, head + " 6F 1B 00 00"), expected + " \"o\\x1B\"");
  EXPECT_EQ(Describe(6, head + " 6F FF 00 00"), expected + " \"o\\xFF\"");
  EXPECT_EQ(Describe(6, "79"), "message  cut off");
  EXPECT_EQ(Describe(6, "1F 00 00"), "message");
}

TEST(ItemWordingTest, HashedMessagesShowTheirHashAndArguments) {
  EXPECT_EQ(Describe(6,
                     "92 00 02 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 12 34 56 78 "
                     "01 00 00 00 FF 00 00 00"),
            "message SSID 5 call manager high line 7 hash 0x78563412 arguments 0x1 0xFF");
  EXPECT_EQ(Describe(1, "99 00 11 00 00 00 00 00 00 00 00 00 12 34 56 78 00 00 05"),
            "message hash 0x78563412 argument 0x5");
  EXPECT_EQ(Describe(1,
                     "99 00 1A 00 00 00 00 00 00 00 00 00 12 34 56 78 00 00 "
                     "01 02 03 04 05 06 07 08 09 0A"),
            "message hash 0x78563412 arguments 0x1 0x2 0x3 0x4 0x5 0x6 0x7 0x8 and 2 more");
}

TEST(ItemWordingTest, LteSignallingShowsChannelMessageAndCell) {
  // Version 8: release, bearer 1, PCI 324, EARFCN 1825, frame 0, channel 6, an RRC connection
  // reconfiguration.
  EXPECT_EQ(
      DescribeLog(0xB0C0, "08 08 01 01 44 01 21 07 00 00 00 00 06 00 00 00 00 03 00 24 00 00"),
      "log 0xB0C0 LTE RRC  DL-DCCH  RRC connection reconfiguration  PCI 324 EARFCN 1825");
}

TEST(ItemWordingTest, SignallingWithoutAChannelShowsItsDirection) {
  // 3GPP TS 24.301: attach complete, 07 43.
  EXPECT_EQ(DescribeLog(0xB0ED, "01 09 05 00 07 43 00 03 52 00 C2"),
            "log 0xB0ED LTE NAS EMM plain  uplink  Attach complete");
}

TEST(ItemWordingTest, ACipheredMessageIsCalledSo) {
  EXPECT_EQ(DescribeLog(0xB0EA, "01 09 05 00 27 01 02 03 04 05 AA BB"),
            "log 0xB0EA LTE NAS EMM secured  downlink  ciphered");
}

TEST(ItemWordingTest, ALogOfAnUnknownVersionShowsTheVersion) {
  EXPECT_EQ(DescribeLog(0xB0C0, "01 08 01"), "log 0xB0C0 LTE RRC OTA message  unknown version 1");
  EXPECT_EQ(DescribeLog(0xB823, "09 00 03 00 00"),
            "log 0xB823 NR RRC serving cell info  unknown version 3.9");
}

TEST(ItemWordingTest, CellLogsShowTheirCell) {
  EXPECT_EQ(DescribeLog(0xB0C2,
                        "03 44 01 21 07 00 00 71 4D 00 00 64 4B 03 2C 1B 0A 34 12 03 00 00 00 "
                        "06 01 02 02 00 02"),
            "log 0xB0C2 LTE RRC serving cell info  PCI 324 EARFCN 1825/19825  "
            "PLMN 262-02 TAC 4660 cell 0xA1B2C03  band 3 bandwidth 100/75  access 2");
  EXPECT_EQ(DescribeLog(0x5134, "67 83 03 05 CD AB 13 00 14 12 34"),
            "log 0x5134 GSM RR cell information  BSIC 43 ARFCN 871  "
            "PLMN 310-410 LAC 4660 cell 0xABCD  band code 8");
  EXPECT_EQ(DescribeLog(0xB823,
                        "02 00 03 00 EE EE EE F4 01 11 22 33 44 55 66 77 88 80 A6 09 00 C0 A4 09 "
                        "00 64 00 5A 00 89 67 45 23 01 00 00 00 36 01 03 9A 01 01 EF CD AB 00 4E "
                        "00"),
            "log 0xB823 NR RRC serving cell info  PCI 500 NR-ARFCN 632448/632000  PLMN 310-410 "
            "TAC 11259375 cell 0x123456789 NCGI 0x8877665544332211  band 78 bandwidth 100/90  "
            "access 1");
  EXPECT_EQ(DescribeLog(0xB822, "07 00 02 00 F4 01 80 A6 09 00 E8 03"),
            "log 0xB822 NR RRC MIB info  PCI 500 NR-ARFCN 632448  SFN 1000");
}

TEST(ItemWordingTest, APacketInAWrapperShowsItsSubscription) {
  EXPECT_EQ(Describe(1, "98 01 00 00 02 00 00 00 10 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"),
            "log 0x1234  subscription 2");
  EXPECT_EQ(Describe(1, "98 01 00 00 02 00 00 00"), "packet 0x98  cut off");
}

TEST(ItemWordingTest, AnEncryptedLogSaysSo) {
  EXPECT_EQ(Describe(1, "9E 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 C0 B0"),
            "log 0xB0C0 LTE RRC OTA message  encrypted");
}

TEST(ItemWordingTest, WcdmaSignallingShowsItsChannel) {
  EXPECT_EQ(WordsOf(OtaItem("04 00 01 00 AA")),
            "log 0x412F WCDMA RRC  BCCH-BCH  System information-BCH");
  EXPECT_EQ(WordsOf(OtaItem("04 02 01 00 AA", 0x123456)),
            "log 0x412F WCDMA RRC  BCCH-BCH  System information-BCH  bearer 2  cell 0x123456");
  EXPECT_EQ(WordsOf(OtaItem("84 00 01 00 10 27 23 01 AA")),
            "log 0x412F WCDMA RRC  BCCH-BCH  System information-BCH  PSC 291 UARFCN 10000");
  EXPECT_EQ(WordsOf(OtaItem("0B 00 01 00 AA")), "log 0x412F WCDMA RRC OTA message  channel 11");
}

TEST(ItemWordingTest, BlocksThatTheRecorderRebuiltAreSynthetic) {
  sCaptureItem item = OtaItem("FE 00 02 00 05 AA");
  item.time = kGpsEpoch;
  EXPECT_EQ(WordsOf(item), "log 0x412F WCDMA RRC  SIB from BCH  SysInfo type 5  synthetic");
  item = OtaItem("FF 03 02 00 00 AA", 1);
  item.time = kGpsEpoch;
  EXPECT_EQ(WordsOf(item),
            "log 0x412F WCDMA RRC  SIB from FACH  Master information block  bearer 3  synthetic  "
            "cell 0x000001");
  item.time = kGpsEpoch + 2;
  EXPECT_EQ(WordsOf(item),
            "log 0x412F WCDMA RRC  SIB from FACH  Master information block  bearer 3  "
            "cell 0x000001");
}

TEST(ItemWordingTest, UnknownTypesAndItemsNotAsTheirTypePromisesAreDescribed) {
  EXPECT_EQ(Describe(3, "10"), "item of an unknown type");
  EXPECT_EQ(Describe(31, "10"), "item of an unknown type");
  EXPECT_EQ(Describe(5, "44 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"), "packet 0x44");
}

TEST(ItemWordingTest, EveryItemOfUpTo40BytesIsDescribedWithoutReadingPastItsEnd) {
  for (std::uint32_t type = 0; type < 32; ++type) {
    for (unsigned command = 0; command < 256; ++command) {
      for (std::size_t length = 1; length <= 40; ++length) {
        // A vector of exactly this capacity, so that the sanitizers see a read past its end.
        sCaptureItem item = Item(type, ByteVector(length, static_cast<std::uint8_t>(length * 37)));
        item.bytes[0] = static_cast<std::uint8_t>(command);
        item.bytes.shrink_to_fit();
        ASSERT_FALSE(WordsOf(item).empty());
      }
    }
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
