// The stand-in for Windows' Mobile Broadband service: an in-process COM server of the service's two
// classes, registered under their published identifiers (regsvr32 mbn_stand_in.dll). What it does
// is up to a scenario file (scenario.h), and what happened to it stands in a log (journal.h).

#include <windows.h>

#include <array>
#include <exception>
#include <string>

#include "mbn_stand_in/objects.h"
#include "mbn_stand_in/world.h"
#include "support/windows_handles.h"

namespace {

using mbn_stand_in::cWorld;

HINSTANCE ownModule = nullptr;

std::wstring ClassKey(const GUID& classId) {
  std::array<wchar_t, 40> text{};
  StringFromGUID2(classId, text.data(), static_cast<int>(text.size()));
  return std::wstring(L"CLSID\\") + text.data();
}

bool WriteValue(HKEY key, const wchar_t* name, const std::wstring& value) {
  const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), size) ==
         ERROR_SUCCESS;
}

bool RegisterClassAt(const GUID& classId, const std::wstring& path) {
  HKEY opened = nullptr;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, (ClassKey(classId) + L"\\InprocServer32").c_str(), 0,
                      nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const corvane::test::RegistryKey key(opened);
  return WriteValue(key.Get(), nullptr, path) && WriteValue(key.Get(), L"ThreadingModel", L"Both");
}

bool UnregisterClass(const GUID& classId) {
  return RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(classId).c_str()) == ERROR_SUCCESS;
}

// Has a step done. 1 when it was understood and a run is in progress.
int Do(const char* step, bool waits) {
  const auto world = cWorld::Current();
  if (!world) {
    return 0;
  }
  try {
    world->Do(mbn_stand_in::ParseStep(mbn_stand_in::SplitWords(step)));
  } catch (const std::exception&) {
    return 0;
  }
  if (waits) {
    world->Flush();
  }
  return 1;
}

}  // namespace

// For a test program in the same process. A step as "at ..." lines have it: StandInDo returns when
// the sink's calls have been made, StandInPost does not wait.
extern "C" int StandInDo(const char* step) { return Do(step, true); }
extern "C" int StandInPost(const char* step) { return Do(step, false); }

extern "C" HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid,
                                                       void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  const auto world = cWorld::CurrentOrNew();
  if (!world) {
    return E_FAIL;
  }
  IClassFactory* const factory = mbn_stand_in::MakeClassFactory(world, classId);
  if (factory == nullptr) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  const HRESULT queried = factory->QueryInterface(iid, object);
  factory->Release();
  return queried;
}

extern "C" HRESULT STDMETHODCALLTYPE DllCanUnloadNow() {
  return cWorld::Current() ? S_FALSE : S_OK;
}

extern "C" HRESULT STDMETHODCALLTYPE DllRegisterServer() {
  std::array<wchar_t, MAX_PATH> path{};
  const DWORD length = GetModuleFileNameW(ownModule, path.data(), MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return E_FAIL;
  }
  const bool areRegistered =
      RegisterClassAt(mbn_stand_in::kDeviceServicesManagerClass, path.data()) &&
      RegisterClassAt(mbn_stand_in::kInterfaceManagerClass, path.data());
  return areRegistered ? S_OK : E_FAIL;
}

extern "C" HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
  const bool first = UnregisterClass(mbn_stand_in::kDeviceServicesManagerClass);
  const bool second = UnregisterClass(mbn_stand_in::kInterfaceManagerClass);
  return first && second ? S_OK : E_FAIL;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    ownModule = instance;
  } else if (reason == DLL_PROCESS_DETACH) {
    if (const auto world = cWorld::Current()) {
      world->LogLiveObjects();
    } else {
      mbn_stand_in::Log("unload 0 0");
    }
  }
  return TRUE;
}
