#include "corvane/reading/reading_commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <sstream>

#include "convert/memory_sink.h"
#include "corvane/command/command_line.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// 2024-05-17 12:00:00 UTC, in milliseconds since 1601.
constexpr std::uint64_t kStart = 13'360'420'800'000;

[[nodiscard]] cCaptureBuilder SampleCapture() {
  cCaptureBuilder builder;
  builder.Add({7, kStart, TextItem("Port COM7 connected"), {}});
  builder.Add({2, kStart + 1000, Hex("1D"), {}});
  builder.Add({1, kStart + 1010, Hex("1D 01 02 03 04 05 06 07 08"), {}});
  builder.Add({10, kStart + 1020, Hex("4B 0F 00 00"), {}});
  builder.Add({8, kStart + 70'000,
               Hex("10 00 11 00 11 00 2F 41 00 00 00 00 00 00 00 00 04 00 01 00 AA"), 0x123456});
  return builder;
}

constexpr char kLine0[] =
    "0  2024-05-17T12:00:00.000Z   7 information           -     44  text \"Port COM7 "
    "connected\"\n";
constexpr char kLine1[] =
    "1  2024-05-17T12:00:01.000Z   2 request            0x1D      1  time stamp request\n";
constexpr char kLine2[] =
    "2  2024-05-17T12:00:01.010Z   1 packet             0x1D      9  time stamp reply\n";
constexpr char kLine3[] =
    "3  2024-05-17T12:00:01.020Z  10 subsystem-request  0x4B      4  subsystem 0x0F command 0x0000 "
    "request\n";
constexpr char kLine4[] =
    "4  2024-05-17T12:01:10.000Z   8 signalling-log     0x10     21  log 0x412F WCDMA RRC  "
    "BCCH-BCH  System information-BCH  cell 0x123456\n";

struct sResult {
  int exitCode;
  std::string out;
  std::string errors;
};

// Runs the program's command line, with what it writes to standard output and standard error.
[[nodiscard]] sResult RunCorvane(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"corvane"};
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const int exitCode = RunCommandLine(static_cast<int>(argv.size()), argv.data());
  std::cout << std::flush;
  std::string errors = ::testing::internal::GetCapturedStderr();
  return {exitCode, ::testing::internal::GetCapturedStdout(), std::move(errors)};
}

// Runs the command on a file of those bytes. The file's path is written as FILE in the result.
[[nodiscard]] sResult ListOf(const ByteVector& bytes, std::vector<std::string> arguments = {}) {
  const cTempDirectory folder;
  const std::string path = folder.Write("drive.isf", bytes);
  arguments.insert(arguments.begin(), {"list", path});
  sResult result = RunCorvane(arguments);
  for (auto place = result.errors.find(path); place != std::string::npos;
       place = result.errors.find(path)) {
    result.errors.replace(place, path.size(), "FILE");
  }
  return result;
}

[[nodiscard]] std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* const line : lines) {
    text += line;
  }
  return text;
}

class ListCommandLineTest : public ::testing::Test {
 protected:
  cTempDirectory folder;
  std::string path = folder.Write("drive.isf", SampleCapture().Closed());
};

TEST(ListCommandTest, EveryItemHasALine) {
  const sResult result = ListOf(SampleCapture().Closed());
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.out, Lines({kLine0, kLine1, kLine2, kLine3, kLine4}));
}

TEST(ListCommandTest, AFileWithoutItemsHasNoLines) {
  const sResult result = ListOf(cCaptureBuilder().Closed());
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "");
}

TEST(ListCommandTest, ItemsOfChosenTypesAreListed) {
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--type", "1"}).out, kLine2);
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--type", "10,2"}).out, Lines({kLine1, kLine3}));
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--type", "31"}).out, "");
}

TEST(ListCommandTest, ARangeOfNumbersIsListedWithBothItsEnds) {
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "1", "--to", "3"}).out,
            Lines({kLine1, kLine2, kLine3}));
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "4"}).out, kLine4);
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--to", "0"}).out, kLine0);
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "5"}).out, "");
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "3", "--to", "2"}).out, "");
  EXPECT_EQ(
      ListOf(SampleCapture().Closed(), {"--from", "0", "--to", "18446744073709551615"}).exitCode,
      0);
}

