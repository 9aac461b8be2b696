#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "capture/transport.h"
#include "support/windows_handles.h"

namespace corvane::test {

// One device interface of the COM-port class, with the registry key of its device.
struct sFakeInterface {
  std::string path;  // "\\?\USB#VID_1234&PID_0001#0001#{...}"
  // The device's parameter key, under HKEY_LOCAL_MACHINE. Without one it does not open.
  std::optional<std::string> keyPath;
  // The bytes of its "PortName", as stored; without one the query fails and leaves the buffer
  // alone.
  std::optional<std::string> portName;
  bool detailFails = false;
  std::string friendlyName;
  std::string description;
};

// An interface with the paths that a USB modem's has, and `portName` as the registry stores it.
sFakeInterface UsbPort(const std::string& portName, const std::string& instance = "0001");

// What one call of CreateEventW asked for.
struct sEventAsked {
  bool hasSecurity;
  bool manualReset;
  bool signalled;
  bool hasName;
  bool operator==(const sEventAsked&) const = default;
};
// As the events that one thread waits for and another sets all are.
inline constexpr sEventAsked kManualResetEvent = {false, true, false, false};

// What one call of CreateThread asked for, and the thread; null when it failed.
struct sThreadAsked {
  bool hasSecurity;
  SIZE_T stackSize;
  LPTHREAD_START_ROUTINE routine;
  void* argument;
  DWORD flags;
  bool wantsIdentifier;
  HANDLE made;
};

// What the last call of CreateFileA for a port asked for, but for the path.
struct sFileAsked {
  DWORD access;
  DWORD shareMode;
  bool hasSecurity;
  DWORD disposition;
  DWORD attributes;
  HANDLE model;
  bool operator==(const sFileAsked&) const = default;
};

// Whether another thread than this one can take `lock`.
bool OthersCanTake(cLock& lock);

// While it lives it stands in for the system's COM ports: the library's calls of SetupAPI, of the
// registry and of serial lines come here, and the watcher's one-second waits end when the test says
// so.
//
// A fresh one has no ports, and nothing fails. It must outlive every transport under test. Only one
// transport at a time can be made to look.
class cFakeSystem {
 public:
  cFakeSystem();
  ~cFakeSystem();
  cFakeSystem(const cFakeSystem&) = delete;
  cFakeSystem& operator=(const cFakeSystem&) = delete;

  // Ends one wait of the watcher and returns when it waits again: one look in between.
  void Look();
  // Returns when the watcher waits. This and WaitForRead fail the test when that takes too long.
  void WaitForWatcher();
  // Has the watcher's next wait fail.
  void FailNextWait() { SetEvent(failWait.Get()); }

  // Gives one read of an open port these bytes. Without any a read waits until its port is closed,
  // and fails then.
  void Receive(std::vector<std::uint8_t> bytes);
  // Has every read of an open port fail from now on, or every read of `port`, which may have been
  // closed meanwhile.
  void FailReads();
  void FailReadsOf(HANDLE port);

  // Ends the writes that wait (writesStall) as cancels do, and those that come.
  void EndStalledWrites();

  // The one port that is open.
  [[nodiscard]] HANDLE OpenPort();

  // Returns when this many reads of open ports are waiting.
  void WaitForRead(int reads = 1);

  [[nodiscard]] int OpenPortCount();

  // How many writes are waiting (writesStall), and how many cancels there were.
  [[nodiscard]] int PendingWrites();
  [[nodiscard]] int Cancels();

  // How many handles of threads with this `routine` are open.
  [[nodiscard]] std::size_t OpenThreads(LPTHREAD_START_ROUTINE routine);

  // The last call of CreateThread for `routine`.
  [[nodiscard]] sThreadAsked ThreadOf(LPTHREAD_START_ROUTINE routine);

  // How many events are there that CreateEventW has made since the start.
  [[nodiscard]] int OpenEvents();

  // Has the `nth` call from now on (from 1) fail, once, counted over all calls that the library
  // makes here and that can fail: whichever it is.
  void FailCall(std::int64_t nth);
  // The name of that call; null while none has failed.
  [[nodiscard]] const char* FailedCall() const { return failedCall; }
  // For the replaced calls: whether this one fails now.
  [[nodiscard]] bool FailsNow(const char* name);

