#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "modem_sim/diag_packets.h"
#include "modem_sim/modem.h"

namespace corvane::modem_sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Bytes Hex(std::string_view text) { return FromHex(text).value(); }

Bytes LogMaskRequest(std::uint32_t equipmentId, const std::vector<unsigned>& items) {
  Bytes request = Hex("73000000 03000000");
  AppendU32(request, equipmentId);
  AppendU32(request, 4096);
  Bytes mask(512, 0);
  for (const unsigned item : items) {
    mask[item / 8] = static_cast<std::uint8_t>(mask[item / 8] | 1U << item % 8);
  }
  AppendBytes(request, mask);
  return request;
}

class ModemSimModemTest : public testing::Test {
 protected:
  Bytes Answer(ByteView request) { return modem.Answer(request, 0x0123456789ABCDEF); }
  std::string AnswerHex(std::string_view request) { return ToHex(Answer(Hex(request))); }

  cModem modem;
};

TEST_F(ModemSimModemTest, EveryStartUpRequestIsAnsweredWithItsOwnCommandAndContent) {
  for (const char* request : {"1d", "00", "7c", "1c", "0c", "63", "4b0f0000", "4b090000",
                              "4b080000", "4b080100", "4b040000", "4b040f00", "6001"}) {
    const Bytes answer = Answer(Hex(request));
    ASSERT_GT(answer.size(), Hex(request).size()) << request;
    EXPECT_EQ(answer[0], Hex(request)[0]) << request;
  }
}

TEST_F(ModemSimModemTest, ASubsystemAnswerRepeatsSubsystemAndCommand) {
  EXPECT_THAT(AnswerHex("4b040f00"), testing::StartsWith("4b040f00"));
  EXPECT_THAT(AnswerHex("4b090000"), testing::StartsWith("4b090000"));
}

TEST_F(ModemSimModemTest, ASubsystemRequestMayCarryMoreThanItsHead) {
  EXPECT_THAT(AnswerHex("4b090000aabbcc"), testing::StartsWith("4b090000"));
}

TEST_F(ModemSimModemTest, TheVersionAnswerHasItsFiftyFiveBytes) {
  EXPECT_EQ(Answer(Hex("00")).size(), 55U);
}

TEST_F(ModemSimModemTest, TheTimeAnswerTellsTheClock) {
  EXPECT_EQ(AnswerHex("1d"), "1defcdab8967452301");
}

TEST_F(ModemSimModemTest, EventReportingIsAnsweredWithThreeBytes) {
  EXPECT_EQ(AnswerHex("6001"), "600000");
  EXPECT_EQ(AnswerHex("6000"), "600000");
}

TEST_F(ModemSimModemTest, NothingIsOnAtFirst) {
  EXPECT_FALSE(modem.Masks().AnythingOn());
  EXPECT_THAT(modem.Masks().LogCodes(), IsEmpty());
}

TEST_F(ModemSimModemTest, ALogMaskSwitchesOnItsItemsAndIsRepeatedInTheAnswer) {
  const Bytes request = LogMaskRequest(4, {0x12F, 0xFFF});
  const Bytes answer = Answer(request);
  // The status (success) stands between the operation and what the request set.
  EXPECT_EQ(ToHex(ByteView(answer).first(20)), "7300000003000000000000000400000000100000");
  EXPECT_EQ(ToHex(ByteView(answer).subspan(20)), ToHex(ByteView(request).subspan(16)));
  EXPECT_THAT(modem.Masks().LogCodes(), ElementsAre(0x412F, 0x4FFF));
}

TEST_F(ModemSimModemTest, ALogMaskReplacesItsEquipmentIdOnly) {
  std::ignore = Answer(LogMaskRequest(4, {0x12F}));
  std::ignore = Answer(LogMaskRequest(1, {0x234}));
  EXPECT_THAT(modem.Masks().LogCodes(), ElementsAre(0x1234, 0x412F));
  std::ignore = Answer(LogMaskRequest(4, {1}));
  EXPECT_THAT(modem.Masks().LogCodes(), ElementsAre(0x1234, 0x4001));
}

