#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/reader_loop.h"
#include "capture/receive_path.h"
#include "capture/session_fixture.h"
#include "diag/shared_buffer.h"
#include "support/wait_until.h"

namespace corvane {
namespace {

using test::WaitUntil;

constexpr int kConnections = 20;
const ByteVector kLogPacket = {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, 0x34, 0x12};
const ByteVector kReply = {0x4B, 0x0F, 0x00, 0x00, 0x01};

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
      EXPECT_TRUE(WaitUntil("something was received", [&] { return rounds != before; }));
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
  UseTransport(broadband);
  broadband.keepsWrites = false;
  const ByteVector received = Joined({Framed(kLogPacket), Framed(kReply)});
  const cBufferReference data(std::make_unique<sSharedBuffer>(
      received.data(), static_cast<std::int32_t>(received.size()), kOriginDevice));
  ReceiveWhileConnectionsComeAndGo([&] { OnDeviceData(&session, data.Get()); });
  ExpectEveryPortMessageStored();
  EXPECT_GT(broadband.writeCount, 0U);
  EXPECT_EQ(session.requestQueue.Size(), 0U);
}

// Where two threads meet: each goes on as soon as both have arrived, without having slept, so that
// they really do the next thing at the same moment.
class cMeeting {
 public:
  // False when the other one does not come; the test has failed then.
  [[nodiscard]] bool Arrive() {
    const int last = (arrivals++ / 2 + 1) * 2;
    for (int turn = 0; turn < kTurnsAwake; ++turn) {
      if (arrivals >= last) {
        return true;
      }
    }
    return WaitUntil("the other thread arrives", [&] { return arrivals >= last; });
  }

 private:
  static constexpr int kTurnsAwake = 1000;
  std::atomic<int> arrivals = 0;
};

// The text and the packet that it is about come from one thread without anything in between.
TEST_F(SessionThreadsTest, PacketsOfTwoSubscriptionsFromTwoThreadsAreToldApart) {
  constexpr int kPackets = 300;
  UseTransport(broadband);
  Start();
  session.unwrapsSubscriptions = true;
  const auto deliver = [this](std::uint8_t subscription) {
    ByteVector packet = {0x98, 1, 0, 0, subscription, 0, 0, 0};
    packet.insert(packet.end(), {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, subscription, 0x12});
    const cBufferReference data(MakeBuffer(Framed(packet), kOriginDevice));
    for (int i = 0; i < kPackets; ++i) {
      OnDeviceData(&session, data.Get());
    }
  };
  std::thread first(deliver, 1);
  std::thread second(deliver, 2);
  first.join();
  second.join();
  int packets = 0;
  std::uint8_t told = 1;
  for (const sFileItem& item : Items()) {
    if (item == TextItem("Subscription 1") || item == TextItem("Subscription 2")) {
      EXPECT_EQ(item, TextItem(told == 1 ? "Subscription 2" : "Subscription 1"));
      told = told == 1 ? 2 : 1;
    } else if (item.type == isf::kShortLogItem) {
      EXPECT_EQ(item.packet[6], told);
      ++packets;
    }
  }
  EXPECT_EQ(packets, 2 * kPackets);
}

// A mobile-broadband session, whose packets several threads deliver.
class SendingThreadsTest : public SessionThreadsTest {
 protected:
  SendingThreadsTest() {
    UseTransport(broadband);
    Start();
  }

  void Deliver(const ByteVector& packet) {
    const ByteVector frame = Framed(packet);
    sSharedBuffer data(frame.data(), static_cast<std::int32_t>(frame.size()), kOriginDevice);
    OnDeviceData(&session, &data);
  }