TEST(ListCommandTest, ARangeOfTimesIsListedWithBothItsEnds) {
  EXPECT_EQ(ListOf(SampleCapture().Closed(),
                   {"--from", "2024-05-17T12:00:01.000Z", "--to", "2024-05-17 12:00:01.010"})
                .out,
            Lines({kLine1, kLine2}));
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "2024-05-17T12:01"}).out, kLine4);
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "3", "--to", "2024-05-17T12:01"}).out,
            kLine3);
}

TEST(ListCommandTest, TimesSelectItemsAlsoWhereTheClockWasSetBack) {
  cCaptureBuilder builder;
  builder.Add({2, kStart, Hex("1D"), {}});
  builder.Add({2, kStart - 60'000, Hex("00"), {}});
  builder.Add({2, kStart + 1, Hex("1C"), {}});
  EXPECT_EQ(ListOf(builder.Closed(), {"--from", "2024-05-17T12:00"}).out,
            "0  2024-05-17T12:00:00.000Z   2 request            0x1D      1  time stamp request\n"
            "2  2024-05-17T12:00:00.001Z   2 request            0x1C      1  protocol version "
            "request\n");
}

TEST(ListCommandTest, ABoundThatIsNeitherNumberNorTimeIsWrongUsage) {
  for (const char* bound : {"x", "1x", "2024-05", "18446744073709551616", " 1"}) {
    const sResult result = ListOf(SampleCapture().Closed(), {"--to", bound});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.errors.find("--to: \"" + std::string(bound) +
                                 "\" is neither an item number nor a UTC time"),
              std::string::npos)
        << result.errors;
  }
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "x"}).exitCode, 2);
}

TEST(ListCommandTest, TheBytesOfEachItemFollowItsLine) {
  EXPECT_EQ(ListOf(SampleCapture().Closed(), {"--from", "3", "--to", "4", "--hex"}).out,
            std::string(kLine3) +
                "    0000  4B 0F 00 00                                      K...\n" + kLine4 +
                "    0000  10 00 11 00 11 00 2F 41 00 00 00 00 00 00 00 00  ....../A........\n"
                "    0010  04 00 01 00 AA                                   .....\n");
}

TEST(ListCommandTest, NumbersAreAlignedToTheLongest) {
  cCaptureBuilder builder;
  for (int number = 0; number < 11; ++number) {
    builder.Add({2, kStart, Hex("1D"), {}});
  }
  const std::string out = ListOf(builder.Closed()).out;
  const std::string rest =
      "  2024-05-17T12:00:00.000Z   2 request            0x1D      1  time "
      "stamp request\n";
  EXPECT_EQ(out.substr(0, 2 + rest.size()), " 0" + rest);
  EXPECT_EQ(out.substr(out.size() - 2 - rest.size()), "10" + rest);
}

TEST(ListCommandTest, LongListsAreWrittenWhole) {
  cCaptureBuilder builder;
  for (int number = 0; number < 9000; ++number) {
    builder.Add({2, kStart, Hex("1D"), {}});
  }
  const std::string out = ListOf(builder.Closed()).out;
  EXPECT_EQ(out.size(), 9000U * std::string_view("8999  2024-05-17T12:00:00.000Z   2 request       "
                                                 "     0x1D      1  time stamp request\n")
                                    .size());
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 9000);
  EXPECT_EQ(out.rfind("8999  "), out.size() - out.size() / 9000);
}

TEST(ListCommandTest, TheItemsOfAFileThatWasNotClosedAreListed) {
  const sResult result = ListOf(SampleCapture().Unclosed(), {"--type", "7"});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.out, kLine0);
  EXPECT_EQ(
      result.errors,
      "corvane list: FILE: the file was not closed: it has no trailer after its 5 good items\n");
}

