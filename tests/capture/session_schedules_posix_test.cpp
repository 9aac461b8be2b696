// Captures whose steps follow one another as a seed says: connect, data, replies, disconnect,
// reconnect and stop, each from the thread from which it comes with a real transport.
//
// CORVANE_LONG_SWEEP=1 runs 10,000 schedules, CORVANE_SCHEDULE_SEED=N begins with schedule N: the
// first of them is then the one that a failure names.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "capture/connection.h"
#include "capture/scripted_broadband_posix.h"
#include "capture/scripted_port_posix.h"
#include "capture/session_fixture.h"
#include "capture/turns_posix.h"
#include "reader/capture_file.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

std::atomic<std::uint64_t> scheduleUnderTest = 0;
std::atomic<std::uint32_t> racesFound = 0;
std::atomic<std::int64_t> blocksInUse = 0;

}  // namespace
}  // namespace corvane

// ThreadSanitizer calls it for each race that it reports; no other build does.
extern "C" void __tsan_on_report(void*);   // NOLINT
extern "C" void __tsan_on_report(void*) {  // NOLINT
  corvane::racesFound.fetch_add(1, std::memory_order_relaxed);
  std::fprintf(
      stderr, "in schedule %llu\n",
      static_cast<unsigned long long>(corvane::scheduleUnderTest.load(std::memory_order_relaxed)));
}

namespace corvane {
namespace {

constexpr std::uint64_t kFirstSeed = 20261122;
constexpr int kSchedules = 300;
constexpr int kLongSchedules = 10'000;

// Counts the blocks that are not given back yet, and makes each allocation a moment at which a
// thread may wait. Relaxed, as all that must not tell the threads apart.
class cCountedBlocks {
 public:
  cCountedBlocks() : real(BlockHeap()) {
    original = real;
    blocksInUse = 0;
    BlockHeap() = {Allocate, Free};
  }
  ~cCountedBlocks() { BlockHeap() = real; }
  cCountedBlocks(const cCountedBlocks&) = delete;
  cCountedBlocks& operator=(const cCountedBlocks&) = delete;

 private:
  static void* Allocate(std::size_t size) {
    blocksInUse.fetch_add(1, std::memory_order_relaxed);
    cTurns::LingerInLooseOrder();
    return original.allocate(size);
  }
  static void Free(void* block) {
    blocksInUse.fetch_sub(1, std::memory_order_relaxed);
    original.free(block);
  }

  static inline sBlockHeap original{};
  const sBlockHeap real;
};

// What one schedule has left.
struct sLeft {
  std::string printed;
  std::size_t queued = 0;
  std::uint32_t nextRequest = 0;
  std::uint32_t outstanding = 0;
  std::size_t readers = 0;
  std::uint32_t callsBehindStop = 0;
};

class SessionSchedulesTest : public testing::Test {
 protected:
  void Run(std::uint64_t seed) {
    scheduleUnderTest.store(seed, std::memory_order_relaxed);
    const sSchedule schedule(seed);
    const cCountedBlocks counted;
    cTurns turns(seed, schedule.order);
    std::unique_ptr<cScriptedTransport> transport;
    if (schedule.isSerial) {
      transport = std::make_unique<cScriptedPort>(schedule, turns);
    } else {
      transport = std::make_unique<cScriptedBroadband>(schedule, turns);
    }
    const sLeft left = Capture(schedule, turns, *transport);
    CheckSession(left, *transport);
    CheckFile(schedule, *transport);
    EXPECT_EQ(blocksInUse.load(), 0);
    EXPECT_EQ(racesFound.load(), 0U);
  }

