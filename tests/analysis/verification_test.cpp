#include "analysis/verification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "reader/capture_builder.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

struct sFound {
  sVerified verified;
  Lines lines;  // "offset rule: problem"
};

[[nodiscard]] sFound Verify(const ByteVector& file, bool contents = false) {
  sFound found;
  sVerifyRequest request;
  request.contents = contents;
  request.onViolation = [&found](const sViolation& violation) {
    found.lines.push_back(std::to_string(violation.offset) + " " +
                          std::string(RuleName(violation.rule)) + ": " + violation.problem);
    return true;
  };
  found.verified = VerifyCapture(
      std::make_unique<cMemorySource>(std::make_shared<const ByteVector>(file)), request);
  EXPECT_EQ(found.verified.violations, found.lines.size());
  return found;
}

TEST(VerificationTest, GoodCapturesKeepAllRules) {
  for (const cCaptureBuilder& builder :
       {cCaptureBuilder(), SmallCapture(), TwoBlocks(), BuildNumbered(9000)}) {
    const sFound closed = Verify(builder.Closed());
    EXPECT_THAT(closed.lines, IsEmpty());
    EXPECT_TRUE(closed.verified.closed);
    const sFound unclosed = Verify(builder.Unclosed());
    EXPECT_THAT(unclosed.lines, IsEmpty());
    EXPECT_FALSE(unclosed.verified.closed);
    EXPECT_EQ(unclosed.verified.items, closed.verified.items);
  }
}

TEST(VerificationTest, WhatWasLookedAtIsCounted) {
  const ByteVector file = TwoBlocks().Closed();
  const sVerified verified = Verify(file).verified;
  EXPECT_EQ(verified.items, 8193U);
  EXPECT_EQ(verified.blocks, 2U);
  EXPECT_EQ(verified.size, file.size());
  EXPECT_FALSE(verified.endedEarly);
}

TEST(VerificationTest, AFileTooShortForAHeaderBreaksThatRule) {
  EXPECT_THAT(Verify({}).lines, ElementsAre("0 header: the file is too short for a header"));
  EXPECT_THAT(Verify({8, 0x31}).lines, ElementsAre("2 header: the file is too short for a header"));
}

TEST(VerificationTest, BehindAWrongHeaderEverythingIsLookedAtAllTheSame) {
  ByteVector file = With(SmallCapture().Closed(), 0, 0, 4);
  file = With(file, file.size() - 16, 1, 1);
  EXPECT_THAT(Verify(file).lines,
              ElementsAre("0 header: the file begins with something else",
                          std::to_string(file.size() - 16) +
                              " trailer: the first 64 bits of the trailer are not zero"));
}

TEST(VerificationTest, BytesBehindTheTrailerAreNamed) {
  ByteVector file = SmallCapture().Closed();
  const std::string end = std::to_string(file.size());
  file.push_back(0);
  EXPECT_THAT(Verify(file).lines,
              ElementsAre(end + " behind-trailer: 1 byte stands behind the trailer"));
  file.resize(file.size() + 4095, 0x7E);
  const sFound found = Verify(file);
  EXPECT_THAT(found.lines,
              ElementsAre(end + " behind-trailer: 4096 bytes stand behind the trailer"));
  EXPECT_TRUE(found.verified.closed);
  EXPECT_EQ(found.verified.items, 3U);
}

// The second of three entries, whose record of 6 bytes stands at kRecords + 9.
constexpr std::size_t kEntry = 4 + 7;

TEST(VerificationTest, EachFieldOfAnEntryHasItsRule) {
  const ByteVector good = SmallCapture().Closed();
  const std::string entry = std::to_string(kEntry);
  const auto changed = [&good](std::size_t at, std::uint64_t value, std::size_t size) {
    return Verify(With(good, kEntry + at, value, size)).lines;
  };
  EXPECT_THAT(changed(0, 3, 1), ElementsAre(entry + " item-type: item 1 has type 3"));
  EXPECT_THAT(changed(0, 11, 1), ElementsAre(entry + " item-type: item 1 has type 11"));
  EXPECT_THAT(changed(5, 0, 2),
              ElementsAre(entry + " packet-length: the entry of item 1 has length 0"));
  EXPECT_THAT(
      changed(1, 3, 4),
      ElementsAre(entry +
                  " record-place: the entry of item 1 leads into the record before its own"));
  EXPECT_THAT(
      changed(1, 0xFFFFFF, 4),
      ElementsAre(entry + " record-place: the entry of item 1 leads past the end of the records"));
  EXPECT_THAT(
      changed(0, 0, 7),
      ElementsAre(entry + " entry-order: the entry of item 1 is unused, and something follows"));
}

