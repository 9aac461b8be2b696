#include "mbn_stand_in/objects.h"

#include <olectl.h>

#include <algorithm>
#include <exception>

namespace mbn_stand_in {
namespace {

using std::shared_ptr;

// Service side of "[out] BSTR*".
long GiveText(BSTR* out, const wchar_t* text) {
  if (out == nullptr) {
    return E_POINTER;
  }
  *out = SysAllocString(text);
  return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

template <class Out>
void Clear(Out* out) {
  if (out != nullptr) {
    *out = nullptr;
  }
}

// A second iDeviceService pointer to a service object: its references and its identity are those of
// the object, and so is what it does. Lives in the object.
class cOtherPointer final : public iDeviceService {
 public:
  explicit cOtherPointer(iDeviceService& itsObject) : object(itsObject) {}
  cOtherPointer(const cOtherPointer&) = delete;
  cOtherPointer& operator=(const cOtherPointer&) = delete;
  virtual ~cOtherPointer() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    return object.QueryInterface(iid, out);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return object.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return object.Release(); }
  HRESULT STDMETHODCALLTYPE QuerySupportedCommands(ULONG* id) override {
    return object.QuerySupportedCommands(id);
  }
  HRESULT STDMETHODCALLTYPE OpenCommandSession(ULONG* id) override {
    return object.OpenCommandSession(id);
  }
  HRESULT STDMETHODCALLTYPE CloseCommandSession(ULONG* id) override {
    return object.CloseCommandSession(id);
  }
  HRESULT STDMETHODCALLTYPE SetCommand(ULONG command, SAFEARRAY* data, ULONG* id) override {
    return object.SetCommand(command, data, id);
  }
  HRESULT STDMETHODCALLTYPE QueryCommand(ULONG command, SAFEARRAY* data, ULONG* id) override {
    return object.QueryCommand(command, data, id);
  }
  HRESULT STDMETHODCALLTYPE OpenDataSession(ULONG* id) override {
    return object.OpenDataSession(id);
  }
  HRESULT STDMETHODCALLTYPE CloseDataSession(ULONG* id) override {
    return object.CloseDataSession(id);
  }
  HRESULT STDMETHODCALLTYPE WriteData(SAFEARRAY* data, ULONG* id) override {
    return object.WriteData(data, id);
  }
  HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* id) override {
    return object.get_InterfaceID(id);
  }
  HRESULT STDMETHODCALLTYPE get_DeviceServiceID(BSTR* id) override {
    return object.get_DeviceServiceID(id);
  }
  HRESULT STDMETHODCALLTYPE get_IsCommandSessionOpen(BOOL* isOpen) override {
    return object.get_IsCommandSessionOpen(isOpen);
  }
  HRESULT STDMETHODCALLTYPE get_IsDataSessionOpen(BOOL* isOpen) override {
    return object.get_IsDataSessionOpen(isOpen);
  }

 private:
  iDeviceService& object;
};

class cDeviceService final : public cObject<iDeviceService> {
 public:
  cDeviceService(const shared_ptr<cWorld>& itsWorld, const std::string& kind, std::wstring id)
      : cObject(itsWorld, kind), interfaceId(std::move(id)) {}
  cDeviceService(const cDeviceService&) = delete;
  cDeviceService& operator=(const cDeviceService&) = delete;
  ~cDeviceService() override { world->DoDuring("service.Release"); }

  [[nodiscard]] iDeviceService* OtherPointer() { return &otherPointer; }