TEST_F(ModemSimModemTest, LogMasksCanBeDisabledAndReadBack) {
  std::ignore = Answer(LogMaskRequest(1, {8}));
  const Bytes mask = Answer(Hex("73000000 04000000 01000000"));
  ASSERT_EQ(mask.size(), 20U + 512U);
  EXPECT_EQ(mask[21], 1);
  EXPECT_EQ(AnswerHex("73000000 00000000"), "730000000000000000000000");
  EXPECT_THAT(modem.Masks().LogCodes(), IsEmpty());
  EXPECT_EQ(Answer(Hex("73000000 01000000")).size(), 12U + 16U * 4U);
}

TEST_F(ModemSimModemTest, AnEventMaskCountsOnlyWhileReportingIsOn) {
  EXPECT_EQ(AnswerHex("82000000 0a00 0102"),
            "8200000"
            "00a000102");
  EXPECT_THAT(modem.Masks().EventIds(), IsEmpty());
  std::ignore = AnswerHex("6001");
  EXPECT_THAT(modem.Masks().EventIds(), ElementsAre(0, 9));
  std::ignore = AnswerHex("6000");
  EXPECT_THAT(modem.Masks().EventIds(), IsEmpty());
}

TEST_F(ModemSimModemTest, AnEventMaskOfAllZerosSwitchesEveryEventOff) {
  std::ignore = AnswerHex("6001");
  std::ignore = AnswerHex("82000000 0a00 0102");
  Bytes request = Hex("82000000 0110");
  request.resize(6 + 513, 0);
  EXPECT_EQ(Answer(request).size(), request.size());
  EXPECT_THAT(modem.Masks().EventIds(), IsEmpty());
}

TEST_F(ModemSimModemTest, EventBitsBehindTheCountAreNotLookedAt) {
  std::ignore = AnswerHex("6001");
  std::ignore = AnswerHex("82000000 0200 ffff");
  EXPECT_THAT(modem.Masks().EventIds(), ElementsAre(0, 1));
}

TEST_F(ModemSimModemTest, EventIdsThatDoNotFitOnTheWireArePassedOver) {
  std::ignore = AnswerHex("6001");
  Bytes request = Hex("82000000 0820");
  request.resize(6 + 0x2008 / 8, 0xFF);
  std::ignore = Answer(request);
  ASSERT_EQ(modem.Masks().EventIds().size(), 4096U);
  EXPECT_EQ(modem.Masks().EventIds().back(), 4095);
}

TEST_F(ModemSimModemTest, TheEventMaskCanBeReadBack) {
  std::ignore = AnswerHex("82000000 0a00 0102");
  const Bytes answer = Answer(Hex("81"));
  EXPECT_EQ(ToHex(ByteView(answer).first(8)), "8100000000100102");
}

TEST_F(ModemSimModemTest, MessageLevelsSwitchOnEachLevelOfEachSubsystem) {
  EXPECT_EQ(AnswerHex("7d04 0500 0500 0000 09000000"), "7d0405000500010009000000");
  EXPECT_THAT(modem.Masks().MessageSources(),
              ElementsAre(sMessageSource{5, 0}, sMessageSource{5, 3}));
  std::ignore = AnswerHex("7d04 0500 0600 0000 00000000 00000080");
  EXPECT_THAT(modem.Masks().MessageSources(), ElementsAre(sMessageSource{6, 31}));
}

TEST_F(ModemSimModemTest, TheWholeRangeOfSubsystemsCanBeSet) {
  Bytes request = Hex("7d04 0000 ff0f 0000");
  for (int i = 0; i < 4096; ++i) {
    AppendU32(request, 1);
  }
  EXPECT_EQ(Answer(request).size(), request.size());
  EXPECT_EQ(modem.Masks().MessageSources().size(), 4096U);
}

