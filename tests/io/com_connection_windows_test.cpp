#include "io/serial/com_connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "io/fake_system_windows.h"
#include "io/serial/serial_calls.h"
#include "support/wait_until.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::WaitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kAllCancels = 1'000'000;

// A connection, and a reader that makes one read or write.
class ComConnection : public ::testing::Test {
 protected:
  ~ComConnection() override {
    if (reader.joinable()) {
      system.closingEndsReads = true;
      system.EndStalledWrites();
      connection.Close();
      reader.join();
    }
  }

  void StartReading() {
    reader = std::thread([this] {
      result = connection.Read(room, received);
      SetEvent(left.Get());
    });
    system.WaitForRead();
  }

  // Until the modem takes the byte, which it does not.
  void StartWriting() {
    system.writesStall = true;
    result = true;
    reader = std::thread([this] {
      result = connection.WriteAsReader("x", 1);
      SetEvent(left.Get());
    });
    EXPECT_TRUE(WaitUntil("the write waits", [this] { return system.PendingWrites() == 1; }));
  }

  void JoinReader() { reader.join(); }

  bool HasLeft(DWORD milliseconds = 0) {
    return WaitForSingleObject(left.Get(), milliseconds) == WAIT_OBJECT_0;
  }

  cFakeSystem system;
  const HANDLE port = SerialCalls().CreateFileA(R"(\\.\COM7)", 0, 0, nullptr, 0, 0, nullptr);
  cComConnection connection{FileHandle(port)};
  // The reader's handle is only handed on.
  const HANDLE readerThread = GetCurrentThread();
  const KernelHandle left{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  std::array<std::uint8_t, 16> room{};
  DWORD received = 99;
  bool result = false;
  std::thread reader;
};

TEST_F(ComConnection, AReadGivesWhatHasCome) {
  system.Receive({0x1D, 0x7E});
  EXPECT_TRUE(connection.Read(room, received));
  EXPECT_EQ(received, 2u);
  EXPECT_EQ(room[0], 0x1D);
  EXPECT_EQ(room[1], 0x7E);
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(16u));
}

TEST_F(ComConnection, AReadThatFailsSaysSo) {
  system.FailReads();
  EXPECT_FALSE(connection.Read(room, received));
  EXPECT_EQ(received, 0u);
  EXPECT_FALSE(connection.HasEnded());
}

TEST_F(ComConnection, AfterItsEndNoReadBegins) {
  connection.End(readerThread);
  EXPECT_TRUE(connection.HasEnded());
  EXPECT_FALSE(connection.Read(room, received));
  EXPECT_EQ(received, 0u);
  EXPECT_THAT(system.readLengthsAsked, IsEmpty());
}

TEST_F(ComConnection, AfterItsEndNoWriteBegins) {
  EXPECT_TRUE(connection.Write("x", 1));
  connection.End(nullptr);
  EXPECT_FALSE(connection.Write("y", 1));
  EXPECT_EQ(system.written.size(), 1u);
}

TEST_F(ComConnection, AReaderThatIsNotReadingIsNotCancelled) {
  system.Receive({0x1D});
  ASSERT_TRUE(connection.Read(room, received));
  connection.Cancel(readerThread);
  connection.End(readerThread);
  EXPECT_EQ(system.cancels, 0);
}

TEST_F(ComConnection, ItsEndCancelsThePendingRead) {
  StartReading();
  connection.End(readerThread);
  JoinReader();
  EXPECT_FALSE(result);
  EXPECT_EQ(system.cancelledThread, readerThread);
  EXPECT_THAT(system.ports, ::testing::SizeIs(1)) << "the port itself is closed later";
}

