#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "io/mbn/qmbe_io.h"
#include "io/mbn_service_windows.h"

namespace corvane::test {

// The interface of these tests, and one that is not looked for.
inline constexpr const char* kWantedId = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}";
inline constexpr const char* kOtherId = "{0E5C3B77-61F0-4E0B-9D3E-0000000000CD}";

// What the transport told its handlers, in order: "connected", "disconnected", and for each block
// "data " with its bytes as hexadecimal digits. From any thread.
class cHandlerRecord {
 public:
  void Add(const std::string& event);
  [[nodiscard]] std::vector<std::string> Events() const;
  // Waits until there are so many events; false after twenty seconds.
  [[nodiscard]] bool WaitFor(std::size_t count);

 private:
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> events;
};

// What the library calls of Windows, replaced in the whole program: counted, made to fail, or only
// looked at. Everything is as in Windows until a test says otherwise.
struct sImports {
  int initialised = 0;  // successful CoInitializeEx calls
  int uninitialised = 0;
  // Which call from now on fails, once, counted over all calls here that can fail (from 1; none
  // while it is 0 or less), and the name of the one that did.
  std::atomic<std::int64_t> callsToFailure = 0;
  std::atomic<const char*> failedCall = nullptr;
  std::vector<DWORD> contexts;  // of CoCreateInstance
  std::vector<GUID> createdClasses;
  std::vector<GUID> createdInterfaces;
  std::optional<int> failingString;  // which SysAllocString from now on finds no memory, from 0
  bool arraysFail = false;
  bool eventsFail = false;
  // The event of the fixture's transport, how it was made, and whether its handle was closed.
  HANDLE sessionEvent = nullptr;
  bool eventIsManual = false;
  bool eventWasSet = true;
  int eventCloses = 0;
  std::atomic<bool> isWaiting = false;           // a wait for the session event has begun
  std::atomic<DWORD> waitLimit = 0;              // its limit
  std::function<void()> whenUninitialising;      // before CoUninitialize
  std::atomic<bool> wasOverBeforeWait = false;   // that event was set already
  bool waitTimesOut = false;                     // a wait for the session event
  std::function<void()> whenEventIsReset;        // before the session event is
  std::function<void(REFIID iid)> whenCreating;  // before CoCreateInstance
  std::function<void(BSTR text)> whenString;     // after SysAllocString
  std::string failingArrayCall;                  // the SafeArray function that fails
  std::optional<int> compareExResult;            // instead of CompareStringEx
  std::optional<int> compareResult;              // instead of CompareStringW
  std::vector<std::wstring> comparedLocales;
  std::vector<DWORD> compareFlags;
  std::atomic<int> compares = 0;  // calls of CompareStringEx
  int plainCompares = 0;          // calls of CompareStringW
};
extern sImports gImports;

// As at the program's start.
void ForgetImports();

// A transport, the service that it talks to, and its handlers. Whatever a test does, at its end the
// transport is closed and given back, and then nothing may be left: no object of the service, no
// reference to the sink, no string or array, and no callback that returned anything but S_OK.
class QmbeTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Starts the service. "interface <kWantedId>" comes first.
  void Serve(const std::string& scenario = "");
  // Without that interface.
  void ServeOnly(const std::string& scenario);

  [[nodiscard]] bool Open(const std::string& deviceName = kWantedId);
  // Opens the session and waits for the connect handler. `SetDataHandler` is done.
  void OpenSession();
  // A new transport, whose event is gImports.sessionEvent.
  void MakeTransport();
  // Close and the last Release.
  void Finish();

  // Called by the handlers, after they have been recorded.
  std::function<void()> whenConnected;
  std::function<void()> whenDisconnected;
  std::function<void(sSharedBuffer&)> whenData;

  cQMBEIO* transport = nullptr;
  std::optional<cMbnService> service;
  cHandlerRecord record;

 private:
  static void OnConnected(void* test);
  static void OnDisconnected(void* test);
  static void OnData(void* test, sSharedBuffer* data);

  std::int64_t blocksBefore = 0;
  // The handlers' contexts: each gets one of its own, so that none can be taken for another.
  struct sContext {
    QmbeTest* test;
    const char* event;
  };
  sContext connectedContext{this, "connected"};
  sContext disconnectedContext{this, "disconnected"};
  sContext dataContext{this, "data"};
};

}  // namespace corvane::test
