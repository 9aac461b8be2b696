#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <process.h>
#include <windows.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "control/session_thread_windows.h"
#include "corvane.h"
#include "io/fake_system_windows.h"
#include "platform/windows_calls.h"
#include "support/capture_decoder.h"
#include "support/failing_allocation.h"
#include "support/replaced_call.h"
#include "support/temp_directory.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, void*);

namespace corvane {
namespace {

// What the control calls asked of the system, and what is to fail.
struct sControlCalls {
  int threadsStarted = 0;
  bool threadFails = false;
  void* threadArgument = nullptr;
  std::optional<unsigned> threadFlags;
  bool waitFails = false;
  std::vector<HANDLE> waitedFor;
  std::vector<std::string> eventCalls;
};
sControlCalls* gCalls = nullptr;

std::uintptr_t StartThread(void* security, unsigned stack, _beginthreadex_proc_type routine,
                           void* argument, unsigned flags, unsigned* identifier);
DWORD WINAPI WaitForAny(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds);
BOOL WINAPI Set(HANDLE event);
BOOL WINAPI Reset(HANDLE event);

}  // namespace
}  // namespace corvane

const corvane::cReplacedCall kBeginthreadex(corvane::KernelCalls()._beginthreadex,
                                            corvane::StartThread);
const corvane::cReplacedCall kWaitForMultipleObjects(corvane::KernelCalls().WaitForMultipleObjects,
                                                     corvane::WaitForAny);
const corvane::cReplacedCall kSetEvent(corvane::KernelCalls().SetEvent, corvane::Set);
const corvane::cReplacedCall kResetEvent(corvane::KernelCalls().ResetEvent, corvane::Reset);

