#include "io/device_selection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "capture/session.h"
#include "io/fake_system_windows.h"
#include "io/mbn/mbn_calls.h"
#include "io/serial/com_io.h"
#include "io/serial/reader_thread.h"
#include "support/failing_allocation.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

// What the mobile-broadband transport asked of the system while SetDevice opened it.
struct sMobileBroadbandOpen {
  cCaptureSession* session = nullptr;
  std::optional<std::uint32_t> kind;
  std::optional<std::wstring> interfaceId;
};
sMobileBroadbandOpen gOpen;

// There is no mobile broadband on this system. Of the transport under way it is known by then
// which one the session has.
HRESULT WINAPI NoSuchClass(REFCLSID, IUnknown*, DWORD, REFIID, void**) {
  if (gOpen.session != nullptr) {
    gOpen.kind = gOpen.session->transport->kind;
  }
  return REGDB_E_CLASSNOTREG;
}

BSTR WINAPI RememberInterfaceId(const wchar_t* text) {
  gOpen.interfaceId = text;
  return ::SysAllocString(text);
}

using test::cFakeSystem;
using test::UsbPort;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class DeviceSelection : public ::testing::Test {
 protected:
  DeviceSelection() { gOpen = {&session, {}, {}}; }
  ~DeviceSelection() override {
    gOpen = {};
    EXPECT_TRUE(SetDevice(session, nullptr));
  }

  void ExpectNoDevice() {
    EXPECT_EQ(session.transport, nullptr);
    EXPECT_EQ(session.deviceName, nullptr);
  }

  const cReplacedCall<decltype(&::CoCreateInstance)> createInstance{MbnCalls().CoCreateInstance,
                                                                    NoSuchClass};
  const cReplacedCall<decltype(&::SysAllocString)> allocateString{MbnCalls().SysAllocString,
                                                                  RememberInterfaceId};
  cFakeSystem system;
  cDeviceTraffic traffic;
  cCaptureSession session{traffic};
};

TEST_F(DeviceSelection, Com7SelectsTheSerialTransportWithThatPortName) {
  ASSERT_TRUE(SetDevice(session, "COM7"));
  ASSERT_NE(session.transport, nullptr);
  EXPECT_EQ(session.transport->kind, kSerialPort);
  EXPECT_STREQ(session.deviceName.get(), "COM7");

  system.interfaces = {UsbPort("COM7")};
  system.WaitForWatcher();
  system.Look();
  EXPECT_TRUE(session.transport->IsOpen());
}

TEST_F(DeviceSelection, TheNameIsCopied) {
  char name[] = "COM7";
  ASSERT_TRUE(SetDevice(session, name));
  std::memset(name, 'x', sizeof name - 1);
  EXPECT_STREQ(session.deviceName.get(), "COM7");
}

TEST_F(DeviceSelection, TheHandlersAreTheSessionsWithTheSessionAsTheirContext) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(SetDevice(session, "COM7"));
  ::testing::internal::CaptureStdout();
  system.WaitForWatcher();
  system.Look();
  system.interfaces.clear();
  system.Look();
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_THAT(printed, HasSubstr("Port COM7 connected\n"));
  EXPECT_THAT(printed, HasSubstr("Port COM7 disconnected\n"));
}

TEST_F(DeviceSelection, QmbeAbcSelectsTheMobileBroadbandTransportWithDeviceNameAbc) {
  EXPECT_FALSE(SetDevice(session, "QMBE:ABC")) << "there is no mobile broadband here";
  EXPECT_EQ(gOpen.kind, kMobileBroadband);
  EXPECT_EQ(gOpen.interfaceId, L"ABC");
  ExpectNoDevice();
}

TEST_F(DeviceSelection, XqmbeAbcSelectsMobileBroadbandWithFiveCharactersSkipped) {
  EXPECT_FALSE(SetDevice(session, "xQMBE:ABC"));
  EXPECT_EQ(gOpen.kind, kMobileBroadband);
  EXPECT_EQ(gOpen.interfaceId, L":ABC");
}

