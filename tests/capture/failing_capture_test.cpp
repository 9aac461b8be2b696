// A whole capture in which one thing fails: each allocation, and each write, seek and flush of the
// capture file, in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <iterator>
#include <tuple>
#include <utility>

#include "capture/failing_capture.h"
#include "capture/failing_file.h"
#include "capture/store_fixture.h"
#include "control/configuration.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class FailingCaptureTest : public ::testing::TestWithParam<eWay> {
 protected:
  // Calls `fails` with the number of each thing that can fail, from 1 on, until it returns false:
  // there are no more. Without much time only some are looked at, others by each sweep.
  void Sweep(const char* what, const std::function<bool(std::uint32_t nth)>& fails) {
    SCOPED_TRACE(what);
    const std::uint32_t step = IsLongSweep() ? 1 : CORVANE_SWEEP_STEP;
    std::uint32_t points = 0;
    for (std::uint32_t nth = 1 + sweeps++ % step; fails(nth); nth += step) {
      ++points;
      ASSERT_FALSE(HasFailure()) << "number " << nth;
    }
    TellSwept(what, points);
  }

  // Tells how many places of the capture failed once each.
  static void TellSwept(const std::string& what, std::uint32_t points) {
    std::cout << "swept " << points << " points: " << what << std::endl;
    EXPECT_GT(points, 0U);
    RecordProperty("points " + what, std::to_string(points));
  }

  cTempDirectory folder;
  const std::string path = folder.Path("capture.isf");
  const sCleanCapture clean = RunCleanCapture(GetParam(), path);

 private:
  std::uint32_t sweeps = GetParam() == eWay::SerialPort ? 0 : CORVANE_SWEEP_STEP / 2;
};

INSTANTIATE_TEST_SUITE_P(Transports, FailingCaptureTest,
                         ::testing::Values(eWay::SerialPort, eWay::MobileBroadband),
                         [](const auto& way) {
                           return way.param == eWay::SerialPort ? "SerialPort" : "MobileBroadband";
                         });

TEST_P(FailingCaptureTest, WhereNothingFailsTheFileHasAllThatWasSent) {
  const ByteVector file = ReadFileBytes(path);
  ExpectBeginning(clean.items, ReadableItems(file));
  ExpectBeginning(RecoverItems(file), clean.items);
  EXPECT_TRUE(IsClosedCapture(path));
  EXPECT_EQ(CountLines(clean.printed, "error 160 writing item\n"),
            GetParam() == eWay::MobileBroadband ? 1U : 0U);
  // 13 fixed requests, the event mask, one SSID's levels and two log masks; in both connections.
  EXPECT_EQ(clean.frames, 2U * 17U);
}

// --- The file

enum class eDevice { Writes, HandOvers };

struct sFault {
  const char* name;
  eDevice device;
  cFailingFile::eFailure how;
  bool staysBroken;
  // Whether the stream is made good again, so that the store can go on with it.
  bool isMended;
  // Whether the store may go on by itself: a failed look for the end of the file costs one item.
  bool mayGoOn = false;
};

constexpr sFault kFaults[] = {
    {"writes that fail", eDevice::Writes, cFailingFile::eFailure::Fails, true, false},
    {"writes that are short", eDevice::Writes, cFailingFile::eFailure::IsShort, true, false},
    {"writes that fail and work again", eDevice::Writes, cFailingFile::eFailure::IsShort, false,
     false},
    {"writes that fail and are mended", eDevice::Writes, cFailingFile::eFailure::IsShort, false,
     true, true},
    {"seeks and flushes that fail", eDevice::HandOvers, cFailingFile::eFailure::Fails, true, false},
    {"seeks and flushes that fail and work again", eDevice::HandOvers,
     cFailingFile::eFailure::Fails, false, false, true},
    {"seeks and flushes that fail and are mended", eDevice::HandOvers,
     cFailingFile::eFailure::Fails, false, true, true},
};

// What became of a capture whose file failed.
struct sFailedCapture {
  bool wasHit = false;
  bool started = false;
  std::uint32_t accepted = 0;    // items whose AddItem returned 0
  std::size_t writesBehind = 0;  // that came to the file behind the failure
  std::uint32_t frames = 0;
  std::string printed;
  ByteVector file;
};

[[nodiscard]] std::unique_ptr<cFailingFile> Intercept(std::ofstream& stream, const sFault& fault,
                                                      std::uint32_t nth) {
  auto file = std::make_unique<cFailingFile>(stream);
  if (fault.staysBroken) {
    file->StayBroken();
  }
  if (fault.device == eDevice::Writes) {
    file->FailWrite(nth, fault.how);
  } else {
    file->FailHandOver(nth);
  }
  return file;
}

