#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "modem_sim/diag_packets.h"
#include "modem_sim/faults.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/outgoing.h"

namespace corvane::modem_sim {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

cSelection Selected(std::string_view text) { return cSelection::Parse(text).value(); }

std::vector<std::uint64_t> Hits(const cSelection& selection, std::uint64_t count,
                                std::optional<std::uint8_t> command = std::nullopt) {
  std::vector<std::uint64_t> hits;
  for (std::uint64_t number = 0; number < count; ++number) {
    cRandom random(1, eDraw::PacketFault, number);
    if (selection.Selects(number, command, random)) {
      hits.push_back(number);
    }
  }
  return hits;
}

std::vector<sReceivedFrame> Deframe(ByteView wire) {
  std::vector<sReceivedFrame> frames;
  cDeframer().Push(wire, frames);
  return frames;
}

const Bytes kPacket = {0x10, 0x00, 0x0C, 0x00, 0x0C, 0x00, 0x34, 0x12, 1, 2, 3, 4, 5, 6, 7, 8};

TEST(ModemSimSelectionTest, NumbersAndRangesAreSelected) {
  EXPECT_THAT(Hits(Selected("0"), 10), ElementsAre(0));
  EXPECT_THAT(Hits(Selected("3,5-7"), 10), ElementsAre(3, 5, 6, 7));
  EXPECT_EQ(Hits(Selected("all"), 10).size(), 10U);
}

TEST(ModemSimSelectionTest, NothingIsSelectedByDefault) {
  EXPECT_THAT(Hits(cSelection(), 10), IsEmpty());
  EXPECT_TRUE(cSelection().Empty());
}

TEST(ModemSimSelectionTest, AProbabilitySelectsAboutThatMany) {
  EXPECT_THAT(Hits(Selected("0%"), 1000), IsEmpty());
  EXPECT_EQ(Hits(Selected("100%"), 1000).size(), 1000U);
  const std::size_t hits = Hits(Selected("12.5%"), 8000).size();
  EXPECT_GT(hits, 800U);
  EXPECT_LT(hits, 1200U);
}

TEST(ModemSimSelectionTest, ACommandCodeSelectsRequestsWithIt) {
  EXPECT_TRUE(Selected("0x73").NamesCommand());
  EXPECT_FALSE(Selected("73,1%,all").NamesCommand());
  EXPECT_EQ(Hits(Selected("0x73"), 3, 0x73).size(), 3U);
  EXPECT_THAT(Hits(Selected("0x73"), 3, 0x72), IsEmpty());
  EXPECT_THAT(Hits(Selected("0x73"), 3), IsEmpty());
}

TEST(ModemSimSelectionTest, AnythingElseIsRefused) {
  for (const char* text : {"", "x", "3,", ",3", "5-3", "-3", "3-", "101%", "-1%", "%", "nan%", "0x",
                           "0x100", "1 2", "99999999999999999999"}) {
    EXPECT_FALSE(cSelection::Parse(text)) << text;
  }
}

TEST(ModemSimFaultsTest, WithoutOptionsNothingGoesWrong) {
  const cFaults faults(1, {});
  for (std::uint64_t number = 0; number < 100; ++number) {
    const sPacketFaults packet = faults.ForPacket(number);
    EXPECT_TRUE(packet.Delivers());
    EXPECT_FALSE(packet.noise || packet.split || packet.merge || packet.unasked || packet.hangUp);
    EXPECT_EQ(faults.Wire(number, kPacket, packet).bytes, Frame(kPacket));
    const sReplyFaults reply = faults.ForReply(1, number, 0x4B);
    EXPECT_FALSE(reply.withhold || reply.spoil);
    EXPECT_EQ(reply.delay, milliseconds(0));
  }
}

TEST(ModemSimFaultsTest, EachFaultHitsThePacketsThatWereNamed) {
  sFaultOptions options;
  options.badCrc = Selected("1");
  options.noise = Selected("2");
  options.openNoise = Selected("3");
  options.split = Selected("4");
  options.merge = Selected("5");
  options.unasked = Selected("6");
  options.hangUp = Selected("7");
  const cFaults faults(1, options);
  for (std::uint64_t number = 0; number < 10; ++number) {
    const sPacketFaults packet = faults.ForPacket(number);
    EXPECT_EQ(packet.badCrc, number == 1);
    EXPECT_EQ(packet.noise, number == 2);
    EXPECT_EQ(packet.openNoise, number == 3);
    EXPECT_EQ(packet.split, number == 4);
    EXPECT_EQ(packet.merge, number == 5);
    EXPECT_EQ(packet.unasked, number == 6);
    EXPECT_EQ(packet.hangUp, number == 7);
    EXPECT_EQ(packet.Delivers(), number != 1 && number != 3);
  }
}

TEST(ModemSimFaultsTest, OneFaultDoesNotMoveAnother) {
  sFaultOptions alone;
  alone.split = Selected("10%");
  sFaultOptions together = alone;
  together.badCrc = Selected("30%,5%");
  together.noise = Selected("30%");
  const cFaults first(9, alone);
  const cFaults second(9, together);
  for (std::uint64_t number = 0; number < 500; ++number) {
    EXPECT_EQ(first.ForPacket(number).split, second.ForPacket(number).split);
  }
}

TEST(ModemSimFaultsTest, TheSameSeedInjectsTheSameFaultsAndAnotherSeedOthers) {
  sFaultOptions options;
  options.badCrc = Selected("20%");
  const auto spoiled = [&](std::uint64_t seed) {
    const cFaults faults(seed, options);
    std::vector<Bytes> wires;
    for (std::uint64_t number = 0; number < 100; ++number) {
      wires.push_back(faults.Wire(number, kPacket, faults.ForPacket(number)).bytes);
    }
    return wires;
  };
  EXPECT_EQ(spoiled(3), spoiled(3));
  EXPECT_NE(spoiled(3), spoiled(4));
}

TEST(ModemSimFaultsTest, ABadCrcIsOneDamagedFrame) {
  sPacketFaults packet;
  packet.badCrc = true;
  for (std::uint64_t number = 0; number < 200; ++number) {
    const auto frames = Deframe(cFaults(1, {}).Wire(number, kPacket, packet).bytes);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_FALSE(frames[0].good);
  }
}

TEST(ModemSimFaultsTest, NoiseIsOneDamagedFrameOfItsOwn) {
  for (std::uint64_t number = 0; number < 500; ++number) {
    const Bytes noise = cFaults(1, {}).Noise(number);
    // Receivers look for the end of a frame from its fourth byte on, and take no flag for it that
    // stands behind an escape.
    ASSERT_GE(noise.size(), 4U);
    EXPECT_EQ(noise.back(), kFlag);
    EXPECT_NE(noise[noise.size() - 2], kEscape);
    EXPECT_EQ(std::count(noise.begin(), noise.end(), kFlag), 1);
    const auto frames = Deframe(noise);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_FALSE(frames[0].good);
  }
}

TEST(ModemSimFaultsTest, OpenNoiseAndItsPacketAreOneDamagedFrame) {
  sPacketFaults packet;
  packet.openNoise = true;
  for (std::uint64_t number = 0; number < 200; ++number) {
    const sWire wire = cFaults(1, {}).Wire(number, kPacket, packet);
    ASSERT_FALSE(wire.noise.empty());
    EXPECT_EQ(wire.bytes.size(), wire.noise.size() + Frame(kPacket).size());
    const auto frames = Deframe(wire.bytes);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_FALSE(frames[0].good);
  }
}

TEST(ModemSimFaultsTest, ASplitCutsInsideTheFrame) {
  sPacketFaults packet;
  packet.split = true;
  std::set<std::size_t> counts;
  for (std::uint64_t number = 0; number < 200; ++number) {
    const sWire wire = cFaults(1, {}).Wire(number, kPacket, packet);
    EXPECT_EQ(wire.bytes, Frame(kPacket));
    ASSERT_FALSE(wire.cuts.empty());
    counts.insert(wire.cuts.size());
    EXPECT_GT(wire.cuts.front(), 0U);
    EXPECT_LT(wire.cuts.back(), wire.bytes.size());
    EXPECT_TRUE(std::is_sorted(wire.cuts.begin(), wire.cuts.end(), std::less_equal<>()));
  }
  EXPECT_EQ(counts, (std::set<std::size_t>{1, 2, 3}));
}

TEST(ModemSimFaultsTest, UnaskedRepliesAreSubsystemOrGetItemAnswersWithAPacket) {
  bool sawPlain = false;
  bool sawEmbedded = false;
  for (std::uint64_t number = 0; number < 50; ++number) {
    Bytes embedded;
    const Bytes reply = cFaults(1, {}).UnaskedReply(number, embedded);
    ASSERT_GE(reply.size(), 4U);
    EXPECT_EQ(reply[0], kSubsystem);
    if (embedded.empty()) {
      sawPlain = true;
      continue;
    }
    sawEmbedded = true;
    EXPECT_EQ(reply[1], 0x25);
    EXPECT_EQ(ReadU16(reply, 2), 8);
    EXPECT_EQ(ReadU32(reply, 9), 0U);
    EXPECT_EQ(ToHex(ByteView(reply).subspan(13)), ToHex(embedded));
  }
  EXPECT_TRUE(sawPlain);
  EXPECT_TRUE(sawEmbedded);
}

TEST(ModemSimFaultsTest, RepliesAreChosenByNumberAndByCommand) {
  sFaultOptions options;
  options.withhold = Selected("2");
  options.spoilReply = Selected("0x73");
  options.late.push_back({Selected("0x73"), milliseconds(100)});
  options.late.push_back({Selected("4-5"), milliseconds(300)});
  const cFaults faults(1, options);
  EXPECT_TRUE(faults.ForReply(1, 2, 0x1D).withhold);
  EXPECT_TRUE(faults.ForReply(2, 2, 0x1D).withhold);
  EXPECT_FALSE(faults.ForReply(1, 3, 0x1D).withhold);
  EXPECT_TRUE(faults.ForReply(1, 9, 0x73).spoil);
  EXPECT_FALSE(faults.ForReply(1, 9, 0x72).spoil);
  EXPECT_EQ(faults.ForReply(1, 9, 0x73).delay, milliseconds(100));
  EXPECT_EQ(faults.ForReply(1, 4, 0x73).delay, milliseconds(300));
  EXPECT_EQ(faults.ForReply(1, 6, 0x1D).delay, milliseconds(0));
}

TEST(ModemSimFaultsTest, ASpoiledReplyFailsItsCheck) {
  const auto frames = Deframe(cFaults(1, {}).SpoiledReply(1, 3, Bytes{0x60, 0, 0}));
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_FALSE(frames[0].good);
}

class ModemSimOutputQueueTest : public testing::Test {
 protected:
  static Bytes Copy(ByteView view) { return Bytes(view.begin(), view.end()); }
  Clock::time_point now = Clock::now();
};

TEST_F(ModemSimOutputQueueTest, WhatTheLineDoesNotTakeStays) {
  cOutputQueue queue(1, {});
  queue.Push(Bytes{1, 2, 3}, 10, {}, false);
  queue.Push(Bytes{4}, 11, {}, false);
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(queue.Written(2, now), IsEmpty());
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(3, 4));
  EXPECT_THAT(queue.Written(1, now), ElementsAre(10));
  EXPECT_THAT(queue.Written(1, now), ElementsAre(11));
  EXPECT_THAT(queue.Ready(now), IsEmpty());
  EXPECT_EQ(queue.Size(), 0U);
}

