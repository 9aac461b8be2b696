#include <gtest/gtest.h>

#include "describe/description.h"
#include "diag/packets.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

[[nodiscard]] sDescription FromModem(const char* hex) {
  return DescribePacket(Hex(hex), eSender::Modem);
}

// --- Log packets

TEST(LogHeadTest, ALogHasItsCodeItsNamesAndItsTime) {
  const sDescription told = FromModem("10 00 0C 00 0C 00 07 10 88 77 66 55 44 33 22 11");
  EXPECT_EQ(told.sort, eItemSort::Log);
  EXPECT_EQ(told.logCode, 0x1007);
  EXPECT_EQ(told.logName, "CDMA paging channel message");
  EXPECT_EQ(told.logKey, "cdma-paging-channel-message");
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  EXPECT_EQ(told.subscription, std::nullopt);
  EXPECT_FALSE(told.cutOff);
}

TEST(LogHeadTest, ALogWithoutANameHasItsCodeAlone) {
  const sDescription told = FromModem("10 00 0C 00 0C 00 FF FF 00 00 00 00 00 00 00 00");
  EXPECT_EQ(told.logCode, 0xFFFF);
  EXPECT_EQ(told.logName, "");
}

TEST(LogHeadTest, AHeadThatIsCutOffTellsWhatIsWhole) {
  const sDescription noTime = FromModem("10 00 04 00 04 00 07 10 88 77 66 55 44 33 22");
  EXPECT_EQ(noTime.logCode, 0x1007);
  EXPECT_EQ(noTime.modemTime, std::nullopt);
  EXPECT_TRUE(noTime.cutOff);
  const sDescription noCode = FromModem("10 00 03 00 03 00 07");
  EXPECT_EQ(noCode.sort, eItemSort::Log);
  EXPECT_EQ(noCode.logCode, std::nullopt);
  EXPECT_TRUE(noCode.cutOff);
}

TEST(LogHeadTest, ALogThatIsShorterThanItsLengthsSayIsCutOff) {
  EXPECT_FALSE(FromModem("10 00 0D 00 0D 00 34 12 00 00 00 00 00 00 00 00 AA").cutOff);
  EXPECT_TRUE(FromModem("10 00 0E 00 0E 00 34 12 00 00 00 00 00 00 00 00 AA").cutOff);
  EXPECT_TRUE(FromModem("10 00 0E 00 0D 00 34 12 00 00 00 00 00 00 00 00 AA").cutOff);
  EXPECT_TRUE(FromModem("10 00 0D 00 0E 00 34 12 00 00 00 00 00 00 00 00 AA").cutOff);
}

TEST(SecuredLogTest, AnEncryptedLogHasItsCode) {
  const sDescription told =
      FromModem("9E 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 C0 B0");
  EXPECT_EQ(told.sort, eItemSort::Log);
  EXPECT_EQ(told.logCode, 0xB0C0);
  EXPECT_EQ(told.logName, "LTE RRC OTA message");
  EXPECT_EQ(told.details, "encrypted");
  EXPECT_FALSE(told.signalling);
  EXPECT_FALSE(told.cutOff);
  EXPECT_TRUE(FromModem("9E 00 00").cutOff);
}

// --- Wrappers

TEST(WrapperTest, ThePacketWithinIsDescribedWithItsSubscription) {
  const sDescription told =
      FromModem("98 01 00 00 02 00 00 00 10 00 0C 00 0C 00 07 10 01 00 00 00 00 00 00 00");
  EXPECT_EQ(told.subscription, 2u);
  EXPECT_EQ(told.sort, eItemSort::Log);
  EXPECT_EQ(told.logCode, 0x1007);
  EXPECT_EQ(told.modemTime, 1u);
}

TEST(WrapperTest, NoSubscriptionCountsAsTheFirst) {
  EXPECT_EQ(Unwrap(Hex("98 01 00 00 00 00 00 00 1D")).subscription, 1u);
  EXPECT_EQ(Unwrap(Hex("98 01 00 00 FF FF FF FF 1D")).subscription, 1u);
  EXPECT_EQ(Unwrap(Hex("98 01 00 00 FE FF FF FF 1D")).subscription, 0xFFFFFFFEu);
}

