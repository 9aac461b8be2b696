#pragma once

// Owners of what COM and OLE Automation hand out: each gives its own back when it goes.

#include <windows.h>
// windows.h comes first: the others build on it.
#include <objbase.h>
#include <oleauto.h>
#include <unknwn.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "io/mbn/mbn_api.h"
#include "io/mbn/mbn_calls.h"

namespace corvane {

// The multithreaded apartment on this thread, as long as one of these lives.
class cApartment {
 public:
  cApartment() : entered(SUCCEEDED(MbnCalls().CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  cApartment(const cApartment&) = delete;
  cApartment& operator=(const cApartment&) = delete;
  ~cApartment() {
    if (entered) {
      MbnCalls().CoUninitialize();
    }
  }
  explicit operator bool() const { return entered; }

 private:
  const bool entered;
};

// One counted reference to a COM object, or none.
template <class Interface>
class cComPointer {
 public:
  cComPointer() = default;
  // Takes a reference of its own; null is none.
  explicit cComPointer(Interface* kept) : object(kept) {
    if (object != nullptr) {
      object->AddRef();
    }
  }
  cComPointer(const cComPointer& other) : cComPointer(other.object) {}
  cComPointer(cComPointer&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
  cComPointer& operator=(cComPointer other) noexcept {
    std::swap(object, other.object);
    return *this;
  }
  ~cComPointer() { Reset(); }

  [[nodiscard]] Interface* Get() const { return object; }
  Interface* operator->() const { return object; }
  explicit operator bool() const { return object != nullptr; }

  // Gives the reference back. The pointer is null before the object hears of it.
  void Reset() {
    if (Interface* const released = std::exchange(object, nullptr)) {
      released->Release();
    }
  }

  // For an out-parameter that brings a reference; the one held so far is given back first.
  [[nodiscard]] Interface** Receive() {
    Reset();
    return &object;
  }

 private:
  Interface* object = nullptr;
};

// One counted reference to a COM object that several users share: only its making calls AddRef, and
// the last user's end calls Release. A copy calls nothing of the object, so it may be made under a
// lock. None when `kept` is null, or without memory.
template <class Interface>
[[nodiscard]] std::shared_ptr<Interface> Share(Interface* kept) {
  if (kept == nullptr) {
    return nullptr;
  }
  kept->AddRef();
  try {
    return std::shared_ptr<Interface>(kept, [](Interface* object) { object->Release(); });
  } catch (const std::bad_alloc&) {
    // The reference is given back already.
    return nullptr;
  }
}

// Creates an object of `classId`, wherever its server runs, and gives its interface `Interface`;
// none when that fails. COM must be initialised on the calling thread.
template <class Interface>
[[nodiscard]] cComPointer<Interface> CreateObject(const GUID& classId) {
  constexpr DWORD kAnyServer =
      CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
  static_assert(kAnyServer == 23);

  cComPointer<Interface> object;
  void* created = nullptr;
  if (FAILED(MbnCalls().CoCreateInstance(classId, nullptr, kAnyServer, kInterfaceId<Interface>,
                                         &created))) {
    return object;
  }
  *object.Receive() = static_cast<Interface*>(created);
  return object;
}

// The interface `Interface` of `object`, which may be null; none when it has no such interface.
template <class Interface>
[[nodiscard]] cComPointer<Interface> QueryFor(IUnknown* object) {
  cComPointer<Interface> queried;
  void* found = nullptr;
  if (object == nullptr || FAILED(object->QueryInterface(kInterfaceId<Interface>, &found))) {
    return queried;
  }
  *queried.Receive() = static_cast<Interface*>(found);
  return queried;
}

// An OLE Automation string, or none.
class cBstr {
 public:
  cBstr() = default;
  // A copy of `text`; none when there is no memory for it.
  explicit cBstr(const wchar_t* text) : string(MbnCalls().SysAllocString(text)) {}
  cBstr(const cBstr&) = delete;
  cBstr& operator=(const cBstr&) = delete;
  cBstr(cBstr&& other) noexcept : string(std::exchange(other.string, nullptr)) {}
  cBstr& operator=(cBstr&& other) noexcept {
    std::swap(string, other.string);
    return *this;
  }
  ~cBstr() { Reset(); }

  [[nodiscard]] BSTR Get() const { return string; }
  explicit operator bool() const { return string != nullptr; }

  void Reset() { SysFreeString(std::exchange(string, nullptr)); }

  // For an out-parameter that brings a string.
  [[nodiscard]] BSTR* Receive() {
    Reset();
    return &string;
  }

 private:
  BSTR string = nullptr;
};

// An OLE Automation array with all that its elements hold, or none.
class cSafeArray {
 public:
  cSafeArray() = default;
  // Takes `made` over.
  explicit cSafeArray(SAFEARRAY* made) : array(made) {}
  cSafeArray(const cSafeArray&) = delete;
  cSafeArray& operator=(const cSafeArray&) = delete;
  cSafeArray(cSafeArray&& other) noexcept : array(std::exchange(other.array, nullptr)) {}
  cSafeArray& operator=(cSafeArray&&) = delete;
  ~cSafeArray() { Reset(); }

  [[nodiscard]] SAFEARRAY* Get() const { return array; }
  explicit operator bool() const { return array != nullptr; }

  // A locked array would not be destroyed: whoever locked it has unlocked it by now
  // (cSafeArrayBytes).
  void Reset() {
    if (array != nullptr) {
      SafeArrayDestroy(std::exchange(array, nullptr));
    }
  }

  // For an out-parameter that brings an array.
  [[nodiscard]] SAFEARRAY** Receive() {
    Reset();
    return &array;
  }

 private:
  SAFEARRAY* array = nullptr;
};

// The bytes of an array, which stays its owner's and stays locked as long as this lives.
class cSafeArrayBytes {
 public:
  // There are no bytes when `array` is null, has not exactly one dimension, has elements of another
  // size than one byte, or cannot be locked.
  explicit cSafeArrayBytes(SAFEARRAY* array);
  cSafeArrayBytes(const cSafeArrayBytes&) = delete;
  cSafeArrayBytes& operator=(const cSafeArrayBytes&) = delete;
  ~cSafeArrayBytes();

  [[nodiscard]] std::span<std::uint8_t> Bytes() const { return {data, size}; }

 private:
  SAFEARRAY* locked = nullptr;
  std::uint8_t* data = nullptr;
  std::size_t size = 0;
};

// How many elements a one-dimensional array has, and the index of its first. Both are 0 when
// `array` is null or has another number of dimensions.
struct sSafeArrayExtent {
  LONG lowerBound = 0;
  std::uint32_t count = 0;
};
[[nodiscard]] sSafeArrayExtent SafeArrayExtent(SAFEARRAY* array);

// A new array of VT_UI1 with lower bound 0 that holds a copy of `bytes`; none without memory.
[[nodiscard]] cSafeArray MakeByteArray(std::span<const std::uint8_t> bytes);

}  // namespace corvane