TEST_F(ModemSimModemTest, AllLevelsSetsEverySubsystemOfTheModem) {
  std::ignore = AnswerHex("7d04 ff7f ff7f 0000 01000000");
  EXPECT_EQ(AnswerHex("7d05 0000 02000000"), "7d05010002000000");
  EXPECT_FALSE(modem.Masks().MessageSources().empty());
  for (const sMessageSource& source : modem.Masks().MessageSources()) {
    EXPECT_EQ(source.level, 1U);
  }
  EXPECT_EQ(AnswerHex("7d05 0000 00000000"), "7d05010000000000");
  EXPECT_THAT(modem.Masks().MessageSources(), IsEmpty());
}

TEST_F(ModemSimModemTest, MessageLevelsCanBeReadBack) {
  std::ignore = AnswerHex("7d04 0500 0500 0000 09000000");
  EXPECT_EQ(AnswerHex("7d03 0500 0600"),
            "7d03050006000100"
            "0900000000000000");
  EXPECT_EQ(AnswerHex("7d02 0500 0500"),
            "7d02050005000100"
            "1f000000");
  EXPECT_THAT(AnswerHex("7d01"), testing::StartsWith("7d010100"));
}

TEST_F(ModemSimModemTest, AnUnknownCommandIsRefusedWithTheRequestBehindTheError) {
  EXPECT_EQ(AnswerHex("29 0100"), "13290100");
  EXPECT_EQ(AnswerHex("4b 42 0000"), "134b420000");
  EXPECT_EQ(AnswerHex("80 0f000000"), "13800f000000");
}

TEST_F(ModemSimModemTest, KnownCommandsWithSenselessValuesAreRefused) {
  Bytes request = LogMaskRequest(16, {});
  EXPECT_EQ(Answer(request)[0], kBadParameters);
  EXPECT_EQ(AnswerHex("73000000 09000000"),
            "14"
            "7300000009000000");
  EXPECT_EQ(AnswerHex("73000000 04000000 10000000"),
            "14"
            "730000000400000010000000");
  EXPECT_EQ(AnswerHex("73000000 03000000 01000000 01100000"),
            "14"
            "73000000030000000100000001100000");
  EXPECT_EQ(AnswerHex("7d04 0600 0500 0000 00000000"),
            "14"
            "7d0406000500000000000000");
  EXPECT_EQ(AnswerHex("7d03 0600 0500"), "147d0306000500");
  EXPECT_EQ(AnswerHex("7d09"), "147d09");
}

TEST_F(ModemSimModemTest, KnownCommandsOfTheWrongLengthAreRefused) {
  for (const char* request :
       {"1d00", "4b0f00", "60", "600100", "730000", "73000000 03000000 01000000",
        "73000000 03000000 01000000 09000000 ff", "73000000 04000000", "8100", "82000000 01",
        "82000000 0900 ff", "7d", "7d04 0500", "7d04 0500 0500 0000 0000", "7d03 05",
        "7d05 0000"}) {
    EXPECT_EQ(AnswerHex(request), "15" + ToHex(Hex(request)));
  }
  EXPECT_FALSE(modem.Masks().AnythingOn());
}

TEST_F(ModemSimModemTest, EveryCommandByteGetsAnAnswer) {
  for (unsigned command = 0; command < 256; ++command) {
    for (std::size_t size = 1; size < 20; ++size) {
      Bytes request(size, 0xFF);
      request[0] = static_cast<std::uint8_t>(command);
      EXPECT_FALSE(Answer(request).empty()) << command;
    }
  }
}

TEST_F(ModemSimModemTest, AForgottenHostLeavesNothingOn) {
  std::ignore = AnswerHex("6001");
  std::ignore = AnswerHex("82000000 0a00 0102");
  std::ignore = Answer(LogMaskRequest(1, {8}));
  modem.Forget();
  EXPECT_FALSE(modem.Masks().AnythingOn());
}

}  // namespace
}  // namespace corvane::modem_sim
