#include "mbn_stand_in/world.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "mbn_stand_in/objects.h"

namespace mbn_stand_in {
namespace {

std::mutex currentMutex;
std::weak_ptr<cWorld> current;

bool IsSameId(const wchar_t* left, const wchar_t* right) {
  return left != nullptr && right != nullptr && lstrcmpiW(left, right) == 0;
}

std::wstring Widen(const std::string& text) { return {text.begin(), text.end()}; }

SAFEARRAY* MakeBytes(const ByteVector& bytes, LONG lower = 0) {
  SAFEARRAY* const array = SafeArrayCreateVector(VT_UI1, lower, static_cast<ULONG>(bytes.size()));
  void* data = nullptr;
  if (array == nullptr || FAILED(SafeArrayAccessData(array, &data))) {
    std::terminate();
  }
  std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(data));
  SafeArrayUnaccessData(array);
  return array;
}

using KeptService = std::shared_ptr<iDeviceService>;

// Takes the caller's reference over; null is none.
KeptService TakeOver(iDeviceService* service) {
  if (service == nullptr) {
    return nullptr;
  }
  return {service, [](iDeviceService* kept) { kept->Release(); }};
}

// A reference of its own, for as long as a completion is on its way.
KeptService Keep(iDeviceService* service) {
  service->AddRef();
  return TakeOver(service);
}

// The frames of packets that are given as hexadecimal digits, one after the other.
ByteVector FrameAll(const std::vector<std::string>& packets) {
  ByteVector frames;
  for (const std::string& packet : packets) {
    const ByteVector frame = Frame(BytesFromHex(packet));
    frames.insert(frames.end(), frame.begin(), frame.end());
  }
  return frames;
}

SAFEARRAY* MakeRectangle() {
  SAFEARRAYBOUND bounds[2] = {{4, 0}, {4, 0}};
  return SafeArrayCreate(VT_UI1, 2, bounds);
}

}  // namespace

std::shared_ptr<cWorld> cWorld::CurrentOrNew() {
  const std::lock_guard guard(currentMutex);
  if (auto running = current.lock()) {
    return running;
  }
  try {
    auto started = std::make_shared<cWorld>(ReadScenario());
    current = started;
    return started;
  } catch (const std::exception& error) {
    Log(std::string("scenario refused: ") + error.what());
    return nullptr;
  }
}

std::shared_ptr<cWorld> cWorld::Current() {
  const std::lock_guard guard(currentMutex);
  return current.lock();
}

cWorld::cWorld(sScenario read) : scenario(std::move(read)), present(scenario.interfaces) {
  Log("world");
}

cWorld::~cWorld() { Log("end"); }

void cWorld::DoDuring(const std::string& call) {
  std::vector<sStep> steps;
  {
    const std::lock_guard guard(mutex);
    const auto found = scenario.steps.find("during " + call);
    if (found == scenario.steps.end()) {
      return;
    }
    steps.swap(found->second);
    scenario.steps.erase(found);
  }
  for (const sStep& step : steps) {
    Do(step);
  }
  WaitForCallbacks(call);
}

void cWorld::WaitForCallbacks(const std::string& call) {
  if (!delivery.FlushWithin(std::chrono::seconds(10))) {
    Log("waited in vain " + call);
  }
}

long cWorld::Call(const std::string& name, const std::string& arguments,
                  const std::function<long()>& body) {
  DoDuring(name);
  std::optional<long> result;
  {
    const std::lock_guard guard(mutex);
    auto& failures = scenario.failures[name];
    while (!failures.empty() && failures.front().timesLeft == 0) {
      failures.pop_front();
    }
    if (!failures.empty()) {
      if (failures.front().timesLeft != UINT32_MAX) {
        --failures.front().timesLeft;
      }
      result = failures.front().result;
    }
  }
  if (!result) {
    result = body();
  }
  Log("call " + name + (arguments.empty() ? "" : " ") + arguments + " -> " + ResultText(*result));
  return *result;
}

std::string cWorld::Enter(const std::string& kind, const std::atomic<ULONG>* references) {
  const std::lock_guard guard(mutex);
  const std::string name = kind + "#" + std::to_string(++made[kind]);
  live[name] = references;
  Log("made " + name);
  return name;
}

void cWorld::Leave(const std::string& name) {
  const std::lock_guard guard(mutex);
  live.erase(name);
  Log("gone " + name);
}

void cWorld::LogLiveObjects() {
  const std::lock_guard guard(mutex);
  ULONG references = 0;
  for (const auto& [name, count] : live) {
    Log("alive " + name + " " + std::to_string(*count));
    references += *count;
  }
  Log("unload " + std::to_string(live.size()) + " " + std::to_string(references));
}

