#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

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

// Stands in for the system's COM ports: SetupAPI, the registry and the serial calls of this test
// program come here, and the watcher's one-second waits end when the test says so.
//
// A fresh one has no ports, and nothing fails. It must outlive every transport under test; one at a
// time.
class cFakeSystem {
 public:
  cFakeSystem();
  ~cFakeSystem();
  cFakeSystem(const cFakeSystem&) = delete;
  cFakeSystem& operator=(const cFakeSystem&) = delete;

  // Ends one wait of the watcher and returns when it waits again: one look in between.
  void Look();
  // Returns when the watcher waits.
  void WaitForWatcher();
  // Has the watcher's next wait fail.
  void FailNextWait() { SetEvent(failWait); }

  // Gives one read of an open port these bytes. Without any a read waits until its port is closed,
  // and fails then.
  void Receive(std::vector<std::uint8_t> bytes);
  // Has every read of an open port fail from now on.
  void FailReads();

  // How many events are there that CreateEventW has made since the start.
  [[nodiscard]] int OpenEvents();

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

  // What was asked of it, in order: "open \\.\COM7", "state", "timeouts", "close", "cancel", ...
  std::vector<std::string> calls;
  DCB initialState{};
  DCB setState{};
  DWORD stateLengthAsked = 0;
  COMMTIMEOUTS timeouts{};
  std::vector<std::vector<std::uint8_t>> written;  // one entry a write
  std::vector<DWORD> readLengthsAsked;
  DWORD lastShareMode = 1;
  DWORD lastAccess = 0;
  DWORD lastDisposition = 0;
  DWORD lastAttributes = 0;
  GUID classAsked{};
  DWORD classFlagsAsked = 0;
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
  int namedEvents = 0;  // events made with a name

  // Of the replaced calls' own.
  HANDLE tick;
  HANDLE failWait;
  HANDLE arrived;
  [[nodiscard]] bool HasPort(HANDLE handle);
  SRWLOCK portLock = SRWLOCK_INIT;  // guards what the reads and writes of an open port touch
  CONDITION_VARIABLE readable = CONDITION_VARIABLE_INIT;
  std::map<HANDLE, std::string> ports;
  std::deque<std::vector<std::uint8_t>> toRead;
  bool readsFail = false;
  std::array<HANDLE, 100> events{};  // of fixed size: tests have memory run out, and count it
};

extern cFakeSystem* gFakeSystem;

}  // namespace corvane::test
