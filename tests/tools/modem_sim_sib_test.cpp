#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/scenario.h"
#include "modem_sim/sib_message.h"
#include "tools/modem_sim_sib_model.h"

namespace corvane::modem_sim {
namespace {

using testing::IsEmpty;

cMasks OtaLogOn() {
  cMasks masks;
  Bytes mask(512, 0);
  mask[0x12F / 8] = 1U << 0x12F % 8;
  masks.SetLogMask(4, 4096, mask);
  return masks;
}

cBitString Ones(std::size_t count) {
  cBitString bits;
  for (std::size_t i = 0; i < count; ++i) {
    bits.Put(1, 1);
  }
  return bits;
}

Bytes OtaPacket(eSibChannel channel, ByteView message) {
  Bytes payload = {channel, 0};
  AppendU16(payload, static_cast<std::uint32_t>(message.size()));
  AppendBytes(payload, message);
  return LogPacket(0x412F, 0, payload);
}

TEST(ModemSimSibMessageTest, BitsArePackedMostSignificantFirst) {
  cBitString bits;
  bits.Put(5, 3);
  bits.Put(0x1F, 5);
  bits.Put(1, 2);
  EXPECT_EQ(ToHex(bits.Packed()), "bf40");
  cBitString more;
  more.Append(bits, 1, 4);
  EXPECT_EQ(ToHex(more.Packed()), "70");
}

TEST(ModemSimSibMessageTest, AFirstSegmentOnFachIsLaidOutAsWorkedByHand) {
  const sSibPiece piece{eSibRole::First, 5, 3, 0, Ones(222)};
  const Bytes message = EncodeSibMessage(kFach, kFirstSegment, 0, {piece});
  // 00 message type, 0001 choice, 00101 type, 0010 count - 1, then 222 ones: 237 bits.
  ASSERT_EQ(message.size(), 30U);
  EXPECT_EQ(ToHex(ByteView(message).first(3)), "04a5ff");
  EXPECT_EQ(message[29], 0xF8);
}

TEST(ModemSimSibMessageTest, ALastSegmentOnBchIsLaidOutAsWorkedByHand) {
  const sSibPiece piece{eSibRole::Last, 31, 1, 15, Ones(222)};
  const Bytes message = EncodeSibMessage(kBch, kLastSegment, 0x7F8, {piece});
  // Frame 11111111010: its lower two bits are 10, the upper half of the choice 1010. Then the
  // choice's place: 1010, its lower half twice. 11111 type, 1110 index - 1, then ones: 246 bits.
  ASSERT_EQ(message.size(), 31U);
  EXPECT_EQ(ToHex(ByteView(message).first(4)), "ff55feff");
}

TEST(ModemSimSibMessageTest, ACompleteListOnFachIsLaidOutAsWorkedByHand) {
  const sSibPiece first{eSibRole::Complete, 31, 1, 0, Ones(1)};
  const sSibPiece second{eSibRole::Complete, 1, 1, 0, Ones(3)};
  const Bytes message = EncodeSibMessage(kFach, kCompleteSibList, 0, {first, second});
  // 00 0111 | 0001 count - 1 | 11111 00000000 1 | 00001 00000010 111 | padding
  EXPECT_EQ(ToHex(ByteView(message).first(6)), "1c7e01081700");
  EXPECT_EQ(message.size(), 30U);
}

TEST(ModemSimSibMessageTest, EveryChoiceReachesItsDecoderInBothBitOrders) {
  for (const eSibChannel channel : {kBch, kFach}) {
    for (unsigned choice = 1; choice <= 10; ++choice) {
      for (unsigned frame = 0; frame < 2048; frame += 61) {
        // The piece's first bits are all ones as far as the channel allows.
        sSibPiece piece{eSibRole::First, MaxLeadingSibType(channel), 16, 0, Ones(10)};
        const Bytes message =
            EncodeSibMessage(channel, static_cast<eSibChoice>(choice), frame, {piece});
        EXPECT_EQ(cSibModel::Choice(OtaPacket(channel, message)), choice);
      }
    }
  }
}

TEST(ModemSimSibMessageTest, AListAtTheStartOfAFachMessageHasItsLimit) {
  EXPECT_EQ(MaxLeadingListCount(kBch), 16U);
  std::vector<sSibPiece> pieces(MaxLeadingListCount(kFach),
                                {eSibRole::Complete, 31, 1, 0, Ones(1)});
  EXPECT_EQ(
      cSibModel::Choice(OtaPacket(kFach, EncodeSibMessage(kFach, kCompleteSibList, 0, pieces))),
      7U);
  pieces.push_back(pieces.front());
  EXPECT_EQ(
      cSibModel::Choice(OtaPacket(kFach, EncodeSibMessage(kFach, kCompleteSibList, 0, pieces))),
      0U);
}

TEST(ModemSimSibMessageTest, AWholeBlockIsAnOtaPacketOfItsOwn) {
  EXPECT_EQ(ToHex(WholeBlockPacket(kBch, 7, 5, Ones(9))),
            "10001300130"
            "02f41"
            "0000000000000000"
            "fe07030005ff80");
  // Two fixed segments make 444 bits: 56 bytes of data behind the type.
  EXPECT_EQ(WholeBlockPacket(kFach, 0, 0, Ones(444)).size(), 77U);
}

// Blocks of two and three segments, sent by hand.
class ModemSimSibListenerTest : public testing::Test {
 protected:
  static std::shared_ptr<const sSourceBlock> Block(std::size_t segments, unsigned type = 3) {
    auto block = std::make_shared<sSourceBlock>();
    block->sibType = type;
    for (std::size_t i = 1; i <= segments; ++i) {
      block->ends.push_back(i * 222);
    }
    block->data = Ones(segments * 222);
    return block;
  }
  std::size_t Hear(const std::shared_ptr<const sSourceBlock>& block, std::size_t segment,
                   eSibRole role) {
    sSibMessage message;
    message.parts.push_back({block, segment, role});
    return listener.Hear(message).size();
  }

