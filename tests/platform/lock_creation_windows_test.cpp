#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "capture/session.h"
#include "capture/session_fixture.h"
#include "capture/transport.h"
#include "diag/shared_buffer.h"
#include "platform/windows_calls.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

enum class eCall { Plain, Extended, AndSpinCount };

struct sCreation {
  eCall call;
  DWORD spinCount;
  DWORD flags;
  bool operator==(const sCreation&) const = default;
};

struct sSection {
  const CRITICAL_SECTION* section;
  sCreation creation;
};
std::vector<sSection> gSections;
const CRITICAL_SECTION* gLastEntered = nullptr;

void WINAPI Initialize(CRITICAL_SECTION* section) {
  gSections.push_back({section, {eCall::Plain, 0, 0}});
  ::InitializeCriticalSection(section);
}

BOOL WINAPI InitializeExtended(CRITICAL_SECTION* section, DWORD spinCount, DWORD flags) {
  gSections.push_back({section, {eCall::Extended, spinCount, flags}});
  return ::InitializeCriticalSectionEx(section, spinCount, flags);
}

BOOL WINAPI InitializeAndSpinCount(CRITICAL_SECTION* section, DWORD spinCount) {
  gSections.push_back({section, {eCall::AndSpinCount, spinCount, 0}});
  return ::InitializeCriticalSectionAndSpinCount(section, spinCount);
}

void WINAPI Enter(CRITICAL_SECTION* section) {
  gLastEntered = section;
  ::EnterCriticalSection(section);
}

// The system makes every lock of a test as it was asked to, and what was asked is remembered.
class LockCreation : public testing::Test {
 protected:
  LockCreation() { gSections.clear(); }

  // How `lock` was asked for. Which section is its own shows when it is taken.
  static std::optional<sCreation> CreationOf(cLock& lock) {
    lock.lock();
    const CRITICAL_SECTION* const section = gLastEntered;
    lock.unlock();
    const auto found = std::find_if(
        gSections.rbegin(), gSections.rend(),
        [section](const sSection& remembered) { return remembered.section == section; });
    return found == gSections.rend() ? std::nullopt : std::optional(found->creation);
  }

 private:
  const cReplacedCall<decltype(&::InitializeCriticalSection)> initialize{
      KernelCalls().InitializeCriticalSection, Initialize};
  const cReplacedCall<decltype(&::InitializeCriticalSectionEx)> extended{
      KernelCalls().InitializeCriticalSectionEx, InitializeExtended};
  const cReplacedCall<decltype(&::InitializeCriticalSectionAndSpinCount)> andSpinCount{
      KernelCalls().InitializeCriticalSectionAndSpinCount, InitializeAndSpinCount};
  const cReplacedCall<decltype(&::EnterCriticalSection)> enter{KernelCalls().EnterCriticalSection,
                                                               Enter};
};

TEST_F(LockCreation, TheStoresLockIsAnExtendedOneThatSpins5000Times) {
  cFakeTraffic traffic;
  cCaptureSession session(traffic);
  EXPECT_EQ(CreationOf(session.storeLock), (sCreation{eCall::Extended, 5000, 0}));
}

TEST_F(LockCreation, TheRequestQueuesLockIsMadeWithASpinCountOf5000) {
  cFakeTraffic traffic;
  cCaptureSession session(traffic);
  EXPECT_EQ(CreationOf(session.requestQueue.lock), (sCreation{eCall::AndSpinCount, 5000, 0}));
}

TEST_F(LockCreation, TheBuffersLockIsAnExtendedOneThatSpins5000Times) {
  DestroyBufferLock();
  CreateBufferLock();
  ASSERT_TRUE(gBufferLock.has_value());
  EXPECT_EQ(CreationOf(*gBufferLock), (sCreation{eCall::Extended, 5000, 0}));
}

TEST_F(LockCreation, ATransportsLockIsAPlainOne) {
  cIO transport(kSerialPort);
  EXPECT_EQ(CreationOf(transport.lock), (sCreation{eCall::Plain, 0, 0}));
}

}  // namespace
}  // namespace corvane
