#pragma once

// clang-format off
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
// clang-format on

#include <wchar.h>

#include <cstddef>

namespace corvane {

// The calls into Windows by which the mobile-broadband transport reaches the platform, as the
// library makes them. Each field bears the name of the function that it holds at first.
struct sMbnCalls {
  decltype(&::CoInitializeEx) CoInitializeEx = &::CoInitializeEx;
  decltype(&::CoUninitialize) CoUninitialize = &::CoUninitialize;
  decltype(&::CoCreateInstance) CoCreateInstance = &::CoCreateInstance;

  decltype(&::SysAllocString) SysAllocString = &::SysAllocString;
  decltype(&::SafeArrayCreateVector) SafeArrayCreateVector = &::SafeArrayCreateVector;
  decltype(&::SafeArrayAccessData) SafeArrayAccessData = &::SafeArrayAccessData;
  decltype(&::SafeArrayGetLBound) SafeArrayGetLBound = &::SafeArrayGetLBound;
  decltype(&::SafeArrayGetUBound) SafeArrayGetUBound = &::SafeArrayGetUBound;

  // The type is written out: some toolchains have an overload of this name.
  int(__cdecl* swprintf_s)(wchar_t*, std::size_t, const wchar_t*, ...) = &::swprintf_s;
  decltype(&::CompareStringEx) CompareStringEx = &::CompareStringEx;
  decltype(&::CompareStringW) CompareStringW = &::CompareStringW;
  decltype(&::OutputDebugStringW) OutputDebugStringW = &::OutputDebugStringW;
};

// The one record of the process. A test replaces a field while no other thread is in the library
// (tests/support/replaced_call.h); the library itself changes none.
[[nodiscard]] inline sMbnCalls& MbnCalls() {
  static sMbnCalls calls;
  return calls;
}

}  // namespace corvane