TEST(WrapperTest, VersionAndTheBitsBehindItAreNotLookedAt) {
  const ByteVector packet = Hex("98 07 34 12 02 00 00 00 1D");
  const sUnwrapped unwrapped = Unwrap(packet);
  EXPECT_EQ(unwrapped.subscription, 2u);
  EXPECT_EQ(unwrapped.packet.data(), packet.data() + 8);
}

TEST(WrapperTest, APacketOfAnyOtherCommandIsItsOwn) {
  const ByteVector packet = Hex("1D 01 00 00 02 00 00 00 10");
  const sUnwrapped unwrapped = Unwrap(packet);
  EXPECT_EQ(unwrapped.packet.data(), packet.data());
  EXPECT_EQ(unwrapped.packet.size(), packet.size());
  EXPECT_EQ(unwrapped.subscription, std::nullopt);
  EXPECT_TRUE(Unwrap({}).packet.empty());
}

TEST(WrapperTest, AWrapperWithoutAPacketIsCutOff) {
  const sDescription told = FromModem("98 01 00 00 02 00 00 00");
  EXPECT_EQ(told.sort, eItemSort::Unknown);
  EXPECT_EQ(told.subscription, std::nullopt);
  ASSERT_TRUE(told.command);
  EXPECT_EQ(told.command->code, 0x98);
  EXPECT_TRUE(told.cutOff);
}

TEST(WrapperTest, WrappersInWrappersComeToAnEnd) {
  ByteVector packet;
  for (unsigned number = 1; number <= 2000; ++number) {
    Append(packet, 0x198, 4);
    Append(packet, number, 4);
  }
  packet.push_back(0x1D);
  const sDescription told = DescribePacket(packet, eSender::Modem);
  EXPECT_EQ(told.subscription, 2000u);
  ASSERT_TRUE(told.command);
  EXPECT_EQ(told.command->name, "time stamp");
}

// --- Events

TEST(EventTest, AReportHasAllItsEvents) {
  // Whole times: 256 without payload, 1606 with one byte, 257 with two, 258 with a counted three.
  const sDescription told = FromModem(
      "60 39 00 00 01 88 77 66 55 44 33 22 11 "
      "46 26 01 00 00 00 00 00 00 00 04 "
      "01 41 02 00 00 00 00 00 00 00 AA BB "
      "02 61 03 00 00 00 00 00 00 00 03 01 02 03 "
      "03 01 04 00 00 00 00 00 00 00");
  EXPECT_EQ(told.sort, eItemSort::Event);
  EXPECT_FALSE(told.cutOff);
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  ASSERT_EQ(told.events.size(), 5u);
  EXPECT_EQ(told.events[0].id, 256);
  EXPECT_EQ(told.events[0].name, "Band class change");
  EXPECT_EQ(told.events[0].time, 0x1122334455667788u);
  EXPECT_TRUE(told.events[0].payload.empty());
  EXPECT_EQ(told.events[1].id, 1606);
  EXPECT_EQ(told.events[1].payload, Hex("04"));
  EXPECT_EQ(told.events[1].value, "connected");
  EXPECT_EQ(told.events[2].payload, Hex("AA BB"));
  EXPECT_EQ(told.events[3].payload, Hex("01 02 03"));
  EXPECT_EQ(told.events[4].id, 259);
}

TEST(EventTest, AShortTimeReplacesBits8To23OfTheTimeBefore) {
  const sDescription told = FromModem(
      "74 13 00 00 01 88 77 66 55 44 33 22 11 "
      "00 81 CD AB "
      "00 A1 34 12 07");
  ASSERT_EQ(told.events.size(), 3u);
  EXPECT_EQ(told.events[1].time, 0x1122334455ABCD88u);
  EXPECT_EQ(told.events[2].time, 0x1122334455123488u);
  EXPECT_EQ(told.events[2].payload, Hex("07"));
}

TEST(EventTest, AShortTimeWithoutOneBeforeIsNone) {
  const sDescription told = FromModem("60 04 00 00 81 CD AB");
  ASSERT_EQ(told.events.size(), 1u);
  EXPECT_EQ(told.events[0].time, std::nullopt);
  EXPECT_FALSE(told.cutOff);
}

