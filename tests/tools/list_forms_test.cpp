#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "corvane/command/command_line.h"
#include "reader/capture_builder.h"
#include "reader/markers.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// What `corvane list` shows besides lines in words of every item.
class ListFormsTest : public ::testing::Test {
 protected:
  ListFormsTest() {
    cCaptureBuilder builder;
    builder.Add({7, kNoon, TextItem("Port COM7 connected"), {}});
    builder.Add({2, kNoon + 1000, Hex("1D"), {}});
    builder.Add({1, kNoon + 1500, Hex("1D 01 02 03 04 05 06 07 08"), {}});
    builder.Add({10, kNoon + 2000, Hex("4B 0F 00 00"), {}});
    Write(builder.Closed());
  }

  void Write(const ByteVector& bytes) { path = folder.Write("drive.isf", bytes); }

  void SetMarker(std::uint64_t time, const char* text) {
    ASSERT_TRUE(AddMarker(path, {time, text}));
  }

  // Runs a command on the capture; what it writes is then in `output` and `errors`.
  int Run(const std::vector<std::string>& arguments, const char* command = "list") {
    std::vector<const char*> argv = {"corvane", command, path.c_str()};
    for (const std::string& argument : arguments) {
      argv.push_back(argument.c_str());
    }
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int exitCode = RunCommandLine(static_cast<int>(argv.size()), argv.data());
    errors = ::testing::internal::GetCapturedStderr();
    output = ::testing::internal::GetCapturedStdout();
    output.erase(std::remove(output.begin(), output.end(), '\r'), output.end());
    return exitCode;
  }

  [[nodiscard]] std::string ListOf(const std::vector<std::string>& arguments) {
    EXPECT_EQ(Run(arguments), 0) << errors;
    EXPECT_EQ(errors, "");
    return output;
  }

  // The item numbers of a list, "-" for a marker.
  [[nodiscard]] std::string NumbersOf(const std::vector<std::string>& arguments) {
    std::ignore = Run(arguments);
    std::string numbers;
    for (std::size_t start = 0; start < output.size(); start = output.find('\n', start) + 1) {
      numbers += output.substr(start, output.find(' ', start) - start);
    }
    return numbers;
  }

  const cTempDirectory folder;
  std::string path;
  std::string output;
  std::string errors;
};

TEST_F(ListFormsTest, FieldsStandInTheOrderThatWasAskedFor) {
  EXPECT_EQ(ListOf({"--fields", "type,number,port"}),
            "7\t0\tCOM7\n2\t1\tCOM7\n1\t2\tCOM7\n10\t3\tCOM7\n");
  EXPECT_EQ(ListOf({"--fields", "number", "--fields", "text", "--separator", "; ", "--head", "2"}),
            "0; Port COM7 connected\n1; \n");
  EXPECT_EQ(ListOf({"--fields", "number,command", "--separator", "\\t", "--tail", "1"}),
            "3\t0x4B\n");
}

TEST_F(ListFormsTest, FieldsHaveNoControlCharacters) {
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("a\tb\nc"), {}});
  Write(builder.Closed());
  EXPECT_EQ(ListOf({"--fields", "text,number"}), "a\\x09b\\x0Ac\t0\n");
}

TEST_F(ListFormsTest, AFieldThatThereIsNotIsNamedWithTheLikest) {
  EXPECT_EQ(Run({"--fields", "number,log_cod"}), 2);
  EXPECT_EQ(output, "");
  EXPECT_NE(errors.find("there is no field \"log_cod\"; the nearest: log_code"), std::string::npos)
      << errors;
  EXPECT_EQ(Run({"--fields", ""}), 2);
}

TEST_F(ListFormsTest, FieldsThatAreEmptyOrNamedTwiceAreRefused) {
  for (const char* const fields : {"time,", ",time", "time,,number", ","}) {
    EXPECT_EQ(Run({"--fields", fields}), 2) << fields;
    EXPECT_NE(errors.find("--fields: a name is empty"), std::string::npos) << errors;
  }
  EXPECT_EQ(Run({"--fields", "time,number,time", "--json"}), 2);
  EXPECT_NE(errors.find("--fields: \"time\" is named twice"), std::string::npos) << errors;
  EXPECT_EQ(Run({"--fields", "time", "--fields", "time"}), 2);
}

