#include "io/mbn/mbn_interfaces.h"

#include "io/mbn/com_objects.h"
#include "io/mbn/mbn_api.h"
#include "io/mbn/mbn_calls.h"

namespace corvane {
namespace {

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

// An interface ID is a GUID in braces. Any other character would not fit a device name.
[[nodiscard]] std::string Narrow(const wchar_t* id) {
  std::string text;
  for (; *id != L'\0'; ++id) {
    text += *id < 0x80 ? static_cast<char>(*id) : '?';
  }
  return text;
}

}  // namespace

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
