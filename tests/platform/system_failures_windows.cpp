#include <gtest/gtest.h>
#include <time.h>
#include <windows.h>

#include <cstdint>
#include <new>

#include "platform/calendar.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "support/failing_allocation.h"

// Calls into a system DLL go through a pointer that the linker names __imp_ and the function. Its
// --wrap puts the pointers of this file in their place, which refuse while `systemFails` is set.
namespace {

bool systemFails = false;
int openHandles = 0;  // events made less handles closed

HANDLE WINAPI CreateEventOrFail(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL set,
                                LPCWSTR name);
BOOL WINAPI CountAndCloseHandle(HANDLE handle);
BOOL WINAPI InitializeSectionExOrFail(CRITICAL_SECTION* section, DWORD spinCount, DWORD flags);
BOOL WINAPI InitializeSectionOrFail(CRITICAL_SECTION* section, DWORD spinCount);
errno_t LocalTimeOrFail(tm* result, const __time64_t* timer);

}  // namespace

extern "C" {
extern decltype(&CreateEventOrFail) __real___imp_CreateEventW;
extern decltype(&CountAndCloseHandle) __real___imp_CloseHandle;
extern decltype(&InitializeSectionExOrFail) __real___imp_InitializeCriticalSectionEx;
extern decltype(&InitializeSectionOrFail) __real___imp_InitializeCriticalSectionAndSpinCount;
extern decltype(&LocalTimeOrFail) __real___imp__localtime64_s;

decltype(&CreateEventOrFail) __wrap___imp_CreateEventW = CreateEventOrFail;
decltype(&CountAndCloseHandle) __wrap___imp_CloseHandle = CountAndCloseHandle;
decltype(&InitializeSectionExOrFail) __wrap___imp_InitializeCriticalSectionEx =
    InitializeSectionExOrFail;
decltype(&InitializeSectionOrFail) __wrap___imp_InitializeCriticalSectionAndSpinCount =
    InitializeSectionOrFail;
decltype(&LocalTimeOrFail) __wrap___imp__localtime64_s = LocalTimeOrFail;
}

namespace {

HANDLE WINAPI CreateEventOrFail(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL set,
                                LPCWSTR name) {
  if (systemFails) {
    return nullptr;
  }
  ++openHandles;
  return __real___imp_CreateEventW(attributes, manualReset, set, name);
}

BOOL WINAPI CountAndCloseHandle(HANDLE handle) {
  --openHandles;
  return __real___imp_CloseHandle(handle);
}

BOOL WINAPI InitializeSectionExOrFail(CRITICAL_SECTION* section, DWORD spinCount, DWORD flags) {
  if (systemFails) {
    return FALSE;
  }
  return __real___imp_InitializeCriticalSectionEx(section, spinCount, flags);
}

BOOL WINAPI InitializeSectionOrFail(CRITICAL_SECTION* section, DWORD spinCount) {
  if (systemFails) {
    return FALSE;
  }
  return __real___imp_InitializeCriticalSectionAndSpinCount(section, spinCount);
}

errno_t LocalTimeOrFail(tm* result, const __time64_t* timer) {
  if (!systemFails) {
    return __real___imp__localtime64_s(result, timer);
  }
  result->tm_year = 99;  // a failed conversion leaves anything there
  return 22;
}

}  // namespace

namespace corvane {
namespace {

// Whether `make` throws std::bad_alloc when the system refuses; it must lose no memory by it.
template <class Make>
bool ThrowsWhenTheSystemFails(Make make) {
  const std::int64_t before = LiveNewAllocations();
  systemFails = true;
  bool thrown = false;
  try {
    make();
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  systemFails = false;
  EXPECT_EQ(LiveNewAllocations(), before);
  return thrown;
}

TEST(SystemFailuresTest, AnEventThatTheSystemRefusesThrows) {
  EXPECT_TRUE(ThrowsWhenTheSystemFails([] { const cEvent event; }));
}

TEST(SystemFailuresTest, AnEventGivesItsHandleBack) {
  const int before = openHandles;
  {
    const cEvent event;
    EXPECT_EQ(openHandles, before + 1);
  }
  EXPECT_EQ(openHandles, before);
}

TEST(SystemFailuresTest, AnEventWithoutMemoryLeavesNoHandleBehind) {
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

TEST(SystemFailuresTest, AnExtendedLockThatTheSystemRefusesThrows) {
  EXPECT_TRUE(ThrowsWhenTheSystemFails([] { const cLock lock(cLock::eCreation::Extended, 5000); }));
}

TEST(SystemFailuresTest, ASpinCountLockThatTheSystemRefusesThrows) {
  EXPECT_TRUE(
      ThrowsWhenTheSystemFails([] { const cLock lock(cLock::eCreation::SpinCount, 5000); }));
}

TEST(SystemFailuresTest, WithoutALocalTimeAllCalendarFieldsAreZero) {
  systemFails = true;
  const std::tm local = LocalCalendarTime();
  systemFails = false;
  for (const int field : {local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday, local.tm_mon,
                          local.tm_year, local.tm_wday, local.tm_yday, local.tm_isdst}) {
    EXPECT_EQ(field, 0);
  }
}

}  // namespace
}  // namespace corvane
