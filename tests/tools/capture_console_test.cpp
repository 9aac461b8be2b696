#include "corvane/capture/capture_console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "corvane/capture/standard_output_drain.h"

namespace corvane::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What a reader has got, and a reader that takes nothing until it is let go.
class cReader {
 public:
  [[nodiscard]] cLineWriter::WriteCall Call() {
    return [shared = state](const std::string& text) {
      std::unique_lock guard(shared->mutex);
      ++shared->begun;
      shared->changed.notify_all();
      shared->changed.wait(guard, [&] { return !shared->isStuck; });
      shared->texts.push_back(text);
      return shared->isOpen;
    };
  }

  void Stick() {
    Set([](sState& now) { now.isStuck = true; });
  }
  void LetGo() {
    Set([](sState& now) { now.isStuck = false; });
  }
  void Close() {
    Set([](sState& now) { now.isOpen = false; });
  }
  void WaitUntilStuck() {
    std::unique_lock guard(state->mutex);
    state->changed.wait(guard, [&] { return state->begun != 0; });
  }
  [[nodiscard]] std::vector<std::string> Texts() const {
    const std::lock_guard guard(state->mutex);
    return state->texts;
  }
  [[nodiscard]] std::string All() const {
    std::string all;
    for (const std::string& text : Texts()) {
      all += text;
    }
    return all;
  }

 private:
  struct sState {
    std::mutex mutex;
    std::condition_variable changed;
    bool isStuck = false;
    bool isOpen = true;
    int begun = 0;
    std::vector<std::string> texts;
  };

  template <typename Change>
  void Set(Change change) {
    const std::lock_guard guard(state->mutex);
    change(*state);
    state->changed.notify_all();
  }

  std::shared_ptr<sState> state = std::make_shared<sState>();
};

[[nodiscard]] std::string Omitted(std::uint64_t count) {
  return "omitted " + std::to_string(count) + "\n";
}

TEST(LineWriterTest, TextsComeOutInTheirOrder) {
  cReader reader;
  cLineWriter writer(reader.Call(), Omitted);
  writer.Put("one\n");
  writer.Put("two\n");
  writer.Finish();
  EXPECT_THAT(reader.Texts(), ElementsAre("one\n", "two\n"));
}

TEST(LineWriterTest, AReaderThatTakesNothingHoldsNobodyUp) {
  cReader reader;
  reader.Stick();
  cLineWriter writer(reader.Call(), Omitted);
  writer.Put("first\n");
  reader.WaitUntilStuck();
  constexpr std::size_t kTooMany = 7;
  for (std::size_t number = 0; number < cLineWriter::kMostWaiting + kTooMany; ++number) {
    writer.Put("line\n");
  }
  reader.LetGo();
  writer.Finish();
  const auto texts = reader.Texts();
  ASSERT_EQ(texts.size(), 1 + cLineWriter::kMostWaiting + 1);
  EXPECT_EQ(texts.front(), "first\n");
  EXPECT_EQ(texts.back(), "omitted 7\n");
}

TEST(LineWriterTest, WhatWasLeftOutIsToldBeforeTheNextText) {
  cReader reader;
  reader.Stick();
  cLineWriter writer(reader.Call(), Omitted);
  writer.Put("first\n");
  reader.WaitUntilStuck();
  for (std::size_t number = 0; number < cLineWriter::kMostWaiting + 1; ++number) {
    writer.Put("line\n");
  }
  reader.LetGo();
  while (reader.Texts().size() < 1 + cLineWriter::kMostWaiting) {
    std::this_thread::yield();
  }
  writer.Put("last\n");
  writer.Finish();
  const auto texts = reader.Texts();
  EXPECT_EQ(texts.at(texts.size() - 2), "omitted 1\n");
  EXPECT_EQ(texts.back(), "last\n");
}

TEST(LineWriterTest, AtTheEndAReaderThatTakesNothingIsGivenUp) {
  cReader reader;
  reader.Stick();
  {
    cLineWriter writer(reader.Call(), Omitted);
    writer.Put("never read\n");
    reader.WaitUntilStuck();
    writer.Finish(std::chrono::milliseconds(20));
    writer.Put("too late\n");
  }
  EXPECT_THAT(reader.Texts(), IsEmpty());
  reader.LetGo();  // the thread that stayed behind ends by itself
}

TEST(LineWriterTest, AClosedStreamIsTriedAgain) {
  cReader reader;
  reader.Close();
  cLineWriter writer(reader.Call(), Omitted);
  writer.Put("one\n");
  writer.Put("two\n");
  writer.Finish();
  EXPECT_EQ(reader.Texts().size(), 2U);
}

class CaptureConsoleTest : public testing::Test {
 protected:
  void Make(const cCaptureConsole::sManner& manner) {
    console = std::make_unique<cCaptureConsole>(manner, errors.Call(), output.Call());
  }

  cReader errors;
  cReader output;
  std::unique_ptr<cCaptureConsole> console;
};

TEST_F(CaptureConsoleTest, WithoutATerminalEachStatusIsALine) {
  Make({});
  console->ShowStatus("0:00:01  1 item");
  console->Tell("Port COM7 connected");
  console->ShowStatus("0:00:02  2 items");
  console->Complain("no room");
  console->Finish();
  EXPECT_THAT(errors.Texts(), ElementsAre("0:00:01  1 item\n", "Port COM7 connected\n",
                                          "0:00:02  2 items\n", "corvane capture: no room\n"));
}

