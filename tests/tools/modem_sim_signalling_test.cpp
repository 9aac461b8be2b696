#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "modem_sim/diag_packets.h"
#include "modem_sim/scenario.h"
#include "tools/modem_sim_sib_model.h"

// What the messages say is looked at with tshark (signalling_scenario_test.py).
namespace corvane::modem_sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Bytes Bits(const std::vector<unsigned>& numbers) {
  Bytes mask(512, 0);
  for (const unsigned number : numbers) {
    mask[number / 8] = static_cast<std::uint8_t>(mask[number / 8] | 1U << number % 8);
  }
  return mask;
}

cMasks Masks(unsigned equipmentId, const std::vector<unsigned>& logs,
             const std::vector<unsigned>& events = {}) {
  cMasks masks;
  masks.SetLogMask(equipmentId, 4096, Bits(logs));
  masks.SetEventMask(4096, Bits(events));
  masks.SetEventReporting(true);
  return masks;
}

std::vector<sStreamPacket> Make(cSignallingScenario& scenario, const cMasks& masks,
                                std::uint64_t count) {
  std::vector<sStreamPacket> packets;
  for (std::uint64_t number = 0; number < count; ++number) {
    packets.push_back(scenario.Make(number, true, masks));
  }
  return packets;
}

std::vector<Bytes> PacketsOf(const std::vector<sStreamPacket>& made) {
  std::vector<Bytes> packets;
  for (const sStreamPacket& packet : made) {
    packets.push_back(packet.packet);
  }
  return packets;
}

std::set<unsigned> LogCodesOf(const std::vector<sStreamPacket>& made) {
  std::set<unsigned> codes;
  for (const sStreamPacket& packet : made) {
    if (packet.kind == "log") {
      codes.insert(ReadU16(packet.packet, 6));
    }
  }
  return codes;
}

TEST(ModemSimSignallingTest, IsChosenByItsName) {
  EXPECT_NE(MakeScenario("signalling", {}), nullptr);
  EXPECT_EQ(MakeScenario("signaling", {}), nullptr);
}

TEST(ModemSimSignallingTest, NothingCanBeSentOfOtherLogs) {
  const cSignallingScenario scenario({});
  EXPECT_FALSE(scenario.CanSend(cMasks()));
  EXPECT_FALSE(scenario.CanSend(Masks(1, {0x234})));
  EXPECT_TRUE(scenario.CanSend(Masks(0xB, {0x0C0})));
  EXPECT_TRUE(scenario.CanSend(Masks(1, {}, {9})));
  EXPECT_TRUE(scenario.CanSend(Masks(1, {}, {1606})));
}

TEST(ModemSimSignallingTest, OnlyLogsThatAreOnAndOfTheStoryAreTold) {
  cSignallingScenario scenario({});
  const auto made = Make(scenario, Masks(0xB, {0x0C0, 0x0C1, 0x234}), 500);
  EXPECT_EQ(LogCodesOf(made), (std::set<unsigned>{0xB0C0, 0xB0C1}));
}

TEST(ModemSimSignallingTest, AChoiceOfLogCodesIsKeptTo) {
  sStreamOptions options;
  options.logCodes = {0xB0C1, 0x7777};
  cSignallingScenario scenario(options);
  EXPECT_EQ(LogCodesOf(Make(scenario, Masks(0xB, {0x0C0, 0x0C1}), 50)),
            (std::set<unsigned>{0xB0C1}));
  EXPECT_FALSE(scenario.CanSend(Masks(0xB, {0x0C0})));
}

TEST(ModemSimSignallingTest, ALogOfEveryOtherCycleIsWaitedFor) {
  cSignallingScenario scenario({});
  const cMasks secondSubscription = Masks(5, {0xB2F});
  ASSERT_TRUE(scenario.CanSend(secondSubscription));
  EXPECT_THAT(Make(scenario, secondSubscription, 20), SizeIs(20));
}

TEST(ModemSimSignallingTest, TheNextCycleHasAnotherVersion) {
  cSignallingScenario scenario({});
  std::vector<unsigned> versions;
  for (const sStreamPacket& made : Make(scenario, Masks(0xB, {0x0C0}), 300)) {
    if (versions.empty() || versions.back() != made.packet[16]) {
      versions.push_back(made.packet[16]);
    }
  }
  EXPECT_THAT(versions, testing::Contains(8).Times(1));
  EXPECT_GT(versions.size(), 2U);
}