TEST_F(ListFormsTest, JsonHasTheFieldsThatWereAskedFor) {
  EXPECT_EQ(ListOf({"--json", "--fields", "text,number", "--head", "2"}),
            "{\"text\":\"Port COM7 connected\",\"number\":0}\n{\"number\":1}\n");
  EXPECT_EQ(ListOf({"--json", "--fields", "text", "--type", "2"}), "{}\n");
}

TEST_F(ListFormsTest, RowsOfAllFieldsAreThoseOfTheExport) {
  for (const auto& [option, format] : {std::pair("--json", "jsonl"), {"--csv", "csv"}}) {
    SetMarker(kNoon + 1200, "a \"test\", here");
    ASSERT_EQ(Run({"--format", format, "-w", "-", "--from", "1"}, "export"), 0);
    const std::string exported = output;
    EXPECT_GT(std::count(exported.begin(), exported.end(), '\n'), 3);
    EXPECT_EQ(ListOf({option, "--from", "1"}), exported);
  }
}

TEST_F(ListFormsTest, CsvHasALineOfNames) {
  EXPECT_EQ(ListOf({"--csv", "--fields", "number,sort", "--to", "1"}),
            "number,sort\n0,text\n1,request\n");
  EXPECT_EQ(Run({"--csv", "--fields", "number", "--type", "31"}), 0);
  EXPECT_EQ(output, "number\n");
}

TEST_F(ListFormsTest, TheFirstAndTheLastAreOfTheSelectedOnes) {
  EXPECT_EQ(NumbersOf({"--head", "1"}), "0");
  EXPECT_EQ(NumbersOf({"--head", "99"}), "0123");
  EXPECT_EQ(NumbersOf({"--tail", "1"}), "3");
  EXPECT_EQ(NumbersOf({"--tail", "99"}), "0123");
  EXPECT_EQ(NumbersOf({"--direction", "to", "--head", "1"}), "1");
  EXPECT_EQ(NumbersOf({"--direction", "from", "--tail", "1"}), "2");
  EXPECT_EQ(NumbersOf({"--from", "12:00:01", "--to", "+1500ms", "--tail", "2"}), "12");
}

TEST_F(ListFormsTest, ACountIsOneNumber) {
  EXPECT_EQ(ListOf({"--count"}), "4\n");
  EXPECT_EQ(ListOf({"--count", "--type", "packet,request"}), "2\n");
  EXPECT_EQ(ListOf({"--count", "--from", "+1s", "--direction", "to"}), "2\n");
  EXPECT_EQ(Run({"--count", "--type", "31"}), 0);
  EXPECT_EQ(output, "0\n");
  EXPECT_EQ(errors, "corvane list: " + path + ": no item is selected\n");
}

TEST_F(ListFormsTest, NothingSelectedIsToldAndChangesNoExitCode) {
  EXPECT_EQ(Run({"--from", "3", "--to", "2"}), 0);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "corvane list: " + path + ": no item is selected: --from is behind --to\n");
  Write(SmallCapture().Unclosed());
  EXPECT_EQ(Run({"--invert"}), 3);
  EXPECT_EQ(errors.find("corvane list: " + path + ": no item is selected\n"), 0U);
  ASSERT_EQ(Run({"--format", "csv", "-w", "-", "--ssid", "7"}, "export"), 3);
  EXPECT_NE(errors.find("corvane export: " + path + ": no item is selected\n"), std::string::npos);
}

