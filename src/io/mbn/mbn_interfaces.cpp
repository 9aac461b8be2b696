#include "io/mbn/mbn_interfaces.h"

#include "io/mbn/mbn_api.h"
#include "io/mbn/mbn_calls.h"
#include "platform/text.h"

namespace corvane {
namespace {

constexpr std::size_t kInterfaceIdSize = 64;  // characters, terminator included

// An interface ID is a GUID in braces. Any other character would not fit a device name.
[[nodiscard]] std::string Narrow(const wchar_t* id) {
  std::string text;
  for (; *id != L'\0'; ++id) {
    text += *id < 0x80 ? static_cast<char>(*id) : '?';
  }
  return text;
}

}  // namespace

cBstr MakeInterfaceId(const char* deviceName) {
  char name[kInterfaceIdSize];
  CopyBounded(name, sizeof name, deviceName);
  // One wide character at most for each byte, so the text fits.
  wchar_t wideName[kInterfaceIdSize];
  if (MbnCalls().swprintf_s(wideName, kInterfaceIdSize, L"%S", name) < 0) {
    return {};
  }
  return cBstr(wideName);
}

bool IsSameInterface(const wchar_t* left, const wchar_t* right) {
  if (left == nullptr || right == nullptr) {
    return false;
  }
  int order = MbnCalls().CompareStringEx(LOCALE_NAME_SYSTEM_DEFAULT, NORM_IGNORECASE, left, -1,
                                         right, -1, nullptr, nullptr, 0);
  if (order == 0) {
    // Not "different": the locale name was refused, as some systems do. The older call knows the
    // same locale by number.
    order = MbnCalls().CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, left, -1, right, -1);
  }
  return order == CSTR_EQUAL;
}

sSafeArrayExtent InterfaceListExtent(SAFEARRAY* interfaces) {
  // An element of any other type would be read past the end of a pointer, or called as an object.
  if (interfaces == nullptr || (interfaces->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) == 0 ||
      SafeArrayGetElemsize(interfaces) != sizeof(IUnknown*)) {
    return {};
  }
  return SafeArrayExtent(interfaces);
}

cBstr InterfaceIdAt(SAFEARRAY* interfaces, LONG index) {
  cBstr id;
  cComPointer<IUnknown> element;
  if (FAILED(SafeArrayGetElement(interfaces, &index, element.Receive()))) {
    return id;
  }
  const auto found = QueryFor<IMbnInterface>(element.Get());
  if (!found || FAILED(found->get_InterfaceID(id.Receive()))) {
    id.Reset();
  }
  return id;
}

bool HasInterface(SAFEARRAY* interfaces, const wchar_t* id) {
  const sSafeArrayExtent extent = InterfaceListExtent(interfaces);
  for (std::uint32_t i = 0; i < extent.count; ++i) {
    const auto index = static_cast<LONG>(extent.lowerBound + std::int64_t{i});
    if (IsSameInterface(InterfaceIdAt(interfaces, index).Get(), id)) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> ListMobileBroadbandInterfaces() {
  std::vector<std::string> ids;
  const cApartment apartment;
  if (!apartment) {
    return ids;
  }
  const auto manager = CreateObject<IMbnInterfaceManager>(kInterfaceManagerClass);
  cSafeArray interfaces;
  if (!manager || FAILED(manager->GetInterfaces(interfaces.Receive()))) {
    return ids;
  }
  const sSafeArrayExtent extent = InterfaceListExtent(interfaces.Get());
  for (std::uint32_t i = 0; i < extent.count; ++i) {
    const auto index = static_cast<LONG>(extent.lowerBound + std::int64_t{i});
    const cBstr id = InterfaceIdAt(interfaces.Get(), index);
    if (id) {
      ids.push_back(Narrow(id.Get()));
    }
  }
  return ids;
}

}  // namespace corvane
