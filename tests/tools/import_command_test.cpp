#include "corvane/making/import_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <tuple>

#include "convert/framing.h"
#include "convert/modem_time.h"
#include "corvane/command/command_line.h"
#include "reader/capture_builder.h"
#include "support/capture_decoder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// A log packet of 0xB0C0 without a payload.
[[nodiscard]] ByteVector Log(std::uint64_t time) {
  ByteVector packet = Hex("10 00 0C 00 0C 00 C0 B0 00 00 00 00 00 00 00 00");
  Put(packet, 8, StampAt(time), 8);
  return packet;
}

[[nodiscard]] ByteVector StreamOf(std::initializer_list<ByteVector> packets) {
  ByteVector stream;
  for (const ByteVector& packet : packets) {
    AppendFrame(stream, packet);
  }
  return stream;
}

// Every file name is the program's argument; what the command says has no folder in it.
class ImportCommandTest : public ::testing::Test {
 protected:
  // Runs the program's command line. PATH/ in `arguments` stands for the test's folder.
  int Run(std::vector<std::string> arguments) {
    std::vector<const char*> argv = {"corvane", "import"};
    for (std::string& argument : arguments) {
      if (argument.starts_with("PATH/")) {
        argument = folder.Path(argument.substr(5));
      }
      argv.push_back(argument.c_str());
    }
    std::ostringstream outStream, errorStream;
    std::streambuf* const standardOutput = std::cout.rdbuf(outStream.rdbuf());
    std::streambuf* const standardError = std::cerr.rdbuf(errorStream.rdbuf());
    const int exitCode = RunCommandLine(static_cast<int>(argv.size()), argv.data());
    std::cout.rdbuf(standardOutput);
    std::cerr.rdbuf(standardError);
    out = outStream.str();
    errors = WithoutFolder(errorStream.str());
    return exitCode;
  }

  // `text` with PATH/ for the test's folder.
  [[nodiscard]] std::string WithoutFolder(std::string text) const {
    const std::string prefix = folder.Path("");
    for (auto place = text.find(prefix); place != std::string::npos; place = text.find(prefix)) {
      text.replace(place, prefix.size(), "PATH/");
    }
    return text;
  }

  void Write(const char* name, const ByteVector& bytes) const {
    std::ignore = folder.Write(name, bytes);
  }

  [[nodiscard]] ByteVector Content(const char* name) const {
    std::ifstream file(folder.Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // The packets of a complete capture.
  [[nodiscard]] std::vector<ByteVector> PacketsOf(const char* name) const {
    const ByteVector bytes = Content(name);
    EXPECT_EQ(ErrorOf(bytes), "");
    EXPECT_TRUE(HasTrailer(bytes));
    std::vector<ByteVector> packets;
    for (const sDecodedItem& item : DecodeCapture(bytes).Items()) {
      packets.push_back(item.packet);
    }
    return packets;
  }

  [[nodiscard]] std::vector<std::string> FilesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  cTempDirectory folder;
  std::string out;
  std::string errors;
};

TEST_F(ImportCommandTest, AStreamBecomesACapture) {
  Write("drive.hdlc", StreamOf({Log(kNoon), Log(kNoon + 1500)}));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 0);
  EXPECT_EQ(out,
            "Packets:      2\n"
            "Items:        3, from 2024-05-17T12:00:00.000Z to 2024-05-17T12:00:01.500Z\n");
  EXPECT_EQ(errors, "");
  EXPECT_THAT(PacketsOf("drive.isf"),
              ElementsAre(TextItem("Imported from drive.hdlc"), Log(kNoon), Log(kNoon + 1500)));
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf"));
}

// A text, a pcapng file's header, frames with a wrong checksum, one that never ends, nothing at
// all, and flags between which there is nothing.
TEST_F(ImportCommandTest, WithoutADiagFrameThereIsNoCapture) {
  const std::string_view prose = "Drive of 2024-05-17, 40 km\nno frame\n";
  for (const ByteVector& bytes : std::initializer_list<ByteVector>{
           ByteVector(prose.begin(), prose.end()),
           ByteVector(300'000, '.'),
           Hex("0A 0D 0D 0A 1C 00 00 00 4D 3C 2B 1A 01 00 00 00 FF FF FF FF FF FF FF FF 1C 00 00 "
               "00"),
           Hex("10 00 0C 00 0C 00"),
           ByteVector{},
           Hex("7E"),
           Hex("7E 7E 7E"),
       }) {
    Write("drive.hdlc", bytes);
    EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(errors,
              "corvane import: no DIAG frame was found in PATH/drive.hdlc: is it a raw DIAG "
              "stream?\n");
    EXPECT_THAT(FilesLeft(), ElementsAre("drive.hdlc"));
  }
}

TEST_F(ImportCommandTest, BadFramesAloneAreToldAndMakeNoCapture) {
  Write("drive.hdlc", Hex("11 22 33 44 7E 11 22 33 44 7E"));
  const std::string told =
      "corvane import: PATH/drive.hdlc: the frame at offset 0 has a wrong checksum\n"
      "corvane import: PATH/drive.hdlc: the frame at offset 5 has a wrong checksum\n"
      "corvane import: no capture was made: PATH/drive.hdlc has no good DIAG frame\n";
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(errors, told);
  EXPECT_THAT(FilesLeft(), ElementsAre("drive.hdlc"));

  Write("drive.isf", Hex("01 02 03"));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 1);
  EXPECT_EQ(errors, told);
  EXPECT_EQ(Content("drive.isf"), Hex("01 02 03"));
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf"));
}

TEST_F(ImportCommandTest, TheOldCaptureStaysWhereTheStreamHasNoFrame) {
  for (const ByteVector& stream : {Hex("10 00 0C"), ByteVector{}, Hex("7E"), Hex("7E 7E 7E")}) {
    Write("drive.hdlc", stream);
    Write("drive.isf", Hex("01 02 03"));
    EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 1);
    EXPECT_EQ(Content("drive.isf"), Hex("01 02 03"));
    EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf"));
  }
}