TEST_F(ComConnection, ItsEndCancelsThePendingWriteOfItsReader) {
  StartWriting();
  connection.End(readerThread);
  ASSERT_TRUE(HasLeft(60'000));
  JoinReader();
  EXPECT_FALSE(result);
  EXPECT_EQ(system.cancelledThread, readerThread);
  EXPECT_THAT(system.written, IsEmpty());
}

TEST_F(ComConnection, AWriteThatACancelMissesIsCancelledAgain) {
  system.cancelsThatMiss = 3;
  StartWriting();
  connection.End(readerThread);
  ASSERT_TRUE(HasLeft(60'000));
  EXPECT_GE(system.Cancels(), 4);
}

TEST_F(ComConnection, AWriteCanBeCancelledAfterThePortWasClosed) {
  system.cancelsThatMiss = kAllCancels;
  StartWriting();
  connection.End(readerThread);
  connection.Close();
  EXPECT_FALSE(HasLeft());
  system.cancelsThatMiss = 0;
  connection.Cancel(readerThread);
  ASSERT_TRUE(HasLeft(60'000));
  JoinReader();
  EXPECT_FALSE(result);
}

TEST_F(ComConnection, AReaderThatHasWrittenIsNotCancelled) {
  EXPECT_TRUE(connection.WriteAsReader("x", 1));
  connection.Cancel(readerThread);
  connection.End(readerThread);
  EXPECT_EQ(system.cancels, 0);
  EXPECT_FALSE(connection.WriteAsReader("y", 1));
  EXPECT_EQ(system.written.size(), 1u);
}

// The reader may be writing the capture file meanwhile.
TEST_F(ComConnection, AWriteOfAnotherThreadCancelsNothingOfTheReader) {
  system.cancelsThatMiss = kAllCancels;
  system.duringWrite = [this] { connection.End(readerThread); };
  EXPECT_TRUE(connection.Write("x", 1));
  EXPECT_EQ(system.cancels, 0);
}

TEST_F(ComConnection, WithoutAReaderItsEndCancelsNothing) {
  StartReading();
  connection.End(nullptr);
  EXPECT_EQ(system.cancels, 0);
}

TEST_F(ComConnection, ACancelThatComesBeforeTheReadIsMadeAgain) {
  system.cancelsThatMiss = 3;
  StartReading();
  connection.End(readerThread);
  JoinReader();
  EXPECT_FALSE(result);
  EXPECT_GE(system.cancels, 4);
}

TEST_F(ComConnection, CancellingIsGivenUpAfterOneTenthOfASecond) {
  system.cancelsThatMiss = kAllCancels;
  StartReading();
  const ULONGLONG before = system.ticks;
  connection.End(readerThread);
  EXPECT_EQ(system.ticks - before, 100u);
  EXPECT_GT(system.cancels, 10);
  EXPECT_FALSE(HasLeft());
}

TEST_F(ComConnection, AReadCanBeCancelledAfterThePortWasClosed) {
  system.cancelsThatMiss = kAllCancels;
  system.closingEndsReads = false;
  StartReading();
  connection.End(readerThread);
  connection.Close();
  system.cancelsThatMiss = 0;
  connection.Cancel(readerThread);
  JoinReader();
  EXPECT_FALSE(result);
}

// What the reader does behind its read is a write to the capture file, which a late cancel would
// end.
TEST_F(ComConnection, TheReaderStaysInItsReadWhileItIsCancelled) {
  bool hasLeftDuringCancel = true;
  system.duringCancel = [&] {
    system.duringCancel = nullptr;
    system.Receive({0x1D});
    system.WaitForRead(0);
    // The read itself has returned. The reader must not come back from it yet.
    hasLeftDuringCancel = HasLeft(50);
  };
  StartReading();
  connection.End(readerThread);
  JoinReader();
  EXPECT_FALSE(hasLeftDuringCancel);
  EXPECT_TRUE(result) << "what the read gave is not lost";
  EXPECT_EQ(received, 1u);
}

TEST_F(ComConnection, APortThatNobodyUsesIsClosedWithoutAStandIn) {
  connection.End(readerThread);
  connection.Close();
  EXPECT_EQ(system.openPorts, 0);
  EXPECT_EQ(system.lastStandIn, INVALID_HANDLE_VALUE);
}

TEST_F(ComConnection, UnderAPendingReadAStandInTakesTheNumberOfThePort) {
  system.cancelsThatMiss = kAllCancels;
  system.closingEndsReads = false;
  StartReading();
  connection.End(readerThread);
  connection.Close();
  EXPECT_EQ(system.openPorts, 0);
  EXPECT_EQ(system.lastStandIn, port);
  EXPECT_THAT(system.standIns, ElementsAre(port));

  DWORD count = 0;
  EXPECT_FALSE(::ReadFile(port, room.data(), 1, &count, nullptr));
  EXPECT_FALSE(::WriteFile(port, "x", 1, &count, nullptr));

  system.Receive({0x1D});
  JoinReader();
  EXPECT_THAT(system.standIns, IsEmpty());
}

TEST_F(ComConnection, UnderAPendingWriteAStandInTakesTheNumberOfThePort) {
  system.duringWrite = [this] {
    connection.End(nullptr);
    connection.Close();
    EXPECT_THAT(system.standIns, ElementsAre(port));
    // What becomes of the write.
    system.ports.emplace(port, "COM7");
    system.writeFails = true;
  };
  EXPECT_FALSE(connection.Write("x", 1));
  EXPECT_THAT(system.standIns, IsEmpty());
}

TEST_F(ComConnection, WithoutAStandInThePortIsClosedAllTheSame) {
  system.standInFails = true;
  system.cancelsThatMiss = kAllCancels;
  StartReading();
  connection.End(readerThread);
  connection.Close();
  JoinReader();
  EXPECT_FALSE(result);
  EXPECT_EQ(system.openPorts, 0);
}

}  // namespace
}  // namespace corvane
