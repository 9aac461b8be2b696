#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {
namespace {

using testing::AnyOf;
using testing::Contains;

std::uint64_t ReadU64(ByteView bytes, std::size_t at) {
  return ReadU32(bytes, at) | static_cast<std::uint64_t>(ReadU32(bytes, at + 4)) << 32;
}

Bytes Bits(const std::vector<unsigned>& numbers) {
  Bytes mask(512, 0);
  for (const unsigned number : numbers) {
    mask[number / 8] = static_cast<std::uint8_t>(mask[number / 8] | 1U << number % 8);
  }
  return mask;
}

cMasks EverythingOn() {
  cMasks masks;
  masks.SetLogMask(1, 4096, Bits({0x234, 0x235}));
  masks.SetLogMask(4, 4096, Bits({0x12F, 0xFFF}));
  masks.SetEventMask(4096, Bits({3, 9, 4095}));
  masks.SetEventReporting(true);
  masks.SetMessageLevels(5, {0x80000009});
  return masks;
}

std::vector<sStreamPacket> Make(const sStreamOptions& options, const cMasks& masks,
                                std::uint64_t count) {
  cMixedScenario scenario(options);
  std::vector<sStreamPacket> packets;
  for (std::uint64_t number = 0; number < count; ++number) {
    packets.push_back(scenario.Make(number, true, masks));
  }
  return packets;
}

// What a recorder makes of a report, in its own words: the full time of a short one has bits 8 to
// 23 from the wire and the others from the event before.
std::vector<Bytes> SplitReport(ByteView report) {
  std::vector<Bytes> events;
  std::uint64_t time = 0;
  EXPECT_EQ(ReadU16(report, 1), report.size() - 3);
  for (std::size_t at = 3; at < report.size();) {
    const unsigned word = ReadU16(report, at);
    at += 2;
    if (word >> 15 != 0) {
      time = (time & ~std::uint64_t{0xFFFF00}) | std::uint64_t{ReadU16(report, at)} << 8;
      at += 2;
    } else {
      time = ReadU64(report, at);
      at += 8;
    }
    const unsigned code = word >> 13 & 3;
    const std::size_t size = code == 3 ? std::size_t{1} + report[at] : code;
    Bytes event = {report[0]};
    AppendU16(event, static_cast<std::uint32_t>(size + 10));
    AppendU16(event, word & 0x6FFF);
    AppendU64(event, time);
    AppendBytes(event, report.subspan(at, size));
    at += size;
    EXPECT_LE(at, report.size());
    events.push_back(event);
  }
  return events;
}

TEST(ModemSimStreamTest, ALogPacketHasItsHeaderAndBothLengths) {
  const Bytes packet = LogPacket(0x1234, 0x1122334455667788, Bytes{0xAA, 0xBB});
  EXPECT_EQ(ToHex(packet), "10000e000e0034128877665544332211aabb");
}

TEST(ModemSimStreamTest, AnEventReportHasOneOrSeveralEvents) {
  const sEvent first{5, 0, false, 0x0807060504030201, {}};
  const sEvent second{9, 3, true, 0x080706050403AA01, {0xEE, 0xFF}};
  EXPECT_EQ(ToHex(EventReport({first})),
            "600a000500"
            "0102030405060708");
  EXPECT_EQ(ToHex(EventReport({first, second})),
            "60110005000102030405060708"
            "09e0aa0302eeff");
}

TEST(ModemSimStreamTest, ASingleEventHasItsFullTimeAndTheCountByteOfItsPayload) {
  const sEvent event{9, 3, true, 0x0807060504AAAA01, {0xEE, 0xFF}};
  EXPECT_EQ(ToHex(SingleEvent(event)),
            "600d000960"
            "01aaaa0405060708"
            "02eeff");
}

TEST(ModemSimStreamTest, MessagesHaveTheirSubsystemAndLevel) {
  const sMessage message{5, 3, 0x0102, 0x0807060504030201, {0x11223344}, "ab", "c"};
  EXPECT_EQ(ToHex(ExtendedMessage(message)),
            "79000100"
            "0102030405060708"
            "0201"
            "0500"
            "08000000"
            "44332211"
            "616200"
            "6300");
  EXPECT_EQ(ToHex(TerseMessage(message, 0xAABBCCDD)),
            "92000100"
            "0102030405060708"
            "0201"
            "0500"
            "08000000"
            "ddccbbaa"
            "44332211");
  const Bytes legacy = LegacyMessage(message);
  EXPECT_EQ(legacy.size(), 1U + 2 + 4 + 4 + 1 + 13 + 2 + 40 + 12 + 8);
  EXPECT_EQ(legacy[11], 3);
}

TEST(ModemSimStreamTest, LongTextsOfALegacyMessageAreCutWithinTheirFields) {
  const sMessage message{0, 0, 1, 0, {}, std::string(100, 'f'), std::string(100, 'n')};
  const Bytes legacy = LegacyMessage(message);
  EXPECT_EQ(legacy.size(), 87U);
  EXPECT_EQ(legacy[12 + 12], 0);
  EXPECT_EQ(legacy[12 + 13 + 2 + 39], 0);
}

TEST(ModemSimStreamTest, NothingCanBeSentBeforeAMaskIsSet) {
  EXPECT_FALSE(cMixedScenario(sStreamOptions()).CanSend(cMasks()));
}

TEST(ModemSimStreamTest, EachMaskAloneLetsOnlyItsKindThrough) {
  cMasks logs;
  logs.SetLogMask(1, 4096, Bits({0x234}));
  cMasks events;
  events.SetEventMask(10, Bits({9}));
  events.SetEventReporting(true);
  cMasks messages;
  messages.SetMessageLevels(5, {8});
  for (const sStreamPacket& made : Make({}, logs, 50)) {
    EXPECT_EQ(made.kind, "log");
  }
  for (const sStreamPacket& made : Make({}, events, 50)) {
    EXPECT_EQ(made.kind, "event");
  }
  for (const sStreamPacket& made : Make({}, messages, 50)) {
    EXPECT_EQ(made.kind, "message");
  }
}

TEST(ModemSimStreamTest, OnlyLogCodesThatAreOnAreSentAndAllOfThem) {
  std::set<unsigned> codes;
  for (const sStreamPacket& made : Make({}, EverythingOn(), 1000)) {
    if (made.kind != "log") {
      continue;
    }
    ASSERT_EQ(made.packet[0], 0x10);
    EXPECT_EQ(ReadU16(made.packet, 2), made.packet.size() - 4);
    EXPECT_EQ(ReadU16(made.packet, 4), made.packet.size() - 4);
    codes.insert(ReadU16(made.packet, 6));
  }
  EXPECT_EQ(codes, (std::set<unsigned>{0x1234, 0x1235, 0x412F, 0x4FFF}));
}

TEST(ModemSimStreamTest, AChoiceOfLogCodesIsKeptTo) {
  sStreamOptions options;
  options.logCodes = {0x1235, 0x7777};
  for (const sStreamPacket& made : Make(options, EverythingOn(), 300)) {
    if (made.kind == "log") {
      EXPECT_EQ(ReadU16(made.packet, 6), 0x1235);
    }
  }
}

TEST(ModemSimStreamTest, OnlyEventsThatAreOnAreSentInAllForms) {
  std::set<unsigned> ids;
  std::set<unsigned> lengthCodes;
  std::set<std::size_t> counts;
  for (const sStreamPacket& made : Make({}, EverythingOn(), 2000)) {
    if (made.kind != "event") {
      continue;
    }
    EXPECT_EQ(made.events, SplitReport(made.packet));
    counts.insert(made.events.size());
    for (const Bytes& event : made.events) {
      ids.insert(ReadU16(event, 3) & 0xFFF);
      lengthCodes.insert(ReadU16(event, 3) >> 13);
    }
  }
  EXPECT_EQ(ids, (std::set<unsigned>{3, 9, 4095}));
  EXPECT_EQ(lengthCodes, (std::set<unsigned>{0, 1, 2, 3}));
  EXPECT_EQ(counts, (std::set<std::size_t>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(ModemSimStreamTest, EventsComeWithShortAndWithFullTimesAfterTheFirst) {
  std::size_t shortest = 100000;
  std::size_t longest = 0;
  for (const sStreamPacket& made : Make({}, EverythingOn(), 2000)) {
    if (made.kind != "event" || made.events.size() != 2) {
      continue;
    }
    const std::size_t payloads = made.events[0].size() + made.events[1].size() - 26;
    const std::size_t heads = made.packet.size() - 3 - payloads;
    shortest = std::min(shortest, heads);
    longest = std::max(longest, heads);
  }
  EXPECT_EQ(shortest, 10U + 4U);
  EXPECT_EQ(longest, 10U + 10U);
}

TEST(ModemSimStreamTest, OnlyMessagesThatAreOnAreSentInAllThreeForms) {
  std::set<unsigned> commands;
  for (const sStreamPacket& made : Make({}, EverythingOn(), 2000)) {
    if (made.kind != "message") {
      continue;
    }
    commands.insert(made.packet[0]);
    if (made.packet[0] == 0x1F) {
      EXPECT_THAT(made.packet[11], AnyOf(0, 3));
    } else {
      EXPECT_EQ(ReadU16(made.packet, 14), 5);
      EXPECT_THAT(ReadU32(made.packet, 16), AnyOf(1U, 8U, 0x80000000U));
    }
  }
  EXPECT_EQ(commands, (std::set<unsigned>{0x1F, 0x79, 0x92}));
}

TEST(ModemSimStreamTest, ArgumentsOfMessagesAreAnyNumbers) {
  std::set<std::uint32_t> arguments;
  for (const sStreamPacket& made : Make({}, EverythingOn(), 500)) {
    const bool hasArguments = made.packet[0] == 0x79 && made.packet[2] != 0;
    if (hasArguments) {
      arguments.insert(ReadU32(made.packet, 20));
    }
  }
  EXPECT_GT(arguments.size(), 20U);
}

TEST(ModemSimStreamTest, TheMixSaysHowOftenEachKindComes) {
  sStreamOptions options;
  options.logWeight = 0;
  options.eventWeight = 1;
  options.messageWeight = 1;
  std::map<std::string, int> kinds;
  for (const sStreamPacket& made : Make(options, EverythingOn(), 400)) {
    ++kinds[made.kind];
  }
  EXPECT_EQ(kinds["log"], 0);
  EXPECT_GT(kinds["event"], 100);
  EXPECT_GT(kinds["message"], 100);
  options.eventWeight = 0;
  options.messageWeight = 0;
  EXPECT_FALSE(cMixedScenario(options).CanSend(EverythingOn()));
}

TEST(ModemSimStreamTest, SizesKeepToTheirClasses) {
  cMasks masks;
  masks.SetLogMask(1, 4096, Bits({0x234}));
  sStreamOptions options;
  options.sizeWeights = {1, 0, 0};
  std::set<std::size_t> sizes;
  for (const sStreamPacket& made : Make(options, masks, 1000)) {
    sizes.insert(made.packet.size());
  }
  EXPECT_EQ(*sizes.begin(), 16U);
  EXPECT_EQ(*sizes.rbegin(), 16U + 64U);
  options.sizeWeights = {0, 1, 0};
  for (const sStreamPacket& made : Make(options, masks, 200)) {
    EXPECT_GT(made.packet.size(), 16U + 64U);
    EXPECT_LE(made.packet.size(), 16U + 1024U);
  }
}

TEST(ModemSimStreamTest, LargePacketsFillTheirFramesToTheLimitAndNotBeyond) {
  sStreamOptions options;
  options.sizeWeights = {0, 0, 1};
  std::size_t longest = 0;
  for (const sStreamPacket& made : Make(options, EverythingOn(), 200)) {
    const std::size_t size = Frame(made.packet).size();
    EXPECT_LE(size, options.maxFrame);
    longest = std::max(longest, size);
  }
  EXPECT_GT(longest, options.maxFrame - 16);
}

TEST(ModemSimStreamTest, ASmallFrameLimitHoldsForEveryKind) {
  sStreamOptions options;
  options.maxFrame = 1024;
  options.sizeWeights = {1, 1, 1};
  for (const sStreamPacket& made : Make(options, EverythingOn(), 2000)) {
    EXPECT_LE(Frame(made.packet).size(), 1024U) << made.kind;
  }
}

TEST(ModemSimStreamTest, OverTheAirPacketsAreWellFormedAndCarryNoSystemInformation) {
  for (const sStreamPacket& made : Make({}, EverythingOn(), 2000)) {
    if (made.kind != "log" || ReadU16(made.packet, 6) != 0x412F) {
      continue;
    }
    ASSERT_GE(made.packet.size(), 20U);
    const unsigned channel = made.packet[16];
    EXPECT_THAT((std::set<unsigned>{0, 1, 2, 3, 6, 0x83, 0x86}), Contains(channel));
    const std::size_t head = channel >= 0x80 ? 24 : 20;
    EXPECT_EQ(ReadU16(made.packet, 18), made.packet.size() - head);
  }
}

TEST(ModemSimStreamTest, TheClockInThePacketsMovesWithTheirNumbers) {
  cMasks masks;
  masks.SetLogMask(1, 4096, Bits({0x234}));
  const auto packets = Make({}, masks, 100);
  for (std::size_t number = 0; number < packets.size(); ++number) {
    const std::uint64_t time = ReadU64(packets[number].packet, 8);
    // 5 ms are four units of 1.25 ms. The start of 2024 is 1388102400 s after that of 1980-01-06.
    EXPECT_EQ(time >> 16, std::uint64_t{1388102400} * 800 + number * 4);
    EXPECT_LT(time & 0xFFFF, 49152U);
  }
  sStreamOptions options;
  options.clockStart = 4000;
  EXPECT_EQ(ReadU64(Make(options, masks, 2)[1].packet, 8) >> 16, 4004U);
}

TEST(ModemSimStreamTest, TheSameSeedMakesTheSameStreamAndAnotherSeedAnother) {
  const auto bytes = [](std::uint64_t seed) {
    sStreamOptions options;
    options.seed = seed;
    std::vector<Bytes> packets;
    for (const sStreamPacket& made : Make(options, EverythingOn(), 200)) {
      packets.push_back(made.packet);
    }
    return packets;
  };
  EXPECT_EQ(bytes(1), bytes(1));
  EXPECT_NE(bytes(1), bytes(2));
}

TEST(ModemSimStreamTest, APacketDoesNotDependOnThoseBeforeIt) {
  cMixedScenario scenario(sStreamOptions{});
  const Bytes alone = scenario.Make(150, true, EverythingOn()).packet;
  EXPECT_EQ(alone, Make({}, EverythingOn(), 151).back().packet);
}

std::unique_ptr<cScenario> MakeWithSims(std::uint32_t subscriptions, std::size_t maxFrame = 8191) {
  sStreamOptions options;
  options.subscriptions = subscriptions;
  options.maxFrame = maxFrame;
  return MakeScenario("mixed", options);
}

TEST(ModemSimStreamTest, LogsOfSeveralSimsComeInWrappersAndNothingElseDoes) {
  const auto scenario = MakeWithSims(3);
  std::map<std::uint32_t, std::set<std::uint32_t>> told;
  for (std::uint64_t number = 0; number < 400; ++number) {
    const sStreamPacket made = scenario->Make(number, true, EverythingOn());
    ASSERT_EQ(made.wrapped.has_value(), made.kind == "log");
    if (!made.wrapped) {
      EXPECT_NE(made.packet[0], 0x98);
      continue;
    }
    EXPECT_EQ(ReadU32(made.packet, 0), 0x00000198U);
    EXPECT_EQ(ToHex(ByteView(made.packet).subspan(8)), ToHex(made.wrapped->packet));
    EXPECT_EQ(made.wrapped->packet[0], 0x10);
    told[made.wrapped->subscription].insert(ReadU32(made.packet, 4));
  }
  EXPECT_EQ(told, (std::map<std::uint32_t, std::set<std::uint32_t>>{
                      {1, {0, 1, 0xFFFFFFFF}}, {2, {2}}, {3, {3}}}));
}

TEST(ModemSimStreamTest, WrappersKeepToTheFrameLimit) {
  const auto scenario = MakeWithSims(2, 1024);
  for (std::uint64_t number = 0; number < 400; ++number) {
    EXPECT_LE(Frame(scenario->Make(number, true, EverythingOn()).packet).size(), 1024U);
  }
}

TEST(ModemSimStreamTest, OneSimSendsBareLogs) {
  const auto scenario = MakeWithSims(1);
  for (std::uint64_t number = 0; number < 100; ++number) {
    EXPECT_FALSE(scenario->Make(number, true, EverythingOn()).wrapped);
  }
}

TEST(ModemSimStreamTest, OnlyKnownScenariosCanBeMade) {
  EXPECT_NE(MakeScenario("mixed", {}), nullptr);
  EXPECT_NE(MakeScenario("sib", {}), nullptr);
  EXPECT_EQ(MakeScenario("other", {}), nullptr);
}

}  // namespace
}  // namespace corvane::modem_sim
