#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "capture/session_fixture.h"
#include "capture/whole_capture.h"
#include "support/bytes.h"

// What a capture that met a failure has left, and what has to hold of it.
namespace corvane {

// The items of the bytes of a capture file up to where it ends, as an independent reader has them
// and the library's own too.
[[nodiscard]] std::vector<sFileItem> ReadableItems(const ByteVector& file);

// The items that are recovered from the bytes of a capture file. They are written as a new file
// too, which has to be complete and to have just these items.
[[nodiscard]] std::vector<sFileItem> RecoverItems(const ByteVector& file);

// Fails, with the first difference only, unless `items` are the first `items.size()` of `all`.
void ExpectBeginning(const std::vector<sFileItem>& items, const std::vector<sFileItem>& all);

// Fails, with the first that is not, unless `items` are among `all` in that order.
void ExpectInOrderAmong(const std::vector<sFileItem>& items, const std::vector<sFileItem>& all);

// Whether every line is one of those that a capture prints, failing or not.
void ExpectKnownLines(const std::string& printed);
[[nodiscard]] std::size_t CountLines(const std::string& printed, const std::string& line);

// Whether another thread can take each lock of the session.
void ExpectFreeLocks(cCaptureSession& session);

// What a capture in which nothing fails records and prints.
struct sCleanCapture {
  std::vector<sExpectedItem> expected;
  std::vector<sFileItem> items;  // the same, comparable
  std::string printed;
  std::uint32_t frames = 0;  // that the modem took
};
[[nodiscard]] sCleanCapture RunCleanCapture(eWay way, const std::string& path);

// Whether there is much time: CORVANE_LONG_SWEEP is set.
[[nodiscard]] bool IsLongSweep();

}  // namespace corvane
