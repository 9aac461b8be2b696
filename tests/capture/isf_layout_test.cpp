#include "capture/isf/layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "support/bytes.h"

namespace corvane {
namespace {

// "4B 0F" as bytes.
[[nodiscard]] ByteVector Hex(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  ByteVector bytes;
  for (std::size_t place = 0; place + 1 < text.size(); place += 3) {
    bytes.push_back(
        static_cast<std::uint8_t>(kDigits.find(text[place]) * 16 + kDigits.find(text[place + 1])));
  }
  return bytes;
}

[[nodiscard]] ByteVector Bytes(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

template <std::size_t kSize>
[[nodiscard]] std::array<std::uint8_t, kSize> Fixed(std::string_view text) {
  std::array<std::uint8_t, kSize> bytes{};
  const ByteVector given = Hex(text);
  EXPECT_EQ(given.size(), kSize);
  std::copy_n(given.begin(), std::min(kSize, given.size()), bytes.begin());
  return bytes;
}

// The bytes are those of the worked example in docs/capture-format.md, or written out by hand.

TEST(IsfLayoutTest, TheHeaderIsItsMagicNumber) {
  EXPECT_EQ(Bytes(isf::StoreHeader()), Hex("08 31 60 AB"));
  EXPECT_TRUE(isf::IsHeader(Fixed<4>("08 31 60 AB")));
  EXPECT_FALSE(isf::IsHeader(Fixed<4>("07 31 60 AB")));
}

TEST(IsfLayoutTest, ABlockEndsInItsSuccessorAndItsBaseTime) {
  const auto bytes = Fixed<16>("62 E0 00 00 05 00 00 00 00 C6 22 B7 26 0C 00 00");
  const isf::sBlockTail tail = isf::LoadBlockTail(bytes);
  EXPECT_EQ(tail.nextBlock, 0x50000E062U);
  EXPECT_EQ(tail.baseTime, 13'360'420'800'000U);
  EXPECT_EQ(isf::StoreBlockTail(tail), bytes);
  EXPECT_EQ(Bytes(isf::StoreNextBlock(0x50000E062)), Hex("62 E0 00 00 05 00 00 00"));
}

TEST(IsfLayoutTest, ADirectoryEntryHasFlagsPositionAndLength) {
  const auto bytes = Fixed<7>("A8 32 00 00 81 16 40");
  const isf::sDirectoryEntry entry = isf::LoadDirectoryEntry(bytes);
  EXPECT_EQ(entry, (isf::sDirectoryEntry{0xA8, 0x81000032, 0x4016}));
  EXPECT_EQ(isf::StoreDirectoryEntry(entry), bytes);
}

TEST(IsfLayoutTest, AnEntrysFlagsTellTypeWidthAndExtraField) {
  const isf::sDirectoryEntry entry{0xA8, 0, 22};
  EXPECT_EQ(entry.Type(), 8U);
  EXPECT_EQ(entry.WidthCode(), 1U);
  EXPECT_TRUE(entry.HasExtra());
  EXPECT_EQ(entry.TimeSize(), 2U);
  EXPECT_EQ(entry.HeadSize(), 6U);
  EXPECT_EQ(entry.RecordSize(), 28U);
  const isf::sDirectoryEntry other{0x7F, 0, 65535};
  EXPECT_EQ(other.Type(), 31U);
  EXPECT_EQ(other.WidthCode(), 3U);
  EXPECT_FALSE(other.HasExtra());
  EXPECT_EQ(other.RecordSize(), 8U + 65535);
}

struct sTimeCase {
  std::uint64_t time;
  std::uint8_t flags;  // of an item of type 1
  std::string_view bytes;
};

// The base time is 1,000,000.
class IsfTimeTest : public ::testing::TestWithParam<sTimeCase> {};

TEST_P(IsfTimeTest, ATimeIsStoredAndLoadedInItsWidth) {
  const auto& [time, flags, bytes] = GetParam();
  const auto stored = isf::StoreRecordHead({1, time, {}}, 1'000'000);
  EXPECT_EQ(stored.flags, flags);
  EXPECT_EQ(Bytes(stored.Bytes()), Hex(bytes));
  const isf::sRecordHead head = isf::LoadRecordHead({flags, 0, 1}, 1'000'000, Hex(bytes));
  EXPECT_EQ(head.time, time);
  EXPECT_EQ(head.type, 1U);
  EXPECT_EQ(head.extra, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, IsfTimeTest,
    ::testing::Values(sTimeCase{1'000'000, 0x01, "00"}, sTimeCase{1'000'254, 0x01, "FE"},
                      sTimeCase{1'000'255, 0x21, "FF 00"}, sTimeCase{1'065'534, 0x21, "FE FF"},
                      sTimeCase{1'065'535, 0x41, "FF FF 00 00"},
                      sTimeCase{1'000'000 + 0xFFFFFFFEULL, 0x41, "FE FF FF FF"},
                      sTimeCase{1'000'000 + 0xFFFFFFFFULL, 0x61, "3F 42 0F 00 01 00 00 00"},
                      sTimeCase{999'999, 0x61, "3F 42 0F 00 00 00 00 00"}));

TEST(IsfLayoutTest, TheExtraFieldFollowsTheTime) {
  const auto stored = isf::StoreRecordHead({8, 1'000'300, 0x00A1B2}, 1'000'000);
  EXPECT_EQ(stored.flags, 0xA8);
  EXPECT_EQ(Bytes(stored.Bytes()), Hex("2C 01 B2 A1 00 00"));
  const auto head = isf::LoadRecordHead({0xA8, 0, 1}, 1'000'000, Hex("2C 01 B2 A1 00 00 10"));
  EXPECT_EQ(head.extra, 0x00A1B2U);
  EXPECT_EQ(head.time, 1'000'300U);
}

TEST(IsfLayoutTest, AHeadOfEveryFieldHasTwelveBytes) {
  const auto stored = isf::StoreRecordHead({8, 1, 0x04030201}, 2);
  EXPECT_EQ(Bytes(stored.Bytes()), Hex("01 00 00 00 00 00 00 00 01 02 03 04"));
  EXPECT_EQ(stored.flags, 0xE8);
}

TEST(IsfLayoutTest, AnIndexEntryIsPositionAndBaseTime) {
  const auto bytes = Fixed<16>("04 00 00 00 01 00 00 00 00 C6 22 B7 26 0C 00 00");
  const isf::sIndexEntry entry = isf::LoadIndexEntry(bytes);
  EXPECT_EQ(entry, (isf::sIndexEntry{0x100000004, 13'360'420'800'000}));
  EXPECT_EQ(isf::StoreIndexEntry(entry), bytes);
}

TEST(IsfLayoutTest, TheTrailerIsZeroCountAndMagicNumber) {
  const auto bytes = Fixed<16>("00 00 00 00 00 00 00 00 03 00 00 80 07 31 60 AB");
  EXPECT_EQ(isf::StoreTrailer({.itemCount = 0x80000003}), bytes);
  const isf::sTrailer trailer = isf::LoadTrailer(bytes);
  EXPECT_EQ(trailer.zero, 0U);
  EXPECT_EQ(trailer.itemCount, 0x80000003U);
  EXPECT_EQ(trailer.magic, 0xAB603107U);
  EXPECT_EQ(isf::LoadTrailer(Fixed<16>("01 00 00 00 00 00 00 02 00 00 00 00 00 00 00 00")).zero,
            0x0200000000000001U);
}

TEST(IsfTextTest, TextIsStoredBetweenItsMarkAndATerminator) {
  ByteVector bytes(isf::TextItemSize("P\xFC"));
  isf::StoreTextItem("P\xFC", bytes);
  EXPECT_EQ(bytes, Hex("C0 FF FF FF 50 00 FC FF 00 00"));
}

TEST(IsfTextTest, NoTextIsTheMarkAlone) {
  ByteVector bytes(isf::TextItemSize(std::nullopt));
  isf::StoreTextItem(std::nullopt, bytes);
  EXPECT_EQ(bytes, Hex("C0 FF FF FF"));
}

TEST(IsfTextTest, TheTextStandsBetweenHeaderAndTerminator) {
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 50 00 6F 00 72 00 74 00 00 00")), "Port");
}

TEST(IsfTextTest, WhatFollowsTheTerminatorIsNoText) {
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 50 00 00 00 72 00")), "P");
}

TEST(IsfTextTest, AnItemOfTheHeaderAloneIsAnEmptyText) {
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF")), "");
}

TEST(IsfTextTest, AMissingTerminatorAndHalfACharacterEndTheText) {
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 50 00 6F 00")), "Po");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 50 00 6F")), "P");
}

TEST(IsfTextTest, OtherItemsAreNoText) {
  EXPECT_EQ(isf::LoadTextItem({}), std::nullopt);
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF")), std::nullopt);
  EXPECT_EQ(isf::LoadTextItem(Hex("C1 FF FF FF 50 00 00 00")), std::nullopt);
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF 00 50 00 00 00")), std::nullopt);
}

TEST(IsfTextTest, CharactersOfEveryUtf8LengthAreConverted) {
  // U+00FC, U+20AC, U+1F4F6, as their UTF-8 forms in the Unicode standard's tables.
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF FC 00 AC 20 3D D8 F6 DC 00 00")),
            "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x93\xB6");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 7F 00 80 00 FF 07 00 08 FF FF 00 00")),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 00 D8 00 DC FF DB FF DF 00 00")),
            "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(IsfTextTest, HalvesOfSurrogatePairsAreReplaced) {
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 3D D8 41 00 00 00")),
            "\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF F6 DC 41 00 00 00")),
            "\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 3D D8")), "\xEF\xBF\xBD");
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF 3D D8 3D D8 F6 DC 00 00")),
            "\xEF\xBF\xBD\xF0\x9F\x93\xB6");
}

TEST(IsfTextTest, BytesBeyondAsciiAppearAsTheyWereWidened) {
  // The library widens byte FC by its sign to FFFC.
  EXPECT_EQ(isf::LoadTextItem(Hex("C0 FF FF FF FC FF 00 00")), "\xEF\xBF\xBC");
}

}  // namespace
}  // namespace corvane