TEST(ListCommandTest, TheItemsBeforeAndBehindDamageAreListed) {
  ByteVector bytes = SampleCapture().Closed();
  Put(bytes, 4 + 7 * 2 + 5, 0, 2);
  const sResult result = ListOf(bytes);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, Lines({kLine0, kLine1, kLine3, kLine4}));
  EXPECT_EQ(result.errors,
            "corvane list: FILE: directory entry 2 of the block at offset 4 has length 0 (1 entry "
            "passed over), at offset 18\n");
}

TEST(ListCommandTest, TheItemsAroundOneThatCannotBeReadAreListed) {
  cCaptureBuilder builder;
  builder.Add({2, kStart, Hex("1D"), {}});
  builder.AddRaw(2 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 1D"));
  builder.Add({2, kStart, Hex("1D"), {}});
  const std::string line =
      "  2024-05-17T12:00:00.000Z   2 request            0x1D      1  time stamp request\n";
  const sResult result = ListOf(builder.Closed());
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "0" + line + "2" + line);
  EXPECT_EQ(result.errors,
            "corvane list: FILE: item 1 has a time later than any clock can be, at offset 57366\n");
  const sResult unclosed = ListOf(builder.Unclosed());
  EXPECT_EQ(unclosed.exitCode, 1);
  EXPECT_EQ(unclosed.out, result.out);
  EXPECT_EQ(unclosed.errors,
            "corvane list: FILE: the time of item 1 is later than any clock can be, at offset "
            "57366\n");
}

TEST(ListCommandTest, AnItemThatCannotBeReadIsNamedBesideDamage) {
  cCaptureBuilder builder;
  builder.Add({2, kStart, Hex("1D"), {}});
  builder.AddRaw(2, 0, Hex("01"));
  builder.Add({2, kStart, Hex("1D"), {}});
  builder.AddRaw(2 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 1D"));
  const sResult result = ListOf(builder.Unclosed());
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "corvane list: FILE: directory entry 1 of the block at offset 4 has length 0 (1 entry "
            "passed over), at offset 11\n"
            "corvane list: FILE: the time of item 3 is later than any clock can be, at offset "
            "57369\n");
}

// What `corvane list` says of a closed file with `wrong` items that have an extra field too many.
[[nodiscard]] sResult ListOfWrongItems(int wrong) {
  cCaptureBuilder builder;
  builder.Add({2, kStart, Hex("1D"), {}});
  for (int number = 0; number < wrong; ++number) {
    builder.Add({2, kStart, Hex("1D"), 5});
  }
  return ListOf(builder.Closed());
}

TEST(ListCommandTest, AFileThatNoRecorderWritesIsListedAndReported) {
  const sResult result = ListOfWrongItems(25);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 26);
  EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 21);
  EXPECT_NE(result.errors.find("item 20 has an extra field, which items of its type never have, "
                               "at offset 144\n"),
            std::string::npos)
      << result.errors;
  EXPECT_NE(result.errors.find(": 5 more places are wrong\n"), std::string::npos);
  EXPECT_NE(ListOfWrongItems(21).errors.find(": 1 more place is wrong\n"), std::string::npos);
  EXPECT_EQ(ListOfWrongItems(20).errors.find(" more "), std::string::npos);
}

// A block of system information whose DIAG stamp is its item's time, 1980-01-06 00:00:00 UTC,
// behind the text.
[[nodiscard]] ByteVector CaptureOfABlock(std::string_view text) {
  constexpr std::uint64_t kGpsEpoch = 11'960'438'400'000;
  cCaptureBuilder builder;
  builder.Add({7, kGpsEpoch, TextItem(text), {}});
  builder.Add(
      {8, kGpsEpoch, Hex("10 00 12 00 12 00 2F 41 00 00 00 00 00 00 00 00 FE 00 02 00 05 AA"), {}});
  return builder.Closed();
}

