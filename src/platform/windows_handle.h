#pragma once

#include <windows.h>

#include <utility>

#include "platform/windows_calls.h"

namespace corvane {

// The owner of one handle of the system's. `Kind` says what it owns: the handle's type, the value
// that means "none", and how a handle is given back.
template <typename Kind>
class cOwnedHandle {
 public:
  using Handle = typename Kind::Handle;

  cOwnedHandle() = default;
  // Takes `owned` over; it may be "none".
  explicit cOwnedHandle(Handle owned) : handle(owned) {}
  cOwnedHandle(cOwnedHandle&& other) noexcept : handle(other.Detach()) {}
  cOwnedHandle& operator=(cOwnedHandle&& other) noexcept {
    Reset(other.Detach());
    return *this;
  }
  ~cOwnedHandle() { Reset(); }

  [[nodiscard]] Handle Get() const { return handle; }
  explicit operator bool() const { return handle != Kind::None(); }

  // Gives the handle back, if there is one, and takes `owned` over.
  void Reset(Handle owned = Kind::None()) {
    const Handle old = std::exchange(handle, owned);
    if (old != Kind::None()) {
      Kind::Close(old);
    }
  }

  // Leaves the handle to the caller.
  [[nodiscard]] Handle Detach() { return std::exchange(handle, Kind::None()); }

 private:
  Handle handle = Kind::None();
};

// Events and threads: "none" is null.
struct sKernelObject {
  using Handle = HANDLE;
  static constexpr HANDLE None() { return nullptr; }
  static void Close(HANDLE handle) { KernelCalls().CloseHandle(handle); }
};
using KernelHandle = cOwnedHandle<sKernelObject>;

// Files and devices: "none" is INVALID_HANDLE_VALUE.
struct sFileObject {
  using Handle = HANDLE;
  static HANDLE None() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE handle) { KernelCalls().CloseHandle(handle); }
};
using FileHandle = cOwnedHandle<sFileObject>;

}  // namespace corvane
