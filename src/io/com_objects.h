#pragma once

#include <windows.h>
// windows.h comes first: the others build on it.
#include <objbase.h>

#include "io/com_pointers.h"
#include "io/mbn_api.h"

namespace corvane {

// Creates an object of `classId`, wherever its server runs, and gives its interface `tInterface`;
// none when that fails. COM must be initialised on the calling thread.
template <class tInterface>
[[nodiscard]] cComPointer<tInterface> CreateObject(const GUID& classId) {
  constexpr DWORD kAnyServer =
      CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
  static_assert(kAnyServer == 23);

  cComPointer<tInterface> object;
  void* created = nullptr;
  if (FAILED(CoCreateInstance(classId, nullptr, kAnyServer, kInterfaceId<tInterface>, &created))) {
    return object;
  }
  *object.Receive() = static_cast<tInterface*>(created);
  return object;
}

// The interface `tInterface` of `object`, which may be null; none when it has no such interface.
template <class tInterface>
[[nodiscard]] cComPointer<tInterface> QueryFor(IUnknown* object) {
  cComPointer<tInterface> queried;
  void* found = nullptr;
  if (object == nullptr || FAILED(object->QueryInterface(kInterfaceId<tInterface>, &found))) {
    return queried;
  }
  *queried.Receive() = static_cast<tInterface*>(found);
  return queried;
}

}  // namespace corvane
