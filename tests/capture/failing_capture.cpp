#include "capture/failing_capture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <thread>
#include <tuple>

#include "diag/shared_buffer.h"
#include "reader/byte_source.h"
#include "reader/capture_file.h"
#include "rewrite/capture_writer.h"
#include "rewrite/recovery.h"
#include "support/bytes_source.h"
#include "support/capture_decoder.h"

namespace corvane {
namespace {

void ExpectComplete(const ByteVector& file, std::size_t items) {
  sCaptureError error;
  const auto opened = cCaptureFile::Open(std::make_unique<cBytesSource>(file), error);
  ASSERT_NE(opened, nullptr) << error.Text();
  EXPECT_TRUE(opened->IsComplete());
  EXPECT_EQ(opened->ItemCount(), items);
}

[[nodiscard]] bool OthersCanTake(cLock& lock) {
  bool taken = false;
  std::thread([&] {
    taken = lock.try_lock();
    if (taken) {
      lock.unlock();
    }
  }).join();
  return taken;
}

}  // namespace

std::vector<sFileItem> ReadableItems(const ByteVector& file) {
  constexpr std::size_t kHeader = 4;
  constexpr std::size_t kBlock = 57'360;
  std::vector<sFileItem> items;
  if (file.size() >= kHeader + kBlock) {
    for (const sDecodedItem& item : DecodeCapture(file).Items()) {
      // Of an entry that is half there, the length is missing.
      if (!item.packet.empty()) {
        items.push_back({item.type, item.packet});
      }
    }
  }
  sCaptureError error;
  const auto opened = cCaptureFile::Open(std::make_unique<cBytesSource>(file), error);
  EXPECT_EQ(opened != nullptr, file.size() >= kHeader);
  EXPECT_EQ(opened != nullptr ? opened->ItemCount() : 0, items.size());
  return ComparableItems(items);
}

std::vector<sFileItem> RecoverItems(const ByteVector& file) {
  std::vector<sFileItem> items;
  std::stringstream stream;
  cCaptureWriter writer(stream);
  cBytesSource source(file);
  std::ignore = RecoverCapture(source, [&](const sRecoveredItem& item) {
    items.push_back({item.head.type, {item.packet.begin(), item.packet.end()}});
    return writer.Add(item.head, item.packet);
  });
  EXPECT_TRUE(writer.Finish());
  const std::string written = stream.str();
  ExpectComplete(ByteVector(written.begin(), written.end()), items.size());
  return ComparableItems(items);
}

void ExpectBeginning(const std::vector<sFileItem>& items, const std::vector<sFileItem>& all) {
  ASSERT_LE(items.size(), all.size());
  const auto [found, wanted] = std::mismatch(items.begin(), items.end(), all.begin());
  if (found != items.end()) {
    ADD_FAILURE() << "item " << found - items.begin() << " is " << *found << ", not " << *wanted;
  }
}

void ExpectInOrderAmong(const std::vector<sFileItem>& items, const std::vector<sFileItem>& all) {
  auto next = all.begin();
  for (const sFileItem& item : items) {
    next = std::find(next, all.end(), item);
    if (next == all.end()) {
      ADD_FAILURE() << "not in its place: " << item;
      return;
    }
    ++next;
  }
}

void ExpectKnownLines(const std::string& printed) {
  const std::array<std::string, 12> known = {"Unable to write info string",
                                             "Port COM3 connected",
                                             "Port COM3 disconnected",
                                             "bad string write response",
                                             "failed to create event mask",
                                             "failed to create msg levels req",
                                             "failed to create log mask",
                                             "Failed to create io thread",
                                             "bad CRC",
                                             "error 8 writing item",
                                             "error 9 writing item",
                                             "error 160 writing item"};
  std::istringstream lines(printed);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    EXPECT_NE(std::find(known.begin(), known.end(), line), known.end()) << line;
  }
}

std::size_t CountLines(const std::string& printed, const std::string& line) {
  std::size_t count = 0;
  for (std::size_t at = printed.find(line); at != std::string::npos;
       at = printed.find(line, at + 1)) {
    ++count;
  }
  return count;
}

void ExpectFreeLocks(cCaptureSession& session) {
  EXPECT_TRUE(OthersCanTake(session.storeLock));
  EXPECT_TRUE(OthersCanTake(session.requestQueue.lock));
  EXPECT_TRUE(OthersCanTake(*gBufferLock));
  const std::unique_lock turn(session.sendTurn.lock, std::try_to_lock);
  EXPECT_TRUE(turn.owns_lock());
}

sCleanCapture RunCleanCapture(eWay way, const std::string& path) {
  sCleanCapture clean;
  cWholeCapture capture(way);
  capture.modem.expected = &clean.expected;
  cPrinted printed;
  EXPECT_TRUE(capture.Run([&path](cCaptureSession& session) {
    return StartWithFilters(
        session, std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
  }));
  clean.printed = printed.Take();
  clean.frames = capture.modem.framesTaken;
  for (const sExpectedItem& item : clean.expected) {
    clean.items.push_back(item.item);
  }
  clean.items = ComparableItems(clean.items);
  return clean;
}

bool IsLongSweep() { return std::getenv("CORVANE_LONG_SWEEP") != nullptr; }

}  // namespace corvane
