#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/reader_loop.h"
#include "capture/receive_path.h"
#include "capture/session_fixture.h"
#include "diag/buffer_lock.h"

namespace corvane {
namespace {

constexpr int kConnections = 20;
const ByteVector kLogPacket = {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, 0x34, 0x12};
const ByteVector kReply = {0x4B, 0x0F, 0x00, 0x00, 0x01};

// Waits for `condition`. False when it takes longer than any machine needs.
bool WaitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

class SessionThreadsTest : public cSessionTest {
 protected:
  // Connects and disconnects again and again, as a transport's watcher does, while another thread
  // runs `receive` over and over.
  void ReceiveWhileConnectionsComeAndGo(const std::function<void()>& receive) {
    Start({256}, {0x1234}, {{18, {2}}});
    const cPrinted printed;
    std::atomic<bool> stop = false;
    std::atomic<int> rounds = 0;
    std::thread receiver([&] {
      while (!stop) {
        receive();
        ++rounds;
      }
    });
    for (int connection = 0; connection < kConnections; ++connection) {
      OnConnected(&session);
      const int before = rounds;
      EXPECT_TRUE(WaitUntil([&] { return rounds != before; }));
      OnDisconnected(&session);
    }
    stop = true;
    receiver.join();
  }

  void ExpectEveryPortMessageStored() {
    std::size_t texts = 0;
    for (const sFileItem& item : Items()) {
      texts += item.type == isf::kInformationItem ? 1 : 0;
    }
    EXPECT_EQ(texts, 1U + 2 * kConnections);
  }
};

TEST_F(SessionThreadsTest, AReaderThreadAddsItemsWhileTheWatcherConnectsAndDisconnects) {
  serial.keepsWrites = false;
  const ByteVector received = Joined({Framed(kLogPacket), Framed(kReply)});
  ReceiveWhileConnectionsComeAndGo([&] {
    cReaderLoop loop(session);
    for (int read = 0; read < 4; ++read) {
      loop.Pump();
      std::copy(received.begin(), received.end(), loop.Room().begin());
      loop.Received(received.size());
    }
  });
  ExpectEveryPortMessageStored();
  EXPECT_GT(serial.writeCount, 0U);
  EXPECT_EQ(session.requestQueue.Size(), 0U);
}

TEST_F(SessionThreadsTest, DataArriveWhileTheBroadbandDeviceComesAndGoes) {
  session.transport = &broadband;
  broadband.keepsWrites = false;
  const ByteVector received = Joined({Framed(kLogPacket), Framed(kReply)});
  const cBufferReference data(std::make_unique<sSharedBuffer>(
      received.data(), static_cast<std::int32_t>(received.size()), kOriginDevice));
  ReceiveWhileConnectionsComeAndGo([&] { OnDeviceData(&session, data.Get()); });
  ExpectEveryPortMessageStored();
  EXPECT_GT(broadband.writeCount, 0U);
  EXPECT_EQ(session.requestQueue.Size(), 0U);
}

TEST_F(SessionThreadsTest,
       AReplyThatOvertakesItsRequestBringsTheCounterBackTo0AndAnyPacketSendsOn) {
  session.transport = &broadband;
  Start();
  Push({0x1D});
  Push({0x00});
  const auto deliver = [this](const ByteVector& bytes) {
    sSharedBuffer data(bytes.data(), static_cast<std::int32_t>(bytes.size()), kOriginDevice);
    OnDeviceData(&session, &data);
  };
  std::uint32_t counterAfterReply = 0;
  bool isFirstWrite = true;
  broadband.duringWrite = [&] {
    if (!std::exchange(isFirstWrite, false)) {
      return;
    }
    std::thread([&] {
      deliver(Framed(kReply));
      counterAfterReply = session.outstanding;
    }).join();
  };
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(counterAfterReply, 4294967295U);
  EXPECT_EQ(session.outstanding, 0U);
  EXPECT_EQ(broadband.writeCount, 1U);

  deliver(Framed(kLogPacket));
  EXPECT_EQ(broadband.writeCount, 2U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(SessionThreadsTest, RequestsAreReleasedOutsideTheQueuesLock) {
  Push({0x1D});
  std::unique_lock buffers(*gBufferLock);
  std::thread clearing([&] { ClearRequests(session); });
  // The request leaves its place, and then the release waits for the buffers' lock.
  EXPECT_TRUE(WaitUntil([&] {
    const std::unique_lock queue(session.requestQueue.lock, std::try_to_lock);
    return queue.owns_lock() && session.requestQueue.entries.front() == nullptr;
  }));
  buffers.unlock();
  clearing.join();
  EXPECT_EQ(session.requestQueue.Size(), 0U);
}

}  // namespace
}  // namespace corvane