TEST_F(ListFormsTest, OptionsThatMakeNoSenseTogetherAreRefused) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--json", "--csv"},
                                                    {"--json", "--hex"},
                                                    {"--csv", "--hex"},
                                                    {"--fields", "number", "--hex"},
                                                    {"--fields", "number", "--count"},
                                                    {"--json", "--count"},
                                                    {"--csv", "--count"},
                                                    {"--hex", "--count"},
                                                    {"--head", "1", "--tail", "1"},
                                                    {"--head", "1", "--count"},
                                                    {"--tail", "1", "--count"},
                                                    {"--follow", "--count"},
                                                    {"--separator", ","},
                                                    {"--fields", "number", "--separator", ""},
                                                    {"--json", "--separator", ","},
                                                    {"--head", "0"},
                                                    {"--head", "x"},
                                                    {"--tail", "-1"}}) {
    EXPECT_EQ(Run(arguments), 2) << arguments.front();
    EXPECT_EQ(output, "");
    EXPECT_NE(errors, "");
  }
}

TEST_F(ListFormsTest, MarkersStandBetweenTheItems) {
  SetMarker(kNoon - 5, "before all");
  SetMarker(kNoon + 1200, "\"here\"");
  SetMarker(kNoon + 1500, "with item 2");
  SetMarker(kNoon + 9000, "");
  EXPECT_EQ(
      ListOf({}),
      "-  2024-05-17T11:59:59.995Z   - marker                -      -  \"before all\"\n"
      "0  2024-05-17T12:00:00.000Z   7 information           -     44  text \"Port COM7 "
      "connected\"\n"
      "1  2024-05-17T12:00:01.000Z   2 request            0x1D      1  time stamp request\n"
      "-  2024-05-17T12:00:01.200Z   - marker                -      -  \"\\\"here\\\"\"\n"
      "-  2024-05-17T12:00:01.500Z   - marker                -      -  \"with item 2\"\n"
      "2  2024-05-17T12:00:01.500Z   1 packet             0x1D      9  time stamp reply\n"
      "3  2024-05-17T12:00:02.000Z  10 subsystem-request  0x4B      4  subsystem 0x0F command "
      "0x0000 request\n"
      "-  2024-05-17T12:00:09.000Z   - marker                -      -  \"\"\n");
}

TEST_F(ListFormsTest, MarkersOfTheStretchAreShownAmongAnyItems) {
  SetMarker(kNoon, "with item 0");
  SetMarker(kNoon + 1200, "before item 2");
  SetMarker(kNoon + 1800, "before item 3");
  SetMarker(kNoon + 9000, "behind");
  EXPECT_EQ(NumbersOf({}), "-01-2-3-");
  EXPECT_EQ(NumbersOf({"--type", "10"}), "---3-");
  EXPECT_EQ(NumbersOf({"--from", "2"}), "-2-3-");
  EXPECT_EQ(NumbersOf({"--from", "1", "--to", "2"}), "1-2");
  EXPECT_EQ(NumbersOf({"--from", "1", "--to", "3"}), "1-2-3-");
  EXPECT_EQ(NumbersOf({"--to", "2", "--type", "2"}), "-1-");
  EXPECT_EQ(NumbersOf({"--from", "+1s", "--to", "+5s"}), "1-2-3");
  EXPECT_EQ(NumbersOf({"--head", "2"}), "-01");
  EXPECT_EQ(NumbersOf({"--head", "4"}), "-01-2-3");
  EXPECT_EQ(NumbersOf({"--tail", "2"}), "-2-3-");
  EXPECT_EQ(NumbersOf({"--contains", "item 3"}), "-");
  EXPECT_EQ(NumbersOf({"--contains", "item", "--invert"}), "0123-");
  EXPECT_EQ(ListOf({"--count"}), "4\n");
}

TEST_F(ListFormsTest, BehindTheLastItemNoMarkerIsShown) {
  SetMarker(kNoon + 9000, "behind");
  EXPECT_EQ(NumbersOf({"--from", "3"}), "3-");
  EXPECT_EQ(NumbersOf({"--from", "4"}), "");
  EXPECT_EQ(NumbersOf({"--from", "99999"}), "");
}