TEST_F(ImportCommandTest, ACaptureFileIsNoStream) {
  Write("drive.hdlc", StreamOf({Log(kNoon)}));
  ASSERT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 0);
  EXPECT_EQ(Run({"PATH/drive.isf", "-o", "PATH/other.isf"}), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(errors, "corvane import: PATH/drive.isf is a capture file already\n");
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf"));
}

TEST_F(ImportCommandTest, WhatIsNotImportedIsTold) {
  ByteVector stream = StreamOf({Log(kNoon), Hex("99 01"), Hex("99 02"), Hex("9E 02"), Hex("60 09"),
                                ByteVector(16'641, 0x10)});
  const std::size_t bad = stream.size();
  for (int i = 0; i < 13; ++i) {
    const ByteVector frame = Hex("11 22 33 44 7E");
    stream.insert(stream.end(), frame.begin(), frame.end());
  }
  Write("drive.hdlc", stream);
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 0);
  std::string expected;
  const std::string line = "corvane import: PATH/drive.hdlc: ";
  for (std::size_t i = 0; i < 10; ++i) {
    expected +=
        line + "the frame at offset " + std::to_string(bad + 5 * i) + " has a wrong checksum\n";
  }
  expected += line + "3 more frames are bad\n";
  expected += line + "2 packets are left out: a capture holds none with the first byte 0x99\n";
  expected += line + "1 packet is left out: a capture holds none with the first byte 0x9E\n";
  expected += line + "1 packet is left out: longer than 16,640 bytes\n";
  expected += line + "1 event report is left out: not whole\n";
  EXPECT_EQ(errors, expected);
  EXPECT_THAT(PacketsOf("drive.isf"),
              ElementsAre(TextItem("Imported from drive.hdlc"), Log(kNoon)));
}

TEST_F(ImportCommandTest, TimesThatAreNotTheItemsOwnAreTold) {
  Write("drive.hdlc",
        StreamOf({Log(kNoon), Hex("00"), Log(0 + 11'960'438'400'000), Hex("1C"), Log(kNoon)}));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 0);
  EXPECT_EQ(out,
            "Packets:      5\n"
            "Items:        6, from 2024-05-17T12:00:00.000Z to 2024-05-17T12:00:00.000Z\n"
            "Times:        2 items without a time stamp, dated like the item before\n"
            "Times:        1 item with a nonsensical stamp, dated like the item before\n");
  Write("drive.hdlc", StreamOf({Hex("00")}));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 0);
  EXPECT_EQ(out,
            "Packets:      1\n"
            "Items:        2, from 1980-01-06T00:00:00.000Z to 1980-01-06T00:00:00.000Z\n"
            "Times:        1 item without a time stamp, dated like the item before\n"
            "Times:        1 item dated 1980-01-06, where the clock of a modem begins\n");
}

TEST_F(ImportCommandTest, WrappersAreOpenedOrDropped) {
  ByteVector wrapped = Hex("98 01 00 00 02 00 00 00");
  const ByteVector log = Log(kNoon);
  wrapped.insert(wrapped.end(), log.begin(), log.end());
  Write("drive.hdlc", StreamOf({wrapped, Log(kNoon + 1)}));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 0);
  EXPECT_NE(out.find("Wrappers:     1 opened\n"), std::string::npos);
  EXPECT_THAT(PacketsOf("drive.isf"),
              ElementsAre(TextItem("Imported from drive.hdlc"), TextItem("Subscription 2"), log,
                          TextItem("Subscription none"), Log(kNoon + 1)));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/dropped.isf", "--wrapped", "drop"}), 0);
  EXPECT_NE(out.find("Wrappers:     1 dropped\n"), std::string::npos);
  EXPECT_THAT(PacketsOf("dropped.isf"),
              ElementsAre(TextItem("Imported from drive.hdlc"), Log(kNoon + 1)));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/kept.isf", "--wrapped", "keep"}), 2);
}