namespace corvane {
namespace {

using test::cFakeSystem;
using test::kManualResetEvent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string NameOf(HANDLE event) {
  if (event == StartedEvent.Get()) {
    return "started";
  }
  return event == StopEvent.Get() ? "stop" : "other";
}

std::uintptr_t StartThread(void* security, unsigned stack, _beginthreadex_proc_type routine,
                           void* argument, unsigned flags, unsigned* identifier) {
  if (gCalls == nullptr) {
    return ::_beginthreadex(security, stack, routine, argument, flags, identifier);
  }
  EXPECT_EQ(security, nullptr);
  EXPECT_EQ(stack, 0u);
  EXPECT_EQ(identifier, nullptr);
  gCalls->threadArgument = argument;
  gCalls->threadFlags = flags;
  if (gCalls->threadFails) {
    return 0;
  }
  ++gCalls->threadsStarted;
  return ::_beginthreadex(security, stack, routine, argument, flags, identifier);
}

DWORD WINAPI WaitForAny(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
  // CorvaneStart waits for two; the fake system waits for three.
  if (gCalls == nullptr || count != 2) {
    return ::WaitForMultipleObjects(count, handles, all, milliseconds);
  }
  gCalls->waitedFor.assign(handles, handles + count);
  EXPECT_FALSE(all);
  EXPECT_EQ(milliseconds, INFINITE);
  if (gCalls->waitFails) {
    return WAIT_FAILED;
  }
  return ::WaitForMultipleObjects(count, handles, all, milliseconds);
}

BOOL WINAPI Set(HANDLE event) {
  if (gCalls != nullptr && NameOf(event) == "stop") {
    gCalls->eventCalls.emplace_back("set stop");
  }
  return ::SetEvent(event);
}

BOOL WINAPI Reset(HANDLE event) {
  if (gCalls != nullptr) {
    gCalls->eventCalls.push_back("reset " + NameOf(event));
  }
  return ::ResetEvent(event);
}

bool IsSet(const KernelHandle& event) {
  return WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

// The library is loaded in this process, in a folder of its own. No port ever comes.
class Control : public ::testing::Test {
 protected:
  void SetUp() override {
    home = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    std::ofstream("capture.cfg") << "";
    gCalls = &calls;
    ASSERT_TRUE(Attach());
    calls.eventCalls.clear();
  }
  void TearDown() override {
    CorvaneStop();
    ASSERT_TRUE(Detach());
    gCalls = nullptr;
    std::filesystem::current_path(home);
  }

  static bool Attach() { return DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr) != FALSE; }
  static bool Detach() { return DllMain(nullptr, DLL_PROCESS_DETACH, nullptr) != FALSE; }

  static std::vector<std::uint8_t> FileBytes(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Header, one block, `items` items and a trailer.
  static void ExpectClosedCapture(const char* path, std::uint32_t items) {
    const std::vector<std::uint8_t> bytes = FileBytes(path);
    const sDecodedCapture capture = DecodeCapture(bytes);
    ASSERT_EQ(capture.blocks.size(), 1U);
    EXPECT_EQ(capture.Items().size(), items);
    ASSERT_TRUE(HasTrailer(bytes));
    EXPECT_EQ(DecodeEnd(bytes, 1).itemCount, items);
  }

  std::filesystem::path home;
  cTempDirectory folder;
  cFakeSystem system;
  sControlCalls calls;
};

TEST_F(Control, TheResultOfCorvaneStartIsOneByte) {
  static_assert(sizeof(CorvaneStart("", "", "")) == 1);
}

TEST_F(Control, LoadingCreatesBothEventsUnsignalled) {
  ASSERT_TRUE(StartedEvent);
  ASSERT_TRUE(StopEvent);
  EXPECT_FALSE(IsSet(StartedEvent));
  EXPECT_FALSE(IsSet(StopEvent));
  EXPECT_THAT(system.eventsAsked, ElementsAre(kManualResetEvent, kManualResetEvent));
}

TEST_F(Control, BothEventsStaySetUntilTheyAreReset) {
  for (const KernelHandle* const event : {&StartedEvent, &StopEvent}) {
    SetEvent(event->Get());
    EXPECT_TRUE(IsSet(*event));
    EXPECT_TRUE(IsSet(*event));
    ResetEvent(event->Get());
  }
}

TEST_F(Control, UnloadingClosesAndClearsBothEvents) {
  const HANDLE started = StartedEvent.Get();
  const HANDLE stop = StopEvent.Get();
  EXPECT_TRUE(Detach());
  EXPECT_FALSE(StartedEvent);
  EXPECT_FALSE(StopEvent);
  DWORD flags = 0;
  EXPECT_FALSE(GetHandleInformation(started, &flags));
  EXPECT_FALSE(GetHandleInformation(stop, &flags));
  EXPECT_TRUE(Detach()) << "nothing is left to close";
}

TEST_F(Control, ThreadsThatComeAndGoChangeNothing) {
  const HANDLE started = StartedEvent.Get();
  const HANDLE stop = StopEvent.Get();
  EXPECT_EQ(DllMain(nullptr, DLL_THREAD_ATTACH, nullptr), TRUE);
  EXPECT_EQ(DllMain(nullptr, DLL_THREAD_DETACH, nullptr), TRUE);
  EXPECT_EQ(StartedEvent.Get(), started);
  EXPECT_EQ(StopEvent.Get(), stop);
}

TEST_F(Control, WithoutTheStartedEventEveryStartReturnsFalse) {
  ASSERT_TRUE(Detach());
  system.failingEvent = 0;
  EXPECT_TRUE(Attach()) << "the failure is not reported here";
  EXPECT_FALSE(StartedEvent);
  EXPECT_TRUE(StopEvent);
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  EXPECT_FALSE(std::filesystem::exists("capture.isf"));
  EXPECT_EQ(calls.threadsStarted, 0);
}

TEST_F(Control, WithoutTheStopEventEveryStartReturnsFalseAndStopDoesNothing) {
  ASSERT_TRUE(Detach());
  system.failingEvent = 1;
  EXPECT_TRUE(Attach());
  EXPECT_TRUE(StartedEvent);
  EXPECT_FALSE(StopEvent);
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  CorvaneStop();
  EXPECT_EQ(calls.threadsStarted, 0);
  EXPECT_THAT(calls.eventCalls, IsEmpty());
}

TEST_F(Control, ANullDeviceNameOrConfigurationPathStartsNoThread) {
  DeviceName[0] = 'x';
  EXPECT_FALSE(CorvaneStart(nullptr, "capture.cfg", "capture.isf"));
  EXPECT_FALSE(CorvaneStart("COM7", nullptr, "capture.isf"));
  EXPECT_EQ(calls.threadsStarted, 0);
  EXPECT_THAT(calls.eventCalls, IsEmpty());
  EXPECT_EQ(DeviceName[0], 'x') << "nothing has been copied";
}

TEST_F(Control, AStartCopiesItsArgumentsResetsBothEventsAndWaits) {
  char device[] = "COM7";
  ASSERT_TRUE(CorvaneStart(device, "capture.cfg", "capture.isf"));
  device[0] = 'x';
  EXPECT_STREQ(DeviceName, "COM7");
  EXPECT_STREQ(ConfigPath, "capture.cfg");
  EXPECT_STREQ(OutputPath, "capture.isf");
  EXPECT_THAT(calls.eventCalls, ElementsAre("reset started", "reset stop"));
  EXPECT_EQ(calls.threadsStarted, 1);
  EXPECT_EQ(calls.threadArgument, DeviceName);
  EXPECT_EQ(calls.threadFlags, 0u);
  ASSERT_EQ(calls.waitedFor.size(), 2u);
  EXPECT_NE(GetThreadId(calls.waitedFor[0]), 0u);
  EXPECT_EQ(calls.waitedFor[1], StartedEvent.Get());
  EXPECT_TRUE(IsSet(StartedEvent));
  EXPECT_FALSE(IsSet(StopEvent));
}

TEST_F(Control, ANullOutputPathMeansCorvaneIsfInTheCurrentDirectory) {
  ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", nullptr));
  EXPECT_STREQ(OutputPath, "Corvane.isf");
  CorvaneStop();
  ExpectClosedCapture("Corvane.isf", 1);
}

TEST_F(Control, TheLongestArgumentsFillTheirBuffers) {
  const std::string device(63, 'C');
  const std::string path(259, 'p');
  EXPECT_FALSE(CorvaneStart(device.c_str(), path.c_str(), path.c_str()))
      << "no file can have such a name";
  EXPECT_EQ(DeviceName, device);
  EXPECT_EQ(ConfigPath, path);
  EXPECT_EQ(OutputPath, path);
  EXPECT_EQ(calls.threadsStarted, 1);
}

TEST_F(Control, StopEndsTheThreadAndLeavesACompleteFile) {
  ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  const HANDLE thread = calls.waitedFor[0];
  CorvaneStop();
  EXPECT_TRUE(IsSet(StopEvent));
  DWORD flags = 0;
  EXPECT_FALSE(GetHandleInformation(thread, &flags)) << "the thread's handle is closed";
  ExpectClosedCapture("capture.isf", 1);
}

TEST_F(Control, StopWithoutACaptureOnlySignalsTheStopEvent) {
  CorvaneStop();
  EXPECT_THAT(calls.eventCalls, ElementsAre("set stop"));
  EXPECT_TRUE(IsSet(StopEvent));
  CorvaneStop();
  EXPECT_THAT(calls.eventCalls, ElementsAre("set stop", "set stop"));
}

TEST_F(Control, ASecondStopAfterAFirstOneOnlySignalsTheStopEvent) {
  ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  CorvaneStop();
  const std::vector<std::uint8_t> file = FileBytes("capture.isf");
  CorvaneStop();
  EXPECT_EQ(FileBytes("capture.isf"), file);
}

TEST_F(Control, AfterAStopTheLibraryCanBeStartedAgain) {
  for (const char* const output : {"first.isf", "second.isf"}) {
    ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", output));
    CorvaneStop();
    ExpectClosedCapture(output, 1);
  }
  EXPECT_EQ(calls.threadsStarted, 2);
}

TEST_F(Control, ASecondStartOverwritesArgumentsAndThreadHandle) {
  ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", "first.isf"));
  const KernelHandle first(calls.waitedFor[0]);
  HANDLE copy = nullptr;
  ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), first.Get(), GetCurrentProcess(), &copy, 0,
                              FALSE, DUPLICATE_SAME_ACCESS));
  const KernelHandle firstThread(copy);
  std::ofstream("other.cfg") << "";
  ASSERT_TRUE(CorvaneStart("COM8", "other.cfg", "second.isf"));
  EXPECT_EQ(calls.threadsStarted, 2);
  EXPECT_STREQ(DeviceName, "COM8");
  EXPECT_STREQ(ConfigPath, "other.cfg");
  EXPECT_STREQ(OutputPath, "second.isf");
  EXPECT_NE(calls.waitedFor[0], first.Get());
  // A closed handle's value may be another object's by now.
  EXPECT_EQ(GetThreadId(first.Get()), GetThreadId(firstThread.Get())) << "overwritten, not closed";
  EXPECT_EQ(WaitForSingleObject(firstThread.Get(), 0), DWORD{WAIT_TIMEOUT}) << "it goes on";

