#include "corvane/live/live_export.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <functional>

#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// An output in memory. What happens while the export waits is up to the test.
class cScriptedOutput final : public cLiveOutput {
 public:
  // One for each time that the export waits; the last one returns how that ends.
  std::deque<std::function<eWake()>> script;
  int failure = 0;  // what Deliver returns
  std::string text;
  int waits = 0;
  std::chrono::milliseconds longestWait{0};

  [[nodiscard]] eWake Wait(std::chrono::milliseconds time) override {
    if (time == std::chrono::milliseconds(0)) {
      return atOnce;
    }
    ++waits;
    longestWait = std::max(longestWait, time);
    if (script.empty()) {
      return eWake::StopRequested;
    }
    const std::function<eWake()> step = script.front();
    script.pop_front();
    return step();
  }
  eWake atOnce = eWake::TimeIsOver;  // the answer to a question without waiting

 private:
  [[nodiscard]] int Deliver(std::span<const std::uint8_t> bytes) override {
    if (failure == 0) {
      text.append(bytes.begin(), bytes.end());
    }
    return failure;
  }
};

// Writes an item's number, and holds back a full stop for the end.
class cNumbersExport final : public cItemExport {
 public:
  explicit cNumbersExport(cByteSink& output) : sink(output) { sink.Write("begin"); }
  void Add(const sCaptureItem& item) override { sink.Write(" " + std::to_string(item.number)); }
  void Pass(const sCaptureItem&) override {}
  void Mark(const sMarker&) override {}
  void Finish() override { sink.Write("."); }

 private:
  cByteSink& sink;
};

class FollowCaptureTest : public ::testing::Test {
 protected:
  FollowCaptureTest() { Record(1); }

  // Makes the capture one of `count` items, which is not closed.
  void Record(std::uint32_t count) {
    path = folder.Write("drive.isf", BuildNumbered(count).Unclosed());
  }

  // When the export waits, the capture has grown to `count` items.
  void GrowTo(std::uint32_t count) {
    output.script.emplace_back([this, count] {
      Record(count);
      return eWake::TimeIsOver;
    });
  }

  [[nodiscard]] eLiveEnd Run() { return FollowCapture(follower, exported, output); }

  const cTempDirectory folder;
  std::string path;
  cScriptedOutput output;
  cNumbersExport exported{output};
  cItemFollower follower{folder.Path("drive.isf")};
};

TEST_F(FollowCaptureTest, WhatHasComeIsOutBeforeTheNextWait) {
  std::vector<std::string> seen;
  for (const std::uint32_t count : {3U, 3U, 4U}) {
    output.script.emplace_back([this, count, &seen] {
      seen.push_back(output.text);
      Record(count);
      return eWake::TimeIsOver;
    });
  }
  EXPECT_EQ(Run(), eLiveEnd::StopRequested);
  EXPECT_EQ(seen, (std::vector<std::string>{"begin 0", "begin 0 1 2", "begin 0 1 2"}));
  EXPECT_EQ(output.text, "begin 0 1 2 3.");
}

TEST_F(FollowCaptureTest, TheBeginningIsOutBeforeThereIsAnItem) {
  path = folder.Write("drive.isf", {});
  std::string seen;
  output.script.emplace_back([this, &seen] {
    seen = output.text;
    return eWake::ReaderIsGone;
  });
  EXPECT_EQ(Run(), eLiveEnd::ReaderIsGone);
  EXPECT_EQ(seen, "begin");
}

TEST_F(FollowCaptureTest, ItEndsWithTheCapture) {
  GrowTo(2);
  output.script.emplace_back([this] {
    path = folder.Write("drive.isf", BuildNumbered(3).Closed());
    return eWake::TimeIsOver;
  });
  EXPECT_EQ(Run(), eLiveEnd::Closed);
  EXPECT_EQ(output.text, "begin 0 1 2.");
  EXPECT_EQ(output.waits, 2);
}

TEST_F(FollowCaptureTest, ACaptureThatIsReplacedIsLost) {
  output.script.emplace_back([this] {
    path = folder.Write("drive.isf", {});
    return eWake::TimeIsOver;
  });
  EXPECT_EQ(Run(), eLiveEnd::Lost);
  EXPECT_EQ(output.text, "begin 0.");
}

// What is recorded is looked for ten times a second, in a capture that is only begun too.
TEST_F(FollowCaptureTest, ItNeverWaitsLongerThanATenthOfASecond) {
  path = folder.Write("drive.isf", {});
  for (const std::uint32_t count : {1U, 1U, 3U, 3U, 3U}) {
    GrowTo(count);
  }
  EXPECT_EQ(Run(), eLiveEnd::StopRequested);
  EXPECT_EQ(output.waits, 6);
  EXPECT_GT(output.longestWait, std::chrono::milliseconds(0));
  EXPECT_LE(output.longestWait, std::chrono::milliseconds(100));
}

TEST_F(FollowCaptureTest, AnOutputThatCannotBeWrittenEndsIt) {
  output.failure = ENOSPC;
  EXPECT_EQ(Run(), eLiveEnd::Failed);
  EXPECT_FALSE(output.Problem().empty());
}

TEST_F(FollowCaptureTest, APipeThatNobodyReadsIsNoFailure) {
  output.failure = EPIPE;
  EXPECT_EQ(Run(), eLiveEnd::ReaderIsGone);
}

TEST_F(FollowCaptureTest, AWriteGivenUpForAStopIsNoFailure) {
  output.failure = ECANCELED;
  output.atOnce = eWake::StopRequested;
  EXPECT_EQ(Run(), eLiveEnd::StopRequested);
}

TEST_F(FollowCaptureTest, AStopIsNoticedAmidALongCapture) {
  Record(9000);
  output.atOnce = eWake::StopRequested;
  EXPECT_EQ(Run(), eLiveEnd::StopRequested);
  EXPECT_EQ(output.text.substr(output.text.size() - 6), " 4095.");
}

}  // namespace
}  // namespace corvane::tools
