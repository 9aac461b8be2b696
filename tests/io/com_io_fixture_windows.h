#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/fake_system_windows.h"
#include "io/serial/com_io.h"

namespace corvane::test {

// What the handlers of one transport were told.
struct sReports {
  std::vector<std::string> told;
  bool lockWasHeld = true;
  std::vector<bool> portWasOpen;     // the transport's, and
  std::vector<int> openPortHandles;  // the system's, at each report
  cComIO* transport = nullptr;

  void Tell(const char* what) {
    told.emplace_back(what);
    if (OthersCanTake(transport->lock)) {
      lockWasHeld = false;
    }
    portWasOpen.push_back(transport->IsOpen());
    openPortHandles.push_back(gFakeSystem->openPorts);
  }
};

inline void Connected(void* context) { static_cast<sReports*>(context)->Tell("connected"); }
inline void Disconnected(void* context) { static_cast<sReports*>(context)->Tell("disconnected"); }

// A serial transport of the fake system, and what its handlers are told.
class cComIOTest : public ::testing::Test {
 protected:
  cComIOTest() {
    connected.transport = &transport;
    disconnected.transport = &transport;
    system.initialState.DCBlength = sizeof(DCB);
    system.initialState.ByteSize = 5;
  }

  [[nodiscard]] bool Open(const char* name = "COM7") {
    return transport.Open(name, Connected, &connected, Disconnected, &disconnected);
  }

  void OpenAndConnect() {
    system.interfaces = {UsbPort("COM7")};
    ASSERT_TRUE(Open());
    system.WaitForWatcher();
    system.Look();
    ASSERT_TRUE(transport.IsOpen());
    system.calls.clear();
  }

  cFakeSystem system;
  // Two, so that each handler is seen to get its own context. The transport may report until its
  // end.
  sReports connected;
  sReports disconnected;
  cComIO transport;
};

}  // namespace corvane::test
