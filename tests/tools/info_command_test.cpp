#include "corvane/reading_commands.h"

#include <gtest/gtest.h>

#include <sstream>

#include "corvane/capture_summary.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// 2024-05-17 12:00:00 UTC, in milliseconds since 1601.
constexpr std::uint64_t kStart = 13'360'420'800'000;

[[nodiscard]] ByteVector LogPacket(unsigned code, const char* rest) {
  ByteVector packet = Hex("10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  Put(packet, 6, code, 2);
  const ByteVector more = Hex(rest);
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
  builder.Add({8, kStart + 2000, LogPacket(0x412F, "04 00 01 00 AA"), 0x123});
  builder.Add({8, kStart + 2000, LogPacket(0x412F, "FE 00 02 00 05 AA"), {}});
  builder.Add({8, kStart + 2000, LogPacket(0x412F, "FF 00 02 00 00 AA"), {}});
  builder.Add({8, kStart + 2001, LogPacket(0x412F, "FE 00 02 00 05 AB"), {}});
  builder.Add({5, kStart + 2002, LogPacket(0x1234, ""), {}});
  builder.Add({0, kStart + 2003, Hex("10 00 00"), {}});
  builder.Add({4, kStart + 2004, Hex("60 0A 00 FF 0F 01 02 03 04 05 06 07 08"), {}});
  builder.Add({6, kStart + 2005, Hex("1F 00"), {}});
  builder.Add({7, kStart + 3'723'004, TextItem("Port COM7 disconnected"), {}});
  return builder;
}

struct sResult {
  int exitCode;
  std::string out;
  std::string errors;
};

// Runs the command on a file of those bytes. The file's path is written as FILE in the result.
[[nodiscard]] sResult InfoOf(const ByteVector& bytes) {
  const cTempDirectory folder;
  const std::string path = folder.Write("drive.isf", bytes);
  std::ostringstream out, errors;
  sResult result{ShowInfo(path, out, errors), out.str(), errors.str()};
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
            "Size:         57709 bytes\n"
            "Blocks:       1\n"
            "Items:        15\n"
            "First item:   2024-05-17T12:00:00.000Z\n"
            "Last item:    2024-05-17T13:02:03.004Z\n"
            "Duration:     1:02:03.004\n"
            "\n"
            "Items by type\n"
            "   0 short-log                   1\n"
            "   1 packet                      1\n"
            "   2 request                     1\n"
            "   4 event                       1\n"
            "   5 log                         1\n"
            "   6 message                     1\n"
            "   7 information                 3\n"
            "   8 signalling-log              4\n"
            "   9 subsystem                   1\n"
            "  10 subsystem-request           1\n"
            "\n"
            "Log codes\n"
            "  0x1234                         1\n"
            "  0x412F                         4\n"
            "\n"
            "Complete system-information blocks\n"
            "  MIB                            1\n"
            "  SIB5                           2\n"
            "\n"
            "Other commands, requests and replies\n"
            "  0x1D time stamp                2\n"
            "\n"
            "Subsystem commands, requests and replies\n"
            "  0x0F 0x0000                    2\n"
            "\n"
            "Texts\n"
            "  0  2024-05-17T12:00:00.000Z  \"Corvane version 1.0\"\n"
            "  1  2024-05-17T12:00:00.900Z  \"Port COM7 connected\"\n"
            "  14  2024-05-17T13:02:03.004Z  \"Port COM7 disconnected\"\n");
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
            "   1 packet                      1\n"
            "\n"
            "Other commands, requests and replies\n"
            "  0x29                           1\n");
}

TEST(InfoCommandTest, OfADamagedFileWhatIsGoodIsShown) {
  ByteVector bytes = SampleCapture().Closed();
  Put(bytes, 4 + 7 * 1 + 5, 0, 2);
  const sResult result = InfoOf(bytes);
  EXPECT_EQ(result.exitCode, 1);
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
  const sResult result = InfoOf(builder.Closed());
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "corvane info: FILE: item 1 has a time later than any clock can be, at offset 57366\n");
  EXPECT_EQ(InfoOf(builder.Unclosed()).errors,
            "corvane info: FILE: the time of item 1 is later than any clock can be, at offset "
            "57366\n");
  EXPECT_NE(result.out.find("  0x29                           1\n"), std::string::npos);
}

TEST(InfoCommandTest, AFileThatIsNoCaptureFileIsRefused) {
  const sResult result = InfoOf(Hex("50 4B 03 04 00"));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.errors,
            "corvane info: FILE: the file does not begin as a capture file does, at offset 0\n");
}

TEST(InfoCommandTest, AMissingFileIsRefused) {
  std::ostringstream out, errors;
  const cTempDirectory folder;
  EXPECT_EQ(ShowInfo(folder.Path("no.isf"), out, errors), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(errors.str(), "corvane info: " + folder.Path("no.isf") +
                              ": the file cannot be opened (No such file or directory)\n");
}

TEST(InfoCommandTest, OutputThatCannotBeWrittenIsAFailure) {
  const cTempDirectory folder;
  std::ostringstream out, errors;
  out.setstate(std::ios::badbit);
  EXPECT_EQ(ShowInfo(folder.Write("drive.isf", SampleCapture().Closed()), out, errors), 1);
  EXPECT_EQ(errors.str(), "corvane info: the output cannot be written\n");
}

TEST(InfoCommandTest, AClockThatWasSetBackIsTold) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, Hex("29"), {}});
  builder.Add({1, kStart - 5000, Hex("29"), {}});
  builder.Add({1, kStart - 4000, Hex("29"), {}});
  builder.Add({1, kStart - 4001, Hex("29"), {}});
  const sResult result = InfoOf(builder.Closed());
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("Duration:     -0:00:04.001\nClock:        set back 2 times\n"),
            std::string::npos)
      << result.out;
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

TEST(CaptureSummaryTest, BlocksOfASibTypeOutsideTheStandardAreCountedByNumber) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 8;
  item.bytes = LogPacket(0x412F, "FE 00 02 00 20 AA");
  summary.Add(item);
  item.bytes = LogPacket(0x412F, "FF 00 02 00 1B AA");
  summary.Add(item);
  EXPECT_NE(summary.Format().find("Complete system-information blocks\n"
                                  "  scheduling block 1             1\n"
                                  "  type 32                        1\n"),
            std::string::npos)
      << summary.Format();
}

TEST(CaptureSummaryTest, ShortSubsystemPacketsAreCountedByTheirCommand) {
  cCaptureSummary summary;
  sCaptureItem item;
  item.type = 9;
  item.bytes = Hex("4B 09");
  summary.Add(item);
  EXPECT_NE(summary.Format().find("  0x4B                           1\n"), std::string::npos);
}

}  // namespace
}  // namespace corvane::tools
