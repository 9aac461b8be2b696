// Two threads in what they share at the same moment. Under ThreadSanitizer a lock that is missing
// or a counter that is not atomic is found each time, not only when the threads happen to meet.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "capture/session_fixture.h"
#include "support/wait_until.h"

namespace corvane {
namespace {

using test::WaitUntil;

// Has two threads do something at once, again and again. They meet by relaxed atomics, by which
// nothing that one did happens before what the other one does: only what they call can see to that.
class cTwoAtOnce {
 public:
  using Act = std::function<void()>;

  cTwoAtOnce() : other([this] { RunOther(); }) {}
  cTwoAtOnce(const cTwoAtOnce&) = delete;
  cTwoAtOnce& operator=(const cTwoAtOnce&) = delete;
  ~cTwoAtOnce() {
    acts = nullptr;
    asked.store(rounds + 1, std::memory_order_release);
    other.join();
  }

  // Both have returned when this does.
  void Run(const Act& first, const Act& second) {
    acts = &second;
    ++rounds;
    asked.store(rounds, std::memory_order_release);
    Meet();
    first();
    EXPECT_TRUE(WaitUntil("the other thread is done",
                          [this] { return done.load(std::memory_order_acquire) == rounds; }));
  }

 private:
  void RunOther() {
    for (int round = 1;; ++round) {
      while (asked.load(std::memory_order_acquire) < round) {
        std::this_thread::yield();
      }
      if (acts == nullptr) {
        return;
      }
      Meet();
      (*acts)();
      done.store(round, std::memory_order_release);
    }
  }

  void Meet() {
    const int last = (arrivals.fetch_add(1, std::memory_order_relaxed) / 2 + 1) * 2;
    while (arrivals.load(std::memory_order_relaxed) < last) {
      std::this_thread::yield();
    }
  }

  const Act* acts = nullptr;
  int rounds = 0;
  std::atomic<int> asked = 0;
  std::atomic<int> done = 0;
  std::atomic<int> arrivals = 0;
  std::thread other;
};

constexpr int kTimesEach = 3;

// An operation of the queue. What it gives back is kept for later: to release it would take a lock
// that both threads take.
struct sOperation {
  const char* name;
  void (*run)(sRequestQueue& queue, cBufferReference& request, sRequestQueue::sFound& found);
};

const std::vector<sOperation> kOperations = {
    {"Size", [](auto& queue, auto&, auto&) { std::ignore = queue.Size(); }},
    {"PushedCount", [](auto& queue, auto&, auto&) { std::ignore = queue.PushedCount(); }},
    {"Find", [](auto& queue, auto&, auto& found) { found = queue.Find(1); }},
    {"Take", [](auto& queue, auto& request, auto&) { request = queue.Take(0); }},
    {"Discard", [](auto& queue, auto&, auto&) { queue.Discard(); }},
    {"Push", [](auto& queue, auto& request,
                auto&) { std::ignore = PushRequest(queue, std::move(request)); }},
};

// A queue of two requests, and two more for what is pushed meanwhile.
class QueueRacesTest : public testing::Test {
 protected:
  void Run(cTwoAtOnce& two, const sOperation& one, const sOperation& another) {
    sRequestQueue queue;
    std::vector<cBufferReference> requests;
    for (std::uint8_t number = 0; number < 4; ++number) {
      requests.emplace_back(MakeBuffer(ByteVector{0x1D, number}, kOriginLibrary));
    }
    ASSERT_TRUE(PushRequest(queue, requests[0]));
    ASSERT_TRUE(PushRequest(queue, requests[1]));
    {
      cBufferReference ofOne = requests[2];
      cBufferReference ofAnother = requests[3];
      sRequestQueue::sFound foundByOne;
      sRequestQueue::sFound foundByAnother;
      two.Run([&] { one.run(queue, ofOne, foundByOne); },
              [&] { another.run(queue, ofAnother, foundByAnother); });
    }
    EXPECT_LE(queue.Size(), 4U);
    queue.Discard();
    // Of those that the queue has forgotten nobody else gives the reference back.
    for (const cBufferReference& request : requests) {
      while (request->refCount > 1) {
        Release(request.Get());
      }
    }
  }
};

TEST_F(QueueRacesTest, AnyTwoOperationsAtOnceKeepOutOfEachOthersWay) {
  cTwoAtOnce two;
  for (const sOperation& one : kOperations) {
    for (const sOperation& another : kOperations) {
      SCOPED_TRACE(std::string(one.name) + " and " + another.name);
      for (int time = 0; time < kTimesEach; ++time) {
        Run(two, one, another);
      }
    }
  }
}

class SessionRacesTest : public cSessionTest {
 protected:
  SessionRacesTest() {
    UseTransport(broadband);
    broadband.keepsWrites = false;
    Start();
  }

  void Deliver(const ByteVector& packet) {
    const ByteVector frame = Framed(packet);
    const cBufferReference data(MakeBuffer(frame, kOriginDevice));
    OnDeviceData(&session, data.Get());
  }

  cTwoAtOnce two;
};

TEST_F(SessionRacesTest, TheCountersCanBeReadWhileARequestIsSent) {
  for (int time = 0; time < kTimesEach; ++time) {
    ClearRequests(session);
    Push({0x1D});
    std::uint32_t seen = 0;
    two.Run([&] { seen = session.nextRequest + session.outstanding; },
            [this] { OnDeviceData(&session, nullptr); });
    EXPECT_LE(seen, 2U);
    EXPECT_EQ(session.nextRequest, 1U);
    EXPECT_EQ(session.outstanding, 1U);
  }
}

TEST_F(SessionRacesTest, TheCountersCanBeReadWhileAReplyIsCounted) {
  for (const ByteVector& reply : {ByteVector{0x1D}, ByteVector{0x60, 0, 0}}) {
    session.outstanding = 2;
    std::uint32_t seen = 0;
    two.Run([&] { seen = session.outstanding; }, [&] { Deliver(reply); });
    EXPECT_TRUE(seen == 1 || seen == 2);
    EXPECT_EQ(session.outstanding, 1U);
  }
}

TEST_F(SessionRacesTest, TheCountersCanBeReadWhileAConnectionEnds) {
  for (int time = 0; time < kTimesEach; ++time) {
    session.nextRequest = 7;
    session.outstanding = 7;
    std::uint32_t seen = 0;
    two.Run([&] { seen = session.nextRequest + session.outstanding; },
            [this] { ClearRequests(session); });
    EXPECT_TRUE(seen == 0 || seen == 7 || seen == 14);
    EXPECT_EQ(session.outstanding, 0U);
  }
}

TEST_F(SessionRacesTest, DataMayArriveWhileTheCaptureIsEnding) {
  for (int time = 0; time < kTimesEach; ++time) {
    session.capturing = true;
    two.Run([this] { session.capturing = false; }, [this] { Deliver({0x1D}); });
    EXPECT_FALSE(session.capturing);
  }
}

TEST_F(SessionRacesTest, APortMayConnectWhileTheCaptureIsEnding) {
  const cPrinted printed;
  for (int time = 0; time < kTimesEach; ++time) {
    session.capturing = true;
    two.Run([this] { session.capturing = false; }, [this] { OnConnected(&session); });
    EXPECT_FALSE(session.capturing);
  }
}

}  // namespace
}  // namespace corvane
