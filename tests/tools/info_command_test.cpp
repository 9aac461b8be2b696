#include "corvane/reading/reading_commands.h"

#include <gtest/gtest.h>

#include <sstream>

#include "corvane/reading/capture_summary.h"
#include "corvane/reading/cell_wording.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// 2024-05-17 12:00:00 UTC, in milliseconds since 1601.
constexpr std::uint64_t kStart = 13'360'420'800'000;

// A log packet stamped with `time`, in milliseconds since 1601.
[[nodiscard]] ByteVector LogPacket(unsigned code, const char* payload,
                                   std::uint64_t time = kStart) {
  constexpr std::uint64_t kGpsEpoch = 11'960'438'400'000;
  const ByteVector more = Hex(payload);
  ByteVector packet = Hex("10 00");
  Append(packet, more.size() + 12, 2);
  Append(packet, more.size() + 12, 2);
  Append(packet, code, 2);
  // Units of 1.25 ms in the upper 48 bits; only whole ones are asked for here.
  Append(packet, (time - kGpsEpoch) * 4 / 5 << 16, 8);
  packet.insert(packet.end(), more.begin(), more.end());
  return packet;
}

[[nodiscard]] cCaptureBuilder SampleCapture() {
  cCaptureBuilder builder;
  builder.Add({7, kStart, TextItem("Corvane version 1.0"), {}});
  builder.Add({7, kStart + 900, TextItem("Port COM7 connected"), {}});
  builder.Add({2, kStart + 1000, Hex("1D"), {}});
  builder.Add({1, kStart + 1010, Hex("1D 01 02 03 04 05 06 07 08"), {}});
  builder.Add({10, kStart + 1020, Hex("4B 0F 00 00"), {}});
  builder.Add({9, kStart + 1030, Hex("4B 0F 00 00 01"), {}});
  constexpr std::uint64_t kLogs = kStart + 2000;
  builder.Add({8, kLogs, LogPacket(0x412F, "04 00 01 00 AA"), 0x123});
  builder.Add({8, kLogs, LogPacket(0x412F, "FE 00 02 00 05 AA", kLogs), {}});
  builder.Add({8, kLogs, LogPacket(0x412F, "FF 00 02 00 00 AA", kLogs), {}});
  builder.Add({8, kLogs, LogPacket(0x412F, "FE 00 02 00 05 AB", kLogs), {}});
  // A block of the modem's own, with a stamp of its own.
  builder.Add({8, kLogs, LogPacket(0x412F, "FE 00 02 00 07 AB", kLogs - 10), {}});
  builder.Add({5, kStart + 2002, LogPacket(0x1234, ""), {}});
  builder.Add({0, kStart + 2003, Hex("10 00 00"), {}});
  builder.Add({4, kStart + 2004, Hex("60 0B 00 46 26 01 02 03 04 05 06 07 08 04"), {}});
  builder.Add({6, kStart + 2005, Hex("1F 00"), {}});
  // An RRC connection reconfiguration of PCI 324 on EARFCN 1825, and the cell's MIB.
  builder.Add(
      {5,
       kStart + 2006,
       LogPacket(0xB0C0, "08 08 01 01 44 01 21 07 00 00 00 00 06 00 00 00 00 03 00 24 00 00"),
       {}});
  builder.Add({5, kStart + 2007, LogPacket(0xB0C0, "01 08 01 01 44 01"), {}});
  builder.Add({5, kStart + 2008, LogPacket(0xB0C1, "01 44 01 21 07 64 02 02 64"), {}});
  builder.Add({7, kStart + 3'723'004, TextItem("Port COM7 disconnected"), {}});
  return builder;
}

struct sResult {
  int exitCode;
  std::string out;
  std::string errors;
};

// Runs the command on a file of those bytes. The file's path is written as FILE in the result.
[[nodiscard]] sResult InfoOf(const ByteVector& bytes, bool deep = false) {
  const cTempDirectory folder;
  const std::string path = folder.Write("drive.isf", bytes);
  std::ostringstream out, errors;
  sResult result{ShowInfo(path, deep, out, errors), out.str(), errors.str()};
  for (std::string* text : {&result.out, &result.errors}) {
    if (const auto place = text->find(path); place != std::string::npos) {
      text->replace(place, path.size(), "FILE");
    }
  }
  return result;
}

TEST(InfoCommandTest, ACompleteFileIsDescribed) {
  const sResult result = InfoOf(SampleCapture().Closed());
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.out,
            "File:         FILE\n"
            "Header:       0xAB603108\n"
            "State:        complete\n"
            "Size:         57825 bytes\n"
            "Blocks:       1\n"
            "Items:        19\n"
            "First item:   2024-05-17T12:00:00.000Z\n"
            "Last item:    2024-05-17T13:02:03.004Z\n"
            "Duration:     1:02:03.004\n"
            "\n"
            "Items by type\n"
            "   0 short-log                   1\n"
            "   1 packet                      1\n"
            "   2 request                     1\n"
            "   4 event                       1\n"
            "   5 log                         4\n"
            "   6 message                     1\n"
            "   7 information                 3\n"
            "   8 signalling-log              5\n"
            "   9 subsystem                   1\n"
            "  10 subsystem-request           1\n");
}

