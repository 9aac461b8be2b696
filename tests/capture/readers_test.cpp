#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "capture/connection.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

// Which reader threads a session knows.
namespace corvane {
namespace {

class ReadersTest : public cSessionTest {
 protected:
  ReadersTest() { Start(); }

  void Connect() {
    const cPrinted printed;
    OnConnected(&session);
  }
  void Disconnect() {
    const cPrinted printed;
    OnDisconnected(&session);
  }
  void Reconnect() {
    Disconnect();
    Connect();
  }

  sFakeReader& Reader(std::size_t number) { return *traffic.readers.at(number); }

  std::ptrdiff_t KnownReaders() const {
    return std::count_if(traffic.readers.begin(), traffic.readers.end(),
                         [](const auto& reader) { return reader->isKnown; });
  }
};

TEST_F(ReadersTest, TheLatestReaderIsTheSessions) {
  Connect();
  ASSERT_NE(session.readerThread, nullptr);
  EXPECT_FALSE(session.readerThread->HasEnded());
  Reader(0).hasEnded = true;
  EXPECT_TRUE(session.readerThread->HasEnded());

  Reconnect();
  ASSERT_NE(session.readerThread, nullptr);
  EXPECT_FALSE(session.readerThread->HasEnded());
  EXPECT_EQ(session.readerThread, session.readers.back().get());
}

TEST_F(ReadersTest, AReaderThatCannotStartLeavesNoLatestOneAndTheEarlierKnown) {
  Connect();
  traffic.readerThreadCanStart = false;
  Reconnect();
  EXPECT_EQ(session.readerThread, nullptr);
  EXPECT_EQ(session.readers.size(), 1U);
  EXPECT_TRUE(Reader(0).isKnown);
}

TEST_F(ReadersTest, TenReconnectionsKeepOneHandleOfReadersThatEnd) {
  Connect();
  for (std::size_t reconnection = 0; reconnection < 10; ++reconnection) {
    Reader(reconnection).hasEnded = true;
    Reconnect();
    EXPECT_EQ(KnownReaders(), 1);
  }
  EXPECT_EQ(traffic.readers.size(), 11U);
}

TEST_F(ReadersTest, ReadersMayEndInAnyOrder) {
  Connect();
  Reconnect();
  Reconnect();
  EXPECT_EQ(KnownReaders(), 3);

  Reader(1).hasEnded = true;
  Reconnect();
  EXPECT_TRUE(Reader(0).isKnown);
  EXPECT_FALSE(Reader(1).isKnown);
  EXPECT_TRUE(Reader(2).isKnown);

  Reader(3).hasEnded = true;
  Reader(0).hasEnded = true;
  Reconnect();
  EXPECT_FALSE(Reader(0).isKnown);
  EXPECT_TRUE(Reader(2).isKnown);
  EXPECT_FALSE(Reader(3).isKnown);
  EXPECT_TRUE(Reader(4).isKnown);
}

TEST_F(ReadersTest, EveryReaderIsWaitedForAndThenForgotten) {
  Connect();
  Reconnect();
  Reconnect();
  WaitForReaders(session);
  for (std::size_t number = 0; number < 3; ++number) {
    EXPECT_EQ(Reader(number).waits, 1) << number;
  }
  EXPECT_EQ(KnownReaders(), 0);
  EXPECT_EQ(session.readerThread, nullptr);
  EXPECT_TRUE(session.readers.empty());
}

TEST_F(ReadersTest, WithoutMemoryToKnowAReaderNoneIsStarted) {
  Connect();
  Disconnect();
  // Whatever has room already must not hide the failure.
  session.readers.shrink_to_fit();
  bool recordFailed = false;
  for (std::uint32_t nth = 1;; ++nth) {
    const std::size_t before = traffic.readerThreads.size();
    cPrinted printed;
    cAllocationFailure failure(eHeap::New, nth);
    SetupSession(session);
    const bool failed = failure.Disarm();
    const bool wasAsked = traffic.readerThreads.size() > before;
    const bool saidSo = printed.Take() == "Failed to create io thread\n";
    if (!failed) {
      EXPECT_TRUE(wasAsked);
      break;
    }
    if (!wasAsked) {
      recordFailed = true;
      EXPECT_TRUE(saidSo);
      EXPECT_EQ(session.readerThread, nullptr);
      EXPECT_EQ(session.readers.size(), 1U);
      EXPECT_TRUE(Reader(0).isKnown);
    }
    session.readers.resize(1);
    session.readers.shrink_to_fit();
  }
  EXPECT_TRUE(recordFailed);
}

}  // namespace
}  // namespace corvane