TEST(VerificationTest, EveryPlaceThatIsWrongIsNamed) {
  ByteVector file = BuildNumbered(100).Closed();
  // Every length is gone.
  for (std::size_t item = 0; item < 100; ++item) {
    Put(file, 4 + item * 7 + 5, 0, 2);
  }
  const sFound found = Verify(file);
  EXPECT_EQ(found.lines.size(), 100U);
  EXPECT_EQ(found.lines.back(), "697 packet-length: the entry of item 99 has length 0");
}

TEST(VerificationTest, OneItemCanBreakSeveralRules) {
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("x"), std::nullopt});
  // Type 5 with an extra field of 0xFFFFFFFF, and a time of 8 bytes for one millisecond.
  ByteVector record;
  Append(record, kNoon + 1, 8);
  Append(record, 0xFFFFFFFF, 4);
  Append(record, 0x0C, 1);
  builder.AddRaw(0x80 | 3 << 5 | 5, 1, record);
  const std::string at = std::to_string(kRecords + 1 + TextItem("x").size());
  EXPECT_THAT(Verify(builder.Closed()).lines,
              ElementsAre("11 extra-field: item 1 has an extra field, and type 5",
                          at + " time-width: item 1 has a time field of 8 bytes",
                          at + " extra-field: item 1 has an extra field of 0xFFFFFFFF"));
}

TEST(VerificationTest, LinksBaseTimesAndTheIndexAreCompared) {
  const ByteVector good = TwoBlocks().Closed();
  const std::size_t index = good.size() - 16 - 2 * 16;
  EXPECT_THAT(Verify(With(good, 4 + 57344, 7, 8)).lines,
              ElementsAre("57348 next-block: the block at offset 4 names 7 for the next block, "
                          "which is at " +
                          std::to_string(kSecondBlock)));
  EXPECT_THAT(
      Verify(With(good, kSecondBlock + 57344, 4, 8)).lines,
      ElementsAre(std::to_string(kSecondBlock + 57344) + " next-block: the block at offset " +
                  std::to_string(kSecondBlock) + " names a next block where there is none"));
  EXPECT_THAT(Verify(With(good, index + 16, 5, 8)).lines,
              ElementsAre(std::to_string(index + 16) +
                          " block-index: block index entry 1 has position 5 for the block at "
                          "offset " +
                          std::to_string(kSecondBlock)));
  EXPECT_THAT(
      Verify(With(good, index + 24, 5, 8)).lines,
      ElementsAre(std::to_string(index + 24) +
                  " block-index: block index entry 1 has another base time than its block"));
  // The index has the right one still.
  EXPECT_THAT(Verify(With(good, 4 + 57352, UINT64_MAX, 8)).lines,
              ElementsAre("57356 base-time: the base time of the block at offset 4 is later than "
                          "any clock can be"));
}

TEST(VerificationTest, BytesThatBelongToNothingAreAViolationOfAClosedFileOnly) {
  cCaptureBuilder builder = SmallCapture();
  builder.AddGap(3);
  builder.Add({1, kNoon + 5, {0x0C}, std::nullopt});
  EXPECT_THAT(Verify(builder.Closed()).lines,
              ElementsAre(std::to_string(kRecords + 22) +
                          " gap: 3 bytes before the record of item 3 belong to nothing"));
  EXPECT_THAT(Verify(builder.Unclosed()).lines, IsEmpty());
}