  // Pushes `count` requests, and returns the writes that they make when each is sent once.
  std::vector<ByteVector> PushSome(std::uint8_t count) {
    std::vector<ByteVector> writes;
    for (std::uint8_t number = 0; number < count; ++number) {
      Push({0x4B, number});
      writes.push_back(Framed({0x4B, number}));
    }
    return writes;
  }
};

TEST_F(SendingThreadsTest, TwoThatMeetSendOneRequestOnce) {
  constexpr int kRounds = 3000;
  cMeeting meeting;
  int wrongRounds = 0;
  const auto isRight = [this](const std::vector<ByteVector>& expected) {
    return broadband.writes == expected && session.nextRequest == 1 && session.outstanding == 1;
  };
  std::thread other([&] {
    for (int round = 0; round < kRounds; ++round) {
      if (!meeting.Arrive()) {
        return;
      }
      OnDeviceData(&session, nullptr);
      if (!meeting.Arrive()) {
        return;
      }
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    ClearRequests(session);
    broadband.writes.clear();
    const std::vector<ByteVector> writes = PushSome(2);
    if (!meeting.Arrive()) {
      break;
    }
    OnDeviceData(&session, nullptr);
    if (!meeting.Arrive()) {
      break;
    }
    wrongRounds += isRight({writes[0]}) ? 0 : 1;
  }
  other.join();
  EXPECT_EQ(wrongRounds, 0);
}

TEST_F(SendingThreadsTest, APacketDuringAWriteLeavesTheSendingToTheSender) {
  const std::vector<ByteVector> writes = PushSome(2);
  broadband.duringWrite = [this] {
    std::thread([this] { Deliver(kLogPacket); }).join();
    EXPECT_EQ(broadband.writeCount, 1U);
  };
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes, std::vector<ByteVector>{writes[0]});
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(SendingThreadsTest, ASetUpWhoseRepliesOvertakeItsRequestsNeedsNoFurtherPacket) {
  const std::vector<ByteVector> writes = PushSome(20);
  std::vector<std::uint32_t> counters;
  broadband.duringWrite = [&] {
    std::thread([&] {
      Deliver(kReply);
      counters.push_back(session.outstanding);
    }).join();
  };
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(counters, std::vector<std::uint32_t>(20, 4294967295));
  EXPECT_EQ(broadband.writes, writes);
  EXPECT_EQ(session.nextRequest, 20U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(SendingThreadsTest, EveryRequestIsSentOnceAndInOrderWhateverElseComes) {
  // Replies come from two threads, at any moment from the write on, while a third one delivers
  // packets that are no replies.
  constexpr std::uint8_t kRequests = 200;
  const std::vector<ByteVector> writes = PushSome(kRequests);
  std::atomic<int> unanswered = 0;
  std::atomic<bool> stop = false;
  broadband.duringWrite = [&] { ++unanswered; };
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        int seen = unanswered;
        if (seen > 0 && unanswered.compare_exchange_strong(seen, seen - 1)) {
          Deliver(kReply);
        }
        std::this_thread::yield();
      }
    });
  }
  threads.emplace_back([&] {
    while (!stop) {
      Deliver(kLogPacket);
    }
  });
  EXPECT_TRUE(WaitUntil("every request is sent and answered", [&] {
    return broadband.writeCount == kRequests && unanswered == 0 && session.outstanding == 0;
  }));
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(broadband.writes, writes);
  EXPECT_EQ(session.nextRequest, kRequests);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(SendingThreadsTest, AReconnectionDuringAWriteIsSentFromNumber0WhenItHasReturned) {
  Push({0x1D});
  std::atomic<bool> isWriting = false;
  std::atomic<bool> mayReturn = false;
  broadband.duringWrite = [&] {
    isWriting = true;
    EXPECT_TRUE(WaitUntil("the write may return", [&] { return mayReturn.load(); }));
  };
  std::thread sender([&] { OnDeviceData(&session, nullptr); });
  EXPECT_TRUE(WaitUntil("the sender writes", [&] { return isWriting.load(); }));
  ClearRequests(session);
  const std::vector<ByteVector> writes = PushSome(2);
  Deliver(kReply);
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writeCount, 1U) << "the first sender is not done";
  mayReturn = true;
  sender.join();
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{Framed({0x1D}), writes[0]}));
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(SendingThreadsTest, ADisconnectionAtAnyMomentLeavesTheNextCounterRight) {
  // Where the sender is when the queue is cleared is left to chance. It is rarely between its look
  // for a request and the taking of the number: OnDeviceDataTest has that moment.
  constexpr int kRounds = 2000;
  cMeeting meeting;
  int wrongRounds = 0;
  std::thread other([&] {
    for (int round = 0; round < kRounds; ++round) {
      if (!meeting.Arrive()) {
        return;
      }
      OnDeviceData(&session, nullptr);
      if (!meeting.Arrive()) {
        return;
      }
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    PushSome(1);
    if (!meeting.Arrive()) {
      break;
    }
    ClearRequests(session);
    if (!meeting.Arrive()) {
      break;
    }
    wrongRounds += session.nextRequest == 0 && session.outstanding == 0 ? 0 : 1;
  }
  other.join();
  EXPECT_EQ(wrongRounds, 0);
}

TEST_F(SessionThreadsTest, RequestsAreReleasedOutsideTheQueuesLock) {
  Push({0x1D});
  std::unique_lock buffers(*gBufferLock);
  std::thread clearing([&] { ClearRequests(session); });
  // The request leaves its place, and then the release waits for the buffers' lock.
  EXPECT_TRUE(WaitUntil("the request has left its place", [&] {
    const std::unique_lock queue(session.requestQueue.lock, std::try_to_lock);
    return queue.owns_lock() && session.requestQueue.entries.front().Get() == nullptr;
  }));
  buffers.unlock();
  clearing.join();
  EXPECT_EQ(session.requestQueue.Size(), 0U);
}

}  // namespace
}  // namespace corvane
