#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "convert/byte_sink.h"

namespace corvane::tools {

enum class eWake {
  TimeIsOver,
  StopRequested,  // by the user, or by who started the program
  ReaderIsGone,   // nobody reads the pipe any more
};

// Where a live export goes: standard output, a pipe, a file.
//
// While one exists, the requests to end (Ctrl-C and SIGTERM; on Windows Ctrl-C, Ctrl-Break and the
// closing of the console) do not end the program: Wait tells of them. A write that a full pipe
// blocks then fails half a second later; in Windows it goes on until the reader reads or has gone.
// At most one may exist.
class cLiveOutput : public cByteSink {
 public:
  // Waits until `time` is over, a stop was requested, or the reader has gone, which is told of
  // within a tenth of a second, also while nothing is written. Once a stop was requested or the
  // reader has gone, it returns at once.
  [[nodiscard]] virtual eWake Wait(std::chrono::milliseconds time) = 0;
};

// Standard output, which takes bytes as they are.
[[nodiscard]] std::unique_ptr<cLiveOutput> MakeLiveStandardOutput();

// Whether `path` is the name of a pipe, which is no file to look at or to overwrite: looking at it
// could take its only instance.
[[nodiscard]] bool IsPipeName(const std::string& path);

// The pipe at `path`, or the file, which is emptied or made. A FIFO's reader is waited for, ten
// seconds. Null when it cannot be opened; `problem` then receives why, as a sentence for the user,
// or nothing when a stop was requested.
[[nodiscard]] std::unique_ptr<cLiveOutput> OpenLiveOutput(const std::string& path,
                                                          std::string& problem);

}  // namespace corvane::tools