TEST(VerificationTest, OtherRulesHoldInAFileThatWasNotClosedToo) {
  const ByteVector log = Hex("10 00 0C 00 0C 00 C0 B0 01 02 03 04 05 06 07 08");
  const auto linesWith = [](const sBuiltItem& item) {
    cCaptureBuilder builder;
    builder.Add({7, kNoon, TextItem("x"), std::nullopt});
    builder.Add(item);
    const Lines closed = Verify(builder.Closed()).lines;
    EXPECT_EQ(Verify(builder.Unclosed()).lines, closed);
    return closed;
  };
  EXPECT_THAT(linesWith({15, kNoon, log, std::nullopt}),
              ElementsAre("11 item-type: item 1 has type 15"));
  EXPECT_THAT(linesWith({3, kNoon, log, std::nullopt}),
              ElementsAre("11 item-type: item 1 has type 3"));
  EXPECT_THAT(linesWith({5, kNoon, log, 5}),
              ElementsAre("11 extra-field: item 1 has an extra field, and type 5"));
  EXPECT_EQ(linesWith({8, kNoon, log, 0xFFFFFFFF}).size(), 1U);
  EXPECT_THAT(linesWith({5, kNoon, ByteVector(20'016, 0x10), std::nullopt}),
              ElementsAre("11 packet-length: item 1 has 20016 bytes"));
  const ByteVector good = SmallCapture().Unclosed();
  EXPECT_THAT(Verify(With(good, kRecords, 5, 1)).lines,
              ElementsAre("57364 base-time: item 0 is the first of its block, and not at its base "
                          "time"));
  cCaptureBuilder wide;
  wide.Add({7, kNoon, TextItem("x"), std::nullopt});
  wide.AddRaw(1 << 5 | 5, 16, Hex("01 00 10 00 0C 00 0C 00 C0 B0 01 02 03 04 05 06 07 08"));
  EXPECT_EQ(Verify(wide.Unclosed()).lines, Verify(wide.Closed()).lines);
  EXPECT_EQ(Verify(wide.Unclosed()).lines.size(), 1U);
}

// A recorder writes the newest entry behind its record, and may end amid the 7 bytes.
TEST(VerificationTest, ANewestEntryThatIsHalfWrittenBreaksNoRule) {
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("Corvane version 1.0"), std::nullopt});
  ByteVector event = Hex("60 22 01 01 60 01 02 03 04 05 06 07 08 17");
  event.resize(13 + 1 + 0x17);
  Put(event, 1, event.size() - 3, 2);
  builder.Add({4, kNoon + 1, event, std::nullopt});
  ByteVector text = TextItem(std::string(300, 'x'));
  for (const sBuiltItem& last : {sBuiltItem{7, kNoon + 2, text, std::nullopt},
                                 sBuiltItem{5, kNoon + 2, ByteVector(600, 0x10), std::nullopt}}) {
    cCaptureBuilder whole = builder;
    whole.Add(last);
    EXPECT_THAT(Verify(whole.Unclosed(), true).lines, IsEmpty());
    // The low byte of its length is there.
    const ByteVector torn = With(whole.Unclosed(), 4 + 2 * 7 + 6, 0, 1);
    EXPECT_THAT(Verify(torn, true).lines, IsEmpty());
    // In front of another item there is nothing half written.
    whole.Add({1, kNoon + 3, {0x0C}, std::nullopt});
    EXPECT_EQ(Verify(With(whole.Unclosed(), 4 + 2 * 7, 3, 1), true).lines.size(), 1U);
  }
}

TEST(VerificationTest, TheEndOfAClosedFileHasItsRules) {
  const ByteVector file = SmallCapture().Closed();
  EXPECT_THAT(Verify(With(file, file.size() - 8, 77, 4)).lines,
              ElementsAre(std::to_string(file.size() - 8) +
                          " trailer: the trailer counts 77 items, the directories hold 3"));
  EXPECT_THAT(Verify(With(file, file.size() - 4, 0, 4)).lines,
              ElementsAre(std::to_string(file.size() - 4) +
                          " trailer: the trailer does not end in its closing number"));
  ByteVector withoutIndex = SmallCapture().Unclosed();
  const std::size_t end = withoutIndex.size();
  withoutIndex.insert(withoutIndex.end(), file.end() - 16, file.end());
  EXPECT_THAT(Verify(withoutIndex).lines,
              ElementsAre(std::to_string(end) +
                          " block-index: the block index does not fit between the last record and "
                          "the trailer"));
  cCaptureBuilder empty;
  EXPECT_THAT(Verify(empty.AddBlock(kNoon).Closed()).lines,
              ElementsAre("4 block: the last block has no items"));
}

TEST(VerificationTest, ATimeThatNoClockCanShowIsNamed) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}});
  builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 42"));
  EXPECT_THAT(Verify(builder.Closed()).lines,
              ElementsAre("57366 item-time: item 1 has a time later than any clock can be"));
}

