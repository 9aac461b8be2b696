#include "describe/system_information.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// Written by the tables of 3GPP TS 36.331 and 38.331: '0' and '1' with blanks between fields,
// filled up with zeros.
[[nodiscard]] sSystemInformationContent ContentOf(eSyntax syntax, std::string_view bits,
                                                  std::size_t bytes = 6) {
  sSignalling message;
  message.syntax = syntax;
  message.message.resize(bytes);
  std::size_t bit = 0;
  for (const char character : bits) {
    if (character == '1') {
      message.message.at(bit / 8) |= static_cast<std::uint8_t>(0x80u >> bit % 8);
    }
    bit += character == ' ' ? 0 : 1;
  }
  return SystemInformationContent(message);
}

// Class, type, choice of extensions, later fields; number of blocks less one; later release, block.
TEST(SystemInformationContentTest, LteTellsItsFirstBlockAndHowManyThereAre) {
  const auto first = ContentOf(eSyntax::LteBcchDlSch, "0000 00000 0 0000");
  EXPECT_EQ(first.firstBlock, "SIB2");
  EXPECT_EQ(first.blocks, 1u);
  const auto last = ContentOf(eSyntax::LteBcchDlSch, "0001 00010 0 1001");
  EXPECT_EQ(last.firstBlock, "SIB11");
  EXPECT_EQ(last.blocks, 3u);
}

TEST(SystemInformationContentTest, LaterReleasesCountOn) {
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 1 0000000").firstBlock, "SIB12");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 1 0001010").firstBlock, "SIB24");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 1 0001101").firstBlock, "SIB26a");
  EXPECT_EQ(ContentOf(eSyntax::NrBcchDlSch, "00000 00000 1 0000000").firstBlock, "SIB10");
  EXPECT_EQ(ContentOf(eSyntax::NrBcchDlSch, "00000 00000 1 0001011").firstBlock, "SIB21");
}

TEST(SystemInformationContentTest, NrHasFewerBlocksInItsFirstRelease) {
  const auto content = ContentOf(eSyntax::NrBcchDlSch, "00010 00001 0 111");
  EXPECT_EQ(content.firstBlock, "SIB9");
  EXPECT_EQ(content.blocks, 2u);
}

TEST(SystemInformationContentTest, WhatIsNoneOrUnknownTellsNothing) {
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0100").firstBlock, "");  // SIB1
  EXPECT_EQ(ContentOf(eSyntax::LtePcch, "0000").firstBlock, "");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 0 1010").firstBlock, "");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 1 0111111").firstBlock, "");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "0000 00000 1 1000000").firstBlock, "");
}

TEST(SystemInformationContentTest, AMessageThatBreaksOffTellsNothing) {
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "", 1).firstBlock, "");
  EXPECT_EQ(ContentOf(eSyntax::NrBcchDlSch, "", 1).firstBlock, "");
  EXPECT_EQ(ContentOf(eSyntax::LteBcchDlSch, "", 0).firstBlock, "");
}

}  // namespace
}  // namespace corvane
