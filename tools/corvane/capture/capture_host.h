#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/device_name.h"

// What a capture needs of the machine that it runs on. Each has one real implementation, for
// Windows; the tests bring their own.
namespace corvane::tools {

// A line that came in on standard input.
struct sTypedLine {
  std::uint64_t time = 0;  // milliseconds since 1601-01-01 UTC
  std::string text;
};

class cCaptureHost {
 public:
  virtual ~cCaptureHost() = default;

  // Elapsed counts from here.
  virtual void CaptureStarts() = 0;
  // The time since the capture was started.
  [[nodiscard]] virtual std::chrono::milliseconds Elapsed() = 0;
  // Waits until the user requests a stop, or for `time`. Returns whether it was requested.
  [[nodiscard]] virtual bool WaitForStop(std::chrono::milliseconds time) = 0;
  // The room on the disk of this file in bytes. Nothing where the system does not tell.
  [[nodiscard]] virtual std::optional<std::uint64_t> FreeSpace(const std::string& path) = 0;
  // Whether another program has the file open for writing, or does not let it be read.
  [[nodiscard]] virtual bool IsInUse(const std::string& path) = 0;
  // The COM ports that are present, COM10 behind COM9.
  [[nodiscard]] virtual std::vector<sPresentPort> PresentComPorts() = 0;
  // Opens a present COM port and closes it at once, only to see whether that can be done. Why it
  // cannot, in a few words, or nothing. A port that has gone meanwhile is no problem of its
  // opening.
  [[nodiscard]] virtual std::optional<std::string> TryToOpen(const std::string& port) = 0;
  // The wall clock, in milliseconds since 1601-01-01 UTC.
  [[nodiscard]] virtual std::uint64_t Now() = 0;
  // The lines that were typed since the last call, oldest first.
  [[nodiscard]] virtual std::vector<sTypedLine> TypedLines() = 0;
};

// Whom a capture tells what happens. A line has no line end.
class cCaptureReporter {
 public:
  virtual ~cCaptureReporter() = default;
  // Something that the user may want to know.
  virtual void Tell(const std::string& line) = 0;
  // Something that is wrong.
  virtual void Complain(const std::string& problem) = 0;
  // Something that may be wrong, at `time` (milliseconds since 1601-01-01 UTC); the capture goes
  // on.
  virtual void Warn(std::uint64_t time, const std::string& problem) = 0;
};

// corvane.dll: its two exports, as corvane.h documents them.
class cCaptureLibrary {
 public:
  virtual ~cCaptureLibrary() = default;
  [[nodiscard]] virtual bool Start(const std::string& device, const std::string& configuration,
                                   const std::string& output) = 0;
  virtual void Stop() = 0;
};

// A started capture, which is stopped however this is left.
class cRunningCapture {
 public:
  // `started` is not owned and must outlive this.
  explicit cRunningCapture(cCaptureLibrary& started) : library(started) {}
  cRunningCapture(const cRunningCapture&) = delete;
  cRunningCapture& operator=(const cRunningCapture&) = delete;
  ~cRunningCapture() { library.Stop(); }

 private:
  cCaptureLibrary& library;
};

}  // namespace corvane::tools