std::vector<std::wstring> cWorld::Interfaces() {
  const std::lock_guard guard(mutex);
  return present;
}

bool cWorld::HasInterface(const wchar_t* id) {
  const std::lock_guard guard(mutex);
  return std::any_of(present.begin(), present.end(),
                     [id](const std::wstring& one) { return IsSameId(one.c_str(), id); });
}

DWORD cWorld::AddSink(iDeviceServicesSink* sink) {
  DWORD cookie = 0;
  {
    const std::lock_guard guard(mutex);
    cookie = ++lastCookie;
    sinks[cookie] = sink;
  }
  delivery.Start(scenario.threads, scenario.threadsWorkAtOnce);
  std::vector<sStep> steps;
  {
    const std::lock_guard guard(mutex);
    steps = scenario.steps["advise"];
  }
  for (const sStep& step : steps) {
    Do(step);
  }
  if (!steps.empty()) {
    WaitForCallbacks("Advise");
  }
  return cookie;
}

bool cWorld::RemoveSink(DWORD cookie) {
  iDeviceServicesSink* removed = nullptr;
  bool isLast = false;
  {
    const std::lock_guard guard(mutex);
    const auto found = sinks.find(cookie);
    if (found == sinks.end()) {
      return false;
    }
    removed = found->second;
    sinks.erase(found);
    isLast = sinks.empty();
  }
  Log("sink leaves");
  if (isLast) {
    delivery.Stop();
    EndSession();
  }
  Log("sink released " + std::to_string(removed->Release()));
  return true;
}

void cWorld::OpenSession(iDeviceService* service, ULONG) {
  EndSession();
  {
    const std::lock_guard guard(mutex);
    service->AddRef();
    session = service;
    commandsTaken = 0;
  }
  Complete(scenario.openCompletion, [this, from = Keep(service)] {
    TellOpened(from.get(), scenario.openCompletion.status);
  });
}

void cWorld::CloseSession(iDeviceService* service, ULONG) {
  Complete(scenario.closeCompletion, [this, from = Keep(service)] {
    TellClosed(from.get(), scenario.closeCompletion.status);
  });
}

void cWorld::Complete(const sCompletion& completion, const std::function<void()>& tellSinks) {
  switch (completion.when) {
    case eCompletion::Queued:
      delivery.Post([delay = completion.delay, tellSinks] {
        if (delay != 0) {
          Sleep(delay);
        }
        tellSinks();
      });
      break;
    case eCompletion::BeforeReturn:
      cDelivery::RunApart(tellSinks);
      break;
    case eCompletion::Withheld:
      break;
  }
}

void cWorld::TakeCommand(const ByteVector& frame) {
  std::vector<sStep> steps;
  {
    const std::lock_guard guard(mutex);
    const std::string own = "command " + std::to_string(commandsTaken++);
    auto found = scenario.steps.find(own);
    if (found == scenario.steps.end()) {
      found = scenario.steps.find("command *");
    }
    if (found != scenario.steps.end()) {
      steps = found->second;
    }
  }
  const ByteVector packet = Unframe(frame);
  for (const sStep& step : steps) {
    Do(step, packet);
  }
}

bool cWorld::IsSessionOf(const iDeviceService* service) {
  const std::lock_guard guard(mutex);
  return session == service;
}

void cWorld::EndSession() {
  iDeviceService* ended = nullptr;
  {
    const std::lock_guard guard(mutex);
    std::swap(ended, session);
  }
  if (ended != nullptr) {
    ended->Release();
  }
}

iDeviceService* cWorld::SessionService() {
  const std::lock_guard guard(mutex);
  if (session != nullptr) {
    session->AddRef();
  }
  return session;
}

void cWorld::CallSinks(const std::string& description, iDeviceService* from, const SinkCall& call) {
  std::vector<iDeviceServicesSink*> called;
  {
    const std::lock_guard guard(mutex);
    for (const auto& [cookie, sink] : sinks) {
      sink->AddRef();
      called.push_back(sink);
    }
  }
  for (iDeviceServicesSink* const sink : called) {
    const long result = call(
        *sink, from != nullptr && scenario.variesServicePointers ? OtherPointerTo(from) : from);
    Log("callback " + description + " on " + cDelivery::ThreadName() + " -> " + ResultText(result));
    sink->Release();
  }
}

