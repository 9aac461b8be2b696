#pragma once

#include <windows.h>

#include <utility>

namespace corvane {

// The owner of one handle of the system's. `tKind` says what it owns: the handle's type, the value
// that means "none", and how a handle is given back.
template <typename tKind>
class cOwnedHandle {
 public:
  using tHandle = typename tKind::tHandle;

  cOwnedHandle() = default;
  // Takes `owned` over; it may be "none".
  explicit cOwnedHandle(tHandle owned) : handle(owned) {}
  cOwnedHandle(cOwnedHandle&& other) noexcept : handle(other.Detach()) {}
  cOwnedHandle& operator=(cOwnedHandle&& other) noexcept {
    Reset(other.Detach());
    return *this;
  }
  ~cOwnedHandle() { Reset(); }

  [[nodiscard]] tHandle Get() const { return handle; }
  explicit operator bool() const { return handle != tKind::None(); }

  // Gives the handle back, if there is one, and takes `owned` over.
  void Reset(tHandle owned = tKind::None()) {
    const tHandle old = std::exchange(handle, owned);
    if (old != tKind::None()) {
      tKind::Close(old);
    }
  }

  // Leaves the handle to the caller.
  [[nodiscard]] tHandle Detach() { return std::exchange(handle, tKind::None()); }

 private:
  tHandle handle = tKind::None();
};

// Events and threads: "none" is null.
struct sKernelObject {
  using tHandle = HANDLE;
  static constexpr HANDLE None() { return nullptr; }
  static void Close(HANDLE handle) { CloseHandle(handle); }
};
using cKernelHandle = cOwnedHandle<sKernelObject>;

// Files and devices: "none" is INVALID_HANDLE_VALUE.
struct sFileObject {
  using tHandle = HANDLE;
  static HANDLE None() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE handle) { CloseHandle(handle); }
};
using cFileHandle = cOwnedHandle<sFileObject>;

}  // namespace corvane