TEST(InfoCommandTest, WhyAMessageHasNoNameIsTold) {
  cCaptureBuilder builder;
  // Behind security headers of type 2 and 4, and of an EMM type that there is not.
  builder.Add({5, kStart, LogPacket(0xB0EA, "01 09 05 00 27 01 02 03 04 05 AA BB"), {}});
  builder.Add({5, kStart, LogPacket(0xB0EA, "01 09 05 00 47 01 02 03 04 05 AA BB"), {}});
  builder.Add({5, kStart, LogPacket(0xB0EC, "01 09 05 00 07 FF"), {}});
  // The second segment of an IP packet, where the first has the number 0.
  builder.Add({5, kStart, LogPacket(0x11EB, "00 01 00 00 07 00 01 00 AA BB"), {}});
  const std::string text = InfoOf(builder.Closed(), true).out;
  EXPECT_NE(text.find("Messages by channel\n"
                      "  LTE NAS downlink                                              3\n"
                      "    (ciphered)                                                  2\n"
                      "    (unknown)                                                   1\n"
                      "  IP packets downlink                                           1\n"
                      "    (part of a message)                                         1\n"),
            std::string::npos)
      << text;
}

TEST(InfoCommandTest, ThePacketsAreToldOnRequest) {
  const ByteVector bytes = SampleCapture().Closed();
  const std::string plain = InfoOf(bytes).out;
  const sResult result = InfoOf(bytes, true);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  ASSERT_TRUE(result.out.starts_with(plain));
  EXPECT_EQ(result.out.substr(plain.size()),
            "\n"
            "Log codes\n"
            "  0x1234                                                        1\n"
            "  0x412F WCDMA RRC OTA message                                  5\n"
            "  0xB0C0 LTE RRC OTA message                                    2\n"
            "  0xB0C1 LTE RRC MIB                                            1\n"
            "\n"
            "Logs that are not described\n"
            "  0xB0C0 LTE RRC OTA message, version 1                         1\n"
            "\n"
            "Messages by channel\n"
            "  WCDMA BCCH-BCH                                                1\n"
            "    System information-BCH                                      1\n"
            "  WCDMA SIB from BCH                                            1\n"
            "    SysInfo type 7                                              1\n"
            "  LTE DL-DCCH                                                   1\n"
            "    RRC connection reconfiguration                              1\n"
            "\n"
            "System-information blocks that the recorder rebuilt\n"
            "  Master information block                                      1\n"
            "  SysInfo type 5                                                2\n"
            "\n"
            "Cells seen: first time, last time, packets\n"
            "  2024-05-17T12:00:02.006Z  2024-05-17T12:00:02.008Z         2  LTE  PCI 324 EARFCN "
            "1825  bandwidth 100 antennas 2\n"
            "\n"
            "Events\n"
            "  1606 LTE RRC state change                                     1\n"
            "\n"
            "Other commands, requests and replies\n"
            "  0x1D time stamp                                               2\n"
            "\n"
            "Subsystem commands, requests and replies\n"
            "  0x0F 0x0000                                                   2\n"
            "\n"
            "Texts\n"
            "  0  2024-05-17T12:00:00.000Z  \"Corvane version 1.0\"\n"
            "  1  2024-05-17T12:00:00.900Z  \"Port COM7 connected\"\n"
            "  18  2024-05-17T13:02:03.004Z  \"Port COM7 disconnected\"\n");
}

TEST(InfoCommandTest, AFileWithoutItemsIsDescribed) {
  const sResult result = InfoOf(cCaptureBuilder().Closed());
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.out,
            "File:         FILE\nHeader:       0xAB603108\nState:        complete\n"
            "Size:         20 bytes\nBlocks:       0\nItems:        0\n");
}

TEST(InfoCommandTest, AFileThatWasNotClosedIsDescribedAndSaidToBeUnclosed) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, Hex("29 00"), {}}).AddGap(7);
  const sResult result = InfoOf(builder.Unclosed());
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(
      result.errors,
      "corvane info: FILE: the file was not closed: it has no trailer after its 1 good item\n");
  EXPECT_EQ(result.out,
            "File:         FILE\n"
            "Header:       0xAB603108\n"
            "State:        not closed\n"
            "Size:         57374 bytes\n"
            "Blocks:       1\n"
            "Items:        1\n"
            "In no item:   7 bytes\n"
            "First item:   2024-05-17T12:00:00.000Z\n"
            "Last item:    2024-05-17T12:00:00.000Z\n"
            "Duration:     0:00:00.000\n"
            "\n"
            "Items by type\n"
            "   1 packet                      1\n");
}