  HRESULT STDMETHODCALLTYPE QuerySupportedCommands(ULONG*) override {
    return NotUsed("QuerySupportedCommands");
  }
  HRESULT STDMETHODCALLTYPE OpenCommandSession(ULONG* requestId) override {
    return world->Call("OpenCommandSession", "", [&]() -> long {
      if (requestId == nullptr) {
        return E_POINTER;
      }
      *requestId = world->NextRequestId();
      world->OpenSession(this, *requestId);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE CloseCommandSession(ULONG* requestId) override {
    return world->Call("CloseCommandSession", "", [&]() -> long {
      if (requestId == nullptr) {
        return E_POINTER;
      }
      if (!world->IsSessionOf(this)) {
        return E_UNEXPECTED;
      }
      *requestId = world->NextRequestId();
      world->CloseSession(this, *requestId);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE SetCommand(ULONG commandId, SAFEARRAY* data,
                                       ULONG* requestId) override {
    std::string description = std::to_string(commandId);
    const ByteVector frame = Read(data, description);
    return world->Call("SetCommand", description, [&]() -> long {
      if (requestId == nullptr) {
        return E_POINTER;
      }
      if (!world->IsSessionOf(this)) {
        return E_UNEXPECTED;
      }
      *requestId = world->NextRequestId();
      world->TakeCommand(frame);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE QueryCommand(ULONG, SAFEARRAY*, ULONG*) override {
    return NotUsed("QueryCommand");
  }
  HRESULT STDMETHODCALLTYPE OpenDataSession(ULONG*) override { return NotUsed("OpenDataSession"); }
  HRESULT STDMETHODCALLTYPE CloseDataSession(ULONG*) override {
    return NotUsed("CloseDataSession");
  }
  HRESULT STDMETHODCALLTYPE WriteData(SAFEARRAY*, ULONG*) override { return NotUsed("WriteData"); }
  HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* id) override {
    return world->Call("service.get_InterfaceID", "",
                       [&] { return GiveText(id, interfaceId.c_str()); });
  }
  HRESULT STDMETHODCALLTYPE get_DeviceServiceID(BSTR* id) override {
    return world->Call("get_DeviceServiceID", "", [&] { return GiveText(id, kDiagServiceId); });
  }
  HRESULT STDMETHODCALLTYPE get_IsCommandSessionOpen(BOOL*) override {
    return NotUsed("get_IsCommandSessionOpen");
  }
  HRESULT STDMETHODCALLTYPE get_IsDataSessionOpen(BOOL*) override {
    return NotUsed("get_IsDataSessionOpen");
  }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kDeviceServiceId) ? static_cast<iDeviceService*>(this) : nullptr;
  }

 private:
  // The command's bytes. `description` gets the array's type, lower bound and bytes.
  static ByteVector Read(SAFEARRAY* data, std::string& description) {
    VARTYPE type = VT_EMPTY;
    LONG lower = -1;
    LONG upper = -1;
    void* bytes = nullptr;
    if (SafeArrayGetDim(data) != 1 || FAILED(SafeArrayGetVartype(data, &type)) ||
        FAILED(SafeArrayGetLBound(data, 1, &lower)) ||
        FAILED(SafeArrayGetUBound(data, 1, &upper)) || SafeArrayGetElemsize(data) != 1 ||
        FAILED(SafeArrayAccessData(data, &bytes))) {
      description += " unreadable";
      return {};
    }
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    const ByteVector read(first, first + (upper - lower + 1));
    SafeArrayUnaccessData(data);
    description += " type " + std::to_string(type) + " from " + std::to_string(lower) + " " +
                   HexFromBytes(read);
    return read;
  }

  long NotUsed(const char* call) {
    return world->Call(call, "", [] { return E_NOTIMPL; });
  }

  const std::wstring interfaceId;
  cOtherPointer otherPointer{*this};
};

class cDeviceServicesContext final : public cObject<iDeviceServicesContext> {
 public:
  cDeviceServicesContext(const shared_ptr<cWorld>& itsWorld, std::wstring id)
      : cObject(itsWorld, "Context"), interfaceId(std::move(id)) {}

  HRESULT STDMETHODCALLTYPE EnumerateDeviceServices(SAFEARRAY**) override {
    return world->Call("EnumerateDeviceServices", "", [] { return E_NOTIMPL; });
  }
  HRESULT STDMETHODCALLTYPE GetDeviceService(BSTR serviceId, iDeviceService** service) override {
    Clear(service);
    return world->Call("GetDeviceService", Narrow(serviceId), [&]() -> long {
      if (service == nullptr) {
        return E_POINTER;
      }
      if (serviceId == nullptr || lstrcmpiW(serviceId, kDiagServiceId) != 0) {
        return E_INVALIDARG;
      }
      *service = new cDeviceService(world, "Service", interfaceId);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_MaxCommandSize(ULONG*) override {
    return world->Call("get_MaxCommandSize", "", [] { return E_NOTIMPL; });
  }
  HRESULT STDMETHODCALLTYPE get_MaxDataSize(ULONG*) override {
    return world->Call("get_MaxDataSize", "", [] { return E_NOTIMPL; });
  }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kDeviceServicesContextId) ? static_cast<iDeviceServicesContext*>(this)
                                                      : nullptr;
  }

 private:
  const std::wstring interfaceId;
};

class cConnectionPoint final : public cObject<IConnectionPoint> {
 public:
  explicit cConnectionPoint(const shared_ptr<cWorld>& itsWorld)
      : cObject(itsWorld, "ConnectionPoint") {}

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    if (iid == nullptr) {
      return E_POINTER;
    }
    *iid = kSinkId;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override {
    Clear(container);
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    return world->Call("Advise", "", [&]() -> long {
      if (sink == nullptr || cookie == nullptr) {
        return E_POINTER;
      }
      void* queried = nullptr;
      if (FAILED(sink->QueryInterface(kSinkId, &queried))) {
        return CONNECT_E_CANNOTCONNECT;
      }
      *cookie = world->AddSink(static_cast<iDeviceServicesSink*>(queried));
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    return world->Call("Unadvise", std::to_string(cookie), [&]() -> long {
      return world->RemoveSink(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
    });
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override {
    Clear(connections);
    return E_NOTIMPL;
  }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kConnectionPointId) ? static_cast<IConnectionPoint*>(this) : nullptr;
  }
};

class cDeviceServicesManager final
    : public cObject<iDeviceServicesManager, IConnectionPointContainer> {
 public:
  explicit cDeviceServicesManager(const shared_ptr<cWorld>& itsWorld, const std::string& kind)
      : cObject(itsWorld, kind) {}

  HRESULT STDMETHODCALLTYPE GetDeviceServicesContext(BSTR interfaceId,
                                                     iDeviceServicesContext** context) override {
    Clear(context);
    return world->Call("GetDeviceServicesContext", Narrow(interfaceId), [&]() -> long {
      if (context == nullptr) {
        return E_POINTER;
      }
      if (!world->HasInterface(interfaceId)) {
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
      }
      *context = new cDeviceServicesContext(world, interfaceId);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override {
    Clear(points);
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    Clear(point);
    return world->Call("FindConnectionPoint", "", [&]() -> long {
      if (point == nullptr) {
        return E_POINTER;
      }
      if (!IsEqualGUID(iid, kSinkId)) {
        return CONNECT_E_NOCONNECTION;
      }
      *point = new cConnectionPoint(world);
      return S_OK;
    });
  }

 protected:
  void* Find(REFIID iid) override {
    if (IsEqualGUID(iid, kDeviceServicesManagerId)) {
      return static_cast<iDeviceServicesManager*>(this);
    }
    if (IsEqualGUID(iid, kConnectionPointContainerId)) {
      return static_cast<IConnectionPointContainer*>(this);
    }
    return nullptr;
  }
};

class cInterface final : public cObject<iInterface> {
 public:
  cInterface(const shared_ptr<cWorld>& itsWorld, std::wstring itsId)
      : cObject(itsWorld, "Interface"), id(std::move(itsId)) {}

  HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* out) override {
    Clear(out);
    return world->Call("get_InterfaceID", Narrow(id.c_str()),
                       [&] { return GiveText(out, id.c_str()); });
  }
  HRESULT STDMETHODCALLTYPE GetInterfaceCapability(void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSubscriberInformation(IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetReadyState(int*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE InEmergencyMode(VARIANT_BOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHomeProvider(void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetPreferredProviders(SAFEARRAY**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetPreferredProviders(SAFEARRAY*, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetVisibleProviders(ULONG*, SAFEARRAY**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ScanNetwork(ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetConnection(IUnknown**) override { return E_NOTIMPL; }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kInterfaceId) ? static_cast<iInterface*>(this) : nullptr;
  }

 private:
  const std::wstring id;
};

class cInterfaceManager final : public cObject<iInterfaceManager> {
 public:
  explicit cInterfaceManager(const shared_ptr<cWorld>& itsWorld)
      : cObject(itsWorld, "InterfaceManager") {}

  HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR, IUnknown** one) override {
    Clear(one);
    return world->Call("GetInterface", "", [] { return E_NOTIMPL; });
  }
  HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** list) override {
    Clear(list);
    return world->Call("GetInterfaces", "", [&]() -> long {
      if (list == nullptr) {
        return E_POINTER;
      }
      *list = MakeList(world->InterfaceListForm());
      return S_OK;
    });
  }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kInterfaceManagerId) ? static_cast<iInterfaceManager*>(this) : nullptr;
  }

 private:
  SAFEARRAY* MakeList(const std::string& form) {
    const std::vector<std::wstring> ids = world->Interfaces();
    const auto count = static_cast<ULONG>(ids.size());
    if (form == "nothing") {
      return nullptr;
    }
    if (form == "numbers") {
      return MakeNumbers<LONG>(VT_I4, count);
    }
    if (form == "wide-numbers") {
      return MakeNumbers<LONGLONG>(VT_I8, count);
    }
    if (form == "matrix") {
      return MakeMatrix(ids);
    }
    // Left in front of the interfaces: a null element and one that is no interface.
    const LONG others = form == "strangers" ? 2 : 0;
    const LONG lower = form == "from-one" ? 1 : 0;
    SAFEARRAY* const list =
        form == "untyped" ? MakeUntyped(count)
                          : SafeArrayCreateVector(form == "dispatch" ? VT_DISPATCH : VT_UNKNOWN,
                                                  lower, count + static_cast<ULONG>(others));
    if (others != 0) {
      auto* const stranger = new cConnectionPoint(world);
      Put(list, lower + 1, stranger);
    }
    for (ULONG i = 0; i < count; ++i) {
      Put(list, lower + others + static_cast<LONG>(i), new cInterface(world, ids[i]));
    }
    return list;
  }

  // An array of interface pointers of which SafeArrayGetVartype does not know the type.
  static SAFEARRAY* MakeUntyped(ULONG count) {
    SAFEARRAY* list = nullptr;
    if (FAILED(SafeArrayAllocDescriptor(1, &list))) {
      std::terminate();
    }
    list->cbElements = sizeof(IUnknown*);
    list->fFeatures |= FADF_UNKNOWN;
    list->rgsabound[0] = {count, 0};
    if (FAILED(SafeArrayAllocData(list))) {
      std::terminate();
    }
    return list;
  }

  // None of them 0: taken for pointers, they would not be null.
  template <class Number>
  static SAFEARRAY* MakeNumbers(VARTYPE type, ULONG count) {
    SAFEARRAY* const list = SafeArrayCreateVector(type, 0, count);
    for (LONG i = 0; i < static_cast<LONG>(count); ++i) {
      Number number = i + 1;
      SafeArrayPutElement(list, &i, &number);
    }
    return list;
  }

  SAFEARRAY* MakeMatrix(const std::vector<std::wstring>& ids) {
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(ids.size()), 0}, {1, 0}};
    SAFEARRAY* const list = SafeArrayCreate(VT_UNKNOWN, 2, bounds);
    for (std::size_t i = 0; i < ids.size(); ++i) {
      LONG indices[2] = {static_cast<LONG>(i), 0};
      auto* const one = new cInterface(world, ids[i]);
      SafeArrayPutElement(list, indices, static_cast<IUnknown*>(one));
      one->Release();
    }
    return list;
  }

  // The array takes a reference of its own; the caller's goes.
  static void Put(SAFEARRAY* list, LONG index, IUnknown* element) {
    SafeArrayPutElement(list, &index, element);
    element->Release();
  }
};

class cClassFactory final : public cObject<IClassFactory> {
 public:
  cClassFactory(const shared_ptr<cWorld>& itsWorld, bool isOfInterfaceManager)
      : cObject(itsWorld, "ClassFactory"), makesInterfaceManager(isOfInterfaceManager) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    Clear(object);
    std::string kind = "DeviceServicesManager";
    if (makesInterfaceManager) {
      kind = "InterfaceManager";
    }
    if (IsEqualGUID(iid, kConnectionPointContainerId)) {
      kind = "ConnectionPointContainer";
    }
    return world->Call("CreateInstance(" + kind + ")", "", [&]() -> long {
      if (object == nullptr) {
        return E_POINTER;
      }
      if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
      }
      IUnknown* made = nullptr;
      if (makesInterfaceManager) {
        made = new cInterfaceManager(world);
      } else {
        auto* const manager = new cDeviceServicesManager(world, kind);
        made = static_cast<iDeviceServicesManager*>(manager);
      }
      const HRESULT queried = made->QueryInterface(iid, object);
      made->Release();
      return queried;
    });
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 protected:
  void* Find(REFIID iid) override {
    return IsEqualGUID(iid, kClassFactoryId) ? static_cast<IClassFactory*>(this) : nullptr;
  }

 private:
  const bool makesInterfaceManager;
};

}  // namespace

IClassFactory* MakeClassFactory(const std::shared_ptr<cWorld>& world, REFCLSID classId) {
  if (IsEqualGUID(classId, kDeviceServicesManagerClass)) {
    return new cClassFactory(world, false);
  }
  if (IsEqualGUID(classId, kInterfaceManagerClass)) {
    return new cClassFactory(world, true);
  }
  return nullptr;
}

iDeviceService* OtherPointerTo(iDeviceService* service) {
  // Every service that the stand-in calls sinks from is one of these.
  return static_cast<cDeviceService*>(service)->OtherPointer();
}

iDeviceService* MakeStranger(const std::shared_ptr<cWorld>& world) {
  return new cDeviceService(world, "Stranger", L"");
}

}  // namespace mbn_stand_in