TEST(EventTest, AReportThatIsCutOffHasItsWholeEvents) {
  const sDescription noTime =
      FromModem("60 14 00 00 01 88 77 66 55 44 33 22 11 01 01 00 00 00 00 00 00 00");
  EXPECT_EQ(noTime.events.size(), 1u);
  EXPECT_TRUE(noTime.cutOff);
  const sDescription payload = FromModem("60 0C 00 01 41 02 00 00 00 00 00 00 00 AA");
  ASSERT_EQ(payload.events.size(), 1u);
  EXPECT_EQ(payload.events[0].payload, Hex("AA"));
  EXPECT_TRUE(payload.cutOff);
  const sDescription count = FromModem("60 0A 00 01 61 02 00 00 00 00 00 00 00");
  ASSERT_EQ(count.events.size(), 1u);
  EXPECT_TRUE(count.cutOff);
  EXPECT_TRUE(FromModem("60 0A").cutOff);
}

TEST(EventTest, WhatFollowsBehindAReportsLengthIsNoEvent) {
  const sDescription told = FromModem("60 0A 00 00 01 00 00 00 00 00 00 00 00 00 01 02 03");
  EXPECT_EQ(told.events.size(), 1u);
  EXPECT_FALSE(told.cutOff);
}

TEST(EventTest, TheLteRrcStatesHaveTheirNames) {
  const auto value = [](std::uint8_t state) {
    ByteVector packet = Hex("60 0B 00 46 26 00 00 00 00 00 00 00 00 00");
    packet.back() = state;
    return DescribeSingleEvent(packet).events.at(0).value;
  };
  EXPECT_EQ(value(1), "idle, not camped");
  EXPECT_EQ(value(2), "idle, camped");
  EXPECT_EQ(value(3), "connecting");
  EXPECT_EQ(value(4), "connected");
  EXPECT_EQ(value(7), "closing");
  for (const std::uint8_t unknown : Hex("00 05 06 08 FF")) {
    EXPECT_EQ(value(unknown), "");
  }
}

TEST(EventTest, ASingleEventIsDescribed) {
  const sDescription told = DescribeSingleEvent(Hex("60 0B 00 46 26 88 77 66 55 44 33 22 11 04"));
  EXPECT_EQ(told.sort, eItemSort::Event);
  EXPECT_EQ(told.technology, eTechnology::Lte);
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  ASSERT_EQ(told.events.size(), 1u);
  EXPECT_EQ(told.events[0].name, "LTE RRC state change");
  EXPECT_EQ(DescribeSingleEvent(Hex("1D")).sort, eItemSort::Reply);
  EXPECT_EQ(DescribeSingleEvent({}).sort, eItemSort::Unknown);
}

// --- Debug messages

TEST(DebugMessageTest, AnExtendedMessageIsDescribedWhole) {
  // Two arguments, 3 messages dropped, line 123, SSID 5, high; "n %d of %x", "cm.c".
  const sDescription told = FromModem(
      "79 00 02 03 88 77 66 55 44 33 22 11 7B 00 05 00 04 00 00 00 07 00 00 00 FF 00 00 00 "
      "6E 20 25 64 20 6F 66 20 25 78 00 63 6D 2E 63 00");
  EXPECT_EQ(told.sort, eItemSort::Message);
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  EXPECT_FALSE(told.cutOff);
  ASSERT_TRUE(told.message);
  EXPECT_EQ(told.message->ssid, 5);
  EXPECT_EQ(told.message->subsystem, "call manager");
  EXPECT_EQ(told.message->line, 123);
  EXPECT_EQ(told.message->levels, 4u);
  EXPECT_EQ(told.message->dropped, 3);
  EXPECT_EQ(told.message->hash, std::nullopt);
  EXPECT_EQ(told.message->format, "n %d of %x");
  EXPECT_EQ(told.message->text, "n 7 of ff");
  EXPECT_EQ(told.message->file, "cm.c");
  EXPECT_EQ(told.message->arguments, (std::vector<std::uint32_t>{7, 255}));
}

TEST(DebugMessageTest, AnotherTimeTypeGivesNoTime) {
  EXPECT_EQ(
      FromModem("79 01 00 00 88 77 66 55 44 33 22 11 7B 00 05 00 04 00 00 00 00 00").modemTime,
      std::nullopt);
}