  cSibListener listener;
};

TEST_F(ModemSimSibListenerTest, SegmentsInOrderMakeABlock) {
  const auto block = Block(3);
  EXPECT_EQ(Hear(block, 0, eSibRole::First), 0U);
  EXPECT_EQ(Hear(block, 1, eSibRole::Subsequent), 0U);
  EXPECT_EQ(Hear(block, 2, eSibRole::Last), 1U);
}

TEST_F(ModemSimSibListenerTest, AMissingSegmentMakesNone) {
  const auto block = Block(3);
  EXPECT_EQ(Hear(block, 0, eSibRole::First), 0U);
  EXPECT_EQ(Hear(block, 2, eSibRole::Last), 0U);
}

TEST_F(ModemSimSibListenerTest, ARepeatedFirstSegmentBeginsAgainAndAnotherRepeatedOneEndsIt) {
  const auto block = Block(3);
  std::ignore = Hear(block, 0, eSibRole::First);
  std::ignore = Hear(block, 0, eSibRole::First);
  std::ignore = Hear(block, 1, eSibRole::Subsequent);
  EXPECT_EQ(Hear(block, 2, eSibRole::Last), 1U);
  std::ignore = Hear(block, 0, eSibRole::First);
  std::ignore = Hear(block, 1, eSibRole::Subsequent);
  std::ignore = Hear(block, 1, eSibRole::Subsequent);
  EXPECT_EQ(Hear(block, 2, eSibRole::Last), 0U);
}

TEST_F(ModemSimSibListenerTest, ABlockMayEndInASegmentThatIsNotMarkedAsLast) {
  const auto block = Block(2);
  std::ignore = Hear(block, 0, eSibRole::First);
  EXPECT_EQ(Hear(block, 1, eSibRole::Subsequent), 1U);
  EXPECT_TRUE(listener.MayHoldSegments(block->Key()));
}

TEST_F(ModemSimSibListenerTest, SegmentsMayBeHeldUntilALastOneWasHeard) {
  const auto block = Block(2);
  EXPECT_FALSE(listener.MayHoldSegments(block->Key()));
  std::ignore = Hear(block, 0, eSibRole::First);
  EXPECT_TRUE(listener.MayHoldSegments(block->Key()));
  std::ignore = Hear(block, 1, eSibRole::Last);
  EXPECT_FALSE(listener.MayHoldSegments(block->Key()));
}

TEST_F(ModemSimSibListenerTest, AfterAHostHasGoneNothingIsCertain) {
  const auto block = Block(2);
  std::ignore = Hear(block, 0, eSibRole::First);
  listener.Forget();
  EXPECT_TRUE(listener.MayHoldSegments(block->Key()));
  EXPECT_TRUE(listener.MayHoldSegments(Block(2, 9)->Key()));
  EXPECT_EQ(Hear(block, 1, eSibRole::Last), 0U);
}

struct sStory {
  double loss;
  bool spoils;    // some packets do not reach the host
  bool hostGoes;  // and now and then the host goes
};

// Runs the scenario against the model and checks each packet's blocks. Returns the choices and how
// many blocks there were.
void Compare(const sStory& story, std::uint64_t seed) {
  sStreamOptions options;
  options.seed = seed;
  options.sibLoss = story.loss;
  cSibScenario scenario(options);
  cSibModel recorder;
  const cMasks masks = OtaLogOn();
  cRandom random(seed, eDraw::FaultDetail, 0);
  std::set<std::pair<unsigned, unsigned>> choices;
  std::set<unsigned> types;
  std::set<std::pair<unsigned, unsigned>> wholeTypes;  // of messages with one whole block alone
  std::size_t blocks = 0;
  for (std::uint64_t number = 0; number < 8000; ++number) {
    const bool delivered = !story.spoils || random.Below(10) != 0;
    const sStreamPacket made = scenario.Make(number, delivered, masks);
    ASSERT_LE(Frame(made.packet).size(), options.maxFrame);
    if (!made.sib) {
      // Other signalling, on channels without system information.
      ASSERT_THAT(made.blocks, IsEmpty());
      continue;
    }
    ASSERT_EQ(cSibModel::Choice(made.packet), made.sib->choice);
    ASSERT_EQ(made.packet[16], made.sib->channel);
    ASSERT_EQ(made.packet[17], made.sib->bearer);
    ASSERT_EQ(ReadU16(made.packet, 18), made.packet.size() - 20);
    if (delivered) {
      ASSERT_EQ(made.blocks, recorder.Take(made.packet)) << "packet " << number;
    } else {
      ASSERT_THAT(made.blocks, IsEmpty());
    }
    choices.insert({made.sib->channel, made.sib->choice});
    blocks += made.blocks.size();
    for (const Bytes& block : made.blocks) {
      types.insert(block[20]);
      if (made.sib->choice == kCompleteSib) {
        wholeTypes.insert({made.sib->channel, block[20]});
      }
    }
    if (story.hostGoes && random.Below(50) == 0) {
      scenario.HostGone();
    }
  }
  EXPECT_EQ(choices.size(), 20U);
  EXPECT_EQ(types.size(), 32U);
  EXPECT_EQ(wholeTypes.size(), 32U + 8U);  // five bits on one channel, three on the other
  EXPECT_GT(blocks, 4000U);
}

TEST(ModemSimSibScenarioTest, ARecorderCompletesTheBlocksThatWereCutUp) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    Compare({0, false, false}, seed);
  }
}

