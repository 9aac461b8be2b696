#include <gtest/gtest.h>

#include "reader/capture_builder.h"
#include "tools/corvane_program_posix.h"

namespace corvane {
namespace {

class CorvaneProgramTest : public cCorvaneProgramTest {
 protected:
  [[nodiscard]] static cCaptureBuilder Sample() {
    cCaptureBuilder builder;
    builder.Add({2, 13'360'420'800'000, Hex("1D"), {}});
    return builder;
  }
};

constexpr char kSampleLine[] =
    "0  2024-05-17T12:00:00.000Z   2 request            0x1D      1  time stamp request\n";

TEST_F(CorvaneProgramTest, ACompleteFileIsListedWithCode0) {
  EXPECT_EQ(Run("list " + folder.Write("drive.isf", Sample().Closed())), 0);
  EXPECT_EQ(output, kSampleLine);
  EXPECT_EQ(errors, "");
}

TEST_F(CorvaneProgramTest, ANamedPipeIsReadAsAFileIs) {
  const std::string capture = folder.Write("drive.isf", Sample().Closed());
  const std::string pipe = folder.Path("pipe");
  const std::string feed = "mkfifo " + pipe + " && { cat " + capture + " >" + pipe + " & } && ";
  EXPECT_EQ(Run("list " + pipe, feed), 0);
  EXPECT_EQ(output, kSampleLine);
  EXPECT_EQ(errors, "");
}

TEST_F(CorvaneProgramTest, ADamagedFileGivesCode1) {
  ByteVector bytes = Sample().Closed();
  bytes[bytes.size() - 5] = 1;
  EXPECT_EQ(Run("list " + folder.Write("drive.isf", bytes)), 1);
  EXPECT_EQ(output, kSampleLine);
  EXPECT_EQ(errors, "corvane list: " + folder.Path("drive.isf") +
                        ": the trailer counts 16777217 items, the directories hold 1, at offset " +
                        std::to_string(bytes.size() - 8) + "\n");
}

TEST_F(CorvaneProgramTest, AnUnclosedFileGivesCode3) {
  EXPECT_EQ(Run("info " + folder.Write("drive.isf", Sample().Unclosed())), 3);
  EXPECT_NE(output.find("State:        not closed\n"), std::string::npos);
}

TEST_F(CorvaneProgramTest, WrongUsageGivesCode2) {
  EXPECT_EQ(Run("list"), 2);
  EXPECT_EQ(output, "");
}

TEST_F(CorvaneProgramTest, AFullDiskGivesCode1) {
  cCaptureBuilder builder;
  for (int number = 0; number < 9000; ++number) {
    builder.Add({2, 13'360'420'800'000, Hex("1D"), {}});
  }
  const std::string path = folder.Write("drive.isf", builder.Closed());
  for (const char* command : {"list ", "info "}) {
    const int status = std::system((std::string("\"" CORVANE_PROGRAM "\" ") + command + path +
                                    " >/dev/full 2>\"" + folder.Path("errors") + "\"")
                                       .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(Content("errors"),
              "corvane " + std::string(command, 4) + ": the output cannot be written\n");
  }
}

}  // namespace
}  // namespace corvane
