#include "reader/text_item.h"

#include <gtest/gtest.h>

#include "reader/capture_builder.h"

namespace corvane {
namespace {

TEST(TextItemTest, TheTextStandsBetweenHeaderAndTerminator) {
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 50 00 6F 00 72 00 74 00 00 00")), "Port");
}

TEST(TextItemTest, WhatFollowsTheTerminatorIsNoText) {
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 50 00 00 00 72 00")), "P");
}

TEST(TextItemTest, AnItemOfTheHeaderAloneIsAnEmptyText) {
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF")), "");
}

TEST(TextItemTest, AMissingTerminatorAndHalfACharacterEndTheText) {
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 50 00 6F 00")), "Po");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 50 00 6F")), "P");
}

TEST(TextItemTest, OtherItemsAreNoText) {
  EXPECT_EQ(DecodeTextItem({}), std::nullopt);
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF")), std::nullopt);
  EXPECT_EQ(DecodeTextItem(Hex("C1 FF FF FF 50 00 00 00")), std::nullopt);
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF 00 50 00 00 00")), std::nullopt);
}

TEST(TextItemTest, CharactersOfEveryUtf8LengthAreConverted) {
  // U+00FC, U+20AC, U+1F4F6, as their UTF-8 forms in the Unicode standard's tables.
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF FC 00 AC 20 3D D8 F6 DC 00 00")),
            "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x93\xB6");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 7F 00 80 00 FF 07 00 08 FF FF 00 00")),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 00 D8 00 DC FF DB FF DF 00 00")),
            "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(TextItemTest, HalvesOfSurrogatePairsAreReplaced) {
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 3D D8 41 00 00 00")),
            "\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF F6 DC 41 00 00 00")),
            "\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 3D D8")), "\xEF\xBF\xBD");
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF 3D D8 3D D8 F6 DC 00 00")),
            "\xEF\xBF\xBD\xF0\x9F\x93\xB6");
}

TEST(TextItemTest, BytesOfAPortNameThatAreNotAsciiAppearAsTheyWereWidened) {
  // The library widens byte FC by its sign to FFFC.
  EXPECT_EQ(DecodeTextItem(Hex("C0 FF FF FF FC FF 00 00")), "\xEF\xBF\xBC");
}

}  // namespace
}  // namespace corvane