TEST(ModemSimSibScenarioTest, TheSameHoldsWithLossesOnTheAir) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    Compare({10, false, false}, seed);
  }
  Compare({60, false, false}, 4);
}

TEST(ModemSimSibScenarioTest, TheSameHoldsWhenPacketsReachTheHostDamaged) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    Compare({5, true, false}, seed);
  }
}

TEST(ModemSimSibScenarioTest, TheSameHoldsWhenBlocksAreGivenUpBecauseAHostHasGone) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    Compare({5, true, true}, seed);
  }
}

TEST(ModemSimSibScenarioTest, LossesLeaveSomeBlocksIncomplete) {
  const auto blocks = [](double loss) {
    sStreamOptions options;
    options.sibLoss = loss;
    cSibScenario scenario(options);
    std::size_t count = 0;
    for (std::uint64_t number = 0; number < 5000; ++number) {
      for (const Bytes& block : scenario.Make(number, true, OtaLogOn()).blocks) {
        // Those of several segments: longer than any that comes whole.
        if (block.size() > 21 + 29) {
          ++count;
        }
      }
    }
    return count;
  };
  EXPECT_LT(blocks(40), blocks(0) / 2);
}

TEST(ModemSimSibScenarioTest, TheSameSeedTellsTheSameStory) {
  const auto story = [](std::uint64_t seed) {
    sStreamOptions options;
    options.seed = seed;
    cSibScenario scenario(options);
    std::vector<Bytes> packets;
    for (std::uint64_t number = 0; number < 500; ++number) {
      packets.push_back(scenario.Make(number, number % 7 != 0, OtaLogOn()).packet);
    }
    return packets;
  };
  EXPECT_EQ(story(1), story(1));
  EXPECT_NE(story(1), story(2));
}

TEST(ModemSimSibScenarioTest, WithoutTheOtaLogNoSystemInformationIsSent) {
  cSibScenario scenario(sStreamOptions{});
  cMasks masks;
  EXPECT_FALSE(scenario.CanSend(masks));
  masks.SetMessageLevels(5, {1});
  for (std::uint64_t number = 0; number < 100; ++number) {
    EXPECT_EQ(scenario.Make(number, true, masks).kind, "message");
  }
}

}  // namespace
}  // namespace corvane::modem_sim
