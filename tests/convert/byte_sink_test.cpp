#include "convert/byte_sink.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "convert/memory_sink.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

TEST(ByteSinkTest, SmallWritesAreHandedOnTogether) {
  cMemorySink sink;
  for (int count = 0; count < 1000; ++count) {
    sink.Write("0123456789");
  }
  EXPECT_EQ(sink.Pieces(), 0U);
  sink.Flush();
  EXPECT_EQ(sink.Pieces(), 1U);
  EXPECT_EQ(sink.Bytes().size(), 10'000U);
  sink.Flush();
  EXPECT_EQ(sink.Pieces(), 1U);
}

TEST(ByteSinkTest, APieceEndsWithAWholeWrite) {
  cMemorySink sink;
  const ByteVector block(40'000, 7);
  sink.Write(block);
  EXPECT_EQ(sink.Pieces(), 0U);
  sink.Write(block);
  EXPECT_EQ(sink.Pieces(), 1U);
  EXPECT_EQ(sink.Bytes().size(), 80'000U);
}

TEST(ByteSinkTest, TheFirstFailureEndsIt) {
  cMemorySink sink;
  EXPECT_EQ(sink.Problem(), "");
  sink.Refuse(ENOSPC);
  sink.Write("a");
  EXPECT_TRUE(sink.IsGood());
  sink.Flush();
  EXPECT_FALSE(sink.IsGood());
  EXPECT_FALSE(sink.ReaderIsGone());
  EXPECT_EQ(sink.Problem(), "No space left on device");
  sink.Refuse(EPIPE);
  sink.Write("b");
  sink.Flush();
  EXPECT_EQ(sink.Pieces(), 1U);
  sink.Write(ByteVector(100'000, 7));
  EXPECT_EQ(sink.Pieces(), 1U);
  EXPECT_EQ(sink.Problem(), "No space left on device");
}

TEST(ByteSinkTest, AClosedPipeIsAReaderThatHasGone) {
  cMemorySink sink;
  sink.Refuse(EPIPE);
  sink.Write("a");
  sink.Flush();
  EXPECT_TRUE(sink.ReaderIsGone());
}

TEST(ByteSinkTest, AFileHasWhatWasWrittenOnceItIsClosed) {
  cTempDirectory folder;
  const std::string path = folder.Path("file");
  const std::unique_ptr<cStreamSink> sink = cStreamSink::Open(path);
  ASSERT_NE(sink, nullptr);
  sink->Write("line\n");
  sink->Close();
  EXPECT_TRUE(sink->IsGood());
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "line\n");
}

TEST(ByteSinkTest, ASinkThatIsDroppedLeavesNoFileOpen) {
  // More than a process on Windows may have open; elsewhere the leak checker finds one.
  constexpr int kSinks = 600;
  cTempDirectory folder;
  for (int count = 0; count < kSinks; ++count) {
    ASSERT_NE(cStreamSink::Open(folder.Path("file")), nullptr) << count;
  }
}

TEST(ByteSinkTest, AFileThatCannotBeMadeGivesNoSink) {
  cTempDirectory folder;
  errno = 0;
  EXPECT_EQ(cStreamSink::Open(folder.Path("missing/file")), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace corvane