TEST(InfoCommandTest, OfADamagedFileWhatIsGoodIsShown) {
  ByteVector bytes = SampleCapture().Closed();
  Put(bytes, 4 + 7 * 1 + 5, 0, 2);
  const sResult result = InfoOf(bytes, true);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, InfoOf(bytes).errors);
  EXPECT_EQ(result.errors,
            "corvane info: FILE: directory entry 1 of the block at offset 4 has length 0 (1 entry "
            "passed over), at offset 11\n");
  EXPECT_NE(result.out.find("State:        damaged\n"), std::string::npos);
  EXPECT_NE(result.out.find("\nPassed over:  1\n"), std::string::npos);
  EXPECT_NE(result.out.find("\"Corvane version 1.0\""), std::string::npos);
}

TEST(InfoCommandTest, AnItemThatCannotBeReadEndsTheSummaryWithAnError) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, Hex("29"), {}});
  builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 29"));
  const sResult result = InfoOf(builder.Closed(), true);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "corvane info: FILE: item 1 has a time later than any clock can be, at offset 57366\n");
  EXPECT_EQ(InfoOf(builder.Unclosed(), true).errors,
            "corvane info: FILE: the time of item 1 is later than any clock can be, at offset "
            "57366\n");
  EXPECT_NE(result.out.find("  0x29                                                          1\n"),
            std::string::npos);
}

TEST(InfoCommandTest, OfTheRecordsOnlyTheLastOnesTimeIsLookedAt) {
  const std::string wrongTime =
      "corvane info: FILE: the time of item 1 is later than any clock can be, at offset 57366\n";
  cCaptureBuilder builder;
  builder.Add({1, kStart, Hex("29"), {}});
  builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 29"));
  const sResult last = InfoOf(builder.Closed());
  EXPECT_EQ(last.exitCode, 1);
  EXPECT_EQ(last.errors, wrongTime);
  EXPECT_EQ(last.out.find("Last item:"), std::string::npos);
  builder.Add({1, kStart + 5, Hex("29"), {}});
  const sResult before = InfoOf(builder.Closed());
  EXPECT_EQ(before.exitCode, 0);
  EXPECT_NE(before.out.find("Last item:    2024-05-17T12:00:00.005Z\n"), std::string::npos);
  EXPECT_EQ(InfoOf(builder.Closed(), true).exitCode, 1);
}

TEST(InfoCommandTest, AFileThatIsNoCaptureFileIsRefused) {
  const sResult result = InfoOf(Hex("50 4B 03 04 00"));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(
      result.errors,
      "corvane info: FILE: the file does not begin as a capture file does, at offset 0; if it "
      "is a raw stream, corvane import makes a capture of it\n");
}

TEST(InfoCommandTest, AMissingFileIsRefused) {
  std::ostringstream out, errors;
  const cTempDirectory folder;
  EXPECT_EQ(ShowInfo(folder.Path("no.isf"), false, out, errors), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(errors.str(), "corvane info: " + folder.Path("no.isf") +
                              ": the file cannot be opened (No such file or directory)\n");
}

TEST(InfoCommandTest, OutputThatCannotBeWrittenIsAFailure) {
  const cTempDirectory folder;
  std::ostringstream out, errors;
  out.setstate(std::ios::badbit);
  EXPECT_EQ(ShowInfo(folder.Write("drive.isf", SampleCapture().Closed()), false, out, errors), 1);
  EXPECT_EQ(errors.str(), "corvane info: the output cannot be written\n");
}

TEST(InfoCommandTest, AClockThatWasSetBackIsTold) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, Hex("29"), {}});
  builder.Add({1, kStart - 5000, Hex("29"), {}});
  builder.Add({1, kStart - 4000, Hex("29"), {}});
  builder.Add({1, kStart - 4001, Hex("29"), {}});
  const sResult result = InfoOf(builder.Closed(), true);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("Duration:     -0:00:04.001\n"), std::string::npos);
  EXPECT_NE(result.out.find("\nClock:        set back 2 times\n"), std::string::npos) << result.out;
}

TEST(CaptureSummaryTest, AfterAThousandTextsTheRestIsOnlyCounted) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 7;
  item.bytes = TextItem("x");
  for (; item.number < 1234; ++item.number) {
    summary.Add(item);
  }
  const std::string text = summary.Format();
  EXPECT_NE(text.find("  999  1601-01-01T00:00:00.000Z  \"x\"\n  and 234 more\n"),
            std::string::npos);
}