TEST_F(ListFormsTest, AMarkersRowNamesItself) {
  SetMarker(kNoon + 1200, "tunnel");
  EXPECT_EQ(ListOf({"--json", "--from", "1", "--to", "2", "--fields", "number,time,sort,text"}),
            "{\"number\":1,\"time\":\"2024-05-17T12:00:01.000Z\",\"sort\":\"request\"}\n"
            "{\"time\":\"2024-05-17T12:00:01.200Z\",\"sort\":\"marker\",\"text\":\"tunnel\"}\n"
            "{\"number\":2,\"time\":\"2024-05-17T12:00:01.500Z\",\"sort\":\"reply\"}\n");
  EXPECT_EQ(ListOf({"--csv", "--from", "1", "--to", "2", "--fields", "number,sort"}),
            "number,sort\n1,request\n,marker\n2,reply\n");
  EXPECT_EQ(ListOf({"--from", "1", "--to", "2", "--fields", "number,time"}),
            "1\t2024-05-17T12:00:01.000Z\n2\t2024-05-17T12:00:01.500Z\n");
}

TEST_F(ListFormsTest, AnExportWithoutRoomForMarkersSaysSo) {
  SetMarker(kNoon + 1200, "tunnel");
  SetMarker(kNoon + 1300, "out");
  const std::string made = folder.Path("made");
  const std::string notShown =
      "corvane export: 2 markers are not shown (pcapng shows them with --messages)\n";
  for (const char* format : {"pcapng", "gsmtap"}) {
    EXPECT_EQ(Run({"--format", format, "--overwrite", "-o", made}, "export"), 0);
    EXPECT_NE(errors.find(notShown), std::string::npos) << errors;
  }
  EXPECT_EQ(Run({"--format", "hdlc", "--overwrite", "-o", made}, "export"), 0);
  EXPECT_NE(errors.find("corvane export: 2 markers are left out\n"), std::string::npos) << errors;
  EXPECT_EQ(Run({"--messages", "--overwrite", "-o", made}, "export"), 0);
  EXPECT_EQ(errors.find("marker"), std::string::npos) << errors;
  std::stringstream bytes;
  bytes << std::ifstream(made, std::ios::binary).rdbuf();
  EXPECT_NE(bytes.str().find("<14>marker  tunnel"), std::string::npos);
}

// Connections in front of the selected items count, selected or not.
TEST_F(ListFormsTest, AnExportOfSomeItemsKnowsWhereTheyCameFrom) {
  for (const char* from : {"0", "1", "3"}) {
    ASSERT_EQ(Run({"--format", "jsonl", "-w", "-", "--type", "10", "--from", from}, "export"), 0);
    EXPECT_EQ(output.find("{\"number\":3,"), 0U);
    EXPECT_NE(output.find("\"port\":\"COM7\""), std::string::npos) << output;
  }
}

TEST_F(ListFormsTest, AnExportKeepsAPacketWhoseReplyIsLeftOut) {
  // A get-item response, and the packet that it holds.
  cCaptureBuilder builder;
  builder.Add({9, kNoon, Hex("4B 25 08 00 00 00 00 00 00 00 00 00 00 1D 41 42"), {}});
  builder.Add({1, kNoon, Hex("1D 41 42"), {}});
  builder.Add({2, kNoon, Hex("1D"), {}});
  builder.Add({1, kNoon, Hex("1D 41 42"), {}});
  Write(builder.Closed());
  const auto packets = [this](const std::vector<std::string>& selection) {
    std::vector<std::string> arguments = {"--format", "hdlc", "-w", "-"};
    arguments.insert(arguments.end(), selection.begin(), selection.end());
    EXPECT_EQ(Run(arguments, "export"), 0);
    return std::count(output.begin(), output.end(), '\x7E');
  };
  EXPECT_EQ(packets({}), 2);
  EXPECT_EQ(packets({"--type", "1"}), 2);
  EXPECT_EQ(packets({"--from", "1"}), 2);
  EXPECT_EQ(packets({"--to", "1"}), 1);
}

}  // namespace
}  // namespace corvane::tools