  // What the thread of a session does from its start to its end.
  sLeft Capture(const sSchedule& schedule, cTurns& turns, cScriptedTransport& transport) {
    sLeft left;
    cPrinted printed;
    cCaptureSession session(transport);
    EXPECT_TRUE(StartCapture(
        session,
        std::make_unique<std::ofstream>(path, std::ios::out | std::ios::trunc | std::ios::binary),
        {}, {}, {}));
    Name(session);
    session.transport = TransportOwner(&transport, {[](cIO*) {}});
    EXPECT_TRUE(transport.Open("COM3", OnConnected, &session, OnDisconnected, &session));
    if (schedule.stopsWhenQuiet) {
      turns.Await("the device is quiet", [&] { return transport.IsQuiet(); });
      turns.Await("every reply is counted",
                  [&] { return session.outstanding.load(std::memory_order_relaxed) == 0; });
    }
    for (std::uint32_t seams = schedule.stopsWhenQuiet ? 0 : schedule.stopBehind; seams > 0;
         --seams) {
      turns.Seam();
    }
    transport.Close();
    WaitForReaders(session);
    if (schedule.stopsWhenQuiet) {
      CheckQuiet(transport);
    }
    const std::uint32_t calls = transport.calls.load(std::memory_order_relaxed);
    session.transport = nullptr;
    session.capturing = false;
    session.Close();
    ClearRequests(session);
    for (int seams = 20; seams > 0; --seams) {
      turns.Seam();
    }
    left.readers = session.readers.size();
    transport.EndPlatform();
    left.queued = session.requestQueue.Size();
    left.nextRequest = session.nextRequest;
    left.outstanding = session.outstanding;
    left.callsBehindStop = transport.calls.load(std::memory_order_relaxed) - calls;
    left.printed = printed.Take();
    return left;
  }

  static void Name(cCaptureSession& session) {
    constexpr std::string_view kName = "COM3";
    session.deviceName.reset(static_cast<char*>(BlockHeap().allocate(kName.size() + 1)));
    *std::copy(kName.begin(), kName.end(), session.deviceName.get()) = 0;
  }

  // The last connection had everything sent and answered.
  static void CheckQuiet(cScriptedTransport& transport) {
    const HandedOver& last = transport.requests.back();
    ASSERT_GE(last.size(), kStartUpPackets.size());
    EXPECT_EQ(
        HandedOver(last.end() - static_cast<std::ptrdiff_t>(kStartUpPackets.size()), last.end()),
        kStartUpPackets);
  }

  static void CheckSession(const sLeft& left, const cScriptedTransport& transport) {
    EXPECT_EQ(left.queued, 0U);
    EXPECT_EQ(left.nextRequest, 0U);
    EXPECT_EQ(left.outstanding, 0U);
    EXPECT_EQ(left.readers, 0U);
    EXPECT_EQ(left.callsBehindStop, 0U);
    EXPECT_EQ(transport.connected, transport.disconnected);
    std::string expected;
    for (std::uint32_t connection = 0; connection < transport.connected; ++connection) {
      expected += "Port COM3 connected\nPort COM3 disconnected\n";
    }
    EXPECT_EQ(left.printed, expected);
  }

  void CheckFile(const sSchedule& schedule, const cScriptedTransport& transport) {
    sCaptureError error;
    const auto file = cCaptureFile::Open(path, error);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->IsComplete());
    EXPECT_TRUE(IsClosedCapture(path));

    std::vector<sFileItem> texts;
    HandedOver requests;
    std::map<std::uint8_t, HandedOver> packets;  // by their source
    std::size_t eventReplies = 0;
    for (const sFileItem& item : ReadItems(path)) {
      if (item.type == 7) {
        texts.push_back(item);
      } else if (item.type == 2 || item.type == 10) {
        requests.push_back(item.packet);
      } else if (item.packet[0] == 0x60) {
        ++eventReplies;
      } else {
        packets[item.packet.at(item.packet[0] == 0x13 ? 1 : 16)].push_back(item.packet);
      }
    }
    CheckTexts(texts, transport);
    CheckPackets(packets, eventReplies, transport);
    if (schedule.isSerial) {
      CheckRequestsOfReaders(requests, transport);
    } else {
      CheckRequestsInOrder(requests, schedule, transport);
    }
  }

