#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "capture/isf/store.h"
#include "capture/request_queue.h"
#include "capture/traffic.h"
#include "diag/shared_buffer.h"
#include "filters/mask_lists.h"

namespace corvane {

class cIO;

// The C string that SetDevice copies the device name into.
using HeapString = std::unique_ptr<char[], sFree>;

// Gives a transport back, in the way of whoever made it.
struct sTransportEnd {
  void (*giveBack)(cIO* transport) = nullptr;  // null for no transport only
  void operator()(cIO* transport) const { giveBack(transport); }
};
using TransportOwner = std::unique_ptr<cIO, sTransportEnd>;

// Which thread sends the requests of a mobile-broadband connection. `lock` guards the flags, and
// makes one step of what belongs together: a flag and a counter of the session, or a look at a
// counter and its change. Nothing else is called while it is held.
struct sSendTurn {
  std::mutex lock;
  bool isTaken = false;     // a thread is sending
  bool lookAgain = false;   // another one had reason to send meanwhile, and left it to that thread
  bool isOnItsWay = false;  // nextRequest is past the request that is being sent; outstanding is
                            // not raised for it yet
  bool wasCleared = false;  // ClearRequests came since the sender last looked for a request
};

// One capture: the store and everything else that lives as long as it. The session thread owns it;
// the transport's threads and the reader threads reach it between SetDevice(name) and
// SetDevice(null).
//
// Destroying it tears it down in the reverse order of its members: the filter records, the queue,
// then the store, which closes a file that is still attached.
class cCaptureSession : public cISFStore {
 public:
  explicit cCaptureSession(cTraffic& trafficOfTransports) : traffic(trafficOfTransports) {}

  HeapString deviceName;
  TransportOwner transport;  // made and given back by SetDevice
  // The reader of the latest serial connection, one of `readers`; null when it could not be made.
  cReaderThread* readerThread = nullptr;
  // Every reader that was started and may still run. Each connection adds one, on the transport's
  // thread; the session thread waits for them all when the transport has closed.
  std::vector<std::unique_ptr<cReaderThread>> readers;

  cTraffic& traffic;

  sRequestQueue requestQueue;
  // For the mobile-broadband transport: number of the next request to send, and how many were sent
  // and not yet answered. They change under the lock of `sendTurn`; any thread may read one.
  std::atomic<std::uint32_t> nextRequest = 0;
  std::atomic<std::uint32_t> outstanding = 0;
  sSendTurn sendTurn;
  std::uint8_t sendAllLevelsMask = 0;  // 1: SetupSession queues the all-levels message request

  // Whether packets are taken out of the wrappers of multi-SIM modems. Set before the capture
  // starts.
  bool unwrapsSubscriptions = false;
  // The subscription that the capture file tells last, or 1. Guarded by storeLock.
  std::uint32_t subscription = 1;

  EventIdSet eventIds;
  LogCodeSet logCodes;
  MessageLevelMap messageLevels;

  // Set once the information item is in the capture file, cleared before the store is closed. Read
  // on the transport's threads.
  std::atomic<bool> capturing = false;
};

}  // namespace corvane