TEST(VerificationTest, BlocksThatAreLostAreCounted) {
  // The link to the second of three blocks, its entry in the index and the record in front of it.
  ByteVector file = BuildNumbered(2 * 8192 + 1).Closed();
  Put(file, 4 + 57344, 5, 8);
  Put(file, file.size() - 16 - 2 * 16, 6, 8);
  Put(file, 4 + 7 * 8191, UINT64_MAX, 7);
  EXPECT_THAT(
      Verify(file).lines,
      testing::Contains("57348 next-block: 1 blocks behind the block at offset 4 are lost"));
}

TEST(VerificationTest, ACaptureInWhichAnotherBeginsIsNamedOnce) {
  const ByteVector cut = BuildNumbered(8300).Closed();
  const ByteVector second = BuildNumbered(500).Closed();
  // Amid the records, amid the second block and amid its records.
  for (const std::size_t size :
       {std::size_t{100'000}, std::size_t{1'300'000}, cut.size() - 5'000}) {
    ByteVector file(cut.begin(), cut.begin() + static_cast<std::ptrdiff_t>(size));
    file.insert(file.end(), second.begin(), second.end());
    EXPECT_THAT(Verify(file).lines,
                ElementsAre(std::to_string(size) + " joined: another capture begins here, and the "
                                                   "one in front of it was cut off"))
        << size;
  }
  // Cut off in its last record.
  ByteVector file = SmallCapture().Unclosed();
  file.pop_back();
  const std::string at = std::to_string(file.size());
  file.insert(file.end(), second.begin(), second.end());
  EXPECT_THAT(Verify(file).lines, ElementsAre(at + " joined: another capture begins here, and the "
                                                   "one in front of it was cut off"));
}

TEST(VerificationTest, WhatIsWrongInFrontOfAnotherCaptureIsNamedToo) {
  ByteVector file = BuildNumbered(8300).Closed();
  file.resize(100'000);
  const ByteVector second = SmallCapture().Closed();
  file.insert(file.end(), second.begin(), second.end());
  const sFound found = Verify(With(file, 4 + 7 * 3, 11, 1));
  EXPECT_THAT(found.lines, ElementsAre("100000 joined: another capture begins here, and the one in "
                                       "front of it was cut off",
                                       "25 item-type: item 3 has type 11"));
}

TEST(VerificationTest, AnEntryThatLeadsIntoAnotherCaptureMayBeRight) {
  ByteVector file = BuildNumbered(8300).Closed();
  file.resize(70'000);
  const ByteVector second = SmallCapture().Closed();
  file.insert(file.end(), second.begin(), second.end());
  // The record begins at about 57400, and others behind it are whole.
  const sFound found = Verify(With(file, 4 + 7 * 3 + 5, 16'000, 2));
  EXPECT_THAT(found.lines, ElementsAre("70000 joined: another capture begins here, and the one in "
                                       "front of it was cut off"));
  EXPECT_EQ(Verify(With(file, 4 + 7 * 3 + 5, 12'000, 2)).lines.size(), 2U);
}

TEST(VerificationTest, ASecondCaptureIsNamed) {
  ByteVector file = SmallCapture().Closed();
  const std::size_t first = file.size();
  const ByteVector second = TwoBlocks().Closed();
  file.insert(file.end(), second.begin(), second.end());
  EXPECT_THAT(Verify(file).lines,
              ElementsAre(std::to_string(first) + " joined: a second capture begins here"));
}

TEST(VerificationTest, ACaptureBehindALoneHeaderIsNamedAlone) {
  for (const ByteVector& second : {SmallCapture().Closed(), TwoBlocks().Unclosed()}) {
    ByteVector file = Hex("08 31 60 AB");
    file.insert(file.end(), second.begin(), second.end());
    EXPECT_THAT(Verify(file).lines, ElementsAre("4 joined: a second capture begins here"));
    // Amid the first directory.
    file.insert(file.begin() + 4, 4000, 0);
    EXPECT_THAT(Verify(file).lines, ElementsAre("4004 joined: another capture begins here, and the "
                                                "one in front of it was cut off"));
  }
}

TEST(VerificationTest, PacketsAreHeldToTheirTypesWhenAsked) {
  cCaptureBuilder good;
  const ByteVector log = Hex("10 00 0C 00 0C 00 C0 B0 01 02 03 04 05 06 07 08");
  good.Add({7, kNoon, TextItem("Corvane version 1.0"), std::nullopt});
  good.Add({2, kNoon, {0x1D}, std::nullopt});
  good.Add({10, kNoon, Hex("4B 0F 00 00"), std::nullopt});
  good.Add({9, kNoon, Hex("4B 0F 00 00 01"), std::nullopt});
  good.Add({0, kNoon, Hex("10 00 04 00 04 00 C0 B0"), std::nullopt});
  good.Add({5, kNoon, log, std::nullopt});
  good.Add({8, kNoon, Hex("10 00 0C 00 0C 00 2F 41 01 02 03 04 05 06 07 08"), std::nullopt});
  good.Add({4, kNoon, Hex("60 0A 00 01 00 01 02 03 04 05 06 07 08"), std::nullopt});
  good.Add({6, kNoon, Hex("79 00 00 00"), std::nullopt});
  good.Add({1, kNoon, Hex("60 00 00"), std::nullopt});
  EXPECT_THAT(Verify(good.Closed(), true).lines, IsEmpty());
  for (std::uint32_t type : {0U, 1U, 4U, 6U, 7U, 8U, 9U, 10U}) {
    cCaptureBuilder wrong;
    wrong.Add({type, kNoon, log, std::nullopt});
    EXPECT_THAT(Verify(wrong.Closed()).lines, IsEmpty()) << type;
    EXPECT_EQ(Verify(wrong.Closed(), true).lines.size(), 1U) << type;
  }
}

// What is said about an item of a capture that is otherwise good.
[[nodiscard]] std::string ContentsFault(const sBuiltItem& item) {
  cCaptureBuilder builder;
  builder.Add(item);
  const sFound found = Verify(builder.Closed(), true);
  EXPECT_LE(found.lines.size(), 1U);
  EXPECT_EQ(Verify(builder.Unclosed(), true).lines, found.lines);
  return found.lines.empty() ? "" : found.lines[0].substr(found.lines[0].find(' ') + 1);
}

TEST(VerificationTest, TheFormOfEventsIsHeldToTheirLengths) {
  const auto fault = [](std::string_view event) {
    return ContentsFault({4, kNoon, Hex(event), std::nullopt});
  };
  EXPECT_EQ(fault("60 0A 00 01 00 01 02 03 04 05 06 07 08"), "");
  EXPECT_EQ(fault("74 0B 00 01 20 01 02 03 04 05 06 07 08 AA"), "");
  EXPECT_EQ(fault("60 0C 00 01 40 01 02 03 04 05 06 07 08 AA BB"), "");
  EXPECT_EQ(fault("60 0D 00 01 60 01 02 03 04 05 06 07 08 02 AA BB"), "");
  EXPECT_EQ(fault("60 0A 00 01 00 01 02 03 04 05 06 07 08 AA"),
            "contents: item 0 is an event of 14 bytes, and its length says 13");
  EXPECT_EQ(fault("60 02 00 01 00"), "contents: item 0 is an event of 5 bytes");
  for (const std::string_view word : {"01 80", "01 10"}) {
    EXPECT_EQ(fault("60 0A 00 " + std::string(word) + " 01 02 03 04 05 06 07 08"),
              "contents: item 0 is an event with bit 12 or 15 of its word set");
  }
  EXPECT_EQ(fault("60 0C 00 01 20 01 02 03 04 05 06 07 08 AA BB"),
            "contents: item 0 is an event with 2 bytes of payload, and payload-length code 1");
  EXPECT_EQ(fault("60 0D 00 01 60 01 02 03 04 05 06 07 08 03 AA BB"),
            "contents: item 0 is an event with 3 bytes of payload, and payload-length code 3");
  EXPECT_EQ(fault("60 0A 00 01 60 01 02 03 04 05 06 07 08"),
            "contents: item 0 is an event with 0 bytes of payload, and payload-length code 3");
}

TEST(VerificationTest, ATextEndsWithAZero) {
  const auto fault = [](std::string_view text) {
    return ContentsFault({7, kNoon, Hex(text), std::nullopt});
  };
  EXPECT_EQ(fault("C0 FF FF FF 61 00 00 00"), "");
  EXPECT_EQ(fault("C0 FF FF FF 00 00"), "");
  EXPECT_EQ(fault("C0 FF FF FF"), "");  // of a device name that is too long
  for (const std::string_view text :
       {"C0 FF FF FF 61 00", "C0 FF FF FF 61 00 00", "C0 FF FF FF 61 00 00 00 00"}) {
    EXPECT_EQ(fault(text), "contents: item 0 is a text without its final zero") << text;
  }
}

TEST(VerificationTest, AnExtraFieldIsOneThatItsLogCodeHas) {
  const auto fault = [](std::string_view code, std::uint32_t extra) {
    return ContentsFault(
        {8, kNoon, Hex("10 00 0C 00 0C 00 " + std::string(code) + " 01 02 03 04 05 06 07 08"),
         extra});
  };
  EXPECT_EQ(fault("04 10", 12), "");
  EXPECT_EQ(fault("2F 41", 0xFFFFFF), "");
  EXPECT_EQ(fault("8D 13", 13),
            "extra-field: item 0 has an extra field of 13, which is no technology");
  EXPECT_EQ(fault("2F 41", 0x1000000),
            "extra-field: item 0 has an extra field of 16777216, which is no cell value");
  EXPECT_EQ(fault("3A 71", 5),
            "extra-field: item 0 has an extra field, and a log code that has none");
}

TEST(VerificationTest, TheWorkEndsWhenItIsToldTo) {
  ByteVector file = BuildNumbered(100).Closed();
  for (std::size_t item = 0; item < 100; ++item) {
    Put(file, 4 + item * 7 + 5, 0, 2);
  }
  int calls = 0;
  sVerifyRequest request;
  request.onViolation = [&calls](const sViolation&) { return ++calls < 3; };
  const sVerified verified = VerifyCapture(
      std::make_unique<cMemorySource>(std::make_shared<const ByteVector>(file)), request);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(verified.violations, 3U);
  EXPECT_TRUE(verified.endedEarly);
}

// The reader judges the same rules with code of its own.
void ExpectAgreement(const ByteVector& file, const std::string& what) {
  const sOpened opened = OpenBytes(file);
  const sFound found = Verify(file);
  if (opened.file == nullptr) {
    EXPECT_FALSE(found.lines.empty()) << what;
    return;
  }
  const bool isDamaged = opened.file->State() == eCaptureState::Damaged;
  EXPECT_EQ(isDamaged, !found.lines.empty())
      << what << ": " << (isDamaged ? opened.file->Damage()->Text() : found.lines.front());
  EXPECT_EQ(opened.file->IsClosed(), found.verified.closed) << what;
}

TEST(VerificationTest, AgreesWithTheReaderAboutEveryChangedByte) {
  const ByteVector good = SmallCapture().Closed();
  for (std::size_t at = 0; at < good.size(); ++at) {
    // Behind the entries the directory is unused: every thousandth byte of it will do.
    if (at > 40 && at < 4 + 57344 && at % 1000 != 0) {
      continue;
    }
    for (const unsigned bits : {0x01U, 0x20U, 0x80U, 0xFFU}) {
      ByteVector file = good;
      file[at] = static_cast<std::uint8_t>(file[at] ^ bits);
      ExpectAgreement(file, "byte " + std::to_string(at) + " ^ " + std::to_string(bits));
    }
  }
}

TEST(VerificationTest, AgreesWithTheReaderAboutEveryCut) {
  const ByteVector good = SmallCapture().Closed();
  for (std::size_t size = 0; size < good.size(); ++size) {
    if (size > 40 && size < 4 + 57344 && size % 1000 != 0) {
      continue;
    }
    ExpectAgreement(ByteVector(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)),
                    "cut to " + std::to_string(size));
  }
}

TEST(VerificationTest, AgreesWithTheReaderAboutSeveralDamages) {
  const ByteVector good = BuildNumbered(8300).Closed();
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    ByteVector file = good;
    for (unsigned damages = 1 + random() % 4; damages > 0; --damages) {
      std::size_t at = random() % file.size();
      switch (random() % 4) {  // where the rules are
        case 0:
          at = 4 + random() % 57360;
          break;
        case 1:
          at = file.size() - 1 - random() % 48;
          break;
        default:
          break;
      }
      file[at] = static_cast<std::uint8_t>(random());
    }
    ExpectAgreement(file, "round " + std::to_string(round));
  }
}

}  // namespace
}  // namespace corvane
