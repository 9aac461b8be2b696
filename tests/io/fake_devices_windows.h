#pragma once

#include <memory>

namespace corvane::test {

// Sets gFakeSystem->lockWasFreeDuringALook when another thread can take the lock of the transport
// that gFakeSystem observes. Each call that a look makes does this.
void ProbeTheLock();

// While one lives, the library finds the devices of gFakeSystem: the registry and the list of
// device interfaces are made of its `interfaces`.
class cFakeDeviceCalls {
 public:
  cFakeDeviceCalls();
  ~cFakeDeviceCalls();
  cFakeDeviceCalls(const cFakeDeviceCalls&) = delete;
  cFakeDeviceCalls& operator=(const cFakeDeviceCalls&) = delete;

 private:
  struct sReplacedCalls;
  std::unique_ptr<sReplacedCalls> replaced;
};

}  // namespace corvane::test