TEST(ModemSimSignallingTest, EventsOfTheStoryHaveAPayloadThatMeansSomething) {
  cSignallingScenario scenario({});
  std::set<unsigned> ids;
  for (const sStreamPacket& made : Make(scenario, Masks(0xB, {0x0C0}, {9, 1606}), 1000)) {
    for (const Bytes& event : made.events) {
      const unsigned word = ReadU16(event, 3);
      ids.insert(word & 0xFFF);
      if ((word & 0xFFF) == 1606) {
        EXPECT_EQ(word >> 13, 1U);
        EXPECT_THAT(event.back(), testing::AnyOf(1, 2, 3, 4, 7));
      }
    }
  }
  EXPECT_EQ(ids, (std::set<unsigned>{9, 1606}));
}

TEST(ModemSimSignallingTest, TheMixHoldsForTheEventsOfTheStoryToo) {
  sStreamOptions options;
  options.eventWeight = 0;
  EXPECT_FALSE(cSignallingScenario(options).CanSend(Masks(1, {}, {1606, 9})));
  options.eventWeight = 15;
  options.logWeight = 0;
  cSignallingScenario scenario(options);
  EXPECT_FALSE(scenario.CanSend(Masks(0xB, {0x0C0})));
  for (const sStreamPacket& made : Make(scenario, Masks(0xB, {0x0C0}, {1606}), 50)) {
    EXPECT_EQ(made.kind, "event");
  }
}

TEST(ModemSimSignallingTest, MessagesComeInBetween) {
  cMasks masks = Masks(0xB, {0x0C0});
  masks.SetMessageLevels(5, {8});
  cSignallingScenario scenario({});
  std::set<std::string> kinds;
  for (const sStreamPacket& made : Make(scenario, masks, 200)) {
    kinds.insert(made.kind);
  }
  EXPECT_EQ(kinds, (std::set<std::string>{"log", "message"}));
}

TEST(ModemSimSignallingTest, ANewHostHearsTheStoryFromTheStart) {
  const cMasks masks = Masks(0xB, {0x0C0});
  cSignallingScenario scenario({});
  const auto first = PacketsOf(Make(scenario, masks, 150));
  scenario.HostGone();
  EXPECT_EQ(PacketsOf(Make(scenario, masks, 150)), first);
}

// The places of the packets that complete something, with their dissectors.
std::vector<std::string> Completed(const std::vector<sStreamPacket>& made) {
  std::vector<std::string> completed;
  for (const sStreamPacket& packet : made) {
    if (packet.completes) {
      completed.emplace_back(packet.completes->dissector);
    }
  }
  return completed;
}

TEST(ModemSimSignallingTest, ABlockWithALostSegmentIsNotCompleted) {
  const cMasks masks = Masks(4, {0x12F});
  cSignallingScenario whole({});
  EXPECT_THAT(Completed(Make(whole, masks, 20)),
              ElementsAre("rrc.si.mib", "rrc.si.sib3", "rrc.si.sib11", "rrc.si.sib11"));

  cSignallingScenario scenario({});
  std::vector<sStreamPacket> made;
  for (std::uint64_t number = 0; number < 20; ++number) {
    made.push_back(scenario.Make(number, number != 4, masks));
  }
  EXPECT_EQ(made[4].message, std::nullopt);
  EXPECT_THAT(Completed(made), ElementsAre("rrc.si.mib", "rrc.si.sib3", "rrc.si.sib11"));
}

TEST(ModemSimSignallingTest, WhatARecorderRebuildsIsToldOnlyWhenItArrives) {
  const cMasks masks = Masks(4, {0x12F});
  cSignallingScenario scenario({});
  std::vector<Bytes> blocks;
  std::uint64_t place = 0;
  for (std::uint64_t number = 0; number < 20; ++number) {
    const sStreamPacket made = scenario.Make(number, true, masks);
    if (!made.blocks.empty()) {
      blocks = made.blocks;
      place = number;
    }
  }
  // Channel 255, bearer 0, four bytes: type 7 and 17 bits.
  ASSERT_THAT(blocks, SizeIs(1));
  EXPECT_EQ(ToHex(ByteView(blocks[0]).subspan(16)), "ff00040007028080");

  cSignallingScenario again({});
  for (std::uint64_t number = 0; number < place; ++number) {
    std::ignore = again.Make(number, true, masks);
  }
  EXPECT_THAT(again.Make(place, false, masks).blocks, IsEmpty());
}

TEST(ModemSimSignallingTest, ARecorderRebuildsWhatIsToldAndNothingElse) {
  const cMasks masks = Masks(4, {0x12F});
  cSignallingScenario scenario({});
  cSibModel recorder;
  std::size_t rebuilt = 0;
  for (std::uint64_t number = 0; number < 300; ++number) {
    const sStreamPacket made = scenario.Make(number, true, masks);
    const unsigned channel = made.packet[16];
    if (channel == 4 || channel == 5) {
      EXPECT_EQ(recorder.Take(made.packet), made.blocks) << number;
    }
    rebuilt += made.blocks.size();
  }
  EXPECT_GT(rebuilt, 2U);
}

}  // namespace
}  // namespace corvane::modem_sim