TEST_F(ImportCommandTest, MarkersOfAnotherCaptureAreNotTakenOver) {
  const ByteVector marker = Hex("32 30 32 34 0A");
  Write("drive.hdlc", StreamOf({Log(kNoon)}));
  Write("drive.isf.marks", marker);
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 1);
  EXPECT_EQ(errors,
            "corvane import: PATH/drive.isf.marks is there already; --overwrite replaces it\n");
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf.marks"));

  // An import that fails leaves them to the capture that stays.
  Write("bad.hdlc", Hex("10 00 0C"));
  EXPECT_EQ(Run({"PATH/bad.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 1);
  EXPECT_EQ(Content("drive.isf.marks"), marker);

  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "bad.hdlc", "drive.isf"));

  std::filesystem::create_directory(folder.Path("drive.isf.marks"));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 1);
  EXPECT_EQ(errors, "corvane import: PATH/drive.isf.marks is a folder\n");
}

TEST_F(ImportCommandTest, AFileOfThatNameIsNotReplacedUnasked) {
  Write("drive.hdlc", StreamOf({Log(kNoon)}));
  Write("drive.isf", Hex("01 02 03"));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf"}), 1);
  EXPECT_EQ(errors, "corvane import: PATH/drive.isf is there already; --overwrite replaces it\n");
  EXPECT_EQ(Content("drive.isf"), Hex("01 02 03"));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.isf", "--overwrite"}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_THAT(PacketsOf("drive.isf"),
              ElementsAre(TextItem("Imported from drive.hdlc"), Log(kNoon)));
  EXPECT_THAT(FilesLeft(), UnorderedElementsAre("drive.hdlc", "drive.isf"));
}

TEST_F(ImportCommandTest, TheStreamItselfIsNotOverwritten) {
  const ByteVector stream = StreamOf({Log(kNoon)});
  Write("drive.hdlc", stream);
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/drive.hdlc", "--overwrite"}), 1);
  EXPECT_EQ(errors, "corvane import: the capture would overwrite the stream PATH/drive.hdlc\n");
  EXPECT_EQ(Content("drive.hdlc"), stream);
}

TEST_F(ImportCommandTest, AStreamThatIsNotThereLeavesNothing) {
  EXPECT_EQ(Run({"PATH/missing.hdlc", "-o", "PATH/drive.isf"}), 1);
  EXPECT_EQ(errors,
            "corvane import: PATH/missing.hdlc cannot be read: No such file or directory\n");
  EXPECT_EQ(Run({"PATH/", "-o", "PATH/drive.isf"}), 1);
  EXPECT_EQ(errors, "corvane import: PATH/ is a folder\n");
  EXPECT_TRUE(FilesLeft().empty());
}

TEST_F(ImportCommandTest, ACaptureThatCannotBeMadeIsTold) {
  Write("drive.hdlc", StreamOf({Log(kNoon)}));
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/missing/drive.isf"}), 1);
  EXPECT_EQ(errors,
            "corvane import: PATH/missing/drive.isf cannot be written: No such file or "
            "directory\n");
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "PATH/"}), 1);
  EXPECT_EQ(errors, "corvane import: PATH/ is a folder\n");
  EXPECT_EQ(Run({"PATH/drive.hdlc", "-o", "-"}), 2);
  EXPECT_THAT(FilesLeft(), ElementsAre("drive.hdlc"));
}

TEST_F(ImportCommandTest, StreamAndCaptureHaveToBeNamed) {
  EXPECT_EQ(Run({"PATH/drive.hdlc"}), 2);
  EXPECT_EQ(Run({"-o", "PATH/drive.isf"}), 2);
}

TEST_F(ImportCommandTest, AResultThatCannotBeShownGivesCode1) {
  const std::string stream = folder.Write("drive.hdlc", StreamOf({Log(kNoon)}));
  std::ostringstream unwritable, complaints;
  unwritable.setstate(std::ios::badbit);
  const std::string output = folder.Path("drive.isf");
  EXPECT_EQ(ImportStream({stream, output, false, eWrapped::Open}, unwritable, complaints), 1);
  EXPECT_EQ(complaints.str(), "corvane import: the output cannot be written\n");
}

}  // namespace
}  // namespace corvane::tools