  static void CheckTexts(const std::vector<sFileItem>& texts, const cScriptedTransport& transport) {
    std::vector<sFileItem> expected = {InformationItem()};
    for (std::uint32_t connection = 0; connection < transport.connected; ++connection) {
      expected.push_back(TextItem("Port COM3 connected"));
      expected.push_back(TextItem("Port COM3 disconnected"));
    }
    EXPECT_EQ(texts, expected);
  }

  // Each thread's packets are there, all of them, once and in their order.
  static void CheckPackets(std::map<std::uint8_t, HandedOver>& packets, std::size_t eventReplies,
                           const cScriptedTransport& transport) {
    for (const HandedOver& handed : transport.handedOver) {
      HandedOver told;
      for (const ByteVector& packet : handed) {
        if (packet[0] == 0x60) {
          --eventReplies;
        } else {
          told.push_back(packet);
        }
      }
      if (!told.empty()) {
        const std::uint8_t source = told[0].at(told[0][0] == 0x13 ? 1 : 16);
        EXPECT_EQ(packets[source], told);
        packets.erase(source);
      }
    }
    EXPECT_EQ(eventReplies, 0U);
    EXPECT_TRUE(packets.empty());
  }

  // Each connection's are the first of all requests.
  static void CheckRequestsOfReaders(const HandedOver& requests,
                                     const cScriptedTransport& transport) {
    HandedOver expected;
    for (const HandedOver& connections : transport.requests) {
      ASSERT_LE(connections.size(), kStartUpPackets.size());
      EXPECT_EQ(connections, HandedOver(kStartUpPackets.begin(),
                                        kStartUpPackets.begin() +
                                            static_cast<std::ptrdiff_t>(connections.size())));
      expected.insert(expected.end(), connections.begin(), connections.end());
    }
    HandedOver recorded = requests;
    std::sort(recorded.begin(), recorded.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(recorded, expected);
  }

  // They are those that were written, and each connection begins with the first one. Where a
  // connection ends while a request is looked up, that may be gone already, and its number is
  // spent: in strict order no thread is in between there.
  static void CheckRequestsInOrder(const HandedOver& requests, const sSchedule& schedule,
                                   const cScriptedTransport& transport) {
    EXPECT_EQ(requests, transport.requests.back());
    const auto numberOf = [](const ByteVector& request) {
      return std::find(kStartUpPackets.begin(), kStartUpPackets.end(), request) -
             kStartUpPackets.begin();
    };
    std::ptrdiff_t last = -1;
    std::uint32_t connections = 0;
    for (const ByteVector& request : requests) {
      const std::ptrdiff_t number = numberOf(request);
      const bool isNext =
          schedule.order == cTurns::eOrder::Strict ? number == last + 1 : number > last;
      if (!isNext || connections == 0) {
        ++connections;
        EXPECT_TRUE(number == 0 || schedule.order == cTurns::eOrder::Loose)
            << testing::PrintToString(requests);
      }
      last = number;
    }
    EXPECT_LE(connections, transport.connected) << testing::PrintToString(requests);
  }

  cTempDirectory folder;
  const std::string path = folder.Path("capture.isf");
};

TEST_F(SessionSchedulesTest, NothingIsLostOrUnguardedInAnyOrderOfSteps) {
  const char* const chosen = std::getenv("CORVANE_SCHEDULE_SEED");
  const std::uint64_t first = chosen != nullptr ? std::strtoull(chosen, nullptr, 10) : kFirstSeed;
  const int count = std::getenv("CORVANE_LONG_SWEEP") != nullptr ? kLongSchedules : kSchedules;
  for (std::uint64_t seed = first; seed < first + static_cast<std::uint64_t>(count); ++seed) {
    SCOPED_TRACE("CORVANE_SCHEDULE_SEED=" + std::to_string(seed));
    Run(seed);
    if (HasFailure()) {
      return;
    }
  }
  std::printf("%d schedules from seed %llu on\n", count, static_cast<unsigned long long>(first));
}

}  // namespace
}  // namespace corvane
