#include <gtest/gtest.h>
#include <time.h>
#include <windows.h>

#include <cstdint>
#include <new>

#include "platform/clock.h"
#include "platform/synchronization.h"
#include "platform/windows_calls.h"
#include "support/failing_allocation.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

HANDLE WINAPI RefuseEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR) { return nullptr; }

BOOL WINAPI RefuseExtendedSection(CRITICAL_SECTION*, DWORD, DWORD) { return FALSE; }

BOOL WINAPI RefuseSection(CRITICAL_SECTION*, DWORD) { return FALSE; }

errno_t RefuseLocalTime(tm* result, const __time64_t*) {
  result->tm_year = 99;  // a failed conversion leaves anything there
  return 22;
}

int openHandles = 0;  // events made less handles closed

HANDLE WINAPI CountedCreateEvent(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL set,
                                 LPCWSTR name) {
  ++openHandles;
  return ::CreateEventW(attributes, manualReset, set, name);
}

BOOL WINAPI CountedCloseHandle(HANDLE handle) {
  --openHandles;
  return ::CloseHandle(handle);
}

class SystemFailuresTest : public testing::Test {
 private:
  const cReplacedCall<decltype(&::CreateEventW)> createEvent{KernelCalls().CreateEventW,
                                                             CountedCreateEvent};
  const cReplacedCall<decltype(&::CloseHandle)> closeHandle{KernelCalls().CloseHandle,
                                                            CountedCloseHandle};
};

// Whether `make` throws std::bad_alloc, as it should when the system refuses; it must lose no
// memory by it.
template <class Make>
bool ThrowsWithoutALoss(Make make) {
  const std::int64_t before = LiveNewAllocations();
  bool thrown = false;
  try {
    make();
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_EQ(LiveNewAllocations(), before);
  return thrown;
}

TEST_F(SystemFailuresTest, AnEventThatTheSystemRefusesThrows) {
  const cReplacedCall refusal(KernelCalls().CreateEventW, RefuseEvent);
  EXPECT_TRUE(ThrowsWithoutALoss([] { const cEvent event; }));
}

TEST_F(SystemFailuresTest, AnEventGivesItsHandleBack) {
  const int before = openHandles;
  {
    const cEvent event;
    EXPECT_EQ(openHandles, before + 1);
  }
  EXPECT_EQ(openHandles, before);
}

TEST_F(SystemFailuresTest, AnEventWithoutMemoryLeavesNoHandleBehind) {
  const int before = openHandles;
  cAllocationFailure failure(eHeap::New, 1);
  bool thrown = false;
  try {
    const cEvent event;
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(failure.Disarm());
  EXPECT_TRUE(thrown);
  EXPECT_EQ(openHandles, before);
}

TEST_F(SystemFailuresTest, AnExtendedLockThatTheSystemRefusesThrows) {
  const cReplacedCall refusal(KernelCalls().InitializeCriticalSectionEx, RefuseExtendedSection);
  EXPECT_TRUE(ThrowsWithoutALoss([] { const cLock lock(cLock::eCreation::Extended, 5000); }));
}

TEST_F(SystemFailuresTest, ASpinCountLockThatTheSystemRefusesThrows) {
  const cReplacedCall refusal(KernelCalls().InitializeCriticalSectionAndSpinCount, RefuseSection);
  EXPECT_TRUE(ThrowsWithoutALoss([] { const cLock lock(cLock::eCreation::SpinCount, 5000); }));
}

TEST_F(SystemFailuresTest, WithoutALocalTimeAllCalendarFieldsAreZero) {
  const cReplacedCall refusal(KernelCalls()._localtime64_s, RefuseLocalTime);
  const std::tm local = LocalCalendarTime();
  for (const int field : {local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday, local.tm_mon,
                          local.tm_year, local.tm_wday, local.tm_yday, local.tm_isdst}) {
    EXPECT_EQ(field, 0);
  }
}

}  // namespace
}  // namespace corvane