[[nodiscard]] sFailedCapture RunWith(eWay way, const std::string& path, const sFault& fault,
                                     std::uint32_t nth) {
  sFailedCapture result;
  std::unique_ptr<cFailingFile> file;
  std::ofstream* stream = nullptr;
  std::optional<std::size_t> writesAtFailure;
  cWholeCapture capture(way);
  const auto lookAtFailure = [&] {
    if (!file->hasFailed || writesAtFailure) {
      return;
    }
    writesAtFailure = file->writes.size();
    if (fault.isMended) {
      file->Heal();
      stream->clear();
    }
  };
  capture.behindDelivery = lookAtFailure;
  capture.beforeEnd = [&](cCaptureSession& session) {
    lookAtFailure();
    result.accepted = sStoreCounters(session).itemCount;
  };
  capture.whenStopped = ExpectFreeLocks;
  cPrinted printed;
  result.started = capture.Run([&](cCaptureSession& session) {
    auto opened = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    stream = opened.get();
    file = Intercept(*stream, fault, nth);
    return StartWithFilters(session, std::move(opened));
  });
  result.printed = printed.Take();
  result.wasHit = file->hasFailed;
  result.writesBehind = writesAtFailure ? file->writes.size() - *writesAtFailure : 0;
  result.frames = capture.modem.framesTaken;
  result.file = ReadFileBytes(path);
  return result;
}

// How many failures among the items from `first` on are told in this way.
[[nodiscard]] std::size_t ToldFrom(const sCleanCapture& clean, std::size_t first, eTold how) {
  return static_cast<std::size_t>(
      std::count_if(clean.expected.begin() + static_cast<std::ptrdiff_t>(first),
                    clean.expected.end(), [how](const auto& item) { return item.told == how; }));
}

// A file that failed and was not mended ends at the failure.
void ExpectEndAtFailure(eWay way, const sCleanCapture& clean, const sFailedCapture& failed) {
  EXPECT_EQ(failed.writesBehind, 0U);
  const std::vector<sFileItem> items = ReadableItems(failed.file);
  // The item at which it failed may be whole all the same.
  const std::size_t most = std::min<std::size_t>(failed.accepted + 1, clean.items.size());
  ASSERT_GE(items.size(), failed.accepted);
  ASSERT_LE(items.size(), most);
  ExpectBeginning(items, clean.items);
  const std::vector<sFileItem> recovered = RecoverItems(failed.file);
  ASSERT_GE(recovered.size(), items.size());
  ASSERT_LE(recovered.size(), most);
  ExpectBeginning(recovered, clean.items);

  if (!failed.started) {
    EXPECT_EQ(failed.printed, "Unable to write info string\n");
    EXPECT_EQ(failed.accepted, 0U);
    EXPECT_EQ(failed.frames, 0U);
    return;
  }
  // A failing file does not keep the modem from being served.
  EXPECT_EQ(failed.frames, clean.frames);
  EXPECT_EQ(CountLines(failed.printed, "bad string write response\n"),
            ToldFrom(clean, failed.accepted, eTold::PortText));
  EXPECT_EQ(CountLines(failed.printed, "error 9 writing item\n"),
            way == eWay::SerialPort ? 0 : ToldFrom(clean, failed.accepted, eTold::Packet));
}

// The capture goes on behind the failure: what was added before and after is there.
void ExpectGapAtFailure(const sCleanCapture& clean, const sFailedCapture& failed) {
  const std::vector<sFileItem> items = ReadableItems(failed.file);
  EXPECT_GE(items.size(), failed.accepted);
  ExpectInOrderAmong(items, clean.items);
  std::vector<sFileItem> recovered = RecoverItems(failed.file);
  EXPECT_GE(recovered.size(), failed.accepted);
  // The item in front of the gap may be taken for one whose directory entry says too little: then
  // it has the bytes of the gap as well.
  const auto other = std::find_if(recovered.begin(), recovered.end(), [&](const auto& item) {
    return std::find(clean.items.begin(), clean.items.end(), item) == clean.items.end();
  });
  if (other != recovered.end()) {
    recovered.erase(other);
  }
  ExpectInOrderAmong(recovered, clean.items);
}

TEST_P(FailingCaptureTest, EachFailureOfTheFileLeavesWhatWasRecordedBefore) {
  for (const sFault& fault : kFaults) {
    Sweep(fault.name, [&](std::uint32_t nth) {
      const sFailedCapture failed = RunWith(GetParam(), path, fault, nth);
      if (failed.wasHit) {
        ExpectKnownLines(failed.printed);
        if (fault.mayGoOn && failed.started) {
          ExpectGapAtFailure(clean, failed);
        } else {
          ExpectEndAtFailure(GetParam(), clean, failed);
        }
      }
      return failed.wasHit;
    });
  }
}