TEST_F(DeviceSelection, QmbeAtTheEndOfANameAlsoSelectsTheMobileBroadbandTransport) {
  EXPECT_FALSE(SetDevice(session, "COM7QMBE:"));
  EXPECT_EQ(gOpen.kind, kMobileBroadband);
  EXPECT_EQ(gOpen.interfaceId, L"MBE:");
}

TEST_F(DeviceSelection, QmbeAloneSelectsTheMobileBroadbandTransportWithAnEmptyName) {
  EXPECT_FALSE(SetDevice(session, "QMBE:"));
  EXPECT_EQ(gOpen.kind, kMobileBroadband);
  EXPECT_EQ(gOpen.interfaceId, L"");
}

TEST_F(DeviceSelection, QmbeInOtherLettersOrWithoutItsColonIsASerialPort) {
  for (const char* const name : {"qmbe:ABC", "QMBE", "QMB:E"}) {
    ASSERT_TRUE(SetDevice(session, name));
    EXPECT_EQ(session.transport->kind, kSerialPort);
    EXPECT_STREQ(session.deviceName.get(), name);
    ASSERT_TRUE(SetDevice(session, nullptr));
  }
  EXPECT_EQ(gOpen.kind, std::nullopt);
}

TEST_F(DeviceSelection, ANameOfExactly255CharactersIsAccepted) {
  const std::string name(255, 'C');
  ASSERT_TRUE(SetDevice(session, name.c_str()));
  EXPECT_EQ(session.deviceName.get(), name);
}

TEST_F(DeviceSelection, ANameOf256CharactersIsRefused) {
  EXPECT_FALSE(SetDevice(session, std::string(256, 'C').c_str()));
  ExpectNoDevice();
  EXPECT_FALSE(SetDevice(session, ("QMBE:" + std::string(251, 'C')).c_str()));
  EXPECT_EQ(gOpen.kind, std::nullopt);
}

TEST_F(DeviceSelection, AnEmptyNameIsASerialPortThatNeverComes) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(SetDevice(session, ""));
  system.WaitForWatcher();
  system.Look();
  EXPECT_FALSE(session.transport->IsOpen());
}

TEST_F(DeviceSelection, OpeningTwiceReturnsFalseAndLeavesTheFirstTransportRunning) {
  ASSERT_TRUE(SetDevice(session, "COM7"));
  const cIO* const first = session.transport.get();
  EXPECT_FALSE(SetDevice(session, "COM8"));
  EXPECT_FALSE(SetDevice(session, "QMBE:ABC"));
  EXPECT_EQ(session.transport.get(), first);
  EXPECT_STREQ(session.deviceName.get(), "COM7");

  system.interfaces = {UsbPort("COM7")};
  system.WaitForWatcher();
  system.Look();
  EXPECT_TRUE(session.transport->IsOpen());
}

TEST_F(DeviceSelection, ATransportWhoseOpenFailsIsUndone) {
  system.failingThread = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(SetDevice(session, "COM7"));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed to create watch thread\n")
      << "the transport tells its own reason, and nobody else prints";
  ExpectNoDevice();
  EXPECT_TRUE(SetDevice(session, "COM7")) << "nothing stands in the way of another try";
}

TEST_F(DeviceSelection, AMobileBroadbandTransportIsFreedByItsLastReference) {
  // The first one leaves what the run-time libraries keep for later.
  EXPECT_FALSE(SetDevice(session, "QMBE:ABC"));
  const std::int64_t before = LiveNewAllocations();
  EXPECT_FALSE(SetDevice(session, "QMBE:ABC"));
  EXPECT_EQ(LiveNewAllocations(), before);
}

TEST_F(DeviceSelection, ASerialTransportIsFreedWhenItIsClosed) {
  // The first one leaves what the run-time libraries keep for later.
  ASSERT_TRUE(SetDevice(session, "COM7"));
  ASSERT_TRUE(SetDevice(session, nullptr));
  const std::int64_t before = LiveNewAllocations();
  ASSERT_TRUE(SetDevice(session, "COM7"));
  EXPECT_GT(LiveNewAllocations(), before);
  ASSERT_TRUE(SetDevice(session, nullptr));
  EXPECT_EQ(LiveNewAllocations(), before);
}