void cWorld::CallSinksFromSession(const std::string& description, const SinkCall& call) {
  iDeviceService* const from = SessionService();
  CallSinks(description, from, call);
  if (from != nullptr) {
    from->Release();
  }
}

void cWorld::EndSessionOf(const iDeviceService* service) {
  if (IsSessionOf(service)) {
    EndSession();
  }
}

void cWorld::TellOpened(iDeviceService* from, long status) {
  CallSinks("OnOpenCommandSessionComplete " + ResultText(status), from,
            [&](iDeviceServicesSink& sink, iDeviceService* opened) {
              return sink.OnOpenCommandSessionComplete(opened, status, lastRequestId);
            });
  std::vector<sStep> steps;
  {
    const std::lock_guard guard(mutex);
    steps = scenario.steps["opened"];
  }
  for (const sStep& step : steps) {
    Do(step);
  }
}

void cWorld::TellClosed(iDeviceService* from, long status) {
  CallSinks("OnCloseCommandSessionComplete " + ResultText(status), from,
            [&](iDeviceServicesSink& sink, iDeviceService* closed) {
              return sink.OnCloseCommandSessionComplete(closed, status, lastRequestId);
            });
  EndSessionOf(from);
}

void cWorld::TellStateChange(const std::string& id, int state) {
  const BSTR text = SysAllocString(Widen(id).c_str());
  CallSinks("OnInterfaceStateChange " + id + " " + std::to_string(state), nullptr,
            [&](iDeviceServicesSink& sink, iDeviceService*) {
              return sink.OnInterfaceStateChange(text, state);
            });
  SysFreeString(text);
}

void cWorld::TellOthers() {
  SAFEARRAY* const data = MakeBytes({1, 2, 3, 4});
  const auto tell = [&](const char* name, const SinkCall& call) {
    CallSinksFromSession(name, call);
  };
  tell("OnQuerySupportedCommandsComplete", [&](auto& sink, auto* from) {
    return sink.OnQuerySupportedCommandsComplete(from, data, S_OK, 1);
  });
  tell("OnSetCommandComplete",
       [&](auto& sink, auto* from) { return sink.OnSetCommandComplete(from, 2, data, S_OK, 1); });
  tell("OnQueryCommandComplete",
       [&](auto& sink, auto* from) { return sink.OnQueryCommandComplete(from, 2, data, S_OK, 1); });
  tell("OnOpenDataSessionComplete",
       [&](auto& sink, auto* from) { return sink.OnOpenDataSessionComplete(from, S_OK, 1); });
  tell("OnCloseDataSessionComplete",
       [&](auto& sink, auto* from) { return sink.OnCloseDataSessionComplete(from, S_OK, 1); });
  tell("OnWriteDataComplete",
       [&](auto& sink, auto* from) { return sink.OnWriteDataComplete(from, S_OK, 1); });
  tell("OnReadData", [&](auto& sink, auto* from) { return sink.OnReadData(from, data); });
  SafeArrayDestroy(data);
}

void cWorld::Notify(iDeviceService* from, SAFEARRAY* data, const std::string& description) {
  CallSinks("OnEventNotification " + description, from,
            [&](iDeviceServicesSink& sink, iDeviceService* service) {
              return sink.OnEventNotification(service, nextEventId++, data);
            });
}

void cWorld::NotifyArray(const std::function<SAFEARRAY*()>& make, const std::string& description) {
  iDeviceService* const from = SessionService();
  SAFEARRAY* const data = make();
  Notify(from, data, description);
  // Fails for an array that the client has left locked.
  if (data != nullptr && FAILED(SafeArrayDestroy(data))) {
    Log("array left locked");
  }
  if (from != nullptr) {
    from->Release();
  }
}

void cWorld::NotifyBytes(const ByteVector& bytes) {
  NotifyArray([&] { return MakeBytes(bytes); }, std::to_string(bytes.size()));
}

void cWorld::NotifyFromStranger(const ByteVector& bytes) {
  iDeviceService* const stranger = MakeStranger(shared_from_this());
  SAFEARRAY* const data = MakeBytes(bytes);
  Notify(stranger, data, "stranger " + std::to_string(bytes.size()));
  SafeArrayDestroy(data);
  stranger->Release();
}

