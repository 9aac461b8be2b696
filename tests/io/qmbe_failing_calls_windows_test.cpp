// A session over mobile broadband in which each call of Windows, and each method of the platform's
// objects, fails once, one after the other.
#include <algorithm>
#include <iostream>
#include <set>
#include <string>
#include <tuple>

#include "io/qmbe_fixture_windows.h"

namespace corvane {
namespace {

using test::ForgetImports;
using test::gImports;
using test::kWantedId;
using test::LiveAutomationBlocks;

constexpr std::uint8_t kBytes[] = {1, 2, 3, 4};
// What a method fails with: none that is tried again.
constexpr const char* kFailure = "0x8000FFFF";

// Which part of the course a method fails in.
enum class ePart { Opening, Reopening, Closing };

class QmbeFailingCalls : public test::QmbeTest {
 protected:
  // Opens the transport, exchanges data, loses the interface and finds it again, and closes.
  // `method` fails once, from the beginning of `part` on; "" is none. Returns whether Open did.
  bool Run(const std::string& method = "", ePart part = ePart::Opening) {
    const std::string failure = "fail " + method + " 1 " + kFailure;
    const auto fail = [&](ePart now) {
      if (!method.empty() && part == now) {
        service->Do(failure);
      }
    };
    Serve("open-completion before-return\nclose-completion before-return\n" +
          (!method.empty() && part == ePart::Opening ? failure + "\n" : ""));
    const bool opened = Open();
    if (opened) {
      Exchange();
      fail(ePart::Reopening);
      Reopen();
      Exchange();
      // Where the failure is over, another arrival opens the session.
      const bool isOver = method.empty() ? gImports.failedCall != nullptr : part == ePart::Opening;
      if (isOver) {
        Reopen();
        EXPECT_TRUE(transport->IsOpen());
      }
      fail(ePart::Closing);
    }
    Finish();
    ExpectNothingLeft();
    return opened;
  }

  // As often as the failure allows.
  void Exchange() {
    if (transport->IsOpen()) {
      std::ignore = transport->Write(kBytes, sizeof kBytes);
      service->Do("bytes 01020304");
    }
  }

  void Reopen() {
    service->Do(std::string("remove ") + kWantedId);
    // An interface whose ID cannot be compared is another one.
    const char* const failed = gImports.failedCall;
    EXPECT_TRUE(!transport->IsOpen() ||
                (failed != nullptr && std::string(failed) == "CompareStringW"));
    service->Do(std::string("arrive ") + kWantedId);
  }

  void ExpectNothingLeft() {
    EXPECT_TRUE(service->HasNothingLeft());
    for (const std::string& callback : service->Log("callback ")) {
      EXPECT_TRUE(callback.ends_with(" -> 0x00000000")) << callback;
    }
    EXPECT_EQ(LiveAutomationBlocks(), blocks);
    EXPECT_EQ(gImports.initialised, gImports.uninitialised);
  }

  // A new transport, in which the `nth` call of Windows fails.
  void StartAnew(std::int64_t nth = 0) {
    Finish();
    service.reset();
    ForgetImports();
    gImports.callsToFailure = nth;
    MakeTransport();
  }

  const std::int64_t blocks = LiveAutomationBlocks();
};

TEST_F(QmbeFailingCalls, EachFailureOfWindowsIsSurvivedAndNothingIsLeft) {
  std::set<std::string> names;
  std::int64_t nth = 1;
  for (; !HasFailure(); ++nth) {
    SCOPED_TRACE(nth);
    StartAnew(nth);
    std::ignore = Run();
    const char* const failed = gImports.failedCall;
    if (failed == nullptr) {
      break;
    }
    names.insert(failed);
  }
  EXPECT_GE(names.size(), 9U);
  std::cout << "swept " << nth - 1 << " calls of " << names.size() << " functions" << std::endl;
}

TEST_F(QmbeFailingCalls, EachFailureOfAMethodIsSurvivedAndNothingIsLeft) {
  ASSERT_TRUE(Run());
  std::set<std::string> methods = {"CreateInstance(DeviceServicesManager)",
                                   "CreateInstance(ConnectionPointContainer)",
                                   "CreateInstance(InterfaceManager)"};
  for (const std::string& call : service->Log("call ")) {
    methods.insert(call.substr(0, call.find(' ')));
  }
  // A platform that does not let go of the sink keeps it.
  methods.erase("Unadvise");
  int failures = 0;
  for (const std::string& method : methods) {
    for (const ePart part : {ePart::Opening, ePart::Reopening, ePart::Closing}) {
      SCOPED_TRACE(method + " in part " + std::to_string(static_cast<int>(part)));
      StartAnew();
      std::ignore = Run(method, part);
      const auto calls = service->Log("call ");
      failures += std::any_of(calls.begin(), calls.end(),
                              [](const std::string& call) { return call.ends_with(kFailure); });
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_GE(failures, 15);
  std::cout << "swept " << failures << " failures of " << methods.size() << " methods" << std::endl;
}

}  // namespace
}  // namespace corvane