TEST_F(DeviceSelection, WithoutMemoryForTheNameItReturnsFalse) {
  cAllocationFailure failure(eHeap::Blocks, 1);
  const bool opened = SetDevice(session, "COM7");
  ASSERT_TRUE(failure.Disarm());
  EXPECT_FALSE(opened);
  ExpectNoDevice();
}

TEST_F(DeviceSelection, WithoutMemoryForTheTransportItReturnsFalse) {
  for (const char* const name : {"COM7", "QMBE:ABC"}) {
    for (std::uint32_t nth = 1;; ++nth) {
      const std::int64_t before = LiveNewAllocations();
      cAllocationFailure failure(eHeap::New, nth);
      const bool opened = SetDevice(session, name);
      const bool failed = failure.Disarm();
      if (!failed) {
        break;
      }
      EXPECT_FALSE(opened) << name << ", allocation " << nth;
      ExpectNoDevice();
      EXPECT_EQ(LiveNewAllocations(), before);
    }
    ASSERT_TRUE(SetDevice(session, nullptr));
  }
}

TEST_F(DeviceSelection, NullOnASessionWithoutATransportReturnsTrue) {
  EXPECT_TRUE(SetDevice(session, nullptr));
  ExpectNoDevice();
}

TEST_F(DeviceSelection, NullOnASessionWithoutATransportFreesANameThatIsLeft) {
  session.deviceName.reset(static_cast<char*>(std::calloc(5, 1)));
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_EQ(session.deviceName, nullptr);
}

// Tells whether it was waited for, and what of the transport was left then.
class cWaitedFor final : public cReaderThread {
 public:
  cWaitedFor(cCaptureSession& readersSession, int& waitCount)
      : session(readersSession), waits(waitCount) {}
  [[nodiscard]] bool HasEnded() const override { return false; }
  void WaitForEnd() override {
    ++waits;
    ASSERT_NE(session.transport, nullptr) << "a reader may use it until its end";
    EXPECT_FALSE(session.transport->IsOpen()) << "and finds its port closed";
  }

 private:
  cCaptureSession& session;
  int& waits;
};

TEST_F(DeviceSelection, NullWithoutATransportLeavesTheReadersAlone) {
  int waits = 0;
  session.readers.push_back(std::make_unique<cWaitedFor>(session, waits));
  session.readerThread = session.readers.back().get();
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_EQ(waits, 0);
  EXPECT_EQ(session.readerThread, session.readers.back().get());
  session.readers.clear();
}

TEST_F(DeviceSelection, NullClosesTheTransportAndThenWaitsForEveryReader) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(SetDevice(session, "COM7"));
  system.WaitForWatcher();
  system.Look();
  ASSERT_TRUE(session.transport->IsOpen());

  int waits = 0;
  for (int reader = 0; reader < 3; ++reader) {
    session.readers.push_back(std::make_unique<cWaitedFor>(session, waits));
  }
  session.readerThread = session.readers.back().get();
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_EQ(waits, 3);
  EXPECT_EQ(session.readerThread, nullptr);
  EXPECT_TRUE(session.readers.empty());
  ExpectNoDevice();
}

// This reader reads until the port is closed.
TEST_F(DeviceSelection, NullEndsARealReaderAndClosesItsHandle) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(SetDevice(session, "COM7"));
  system.WaitForWatcher();
  system.Look();
  session.readers.push_back(StartReaderThread(session));
  ASSERT_NE(session.readers.back(), nullptr);
  EXPECT_EQ(system.OpenThreads(ReaderThread), 1u);
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_EQ(system.OpenThreads(ReaderThread), 0u) << "the thread's handle is closed";
  ExpectNoDevice();
}

}  // namespace
}  // namespace corvane