TEST_F(ModemSimOutputQueueTest, ACutEndsAWriteAndTheNextWaitsForTheGap) {
  cOutputQueue queue(1, {0, 0, milliseconds(5)});
  queue.Push(Bytes{1, 2, 3}, 10, {1, 2}, false);
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(1));
  EXPECT_EQ(queue.NextDue(now), std::nullopt);
  std::ignore = queue.Written(1, now);
  EXPECT_THAT(queue.Ready(now), IsEmpty());
  EXPECT_EQ(queue.NextDue(now), now + milliseconds(5));
  now += milliseconds(5);
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(2));
  std::ignore = queue.Written(1, now);
  now += milliseconds(5);
  EXPECT_THAT(queue.Written(queue.Ready(now).size(), now), ElementsAre(10));
}

TEST_F(ModemSimOutputQueueTest, APacketToMergeGoesOutWithItsNext) {
  cOutputQueue queue(1, {});
  queue.Push(Bytes{1}, 10, {}, true);
  EXPECT_TRUE(queue.HoldsBack());
  EXPECT_THAT(queue.Ready(now), IsEmpty());
  queue.Push(Bytes{2}, 11, {}, true);
  EXPECT_THAT(queue.Ready(now), IsEmpty());
  queue.Push(Bytes{3}, 12, {}, false);
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(1, 2, 3));
}