// What a terminal shows of what was written to it.
[[nodiscard]] std::vector<std::string> Screen(const std::string& written) {
  std::vector<std::string> lines(1);
  std::size_t column = 0;
  for (const char character : written) {
    if (character == '\n') {
      lines.emplace_back();
      column = 0;
    } else if (character == '\r') {
      column = 0;
    } else if (character == '\b') {
      --column;
    } else {
      lines.back().resize(std::max(lines.back().size(), column + 1), ' ');
      lines.back()[column++] = character;
    }
  }
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(' ') + 1);
  }
  return lines;
}

TEST_F(CaptureConsoleTest, InATerminalTheStatusIsRewrittenBelowTheLines) {
  Make({.isTerminal = true, .quiet = false, .events = false});
  console->ShowStatus("0:00:01  a status that is long");
  console->ShowStatus("0:00:02  short");
  console->Tell("hi");
  console->Tell("a line that is longer than the status");
  console->ShowStatus("0:00:03");
  console->Finish();
  EXPECT_THAT(Screen(errors.All()),
              ElementsAre("hi", "a line that is longer than the status", "0:00:03", ""));
}

TEST_F(CaptureConsoleTest, InATerminalAStatusIsNeverWiderThanIt) {
  Make({.isTerminal = true, .quiet = false, .events = false});
  console->ShowStatus(std::string(200, 'x'));
  console->Finish();
  EXPECT_EQ(Screen(errors.All()).front(), std::string(79, 'x'));
}

TEST_F(CaptureConsoleTest, AQuietOneTellsOfProblemsOnly) {
  Make({.isTerminal = true, .quiet = true, .events = true});
  console->ShowStatus("0:00:01");
  console->Tell("Port COM7 connected");
  console->Complain("no room");
  console->Report("{}");
  console->Finish();
  EXPECT_EQ(errors.All(), "corvane capture: no room\n");
  EXPECT_EQ(output.All(), "{}\n");
}

TEST_F(CaptureConsoleTest, WithoutEventsStandardOutputStaysEmpty) {
  Make({});
  console->Report("{}");
  console->Finish();
  EXPECT_THAT(output.Texts(), IsEmpty());
}

TEST_F(CaptureConsoleTest, LinesOfSeveralThreadsStayWhole) {
  Make({.isTerminal = true, .quiet = false, .events = true});
  {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
      threads.emplace_back([&] {
        for (int line = 0; line < 100; ++line) {
          console->Tell("abcdefghij");
          console->ShowStatus("0123456789");
          console->Report("{}");
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  console->Finish();
  const auto lines = Screen(errors.All());
  ASSERT_EQ(lines.size(), 402U);
  for (std::size_t number = 0; number < 400; ++number) {
    EXPECT_EQ(lines[number], "abcdefghij");
  }
  EXPECT_EQ(lines[400], "0123456789");
}

TEST(LineCutterTest, LinesComeWholeWhateverThePieces) {
  std::vector<std::string> lines;
  cLineCutter cutter([&](const std::string& line) { lines.push_back(line); });
  for (const char* const piece : {"Port", " COM7\r", "\nbad", " CRC\n\n", "end"}) {
    cutter.Add(piece);
  }
  EXPECT_THAT(lines, ElementsAre("Port COM7", "bad CRC", ""));
  cutter.Finish();
  cutter.Finish();
  EXPECT_THAT(lines, ElementsAre("Port COM7", "bad CRC", "", "end"));
}

TEST(LineCutterTest, ALineWithoutEndIsGivenInPieces) {
  std::vector<std::size_t> lengths;
  cLineCutter cutter([&](const std::string& line) { lengths.push_back(line.size()); });
  cutter.Add(std::string(9000, 'x'));
  cutter.Finish();
  EXPECT_THAT(lengths, ElementsAre(4000U, 4000U, 1000U));
}

TEST(StandardOutputDrainTest, EveryPrintedLineIsTaken) {
  std::vector<std::string> lines;
  {
    const cStandardOutputDrain drain([&](const std::string& line) { lines.push_back(line); });
    for (int number = 0; number < 20'000; ++number) {
      std::printf("line %d\n", number);  // 200 kB: more than a pipe holds
    }
    std::printf("no line end");
  }
  ASSERT_EQ(lines.size(), 20'001U);
  for (std::size_t number = 0; number < 20'000; ++number) {
    ASSERT_EQ(lines[number], "line " + std::to_string(number));
  }
  EXPECT_EQ(lines.back(), "no line end");
}

TEST(StandardOutputDrainTest, AStuckReaderDoesNotHoldUpWhoPrints) {
  cReader reader;
  reader.Stick();
  cLineWriter writer(reader.Call(), Omitted);
  {
    const cStandardOutputDrain drain([&](const std::string& line) { writer.Put(line + '\n'); });
    for (int number = 0; number < 20'000; ++number) {
      std::printf("line %d\n", number);
    }
  }
  reader.LetGo();
  writer.Finish();
  EXPECT_EQ(reader.Texts().front(), "line 0\n");
  EXPECT_THAT(reader.Texts().back(), HasSubstr("omitted "));
}

TEST(StandardOutputDrainTest, WhatItTookAwayIsStillReached) {
  testing::internal::CaptureStdout();
  std::vector<std::string> lines;
  bool written = false;
  {
    const auto write = KeepStandardOutput();
    const cStandardOutputDrain drain([&](const std::string& line) { lines.push_back(line); });
    std::printf("of the library\n");
    written = write("a result\n");
  }
  std::printf("back again\n");
  std::fflush(stdout);
  const std::string seen = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(written);
  EXPECT_THAT(lines, ElementsAre("of the library"));
  EXPECT_EQ(seen, "a result\nback again\n");
}

}  // namespace
}  // namespace corvane::tools
