#include "convert/dissectors.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// A whole block of system information; without a type where that is negative.
[[nodiscard]] sSignalling Block(int sibType) {
  sSignalling signalling;
  signalling.syntax = eSyntax::WcdmaSystemInformationBlock;
  if (sibType >= 0) {
    signalling.sibType = static_cast<std::uint8_t>(sibType);
  }
  return signalling;
}

// The GSMTAP sub-type of a block, or -1.
[[nodiscard]] int SubtypeOf(int sibType) {
  const std::optional<sGsmtapType> type = GsmtapTypeOf(Block(sibType));
  return type && type->type == 12 ? type->subtype : -1;
}

TEST(DissectorsTest, TheTypeOfABlockNamesItsDissector) {
  EXPECT_EQ(DissectorOf(Block(0), eTechnology::Wcdma)->name, "rrc.si.mib");
  EXPECT_EQ(DissectorOf(Block(14), eTechnology::Wcdma)->name, "rrc.si.sib13-1");
  EXPECT_EQ(DissectorOf(Block(30), eTechnology::Wcdma)->name, "rrc.si.sib5bis");
  EXPECT_EQ(DissectorOf(Block(66), eTechnology::Wcdma)->name, "rrc.si.sib11bis");
  EXPECT_EQ(DissectorOf(Block(67), eTechnology::Wcdma)->name, "rrc.si.sib19");
}

TEST(DissectorsTest, ABlockOfUnknownTypeHasNone) {
  for (const int sibType : {-1, 31, 32, 65, 68, 255}) {
    EXPECT_FALSE(DissectorOf(Block(sibType), eTechnology::Wcdma)) << sibType;
    EXPECT_FALSE(GsmtapTypeOf(Block(sibType))) << sibType;
  }
}

TEST(DissectorsTest, BlocksHaveTheSubtypesOfGsmtap) {
  EXPECT_EQ(SubtypeOf(0), 16);
  EXPECT_EQ(SubtypeOf(5), 21);
  EXPECT_EQ(SubtypeOf(6), 23);
  EXPECT_EQ(SubtypeOf(11), 28);
  EXPECT_EQ(SubtypeOf(12), 30);
  EXPECT_EQ(SubtypeOf(18), 36);
  EXPECT_EQ(SubtypeOf(19), 37);
  EXPECT_EQ(SubtypeOf(20), 39);
  EXPECT_EQ(SubtypeOf(23), 51);
  EXPECT_EQ(SubtypeOf(25), 46);
  EXPECT_EQ(SubtypeOf(27), 58);
  EXPECT_EQ(SubtypeOf(29), 47);
  EXPECT_EQ(SubtypeOf(30), 22);
  EXPECT_EQ(SubtypeOf(66), 29);
  EXPECT_EQ(SubtypeOf(67), 54);
}

TEST(DissectorsTest, EveryOtherSyntaxHasADissector) {
  for (int syntax = 0; syntax <= static_cast<int>(eSyntax::Sip); ++syntax) {
    sSignalling signalling;
    signalling.syntax = static_cast<eSyntax>(syntax);
    // A block's type decides, and there is no whole message of the other one.
    const bool hasNone = signalling.syntax == eSyntax::WcdmaSystemInformationBlock ||
                         signalling.syntax == eSyntax::NrReconfigurationComplete;
    EXPECT_EQ(DissectorOf(signalling, eTechnology::None).has_value(), !hasNone) << syntax;
  }
}

TEST(DissectorsTest, LayerThreeOfWcdmaIsToldFromThatOfGsm) {
  const sSignalling signalling;
  EXPECT_EQ(DissectorOf(signalling, eTechnology::Gsm)->protocol, "GSM L3");
  EXPECT_EQ(DissectorOf(signalling, eTechnology::Wcdma)->protocol, "WCDMA NAS");
}

}  // namespace
}  // namespace corvane