  CorvaneStop();
  ExpectClosedCapture("second.isf", 1);
  WaitForSingleObject(firstThread.Get(), INFINITE);
  ExpectClosedCapture("first.isf", 1);
}

TEST_F(Control, WithoutAThreadAStartReturnsFalse) {
  calls.threadFails = true;
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  EXPECT_FALSE(std::filesystem::exists("capture.isf"));
  CorvaneStop();
  EXPECT_TRUE(IsSet(StopEvent)) << "there is no thread to wait for";
}

TEST_F(Control, AThreadThatEndsFirstMakesTheStartReturnFalseAndIsForgotten) {
  EXPECT_FALSE(CorvaneStart("COM7", "missing.cfg", "capture.isf"));
  EXPECT_EQ(calls.threadsStarted, 1);
  EXPECT_FALSE(IsSet(StartedEvent));
  EXPECT_FALSE(IsSet(StopEvent));
  DWORD flags = 0;
  EXPECT_FALSE(GetHandleInformation(calls.waitedFor[0], &flags));
  EXPECT_TRUE(std::filesystem::exists("capture.isf"));
  EXPECT_EQ(std::filesystem::file_size("capture.isf"), 0u);
}

TEST_F(Control, AWaitThatFailsStopsTheThreadAndMakesTheStartReturnFalse) {
  calls.waitFails = true;
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  EXPECT_THAT(calls.eventCalls, ElementsAre("reset started", "reset stop", "set stop"));
  DWORD flags = 0;
  EXPECT_FALSE(GetHandleInformation(calls.waitedFor[0], &flags)) << "the thread has ended";
  ExpectClosedCapture("capture.isf", 1);

  calls.waitFails = false;
  ASSERT_TRUE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
}