// --- Memory

// Whether each item is one of `all`, as often as it is there. A request that found no memory at
// first is sent later, so the order can be another one.
void ExpectAmong(std::vector<sFileItem> items, std::vector<sFileItem> all) {
  const auto isBefore = [](const sFileItem& left, const sFileItem& right) {
    return std::tie(left.type, left.packet) < std::tie(right.type, right.packet);
  };
  std::sort(items.begin(), items.end(), isBefore);
  std::sort(all.begin(), all.end(), isBefore);
  std::vector<sFileItem> others;
  std::set_difference(items.begin(), items.end(), all.begin(), all.end(),
                      std::back_inserter(others), isBefore);
  EXPECT_TRUE(others.empty()) << "never sent: " << others.front();
}

struct sShortage {
  const char* name;
  eHeap heap;
  eFailures failures;
};

constexpr sShortage kShortages[] = {
    {"blocks that find no memory", eHeap::Blocks, eFailures::One},
    {"blocks that find none from then on", eHeap::Blocks, eFailures::AllSince},
    {"objects that find no memory", eHeap::New, eFailures::One},
    {"objects that find none from then on", eHeap::New, eFailures::AllSince},
};

struct sStarvedCapture {
  bool wasHit = false;
  bool started = false;
  std::string printed;
  std::int64_t leakedObjects = 0;
  std::int64_t leakedBlocks = 0;
};

class FailingMemoryTest : public FailingCaptureTest {
 protected:
  FailingMemoryTest() { WriteFileText(configuration, kConfigurationText); }

  [[nodiscard]] sStarvedCapture RunWithout(eHeap heap, std::uint32_t nth, eFailures failures) {
    sStarvedCapture result;
    result.printed.reserve(10'000);  // so that taking it down below counts for nothing
    const std::int64_t objects = LiveNewAllocations();
    const std::int64_t blocks = LiveBlocks();
    {
      cWholeCapture capture(GetParam());
      std::optional<cAllocationFailure> failure;
      capture.whenStopped = [&](cCaptureSession& session) {
        result.wasHit = failure->Disarm();
        ExpectFreeLocks(session);
      };
      cPrinted printed;
      failure.emplace(heap, nth, failures);
      result.started = capture.Run([this](cCaptureSession& session) {
        return LoadConfiguration(session, path.c_str(), configuration.c_str());
      });
      result.wasHit = failure->Disarm();
      result.printed.append(printed.Take());
    }
    result.leakedObjects = LiveNewAllocations() - objects;
    result.leakedBlocks = LiveBlocks() - blocks;
    return result;
  }

  // Of a capture that started, the file is complete, and it has nothing that was not sent.
  void ExpectWhatIsLeft(const sStarvedCapture& starved) const {
    ExpectKnownLines(starved.printed);
    EXPECT_LE(starved.leakedObjects, 1);
    EXPECT_LE(starved.leakedBlocks, 1);
    if (!starved.started) {
      return;
    }
    EXPECT_EQ(CountLines(starved.printed, "Port COM3 connected\n"), 2U);
    EXPECT_EQ(CountLines(starved.printed, "Port COM3 disconnected\n"), 2U);
    EXPECT_TRUE(IsClosedCapture(path));
    const ByteVector file = ReadFileBytes(path);
    std::vector<sFileItem> items = ReadableItems(file);
    ExpectBeginning(items, RecoverItems(file));
    ExpectAmong(std::move(items), clean.items);
  }

  const std::string configuration = folder.Path("capture.cfg");
};

INSTANTIATE_TEST_SUITE_P(Transports, FailingMemoryTest,
                         ::testing::Values(eWay::SerialPort, eWay::MobileBroadband),
                         [](const auto& way) {
                           return way.param == eWay::SerialPort ? "SerialPort" : "MobileBroadband";
                         });

TEST_P(FailingMemoryTest, EachShortageCostsSingleItemsAndLeavesACompleteFile) {
  const sStarvedCapture unhurt = RunWithout(eHeap::New, cFailingFile::kNever, eFailures::One);
  ASSERT_FALSE(unhurt.wasHit);
  // What is kept on purpose: the event before the break of the broken report, an object and its
  // bytes.
  EXPECT_EQ(unhurt.leakedObjects, 1);
  EXPECT_EQ(unhurt.leakedBlocks, 1);
  for (const sShortage& shortage : kShortages) {
    Sweep(shortage.name, [&](std::uint32_t nth) {
      const sStarvedCapture starved = RunWithout(shortage.heap, nth, shortage.failures);
      if (starved.wasHit) {
        ExpectWhatIsLeft(starved);
      }
      return starved.wasHit;
    });
  }
}

}  // namespace
}  // namespace corvane
