#include <gtest/gtest.h>

#include <filesystem>

#include "convert/framing.h"
#include "convert/modem_time.h"
#include "reader/capture_builder.h"
#include "tools/corvane_program_posix.h"

namespace corvane {
namespace {

class ImportProgramTest : public cCorvaneProgramTest {
 protected:
  // A stream of log packets, one a millisecond.
  [[nodiscard]] std::string WriteStream(const char* name, std::uint32_t packets) const {
    ByteVector stream;
    for (std::uint32_t number = 0; number < packets; ++number) {
      ByteVector packet = Hex("10 00 0C 00 0C 00 C0 B0 00 00 00 00 00 00 00 00");
      Put(packet, 8, StampAt(kNoon + number), 8);
      AppendFrame(stream, packet);
    }
    return folder.Write(name, stream);
  }

  // What is in the folder besides what the shell wrote there.
  [[nodiscard]] std::size_t FilesLeft() const {
    const std::filesystem::directory_iterator files(folder.Path(""));
    return static_cast<std::size_t>(std::distance(files, {})) - 2;
  }

  void ExpectItems(const std::string& path, std::uint64_t items) {
    sCaptureError error;
    const auto file = cCaptureFile::Open(path, error);
    ASSERT_NE(file, nullptr) << error.Text();
    EXPECT_TRUE(file->IsComplete());
    EXPECT_EQ(file->ItemCount(), items);
  }
};

TEST_F(ImportProgramTest, TheStreamCanComeFromStandardInput) {
  const std::string stream = WriteStream("drive.hdlc", 1000);
  const std::string capture = folder.Path("drive.isf");
  EXPECT_EQ(Run("import - -o " + capture, "cat " + stream + " | "), 0);
  EXPECT_EQ(errors, "");
  ExpectItems(capture, 1001);
  EXPECT_EQ(Run("list --to 0 " + capture), 0);
  EXPECT_NE(output.find("\"Imported from standard input\""), std::string::npos);
}

TEST_F(ImportProgramTest, ACaptureHasAName) {
  EXPECT_EQ(Run("import " + WriteStream("drive.hdlc", 1) + " -o ''"), 2);
  EXPECT_EQ(errors,
            "corvane import: --output: the name of the file to make is empty\n"
            "corvane import --help tells more\n");
}

TEST_F(ImportProgramTest, StandardInputWithoutAFrameIsToldByName) {
  EXPECT_EQ(Run("import - -o " + folder.Path("drive.isf"), "echo notes | "), 1);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors,
            "corvane import: no DIAG frame was found in standard input: is it a raw DIAG "
            "stream?\n");
  EXPECT_EQ(FilesLeft(), 0U);
}

TEST_F(ImportProgramTest, AFullDiskLeavesNoCapture) {
  const std::string stream = WriteStream("drive.hdlc", 1000);
  // No file may be larger than so many times 512 bytes: the first block is, or its items are. With
  // none at all the program cannot say so either.
  for (const char* limit : {"0", "100", "120"}) {
    EXPECT_EQ(Run("import " + stream + " -o " + folder.Path("drive.isf"),
                  "trap '' XFSZ; ulimit -f " + std::string(limit) + "; "),
              1)
        << limit;
    EXPECT_EQ(output, "");
    EXPECT_EQ(FilesLeft(), 1U) << limit;
  }
  EXPECT_EQ(errors,
            "corvane import: " + folder.Path("drive.isf") + " cannot be written: File too large\n");
}

TEST_F(ImportProgramTest, TheReplacedCaptureStaysWhenTheNewOneFails) {
  const std::string stream = WriteStream("drive.hdlc", 1000);
  const std::string capture = folder.Write("drive.isf", Hex("41 42 43"));
  EXPECT_EQ(Run("import --overwrite " + stream + " -o " + capture, "trap '' XFSZ; ulimit -f 120; "),
            1);
  EXPECT_EQ(Content("drive.isf"), "ABC");
  EXPECT_EQ(FilesLeft(), 2U);
}

TEST_F(ImportProgramTest, TheEndOfACaptureThatIsNotWrittenIsNoticed) {
  std::uint32_t packets = 1023;
  const std::string capture = folder.Path("drive.isf");
  ASSERT_EQ(Run("import " + WriteStream("drive.hdlc", packets) + " -o " + capture), 0);
  std::uintmax_t size = std::filesystem::file_size(capture);
  std::filesystem::remove(capture);
  // More packets, of 18 bytes each with their times, until a limit of whole units of 512 bytes
  // falls into the capture's end: one index entry and the trailer, 32 bytes.
  for (; size % 512 == 0 || size % 512 >= 32; size += 18) {
    ++packets;
  }
  EXPECT_EQ(Run("import " + WriteStream("longer.hdlc", packets) + " -o " + capture,
                "trap '' XFSZ; ulimit -f " + std::to_string(size / 512) + "; "),
            1);
  EXPECT_EQ(errors, "corvane import: " + capture + " cannot be written: File too large\n");
  EXPECT_FALSE(std::filesystem::exists(capture));
}

TEST_F(ImportProgramTest, ADeviceIsNoCapture) {
  const std::string stream = WriteStream("drive.hdlc", 1);
  EXPECT_EQ(Run("import --overwrite " + stream + " -o /dev/null"), 1);
  EXPECT_EQ(errors, "corvane import: /dev/null is no file, and a capture needs one\n");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(ImportProgramTest, OfALinkTheFileIsReplacedThatItLeadsTo) {
  const std::string stream = WriteStream("drive.hdlc", 1);
  const std::string real = folder.Write("real.isf", Hex("41 42 43"));
  const std::string link = folder.Path("link.isf");
  std::filesystem::create_symlink("real.isf", link);
  EXPECT_EQ(Run("import " + stream + " -o " + link), 1);
  EXPECT_EQ(errors, "corvane import: " + link + " is there already; --overwrite replaces it\n");
  EXPECT_EQ(Run("import --overwrite " + stream + " -o " + link), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  ExpectItems(real, 2);
}

TEST_F(ImportProgramTest, AStreamThatCannotBeReadToItsEndLeavesNoCapture) {
  // No process can read its own memory at address 0.
  EXPECT_EQ(Run("import /proc/self/mem -o " + folder.Path("drive.isf")), 1);
  EXPECT_EQ(errors, "corvane import: /proc/self/mem cannot be read to its end\n");
  EXPECT_EQ(FilesLeft(), 0U);
}

// What the program says where no file can grow, as on a full disk.
[[nodiscard]] std::string SaidWithoutRoom(const std::string& arguments, const std::string& into) {
  const std::string command = "(trap '' XFSZ; ulimit -f 0; exec \"" CORVANE_PROGRAM "\" " +
                              arguments + " 2>&1) | cat >\"" + into + "\"";
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::ifstream said(into, std::ios::binary);
  return {std::istreambuf_iterator<char>(said), {}};
}

TEST_F(ImportProgramTest, EachCommandTellsWhyAFileCannotBeWritten) {
  const std::string stream = WriteStream("drive.hdlc", 10);
  const std::string made = folder.Path("made");
  const std::string said = folder.Path("said");
  const std::string why = made + " cannot be written: File too large\n";
  EXPECT_EQ(SaidWithoutRoom("import " + stream + " -o " + made, said), "corvane import: " + why);
  EXPECT_EQ(SaidWithoutRoom("profile make --log-code 0xB0C0 -o " + made, said),
            "corvane profile make: " + why);
  EXPECT_FALSE(std::filesystem::exists(made));
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("x"), {}});
  const std::string capture = folder.Write("open.isf", builder.Unclosed());
  EXPECT_EQ(SaidWithoutRoom("mark " + capture + " here", said),
            "corvane mark: " + capture + ".marks cannot be written: File too large\n");
  EXPECT_FALSE(std::filesystem::exists(capture + ".marks"));
}

}  // namespace
}  // namespace corvane
