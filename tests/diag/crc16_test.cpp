#include "diag/hdlc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "diag/made_packets.h"
#include "support/reference_crc.h"

namespace corvane {
namespace {

std::uint16_t CrcOf(const ByteVector& bytes) { return Crc16X25(bytes.data(), bytes.size()); }

TEST(Crc16Test, TheDigitsOneToNineGiveThePublishedCheckValue) {
  constexpr std::string_view kDigits = "123456789";
  EXPECT_EQ(CrcOf({kDigits.begin(), kDigits.end()}), 0x906E);
}

TEST(Crc16Test, NoBytesGiveZero) { EXPECT_EQ(Crc16X25(nullptr, 0), 0); }

TEST(Crc16Test, TheSecondAndThirdTableEntriesAreTheStandardOnes) {
  // The register starts as 0xFFFF, so that the bytes FE and FD look up the entries 1 and 2; the
  // complement of 0x00FF ^ entry comes out.
  EXPECT_EQ(CrcOf({0xFE}), 0xFFFF ^ 0x00FF ^ 0x1189);
  EXPECT_EQ(CrcOf({0xFD}), 0xFFFF ^ 0x00FF ^ 0x2312);
}

TEST(Crc16Test, EveryTableEntryAgreesWithTheBitwiseDefinition) {
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    const ByteVector bytes = {static_cast<std::uint8_t>(byte)};
    EXPECT_EQ(CrcOf(bytes), ReferenceCrc(bytes)) << "byte " << byte;
  }
}

TEST(Crc16Test, LongDataAgreesWithTheBitwiseDefinition) {
  ByteVector bytes;
  std::uint32_t state = 1;
  for (int i = 0; i < 16640; ++i) {
    state = state * 1664525 + 1013904223;
    bytes.push_back(static_cast<std::uint8_t>(state >> 24));
  }
  EXPECT_EQ(CrcOf(bytes), ReferenceCrc(bytes));
}

TEST(Crc16Test, DataWithItsOwnCrcLeavesTheGoodResidue) {
  EXPECT_EQ(kCrc16GoodResidue, 0x0F47);
  EXPECT_EQ(CrcOf({0x1D, 0x1C, 0x3B}), kCrc16GoodResidue);
  EXPECT_EQ(CrcOf({0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60}), kCrc16GoodResidue);
  EXPECT_EQ(CrcOf({'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x6E, 0x90}), kCrc16GoodResidue);
}

TEST(Crc16Test, AWrongBitAnywhereIsNoticed) {
  const ByteVector good = {0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60};
  for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
    ByteVector wrong = good;
    wrong[bit / 8] = static_cast<std::uint8_t>(wrong[bit / 8] ^ (1U << (bit % 8)));
    EXPECT_NE(CrcOf(wrong), kCrc16GoodResidue) << "bit " << bit;
  }
}

}  // namespace
}  // namespace corvane
