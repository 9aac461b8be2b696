#pragma once

#include <process.h>
#include <time.h>
#include <windows.h>

namespace corvane {

// The calls into Windows whose failures the tests provoke, as the library makes them. Each field
// bears the name of the function that it holds at first.
struct sKernelCalls {
  decltype(&::CloseHandle) CloseHandle = &::CloseHandle;
  decltype(&::CreateEventW) CreateEventW = &::CreateEventW;
  decltype(&::SetEvent) SetEvent = &::SetEvent;
  decltype(&::ResetEvent) ResetEvent = &::ResetEvent;
  decltype(&::CreateThread) CreateThread = &::CreateThread;
  decltype(&::_beginthreadex) _beginthreadex = &::_beginthreadex;
  decltype(&::WaitForSingleObject) WaitForSingleObject = &::WaitForSingleObject;
  decltype(&::WaitForMultipleObjects) WaitForMultipleObjects = &::WaitForMultipleObjects;
  decltype(&::InitializeCriticalSection) InitializeCriticalSection = &::InitializeCriticalSection;
  decltype(&::InitializeCriticalSectionAndSpinCount) InitializeCriticalSectionAndSpinCount =
      &::InitializeCriticalSectionAndSpinCount;
  decltype(&::InitializeCriticalSectionEx) InitializeCriticalSectionEx =
      &::InitializeCriticalSectionEx;
  decltype(&::EnterCriticalSection) EnterCriticalSection = &::EnterCriticalSection;
  decltype(&::_localtime64_s) _localtime64_s = &::_localtime64_s;
};

// The one record of the process. It is there for the first static initialiser already and is never
// destroyed. A test replaces a field while no other thread is in the library
// (tests/support/replaced_call.h); the library itself changes none.
[[nodiscard]] inline sKernelCalls& KernelCalls() {
  static sKernelCalls calls;
  return calls;
}

}  // namespace corvane
