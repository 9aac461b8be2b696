#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mbn_stand_in/delivery.h"
#include "mbn_stand_in/journal.h"
#include "mbn_stand_in/mbn_interfaces.h"
#include "mbn_stand_in/scenario.h"

namespace mbn_stand_in {

// One run of the stand-in, from the first object that a client asks for to the last one's end: the
// scenario and how far it has come, the interfaces, the sinks and the command session. All objects
// of a run share it and keep it alive.
//
// Objects are made with one reference, the caller's.
class cWorld : public std::enable_shared_from_this<cWorld> {
 public:
  // The run in progress, or a new one. Null when the scenario cannot be read, which is logged.
  [[nodiscard]] static std::shared_ptr<cWorld> CurrentOrNew();
  // Null when there is none.
  [[nodiscard]] static std::shared_ptr<cWorld> Current();

  explicit cWorld(sScenario read);
  ~cWorld();

  // Runs and logs one call of the client's, or gives the result that the scenario has for it.
  long Call(const std::string& name, const std::string& arguments,
            const std::function<long()>& body);

  // Does what the scenario has for the time of this call, and waits for the callbacks' return.
  void DoDuring(const std::string& call);

  // The objects that are alive. Enter returns the new one's name for the log.
  [[nodiscard]] std::string Enter(const std::string& kind, const std::atomic<ULONG>* references);
  void Leave(const std::string& name);
  void LogLiveObjects();

  // The interfaces that are there now.
  [[nodiscard]] std::vector<std::wstring> Interfaces();
  [[nodiscard]] bool HasInterface(const wchar_t* id);
  [[nodiscard]] const std::string& InterfaceListForm() const { return scenario.interfaceList; }

  // `sink` brings a reference. Calls of sinks begin with the first one.
  [[nodiscard]] DWORD AddSink(iDeviceServicesSink* sink);
  // Ends all calls first, when it was the last one. False for an unknown cookie.
  [[nodiscard]] bool RemoveSink(DWORD cookie);

  // The command session's life, as its service sees it.
  void OpenSession(iDeviceService* service, ULONG requestId);
  void CloseSession(iDeviceService* service, ULONG requestId);
  void TakeCommand(const ByteVector& frame);
  [[nodiscard]] bool IsSessionOf(const iDeviceService* service);
  [[nodiscard]] ULONG NextRequestId() { return ++lastRequestId; }

  // Has a step's calls made by the delivery threads. `command` is the packet it replies to.
  void Do(const sStep& step, const ByteVector& command = {});
  void Flush() { delivery.Flush(); }

 private:
  using SinkCall = std::function<long(iDeviceServicesSink&, iDeviceService*)>;

  void WaitForCallbacks(const std::string& call);
  void CallSinks(const std::string& description, iDeviceService* from, const SinkCall& call);
  void CallSinksFromSession(const std::string& description, const SinkCall& call);
  void Complete(const sCompletion& completion, const std::function<void()>& tellSinks);
  // From the service whose call this completes.
  void TellOpened(iDeviceService* from, long status);
  void TellClosed(iDeviceService* from, long status);
  void TellStateChange(const std::string& id, int state);
  void TellOthers();
  void Notify(iDeviceService* from, SAFEARRAY* data, const std::string& description);
  void NotifyBytes(const ByteVector& bytes);
  void NotifyArray(const std::function<SAFEARRAY*()>& make, const std::string& description);
  void NotifyFromStranger(const ByteVector& bytes);
  void DoReply(const std::string& kind, const std::vector<std::string>& arguments,
               const ByteVector& command);
  void Remove(const std::string& id);
  void Arrive(const std::string& id);
  void EndSession();
  // Does nothing when `service` has no session any more.
  void EndSessionOf(const iDeviceService* service);
  [[nodiscard]] iDeviceService* SessionService();

  std::mutex mutex;  // guards all below but what is atomic or never changes; never held in a call
  sScenario scenario;
  std::vector<std::wstring> present;
  std::map<DWORD, iDeviceServicesSink*> sinks;  // each with a reference
  DWORD lastCookie = 0;
  iDeviceService* session = nullptr;  // with a reference, from its opening to its end
  std::uint32_t commandsTaken = 0;
  std::map<std::string, const std::atomic<ULONG>*> live;
  std::map<std::string, int> made;
  std::atomic<ULONG> lastRequestId = 0;
  std::atomic<ULONG> nextEventId = 0;
  cDelivery delivery;
};

// What all objects of the stand-in have in common: the count, and their place among the living.
// Logged by `kind` and a number.
template <class First, class... Others>
class cObject : public First, public Others... {
 public:
  cObject(std::shared_ptr<cWorld> itsWorld, const std::string& kind)
      : world(std::move(itsWorld)), name(world->Enter(kind, &references)) {}
  cObject(const cObject&) = delete;
  cObject& operator=(const cObject&) = delete;
  virtual ~cObject() { world->Leave(name); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = IsEqualGUID(iid, kUnknownId) ? static_cast<First*>(this) : Find(iid);
    if (*object == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  // The object as this interface, or null.
  virtual void* Find(REFIID iid) = 0;

  const std::shared_ptr<cWorld> world;

 private:
  std::atomic<ULONG> references = 1;
  const std::string name;
};

}  // namespace mbn_stand_in