void cWorld::DoReply(const std::string& kind, const std::vector<std::string>& arguments,
                     const ByteVector& command) {
  ByteVector packet = command;
  if (!command.empty()) {
    const auto chosen = scenario.replies.find(command[0]);
    if (chosen != scenario.replies.end()) {
      packet = chosen->second;
    }
  }
  const ByteVector frame = Frame(packet);
  if (kind == "reply-overtaking") {
    cDelivery::RunApart([&] { NotifyBytes(frame); });
  } else if (kind == "reply-twice") {
    ByteVector two = frame;
    two.insert(two.end(), frame.begin(), frame.end());
    delivery.Post([this, two] { NotifyBytes(two); });
  } else if (kind == "reply-cut") {
    const auto cut = frame.begin() + std::stol(arguments.at(0));
    const ByteVector head(frame.begin(), cut);
    const ByteVector tail(cut, frame.end());
    delivery.Post([this, head] { NotifyBytes(head); });
    delivery.Post([this, tail] { NotifyBytes(tail); });
  } else {
    delivery.Post([this, frame] { NotifyBytes(frame); });
  }
}

void cWorld::Remove(const std::string& id) {
  {
    const std::lock_guard guard(mutex);
    std::erase_if(
        present, [&](const std::wstring& one) { return IsSameId(one.c_str(), Widen(id).c_str()); });
  }
  TellStateChange(id, 1);
  EndSession();
}

void cWorld::Arrive(const std::string& id) {
  {
    const std::lock_guard guard(mutex);
    present.push_back(Widen(id));
  }
  TellStateChange(id, 0);
}

void cWorld::Do(const sStep& step, const ByteVector& command) {
  const auto& arguments = step.arguments;
  const auto first = [&] { return arguments.at(0); };
  if (step.name.starts_with("reply")) {
    DoReply(step.name, arguments, command);
  } else if (step.name == "packets") {
    delivery.Post([this, frames = FrameAll(arguments)] { NotifyBytes(frames); });
  } else if (step.name == "packets-overtaking") {
    cDelivery::RunApart([&] { NotifyBytes(FrameAll(arguments)); });
  } else if (step.name == "bytes") {
    delivery.Post([this, bytes = BytesFromHex(first())] { NotifyBytes(bytes); });
  } else if (step.name == "bytes-from") {
    delivery.Post([this, lower = std::stol(first()), bytes = BytesFromHex(arguments.at(1))] {
      NotifyArray([&] { return MakeBytes(bytes, lower); }, "from " + std::to_string(lower));
    });
  } else if (step.name == "zeros") {
    delivery.Post([this, bytes = ByteVector(std::stoul(first()), 0)] { NotifyBytes(bytes); });
  } else if (step.name == "words") {
    delivery.Post([this, count = static_cast<ULONG>(std::stoul(first()))] {
      NotifyArray([count] { return SafeArrayCreateVector(VT_UI2, 0, count); }, "words");
    });
  } else if (step.name == "rectangle") {
    delivery.Post([this] { NotifyArray(MakeRectangle, "rectangle"); });
  } else if (step.name == "nothing") {
    delivery.Post([this] { NotifyArray([] { return nullptr; }, "nothing"); });
  } else if (step.name == "stranger") {
    delivery.Post([this, frame = Frame(BytesFromHex(first()))] { NotifyFromStranger(frame); });
  } else if (step.name == "opened") {
    delivery.Post([this, status = ParseResult(first())] {
      TellOpened(TakeOver(SessionService()).get(), status);
    });
  } else if (step.name == "closed") {
    delivery.Post([this, status = ParseResult(first())] {
      TellClosed(TakeOver(SessionService()).get(), status);
    });
  } else if (step.name == "stranger-opened" || step.name == "stranger-closed") {
    delivery.Post([this, isOpening = step.name == "stranger-opened"] {
      iDeviceService* const stranger = MakeStranger(shared_from_this());
      CallSinks(isOpening ? "stranger-opened" : "stranger-closed", stranger,
                [&](iDeviceServicesSink& sink, iDeviceService* from) {
                  return isOpening ? sink.OnOpenCommandSessionComplete(from, S_OK, 1)
                                   : sink.OnCloseCommandSessionComplete(from, S_OK, 1);
                });
      stranger->Release();
    });
  } else if (step.name == "others") {
    delivery.Post([this] { TellOthers(); });
  } else if (step.name == "remove") {
    delivery.Post([this, id = first()] { Remove(id); });
  } else if (step.name == "arrive") {
    delivery.Post([this, id = first()] { Arrive(id); });
  } else if (step.name == "fail") {
    const std::lock_guard guard(mutex);
    AddFailure(scenario, first(), arguments.at(1), ParseResult(arguments.at(2)));
  } else if (step.name == "announce") {
    delivery.Post(
        [this, id = first(), state = std::stoi(arguments.at(1))] { TellStateChange(id, state); });
  }
}

}  // namespace mbn_stand_in