TEST(CaptureSummaryTest, TextsThatTellTheSubscriptionAreOnlyCounted) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 7;
  for (const char* const text : {"Subscription 1", "Subscription 2", "note", "Subscription none"}) {
    item.bytes = TextItem(text);
    summary.Add(item);
  }
  EXPECT_EQ(summary.Format(),
            "\nTexts\n  0  1601-01-01T00:00:00.000Z  \"note\"\n"
            "  3 of a change of subscription\n");
}

TEST(CaptureSummaryTest, TablesThatAFileCouldMakeEndlessAreBounded) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 9;
  for (std::uint64_t number = 0; number < cCaptureSummary::kMostLines + 7; ++number) {
    item.bytes = Hex("4B 09");
    Append(item.bytes, number, 2);
    summary.Add(item);
  }
  item.bytes = Hex("4B 09 00 00");
  summary.Add(item);
  const std::string text = summary.Format();
  EXPECT_NE(text.find("  0x09 0x0000                                                   2\n"),
            std::string::npos);
  EXPECT_NE(text.find("  0x09 0x03E7                                                   1\n"
                      "  others                                                        7\n"),
            std::string::npos);
  EXPECT_EQ(text.find("0x09 0x03E8"), std::string::npos);
}

TEST(CaptureSummaryTest, ChannelsOfWhichNothingIsKnownAreTold) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 5;
  item.bytes = LogPacket(0xB0C0, "08 08 01 01 44 01 21 07 00 00 00 00 63 00 00 00 00 01 00 24");
  summary.Add(item);
  EXPECT_NE(summary.Format().find("  0xB0C0 LTE RRC OTA message, version 8, channel 99             "
                                  "1\n"),
            std::string::npos)
      << summary.Format();
}

TEST(CaptureSummaryTest, ShortSubsystemPacketsAreCountedByTheirCommand) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 9;
  item.bytes = Hex("4B 09");
  summary.Add(item);
  EXPECT_NE(
      summary.Format().find("  0x4B                                                          1\n"),
      std::string::npos);
}

// A description of the cell, as a message of it or its serving-cell log tell it.
[[nodiscard]] sDescription CellOf(std::uint16_t physicalCell,
                                  std::optional<std::uint64_t> identity = {}) {
  sDescription description;
  description.technology = eTechnology::Lte;
  sCell& cell = description.cell.emplace();
  cell.frequency = 1825;
  cell.physicalCell = physicalCell;
  cell.cellIdentity = identity;
  return description;
}

[[nodiscard]] std::string TextOf(const cCellsSeen& cells) {
  std::string text;
  AppendCellTable(text, cells);
  return text;
}

constexpr char kCellsHead[] = "\nCells seen: first time, last time, packets\n";

TEST(CellsSeenTest, MessagesCountForTheCellWithTheirCarrierAndNumber) {
  cCellsSeen cells;
  cells.Add(1, CellOf(324));
  cells.Add(2, CellOf(324, 0xA1));  // until now it had no identity
  cells.Add(3, CellOf(324));
  cells.Add(4, CellOf(324, 0xB2));  // another place
  cells.Add(5, CellOf(324));
  cells.Add(6, CellOf(324, 0xA1));
  cells.Add(7, CellOf(324));
  EXPECT_EQ(TextOf(cells),
            std::string(kCellsHead) +
                "  1601-01-01T00:00:00.001Z  1601-01-01T00:00:00.007Z         5  LTE  PCI 324 "
                "EARFCN 1825  cell 0xA1\n"
                "  1601-01-01T00:00:00.004Z  1601-01-01T00:00:00.005Z         2  LTE  PCI 324 "
                "EARFCN 1825  cell 0xB2\n");
}

TEST(CellsSeenTest, WithoutCellsThereIsNoTable) {
  cCellsSeen cells;
  cells.Add(1, sDescription{});
  sDescription state;
  state.cell.emplace().plmn = sPlmn{262, 2, 2};
  cells.Add(1, state);
  EXPECT_EQ(TextOf(cells), "");
}

TEST(CellsSeenTest, BeyondAThousandCellsTheRestIsOnlyCounted) {
  cCellsSeen cells;
  for (std::uint16_t number = 0; number < 1003; ++number) {
    cells.Add(1, CellOf(number));
    cells.Add(2, CellOf(number));
  }
  const std::string text = TextOf(cells);
  EXPECT_NE(text.find("  PCI 999 EARFCN 1825\n  and others, 6 times\n"), std::string::npos);
  EXPECT_EQ(text.find("PCI 1000"), std::string::npos);
}

TEST(CellsSeenTest, TheNumbersOfAFrameAreNoPartOfACell) {
  cCellsSeen cells;
  sDescription description = CellOf(324);
  description.cell->systemFrame = 7;
  cells.Add(1, description);
  EXPECT_EQ(TextOf(cells).find("SFN"), std::string::npos);
}

}  // namespace
}  // namespace corvane::tools