TEST_F(Control, ADeviceThatCannotBeOpenedLeavesAClosedFileOfOneItem) {
  system.failingThread = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed to create watch thread\n");
  EXPECT_FALSE(IsSet(StartedEvent));
  ExpectClosedCapture("capture.isf", 1);
}

TEST_F(Control, AFailedConfigurationLeavesTheDeviceUntouched) {
  system.interfaces = {test::UsbPort("COM7")};
  EXPECT_FALSE(CorvaneStart("COM7", "missing.cfg", "capture.isf"));
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "missing/capture.isf"));
  EXPECT_THAT(system.calls, IsEmpty());
  EXPECT_THAT(system.threadsAsked, IsEmpty()) << "no watcher, no reader";
  EXPECT_EQ(system.looks, 0);
}

TEST_F(Control, NoneOfTheFailuresPrintsAMessageOfItsOwn) {
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(CorvaneStart(nullptr, "capture.cfg", "capture.isf"));
  EXPECT_FALSE(CorvaneStart("COM7", "missing.cfg", "capture.isf"));
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "missing/capture.isf"));
  calls.threadFails = true;
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "capture.isf"));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(Control, AnOutputThatCannotBeCreatedLeavesNothingBehind) {
  EXPECT_FALSE(CorvaneStart("COM7", "capture.cfg", "missing/capture.isf"));
  EXPECT_FALSE(std::filesystem::exists("missing"));
}

TEST_F(Control, TheSessionThreadEndsWith1AfterACaptureAnd0AfterAFailedSetUp) {
  std::snprintf(DeviceName, sizeof DeviceName, "COM7");
  std::snprintf(OutputPath, sizeof OutputPath, "capture.isf");
  std::snprintf(ConfigPath, sizeof ConfigPath, "capture.cfg");
  SetEvent(StopEvent.Get());
  EXPECT_EQ(SessionThread(nullptr), 1u) << "it does not use its argument";
  EXPECT_TRUE(IsSet(StartedEvent));
  std::snprintf(ConfigPath, sizeof ConfigPath, "missing.cfg");
  EXPECT_EQ(SessionThread(nullptr), 0u);
}

TEST_F(Control, WhereverMemoryRunsOutASetUpFailsAndGivesEverythingBack) {
  std::snprintf(DeviceName, sizeof DeviceName, "COM7");
  std::snprintf(OutputPath, sizeof OutputPath, "capture.isf");
  std::snprintf(ConfigPath, sizeof ConfigPath, "capture.cfg");
  std::ofstream("capture.cfg")
      << "<LogCodes>412F</LogCodes><EventIDs>1</EventIDs><MessageLevels>1/2</MessageLevels>";
  SetEvent(StopEvent.Get());
  ASSERT_EQ(SessionThread(nullptr), 1u);
  ::testing::internal::CaptureStdout();
  const std::int64_t before = LiveNewAllocations();
  bool somethingFailed = false;
  for (std::uint32_t nth = 1;; ++nth) {
    cAllocationFailure failure(eHeap::New, nth);
    std::ignore = SessionThread(nullptr);
    if (!failure.Disarm()) {
      break;
    }
    somethingFailed = true;
    EXPECT_EQ(LiveNewAllocations(), before) << "allocation " << nth;
  }
  EXPECT_TRUE(somethingFailed);
  ::testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace corvane
