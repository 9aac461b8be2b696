#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstddef>
#include <optional>

#include "capture/session.h"
#include "capture/transport.h"
#include "diag/buffer_lock.h"
#include "io/replaced_import.h"

// The system makes every lock of this test program as it was asked to, and what was asked is
// remembered. The program's own locks are made before main: what remembers is there before any code
// runs.
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
constinit std::array<sSection, 1000> gSections{};
constinit std::size_t gSectionCount = 0;
constinit const CRITICAL_SECTION* gLastEntered = nullptr;

void WINAPI Initialize(CRITICAL_SECTION* section);
BOOL WINAPI InitializeExtended(CRITICAL_SECTION* section, DWORD spinCount, DWORD flags);
BOOL WINAPI InitializeAndSpinCount(CRITICAL_SECTION* section, DWORD spinCount);
void WINAPI Enter(CRITICAL_SECTION* section);

}  // namespace
}  // namespace corvane

REPLACE_IMPORT(InitializeCriticalSection, corvane::Initialize)
REPLACE_IMPORT(InitializeCriticalSectionEx, corvane::InitializeExtended)
REPLACE_IMPORT(InitializeCriticalSectionAndSpinCount, corvane::InitializeAndSpinCount)
REPLACE_IMPORT(EnterCriticalSection, corvane::Enter)

namespace corvane {
namespace {

void Remember(const CRITICAL_SECTION* section, const sCreation& creation) {
  gSections.at(gSectionCount++) = {section, creation};
}

void WINAPI Initialize(CRITICAL_SECTION* section) {
  Remember(section, {eCall::Plain, 0, 0});
  ORIGINAL(InitializeCriticalSection)(section);
}

BOOL WINAPI InitializeExtended(CRITICAL_SECTION* section, DWORD spinCount, DWORD flags) {
  Remember(section, {eCall::Extended, spinCount, flags});
  return ORIGINAL(InitializeCriticalSectionEx)(section, spinCount, flags);
}

BOOL WINAPI InitializeAndSpinCount(CRITICAL_SECTION* section, DWORD spinCount) {
  Remember(section, {eCall::AndSpinCount, spinCount, 0});
  return ORIGINAL(InitializeCriticalSectionAndSpinCount)(section, spinCount);
}

void WINAPI Enter(CRITICAL_SECTION* section) {
  gLastEntered = section;
  ORIGINAL(EnterCriticalSection)(section);
}

// How `lock` was asked for. Which section is its own shows when it is taken.
std::optional<sCreation> CreationOf(cLock& lock) {
  lock.lock();
  const CRITICAL_SECTION* const section = gLastEntered;
  lock.unlock();
  for (std::size_t i = gSectionCount; i > 0; --i) {
    if (gSections.at(i - 1).section == section) {
      return gSections.at(i - 1).creation;
    }
  }
  return std::nullopt;
}

TEST(LockCreation, TheStoresLockIsAnExtendedOneThatSpins5000Times) {
  cCaptureSession session;
  EXPECT_EQ(CreationOf(session.storeLock), (sCreation{eCall::Extended, 5000, 0}));
}

TEST(LockCreation, TheRequestQueuesLockIsMadeWithASpinCountOf5000) {
  cCaptureSession session;
  EXPECT_EQ(CreationOf(session.requestQueue.lock), (sCreation{eCall::AndSpinCount, 5000, 0}));
}

TEST(LockCreation, TheBuffersLockIsAnExtendedOneThatSpins5000Times) {
  EXPECT_EQ(CreationOf(*gBufferLock), (sCreation{eCall::Extended, 5000, 0}));
}

TEST(LockCreation, ATransportsLockIsAPlainOne) {
  cIO transport(kSerialPort);
  EXPECT_EQ(CreationOf(transport.lock), (sCreation{eCall::Plain, 0, 0}));
}

}  // namespace
}  // namespace corvane
