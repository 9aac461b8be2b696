// A capture over a COM port in which each call of Windows fails once, one after the other.
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "capture/connection.h"
#include "capture/session.h"
#include "io/device_selection.h"
#include "io/fake_system_windows.h"
#include "io/serial/com_io.h"
#include "io/serial/reader_thread.h"
#include "support/capture_decoder.h"
#include "support/temp_directory.h"
#include "support/wait_until.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::UsbPort;
using test::WaitUntil;

// A reply to any request in its frame: 0x13, its CRC, the flag.
const std::vector<std::uint8_t> kReply = {0x13, 0x62, 0xD2, 0x7E};

class FailingCallsTest : public ::testing::Test {
 protected:
  // One capture: the port is found, served, lost and found again; then the end. Returns the name of
  // the call that failed, which is null when there were fewer than `nth`.
  const char* RunCapture(std::int64_t nth);

  // Has the watcher look, unless the failure has ended it.
  void Look() {
    SetEvent(system->tick.Get());
    WaitForWatcher();
  }
  void WaitForWatcher() {
    std::ignore = WaitUntil("the watcher waits, or has ended", [this] {
      return WatcherIsGone() || WaitForSingleObject(system->arrived.Get(), 1) == WAIT_OBJECT_0;
    });
  }
  [[nodiscard]] bool WatcherIsGone() const {
    const char* const failed = system->FailedCall();
    return failed != nullptr && std::string_view(failed) == "WaitForSingleObject";
  }

  // The reader has taken everything and waits for more, or there is none.
  void WaitForReader(const cCaptureSession& session) {
    std::ignore = WaitUntil("the reader waits, or has ended", [this, &session] {
      if (session.readerThread == nullptr || session.readerThread->HasEnded()) {
        return true;
      }
      AcquireSRWLockShared(&system->portLock);
      const bool waits = system->pendingReads == 1 && system->toRead.empty();
      ReleaseSRWLockShared(&system->portLock);
      return waits;
    });
  }

  void Connect(const cCaptureSession& session) {
    Look();
    WaitForReader(session);
    for (int reply = 0; reply < 3; ++reply) {
      if (system->OpenPortCount() != 0) {
        system->Receive(kReply);
        WaitForReader(session);
      }
    }
    AcquireSRWLockExclusive(&system->portLock);
    system->toRead.clear();  // of a port that was lost meanwhile
    ReleaseSRWLockExclusive(&system->portLock);
  }

  void ExpectNothingLeft() {
    EXPECT_EQ(system->OpenEvents(), 0);
    EXPECT_EQ(system->OpenPortCount(), 0);
    EXPECT_EQ(system->OpenThreads(ReaderThread), 0U);
    EXPECT_EQ(system->OpenThreads(WatchPortThread), 0U);
    EXPECT_EQ(system->openClassLists, 0);
    EXPECT_EQ(system->openKeys, 0);
    EXPECT_TRUE(system->standIns.empty());
  }

  // The file is complete, and has the first item at least.
  void ExpectCompleteFile() {
    std::ifstream stream(path, std::ios::binary);
    const ByteVector file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const sDecodedCapture capture = DecodeCapture(file);
    items = capture.Items().size();
    EXPECT_GE(items, 1U);
    ASSERT_TRUE(HasTrailer(file));
    EXPECT_EQ(DecodeEnd(file, capture.blocks.size()).itemCount, items);
  }

  cTempDirectory folder;
  const std::string path = folder.Path("capture.isf");
  std::optional<cFakeSystem> system;
  std::size_t items = 0;  // of the last capture
};

const char* FailingCallsTest::RunCapture(std::int64_t nth) {
  system.emplace();
  cDeviceTraffic traffic;
  cCaptureSession session{traffic};
  EXPECT_TRUE(StartCapture(
      session, std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc), {}, {},
      {}));
  system->interfaces = {UsbPort("COM7")};
  system->FailCall(nth);
  if (SetDevice(session, "COM7")) {
    WaitForWatcher();
    Connect(session);
    system->interfaces.clear();
    Look();
    EXPECT_TRUE(WatcherIsGone() || !session.transport->IsOpen());
    system->interfaces = {UsbPort("COM7")};
    Connect(session);
    const char* const failed = system->FailedCall();
    if (failed != nullptr && !WatcherIsGone()) {
      // The failure is over: by its next look at the latest the watcher has the port open.
      Look();
      EXPECT_TRUE(session.transport->IsOpen());
    }
  } else {
    EXPECT_NE(system->FailedCall(), nullptr);
  }
  EXPECT_TRUE(SetDevice(session, nullptr));
  session.capturing = false;
  session.Close();
  ClearRequests(session);
  ExpectNothingLeft();
  ExpectCompleteFile();
  return system->FailedCall();
}

TEST_F(FailingCallsTest, EachFailureIsSurvivedAndNothingIsLeft) {
  ::testing::internal::CaptureStdout();
  std::set<std::string> names;
  std::int64_t nth = 1;
  for (; !HasFailure(); ++nth) {
    SCOPED_TRACE(nth);
    const char* const failed = RunCapture(nth);
    if (failed == nullptr) {
      break;
    }
    SCOPED_TRACE(failed);
    names.insert(failed);
  }
  ::testing::internal::GetCapturedStdout();
  // The first text, and of both connections two texts, four requests and three replies.
  EXPECT_EQ(items, 1U + 2U * (2U + 4U + 3U));
  EXPECT_EQ(names.size(), 15U) << "the names of the calls that the serial transport makes";
  std::cout << "swept " << nth - 1 << " calls of " << names.size() << " functions" << std::endl;
}

}  // namespace
}  // namespace corvane