TEST(DebugMessageTest, AnExtendedMessageThatIsCutOffTellsWhatIsWhole) {
  const sDescription head = FromModem("79 00 00 00 88 77 66 55 44 33 22 11 7B 00 05");
  ASSERT_TRUE(head.message);
  EXPECT_EQ(head.message->line, 123);
  EXPECT_EQ(head.message->ssid, std::nullopt);
  EXPECT_TRUE(head.cutOff);
  const std::string start = "79 00 02 00 00 00 00 00 00 00 00 00 7B 00 05 00 04 00 00 00 ";
  const sDescription arguments = FromModem((start + "07 00 00 00 FF 00 00").c_str());
  EXPECT_EQ(arguments.message->arguments, (std::vector<std::uint32_t>{7}));
  EXPECT_TRUE(arguments.cutOff);
  const sDescription text = FromModem((start + "07 00 00 00 FF 00 00 00 6E 25 64").c_str());
  EXPECT_EQ(text.message->text, "n7");
  EXPECT_TRUE(text.cutOff);
  const sDescription file = FromModem((start + "07 00 00 00 FF 00 00 00 6E 00 63").c_str());
  EXPECT_EQ(file.message->text, "n");
  EXPECT_EQ(file.message->file, "c");
  EXPECT_TRUE(file.cutOff);
}

// The text ends with its zero, whatever is in it.
TEST(DebugMessageTest, ATextHasItsBytesAsTheyAre) {
  const sDescription told = FromModem(
      "79 00 01 00 00 00 00 00 00 00 00 00 7B 00 05 00 04 00 00 00 07 00 00 00 "
      "6E 1B E9 25 64 00 63 FF 0A 00");
  EXPECT_EQ(told.message->format, "n\x1B\xE9%d");
  EXPECT_EQ(told.message->text,
            "n\x1B\xE9"
            "7");
  EXPECT_EQ(told.message->file, "c\xFF\n");
  EXPECT_FALSE(told.cutOff);
}

TEST(DebugMessageTest, ATextWithoutItsEndIsWhatIsThere) {
  const sDescription told =
      FromModem("79 00 00 00 00 00 00 00 00 00 00 00 7B 00 05 00 04 00 00 00 6E 1B E9");
  EXPECT_EQ(told.message->text, "n\x1B\xE9");
  EXPECT_EQ(told.message->file, "");
  EXPECT_TRUE(told.cutOff);
}

TEST(DebugMessageTest, AHashedMessageHasItsHashAndArguments) {
  const sDescription told = FromModem(
      "92 00 02 01 88 77 66 55 44 33 22 11 7B 00 05 00 02 00 00 00 EF BE AD DE "
      "01 00 00 00 FF FF FF FF");
  EXPECT_EQ(told.sort, eItemSort::Message);
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  ASSERT_TRUE(told.message);
  EXPECT_EQ(told.message->ssid, 5);
  EXPECT_EQ(told.message->line, 123);
  EXPECT_EQ(told.message->levels, 2u);
  EXPECT_EQ(told.message->dropped, 1);
  EXPECT_EQ(told.message->hash, 0xDEADBEEF);
  EXPECT_EQ(told.message->arguments, (std::vector<std::uint32_t>{1, 0xFFFFFFFF}));
  EXPECT_FALSE(told.cutOff);
  EXPECT_TRUE(
      FromModem("92 00 01 00 00 00 00 00 00 00 00 00 7B 00 05 00 02 00 00 00 EF BE AD DE").cutOff);
}

TEST(DebugMessageTest, ANewerHashedMessageSaysHowLongItsArgumentsAre) {
  const sDescription told =
      FromModem("99 00 32 05 88 77 66 55 44 33 22 11 EF BE AD DE 00 00 01 02 03 FF FE FD");
  ASSERT_TRUE(told.message);
  EXPECT_EQ(told.modemTime, 0x1122334455667788u);
  EXPECT_EQ(told.message->dropped, 5);
  EXPECT_EQ(told.message->hash, 0xDEADBEEF);
  EXPECT_EQ(told.message->ssid, std::nullopt);
  EXPECT_EQ(told.message->arguments, (std::vector<std::uint32_t>{0x030201, 0xFDFEFF}));
  EXPECT_FALSE(told.cutOff);
  // Lengths that are none of the known ones.
  for (const char* arguments : {"02", "52", "F2"}) {
    const std::string packet = std::string("99 00 ") + arguments +
                               " 00 88 77 66 55 44 33 22 11 EF BE AD DE 00 00 01 02 03 FF FE FD";
    EXPECT_TRUE(FromModem(packet.c_str()).message->arguments.empty()) << arguments;
  }
}