TEST_F(ModemSimOutputQueueTest, APacketToMergeIsLetGoWhenThereIsNoNext) {
  cOutputQueue queue(1, {});
  queue.Push(Bytes{1}, 10, {}, true);
  queue.Release();
  EXPECT_THAT(Copy(queue.Ready(now)), ElementsAre(1));
}

TEST_F(ModemSimOutputQueueTest, ChunksHaveTheSizesThatWereAskedFor) {
  cOutputQueue queue(1, {2, 5, milliseconds(1)});
  queue.Push(Bytes(1000, 7), 10, {}, false);
  std::size_t total = 0;
  while (total < 1000) {
    const std::size_t size = queue.Ready(now).size();
    EXPECT_GE(size, total + 5 >= 1000 ? 1U : 2U);
    EXPECT_LE(size, 5U);
    total += size;
    std::ignore = queue.Written(size, now);
    EXPECT_THAT(queue.Ready(now), IsEmpty());
    now += milliseconds(1);
  }
  EXPECT_EQ(total, 1000U);
}

TEST_F(ModemSimOutputQueueTest, ManyBytesPassThroughUnchanged) {
  cOutputQueue queue(1, {1, 3000, milliseconds(0)});
  cRandom random(5, eDraw::Content, 0);
  Bytes sent;
  Bytes arrived;
  for (std::uint64_t ticket = 0; ticket < 300; ++ticket) {
    Bytes packet(random.Between(1, 2000));
    for (std::uint8_t& byte : packet) {
      byte = random.Byte();
    }
    AppendBytes(sent, packet);
    queue.Push(packet, ticket, {}, random.Below(4) == 0);
    const ByteView ready = queue.Ready(now);
    const std::size_t taken = random.Below(ready.size() + 1);
    AppendBytes(arrived, ready.first(taken));
    std::ignore = queue.Written(taken, now);
  }
  queue.Release();
  while (queue.Size() > 0) {
    const ByteView ready = queue.Ready(now);
    AppendBytes(arrived, ready);
    std::ignore = queue.Written(ready.size(), now);
  }
  EXPECT_EQ(arrived, sent);
}