TEST(ListCommandTest, OnlyWhatThisRecorderRebuiltIsSynthetic) {
  EXPECT_NE(
      ListOf(CaptureOfABlock("Port COM7 connected")).out.find("  SysInfo type 5  synthetic\n"),
      std::string::npos);
  // An imported capture has the modem's times, and nothing in it was rebuilt here.
  const ByteVector imported = CaptureOfABlock("Imported from drive.hdlc");
  EXPECT_NE(ListOf(imported).out.find("  SysInfo type 5\n"), std::string::npos);
  EXPECT_NE(ListOf(imported, {"--from", "1"}).out.find("  SysInfo type 5\n"), std::string::npos);
  EXPECT_NE(ListOf(imported, {"--type", "8"}).out.find("  SysInfo type 5\n"), std::string::npos);
}

TEST(ListCommandTest, AFileThatIsNoCaptureFileIsRefused) {
  const sResult result = ListOf(Hex("08 31"));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "corvane list: FILE: the file is too short to be a capture file, at offset 2\n");
}

// The answer to a selection on an output that takes nothing, for this reason (a value of errno).
[[nodiscard]] sResult ListIntoNowhere(int reason) {
  const cTempDirectory folder;
  cMemorySink out;
  out.Refuse(reason);
  std::ostringstream errors;
  sListRequest request;
  request.showing.path = folder.Write("drive.isf", SampleCapture().Closed());
  return {ListItems(request, out, errors), "", errors.str()};
}

TEST(ListCommandTest, OutputThatCannotBeWrittenIsAFailure) {
  const sResult result = ListIntoNowhere(ENOSPC);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, "corvane list: the output cannot be written\n");
}

TEST(ListCommandTest, APipeThatNobodyReadsAnyMoreIsNone) {
  const sResult result = ListIntoNowhere(EPIPE);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(ListCommandLineTest, OptionsMayStandBeforeAndAfterTheFile) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"list", path, "--type", "1,2"},
        std::vector<std::string>{"list", "--type", "1,2", path},
        std::vector<std::string>{"list", "--type=1", path, "--type", "2"}}) {
    const sResult result = RunCorvane(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, Lines({kLine1, kLine2}));
  }
}

TEST_F(ListCommandLineTest, AllOptionsReachTheCommand) {
  const sResult result = RunCorvane(
      {"list", path, "--from", "1", "--to", "2024-05-17T12:00:01.020Z", "--hex", "--type", "10"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, std::string(kLine3) +
                            "    0000  4B 0F 00 00                                      K...\n");
}

TEST_F(ListCommandLineTest, TypesOutsideFiveBitsAreWrongUsage) {
  for (const char* types : {"32", "-1", "x", "1,32", ""}) {
    EXPECT_EQ(RunCorvane({"list", path, "--type", types}).exitCode, 2) << types;
  }
}

TEST_F(ListCommandLineTest, ArgumentsThatMakeNoSenseAreWrongUsage) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"nonsense"},
                                                    {"list"},
                                                    {"info"},
                                                    {"list", "a", "b"},
                                                    {"info", "--nonsense", "a"},
                                                    {"list", "--from", "x", "a"}}) {
    const sResult result = RunCorvane(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.errors, "");
  }
}

TEST_F(ListCommandLineTest, HelpAndVersionAreToldOnRequest) {
  EXPECT_EQ(RunCorvane({"--version"}).out, "corvane 1.0.0\n");
  const sResult help = RunCorvane({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.out.find("  info "), std::string::npos);
  EXPECT_NE(help.out.find("  list "), std::string::npos);
  EXPECT_NE(RunCorvane({"list", "--help"}).out.find("0  the file is complete"), std::string::npos);
}

TEST_F(ListCommandLineTest, APathMayBeginWithASlash) {
  const sResult result = RunCorvane({"info", "/no/such/drive.isf"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "corvane info: /no/such/drive.isf: the file cannot be opened (No such file or "
            "directory)\n");
}

TEST_F(ListCommandLineTest, InfoIsACommandToo) {
  const sResult result = RunCorvane({"info", path});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out.find("File:         " + path + "\n"), 0U);
}

TEST_F(ListCommandLineTest, TheExitCodeOfTheCommandIsHandedOn) {
  const sResult result = RunCorvane({"list", folder.Path("no.isf")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, "corvane list: " + folder.Path("no.isf") +
                               ": the file cannot be opened (No such file or directory)\n");
}

}  // namespace
}  // namespace corvane::tools