TEST(DebugMessageTest, OfAnOldMessageOnlyItsKindIsKnown) {
  const sDescription told = FromModem("1F 00 01 02 03");
  EXPECT_EQ(told.sort, eItemSort::Message);
  ASSERT_TRUE(told.message);
  EXPECT_EQ(told.message->ssid, std::nullopt);
  EXPECT_EQ(told.modemTime, std::nullopt);
}

// --- Requests and replies

TEST(CommandTest, ARequestHasItsNameAndDetails) {
  const sDescription told = DescribePacket(Hex("82 00 00 00 0A 00 01 02"), eSender::Host);
  EXPECT_EQ(told.sort, eItemSort::Request);
  ASSERT_TRUE(told.command);
  EXPECT_EQ(told.command->code, 0x82);
  EXPECT_EQ(told.command->name, "event mask");
  EXPECT_EQ(told.command->details, "2 events");
}

TEST(CommandTest, ASubsystemsRequestHasItsNumbers) {
  const sDescription told = DescribePacket(Hex("4B 09 00 00 B2 A1 00"), eSender::Host);
  ASSERT_TRUE(told.command);
  EXPECT_EQ(told.command->subsystem, 9);
  EXPECT_EQ(told.command->subsystemCommand, 0);
  EXPECT_EQ(told.command->details, "cell 0x00A1B2");
  const sDescription shorter = DescribePacket(Hex("4B 09 00 00 B2 A1"), eSender::Host);
  EXPECT_EQ(shorter.command->details, "");
  EXPECT_FALSE(shorter.cutOff);
  const sDescription head = DescribePacket(Hex("4B 09 00"), eSender::Host);
  EXPECT_EQ(head.command->subsystem, std::nullopt);
  EXPECT_TRUE(head.cutOff);
}

TEST(CommandTest, ARefusalSaysWhy) {
  const sDescription told = FromModem("15 73");
  EXPECT_EQ(told.sort, eItemSort::Reply);
  EXPECT_EQ(told.command->refusal, "bad length");
  EXPECT_EQ(FromModem("13 73").command->refusal, "bad command");
  EXPECT_EQ(FromModem("14 73").command->refusal, "bad parameters");
  EXPECT_EQ(FromModem("18 73").command->refusal, "command 0x18");
  EXPECT_EQ(FromModem("42 73").command->refusal, "command 0x42");
  EXPECT_EQ(FromModem("47 73").command->refusal, "command 0x47");
}

TEST(CommandTest, AGetItemReplyTellsWhatItHolds) {
  const sDescription told = FromModem("4B 25 08 00 00 00 00 00 00 00 00 00 00 10 00 00");
  EXPECT_EQ(told.command->subsystemName, "debug");
  EXPECT_EQ(told.command->subsystemCommandName, "get-item");
  EXPECT_EQ(told.command->details, "holds a packet of 3 bytes");
  EXPECT_EQ(FromModem("80 25 08 00 00 00 00 00 00 02 01 00 00 10").command->details,
            "status 0x102");
  EXPECT_TRUE(FromModem("4B 25 08 00 00 00 00 00 00 00 00 00").cutOff);
}

TEST(CommandTest, APacketOfAnUnknownCommandHasItsCode) {
  const sDescription told = FromModem("29 00");
  EXPECT_EQ(told.sort, eItemSort::Unknown);
  EXPECT_EQ(told.command->code, 0x29);
  EXPECT_EQ(told.command->name, "");
}

TEST(CommandTest, TheShortAnswerOfEventReportsIsAReply) {
  const sDescription told = FromModem("60 00 00");
  EXPECT_EQ(told.sort, eItemSort::Reply);
  EXPECT_EQ(told.command->name, "event report");
  EXPECT_EQ(FromModem("74 00 00").sort, eItemSort::Event);
}

TEST(CommandTest, AnEmptyPacketIsCutOff) {
  EXPECT_TRUE(DescribePacket({}, eSender::Modem).cutOff);
  EXPECT_EQ(DescribePacket({}, eSender::Host).sort, eItemSort::Request);
}

}  // namespace
}  // namespace corvane