  // What is present.
  std::vector<sFakeInterface> interfaces;
  bool classListFails = false;

  // What fails.
  std::optional<int> failingEvent;   // the call of CreateEventW that fails: 0 is the next one
  std::optional<int> failingThread;  // of CreateThread
  bool openFails = false;
  bool getStateFails = false;
  bool setStateFails = false;
  bool setTimeoutsFails = false;
  bool writeFails = false;
  std::optional<DWORD> shortWrite;  // how many bytes a write takes
  bool standInFails = false;        // what is opened for a closed port's number

  // A write waits until it is cancelled, and fails then: the modem takes nothing.
  bool writesStall = false;

  // How reads end, as on Windows: a cancel ends the one that waits, and so does the closing of its
  // port. Under Wine neither does. A write that waits is ended by a cancel only.
  int cancelsThatMiss = 0;  // so many; the clock of GetTickCount64 runs with Sleep meanwhile
  bool closingEndsReads = true;

  // Called on the thread that makes the call.
  std::function<void()> duringCancel;
  std::function<void()> duringWrite;
  std::function<void()> behindSetTimeouts;

  // What was asked of it, in order: "open \\.\COM7", "state", "timeouts", "close", "cancel", ...
  std::vector<std::string> calls;
  DCB initialState{};
  DCB setState{};
  DWORD stateLengthAsked = 0;
  COMMTIMEOUTS timeouts{};
  std::vector<std::vector<std::uint8_t>> written;  // one entry a write
  std::vector<DWORD> readLengthsAsked;
  std::optional<sFileAsked> fileAsked;
  std::vector<sEventAsked> eventsAsked;
  std::vector<sThreadAsked> threadsAsked;
  GUID classAsked{};
  bool classAskedNarrower = false;  // for one enumerator or window
  DWORD classFlagsAsked = 0;
  GUID interfaceClassAsked{};
  bool interfaceDeviceAsked = false;  // for those of one device
  REGSAM keyAccessAsked = 0;
  std::vector<std::string> keysAsked;
  DWORD detailSizeAsked = 0;
  DWORD nameSizeAsked = 0;
  int openClassLists = 0;
  int openKeys = 0;
  int openPorts = 0;
  int looks = 0;  // class lists made
  std::vector<DWORD> watcherWaits;
  HANDLE cancelledThread = nullptr;
  int cancels = 0;
  ULONGLONG ticks = 0xFFFFFFFF;
  HANDLE lastStandIn = INVALID_HANDLE_VALUE;

  // The transport that a look and the closing of a port observe, if any.
  cIO* observed = nullptr;
  bool lockWasFreeDuringALook = false;
  bool wasOpenWhenItsHandleWasClosed = false;

  // Of the replaced calls' own.
  std::atomic<std::int64_t> callsToFailure = 0;  // none while it is 0 or less
  std::atomic<const char*> failedCall = nullptr;
  TestHandle tick;
  TestHandle failWait;
  TestHandle arrived;
  [[nodiscard]] bool HasPort(HANDLE handle);
  [[nodiscard]] bool HasEvent(HANDLE handle);
  SRWLOCK portLock = SRWLOCK_INIT;  // guards what the reads and writes of an open port touch
  CONDITION_VARIABLE readable = CONDITION_VARIABLE_INIT;
  std::map<HANDLE, std::string> ports;
  std::deque<std::vector<std::uint8_t>> toRead;
  bool readsFail = false;
  int pendingReads = 0;
  bool readIsCancelled = false;
  std::set<HANDLE> portsWhoseReadsFail;
  int pendingWrites = 0;
  bool writeIsCancelled = false;
  bool stalledWritesEnd = false;
  std::set<HANDLE> standIns;  // that are open
  // Of fixed size: tests have memory run out, and count it.
  std::array<HANDLE, 100> events{};
  std::array<std::pair<HANDLE, LPTHREAD_START_ROUTINE>, 100> openThreads{};

 private:
  struct sReplacedCalls;
  std::unique_ptr<sReplacedCalls> replaced;
};

extern cFakeSystem* gFakeSystem;

}  // namespace corvane::test
