#pragma once

#include <windows.h>
// windows.h comes first: the others build on it.
#include <objbase.h>

#include "io/mbn/com_pointers.h"
#include "io/mbn/mbn_api.h"
#include "io/mbn/mbn_calls.h"

namespace corvane {

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

}  // namespace corvane