TEST(ModemSimReplyDeskTest, RepliesComeOutWhenTheyFallDueInThatOrder) {
  const Clock::time_point now = Clock::now();
  cReplyDesk desk;
  desk.Submit({Bytes{1}, {}}, now + milliseconds(20));
  desk.Submit({Bytes{2}, {}}, now);
  desk.Submit({Bytes{3}, {}}, now);
  EXPECT_EQ(desk.NextDue(), now);
  const auto due = desk.TakeDue(now);
  ASSERT_EQ(due.size(), 2U);
  EXPECT_EQ(due[0].frame, Bytes{2});
  EXPECT_EQ(due[1].frame, Bytes{3});
  EXPECT_EQ(desk.NextDue(), now + milliseconds(20));
  EXPECT_EQ(desk.TakeDue(now + milliseconds(20)).size(), 1U);
  EXPECT_TRUE(desk.Empty());
}

TEST(ModemSimReplyDeskTest, RepliesHeldBackComeOutWhenReleased) {
  const Clock::time_point now = Clock::now();
  cReplyDesk desk;
  desk.Hold();
  desk.Submit({Bytes{1}, {}}, now);
  EXPECT_EQ(desk.NextDue(), std::nullopt);
  EXPECT_TRUE(desk.TakeDue(now).empty());
  EXPECT_FALSE(desk.Empty());
  desk.Release();
  EXPECT_EQ(desk.TakeDue(now).size(), 1U);
}

}  // namespace
}  // namespace corvane::modem_sim
